; The installer. Per user or per machine; removes what it installed and nothing else.
; Defined on the command line: VERSION, STAGE (the folder with the files), DELETE_LICENCES (a script that
; deletes each of its licences from $INSTDIR), DELETE_GUIDE (the same for the guide), ICON, OUTPUT.

Target amd64-unicode  ; a 32-bit installer would do nothing on a system without 32-bit programs
Name "VNTFixdb"
OutFile "${OUTPUT}"
SetCompressor /SOLID lzma
ManifestDPIAware true
BrandingText " "

!define HELP_FOLDER "C:\KV_SOFT\system32"
!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\VNTFixdb"
!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_MUI
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR "VNTFixdb"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "InstallLocation"
!include MultiUser.nsh
!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include WinMessages.nsh

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!insertmacro MUI_PAGE_WELCOME
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "VNTFixdb"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "VNTFixdb setup"
VIAddVersionKey "LegalCopyright" ""

; EnvironmentKey: where the PATH of the chosen users is, in SHCTX.
Var EnvironmentKey

!macro FindEnvironmentKey
  ${If} $MultiUser.InstallMode == "AllUsers"
    StrCpy $EnvironmentKey "SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
  ${Else}
    StrCpy $EnvironmentKey "Environment"
  ${EndIf}
!macroend

!macro TellEnvironmentChange
  SendMessage ${HWND_BROADCAST} ${WM_SETTINGCHANGE} 0 "STR:Environment" /TIMEOUT=2000
!macroend

; $R0 = $R1 without the entry $INSTDIR, which may stand anywhere between semicolons.
!macro WithoutOwnEntry un
Function ${un}WithoutOwnEntry
  StrCpy $R0 ""
  ${Do}
    StrCpy $R3 0
    ${Do}
      StrCpy $R4 $R1 1 $R3
      ${If} $R4 == ""
      ${OrIf} $R4 == ";"
        ${ExitDo}
      ${EndIf}
      IntOp $R3 $R3 + 1
    ${Loop}
    StrCpy $R5 $R1 $R3
    ${If} $R5 != $INSTDIR
      ${If} $R0 == ""
        StrCpy $R0 $R5
      ${Else}
        StrCpy $R0 "$R0;$R5"
      ${EndIf}
    ${EndIf}
    ${If} $R4 == ""
      ${ExitDo}
    ${EndIf}
    IntOp $R3 $R3 + 1
    StrCpy $R1 $R1 "" $R3
  ${Loop}
FunctionEnd
!macroend
!insertmacro WithoutOwnEntry ""
!insertmacro WithoutOwnEntry "un."

; $R1 = the PATH, $R2 = "1" when it can be changed: a text longer than this installer's own would be cut.
!macro ReadPath un
Function ${un}ReadPath
  StrCpy $R2 1
  ClearErrors
  ReadRegStr $R1 SHCTX $EnvironmentKey "Path"
  ${If} ${Errors}
    ; Missing is well, unreadable is not.
    StrCpy $R3 0
    ${Do}
      ClearErrors
      EnumRegValue $R4 SHCTX $EnvironmentKey $R3
      ${If} ${Errors}
      ${OrIf} $R4 == ""
        ${ExitDo}
      ${EndIf}
      ${If} $R4 == "Path"
        StrCpy $R2 0
      ${EndIf}
      IntOp $R3 $R3 + 1
    ${Loop}
    StrCpy $R1 ""
  ${EndIf}
  StrLen $R3 $R1
  StrLen $R4 $INSTDIR
  IntOp $R3 $R3 + $R4
  IntOp $R3 $R3 + 2
  ${If} $R3 >= ${NSIS_MAX_STRLEN}
    StrCpy $R2 0
  ${EndIf}
FunctionEnd
!macroend
!insertmacro ReadPath ""
!insertmacro ReadPath "un."

!macro RefuseWhileRunning program
  ${If} ${FileExists} "$INSTDIR\${program}"
    ClearErrors
    FileOpen $0 "$INSTDIR\${program}" a
    ${If} ${Errors}
      MessageBox MB_OK|MB_ICONSTOP "${program} is running, or its file cannot be written. Nothing was changed." /SD IDOK
      SetErrorLevel 2
      Quit
    ${EndIf}
    FileClose $0
  ${EndIf}
!macroend

Section "Programs" SecPrograms
  SectionIn RO
  !insertmacro RefuseWhileRunning "VNTFixdb.exe"
  !insertmacro RefuseWhileRunning "vntfix.exe"
  ClearErrors
  SetOutPath "$INSTDIR\licences"
  File "${STAGE}/licences/*.txt"
  SetOutPath "$INSTDIR\guide\fixes"
  File "${STAGE}/guide/fixes/*"
  SetOutPath "$INSTDIR\guide"
  File "${STAGE}/guide/*.*"
  SetOutPath "$INSTDIR"
  File "${STAGE}/README.txt"
  File "${STAGE}/tidyworks.chm"
  File "${STAGE}/vntfix.exe"
  File "${STAGE}/VNTFixdb.exe"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  ${If} ${Errors}
    MessageBox MB_OK|MB_ICONSTOP "The files could not be written to $INSTDIR." /SD IDOK
    SetErrorLevel 2
    Quit
  ${EndIf}
  WriteRegStr SHCTX "${KEY}" "DisplayName" "VNTFixdb"
  WriteRegStr SHCTX "${KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr SHCTX "${KEY}" "DisplayIcon" "$INSTDIR\VNTFixdb.exe"
  WriteRegStr SHCTX "${KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr SHCTX "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
  WriteRegStr SHCTX "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
  WriteRegDWORD SHCTX "${KEY}" "NoModify" 1
  WriteRegDWORD SHCTX "${KEY}" "NoRepair" 1
  SectionGetSize ${SecPrograms} $0
  WriteRegDWORD SHCTX "${KEY}" "EstimatedSize" $0
