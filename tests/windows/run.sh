#!/usr/bin/env bash
# run.sh BUILD 32|64 HOST: tests the component of that width in the folder BUILD under Wine: registration, a script host,
# the C++ tests and the example host, in a fresh Wine that is deleted afterwards. HOST is the example host for this
# system. Nothing appears on a screen, and every program has a time limit.
set -Eeuo pipefail  # -E: a failure inside a function is reported too
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
host=$3
folder=$(cd "$1/tests/windows" && pwd)
class={292810AF-C28E-4FEE-B0F3-693F6DFEC0EF}
export WINEPREFIX=$folder/wine WINEARCH=win64 WINEDEBUG=-all LC_ALL=C.UTF-8
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
unset DISPLAY WAYLAND_DISPLAY
wine=(wine) wineserver=(wineserver)

# 32-bit programs run with the folder that fetch_wine32 unpacks as their root directory. /dev, /proc and this tree are
# mounted there in a mount namespace of this process, so they are gone when it ends.
if (($2 == 32)); then
  wine_root=$root/build/wine32
  if [[ ${HALDEN_MOUNTS-} != own ]]; then
    own_mounts=(unshare --mount --propagation private)
    ((EUID == 0)) || own_mounts+=(--map-root-user)
    if ! reason=$({ "$here/fetch_wine32" "$wine_root" && "${own_mounts[@]}" true; } 2>&1); then
      echo "-- skipped, so the 32-bit component is built but not tested: $reason"
      exit
    fi
    HALDEN_MOUNTS=own exec "${own_mounts[@]}" bash "${BASH_SOURCE[0]}" "$@"
  fi
  for place in /dev /proc "$root"; do
    mkdir -p "$wine_root$place"
    mount --rbind "$place" "$wine_root$place"
  done
  export WINEARCH=win32 WINESERVER=/usr/lib/wine/wineserver32
  wine=(unshare --root="$wine_root" --wd="$folder" /usr/lib/wine/wine)
  wineserver=(unshare --root="$wine_root" "$WINESERVER")
fi

# on_windows PROGRAM [ARGUMENT]...: runs a Windows program in the locale $language, C if that is unset.
on_windows() {
  timeout -k 5 240 env LC_ALL="${language:-C}.UTF-8" "${wine[@]}" "$@" </dev/null
}

# registry COMMAND KEY [ARGUMENT]...
registry() {
  on_windows reg "$@" >/dev/null
}

# tests LANGUAGE DENSITY: runs the C++ tests in this locale, on a screen of DENSITY dots per inch, first in its ANSI code
# page, then in UTF-8.
tests() {
  local language=$1 program
  registry add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d "$2" /f
  for program in windows-tests utf8-tests; do
    rm -f tests.json
    HALDEN_DPI=$2 on_windows $program.exe --gtest_output=json:tests.json >tests.log || true
    python3 "$here/known_differences.py" tests.json
  done
}

rm -rf "$WINEPREFIX"
mkdir "$WINEPREFIX"
cp -u "$1/com/HT_TEXT.adc" "$1/halden-host.exe" "$1/halden_text.dll" "$here"/script_host.* "$folder"
cd "$folder"
trap 'echo "run.sh, line $LINENO, exit code $?: $BASH_COMMAND"; tail -n 20 /dev/null *.log' ERR
trap '"${wineserver[@]}" -k || true; rm -rf "$WINEPREFIX"' EXIT
on_windows wineboot -i &>/dev/null
registry add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f
registry add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d false /f
"${wineserver[@]}" -k  # restarts the desktop's process, which has read the driver before it was set to null
"${wineserver[@]}" -w
export HALDEN_SIM="sim:signal=ramp,columns=3,rate=200,com=300"

echo "-- unregistering restores the registry"
registry export 'HKLM\Software\Classes' before.reg /y
on_windows regsvr32 /s HT_TEXT.adc
on_windows regsvr32 /s /u HT_TEXT.adc
on_windows regsvr32 /s /u HT_TEXT.adc  # nothing is left to remove, which is no failure
registry export 'HKLM\Software\Classes' after.reg /y
cmp before.reg after.reg
if (($2 == 64)); then  # the ProgID is shared with the component of the other width
  on_windows regsvr32 /s HT_TEXT.adc
  registry add "HKLM\\Software\\Classes\\Wow6432Node\\CLSID\\$class" /f
  on_windows regsvr32 /s /u HT_TEXT.adc
  registry query 'HKLM\Software\Classes\Brackwell.Halden_Text'
  registry delete "HKLM\\Software\\Classes\\Wow6432Node\\CLSID\\$class" /f
fi

echo "-- script hosts"
on_windows regsvr32 /s HT_TEXT.adc
on_windows press_ok.exe script_host.vbs &
on_windows cscript //nologo script_host.vbs | tee script.log
grep -q '^script: complete' script.log
wait $!
on_windows cscript //nologo script_host.js | tee script.log
grep -q '^script: 4 channels, 5 refused' script.log

echo "-- C++ tests, in English and Russian, at 96 and 192 dpi"
tests C 96
tests ru_RU 192
language=ja_JP on_windows windows-tests.exe --gtest_brief=1 --gtest_filter='*EveryMember*'  # byte 177 is no sign there

echo "-- the example host"
on_windows halden-host.exe record --frames 40 --csv - --quiet >frames.csv
grep -cxE '(Column1,Column2,Column3|-?[0-9.]+(,-?[0-9.]+){2})' frames.csv | grep -qx 41
on_windows halden-host.exe record --csv - --quiet | head -1 >frames.csv  # a closed pipe ends it with exit code 0

echo "-- the C library"
on_windows record.exe sim:columns=2,rate=100 | tr -d '\r' >frames.csv
lines=$(grep -cxE '[0-9.]+(,-?[0-9.]+){2}' frames.csv)
if ((lines < 90)); then echo "record.exe printed $lines frames of about 100" && false; fi
on_windows record.exe d2xx | tr -d '\r' >frames.csv  # the stand-in's device
grep -qxE '[0-9.]+(,-?[0-9.]+){3}' frames.csv
if on_windows record.exe tty:/dev/ttyUSB0 2>error.txt; then false; fi
grep -q 'allowed here are d2xx' error.txt

# The same settings, made by the same choice of the user, must look the same in both registries.
echo "-- settings in the system's registry and in a registry file"
key='Software\Corvane\ADC\Brackwell\Halden-Text'
# The host listens twice before it asks, 8 s in all here. The choice is stored once the device has sent.
timeout 30 "$host" watch --device sim:silent,com=301 --device sim:silent=12,com=7 --seconds 7 \
  --answer port=1,channels=4,rate=7 --registry wine/local.reg --quiet >/dev/null
grep -q '"ChannelFixed"=dword:00000004' wine/local.reg
registry delete "HKCU\\$key" /f
on_windows windows-tests.exe --gtest_brief=1 --gtest_filter='*AsksTheUserAboutASilentDevice'
registry export "HKCU\\$key" after.reg /y
diff -B --strip-trailing-cr <("$host" settings --export --registry wine/local.reg | sort) \
  <(iconv -f UTF-16 -t UTF-8 after.reg | sed 1d | sort)
