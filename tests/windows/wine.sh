# A Wine of its own for the tests, which source it: wine_start DIRECTORY makes one there, wine_stop ends it.
# Nothing is shown, nothing waits for a person, and every program has a time-out.

wine_start() {
  export WINEPREFIX=$1 WINEARCH=win64 WINEDEBUG=-all LC_ALL=${2:-C.UTF-8}
  export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
  unset DISPLAY WAYLAND_DISPLAY
  rm -rf "$WINEPREFIX"
  mkdir -p "$WINEPREFIX"
  timeout 120 wine wineboot -i >/dev/null 2>&1 || return 1
  timeout 30 wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null
  timeout 30 wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d false /f >/dev/null
  wineserver -k  # the desktop's process has looked for a screen before it was told that there is none
  wineserver -w
}

wine_stop() {
  wineserver -k >/dev/null 2>&1 || true
  rm -rf "$WINEPREFIX"
}

# on_windows SECONDS PROGRAM [ARGUMENT]...
on_windows() {
  local limit=$1
  shift
  timeout -k 5 "$limit" wine "$@" </dev/null
}
