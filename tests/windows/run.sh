#!/usr/bin/env bash
# run.sh BUILD: registers the component that was built there in a fresh Wine, uses it as hosts do, takes it out again.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$here/wine.sh"
folder=$(cd "$1/tests/windows" && pwd)
cp -u "$1/com/HT_TEXT.adc" "$folder"
cd "$folder"

wine_start "$folder/wine"
trap wine_stop EXIT
component=$(winepath -w "$folder/HT_TEXT.adc")
export HALDEN_SIM="sim:signal=ramp,columns=3,rate=200,com=300"

step() {
  echo "-- $1"
  shift
  "$@" || { echo "failed: $*" >&2; exit 1; }
}

classes() {
  on_windows 30 reg export 'HKLM\Software\Classes' "$1" /y >/dev/null
}

script_host() {
  on_windows 40 press_ok.exe script_host.vbs 600 &
  on_windows 40 cscript //nologo "$(winepath -w "$here/script_host.vbs")" | tee script.log
  wait $!
  grep -q '^script: complete' script.log
}

left_behind() {
  classes before.reg
  on_windows 60 regsvr32 /s "$component"
  classes registered.reg
  on_windows 60 regsvr32 /u /s "$component"
  classes after.reg
  ! cmp -s before.reg registered.reg && cmp before.reg after.reg
}

step "unregistration leaves nothing behind" left_behind
step "registration" on_windows 60 regsvr32 /s "$component"
step "a host that knows the virtual table" on_windows 120 component-tests.exe --gtest_brief=1
step "a script host" script_host
