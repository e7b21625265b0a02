// The shared workload (see ../Workload.hpp) on Halide 14's IR.
//
// Halide has no mutable scalar locals, so the closest honest analogue of the
// assignment v7 = ((v1 + v2) * v3) - v4 is a Store into the one-element buffer v7
// (index 0, always-true predicate), which is what Halide itself lowers a scalar
// function into; the operands are Variables of type Float(64), as reads of
// scalars are. A body is the sequence of its Stores, built into nested Blocks by
// Block::make. The index 0 and the predicate are shared by the Stores of a body,
// since they have no counterpart in the other libraries; each body makes its own
// Variables once and shares them between its statements, as a body in sxir shares
// the handles on its locals.
//
// Printing is operator<< into a std::ostringstream; comparison is
// Halide::Internal::equal on the two bodies; copying is a full rebuild through
// substitute, replacing every variable by a fresh one so that every node above
// the leaves is made anew; destruction is dropping the last reference.
//
// Emitting C is Halide's C code generator (CodeGen_C, C implementation) writing
// a Module into a std::ostringstream; the module holds one function per body,
// without arguments, whose body is the body's Block chain as built above.
#include "bench/Workload.hpp"
#include "bench/peers/BigStack.hpp"

#include <Halide.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Halide::Expr;
using Halide::Internal::Stmt;
namespace hi = Halide::Internal;

/// The 64 locals of a body, as Float(64) variables, and the names of their buffers.
struct Locals {
    std::vector<Expr> v;
    std::vector<std::string> names;

    explicit Locals(char const* prefix = "v")
    {
        for (unsigned i = 0; i < bench::kLocals; ++i) {
            names.push_back(prefix + std::to_string(i));
            v.push_back(hi::Variable::make(Halide::Float(64), names.back()));
        }
    }
};

Stmt buildBody(Locals const& locals, long size)
{
    auto const& v = locals.v;
    Expr const index = 0;
    Expr const always = hi::const_true();
    std::vector<Stmt> statements;
    statements.reserve(static_cast<std::size_t>(size));
    for (long k = 0; k < size; ++k) {
        bench::Shape const s = bench::shapeOf(static_cast<unsigned long>(k));
        Expr const value = hi::Sub::make(hi::Mul::make(hi::Add::make(v[s.a], v[s.b]), v[s.c]), v[s.d]);
        statements.push_back(
            hi::Store::make(locals.names[s.target], value, index, hi::Parameter(), always, hi::ModulusRemainder()));
    }
    return hi::Block::make(statements);
}

std::vector<Stmt> buildBodies(long count, long size)
{
    std::vector<Stmt> bodies;
    for (long i = 0; i < count; ++i) {
        bodies.push_back(buildBody(Locals(), size));
    }
    return bodies;
}

/// The bodies of `size` statements a workload uses, kept across its repetitions.
std::vector<Stmt> const& reusedBodies(char const* workload, long size)
{
    return bench::reuse<std::vector<Stmt>>(workload + ("/" + std::to_string(size)), [size] {
        return std::make_unique<std::vector<Stmt>>(buildBodies(bench::bodiesPerIteration(size), size));
    });
}

void runBuild(benchmark::State& state, long size)
{
    long const count = bench::bodiesPerIteration(size);
    std::vector<Stmt> bodies;
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<Locals> const locals(static_cast<std::size_t>(count));
        state.ResumeTiming();
        for (Locals const& each : locals) {
            bodies.push_back(buildBody(each, size));
        }
        state.PauseTiming();
        bodies.clear();
        state.ResumeTiming();
    }
    bench::setStatementCounters(state, count * size);
}

void runPrint(benchmark::State& state, long size)
{
    std::vector<Stmt> const& bodies = reusedBodies("print", size);
    std::size_t length = 0;
    for (auto _ : state) {
        for (Stmt const& body : bodies) {
            std::ostringstream stream;
            stream << body;
            std::string const text = stream.str();
            benchmark::DoNotOptimize(text.data());
            length = text.size();
        }
    }
    state.counters["bytes_per_stmt_text"] = static_cast<double>(length) / static_cast<double>(size);
    bench::setStatementCounters(state, static_cast<long>(bodies.size()) * size);
}

