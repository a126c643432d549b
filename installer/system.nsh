; Where things are on this Windows, and what installer and uninstaller both need of it.

; The system folders by the bitness of the programs that load from them, as every program sees them:
; no path here depends on how the system redirects 32-bit programs. The second is of 64-bit Windows.
Var driverFolder32
Var driverFolder64
Var programsFolder

; Say TEXT: into the window's list and the log.
!macro Say TEXT
  DetailPrint "${TEXT}"
  FileWrite $logFile "${TEXT}$\r$\n"
!macroend

; Fail TEXT: the end of the installation; what is installed already can be removed by the uninstaller.
!macro Fail TEXT
  !insertmacro Say "${TEXT}"
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}" /SD IDOK
  SetErrorLevel ${EXIT_FAILED}
  Abort
!macroend

!macro DeleteToolAndDocuments
  Delete "$INSTDIR\vfwtool.exe"
  Delete "$INSTDIR\vfwtool64.exe"
  Delete "$INSTDIR\CHANGELOG.txt"
  Delete "$INSTDIR\docs\*.txt"
  RMDir "$INSTDIR\docs"
!macroend

!macro SystemFunctions UN
  Function ${UN}FindSystemFolders
    ${If} ${RunningX64}
      ; The installer is a 32-bit program: without this, System32 would mean SysWOW64.
      ${DisableX64FSRedirection}
      StrCpy $driverFolder32 "$WINDIR\SysWOW64"
      StrCpy $driverFolder64 "$WINDIR\System32"
      StrCpy $programsFolder $PROGRAMFILES64
    ${Else}
      StrCpy $driverFolder32 "$WINDIR\System32"
      StrCpy $programsFolder $PROGRAMFILES
    ${EndIf}
  FunctionEnd

  ; The record is in the registry of the system's own bitness, so that it is listed once.
  Function ${UN}UseRecordView
    ${If} ${RunningX64}
      SetRegView 64
    ${Else}
      SetRegView 32
    ${EndIf}
  FunctionEnd

  Function ${UN}RequireAdministrator
    UserInfo::GetAccountType
    Pop $0
    ${If} $0 != Admin
      MessageBox MB_OK|MB_ICONSTOP "${PRODUCT} belongs to all users of this computer: installing \
        and removing it needs the rights of an administrator. Please ask one, or start this \
        program again with $\"Run as administrator$\".$\n$\nNothing was changed." /SD IDOK
      SetErrorLevel ${EXIT_NO_RIGHTS}
      Quit
    ${EndIf}
  FunctionEnd
!macroend
!insertmacro SystemFunctions ""
!insertmacro SystemFunctions "un."
