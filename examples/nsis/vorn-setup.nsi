; SPDX-License-Identifier: 0BSD
;
; An installer for one version of the driver, with the program that installs it.
;
;   makensis -DVERSION=26.9.1.1 -DPACKAGE=folder-of-the-inf -DTOOL=vorn_devnode.exe -DOUT=vorn-audio-26.9.1.1.exe
;            [-DHOST32] vorn-setup.nsi
;
;   vorn-audio-26.9.1.1.exe /S             installs, or updates and falls back to the version before
;   vorn-audio-26.9.1.1.exe /S /REPAIR     proves the installed version, and binds it again if it must
;   uninstall.exe /S _?=C:\Program Files\VORN    (with _?= it does not leave for a copy of itself,
;                            so that whoever runs it gets its exit code)
;
; Exit codes: 0 done, 3010 done after a restart, 1602 the user gave up, 1603 failed, 1618 busy, try
; again later.
;
; With -DHOST32 the installer itself is a 32-bit program. The driver's program is 64-bit in both: a
; 32-bit process can start it, because it lies in the real Program Files and not in System32, which
; Windows replaces for 32-bit processes.

Unicode true
!ifdef HOST32
  Target x86-unicode
!else
  Target amd64-unicode
!endif
!include LogicLib.nsh
!include FileFunc.nsh
!include TextFunc.nsh
!include x64.nsh

Name "VORN Audio"
OutFile "${OUT}"
RequestExecutionLevel admin
ManifestSupportedOS Win10
ShowInstDetails show
ShowUninstDetails show
Page instfiles
UninstPage instfiles

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\VORN Audio"
!define TASK "VORN Audio removal"
!define STATE "$INSTDIR\.vorn-driver-activation-state"
!define CURRENT "$INSTDIR\current.txt"

Var Code     ; of this installer
Var Current  ; the version that was installed and proven, or empty
Var Status   ; of the last run
Var Bound    ; after an install: whether the device may run another driver now
Var Fresh    ; after an install: whether it made the device

!macro Shared UN

; The named mutex keeps other installers out: two runs at a time would make two devices.
Function ${UN}Begin
  SetRegView 64
  SetShellVarContext all
  StrCpy $INSTDIR "$PROGRAMFILES64\VORN"  ; one place for the one journal of the machine
  System::Call 'kernel32::CreateMutexW(p 0, i 0, w "Global\VornDevnode") p .r0 ?e'
  Pop $1
  ${If} $0 P= 0
  ${OrIf} $1 = 183  ; ERROR_ALREADY_EXISTS
    StrCpy $Code 1618
    Call ${UN}End
  ${EndIf}
  StrCpy $Code 1603
  ClearErrors
  FileOpen $0 "${CURRENT}" r
  ${IfNot} ${Errors}
    FileRead $0 $Current
    FileClose $0
    ${TrimNewLines} $Current $Current
  ${EndIf}
FunctionEnd

Function ${UN}End
  SetErrorLevel $Code
  ${If} $Code <> 0
    MessageBox MB_ICONEXCLAMATION "VORN Audio setup ends with $Code. See $INSTDIR\setup.log." /SD IDOK
    Quit
  ${EndIf}
FunctionEnd

; $R0: the arguments of the program. nsExec keeps 1,023 characters of what a program prints, and a
; removal prints more: so it prints into a file. Both streams of the program can go to one file, its
; lines are in their order there. A run can be silent for minutes.
Function ${UN}Run
  DetailPrint "vorn_devnode $R0"
  Delete "$INSTDIR\last-run.txt"
  ; The status is a text: "error" if the run could not be started.
  nsExec::Exec '"$SYSDIR\cmd.exe" /d /s /c ""$INSTDIR\vorn_devnode.exe" $R0 >"$INSTDIR\last-run.txt" 2>&1"'
  Pop $Status
  DetailPrint "status $Status"
  StrCpy $Bound ""
  StrCpy $Fresh ""
  FileOpen $R8 "$INSTDIR\setup.log" a
  FileSeek $R8 0 END
  FileWrite $R8 "vorn_devnode $R0$\r$\n"
  FileOpen $R9 "$INSTDIR\last-run.txt" r
  ${Do}
    ClearErrors
    FileRead $R9 $0
    ${IfThen} ${Errors} ${|} ${ExitDo} ${|}
    FileWrite $R8 $0
    ${Select} $0
      ${Case} "vorn_devnode: persisted protected pre-bind activation state$\r$\n"
        StrCpy $Bound yes
      ${Case} "vorn_devnode: Root\VornAudio already runs the target package; device left untouched$\r$\n"
        StrCpy $Bound ""
      ${Case} "vorn_devnode: RESULT=BIND_REFUSED - Windows rejected the bind$\r$\n"
        StrCpy $Bound ""
      ${Case} "vorn_devnode: Root\VornAudio installed$\r$\n"
        StrCpy $Fresh yes
    ${EndSelect}
  ${Loop}
  FileClose $R9
  FileWrite $R8 "status $Status$\r$\n"
  FileClose $R8
  ; These statuses say that the device is as it was.
  ${If} $Status >= 3
  ${AndIf} $Status <= 9
    StrCpy $Bound ""
  ${EndIf}
