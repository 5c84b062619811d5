#!/usr/bin/env bash
# run.sh BUILD: registers the component that was built there in a fresh Wine, uses it as hosts do, takes it out again.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
source "$here/wine.sh"
folder=$(cd "$1/tests/windows" && pwd)
cp -u "$1/com/HT_TEXT.adc" "$1/halden-host.exe" "$folder"
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

example_host() {
  on_windows 60 halden-host.exe record --frames 40 --csv - --quiet >frames.csv
  diff <(sed -n '1p;$=' frames.csv) - <<<$'Column1,Column2,Column3\n41'
}

not_registered() {
  local code=0
  on_windows 30 halden-host.exe watch 2>host.log || code=$?
  ((code == 1)) && grep -q "can't be loaded" host.log
}

step "a host on a machine without the driver" not_registered
step "unregistration leaves nothing behind" left_behind
step "registration" on_windows 60 regsvr32 /s "$component"
step "a host that knows the virtual table" on_windows 120 component-tests.exe --gtest_brief=1
step "a script host" script_host
step "the example host" example_host
