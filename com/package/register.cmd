@echo off
rem Registers the component in the widths that this Windows can run, and with /u takes it out again (unregister.cmd does).
rem Asks for administrator rights; with /elevated it has them.
setlocal
set "switch="
set "done=registered"
if /i "%~1"=="/u" (
  set "switch=/u"
  set "done=taken out"
  shift
)
if /i "%~1"=="/elevated" goto elevated
net session >nul 2>&1 && goto elevated
powershell -NoProfile -Command "Start-Process -Verb RunAs -FilePath '%~f0' -ArgumentList '%switch% /elevated'"
exit /b %errorlevel%

:elevated
set "failed=0"
if exist "%SystemRoot%\Sysnative\regsvr32.exe" (
  rem This is a 32-bit command processor on a 64-bit Windows.
  call :width x64 "%SystemRoot%\Sysnative\regsvr32.exe"
  call :width x86 "%SystemRoot%\System32\regsvr32.exe"
) else if /i "%PROCESSOR_ARCHITECTURE%"=="x86" (
  call :width x86 "%SystemRoot%\System32\regsvr32.exe"
) else (
  call :width x64 "%SystemRoot%\System32\regsvr32.exe"
  call :width x86 "%SystemRoot%\SysWOW64\regsvr32.exe"
)
if "%~1"=="/elevated" if not defined HALDEN_NO_PAUSE pause
exit /b %failed%

:width
if not exist "%~2" (
  echo %1: this Windows runs no programs of this width
  exit /b
)
"%~2" /s %switch% "%~dp0%1\HT_TEXT.adc"
if errorlevel 1 (
  echo %1: could not be %done%. Is the vendor's FTD2XX.DLL of this width installed?
  set "failed=1"
) else (
  echo %1: %done%
)
exit /b
