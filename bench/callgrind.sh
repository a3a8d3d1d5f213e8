#!/bin/sh
# Instructions per call, counted by callgrind: stable where wall-clock time is not (the machine is
# shared). For every pipeline in call_instructions (plug-in, rapidjson, simdjson, nlohmann, as
# built) it runs a fixed number of tiny calls and one call per corpus document, as request data
# and as answer, and prints instructions and allocations per call. Only the instructions inside
# the measured function are counted (set-up and one warm-up call stay outside).
#
#   bench/callgrind.sh [build folder] [corpus folder]      (defaults: build/bench, ../shared/data/corpus)
# Environment: CALLGRIND_TINY_CALLS (1000), CALLGRIND_PIPELINES (all built), CALLGRIND_DOCUMENTS
# (every *.json in the corpus folder; names without .json, separated by blanks).
set -eu
build=${1:-build/bench}
corpus=${2:-$(dirname "$0")/../../shared/data/corpus}
tool="$build/bench/calls/call_instructions"
tiny=${CALLGRIND_TINY_CALLS:-1000}
if [ ! -x "$tool" ]; then
  echo "callgrind.sh: $tool not built (cmake --preset bench && cmake --build --preset bench)" >&2
  exit 1
fi
command -v valgrind >/dev/null || { echo "callgrind.sh: valgrind is not installed" >&2; exit 1; }
pipelines=${CALLGRIND_PIPELINES:-"plug-in rapidjson simdjson nlohmann"}
documents=${CALLGRIND_DOCUMENTS:-$(cd "$corpus" && ls ./*.json | sed 's|^\./||; s|\.json$||')}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# measure <pipeline> <calls> <arguments...>: prints "<instructions per call> <allocations per call>"
measure() {
  pipeline=$1
  calls=$2
  shift 2
  out="$work/callgrind.out"
  if ! valgrind --tool=callgrind --callgrind-out-file="$out" --toggle-collect=zarvo_measured_calls \
      "$tool" "$pipeline" "$@" "$calls" >"$work/stdout" 2>"$work/stderr"; then
    if grep -q "no pipeline" "$work/stderr"; then echo "- -"; return; fi
    echo "callgrind.sh: $pipeline $* failed:" >&2
    cat "$work/stderr" >&2
    echo "failed failed"
    return
  fi
  total=$(sed -n 's/^summary: *//p; s/^totals: *//p' "$out" | head -n 1 | cut -d' ' -f1)
  allocations=$(sed -n 's/^[0-9]* calls, \([0-9]*\) allocations$/\1/p' "$work/stdout")
  awk -v t="$total" -v a="$allocations" -v n="$calls" 'BEGIN { printf "%.0f %.1f\n", t / n, a / n }'
}

printf '%-34s %-10s %16s %12s\n' "case" "pipeline" "instructions" "allocations"
for pipeline in $pipelines; do
  set -- $(measure "$pipeline" "$tiny" tiny)
  printf '%-34s %-10s %16s %12s\n' "tiny call" "$pipeline" "$1" "$2"
done
for document in $documents; do
  for mode in request answer; do
    for pipeline in $pipelines; do
      set -- $(measure "$pipeline" 1 "$mode" "$corpus/$document.json")
      label="$document as $( [ "$mode" = request ] && echo "request data" || echo answer)"
      printf '%-34s %-10s %16s %12s\n' "$label" "$pipeline" "$1" "$2"
    done
  done
done