FunctionEnd

; $R1: the version. After 10 the package is still there, and the removal must run again after the
; restart: until then all files stay.
Function ${UN}Remove
  StrCpy $R0 'remove "$INSTDIR\$R1\driver\vorn_audio.inf"'
  Call ${UN}Run
  ${If} $Status = 10
    nsExec::Exec '"$SYSDIR\schtasks.exe" /create /f /ru SYSTEM /sc onstart /tn "${TASK}" /tr "\"$INSTDIR\uninstall.exe\" /S _?=$INSTDIR"'
    Pop $0
  ${EndIf}
FunctionEnd

!macroend
!insertmacro Shared ""
!insertmacro Shared "un."

; $R1: the version, $R2: --rollback or nothing.
Function BindOnce
  StrCpy $R0 'install "$INSTDIR\$R1\driver\vorn_audio.inf" "${STATE}"'
  ${IfThen} $R2 != "" ${|} StrCpy $R0 "$R0 $R2" ${|}
  Call Run
FunctionEnd

Function AuditCurrent
  StrCpy $R0 'audit-current "$INSTDIR\$Current\driver\vorn_audio.inf"'
  Call Run
FunctionEnd

Function AuditCatalog
  StrCpy $R0 "audit-catalog"
  Call Run
FunctionEnd

Function ResumeEndpoints
  StrCpy $R0 "resume-endpoints"
  Call Run
FunctionEnd

Function Bind
  Call BindOnce
  ${IfThen} $Status <> 9 ${|} Return ${|}
  ; The journal of an earlier run is in the way: that run was killed, or the device was removed or
  ; changed by other means. Show what it may have left hidden, and look what runs before the journal goes.
  Call ResumeEndpoints
  ${If} $Current == ""
    Call AuditCatalog
    ${If} $Status != 12
      StrCpy $Status 9
      Return
    ${EndIf}
  ${Else}
    Call AuditCurrent
    ${If} $Status == 11
    ${AndIf} $Current != $R1
      ; Something else runs, or nothing can be seen here. Go back to the installed version first.
      Call AuditCatalog
      ${If} $Status == 0
        Push $R1
        Push $R2
        StrCpy $R1 $Current
        StrCpy $R2 "--rollback"
        Delete "${STATE}"
        Call BindOnce
        Call AuditCurrent
        Pop $R2
        Pop $R1
      ${EndIf}
      ${If} $Status != 0
        StrCpy $Status 9
        StrCpy $Bound ""
        Return
      ${EndIf}
    ${EndIf}
  ${EndIf}
  Delete "${STATE}"
  ${If} ${FileExists} "${STATE}"
    StrCpy $Status 9
    Return
  ${EndIf}
  ${If} $Current == ""
    ; This clears the half-made device of a run that was killed.
    StrCpy $R0 'remove "$INSTDIR\$R1\driver\vorn_audio.inf"'
    Call Run
    ${IfThen} $Status != 0 ${|} Return ${|}
  ${EndIf}
  Call BindOnce
FunctionEnd

