#!/usr/bin/env bash
# stranger.sh SOURCE FOLDER [CMAKE-OPTION]...: builds the examples in FOLDER as somebody would who has installed the packages,
# through pkg-config and find_package, and runs them. The environment says where they are installed.
set -euo pipefail
cp -r "$1/examples" "$2"
cd "$2"
shift 2
read -ra flags < <(pkg-config --cflags --libs halden-text)
cc -std=c99 -Wall -Wextra -Wpedantic -Werror examples/record.c -o record "${flags[@]}"
read -ra flags < <(pkg-config --cflags --libs --static halden-text | sed 's/-lhalden-text/-l:libhalden-text.a/')
cc -std=c99 examples/record.c -o static-record "${flags[@]}"
if ldd static-record | grep halden; then echo "static-record needs the shared library" && exit 1; fi
for record in ./record ./static-record; do
  $record sim:columns=2,rate=100 >frames.csv
  lines=$(grep -cxE '[0-9.]+(,-?[0-9.]+){2}' frames.csv)
  if ((lines < 90)); then echo "$record printed $lines frames of about 100" && exit 1; fi
  if $record sim:columns=0 2>error.txt; then echo "$record took a wrong option" && exit 1; fi
  grep -q columns error.txt
done

cmake -S examples/embed -B embed "$@" >/dev/null
cmake --build embed >/dev/null
./embed/embed sim:columns=3 | grep -cxE '(-?[0-9.]+ ){3}' | grep -qx 5
halden-host --version | grep -q "$(pkg-config --modversion halden-text)"
