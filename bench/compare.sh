#!/usr/bin/env bash
# Builds the benchmark programs (preset "bench", Release), runs sxir, Halide 14 and
# LLVM 14 on the same workload in this one invocation, and prints one markdown
# table: CPU-time medians per statement, the ratios of sxir to each peer, bytes
# per statement, and the hoisting times.
#
# The peers are built when their Debian packages are installed:
#     apt-get install -y libhalide14-0-dev llvm-14-dev
# A peer that is missing shows as "n/a".
# A second table puts running, checking and emitting C beside what each is held
# to, and the workload compiled from C (bench/compiled) beside hand-written C; an
# sxir benchmark that does not exist yet shows as "n/a" there.
#
# Environment:
#     SXIR_BENCH_SIZES        statements per body      (default "1000 10000 100000 1000000")
#     SXIR_BENCH_HOIST_SIZES  pairs per if, hoisting   (default "1000 10000 100000"; "" skips hoisting)
#     SXIR_BENCH_REPETITIONS  repetitions, medians     (default 5)
# A quick run: SXIR_BENCH_SIZES=10000 SXIR_BENCH_HOIST_SIZES=1000 SXIR_BENCH_REPETITIONS=3 bench/compare.sh
#
# The default run takes about seven minutes on two cores, most of it LLVM at a
# million statements and one of them hoisting; SXIR_BENCH_SIZES= runs only the
# hoisting rows.
set -euo pipefail
cd "$(dirname "$0")/.."

sizes=${SXIR_BENCH_SIZES-1000 10000 100000 1000000}
hoist_sizes=${SXIR_BENCH_HOIST_SIZES-1000 10000 100000}
repetitions=${SXIR_BENCH_REPETITIONS:-5}

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

echo "building the bench preset ..." >&2
if ! { cmake --preset bench && cmake --build --preset bench; } >"$out/build.log" 2>&1; then
    cat "$out/build.log" >&2
    exit 1
fi
bin=build/bench/bench

libraries=(sxir)
for peer in halide llvm; do
    if [ -x "$bin/${peer}_bench" ]; then
        libraries+=("$peer")
    else
        echo "no $bin/${peer}_bench: its package is not installed, its columns stay empty" >&2
    fi
done

# run LIBRARY NAME FILTER [ARGS...]: one benchmark process, its results in $out/NAME.json.
run() {
    local library=$1 name=$2 filter=$3
    shift 3
    echo "  $name" >&2
    if ! "$bin/${library}_bench" --benchmark_filter="$filter" --benchmark_out="$out/$name.json" \
        --benchmark_out_format=json "$@" >"$out/$name.log" 2>&1; then
        cat "$out/$name.log" >&2
        echo "$name failed" >&2
        exit 1
    fi
}

aggregate=(--benchmark_repetitions="$repetitions" --benchmark_report_aggregates_only=true)
# The workload compiled from C (bench/compiled), at the one size it is built for.
if [ -x "$bin/compiled_bench" ]; then
    echo "compiled workload" >&2
    run compiled compiled "^c/" "${aggregate[@]}"
fi
for size in $sizes; do
    echo "S = $size" >&2
    # The libraries take turns at each size, so that a change in the machine's
    # load falls on all of them alike.
    for library in "${libraries[@]}"; do
        run "$library" "$library-speed-$size" "^$library/(build|print|equivalence|clone|destroy)/$size/" \
            "${aggregate[@]}"
    done
    # Running and checking; an sxir benchmark not written yet matches nothing.
    for library in "${libraries[@]}"; do
        run "$library" "$library-features-$size" \
            "^$library/(run|prepare|hash|verify|interpret|interpret-prepare)/$size/" "${aggregate[@]}"
    done
    # Emitting C in a process of its own, as printing is, which it is held to: after the
    # runs' preparations, its text buffers come from a heap scattered by them.
    for library in "${libraries[@]}"; do
        run "$library" "$library-emit-$size" "^$library/emit/$size/" "${aggregate[@]}"
    done
    # Memory is measured in a process of its own: the first build of a process
    # finds no free blocks to reuse, so the heap grows by what the body needs.
    for library in "${libraries[@]}"; do
        run "$library" "$library-memory-$size" "^$library/memory/$size/"
    done
done
# Both hoisting passes, on flat and nested ifs, pairs in the same and the reverse
# order, distinct and repeating: sxir/hoist/<pass>/<shape>/<order>/<kinds>/<n>.
# Each in a process of its own: the heap an earlier one leaves behind scatters the
# IR of a later one, which then takes up to three times as long.
for n in $hoist_sizes; do
    echo "hoisting, n = $n" >&2
    for workload in $("$bin/sxir_bench" --benchmark_list_tests \
        --benchmark_filter="^sxir/hoist/[a-z]+/[a-z]+/[a-z]+/[a-z]+/$n/"); do
        workload=${workload%/iterations:*}
        run sxir "$(echo "$workload" | tr / -)" "^$workload/" "${aggregate[@]}"
    done
done

cpu=$(grep -m1 '^model name' /proc/cpuinfo | sed 's/^model name[[:space:]]*:[[:space:]]*//')
commit=$(git describe --always --dirty 2>/dev/null || echo unknown)
echo "## sxir compared with Halide 14 and LLVM 14"
echo
echo "- machine: $(nproc) cores, ${cpu:-unknown CPU}"
echo "- date: $(date -u '+%Y-%m-%d %H:%M UTC')"
echo "- commit: $commit"
echo "- medians of $repetitions repetitions of CPU time; each repetition handles at least 100,000 statements"
echo
python3 bench/compare_table.py "$out" "$sizes" "$hoist_sizes"
