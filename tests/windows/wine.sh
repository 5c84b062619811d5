# A Wine of its own for the tests, which source it: wine_start DIRECTORY makes one there, wine_stop ends it.
# Nothing is shown, nothing waits for a person, and every program has a time-out.

wine_start() {
  export WINEPREFIX=$1 WINEARCH=win64 WINEDEBUG=-all LC_ALL=C.UTF-8
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

# on_windows SECONDS PROGRAM [ARGUMENT]...: in the locale that $language names, C where it names none.
on_windows() {
  local limit=$1
  shift
  timeout -k 5 "$limit" env LC_ALL="${language:-C}.UTF-8" wine "$@" </dev/null
}

# wine_for_32_bits DIRECTORY: true if 32-bit programs run, with the help of files that are put there. Where Debian's own
# package for them doesn't go in beside what is installed, the libraries out of it are enough.
wine_for_32_bits() {
  [[ ! -e /usr/lib/wine/wine ]] || return 0
  export WINEDLLPATH=$1/usr/lib/i386-linux-gnu/wine
  [[ ! -e $WINEDLLPATH/i386-windows ]] || return 0
  if ((EUID == 0)) && ! dpkg --print-foreign-architectures | grep -qx i386; then
    dpkg --add-architecture i386 && apt-get update -qq >/dev/null
  fi
  local version
  version=$(dpkg-query -W -f '${Version}' libwine) && mkdir -p "$1" || return 1
  (cd "$1" && apt-get download -qq "libwine:i386=$version" && dpkg --fsys-tarfile libwine*.deb |
    tar -x --wildcards '*/i386-windows/*' && rm libwine*.deb) >/dev/null 2>&1
}
