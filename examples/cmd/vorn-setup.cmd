@echo off
rem SPDX-License-Identifier: 0BSD
rem
rem Installs, updates, repairs and removes the driver, and turns each exit status of vorn_devnode.exe
rem into one that software distribution knows:
rem     0 done    3010 done after a restart    1603 failed    1618 busy, try again later
rem
rem   vorn-setup.cmd install VERSION
rem   vorn-setup.cmd repair
rem   vorn-setup.cmd uninstall
rem   vorn-setup.cmd rollback            undoes the last install, for a caller whose own work failed
rem
rem The folder of this script lies below Program Files, where only administrators can write. It holds
rem   vorn_devnode.exe
rem   VERSION\driver\vorn_audio.inf   each version with its .cat and .sys, and nothing else. An update
rem                                   needs the folder of the version before, to fall back on it.
rem   current.txt, previous.txt, setup.log and the journal   written by this script
setlocal EnableExtensions DisableDelayedExpansion
set "home=%~dp0"
set "tool=%home%vorn_devnode.exe"
set "state=%home%.vorn-driver-activation-state"
set "out=%home%last-run.txt"
set "task=VORN Audio removal"

rem Two runs at a time would make two devices. CMD has no mutex, but a file that one script writes
rem cannot be opened by another: if this fails, :main does not run.
set "code=1618"
call :main %* >>"%home%setup.log"
rem For callers that get one byte of an exit code only, as through SSH.
echo vorn-setup: exit code %code%, see "%home%setup.log"
exit /b %code%

:main
set "code=1603"
echo %date% %time% vorn-setup %*
rem Without elevation the tool would ask for it and run in a console of its own, out of sight.
reg query HKU\S-1-5-19 >nul 2>&1
if errorlevel 1 echo Run this as an administrator.& exit /b
if /i "%PROCESSOR_IDENTIFIER:~0,3%"=="ARM" echo There is no driver for ARM64.& exit /b
set "current="
if exist "%home%current.txt" set /p current=<"%home%current.txt"
if /i "%~1"=="install" goto install
if /i "%~1"=="repair" goto repair
if /i "%~1"=="uninstall" goto uninstall
if /i "%~1"=="rollback" goto rollback
echo Unknown command.
exit /b

:install
rem A remote session with redirected sound sees no endpoints of this machine: nothing could be proven.
if /i "%SESSIONNAME:~0,4%"=="RDP-" echo Run this at the console or as a service.& exit /b
set "version=%~2"
if not exist "%home%%version%\driver\vorn_audio.inf" echo No such version.& exit /b
schtasks /delete /f /tn "%task%" >nul 2>&1
if not defined current goto bind_version
rem Where the endpoints cannot be seen, nothing can be proven. A run that was killed leaves them hidden.
call :run audit-catalog
if not "%status%"=="11" goto bind_version
call :run resume-endpoints
call :run audit-catalog
if "%status%"=="11" exit /b
:bind_version
call :bind "%version%"
call :was_killed
if defined killed call :run resume-endpoints
if defined killed call :bind "%version%"
if "%status%"=="0" goto installed
rem Most failures leave the device as it was. Then there is nothing to undo, and doing it would harm.
if not defined bound exit /b
if not defined current goto undo_first
if /i "%current%"=="%version%" exit /b
rem Ask whether the version before still runs, before making it run again.
call :run audit-current "%home%%current%\driver\vorn_audio.inf"
if exist "%state%" del /f "%state%"
if "%status%"=="0" exit /b
call :bind "%current%" --rollback
if "%status%"=="10" echo The version before runs again after a restart.
if "%status%"=="0" exit /b
if "%status%"=="10" exit /b
rem A rollback can succeed and not be provable: the endpoints were not all there when it began.
call :run audit-current "%home%%current%\driver\vorn_audio.inf"
exit /b

:installed
if exist "%home%previous.txt" del /f "%home%previous.txt"
if defined current >"%home%previous.txt" echo %current%
>"%home%current.txt" echo %version%
set "code=0"
exit /b

:undo_first
rem Only a device that this run made is taken away.
if defined fresh call :remove "%version%"
exit /b

:repair
if not defined current echo Nothing is installed.& exit /b
call :run audit-current "%home%%current%\driver\vorn_audio.inf"
if "%status%"=="0" set "code=0"& exit /b
rem A run that was killed leaves endpoints hidden.
call :run resume-endpoints
call :bind "%current%"
if "%status%"=="0" set "code=0"
exit /b

