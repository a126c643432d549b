; What Windows is told about the driver: which one serves a code, and how it is called. Values that
; were there are kept in the record, and given back unless somebody has changed them since.

!define DRIVERS "Software\Microsoft\Windows NT\CurrentVersion\Drivers32"
; Descriptions by the driver's file name. A system without any lacks the key.
!define DESCRIPTIONS "Software\Microsoft\Windows NT\CurrentVersion\drivers.desc"
; The list of video codecs, with a key for each code.
!define MEDIA_LIST "System\CurrentControlSet\Control\MediaResources"
!define CODEC_LIST "${MEDIA_LIST}\icm"

; In the record: values by the place "32|64 KEY\NAME", what was there (empty: nothing) and what was
; written instead.
!define FOUND "${RECORD}\Found"
!define WRITTEN "${RECORD}\Written"

; A value under HKEY_LOCAL_MACHINE: which registry, of 32- or 64-bit programs, its key and name.
Var view
Var key
Var name

; The code that is registered, and whether in any registry it was.
Var code
Var codeTaken
; The driver that has the code, and the one that the user was asked about last, with the answer.
Var owner
Var askedOwner
Var askedAnswer

; RegisterCode CODE DESCRIPTION
!macro RegisterCode CODE DESCRIPTION
  StrCpy $code ${CODE}
  StrCpy $codeTaken 0
  StrCpy $askedOwner ""
  StrCpy $folder $driverFolder32
  StrCpy $view 32
  Call RegisterCode
  ${If} ${RunningX64}
    StrCpy $folder $driverFolder64
    StrCpy $view 64
    Call RegisterCode
  ${EndIf}
  ${If} $codeTaken = 1
    !insertmacro RecordIfNew "${MEDIA_LIST}"
    !insertmacro RecordIfNew "${CODEC_LIST}"
    !insertmacro RecordIfNew "${CODEC_LIST}\vidc.${CODE}"
    !insertmacro TakeValue 32 "${CODEC_LIST}\vidc.${CODE}" Description "${DESCRIPTION}"
    !insertmacro TakeValue 32 "${CODEC_LIST}\vidc.${CODE}" Driver "${DRIVER}"
    !insertmacro TakeValue 32 "${CODEC_LIST}\vidc.${CODE}" FriendlyName "${DESCRIPTION}"
  ${EndIf}
!macroend

!macro UnregisterCode CODE
  !insertmacro GiveBackValue "" 32 "${DRIVERS}\vidc.${CODE}"
  !insertmacro GiveBackValue "" 64 "${DRIVERS}\vidc.${CODE}"
  !insertmacro GiveBackValue "" 32 "${CODEC_LIST}\vidc.${CODE}\Description"
  !insertmacro GiveBackValue "" 32 "${CODEC_LIST}\vidc.${CODE}\Driver"
  !insertmacro GiveBackValue "" 32 "${CODEC_LIST}\vidc.${CODE}\FriendlyName"
  !insertmacro RemoveKey "" "${IF_EMPTY}" "${CODEC_LIST}\vidc.${CODE}"
!macroend

; Everything the record knows of.
!macro un.GiveBackRegistrations
  ${Do}
    Call un.UseRecordView
    EnumRegValue $0 HKLM "${WRITTEN}" 0
    ${If} $0 == ""
      ${ExitDo}
    ${EndIf}
    Call un.GiveBackValue
  ${Loop}
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${CODEC_LIST}\vidc.QIVM"
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${CODEC_LIST}\vidc.MMES"
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${CODEC_LIST}"
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${MEDIA_LIST}"
!macroend

