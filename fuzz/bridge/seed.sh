#!/bin/sh
# Assembles the seed corpus of a bridge fuzz target into a directory, replacing what was there.
#
#   fuzz/bridge/seed.sh <fuzz_entry_points|fuzz_answers> <output-dir>
#
# Seeds: the hand-written inputs of fuzz/bridge/seeds/<target>/ (made by seeds/make_seeds.py),
# the inputs of fuzz/bridge/regressions/<target>/ unchanged, and inputs made from the shared data:
#   fuzz_answers       every JSONTestSuite parsing case and the first 4096 bytes of each benchmark
#                      document as the answer and event payload (all three paths, status 200);
#   fuzz_entry_points  every JSONTestSuite parsing case as the bridge-cross answer and as an event
#                      payload, in a session that connects, sends a request, subscribes and
#                      raises the event.
# Data locations can be overridden with JSON_TEST_SUITE_DIR and JSON_CORPUS_DIR.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$(dirname "$here")")
target=${1:?usage: seed.sh <target> <output-dir>}
out=${2:?usage: seed.sh <target> <output-dir>}
suite=${JSON_TEST_SUITE_DIR:-$root/../shared/data/JSONTestSuite/test_parsing}
documents=${JSON_CORPUS_DIR:-$root/../shared/data/corpus}

case $target in
  fuzz_entry_points | fuzz_answers) ;;
  *) echo "seed.sh: no seeds known for '$target'" >&2; exit 2 ;;
esac

rm -rf "$out"
mkdir -p "$out"
count=0
for dir in "$here/seeds/$target" "$here/regressions/$target"; do
  [ -d "$dir" ] || continue
  for f in "$dir"/*; do
    [ -f "$f" ] || continue
    cp "$f" "$out/$(basename "$dir")_$(basename "$f")"
    count=$((count + 1))
  done
done

# answers_input <json file> <output name>: all three paths, status 200 (0x00c8).
answers_input() {
  { printf '\003\310\000'; cat "$1"; } > "$out/$2"
}

# session_input <json file> <output name>: the file as bridge-cross answer, then connect viewer,
# one bridge-cross request, subscribe to "p" and raise "p" with the file as payload.
session_input() {
  {
    printf '\000\000\310\000'
    cat "$1"
    printf '\000done\000null\000'
    printf '\100\000{"name":"viewer"}\000{}\000\000'
    printf '\101\000{"name":"viewer"}\000{}\000{"uri":"/u"}\000'
    printf '\102\000{"name":"viewer","type":"p"}\000\000\000'
    printf '\005p\000'
    cat "$1"
    printf '\000viewer\000\000'
  } > "$out/$2"
}

if [ -d "$suite" ]; then
  for f in "$suite"/*.json; do
    [ -f "$f" ] || continue
    case $target in
      fuzz_answers) answers_input "$f" "suite_$(basename "$f")" ;;
      fuzz_entry_points) session_input "$f" "suite_$(basename "$f")" ;;
    esac
    count=$((count + 1))
  done
else
  echo "seed.sh: $suite not found, JSONTestSuite cases left out" >&2
fi

if [ "$target" = fuzz_answers ] && [ -d "$documents" ]; then
  tmp=$(mktemp)
  trap 'rm -f "$tmp"' EXIT
  for f in "$documents"/*.json; do
    [ -f "$f" ] || continue
    head -c 4096 "$f" > "$tmp"
    answers_input "$tmp" "slice_$(basename "$f" .json)_4096"
    count=$((count + 1))
  done
fi

echo "seed.sh: $count seed inputs in $out"
