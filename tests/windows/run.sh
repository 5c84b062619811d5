#!/usr/bin/env bash
# run.sh BUILD 32|64 HOST: registers the component that was built there, so many bits wide, in a fresh Wine, uses it as
# hosts do, and takes it out again. HOST is the example host of this system.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(cd "$here/../.." && pwd)
source "$here/wine.sh"

if (($2 == 32)); then
  wine_root=$root/build/wine32
  if [[ ${HALDEN_MOUNTS-} != own ]]; then
    own_mounts=(unshare --mount --propagation private)
    ((EUID == 0)) || own_mounts+=(--map-root-user)
    if ! "$here/fetch_wine32" "$wine_root" || ! "${own_mounts[@]}" true; then
      echo "-- skipped: no Wine for 32-bit programs can be had or entered here"
      exit
    fi
    HALDEN_MOUNTS=own exec "${own_mounts[@]}" bash "${BASH_SOURCE[0]}" "$@"
  fi
fi

host=$3
folder=$(cd "$1/tests/windows" && pwd)
cp -u "$1/com/HT_TEXT.adc" "$1/halden-host.exe" "$here/script_host.vbs" "$folder"
cd "$folder"
wine_start "$folder/wine"
trap wine_stop EXIT
export HALDEN_SIM="sim:signal=ramp,columns=3,rate=200,com=300"

step() {
  echo "-- $1"
  shift
  "$@" || { echo "failed: $*" >&2; exit 1; }
}

register() {
  on_windows 60 regsvr32 /s "$@" HT_TEXT.adc
}

classes() {
  on_windows 30 reg export 'HKLM\Software\Classes' "$1" /y >/dev/null
}

script_host() {
  on_windows 40 press_ok.exe script_host.vbs 600 &
  on_windows 40 cscript //nologo script_host.vbs | tee script.log
  wait $!
  grep -q '^script: complete' script.log
}

left_behind() {
  classes before.reg
  register
  classes registered.reg
  register /u
  classes after.reg
  ! cmp -s before.reg registered.reg && cmp before.reg after.reg
}

in_both_languages() {
  local language
  for language in C ru_RU; do
    "$@" || return
  done
}

virtual_table() {
  on_windows 120 component-tests.exe --gtest_brief=1
}

backends() {
  rm -f backends.json
  HALDEN_SIM="sim:com=8 sim:com=9,serial=SECOND" \
    on_windows 60 backends-tests.exe --gtest_brief=1 --gtest_output=json:backends.json >backends.log || true
  [[ -e backends.json ]] && python3 "$here/known_differences.py" backends.json windows.json script.log
}

density() {
  on_windows 30 reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d "$1" /f >/dev/null
}

# What it finds is judged with what the backends find.
windows() {
  rm -f windows.json
  density 144
  HALDEN_DPI=144 on_windows 60 window-tests.exe --gtest_brief=1 --gtest_filter='*Density*' || return 1
  density 96
  on_windows 120 window-tests.exe --gtest_brief=1 --gtest_output=json:windows.json >windows.log || true
  [[ -e windows.json ]]
}

example_host() {
  on_windows 60 halden-host.exe record --frames 40 --csv - --quiet >frames.csv
  grep -cxE '(Column1,Column2,Column3|-?[0-9.]+(,-?[0-9.]+){2})' frames.csv | grep -qx 41
}

# The same run over both stores, from the same values: the user takes what the dialog offers for a device that speaks
# too late to be recognised.
both_registries() {
  local key='Software\Corvane\ADC\Brackwell\Halden-Text' device=sim:silent=5,com=300
  printf '%s\r\n' REGEDIT4 "" "[HKEY_CURRENT_USER\\$key]" '@="before"' '"ChannelFixed"=dword:00000063' \
    '"Port"=dword:00000005' '"RateFixed"=dword:41480000' >before.reg
  cp before.reg local.reg
  timeout 30 "$host" watch --device $device --seconds 4 --answer port=0,channels=1,rate=12.5 --registry local.reg \
    --quiet >/dev/null &
  on_windows 30 reg delete "HKCU\\$key" /f >/dev/null
  on_windows 30 reg import before.reg >/dev/null
  on_windows 40 press_ok.exe "Select COM Port" 100 &
  HALDEN_SIM=$device on_windows 40 halden-host.exe watch --seconds 4 --quiet >/dev/null
  wait
  on_windows 30 reg export "HKCU\\$key" after.reg /y >/dev/null
  grep -q '"ChannelFixed"=dword:00000001' local.reg &&
    diff <("$host" settings --export --registry local.reg | lines) \
      <(iconv -f UTF-16 -t UTF-8 after.reg | sed 1d | lines)
}

lines() {
  tr -d '\r' | sed '/^$/d'
}

not_registered() {
  local code=0
  on_windows 30 halden-host.exe watch 2>host.log || code=$?
  ((code == 1)) && grep -q "can't be loaded" host.log
}

step "a host on a machine without the driver" not_registered
step "unregistration leaves nothing behind" left_behind
step "registration" register
step "a host that knows the virtual table" in_both_languages virtual_table
step "a script host" script_host
step "the windows" windows
step "the backends" in_both_languages backends
step "the example host" in_both_languages example_host
step "the registry against the one of this system" both_registries
