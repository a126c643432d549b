; The installer of the codec. scripts/package compiles it, with these definitions:
;   STAGE     folder with the files to install
;   OUTPUT    the installer to write
;   VERSION   three numbers with points between
;
; Command line, besides NSIS's own /S (silent) and /D=FOLDER (last, without quotes):
;   /MMES=yes|no    whether to play files marked MMES too; at first yes, then as the last time
;   /TOOL=yes|no    whether to install vfwtool and the documents; likewise
;   /FORCE          take codes that belong to another driver over without asking
;
; Exit codes: 0 done, 1 cancelled, 2 failed, 3 done but another driver keeps a code, 4 no
; administrator rights, 3010 done when Windows has been restarted.

Unicode true
!include LogicLib.nsh
!include x64.nsh
!include WinVer.nsh
!include FileFunc.nsh
!include MUI2.nsh

!define PRODUCT "QIVM video codec"
!define PUBLISHER "Norvane"
!define DRIVER "qivm.dll"
!define DRIVER_DESCRIPTION "Norvane MPEG2 I-frames"
; Windows' list of programs. What the uninstaller must know is kept inside.
!define RECORD "Software\Microsoft\Windows\CurrentVersion\Uninstall\QIVM"

!define EXIT_FAILED 2
!define EXIT_CODE_KEPT 3
!define EXIT_NO_RIGHTS 4
!define EXIT_RESTART 3010

Name "${PRODUCT} ${VERSION}"
OutFile "${OUTPUT}"
; Chosen in .onInit, unless /D= did.
InstallDir ""
RequestExecutionLevel admin
ManifestDPIAware true
SetCompressor /SOLID lzma
BrandingText "${PRODUCT} ${VERSION}"
ShowInstDetails show
ShowUninstDetails show

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "${PRODUCT}"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileDescription "Installer of the ${PRODUCT}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey CompanyName "${PUBLISHER}"
VIAddVersionKey LegalCopyright "MIT licence"

Var logFile
; Whether a driver comes into its place only when Windows is restarted.
Var restartNeeded
; The codes that were left with another driver, each with a space in front.
Var codesKept
; 1 when the command line says /FORCE.
Var force

!include "system.nsh"
!include "made_keys.nsh"
!include "driver_file.nsh"
!include "registration.nsh"
!include "settings.nsh"

!define MUI_ABORTWARNING
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_LICENSE "${STAGE}\LICENSE.txt"
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

Section "Driver" SectionDriver
  SectionIn RO
  SetOutPath $INSTDIR
  Call OpenLog
  ; First of all: whatever happens from here on can be undone.
  Call WriteUninstallEntry

  !insertmacro InstallDriver x86 $driverFolder32
  ${If} ${RunningX64}
    !insertmacro InstallDriver x64 $driverFolder64
  ${EndIf}
  Call MakeSettings
  !insertmacro RegisterCode QIVM "${DRIVER_DESCRIPTION}"
SectionEnd

Section "Play files marked MMES" SectionMmes
  !insertmacro RegisterCode MMES "${DRIVER_DESCRIPTION} (MMES)"
SectionEnd

Section "vfwtool and documents" SectionTool
  SetOverwrite on
  SetOutPath $INSTDIR
  File "${STAGE}\CHANGELOG.txt"
  File /oname=vfwtool.exe "${STAGE}\x86\vfwtool.exe"
  ${If} ${RunningX64}
    File /oname=vfwtool64.exe "${STAGE}\x64\vfwtool.exe"
  ${EndIf}
  SetOutPath $INSTDIR\docs
  File "${STAGE}\docs\*.txt"
  !insertmacro Say "vfwtool and documents are in $INSTDIR"
SectionEnd

; What an earlier installation did and this one is not to do.
Section "-TakeBack"
  ${IfNot} ${SectionIsSelected} ${SectionMmes}
    !insertmacro UnregisterCode MMES
  ${EndIf}
  ${IfNot} ${SectionIsSelected} ${SectionTool}
    !insertmacro DeleteToolAndDocuments
  ${EndIf}
  Call WriteUninstallDetails
  FileClose $logFile
SectionEnd

LangString DescriptionDriver ${LANG_ENGLISH} "The codec for 32-bit programs and, on 64-bit Windows, for 64-bit programs."
LangString DescriptionMmes ${LANG_ENGLISH} "Programs find the codec for files with the code MMES too."
LangString DescriptionTool ${LANG_ENGLISH} "A console program that records, plays and examines AVI files with any installed codec."
!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${SectionDriver} $(DescriptionDriver)
  !insertmacro MUI_DESCRIPTION_TEXT ${SectionMmes} $(DescriptionMmes)
  !insertmacro MUI_DESCRIPTION_TEXT ${SectionTool} $(DescriptionTool)
!insertmacro MUI_FUNCTION_DESCRIPTION_END

