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
    # A benchmark program writes nothing when no benchmark matches its filter.
    if not os.path.exists(path) or os.path.getsize(path) == 0:
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


# Running, checking and emitting: each sxir benchmark beside the benchmark it is
# held to. A row: (what, sxir's (library, workload), the other's (library,
# workload), the other's label, the largest share of the other's time the target
# allows or None). The targets hold at S = 10^4 to 10^6.
FEATURE_ROWS = (
    ("run", ("sxir", "run"), ("llvm", "interpret"), "LLVM 14 interpreter", 0.1),
    ("preparation for runs", ("sxir", "prepare"), ("sxir", "build"), "sxir build", None),
    ("preparation for runs", ("sxir", "prepare"), ("llvm", "interpret-prepare"), "LLVM 14 engine creation", None),
    ("structural hash", ("sxir", "hash"), ("sxir", "equivalence"), "sxir equivalence", 1.0),
    ("verify", ("sxir", "verify"), ("sxir", "equivalence"), "sxir equivalence", 1.0),
    ("emit C", ("sxir", "emit"), ("sxir", "print"), "sxir print", 2.0),
    ("emit C", ("sxir", "emit"), ("halide", "emit"), "Halide 14 CodeGen_C", 0.25),
)
FEATURE_TARGET_SIZES = (10000, 100000, 1000000)
# Targets in nanoseconds per statement at one size: {(library, workload, size): limit}.
FEATURE_ABSOLUTE_TARGETS = {("sxir", "run", 100000): 30.0}
# The compiled workload (bench/compiled): the emitted C beside the hand-written C,
# at the one size it is built for.
COMPILED_ROW = ("compiled workload, -O2: emitted C", ("c", "emitted"), ("c", "handwritten"), "hand-written C", 1.2)


def load_all(directory):
    """{(library, workload, size): entry} from every result file: the medians, or the single runs."""
    results = {}
    for name in sorted(os.listdir(directory)):
        if not name.endswith(".json"):
            continue
        for entry in load(directory, name[:-len(".json")]):
            if entry.get("run_type") == "aggregate" and entry.get("aggregate_name") != "median":
                continue
            try:
                key = parse_name(entry["name"])
            except (IndexError, ValueError):
                continue  # not a library/workload/size benchmark
            results[key] = {"error": entry.get("error_message", "error")} if entry.get("error_occurred") else entry
    return results


def fine_number(value):
    """As number(), with two significant digits below 0.01."""
    if isinstance(value, (int, float)) and 0 < value < 0.01:
        return f"{value:.2g}"
    return number(value)


def feature_verdict(mine_key, size, mine, share, limit, label):
    notes = []
    absolute = FEATURE_ABSOLUTE_TARGETS.get(mine_key + (size,))
    if absolute is not None:
        known = isinstance(mine, (int, float))
        verdict = ("met" if mine <= absolute else "not met") if known else "unknown"
        notes.append(f"target ≤ {absolute:g} ns: {verdict}")
    if limit is not None:
        verdict = "unknown" if share is None else ("met" if share <= limit else "not met")
        notes.append(f"target ≤ {limit:g}× {label}: {verdict}")
    return "; ".join(notes)


def print_feature_table(directory, sizes):
    results = load_all(directory)
    rows = []

    def add(what, mine_key, theirs_key, label, limit, size, judged):
        mine = value_of(results, *mine_key, size, "ns_per_stmt")
        theirs = value_of(results, *theirs_key, size, "ns_per_stmt")
        share = ratio(mine, theirs)
        note = feature_verdict(mine_key, size, mine, share, limit, label) if judged else ""
        rows.append((what, f"{size:,}", fine_number(mine), label, fine_number(theirs), ratio_text(share), note))

    for what, mine_key, theirs_key, label, limit in FEATURE_ROWS:
        for size in sizes:
            add(what, mine_key, theirs_key, label, limit, size, size in FEATURE_TARGET_SIZES)
    what, mine_key, theirs_key, label, limit = COMPILED_ROW
    for size in sorted({key[2] for key in results if key[:2] in (mine_key, theirs_key)}):
        add(what, mine_key, theirs_key, label, limit, size, True)

    print()
    print("Running, checking and emitting C, in ns per statement, each beside what it is held to:")
    print()
    header = ("workload", "S", "sxir", "beside", "its time", "ratio", "notes")
    print("| " + " | ".join(header) + " |")
    print("|" + "|".join(["---", "---:", "---:", "---", "---:", "---:", "---"]) + "|")
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()
    print("run: one run of the function from its inputs, after the one-time preparation; "
          "LLVM: ExecutionEngine of kind Interpreter, runFunction on `void f(double*)` whose locals start "
          "from and end in the array. preparation: what comes before the first run (LLVM: creating the engine).")
    print("emit C: Halide: CodeGen_C writing a Module of the same bodies (one function per body) as C. "
          "compiled workload: one call of the function compiled at -O2, emitted by sxir beside written by hand "
          "(`v[t] = ((v[a] + v[b]) * v[c]) - v[d];` per statement on `double v[64]`).")
    print("n/a: not measured (a benchmark that does not exist yet, or a peer that is not installed).")