void runEquivalence(benchmark::State& state, long size)
{
    // Two bodies built one after the other: no node is shared between them.
    long const count = bench::bodiesPerIteration(size);
    auto const& pairs = bench::reuse<std::vector<Stmt>>("equivalence/" + std::to_string(size), [count, size] {
        auto both = std::make_unique<std::vector<Stmt>>(buildBodies(count, size));
        for (Stmt& second : buildBodies(count, size)) {
            both->push_back(std::move(second));
        }
        return both;
    });
    Stmt const* firsts = pairs.data();
    Stmt const* seconds = pairs.data() + count;
    for (auto _ : state) {
        for (long i = 0; i < count; ++i) {
            if (!hi::equal(firsts[i], seconds[i])) {
                state.SkipWithError("the two bodies are not equal");
                return;
            }
        }
    }
    bench::setStatementCounters(state, count * size);
}

void runClone(benchmark::State& state, long size)
{
    std::vector<Stmt> const& bodies = reusedBodies("clone", size);
    Locals const fresh("w");
    std::map<std::string, Expr> replacements;
    for (unsigned i = 0; i < bench::kLocals; ++i) {
        replacements.emplace(bench::localName(i), fresh.v[i]);
    }
    std::vector<Stmt> copies;
    for (auto _ : state) {
        for (Stmt const& body : bodies) {
            copies.push_back(hi::substitute(replacements, body));
        }
        state.PauseTiming();
        if (copies.front().same_as(bodies.front())) {
            state.SkipWithError("substitute rebuilt nothing");
            return;
        }
        copies.clear();
        state.ResumeTiming();
    }
    bench::setStatementCounters(state, static_cast<long>(bodies.size()) * size);
}

void runDestroy(benchmark::State& state, long size)
{
    long const count = bench::bodiesPerIteration(size);
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<Stmt> bodies = buildBodies(count, size);
        state.ResumeTiming();
        bodies.clear();
    }
    bench::setStatementCounters(state, count * size);
}

/// A module "m" with the functions f0.. whose bodies are the bodies of `size`
/// statements, kept across repetitions.
Halide::Module const& reusedModule(long size)
{
    return bench::reuse<Halide::Module>("emit/" + std::to_string(size), [size] {
        auto module = std::make_unique<Halide::Module>("m", Halide::get_host_target());
        std::vector<Stmt> const bodies = buildBodies(bench::bodiesPerIteration(size), size);
        for (std::size_t i = 0; i < bodies.size(); ++i) {
            module->append(hi::LoweredFunc("f" + std::to_string(i), std::vector<hi::LoweredArgument>(), bodies[i],
                                           Halide::LinkageType::External));
        }
        return module;
    });
}

void runEmit(benchmark::State& state, long size)
{
    Halide::Module const& module = reusedModule(size);
    long const count = static_cast<long>(module.functions().size());
    std::size_t length = 0;
    for (auto _ : state) {
        std::ostringstream stream;
        {
            hi::CodeGen_C generator(stream, module.target(), hi::CodeGen_C::CImplementation);
            generator.compile(module);
        }
        std::string const text = stream.str();
        benchmark::DoNotOptimize(text.data());
        state.PauseTiming();
        // The last function, and the store of the last statement into its buffer,
        // as in "((double *)_v7)[0] = _2;".
        std::string const last =
            "_" + bench::localName(bench::shapeOf(static_cast<unsigned long>(size - 1)).target) + ")[0] = ";
        if (text.find(" f" + std::to_string(count - 1) + "()") == std::string::npos ||
            text.find(last) == std::string::npos) {
            state.SkipWithError("the C text lacks the functions or their statements");
            return;
        }
        length = text.size();
        state.ResumeTiming();
    }
    state.counters["bytes_per_stmt_text"] =
        static_cast<double>(length) / (static_cast<double>(count) * static_cast<double>(size));
    bench::setStatementCounters(state, count * size);
}

void runMemory(benchmark::State& state, long size)
{
    for (auto _ : state) {
        Locals const locals;
        long const before = bench::mallocBytesInUse();
        Stmt body = buildBody(locals, size);
        long const after = bench::mallocBytesInUse();
        state.counters["malloc_bytes_per_stmt"] = static_cast<double>(after - before) / static_cast<double>(size);
        state.PauseTiming();
        body = Stmt();
        state.ResumeTiming();
    }
}

} // namespace

int main(int argc, char** argv)
{
    bench::registerWorkloads("halide", {runBuild, runPrint, runEquivalence, runClone, runDestroy, runMemory});
    bench::registerSizes("halide", "emit", runEmit);
    return bench::runOnBigStack([&] { return bench::runBenchmarks(argc, argv); });
}
