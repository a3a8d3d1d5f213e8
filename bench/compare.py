#!/usr/bin/env python3
"""Tables from Google Benchmark JSON output of call_bench or json_bench.

Usage:
    call_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \\
               --benchmark_out=calls.json --benchmark_out_format=json
    python3 bench/compare.py calls.json          (or: ... | python3 bench/compare.py -)

The median aggregate of every benchmark is used (the single run when there are no repetitions),
and CPU time rather than wall-clock time: the machines this runs on are often shared.

call_bench ("<case>/<pipeline>"): one row per case with the median time per call of every
pipeline, the ratio plug-in / RapidJSON and plug-in / simdjson (below 1.0 means the plug-in is
faster), and heap allocations per call (per KiB of the document for the document cases) of the
plug-in and of RapidJSON.

json_bench ("<parse|serialize>/<library>/<document>"): throughput of each library in MB/s (10^6
bytes per second; parse counts input bytes, serialize output bytes) and pocketjson / peer
(above 1.0 means pocketjson is faster).
"""

import json
import sys

CALL_PIPELINES = ["plug-in", "rapidjson", "simdjson", "nlohmann", "simulator"]
JSON_LIBRARIES = ["pocketjson", "nlohmann", "rapidjson"]
TIME_SCALE = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(path):
    if path == "-":
        return json.load(sys.stdin)
    with open(path, encoding="utf-8") as handle:
        return json.load(handle)


def medians(report):
    """Returns {name: benchmark entry}, the median aggregate where there is one."""
    chosen = {}
    for bench in report.get("benchmarks", []):
        if bench.get("error_occurred"):
            continue
        run_type = bench.get("run_type", "iteration")
        if run_type == "aggregate" and bench.get("aggregate_name") != "median":
            continue
        name = bench.get("run_name") or bench.get("name", "")
        if run_type == "aggregate" or name not in chosen:
            chosen[name] = bench
    return chosen


def nanoseconds(bench):
    return float(bench["cpu_time"]) * TIME_SCALE[bench.get("time_unit", "ns")]


def show_time(ns):
    if ns < 10e3:
        return f"{ns:.0f} ns"
    if ns < 10e6:
        return f"{ns / 1e3:.1f} µs"
    return f"{ns / 1e6:.2f} ms"


def print_table(header, rows, left=1):
    widths = [max(len(str(cell)) for cell in column) for column in zip(header, *rows)]

    def line(cells):
        padded = [str(c).ljust(w) if i < left else str(c).rjust(w)
                  for i, (c, w) in enumerate(zip(cells, widths))]
        return "| " + " | ".join(padded) + " |"

    print(line(header))
    print("|" + "|".join(("-" * (w + 2)) if i < left else ("-" * (w + 1) + ":")
                         for i, w in enumerate(widths)) + "|")
    for row in rows:
        print(line(row))


def ratio(slot, a, b):
    if a in slot and b in slot and nanoseconds(slot[b]) > 0:
        return f"{nanoseconds(slot[a]) / nanoseconds(slot[b]):.2f}"
    return "-"


def allocations(bench):
    if bench is None:
        return "-"
    counters = bench
    if "allocs_per_KiB" in counters:
        return f"{float(counters['allocs_per_KiB']):.1f}/KiB"
    if "allocs_per_call" in counters:
        return f"{float(counters['allocs_per_call']):.1f}"
    return "-"


def call_table(chosen):
    cases = {}
    order = []
    for name, bench in chosen.items():
        case, pipeline = name.rsplit("/", 1)
        if case not in cases:
            order.append(case)
        cases.setdefault(case, {})[pipeline] = bench
    present = [p for p in CALL_PIPELINES if any(p in slot for slot in cases.values())]
    header = ["case"] + [f"{p} time/call" for p in present]
    header += ["plug-in/rapidjson", "plug-in/simdjson", "plug-in allocs", "rapidjson allocs"]
    rows = []
    for case in order:
        slot = cases[case]
        row = [case] + [show_time(nanoseconds(slot[p])) if p in slot else "-" for p in present]
        row += [ratio(slot, "plug-in", "rapidjson"), ratio(slot, "plug-in", "simdjson")]
        row += [allocations(slot.get("plug-in")), allocations(slot.get("rapidjson"))]
        rows.append(row)
    print_table(header, rows)


def json_table(chosen):
    results = {}
    for name, bench in chosen.items():
        op, library, document = name.split("/")[:3]
        if "bytes_per_second" in bench:
            results.setdefault((op, document), {})[library] = float(bench["bytes_per_second"])
    libraries = set()
    for slot in results.values():
        libraries.update(slot)
    ordered = [lib for lib in JSON_LIBRARIES if lib in libraries]
    ordered += sorted(libraries - set(ordered))
    peers = [lib for lib in ordered if lib != "pocketjson"]
    header = ["op", "document"] + [f"{lib} MB/s" for lib in ordered]
    header += [f"pocketjson/{peer}" for peer in peers]
    rows = []
    for (op, document) in sorted(results, key=lambda k: (k[0] != "parse", k[1])):
        slot = results[(op, document)]
        row = [op, document]
        row += [f"{slot[lib] / 1e6:.1f}" if lib in slot else "-" for lib in ordered]
        for peer in peers:
            if "pocketjson" in slot and slot.get(peer, 0) > 0:
                row.append(f"{slot['pocketjson'] / slot[peer]:.2f}")
            else:
                row.append("-")
        rows.append(row)
    print_table(header, rows, left=2)


def main(argv):
    if len(argv) != 2 or argv[1] in ("-h", "--help"):
        sys.stderr.write(__doc__)
        return 2
    chosen = medians(load(argv[1]))
    if not chosen:
        sys.stderr.write("compare.py: no benchmark results found\n")
        return 1
    is_json_bench = all(name.split("/")[0] in ("parse", "serialize") and name.count("/") == 2
                        for name in chosen)
    if is_json_bench:
        json_table(chosen)
    else:
        call_table(chosen)
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv))
    except BrokenPipeError:
        sys.exit(1)