:rollback
set "previous="
if exist "%home%previous.txt" set /p previous=<"%home%previous.txt"
if not defined previous goto uninstall
call :bind "%previous%" --rollback
if "%status%"=="0" set "code=0"
if "%status%"=="10" set "code=3010"
if %code% neq 1603 >"%home%current.txt" echo %previous%
exit /b

:uninstall
rem The version that runs goes first. Every earlier one left a package in the driver store.
set "status=0"
if defined current call :remove "%current%"
for /f "delims=" %%d in ('dir /b /ad "%home%"') do call :remove_earlier "%%d"
if "%status%"=="0" set "code=0"
if "%status%"=="10" set "code=3010"
if "%status%"=="17" set "code=1618"
if %code% neq 0 exit /b
schtasks /delete /f /tn "%task%" >nul 2>&1
if exist "%state%" del /f "%state%"
if exist "%home%current.txt" del /f "%home%current.txt"
if exist "%home%previous.txt" del /f "%home%previous.txt"
exit /b

:remove_earlier
if not "%status%"=="0" exit /b
if /i "%~1"=="%current%" exit /b
if exist "%home%%~1\driver\vorn_audio.inf" call :remove "%~1"
exit /b

rem :remove VERSION. After 10 the package is still there, and the removal must run again after the
rem restart. Until then this folder stays.
:remove
call :run remove "%home%%~1\driver\vorn_audio.inf"
if "%status%"=="10" schtasks /create /f /ru SYSTEM /sc onstart /tn "%task%" /tr "\"%~f0\" uninstall"
exit /b

rem :was_killed. Sets killed if the last install has a status that it does not end with by itself.
:was_killed
set "killed=%bound%"
for %%s in (0 11 12 15 16) do if "%status%"=="%%s" set "killed="
exit /b

rem :bind VERSION [--rollback]. Sets status; sets bound if the device may run another driver now, and
rem fresh if there was no device before.
:bind
call :bind_once %*
if not "%status%"=="9" exit /b
rem The journal of an earlier run is in the way: that run was killed, or the device was removed or
rem changed by other means. Show what it may have left hidden, and look what runs before the journal goes.
call :run resume-endpoints
if defined current (call :run audit-current "%home%%current%\driver\vorn_audio.inf") else call :run audit-catalog
set "found=%status%"
set "status=9"
if not defined current if not "%found%"=="12" exit /b
if "%found%"=="11" goto something_else
if exist "%state%" del /f "%state%"
if exist "%state%" exit /b
rem No version is installed: this clears the half-made device of a run that was killed.
set "status=0"
if not defined current call :run remove "%home%%~1\driver\vorn_audio.inf"
if "%status%"=="0" call :bind_once %*
exit /b

:something_else
if /i "%~1"=="%current%" goto without_journal
call :run audit-catalog
if not "%status%"=="0" set "status=9"& exit /b
if exist "%state%" del /f "%state%"
call :bind_once "%current%" --rollback
call :run audit-current "%home%%current%\driver\vorn_audio.inf"
if not "%status%"=="0" set "status=9"& set "bound="& exit /b
:without_journal
if exist "%state%" del /f "%state%"
call :bind_once %*
exit /b

:bind_once
set "bound="
set "fresh="
call :run install "%home%%~1\driver\vorn_audio.inf" "%state%" %2
if "%status%"=="not run" exit /b
for /f "usebackq delims=" %%l in ("%out%") do (
  if "%%l"=="vorn_devnode: persisted protected pre-bind activation state" set "bound=yes"
  if "%%l"=="vorn_devnode: Root\VornAudio already runs the target package; device left untouched" set "bound="
  if "%%l"=="vorn_devnode: RESULT=BIND_REFUSED - Windows rejected the bind" set "bound="
  if "%%l"=="vorn_devnode: Root\VornAudio installed" set "fresh=yes"
)
for %%s in (3 4 5 6 7 8 9) do if "%status%"=="%%s" set "bound="
exit /b

rem :run ARGUMENTS. Keeps the lines in a file, where those of both streams are in their order, and sets
rem status. A run can be silent for minutes.
:run
echo %time% vorn_devnode %*
rem The status of a command that could not be started is not reliable; that it made its file is.
if exist "%out%" del /f "%out%"
set "status=not run"
if exist "%out%" echo "%out%" is held.& exit /b
"%tool%" %* >"%out%" 2>&1
set "status=%errorlevel%"
if not exist "%out%" set "status=not run"& exit /b
type "%out%"
echo %time% status %status%
exit /b
