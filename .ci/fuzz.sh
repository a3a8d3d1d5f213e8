#!/usr/bin/env bash
# CI: short fuzz runs. Configures and builds the fuzz configuration (clang, ASan + UBSan,
# libFuzzer), then runs every fuzz target briefly through fuzz/run.sh on its seeds. Any crash,
# sanitizer report, leak or timeout fails the job (run.sh exits non-zero and keeps the input in
# fuzz/corpus-work/<target>/artifacts/).
#
#   .ci/fuzz.sh            # about 60 s for the JSON parser, 45 s for each bridge target, 30 s
#                          # for each web host target
#   FUZZ_SECONDS_SCALE=10 .ci/fuzz.sh   # ten times longer
set -euo pipefail
cd "$(dirname "$0")/.."

scale=${FUZZ_SECONDS_SCALE:-1}
# target seconds
runs=(
  "fuzz_json_parser 60"
  "fuzz_entry_points 45"
  "fuzz_answers 45"
  "fuzz_serve_request 30"
  "fuzz_socket_message 30"
)
targets=()
for run in "${runs[@]}"; do targets+=("${run%% *}"); done

# Only the fuzz targets and what they link: the plug-in itself is not needed here (and a clang
# ASan build of a shared library linked with --no-undefined needs the shared sanitizer runtime).
cmake --preset fuzz
cmake --build --preset fuzz --parallel 2 --target "${targets[@]}"

failed=()
for run in "${runs[@]}"; do
  read -r target seconds <<<"$run"
  echo "---- $target for $((seconds * scale)) s"
  if ! fuzz/run.sh "$target" "$((seconds * scale))"; then
    failed+=("$target")
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzz: findings in: ${failed[*]}" >&2
  exit 1
fi
echo "fuzz: no findings"
