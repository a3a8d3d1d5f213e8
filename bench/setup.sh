#!/bin/sh
# Installs what the benchmarks build against, from Debian: Google Benchmark and the two peer
# libraries that json_bench compares pocketjson with. None of these is a dependency of the
# library itself; the peers are optional even for json_bench.
# Run as root (or through sudo).
set -eu
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends libbenchmark-dev nlohmann-json3-dev rapidjson-dev
