#!/usr/bin/env bash
# The page benchmark inside zarvo_view (the desktop web view), headless: tiny call round trips
# from page script (p50/p99) and events per second into the page, none lost.
#   bench/page/view_bench.sh [build-dir]      (default build/default; needs zarvo_view built)
# The same page, runtime_bench.html, runs under `zarvo_host serve` in a browser for the HTTP
# figures. Prints the page's "bench <name> <value>" lines.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-build/default}
view=$build/tools/zarvo_view/zarvo_view
[ -x "$view" ] || { echo "view_bench: $view not built" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/home" "$work/runtime"
chmod 700 "$work/runtime"
[ "$(id -u)" = 0 ] && export QTWEBENGINE_DISABLE_SANDBOX=1
HOME=$work/home XDG_RUNTIME_DIR=$work/runtime QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software \
  "$view" --applications "$here/bench_applications.json" --console --timeout 300s \
  "$here/runtime_bench.html" | sed -n 's/^console: bench /view /p'