Function Install
  ; A remote session with redirected sound sees no endpoints of this machine: nothing could be proven.
  ReadEnvStr $0 SESSIONNAME
  StrCpy $0 $0 4
  ${If} $0 == "RDP-"
    DetailPrint "Run this at the console or as a service."
    Return
  ${EndIf}
  ReadEnvStr $0 PROCESSOR_IDENTIFIER
  StrCpy $0 $0 3
  ${If} $0 == "ARM"
  ${OrIf} ${IsNativeARM64}
    DetailPrint "There is no driver for ARM64."
    Return
  ${EndIf}

  SetOutPath "$INSTDIR"
  File "/oname=vorn_devnode.exe" "${TOOL}"
  ; The package has a folder of its own: everything in the folder of the INF is read and copied.
  SetOutPath "$INSTDIR\${VERSION}\driver"
  File "${PACKAGE}\*.*"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "VORN Audio"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S _?=$INSTDIR'
  nsExec::Exec '"$SYSDIR\schtasks.exe" /delete /f /tn "${TASK}"'
  Pop $0

  ${If} $Current != ""
    ; Where the endpoints cannot be seen, nothing can be proven. A run that was killed leaves them hidden.
    Call AuditCatalog
    ${If} $Status == 11
      Call ResumeEndpoints
      Call AuditCatalog
    ${EndIf}
    ${IfThen} $Status == 11 ${|} Return ${|}
  ${EndIf}

  StrCpy $R1 "${VERSION}"
  StrCpy $R2 ""
  Call Bind
  ${If} $Bound != ""
  ${AndIf} $Status != 0
  ${AndIf} $Status != 11
  ${AndIf} $Status != 12
  ${AndIf} $Status != 15
  ${AndIf} $Status != 16
    ; It does not end so by itself: it was killed.
    Call ResumeEndpoints
    Call Bind
  ${EndIf}
  ${If} $Status == 0
    FileOpen $0 "${CURRENT}" w
    FileWrite $0 "${VERSION}$\r$\n"
    FileClose $0
    WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
    StrCpy $Code 0
    Return
  ${EndIf}
  ; Most failures leave the device as it was. Then there is nothing to undo, and doing it would harm.
  ${IfThen} $Bound == "" ${|} Return ${|}
  ${If} $Current == ""
    ; Only a device that this run made is taken away.
    ${If} $Fresh != ""
      Call Remove
    ${EndIf}
    Return
  ${EndIf}
  ${IfThen} $Current == "${VERSION}" ${|} Return ${|}
  ; Ask whether the version before still runs, before making it run again.
  Call AuditCurrent
  Delete "${STATE}"
  ${IfThen} $Status == 0 ${|} Return ${|}
  StrCpy $R1 $Current
  StrCpy $R2 "--rollback"
  Call Bind
  ${IfThen} $Status == 0 ${|} Return ${|}
  ${If} $Status = 10
    DetailPrint "The version before runs again after a restart."
    Return
  ${EndIf}
  ; A rollback can succeed and not be provable: the endpoints were not all there when it began.
  Call AuditCurrent
FunctionEnd

Function Repair
  ${IfThen} $Current == "" ${|} Return ${|}
  Call AuditCurrent
  ${If} $Status != 0
    Call ResumeEndpoints  ; a run that was killed leaves endpoints hidden
    StrCpy $R1 $Current
    StrCpy $R2 ""
    Call Bind
  ${EndIf}
  ${IfThen} $Status == 0 ${|} StrCpy $Code 0 ${|}
FunctionEnd

Function .onInit
  Call Begin
FunctionEnd

Section
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/REPAIR" $1
  ${If} ${Errors}
    Call Install
  ${Else}
    Call Repair
  ${EndIf}
  Call End
SectionEnd

Function un.onInit
  Call un.Begin
FunctionEnd

; The version that runs goes first. Every earlier one left a package in the driver store.
Function un.RemoveAll
  StrCpy $Status 0
  ${If} $Current != ""
    StrCpy $R1 $Current
    Call un.Remove
  ${EndIf}
  FindFirst $R7 $R1 "$INSTDIR\*.*"
  ${DoWhile} $R1 != ""
    ${If} $Status == 0
    ${AndIf} $R1 != $Current
    ${AndIf} ${FileExists} "$INSTDIR\$R1\driver\vorn_audio.inf"
      Call un.Remove
    ${EndIf}
    FindNext $R7 $R1
  ${Loop}
  FindClose $R7
FunctionEnd

Section un.
  again:
  Call un.RemoveAll
  ${If} $Status = 17
    MessageBox MB_RETRYCANCEL "A program uses VORN Audio. Close it, and try again." /SD IDCANCEL IDRETRY again
  ${EndIf}
  ${Select} $Status
    ${Case} 0
      StrCpy $Code 0
    ${Case} 10
      StrCpy $Code 3010
    ${Case} 17
      StrCpy $Code 1602
      ${IfThen} ${Silent} ${|} StrCpy $Code 1618 ${|}
  ${EndSelect}
  ${If} $Code = 0
    nsExec::Exec '"$SYSDIR\schtasks.exe" /delete /f /tn "${TASK}"'
    Pop $0
    DeleteRegKey HKLM "${UNINSTALL_KEY}"
    Delete "${CURRENT}"
    FindFirst $R7 $R1 "$INSTDIR\*.*"
    ${DoWhile} $R1 != ""
      ${IfThen} ${FileExists} "$INSTDIR\$R1\driver\vorn_audio.inf" ${|} RMDir /r "$INSTDIR\$R1" ${|}
      FindNext $R7 $R1
    ${Loop}
    FindClose $R7
    Delete "$INSTDIR\vorn_devnode.exe"
    Delete "${STATE}"
    Delete "$INSTDIR\last-run.txt"
    Delete "$INSTDIR\setup.log"
    Delete /REBOOTOK "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
  ${EndIf}
  Call un.End
SectionEnd
