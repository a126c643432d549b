; Drivers in the system folders. A program that runs may have the driver loaded: its file can then be
; renamed, but neither written nor deleted. Programs that start later load the new one.

; A driver that was there before the first installation waits here for the uninstaller.
!define PREVIOUS "$INSTDIR\previous"

; The system folder that the functions below work on.
Var folder
; "x86" or "x64": of the driver in that folder.
Var bitness

!macro DriverFileFunctions UN
  ; Frees the driver's name. The error flag says that it could not: the file is open in a way that
  ; even forbids renaming.
  Function ${UN}MoveDriverAside
    ClearErrors
    Delete "$folder\${DRIVER}"
    ${IfNot} ${Errors}
      Return
    ${EndIf}
    ; Drivers that were moved aside earlier may be in use still, and have their names.
    StrCpy $0 0
    ${Do}
      IntOp $0 $0 + 1
      Delete "$folder\qivm.$0.old"
    ${LoopWhile} ${FileExists} "$folder\qivm.$0.old"
    ClearErrors
    Rename "$folder\${DRIVER}" "$folder\qivm.$0.old"
    ${IfNot} ${Errors}
      ; Nothing waits for that, so it is no reason to ask for a restart.
      Delete /REBOOTOK "$folder\qivm.$0.old"
      SetRebootFlag false
      ClearErrors
    ${EndIf}
  FunctionEnd
!macroend
!insertmacro DriverFileFunctions ""
!insertmacro DriverFileFunctions "un."

; InstallDriver x86|x64 FOLDER
!macro InstallDriver BITNESS FOLDER
  StrCpy $bitness ${BITNESS}
  StrCpy $folder "${FOLDER}"
  Call KeepPreviousDriver
  SetOverwrite try
  ClearErrors
  File "/oname=$folder\${DRIVER}.new" "${STAGE}\${BITNESS}\${DRIVER}"
  Call PutDriverInPlace
!macroend

; The first installation that finds a driver of this name keeps it.
Function KeepPreviousDriver
  Call UseRecordView
  ReadRegStr $0 HKLM "${RECORD}" "Driver $bitness"
  ${If} $0 == ""
  ${AndIf} ${FileExists} "$folder\${DRIVER}"
    CreateDirectory "${PREVIOUS}\$bitness"
    System::Call 'kernel32::CopyFileW(w "$folder\${DRIVER}", w "${PREVIOUS}\$bitness\${DRIVER}", i 0) i.r1'
    ${If} $1 = 0
      !insertmacro Fail "The driver in $folder cannot be copied to ${PREVIOUS}."
    ${EndIf}
    !insertmacro Say "$folder\${DRIVER} was there already: kept in ${PREVIOUS}\$bitness"
  ${EndIf}
  WriteRegStr HKLM "${RECORD}" "Driver $bitness" "$folder\${DRIVER}"
FunctionEnd

; From its passing name to its own.
Function PutDriverInPlace
  ${If} ${Errors}
    !insertmacro Fail "The driver cannot be written into $folder."
  ${EndIf}
  Call MoveDriverAside
  ClearErrors
  Rename "$folder\${DRIVER}.new" "$folder\${DRIVER}"
  ${If} ${Errors}
    Rename /REBOOTOK "$folder\${DRIVER}.new" "$folder\${DRIVER}"
    StrCpy $restartNeeded 1
    !insertmacro Say "$folder\${DRIVER} is in use: the new one takes its place when Windows is restarted"
  ${Else}
    !insertmacro Say "$folder\${DRIVER} installed"
  ${EndIf}
FunctionEnd

; RemoveDriver x86|x64 FOLDER: in the uninstaller.
!macro RemoveDriver BITNESS FOLDER
  StrCpy $bitness ${BITNESS}
  StrCpy $folder "${FOLDER}"
  Call un.RemoveDriver
!macroend

Function un.RemoveDriver
  Call un.MoveDriverAside
  ; Where a new driver never came into its place, and what could not be deleted when it was moved.
  Delete "$folder\${DRIVER}.new"
  Delete "$folder\qivm.*.old"
  StrCpy $0 "${PREVIOUS}\$bitness\${DRIVER}"
  ${If} ${FileExists} "$folder\${DRIVER}"
    StrCpy $restartNeeded 1
    ${If} ${FileExists} $0
      System::Call 'kernel32::CopyFileW(w r0, w "$folder\${DRIVER}.new", i 0)'
      Rename /REBOOTOK "$folder\${DRIVER}.new" "$folder\${DRIVER}"
    ${Else}
      Delete /REBOOTOK "$folder\${DRIVER}"
    ${EndIf}
  ${ElseIf} ${FileExists} $0
    System::Call 'kernel32::CopyFileW(w r0, w "$folder\${DRIVER}", i 0)'
  ${EndIf}
  Delete $0
  RMDir "${PREVIOUS}\$bitness"
  RMDir "${PREVIOUS}"
FunctionEnd
