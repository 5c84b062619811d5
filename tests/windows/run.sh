#!/usr/bin/env bash
# run.sh BUILD 32|64: registers the component that was built there, so many bits wide, in a fresh Wine, uses it as hosts
# do, and takes it out again.
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

backends() {
  local language
  for language in C ru_RU; do
    rm -f $language.json
    HALDEN_SIM="sim:com=8 sim:com=9,serial=SECOND" \
      on_windows 60 backends-tests.exe --gtest_brief=1 --gtest_output=json:$language.json >backends.log || true
    [[ -e $language.json ]] && python3 "$here/known_differences.py" $language.json windows.json script.log || return 1
  done
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
  diff <(sed -n '1p;$=' frames.csv) - <<<$'Column1,Column2,Column3\n41'
}

not_registered() {
  local code=0
  on_windows 30 halden-host.exe watch 2>host.log || code=$?
  ((code == 1)) && grep -q "can't be loaded" host.log
}

step "a host on a machine without the driver" not_registered
step "unregistration leaves nothing behind" left_behind
step "registration" register
step "a host that knows the virtual table" on_windows 120 component-tests.exe --gtest_brief=1
step "a script host" script_host
step "the windows" windows
step "the backends" backends
step "the example host" example_host
