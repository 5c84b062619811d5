#!/usr/bin/env bash
# install_test.sh BUILD SOURCE: installs the build into an empty folder, and uses what was installed there.
set -euo pipefail
build=$1 source=$2
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
cmake --install "$build" --prefix "$root/usr" >/dev/null
export PKG_CONFIG_PATH PKG_CONFIG_SYSROOT_DIR= LD_LIBRARY_PATH PATH=$root/usr/bin:$PATH
PKG_CONFIG_PATH=$(dirname "$(find "$root/usr" -name halden-text.pc)")
sed -i "s|^prefix=.*|prefix=$root/usr|" "$PKG_CONFIG_PATH/halden-text.pc"  # it was installed below a root
LD_LIBRARY_PATH=$(pkg-config --variable=libdir halden-text)
"$source/tests/stranger.sh" "$source" "$root" -DCMAKE_PREFIX_PATH="$root/usr"