; Registers $code in the registry $view, whose programs load from $folder.
Function RegisterCode
  Call UseView
  ReadRegStr $owner HKLM "${DRIVERS}" "vidc.$code"
  ${If} $owner != ""
  ${AndIf} $owner != "${DRIVER}"
  ${AndIf} $owner != "$folder\${DRIVER}"
  ${AndIf} $force != 1
    ${If} $owner != $askedOwner
      StrCpy $askedOwner $owner
      StrCpy $askedAnswer yes
      MessageBox MB_YESNO|MB_ICONQUESTION|MB_DEFBUTTON2 "Videos with the code $code are handled by \
        another driver on this computer:$\n$\n$owner$\n$\nShall the ${PRODUCT} handle them from \
        now on? Removing it later gives them back." /SD IDNO IDYES +2
      StrCpy $askedAnswer no
    ${EndIf}
    ${If} $askedAnswer == no
      StrCpy $codesKept "$codesKept $code"
      !insertmacro Say "vidc.$code, $view-bit: left with the driver $owner"
      Return
    ${EndIf}
  ${EndIf}
  ${If} $owner == ""
    !insertmacro Say "vidc.$code, $view-bit: registered"
  ${Else}
    !insertmacro Say "vidc.$code, $view-bit: registered, was $owner"
  ${EndIf}
  StrCpy $codeTaken 1
  StrCpy $key "${DRIVERS}"
  StrCpy $name "vidc.$code"
  StrCpy $0 "${DRIVER}"
  Call TakeValue
  StrCpy $key "${DESCRIPTIONS}"
  StrCpy $name "${DRIVER}"
  StrCpy $0 "${DRIVER_DESCRIPTION}"
  Call TakeValue
FunctionEnd

; TakeValue VIEW KEY NAME TEXT
!macro TakeValue VIEW KEY NAME TEXT
  StrCpy $view ${VIEW}
  StrCpy $key "${KEY}"
  StrCpy $name "${NAME}"
  StrCpy $0 "${TEXT}"
  Call TakeValue
!macroend

; Writes the text $0 and records what was there, unless that is the setup's own from earlier.
Function TakeValue
  Call UseView
  ReadRegStr $1 HKLM $key $name
  Call UseRecordView
  ReadRegStr $2 HKLM "${WRITTEN}" "$view $key\$name"
  ${If} $2 == ""
  ${OrIf} $1 != $2
    WriteRegStr HKLM "${FOUND}" "$view $key\$name" $1
  ${EndIf}
  WriteRegStr HKLM "${WRITTEN}" "$view $key\$name" $0
  Call UseView
  WriteRegStr HKLM $key $name $0
FunctionEnd

!macro GiveBackValue UN VIEW PLACE
  StrCpy $0 "${VIEW} ${PLACE}"
  Call ${UN}GiveBackValue
!macroend

!macro RegistrationFunctions UN
  Function ${UN}UseView
    ${If} $view = 64
      SetRegView 64
    ${Else}
      SetRegView 32
    ${EndIf}
  FunctionEnd

  ; Gives back the value at the place $0. One that the record does not know stays as it is.
  Function ${UN}GiveBackValue
    StrCpy $view $0 2
    StrCpy $1 $0 "" 3
    ${GetParent} $1 $key
    ${GetFileName} $1 $name
    Call ${UN}UseRecordView
    ReadRegStr $1 HKLM "${FOUND}" $0
    ReadRegStr $2 HKLM "${WRITTEN}" $0
    DeleteRegValue HKLM "${FOUND}" $0
    DeleteRegValue HKLM "${WRITTEN}" $0
    Call ${UN}UseView
    ReadRegStr $3 HKLM $key $name
    ${If} $2 == ""
    ${OrIf} $2 != $3
      Return
    ${EndIf}
    ${If} $1 == ""
      DeleteRegValue HKLM $key $name
    ${Else}
      WriteRegStr HKLM $key $name $1
    ${EndIf}
    ${If} $key == "${DESCRIPTIONS}"
      DeleteRegKey ${IF_EMPTY} HKLM $key
    ${EndIf}
  FunctionEnd
!macroend
!insertmacro RegistrationFunctions ""
!insertmacro RegistrationFunctions "un."
