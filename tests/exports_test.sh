#!/usr/bin/env bash
# exports_test.sh NM LIBRARY HEADER: the library exports the functions that its header declares, and nothing else.
set -euo pipefail
diff <(grep -oE '\bhalden_[a-z_]+\(' "$3" | tr -d '(' | sort -u) \
     <("$1" -D --defined-only "$2" | awk '$2 != "A" { print $3 }' | sort) ||
  { echo "< is declared only, > is exported only" && exit 1; }
