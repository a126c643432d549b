; Registry keys that were not there before the installation, and go with it. They are under
; HKEY_LOCAL_MACHINE, where 32- and 64-bit programs share them.

; In the record: a value for each such key.
!define MADE "${RECORD}\Made"

!define IF_EMPTY "/ifnosubkeys /ifnovalues"

; RecordIfNew KEY: before the key is made.
!macro RecordIfNew KEY
  StrCpy $0 "${KEY}"
  Call RecordIfNew
!macroend

Function RecordIfNew
  Call UseRecordView
  ; HKEY_LOCAL_MACHINE, KEY_READ
  System::Call 'advapi32::RegOpenKeyExW(p 0x80000002, w r0, i 0, i 0x20019, *p.r1) i.r2'
  ${If} $2 = 0
    System::Call 'advapi32::RegCloseKey(p r1)'
  ${Else}
    WriteRegStr HKLM "${MADE}" $0 yes
  ${EndIf}
FunctionEnd

; RemoveKey "|un." CONDITION KEY: such a key. CONDITION is "" or IF_EMPTY.
!macro RemoveKey UN CONDITION KEY
  Call ${UN}UseRecordView
  ReadRegStr $0 HKLM "${MADE}" "${KEY}"
  ${If} $0 == yes
    DeleteRegKey ${CONDITION} HKLM "${KEY}"
  ${EndIf}
!macroend
