#!/bin/sh
# Assembles the seed corpus of a JSON fuzz target into a directory (default:
# fuzz/corpus-work/<target>/seeds), replacing what was there.
#
#   fuzz/seed.sh [target] [output-dir]          target defaults to fuzz_json_parser
#
# fuzz_json_parser reads its first input byte as a control byte (parse option bits and mode, see
# fuzz/json/fuzz_json_parser.cpp) and the rest as JSON text, so every JSON text taken in here is
# written with control bytes in front:
#   * every file of the JSONTestSuite parsing cases (control 0x00: all modes, strict options);
#   * the first 512, 4096 and 16384 bytes of each benchmark document (controls 0x00 and 0x02);
#   * the hand-written texts of fuzz/json/seeds/ (controls for every mode and option);
# and the inputs of fuzz/json/regressions/ (complete fuzzer inputs) are copied unchanged.
# Data locations can be overridden with JSON_TEST_SUITE_DIR and JSON_CORPUS_DIR.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
target=${1:-fuzz_json_parser}
out=${2:-$here/corpus-work/$target/seeds}
suite=${JSON_TEST_SUITE_DIR:-$root/../shared/data/JSONTestSuite/test_parsing}
documents=${JSON_CORPUS_DIR:-$root/../shared/data/corpus}

case $target in
  fuzz_json_*) ;;
  *) echo "seed.sh: no seeds known for '$target'" >&2; exit 2 ;;
esac

rm -rf "$out"
mkdir -p "$out"

# with_control <control byte as 3-digit octal> <source file> <output name>
with_control() {
  { printf "\\$1"; cat "$2"; } > "$out/$3"
}

count=0
if [ -d "$suite" ]; then
  for f in "$suite"/*.json; do
    [ -f "$f" ] || continue
    with_control 000 "$f" "suite_$(basename "$f")"
    count=$((count + 1))
  done
else
  echo "seed.sh: $suite not found, JSONTestSuite cases left out" >&2
fi

if [ -d "$documents" ]; then
  tmp=$(mktemp)
  trap 'rm -f "$tmp"' EXIT
  for f in "$documents"/*.json; do
    [ -f "$f" ] || continue
    name=$(basename "$f" .json)
    for n in 512 4096 16384; do
      head -c "$n" "$f" > "$tmp"
      with_control 000 "$tmp" "slice_${name}_${n}_strict"
      with_control 002 "$tmp" "slice_${name}_${n}_lenient"
      count=$((count + 2))
    done
  done
else
  echo "seed.sh: $documents not found, document slices left out" >&2
fi

# 000: all modes; 001, 002, 003: the option bits; 004, 064, 364: cancelling event handler at
# event 1, 4 and 16; 010: parse_value with a handler in document mode; 030, 130: the entry
# point matching the first byte in document and event mode; 050: parse_hex; 014, 034: parsing
# into an existing object or array.
for f in "$here"/json/seeds/*; do
  [ -f "$f" ] || continue
  name=$(basename "$f")
  for c in 000 001 002 003 004 064 364 010 030 130 050 014 034; do
    with_control "$c" "$f" "seed_${c}_$name"
    count=$((count + 1))
  done
done

for f in "$here"/json/regressions/*; do
  case $f in *.md) continue ;; esac
  [ -f "$f" ] || continue
  cp "$f" "$out/regression_$(basename "$f")"
  count=$((count + 1))
done

echo "seed.sh: $count seed inputs in $out"