; ChooseSection SECTION NAME: by the command line's /NAME=, else as the last installation did.
!macro ChooseSection SECTION NAME
  ClearErrors
  ${GetOptions} $0 "/${NAME}=" $1
  ${If} ${Errors}
    Call UseRecordView
    ReadRegStr $1 HKLM "${RECORD}" "${NAME}"
  ${ElseIf} $1 != yes
  ${AndIf} $1 != no
    MessageBox MB_OK|MB_ICONSTOP "/${NAME}= must be yes or no." /SD IDOK
    SetErrorLevel ${EXIT_FAILED}
    Quit
  ${EndIf}
  ${If} $1 == no
    !insertmacro UnselectSection ${SECTION}
  ${EndIf}
!macroend

Function .onInit
  ${IfNot} ${AtLeastWin7}
    MessageBox MB_OK|MB_ICONSTOP "${PRODUCT} needs Windows 7 or later." /SD IDOK
    SetErrorLevel ${EXIT_FAILED}
    Quit
  ${EndIf}
  Call RequireAdministrator
  Call FindSystemFolders
  ${If} $INSTDIR == ""
    Call UseRecordView
    ReadRegStr $INSTDIR HKLM "${RECORD}" InstallLocation
  ${EndIf}
  ${If} $INSTDIR == ""
    StrCpy $INSTDIR "$programsFolder\QIVM"
  ${EndIf}

  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 /FORCE $1
  ${IfNot} ${Errors}
    StrCpy $force 1
  ${EndIf}
  !insertmacro ChooseSection ${SectionMmes} MMES
  !insertmacro ChooseSection ${SectionTool} TOOL
FunctionEnd

Function .onInstSuccess
  ${If} $restartNeeded == 1
    SetErrorLevel ${EXIT_RESTART}
  ${ElseIf} $codesKept != ""
    SetErrorLevel ${EXIT_CODE_KEPT}
  ${Else}
    SetErrorLevel 0
  ${EndIf}
FunctionEnd

Function OpenLog
  CreateDirectory $INSTDIR
  ClearErrors
  FileOpen $logFile "$INSTDIR\setup.log" w
  ${If} ${Errors}
    MessageBox MB_OK|MB_ICONSTOP "Cannot write into $INSTDIR." /SD IDOK
    SetErrorLevel ${EXIT_FAILED}
    Abort
  ${EndIf}
  !insertmacro Say "${PRODUCT} ${VERSION}"
FunctionEnd

; The entry in Windows' list of programs.
Function WriteUninstallEntry
  SetOverwrite on
  File "${STAGE}\LICENSE.txt"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  Call UseRecordView
  WriteRegStr HKLM "${RECORD}" DisplayName "${PRODUCT}"
  WriteRegStr HKLM "${RECORD}" DisplayVersion "${VERSION}"
  WriteRegStr HKLM "${RECORD}" Publisher "${PUBLISHER}"
  WriteRegStr HKLM "${RECORD}" DisplayIcon "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${RECORD}" InstallLocation $INSTDIR
  WriteRegStr HKLM "${RECORD}" UninstallString '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${RECORD}" QuietUninstallString '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${RECORD}" NoModify 1
  WriteRegDWORD HKLM "${RECORD}" NoRepair 1
FunctionEnd

!macro RecordChoice SECTION NAME
  ${If} ${SectionIsSelected} ${SECTION}
    WriteRegStr HKLM "${RECORD}" "${NAME}" yes
  ${Else}
    WriteRegStr HKLM "${RECORD}" "${NAME}" no
  ${EndIf}
!macroend

; What is known only when everything is in its place.
Function WriteUninstallDetails
  Call UseRecordView
  !insertmacro RecordChoice ${SectionMmes} MMES
  !insertmacro RecordChoice ${SectionTool} TOOL
  SectionGetSize ${SectionDriver} $0
  ${If} ${SectionIsSelected} ${SectionTool}
    SectionGetSize ${SectionTool} $1
    IntOp $0 $0 + $1
  ${EndIf}
  WriteRegDWORD HKLM "${RECORD}" EstimatedSize $0
FunctionEnd

Section "Uninstall"
  !insertmacro un.GiveBackRegistrations
  !insertmacro RemoveDriver x86 $driverFolder32
  ${If} ${RunningX64}
    !insertmacro RemoveDriver x64 $driverFolder64
  ${EndIf}
  Call un.RemoveSettings

  !insertmacro DeleteToolAndDocuments
  Delete "$INSTDIR\LICENSE.txt"
  Delete "$INSTDIR\setup.log"
  Call un.UseRecordView
  DeleteRegKey HKLM "${RECORD}"
  ; Last, so that a folder that is gone means that all is.
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
SectionEnd

Function un.onInit
  Call un.RequireAdministrator
  Call un.FindSystemFolders
FunctionEnd

Function un.onUninstSuccess
  ${If} $restartNeeded == 1
    SetErrorLevel ${EXIT_RESTART}
  ${Else}
    SetErrorLevel 0
  ${EndIf}
FunctionEnd
