# Sourced by the scripts in the root.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# need [COMMAND-OR-FILE PACKAGE]...: installs the package of each command or file that is missing.
need() {
  local missing=()
  while (($#)); do
    [[ -e $1 ]] || command -v "$1" >/dev/null || missing+=("$2")
    shift 2
  done
  ((${#missing[@]})) || return 0
  echo "installing ${missing[*]}" >&2
  local become=()
  ((EUID == 0)) || become=(sudo)
  {
    "${become[@]}" apt-get update -q
    "${become[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends "${missing[@]}"
  } >&2
}

# The compiler, and the libraries of the example host.
need_compiler() {
  need g++ g++ cmake cmake ninja ninja-build /usr/include/CLI/CLI.hpp libcli11-dev \
    /usr/include/nlohmann/json.hpp nlohmann-json3-dev
}

# What the page of --serve is built from. Without it the host has no page.
need_web() {
  need /usr/include/httplib.h libcpp-httplib-dev npm npm pkg-config pkg-config
}

# The compilers for Windows, and what they read from Wine: the standard type library and the interface descriptions.
need_mingw() {
  need_compiler
  need i686-w64-mingw32-g++-posix g++-mingw-w64-i686-posix x86_64-w64-mingw32-g++-posix g++-mingw-w64-x86-64-posix \
    i686-w64-mingw32-widl mingw-w64-tools wine wine /usr/lib/wine/wine64 wine64 \
    /usr/include/wine/wine/windows/oaidl.idl libwine-dev python3 python3
}

# build PRESET [TARGET]...: builds in build/PRESET. Prints nothing unless it fails.
build() {
  local preset=$1 log
  shift
  log=$(mktemp)
  if ! {
    cd "$root" &&
      { [[ build/$preset/build.ninja -nt CMakePresets.json ]] || cmake --preset "$preset" ${configure:+"$configure"}; } &&
      ninja -C "build/$preset" "$@"
  } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}
