#!/bin/sh
# Runs a built libFuzzer target for a while on its assembled corpus. Builds nothing.
#
#   fuzz/run.sh <target> <seconds> [extra libFuzzer arguments]
#
# Build first:  cmake --preset fuzz && cmake --build build/fuzz -j2 --target <target>
# The binary is taken from $FUZZ_BUILD_DIR (default build/fuzz). The seeds are assembled afresh by
# fuzz/seed.sh into fuzz/corpus-work/<target>/seeds; new inputs that libFuzzer finds go to
# fuzz/corpus-work/<target>/corpus and are kept between runs; crash, leak and timeout inputs go to
# fuzz/corpus-work/<target>/artifacts/. Exit status: 0 when the time ran out without a finding,
# libFuzzer's non-zero status otherwise (and 2 for usage errors).
set -eu

if [ $# -lt 2 ]; then
  echo "usage: fuzz/run.sh <target> <seconds> [extra libFuzzer arguments]" >&2
  exit 2
fi
target=$1
seconds=$2
shift 2
case $seconds in
  '' | *[!0-9]*) echo "run.sh: <seconds> must be a whole number" >&2; exit 2 ;;
esac

here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
build=${FUZZ_BUILD_DIR:-$root/build/fuzz}
binary=$(find "$build/fuzz" -maxdepth 2 -type f -name "$target" -perm -u+x 2>/dev/null | head -n 1)
if [ -z "$binary" ]; then
  echo "run.sh: $target not found under $build/fuzz; build it first:" >&2
  echo "  cmake --preset fuzz && cmake --build build/fuzz -j2 --target $target" >&2
  exit 2
fi

work=$here/corpus-work/$target
mkdir -p "$work/corpus" "$work/artifacts"
case $target in
  fuzz_json_*) "$here/seed.sh" "$target" "$work/seeds" ;;
  *)
    # Any other target keeps its seeds in fuzz/<group>/seeds/<target>/; the group's seed.sh, when
    # there is one, assembles them (adding inputs made from the shared data), else they are copied.
    group=
    for dir in "$here"/*/seeds/"$target"; do
      if [ -d "$dir" ]; then group=$(dirname "$(dirname "$dir")"); fi
    done
    if [ -z "$group" ]; then
      echo "run.sh: no seeds folder fuzz/*/seeds/$target" >&2
      exit 2
    fi
    if [ -x "$group/seed.sh" ]; then
      "$group/seed.sh" "$target" "$work/seeds"
    else
      rm -rf "$work/seeds"
      mkdir -p "$work/seeds"
      cp "$group/seeds/$target"/* "$work/seeds/"
    fi
    ;;
esac

# Stop at the first sanitizer report, with a stack trace.
export ASAN_OPTIONS=${ASAN_OPTIONS:-abort_on_error=1:detect_leaks=1:symbolize=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}

status=0
"$binary" "$work/corpus" "$work/seeds" \
  -max_total_time="$seconds" -max_len=65536 -timeout=10 -rss_limit_mb=4096 \
  -artifact_prefix="$work/artifacts/" -print_final_stats=1 "$@" || status=$?

if [ "$status" -ne 0 ]; then
  echo "run.sh: $target stopped with status $status; inputs in $work/artifacts/:" >&2
  ls -l "$work/artifacts" >&2 || true
fi
exit "$status"
