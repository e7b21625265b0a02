// The benchmark workload, identical for sxir and its peers: what statement k of a
// body is, the sizes measured, how many bodies one iteration handles, and how
// memory and time per statement are reported.
#pragma once

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace bench {

/// Every body uses 64 real_T (double) locals v0..v63.
constexpr unsigned kLocals = 64;

/// Statement k is v[target] = ((v[a] + v[b]) * v[c]) - v[d].
struct Shape {
    unsigned target, a, b, c, d;
};

inline Shape shapeOf(unsigned long k)
{
    return Shape{static_cast<unsigned>(k % kLocals), static_cast<unsigned>((7 * k) % kLocals),
                 static_cast<unsigned>((13 * k + 1) % kLocals), static_cast<unsigned>((29 * k + 2) % kLocals),
                 static_cast<unsigned>((31 * k + 3) % kLocals)};
}

/// Where a body is run, local i starts with this value: small (at most 1e-4) and
/// of both signs, so that every result stays a finite normal number through a
/// million statements and its bits depend on every operand.
inline double initialValue(unsigned i)
{
    return (static_cast<double>((37 * i) % kLocals) - 31.5) / 31.5 * 1e-4;
}

inline void setInitialValues(double* v)
{
    for (unsigned i = 0; i < kLocals; ++i) {
        v[i] = initialValue(i);
    }
}

/// Runs statements 0..size-1 on v[0..63] in C++: what any run of a body of
/// `size` statements must compute from the same values, bit for bit.
inline void runReference(double* v, long size)
{
    for (long k = 0; k < size; ++k) {
        Shape const s = shapeOf(static_cast<unsigned long>(k));
        v[s.target] = ((v[s.a] + v[s.b]) * v[s.c]) - v[s.d];
    }
}

/// The locals after a run of a body of `size` statements from the initial values.
inline std::array<double, kLocals> expectedLocals(long size)
{
    std::array<double, kLocals> v;
    setInitialValues(v.data());
    runReference(v.data(), size);
    return v;
}

/// Whether v[0..63] holds the same bits as `expected`.
inline bool sameLocals(double const* v, std::array<double, kLocals> const& expected)
{
    return std::memcmp(v, expected.data(), sizeof expected) == 0;
}

inline std::string localName(unsigned i)
{
    return "v" + std::to_string(i);
}

/// Statements per body.
constexpr long kSizes[] = {1000, 10000, 100000, 1000000};
/// Assignments per branch of the if statements that hoisting empties.
constexpr long kHoistSizes[] = {1000, 10000, 100000};

/// One iteration handles at least this many statements: small bodies come several
/// at a time, so that timer resolution and per-iteration overhead do not matter.
/// A repetition is one iteration; the script takes medians over repetitions.
constexpr long kStatementsPerIteration = 100000;

inline long bodiesPerIteration(long size)
{
    return size >= kStatementsPerIteration ? 1 : (kStatementsPerIteration + size - 1) / size;
}

/// Bytes the C heap has handed out and not taken back: the small-block arena
/// plus the blocks it mapped directly. Measured the same way for every library.
inline long mallocBytesInUse()
{
    struct mallinfo2 const info = mallinfo2();
    return static_cast<long>(info.uordblks + info.hblkhd);
}

/// Reports the statements handled per iteration: items per second, and
/// "ns_per_stmt", the (CPU) time per statement in nanoseconds.
inline void setStatementCounters(benchmark::State& state, long statementsPerIteration)
{
    double const statements = static_cast<double>(statementsPerIteration) * static_cast<double>(state.iterations());
    state.SetItemsProcessed(static_cast<long>(statements));
    // A rate of statements per 1e9 seconds, inverted: nanoseconds per statement.
    state.counters["ns_per_stmt"] =
        benchmark::Counter(statements / 1e9, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// Registers `run(state, size)` as "<library>/<workload>/<size>" for every size,
/// one iteration per repetition.
template <class Run>
void registerWorkload(char const* library, char const* workload, long const* sizes, unsigned long count, Run run)
{
    for (unsigned long i = 0; i < count; ++i) {
        long const size = sizes[i];
        std::string const name = std::string(library) + "/" + workload + "/" + std::to_string(size);
        auto* registered =
            benchmark::RegisterBenchmark(name.c_str(), [run, size](benchmark::State& state) { run(state, size); });
        registered->Unit(benchmark::kMillisecond)->Iterations(1);
    }
}

template <class Run>
void registerSizes(char const* library, char const* workload, Run run)
{
    registerWorkload(library, workload, kSizes, sizeof kSizes / sizeof kSizes[0], run);
}

/// The workloads every library runs, at every size.
using Run = void (*)(benchmark::State&, long);
struct Workloads {
    Run build;
    Run print;
    Run equivalence;
    Run clone;
    Run destroy;
    Run memory;
};

inline void registerWorkloads(char const* library, Workloads const& runs)
{
    registerSizes(library, "build", runs.build);
    registerSizes(library, "print", runs.print);
    registerSizes(library, "equivalence", runs.equivalence);
    registerSizes(library, "clone", runs.clone);
    registerSizes(library, "destroy", runs.destroy);
    registerSizes(library, "memory", runs.memory);
}

/// The input a workload built for one size (bodies to print, compare or clone),
/// kept across the repetitions of that workload and size. One input is kept at
/// a time: asking for another releases the previous one first.
struct ReusedInput {
    std::string key;
    std::shared_ptr<void> value;
};

inline ReusedInput& reusedInput()
{
    static ReusedInput slot;
    return slot;
}

/// The input under `key`, made by `make()` (a std::unique_ptr<T>) when it is not the one kept.
template <class T, class Make>
T& reuse(std::string const& key, Make make)
{
    ReusedInput& slot = reusedInput();
    if (slot.key != key || !slot.value) {
        slot.value.reset();
        slot.key.clear();
        slot.value = std::shared_ptr<T>(make().release());
        slot.key = key;
    }
    return *static_cast<T*>(slot.value.get());
}

/// The usual benchmark main, after the workloads are registered.
inline int runBenchmarks(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    // Inputs go while everything they depend on is still there.
    reusedInput() = ReusedInput();
    benchmark::Shutdown();
    return 0;
}

} // namespace bench