HOIST_PASSES = ("literal", "safe")
HOIST_SHAPES = ("flat", "nested")
HOIST_ORDERS = ("same", "reverse")
HOIST_KINDS = ("distinct", "repeating")
# Every hoisting workload at this n should take at most this long, and at most this
# many times as long as at a tenth of n.
HOIST_TARGET_N = 100000
HOIST_TARGET_MS = 1000.0
HOIST_TARGET_GROWTH = 15.0


def collect_hoisting(directory, hoist_sizes):
    """{(pass, shape, order, kinds, n): entry} from the medians (or the single runs) of the hoisting runs,
    one result file per workload."""
    results = {}
    workloads = [(p, s, o, k) for p in HOIST_PASSES for s in HOIST_SHAPES for o in HOIST_ORDERS for k in HOIST_KINDS]
    for name in (f"sxir-hoist-{'-'.join(workload)}-{n}" for workload in workloads for n in hoist_sizes):
        for entry in load(directory, name):
            if entry.get("run_type") == "aggregate" and entry.get("aggregate_name") != "median":
                continue
            # 'sxir/hoist/literal/flat/same/distinct/1000/iterations:1_median'
            parts = entry["name"].split("/")
            key = tuple(parts[2:6]) + (int(parts[6]),)
            results[key] = {"error": entry.get("error_message", "error")} if entry.get("error_occurred") else entry
    return results


def hoisting_rows(directory, hoist_sizes):
    results = collect_hoisting(directory, hoist_sizes)
    rows = []
    for workload in ((p, s, o, k) for p in HOIST_PASSES for s in HOIST_SHAPES for o in HOIST_ORDERS
                     for k in HOIST_KINDS):
        previous = None
        for n in hoist_sizes:
            entry = results.get(workload + (n,))
            ms = None if entry is None else entry.get("error") or entry.get("ms_per_analyze")
            known = isinstance(ms, (int, float))
            notes = []
            if known and previous is not None:
                before_n, before_ms = previous
                growth = ms / before_ms
                exponent = math.log(growth) / math.log(n / before_n)
                notes.append(f"×{growth:.1f} for ×{n // before_n} n: time ∝ n^{exponent:.2f}")
                if n == HOIST_TARGET_N and before_n * 10 == n:
                    verdict = "met" if growth <= HOIST_TARGET_GROWTH else "not met"
                    notes.append(f"target ≤ {HOIST_TARGET_GROWTH:g}×: {verdict}")
            if n == HOIST_TARGET_N:
                verdict = ("met" if ms <= HOIST_TARGET_MS else "not met") if known else "unknown"
                notes.append(f"target ≤ {HOIST_TARGET_MS:,.0f} ms: {verdict}")
            previous = (n, ms) if known else None
            rows.append((f"hoisting {' '.join(workload)} (ms per analyze)", f"{n:,}", number(ms), "", "", "", "",
                         "; ".join(notes)))
    return rows


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
    rows += hoisting_rows(directory, hoist_sizes)

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
    print("hoisting: CodeHoistor (literal) or SafeCodeHoistor (safe) on one if of n assignments per branch "
          "(flat), or of one if per branch holding them in both of its branches (nested); the false branch "
          "in the same or the reverse order; statements all distinct, or repeating every 64.")


if __name__ == "__main__":
    main()
    print_feature_table(sys.argv[1], [int(s) for s in sys.argv[2].split()])
