#!/usr/bin/env bash
# archive_test.sh ARCHIVE LIBRARY: unpacks the archive for Windows, and under a 64-bit Wine registers the component with its
# script, uses it from a script host, and takes it out again. LIBRARY is the stand-in for the vendor's library.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
folder=$(mktemp -d)
export WINEPREFIX=$folder/wine WINEARCH=win64 WINEDEBUG=-all LC_ALL=C.UTF-8 HALDEN_NO_PAUSE=1
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe=" HALDEN_SIM="sim:signal=ramp,columns=3,rate=200,com=300"
unset DISPLAY WAYLAND_DISPLAY
trap 'wineserver -k || true; rm -rf "$folder"' EXIT

# on_windows PROGRAM [ARGUMENT]...
on_windows() {
  timeout -k 5 120 wine "$@" </dev/null | tr -d '\r'
}
# expect LINE COMMAND...: the command must print this line.
expect() {
  local line=$1 said
  shift
  said=$("$@") || true
  grep -qxF "$line" <<<"$said" || { echo "expected \"$line\" from $*, but it printed:" && echo "$said" && exit 1; }
}

unzip -q "$1" -d "$folder/archive"
cp "$2" "$folder/archive/x64"
cp "$here/script_host.js" "$folder/archive"
cd "$folder/archive"
for file in README.txt register.cmd halden_text.h x86/HT_TEXT.adc x86/halden-host.exe x86/halden_text.dll; do
  [[ -s $file ]] || { echo "the archive lacks $file" && exit 1; }
done
mkdir "$WINEPREFIX"
on_windows wineboot -i &>/dev/null
expect "x64: registered" on_windows cmd /c register.cmd /elevated
expect "x86: this Windows runs no programs of this width" on_windows cmd /c register.cmd /elevated
expect "script: 4 channels, 5 refused" on_windows cscript //nologo script_host.js
on_windows x64/halden-host.exe record --frames 40 --csv - --quiet >frames.csv
[[ $(wc -l <frames.csv) == 41 ]] || { echo "halden-host.exe recorded other than 40 frames:" && cat frames.csv && exit 1; }
expect "x64: taken out" on_windows cmd /c unregister.cmd /elevated
if on_windows reg query 'HKCR\Brackwell.Halden_Text' >/dev/null 2>&1; then echo "the ProgID is left" && exit 1; fi
rm x64/FTD2XX.DLL
expect "x64: could not be registered. Is the vendor's FTD2XX.DLL of this width installed?" \
  on_windows cmd /c register.cmd /elevated
