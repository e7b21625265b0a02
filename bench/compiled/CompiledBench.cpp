// The benchmark workload (see ../Workload.hpp) compiled from C: for each variant
// of the C source, the time per statement of one call of its function
// `void <variant>_workload(double v[64])`, which runs a body on the locals
// v[0..63] in place. Each call starts from the same initial values; before the
// timing, one call is checked against the same arithmetic done in C++.
//
// The variants (SXIR_BENCH_C_VARIANTS, "X(handwritten) X(...)") and the number of
// statements (SXIR_BENCH_C_STATEMENTS) come from CMakeLists.txt beside this file.
#include "bench/Workload.hpp"

#include <array>
#include <cstring>

#if !defined(SXIR_BENCH_C_VARIANTS) || !defined(SXIR_BENCH_C_STATEMENTS)
#error "SXIR_BENCH_C_VARIANTS and SXIR_BENCH_C_STATEMENTS are defined by bench/compiled/CMakeLists.txt"
#endif

#define X(name) extern "C" void name##_workload(double* v);
SXIR_BENCH_C_VARIANTS
#undef X

namespace {

using Workload = void (*)(double*);

struct Variant {
    char const* name;
    Workload function;
};

#define X(name) {#name, name##_workload},
Variant const kVariants[] = {SXIR_BENCH_C_VARIANTS};
#undef X

constexpr long kStatements[] = {SXIR_BENCH_C_STATEMENTS};

/// Calls per iteration: a call takes microseconds, so one iteration makes many.
constexpr long kCallsPerIteration = 100;

void runVariant(benchmark::State& state, Workload function, long size)
{
    std::array<double, bench::kLocals> initial;
    bench::setInitialValues(initial.data());
    double v[bench::kLocals];
    std::memcpy(v, initial.data(), sizeof v);
    function(v);
    if (!bench::sameLocals(v, bench::expectedLocals(size))) {
        state.SkipWithError("the compiled function computed other values");
        return;
    }
    for (auto _ : state) {
        for (long i = 0; i < kCallsPerIteration; ++i) {
            std::memcpy(v, initial.data(), sizeof v);
            function(v);
            benchmark::DoNotOptimize(v);
        }
    }
    bench::setStatementCounters(state, kCallsPerIteration * size);
}

} // namespace

int main(int argc, char** argv)
{
    for (Variant const& variant : kVariants) {
        Workload const function = variant.function;
        bench::registerWorkload("c", variant.name, kStatements, sizeof kStatements / sizeof kStatements[0],
                                [function](benchmark::State& state, long size) { runVariant(state, function, size); });
    }
    return bench::runBenchmarks(argc, argv);
}
