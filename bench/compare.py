#!/usr/bin/env python3
"""Prints a throughput table from json_bench's Google Benchmark JSON output.

Usage:
    json_bench --benchmark_format=json --benchmark_out=result.json ...
    python3 bench/compare.py result.json          (or: ... | python3 bench/compare.py -)

Benchmarks are named "<op>/<library>/<document>". For every operation and document the table shows
the throughput of each library in MB/s (10^6 bytes per second; parse counts input bytes,
serialize counts output bytes) and the ratio pocketjson / peer for every peer present
(above 1.0 means pocketjson is faster). With repetitions, the "mean" aggregate is used.
"""

import json
import sys

BASE = "pocketjson"
PREFERRED_ORDER = ["pocketjson", "nlohmann", "rapidjson"]


def load(path):
    if path == "-":
        return json.load(sys.stdin)
    with open(path, encoding="utf-8") as handle:
        return json.load(handle)


def collect(report):
    """Returns {(op, document): {library: bytes_per_second}}."""
    results = {}
    for bench in report.get("benchmarks", []):
        if bench.get("error_occurred"):
            continue
        run_type = bench.get("run_type", "iteration")
        if run_type == "aggregate" and bench.get("aggregate_name") != "mean":
            continue
        name = bench.get("run_name") or bench.get("name", "")
        parts = name.split("/")
        if len(parts) < 3 or "bytes_per_second" not in bench:
            continue
        op, library, document = parts[0], parts[1], parts[2]
        key = (op, document)
        slot = results.setdefault(key, {})
        # A mean aggregate replaces the single repetitions; otherwise keep the first entry.
        if run_type == "aggregate" or library not in slot:
            slot[library] = float(bench["bytes_per_second"])
    return results


def main(argv):
    if len(argv) != 2 or argv[1] in ("-h", "--help"):
        sys.stderr.write(__doc__)
        return 2
    results = collect(load(argv[1]))
    if not results:
        sys.stderr.write("compare.py: no json_bench results with bytes_per_second found\n")
        return 1
    libraries = set()
    for slot in results.values():
        libraries.update(slot)
    ordered = [lib for lib in PREFERRED_ORDER if lib in libraries]
    ordered += sorted(libraries - set(ordered))
    peers = [lib for lib in ordered if lib != BASE]

    header = ["op", "document"] + [f"{lib} MB/s" for lib in ordered]
    header += [f"{BASE}/{peer}" for peer in peers]
    rows = []
    for op in ("parse", "serialize"):
        for (row_op, document) in sorted(k for k in results if k[0] == op):
            slot = results[(row_op, document)]
            row = [op, document]
            row += [f"{slot[lib] / 1e6:.1f}" if lib in slot else "-" for lib in ordered]
            for peer in peers:
                if BASE in slot and peer in slot and slot[peer] > 0:
                    row.append(f"{slot[BASE] / slot[peer]:.2f}")
                else:
                    row.append("-")
            rows.append(row)

    widths = [max(len(str(cell)) for cell in column) for column in zip(header, *rows)]

    def line(cells):
        padded = [str(c).ljust(w) if i < 2 else str(c).rjust(w)
                  for i, (c, w) in enumerate(zip(cells, widths))]
        return "| " + " | ".join(padded) + " |"

    print(line(header))
    print("|" + "|".join(("-" * (w + 2)) if i < 2 else ("-" * (w + 1) + ":")
                         for i, w in enumerate(widths)) + "|")
    for row in rows:
        print(line(row))
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main(sys.argv))
    except BrokenPipeError:
        sys.exit(1)