SectionEnd

; The window looks for its help file in one place. One that another program of the family has put there stays.
Section "Help file" SecHelp
  ReadRegStr $0 SHCTX "${KEY}" "HelpFile"
  ${If} $0 != ""
  ${OrIfNot} ${FileExists} "${HELP_FOLDER}\tidyworks.chm"
    ClearErrors
    CreateDirectory "${HELP_FOLDER}"
    CopyFiles /SILENT "$INSTDIR\tidyworks.chm" "${HELP_FOLDER}\tidyworks.chm"
    ${If} ${Errors}
      DetailPrint "The help file could not be put into ${HELP_FOLDER}; the guide is shown in its place."
    ${Else}
      WriteRegStr SHCTX "${KEY}" "HelpFile" "${HELP_FOLDER}\tidyworks.chm"
    ${EndIf}
  ${EndIf}
SectionEnd

Section "Start menu" SecStartMenu
  CreateShortcut "$SMPROGRAMS\VNTFixdb.lnk" "$INSTDIR\VNTFixdb.exe"
SectionEnd

Section /o "vntfix on the PATH" SecPath
  !insertmacro FindEnvironmentKey
  Call ReadPath
  ${If} $R2 == 1
    Call WithoutOwnEntry
    ${If} $R0 == ""
      StrCpy $R0 "$INSTDIR"
    ${Else}
      StrCpy $R0 "$R0;$INSTDIR"
    ${EndIf}
    WriteRegExpandStr SHCTX $EnvironmentKey "Path" $R0
    WriteRegDWORD SHCTX "${KEY}" "OnPath" 1
    !insertmacro TellEnvironmentChange
  ${Else}
    DetailPrint "The PATH is too long to be changed here: $INSTDIR was not added."
  ${EndIf}
SectionEnd

LangString DescPrograms ${LANG_ENGLISH} "The window and the command line tool."
LangString DescHelp ${LANG_ENGLISH} "The help file, in ${HELP_FOLDER}."
LangString DescStartMenu ${LANG_ENGLISH} "An entry in the start menu."
LangString DescPath ${LANG_ENGLISH} "vntfix can be called by its name on every command line."
!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${SecPrograms} $(DescPrograms)
  !insertmacro MUI_DESCRIPTION_TEXT ${SecHelp} $(DescHelp)
  !insertmacro MUI_DESCRIPTION_TEXT ${SecStartMenu} $(DescStartMenu)
  !insertmacro MUI_DESCRIPTION_TEXT ${SecPath} $(DescPath)
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Var GivenFolder

Function .onInit
  ; Where /D was given this holds its folder, which the choice of users would replace.
  StrCpy $GivenFolder $INSTDIR
  ${GetParameters} $0
  ; A box that nobody sees would wait for ever.
  UserInfo::GetAccountType
  Pop $1
  ClearErrors
  ${GetOptions} $0 "/AllUsers" $2
  ${IfNot} ${Errors}
  ${AndIf} ${Silent}
  ${AndIf} $1 != "Admin"
  ${AndIf} $1 != "Power"
    SetErrorLevel 2
    Quit
  ${EndIf}
  !insertmacro MULTIUSER_INIT
  ${If} $GivenFolder != ""
    StrCpy $INSTDIR $GivenFolder
  ${EndIf}
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/PATH" $1
  ${IfNot} ${Errors}
    SectionSetFlags ${SecPath} ${SF_SELECTED}
  ${EndIf}
FunctionEnd

Section "un.Programs"
  ReadRegDWORD $0 SHCTX "${KEY}" "OnPath"
  ${If} $0 == 1
    !insertmacro FindEnvironmentKey
    Call un.ReadPath
    ${If} $R2 == 1
      Call un.WithoutOwnEntry
      ${If} $R0 == ""
        DeleteRegValue SHCTX $EnvironmentKey "Path"
      ${Else}
        WriteRegExpandStr SHCTX $EnvironmentKey "Path" $R0
      ${EndIf}
      !insertmacro TellEnvironmentChange
    ${EndIf}
  ${EndIf}
  Delete "$SMPROGRAMS\VNTFixdb.lnk"
  ReadRegStr $0 SHCTX "${KEY}" "HelpFile"
  ${If} $0 != ""
    Delete "$0"
    ; Folders of the family go only when nothing is left in them.
    RMDir "${HELP_FOLDER}"
    RMDir "C:\KV_SOFT"
  ${EndIf}
  !include "${DELETE_GUIDE}"
  RMDir "$INSTDIR\guide\fixes"
  RMDir "$INSTDIR\guide"
  Delete "$INSTDIR\tidyworks.chm"
  !include "${DELETE_LICENCES}"
  RMDir "$INSTDIR\licences"
  Delete "$INSTDIR\README.txt"
  Delete "$INSTDIR\vntfix.exe"
  Delete "$INSTDIR\VNTFixdb.exe"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey SHCTX "${KEY}"
SectionEnd

Function un.onInit
  !insertmacro MULTIUSER_UNINIT
FunctionEnd
