#!/usr/bin/env bash
# install_test.sh BUILD SOURCE: installs the build into an empty folder, and builds and runs the examples against what was
# installed there, through pkg-config and find_package.
set -euo pipefail
build=$1 source=$2
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
cmake --install "$build" --prefix "$root/usr" >/dev/null
cp -r "$source/examples" "$root/examples"
cd "$root"
export PKG_CONFIG_PATH PKG_CONFIG_SYSROOT_DIR= LD_LIBRARY_PATH
PKG_CONFIG_PATH=$(dirname "$(find usr -name halden-text.pc)")
sed -i "s|^prefix=.*|prefix=$root/usr|" "$PKG_CONFIG_PATH/halden-text.pc"  # it was installed below a root
LD_LIBRARY_PATH=$(pkg-config --variable=libdir halden-text)

read -ra flags < <(pkg-config --cflags --libs halden-text)
cc -std=c99 -Wall -Wextra -Wpedantic -Werror examples/record.c -o record "${flags[@]}"
./record sim:columns=2,rate=100 >frames.csv
lines=$(grep -cxE '[0-9.]+(,-?[0-9.]+){2}' frames.csv)
if ((lines < 90)); then echo "record printed $lines frames of about 100" && exit 1; fi
if ./record sim:columns=0 2>error.txt; then echo "record took a wrong option" && exit 1; fi
grep -q columns error.txt

cmake -S examples/embed -B embed -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build embed >/dev/null
./embed/embed sim:columns=3 | grep -cxE '(-?[0-9.]+ ){3}' | grep -qx 5
usr/bin/halden-host --version | grep -q "$(pkg-config --modversion halden-text)"
