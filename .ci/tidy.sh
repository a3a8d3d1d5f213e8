#!/usr/bin/env bash
# clang-tidy (the bug-prone and performance checks of .clang-tidy) over the library and stand-in
# sources and the hosts' shared core.
# Usage: .ci/tidy.sh BUILD_DIR   (a configured build with compile_commands.json)
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/default}
tidy=$(command -v clang-tidy || command -v clang-tidy-14)
log=$(mktemp)
git ls-files 'pocketjson/*.cpp' 'bridge/*.cpp' 'fs/*.cpp' 'platform/*.cpp' 'tools/host_core/*.cpp' \
  | xargs -P 2 -n 1 "$tidy" -p "$build" --quiet >"$log" 2>&1
status=$?
grep -v -E '^[0-9]+ warnings? generated\.$|^Suppressed [0-9]+ warnings|NOLINT|header-filter' "$log"
rm -f "$log"
if [ $status -ne 0 ]; then echo "clang-tidy: findings above"; exit 1; fi
echo "clang-tidy: clean"
