#!/bin/sh
# Installs what the benchmarks build against, from Debian: Google Benchmark and the peer libraries
# the benchmarks compare pocketjson and the plug-in with (nlohmann::json, RapidJSON, simdjson),
# plus valgrind for bench/callgrind.sh. None of these is a dependency of the library itself; the
# peers are optional even for the benchmarks.
#
# Works as root, or as a user with sudo; without either it prints the command to run.
set -eu
packages="libbenchmark-dev nlohmann-json3-dev rapidjson-dev libsimdjson-dev valgrind python3"
if [ "$(id -u)" = 0 ]; then
  run=""
elif command -v sudo >/dev/null 2>&1; then
  run="sudo"
else
  echo "bench/setup.sh: not root and no sudo here; as root, run:" >&2
  echo "  apt-get update && apt-get install -y --no-install-recommends $packages" >&2
  exit 1
fi
# shellcheck disable=SC2086  # $run is empty or one word, $packages a list of words
$run env DEBIAN_FRONTEND=noninteractive apt-get update
# shellcheck disable=SC2086
$run env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $packages
