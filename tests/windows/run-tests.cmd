@echo off
rem Runs the tests of the QIVM codec on this Windows, without installing anything.
rem
rem usage: run-tests.cmd [PROGRAM...]      default: every program of tests.txt
rem
rem Needs the rights of an administrator: the tests register the driver for as long as they run. The
rem registry is as it was afterwards. Leaves what the programs said, and summary.txt, in the folder
rem report. The exit code is the number of programs that failed.
setlocal enableextensions enabledelayedexpansion
cd /d "%~dp0"
set /p bits=<bits.txt
set view=/reg:%bits%
set drivers="HKLM\Software\Microsoft\Windows NT\CurrentVersion\Drivers32"
set makers="HKCR\Software"
set settings="HKCR\Software\Norvane" "HKCR\Software\Pellaro"

reg add %drivers% /v qivm-tests /d rights /f %view% >nul 2>nul
if errorlevel 1 (
  echo run-tests: start this from a command prompt that was opened "as administrator".
  exit /b 255
)
reg delete %drivers% /v qivm-tests /f %view% >nul

if exist report rmdir /s /q report
mkdir report\registry
set QIVM_PICTURES=report
set GTEST_COLOR=no
set GTEST_OUTPUT=xml:report\
ver >report\summary.txt
echo %PROCESSOR_IDENTIFIER%, %NUMBER_OF_PROCESSORS% processors >>report\summary.txt
call :Save before
call :HasMakers
set hadmakers=%hasmakers%

set failed=0
if "%~1"=="" (
  for /f "usebackq tokens=1*" %%p in ("tests.txt") do call :Run %%p %%q
) else (
  for %%p in (%*) do for /f "usebackq tokens=1*" %%q in ("tests.txt") do if %%p==%%q call :Run %%q %%r
)

rem The tests put back what they changed; one that was ended in the middle could not.
call :Save after
set changed=0
for %%n in (1 2 3) do call :Compare %%n
call :HasMakers
if not %hadmakers%==%hasmakers% set changed=1
if %changed%==1 call :Restore
echo %failed% programs failed >>report\summary.txt
type report\summary.txt
exit /b %failed%

rem Run PROGRAM [ARGUMENT...]
:Run
echo %1
"%~dp0%1.exe" %2 %3 %4 %5 %6 %7 >report\%1.log 2>&1
if errorlevel 1 (
  set /a failed+=1
  echo FAILED %1 >>report\summary.txt
) else (
  echo passed %1 >>report\summary.txt
)
exit /b 0

rem HasMakers: notes in hasmakers whether there is the key above the settings.
:HasMakers
set hasmakers=yes
reg query %makers% %view% >nul 2>nul
if errorlevel 1 set hasmakers=no
exit /b 0

rem Save NAME: exports what the tests change.
:Save
set number=0
for %%k in (%drivers% %settings%) do (
  set /a number+=1
  reg export %%k report\registry\%1-!number!.reg /y %view% >nul 2>nul
)
exit /b 0

rem Compare NUMBER: notes in changed that an export differs, in its size or in its bytes.
:Compare
set before=none
set after=none
for %%f in (report\registry\before-%1.reg) do if exist %%f set before=%%~zf
for %%f in (report\registry\after-%1.reg) do if exist %%f set after=%%~zf
if not %before%==%after% set changed=1
if %before%==none exit /b 0
rem 1: they differ; 2: it could not compare them, as wine's cannot.
fc /b report\registry\before-%1.reg report\registry\after-%1.reg >nul 2>nul
if errorlevel 1 if not errorlevel 2 set changed=1
exit /b 0

:Restore
echo registry: put back what a test had left >>report\summary.txt
for %%v in (QIVM MMES STOR TEST) do reg delete %drivers% /v vidc.%%v /f %view% >nul 2>nul
for %%k in (%settings%) do reg delete %%k /f %view% >nul 2>nul
for %%n in (1 2 3) do if exist report\registry\before-%%n.reg reg import report\registry\before-%%n.reg %view% >nul 2>nul
if %hadmakers%==yes exit /b 0
rem The key above goes as well, unless something else is in it by now.
reg query %makers% %view% >report\registry\makers.txt 2>nul
find "HKEY_" report\registry\makers.txt >nul
if errorlevel 1 reg delete %makers% /f %view% >nul 2>nul
exit /b 0
