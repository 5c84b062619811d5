# A Wine of its own for the tests, which source it: wine_start DIRECTORY makes one there, wine_stop ends it.
# Nothing is shown, nothing waits for a person, and every program has a time-out. Where $wine_root names a folder that
# fetch_wine32 has filled, that one runs, in the directory that is the current one by then.

wine_start() {
  export WINEPREFIX=$1 WINEARCH=win64 WINEDEBUG=-all LC_ALL=C.UTF-8
  export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
  unset DISPLAY WAYLAND_DISPLAY
  wine=(wine) wineserver=(wineserver)
  [[ -z ${wine_root-} ]] || wine_enter_root
  rm -rf "$WINEPREFIX"
  mkdir -p "$WINEPREFIX"
  on_windows 120 wineboot -i >/dev/null 2>&1 || return 1
  on_windows 30 reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null
  on_windows 30 reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d false /f >/dev/null
  "${wineserver[@]}" -k  # the desktop's process has looked for a screen before it was told that there is none
  "${wineserver[@]}" -w
}

# What is mounted goes with the name space that run_in_own_mounts made.
wine_enter_root() {
  local place
  for place in /dev /proc "$root"; do
    mkdir -p "$wine_root$place"
    mount --rbind "$place" "$wine_root$place"
  done
  export WINEARCH=win32 WINESERVER=/usr/lib/wine/wineserver32
  wine=(unshare --root="$wine_root" --wd="$PWD" /usr/lib/wine/wine)
  wineserver=(unshare --root="$wine_root" "$WINESERVER")
}

wine_stop() {
  "${wineserver[@]}" -k >/dev/null 2>&1 || true
  rm -rf "$WINEPREFIX"
}

# on_windows SECONDS PROGRAM [ARGUMENT]...: in the locale that $language names, C where it names none.
on_windows() {
  local limit=$1
  shift
  timeout -k 5 "$limit" env LC_ALL="${language:-C}.UTF-8" "${wine[@]}" "$@" </dev/null
}
