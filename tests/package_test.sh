#!/usr/bin/env bash
# package_test.sh PACKAGES: installs the Debian packages from the folder PACKAGES, uses them as a stranger would, and removes
# them without a trace. All this happens in a copy of this system's root directory, which takes root rights.
set -euo pipefail
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
packages=$(cd "$1" && pwd)

if [[ ${HALDEN_ROOT-} != copy ]]; then
  lintian --allow-root --fail-on error "$packages"/*.deb | grep -v '^W:' || ((PIPESTATUS[0] == 0))
  become=()
  ((EUID == 0)) || become=(sudo)
  exec "${become[@]}" env HALDEN_ROOT=copy unshare --mount --propagation private bash "${BASH_SOURCE[0]}" "$@"
fi

# An overlay on / : what is written goes to memory and is gone when this process ends.
mount -t tmpfs none /mnt
mkdir /mnt/written /mnt/work /mnt/root
if ! reason=$(mount -t overlay none -o lowerdir=/,upperdir=/mnt/written,workdir=/mnt/work /mnt/root 2>&1); then
  echo "-- skipped, so the packages are built but not installed: $reason"
  exit
fi
for place in /dev /proc "$source"; do
  mkdir -p "/mnt/root$place"
  mount --rbind "$place" "/mnt/root$place"
done

# in_root COMMAND...: prints what it says only if it fails.
in_root() {
  local log
  log=$(chroot /mnt/root /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 "$@" 2>&1) ||
    { echo "$log" && echo "failed: $*" && return 1; }
}

in_root dpkg -i "$packages"/*.deb
in_root mkdir /tmp/stranger
in_root "$source/tests/stranger.sh" "$source" /tmp/stranger
in_root halden-host record --frames 20 --csv /tmp/stranger/host.csv --quiet
in_root man -w halden-host halden_text
in_root bash -c 'source /usr/share/bash-completion/completions/halden-host
  COMP_WORDS=(halden-host record --recon) COMP_CWORD=2 && _halden_host && [[ ${COMPREPLY[*]} == --reconnect ]]'
in_root zsh -n /usr/share/zsh/vendor-completions/_halden-host
in_root python3 -c 'import halden_text as ht
with ht.open("sim:columns=2") as adc:
    assert adc.read(10).shape == (10, 2)'
mapfile -t names < <(for package in "$packages"/*.deb; do dpkg-deb -f "$package" Package; done)
in_root dpkg -P "${names[@]}"
# The wheel carries the library, so it needs no other package.
in_root python3 -m pip install --no-deps --no-index --target /tmp/stranger/wheel "$packages"/halden_text-*.whl
in_root env PYTHONPATH=/tmp/stranger/wheel python3 -c 'import halden_text as ht
assert ht.devices("sim:com=9")[0].com_name == "COM9"
assert "stranger" in ht.__file__'

left=$(cd /mnt/written && find . ! -type d ! -path './tmp/*' ! -path './var/*' ! -path ./etc/ld.so.cache)
left+=$(find /mnt/written -name '*halden*' ! -path '*/tmp/stranger/*' ! -path '*/var/lib/dpkg/*')
if [[ $left ]]; then echo "left behind after removing the packages:" "$left" && exit 1; fi
