#!/usr/bin/env python3
"""Turns the JSON results of bench/compare.sh into one markdown table.

Usage: compare_table.py RESULT_DIR "SIZES" "HOIST_SIZES"
"""
import json
import math
import os
import sys

LIBRARIES = ("sxir", "halide", "llvm")
SPEED_WORKLOADS = ("build", "print", "equivalence", "clone", "destroy")

# At a million statements sxir should take at most this share of the peer's time
# (or memory) per statement.
TARGETS = {
    ("build", "halide"): 0.5,
    ("print", "halide"): 0.25,
    ("equivalence", "halide"): 0.5,
    ("clone", "halide"): 1.0,
    ("clone", "llvm"): 0.1,
    ("destroy", "halide"): 1.0,
    ("memory", "halide"): 0.75,
}
TARGET_SIZE = 1000000


def load(directory, name):
    path = os.path.join(directory, name + ".json")
    if not os.path.exists(path):
        return []
    with open(path) as handle:
        return json.load(handle).get("benchmarks", [])


def parse_name(name):
    """'sxir/build/1000/iterations:1_median' -> ('sxir', 'build', 1000)."""
    parts = name.split("/")
    return parts[0], parts[1], int(parts[2])


def collect(directory, sizes, hoist_sizes):
    """{(library, workload, size): {counter: value}} from the medians (or the single runs)."""
    results = {}
    names = []
    for size in sizes:
        for library in LIBRARIES:
            names += [f"{library}-speed-{size}", f"{library}-memory-{size}"]
    names += [f"sxir-hoist-{n}" for n in hoist_sizes]
    for name in names:
        for entry in load(directory, name):
            if entry.get("run_type") == "aggregate" and entry.get("aggregate_name") != "median":
                continue
            key = parse_name(entry["name"])
            if entry.get("error_occurred"):
                results[key] = {"error": entry.get("error_message", "error")}
            else:
                results[key] = entry
    return results


def number(value):
    if value is None:
        return "n/a"
    if isinstance(value, str):
        return value
    if value >= 100:
        return f"{value:,.0f}"
    if value >= 10:
        return f"{value:.1f}"
    return f"{value:.2f}"


def ratio(mine, theirs):
    if not isinstance(mine, (int, float)) or not isinstance(theirs, (int, float)) or theirs == 0:
        return None
    return mine / theirs


def ratio_text(value):
    return "n/a" if value is None else f"{value:.2f}"


def value_of(results, library, workload, size, counter):
    entry = results.get((library, workload, size))
    if entry is None:
        return None
    if "error" in entry:
        return "error"
    return entry.get(counter)


def target_note(workload, size, ratios):
    if size != TARGET_SIZE:
        return ""
    notes = []
    for peer, share in ratios.items():
        limit = TARGETS.get((workload, peer))
        if limit is None:
            continue
        met = share is not None and share <= limit
        verdict = "met" if met else ("not met" if share is not None else "unknown")
        notes.append(f"target ≤ {limit:g}× {'Halide' if peer == 'halide' else 'LLVM'}: {verdict}")
    return "; ".join(notes)


def main():
    directory = sys.argv[1]
    sizes = [int(s) for s in sys.argv[2].split()]
    hoist_sizes = [int(n) for n in sys.argv[3].split()]
    results = collect(directory, sizes, hoist_sizes)

    rows = []
    for workload in SPEED_WORKLOADS:
        for size in sizes:
            mine, halide, llvm = (value_of(results, lib, workload, size, "ns_per_stmt") for lib in LIBRARIES)
            ratios = {"halide": ratio(mine, halide), "llvm": ratio(mine, llvm)}
            rows.append((f"{workload} (ns/stmt)", f"{size:,}", number(mine), number(halide), number(llvm),
                         ratio_text(ratios["halide"]), ratio_text(ratios["llvm"]),
                         target_note(workload, size, ratios)))
    for size in sizes:
        mine = value_of(results, "sxir", "memory", size, "alloc_bytes_per_stmt")
        rows.append(("memory, sxir allocator statistics (B/stmt)", f"{size:,}", number(mine), "", "", "", "", ""))
    for size in sizes:
        mine, halide, llvm = (value_of(results, lib, "memory", size, "malloc_bytes_per_stmt") for lib in LIBRARIES)
        ratios = {"halide": ratio(mine, halide), "llvm": ratio(mine, llvm)}
        rows.append(("memory, malloc in use (B/stmt)", f"{size:,}", number(mine), number(halide), number(llvm),
                     ratio_text(ratios["halide"]), ratio_text(ratios["llvm"]),
                     target_note("memory", size, ratios)))
    previous = None
    for n in hoist_sizes:
        ms = value_of(results, "sxir", "hoist", n, "ms_per_function")
        note = ""
        if isinstance(ms, (int, float)) and previous is not None:
            before_n, before_ms = previous
            growth = ms / before_ms
            exponent = math.log(growth) / math.log(n / before_n)
            note = f"×{growth:.0f} for ×{n // before_n} n: time ∝ n^{exponent:.2f}"
        if isinstance(ms, (int, float)):
            previous = (n, ms)
        rows.append(("hoisting, one if of n + n assignments (ms per analyze)", f"{n:,}", number(ms), "", "", "", "",
                     note))

    header = ("workload", "S or n", "sxir", "Halide 14", "LLVM 14", "sxir/Halide", "sxir/LLVM", "notes")
    print("| " + " | ".join(header) + " |")
    print("|" + "|".join(["---", "---:", "---:", "---:", "---:", "---:", "---:", "---"]) + "|")
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()
    print("Halide: Stores of Float(64) Variables into one-element buffers in a Block chain; equal(); "
          "operator<<; copy = substitute() of every variable (full rebuild); destroy = last reference dropped.")
    print("LLVM: allocas, load/fadd/fmul/fsub/store per statement; FunctionComparator; Function::print; "
          "copy = CloneFunctionInto another module of the same LLVMContext; destroy = module deleted.")
    print("sxir: the operator API; Statement::isEquivalent pair by pair; Function::asString; "
          "copy = copyGenericItemIn into a module of another context; destroy = context deleted.")


if __name__ == "__main__":
    main()
