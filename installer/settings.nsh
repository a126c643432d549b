; The codec's settings. They are under HKEY_CLASSES_ROOT, that is in this key of the machine, which
; 32- and 64-bit programs share, and where an ordinary user may write nothing by himself.

!define CLASSES "Software\Classes"
!define CODEC_SETTINGS "Software\Norvane\MPEG2 codec"
!define BOARD_SETTINGS "Software\Pellaro\Meridel\Codec"
!define HOST_LISTS "Software\Norvane\Common codec's settings"
!define HOST_LIST "${HOST_LISTS}\YUV defective application"

; KEY_READ | KEY_WRITE, and DELETE.
!define READ_AND_WRITE 0x2001f
!define MAY_DELETE 0x10000
; CONTAINER_INHERIT_ACE
!define WITH_SUBKEYS 2

; The user rights are given to: BUILTIN\Users, whatever Windows calls them in its language.
!define USERS "S-1-5-32-545"

; LetUsers ACCESS INHERITANCE KEY
!macro LetUsers ACCESS INHERITANCE KEY
  StrCpy $0 "${KEY}"
  StrCpy $1 ${ACCESS}
  StrCpy $2 ${INHERITANCE}
  Call LetUsers
!macroend

; Makes the settings with their defaults where there are none, and opens them to the users.
Function MakeSettings
  !insertmacro RecordIfNew "${CLASSES}\Software"
  !insertmacro RecordIfNew "${CLASSES}\Software\Norvane"
  !insertmacro RecordIfNew "${CLASSES}\${CODEC_SETTINGS}"
  !insertmacro RecordIfNew "${CLASSES}\${HOST_LISTS}"
  !insertmacro RecordIfNew "${CLASSES}\${HOST_LIST}"
  !insertmacro RecordIfNew "${CLASSES}\Software\Pellaro"
  !insertmacro RecordIfNew "${CLASSES}\Software\Pellaro\Meridel"
  !insertmacro RecordIfNew "${CLASSES}\${BOARD_SETTINGS}"
  ; The driver itself does it whenever it is loaded, and shows by the way that it can be. One that waits
  ; for a restart is loaded from where it waits.
  StrCpy $2 "$driverFolder32\${DRIVER}"
  ${If} ${FileExists} "$2.new"
    StrCpy $2 "$2.new"
  ${EndIf}
  System::Call 'kernel32::LoadLibraryW(w r2) p.r0 ?e'
  Pop $1
  ${If} $0 = 0
    !insertmacro Fail "Windows cannot load the driver (error $1)."
  ${EndIf}
  System::Call 'kernel32::FreeLibrary(p r0)'
  ; A user who may not delete a key cannot lose it either: to start anew from the defaults the driver
  ; deletes the first of them, and would need rights higher up to make it again.
  !insertmacro LetUsers ${READ_AND_WRITE} 0 "${CODEC_SETTINGS}"
  !insertmacro LetUsers ${READ_AND_WRITE} 0 "${BOARD_SETTINGS}"
  ; The list of hosts is deleted and made anew whenever it is saved.
  !insertmacro LetUsers ${READ_AND_WRITE}|${MAY_DELETE} ${WITH_SUBKEYS} "${HOST_LISTS}"
  !insertmacro LetUsers ${READ_AND_WRITE}|${MAY_DELETE} ${WITH_SUBKEYS} "${HOST_LIST}"
FunctionEnd

; Gives the users the access $1 to the settings key $0, and when $2 says so to the keys inside, on
; top of the rights there are.
Function LetUsers
  StrCpy $0 "MACHINE\${CLASSES}\$0"
  System::Call 'advapi32::ConvertStringSidToSidW(w "${USERS}", *p.r3)'
  ; SE_REGISTRY_KEY, DACL_SECURITY_INFORMATION
  System::Call 'advapi32::GetNamedSecurityInfoW(w r0, i 4, i 4, p 0, p 0, *p.r4, p 0, *p.r5) i.r9'
  ${If} $9 = 0
    ; EXPLICIT_ACCESS: GRANT_ACCESS, and a TRUSTEE that is named by its SID, a well-known group.
    System::Call '*(i r1, i 1, i r2, p 0, i 0, i 0, i 5, p r3) p.r6'
    System::Call 'advapi32::SetEntriesInAclW(i 1, p r6, p r4, *p.r7) i.r9'
    ${If} $9 = 0
      System::Call 'advapi32::SetNamedSecurityInfoW(w r0, i 4, i 4, p 0, p 0, p r7, p 0) i.r9'
      System::Call 'kernel32::LocalFree(p r7)'
    ${EndIf}
    System::Free $6
    System::Call 'kernel32::LocalFree(p r5)'
  ${EndIf}
  System::Call 'kernel32::LocalFree(p r3)'
  ${If} $9 <> 0
    !insertmacro Fail "The settings cannot be opened to the users of this computer (error $9): $0"
  ${EndIf}
FunctionEnd

; Settings that were there before the installation stay.
Function un.RemoveSettings
  !insertmacro RemoveKey un. "" "${CLASSES}\${CODEC_SETTINGS}"
  !insertmacro RemoveKey un. "" "${CLASSES}\${HOST_LIST}"
  !insertmacro RemoveKey un. "" "${CLASSES}\${BOARD_SETTINGS}"
  ; These may hold something else by now.
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${CLASSES}\${HOST_LISTS}"
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${CLASSES}\Software\Norvane"
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${CLASSES}\Software\Pellaro\Meridel"
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${CLASSES}\Software\Pellaro"
  !insertmacro RemoveKey un. "${IF_EMPTY}" "${CLASSES}\Software"
FunctionEnd
