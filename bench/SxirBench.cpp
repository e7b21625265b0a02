// Speed and memory of sxir on the shared workload (see Workload.hpp): building a
// function body through the client API, printing it, comparing two bodies,
// cloning the function into another context, destroying it, the bytes a statement
// takes, running it, hashing its statements, verifying it, emitting it as C, and
// both hoisting passes on ifs of n pairs of assignments.
//
// Everything runs on the calling thread's ordinary stack: the library walks
// statements and expressions with explicit stacks and must not need more.
#include "bench/Workload.hpp"

#include "ir/sxir.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using sxir::Expression;

sxir::ThrowingRuntimeEnvironment const& environment()
{
    static sxir::ThrowingRuntimeEnvironment const env;
    return env;
}

std::unique_ptr<sxir::Context> newContext()
{
    return std::unique_ptr<sxir::Context>(sxir::Context::create(environment()));
}

sxir::Module& addModule(sxir::Context& context, char const* name)
{
    return *context.getGlobalScope().addScopeItem<sxir::Module>(name);
}

/// A function without parameters and with the locals v0..v63, all real_T.
sxir::Function& addFunction(sxir::Module& module, std::string const& name)
{
    sxir::Context const& context = module.getContext();
    sxir::FunctionSignature const signature(context);
    auto* function = module.getModuleScope().addScopeItem<sxir::Function>(name);
    function->setSignature(signature);
    sxir::Scope& locals = function->getFunctionScope(sxir::FunctionScopeType::Local);
    auto const& real = context.getBuiltinType(sxu::DataTypeId::Real);
    for (unsigned i = 0; i < bench::kLocals; ++i) {
        locals.addScopeItem<sxir::Variable>(bench::localName(i))->setType(real);
    }
    return *function;
}

/// Handles on the locals, made once per body as a client would.
std::vector<Expression> localsOf(sxir::Function const& function)
{
    std::vector<Expression> v;
    v.reserve(bench::kLocals);
    for (unsigned i = 0; i < bench::kLocals; ++i) {
        v.emplace_back(*function(bench::localName(i)));
    }
    return v;
}

/// Appends statements first..last-1 of the workload to the function of `v`.
void writeStatements(std::vector<Expression> const& v, long first, long last)
{
    for (long k = first; k < last; ++k) {
        bench::Shape const s = bench::shapeOf(static_cast<unsigned long>(k));
        *v[s.target] = ((v[s.a] + v[s.b]) * v[s.c]) - v[s.d];
    }
}

/// A context with one module "m" holding `count` functions f0.. of `size` statements each.
struct Bodies {
    std::unique_ptr<sxir::Context> context;
    sxir::Module* module = nullptr;
    std::vector<sxir::Function*> functions;

    Bodies(long count, long size) : context(newContext()), module(&addModule(*context, "m"))
    {
        for (long i = 0; i < count; ++i) {
            sxir::Function& function = addFunction(*module, "f" + std::to_string(i));
            writeStatements(localsOf(function), 0, size);
            functions.push_back(&function);
        }
    }
};

// What each workload times is one function named measured*, kept out of line, so
// that a profiler can collect exactly that, e.g.
//     valgrind --tool=callgrind --toggle-collect='*measuredPrint*' sxir_bench --benchmark_filter=...
#define SXIR_BENCH_MEASURED __attribute__((noinline))

/// The two lists compared statement by statement.
SXIR_BENCH_MEASURED bool measuredEquivalence(sxu::list<sxir::Statement*> const& a, sxu::list<sxir::Statement*> const& b)
{
    if (a.size() != b.size()) {
        return false;
    }
    for (auto left = a.begin(), right = b.begin(); left != a.end(); ++left, ++right) {
        if (!(*left)->isEquivalent(**right)) {
            return false;
        }
    }
    return true;
}

SXIR_BENCH_MEASURED void measuredBuild(std::vector<std::vector<Expression>> const& locals, long size)
{
    for (auto const& v : locals) {
        writeStatements(v, 0, size);
    }
}

SXIR_BENCH_MEASURED std::size_t measuredPrint(std::vector<sxir::Function*> const& functions)
{
    std::size_t length = 0;
    for (sxir::Function const* function : functions) {
        std::string const text = function->asString();
        benchmark::DoNotOptimize(text.data());
        length = text.size();
    }
    return length;
}

SXIR_BENCH_MEASURED std::size_t measuredEmit(sxir::Module const& module)
{
    sxir::CCode const code = sxir::CEmitter().emit(module);
    benchmark::DoNotOptimize(code.source.data());
    return code.source.size();
}

SXIR_BENCH_MEASURED void measuredClone(sxir::Scope& target, std::vector<sxir::Function*> const& functions)
{
    for (sxir::Function const* function : functions) {
        benchmark::DoNotOptimize(target.copyGenericItemIn(*function));
    }
}

SXIR_BENCH_MEASURED void measuredDestroy(std::unique_ptr<sxir::Context>& context)
{
    context.reset();
}

SXIR_BENCH_MEASURED double measuredRun(sxir::Interpreter& interpreter, sxir::Function const& function,
                                       std::vector<sxir::Value> const& inputs)
{
    return interpreter.run(function, inputs).front().getElement(0);
}

SXIR_BENCH_MEASURED void measuredPrepare(sxir::Interpreter& interpreter, sxir::Function const& function)
{
    interpreter.prepare(function);
}

SXIR_BENCH_MEASURED std::uint64_t measuredHash(std::vector<sxir::Function*> const& functions)
{
    std::uint64_t combined = 0;
    for (sxir::Function const* function : functions) {
        for (sxir::Statement const* statement : function->getStatements().getStatementList()) {
            combined += sxir::structuralHash(*statement);
        }
    }
    return combined;
}

SXIR_BENCH_MEASURED std::size_t measuredVerify(std::vector<sxir::Function*> const& functions)
{
    std::size_t found = 0;
    for (sxir::Function const* function : functions) {
        found += sxir::Verifier().verify(*function).size();
    }
    return found;
}

void runBuild(benchmark::State& state, long size)
{
    long const count = bench::bodiesPerIteration(size);
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<sxir::Context> context = newContext();
        sxir::Module& module = addModule(*context, "m");
        std::vector<std::vector<Expression>> locals;
        for (long i = 0; i < count; ++i) {
            locals.push_back(localsOf(addFunction(module, "f" + std::to_string(i))));
        }
        state.ResumeTiming();
        measuredBuild(locals, size);
        state.PauseTiming();
        locals.clear();
        context.reset();
        state.ResumeTiming();
    }
    bench::setStatementCounters(state, count * size);
}

void runPrint(benchmark::State& state, long size)
{
    Bodies const& bodies = bench::reuse<Bodies>("print/" + std::to_string(size), [size] {
        return std::make_unique<Bodies>(bench::bodiesPerIteration(size), size);
    });
    std::size_t length = 0;
    for (auto _ : state) {
        length = measuredPrint(bodies.functions);
    }
    state.counters["bytes_per_stmt_text"] = static_cast<double>(length) / static_cast<double>(size);
    bench::setStatementCounters(state, static_cast<long>(bodies.functions.size()) * size);
}

void runEmit(benchmark::State& state, long size)
{
    Bodies const& bodies = bench::reuse<Bodies>("emit/" + std::to_string(size), [size] {
        return std::make_unique<Bodies>(bench::bodiesPerIteration(size), size);
    });
    long const count = static_cast<long>(bodies.functions.size());
    {
        // The last function's last statement, one C statement as written.
        bench::Shape const s = bench::shapeOf(static_cast<unsigned long>(size - 1));
        std::string const last = "    v" + std::to_string(s.target) + " = (((v" + std::to_string(s.a) + " + v" +
                                 std::to_string(s.b) + ") * v" + std::to_string(s.c) + ") - v" + std::to_string(s.d) +
                                 ");\n}\n";
        std::string const source = sxir::CEmitter().emit(*bodies.module).source;
        if (source.size() < last.size() || source.compare(source.size() - last.size(), last.size(), last) != 0 ||
            source.find("void f" + std::to_string(count - 1) + "(void)") == std::string::npos) {
            state.SkipWithError("the C text lacks the functions or their statements");
            return;
        }
    }
    std::size_t length = 0;
    for (auto _ : state) {
        length = measuredEmit(*bodies.module);
    }
    state.counters["bytes_per_stmt_text"] =
        static_cast<double>(length) / (static_cast<double>(count) * static_cast<double>(size));
    bench::setStatementCounters(state, count * size);
}

/// Pairs of independently built bodies over the same locals: the first of a pair
/// is built in a function and then moved to a list of its own, the second is
/// built in the function with fresh handles on the locals, so the two share no
/// expression node. (Variable references are equivalent only to references to
/// the very same variable, so both must use the same locals.)
struct BodyPairs {
    Bodies bodies;
    std::vector<std::unique_ptr<sxir::CompoundStatement>> firsts;

    BodyPairs(long count, long size) : bodies(count, size)
    {
        for (sxir::Function* function : bodies.functions) {
            firsts.emplace_back(new sxir::CompoundStatement(*function));
            auto& moved = firsts.back()->getStatementList();
            moved.splice(moved.end(), function->getStatements().getStatementList());
            writeStatements(localsOf(*function), 0, size);
        }
    }
};

void runEquivalence(benchmark::State& state, long size)
{
    BodyPairs const& pairs = bench::reuse<BodyPairs>("equivalence/" + std::to_string(size), [size] {
        return std::make_unique<BodyPairs>(bench::bodiesPerIteration(size), size);
    });
    long const count = static_cast<long>(pairs.firsts.size());
    for (auto _ : state) {
        for (long i = 0; i < count; ++i) {
            bool const same = measuredEquivalence(pairs.firsts[i]->getStatementList(),
                                                  pairs.bodies.functions[i]->getStatements().getStatementList());
            if (!same) {
                state.SkipWithError("the two bodies are not equivalent");
                return;
            }
        }
    }
    bench::setStatementCounters(state, count * size);
}

void runClone(benchmark::State& state, long size)
{
    Bodies const& bodies = bench::reuse<Bodies>("clone/" + std::to_string(size), [size] {
        return std::make_unique<Bodies>(bench::bodiesPerIteration(size), size);
    });
    {
        // The clone must print as its source does.
        std::unique_ptr<sxir::Context> other = newContext();
        sxir::Scope& target = addModule(*other, "copy").getModuleScope();
        sxir::Function const& source = *bodies.functions.front();
        if (target.copyGenericItemIn(source)->asString() != source.asString()) {
            state.SkipWithError("the clone differs from its source");
            return;
        }
    }
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<sxir::Context> other = newContext();
        sxir::Scope& target = addModule(*other, "copy").getModuleScope();
        state.ResumeTiming();
        measuredClone(target, bodies.functions);
        state.PauseTiming();
        other.reset();
        state.ResumeTiming();
    }
    bench::setStatementCounters(state, static_cast<long>(bodies.functions.size()) * size);
}

void runDestroy(benchmark::State& state, long size)
{
    long const count = bench::bodiesPerIteration(size);
    for (auto _ : state) {
        state.PauseTiming();
        auto* bodies = new Bodies(count, size);
        state.ResumeTiming();
        // Deleting the context deletes its module, the functions and their bodies.
        measuredDestroy(bodies->context);
        state.PauseTiming();
        delete bodies;
        state.ResumeTiming();
    }
    bench::setStatementCounters(state, count * size);
}

void runMemory(benchmark::State& state, long size)
{
    // Meant as the first build of a fresh process: the allocator's pools then hold
    // no free blocks, so what the C heap hands out is what the body needs.
    for (auto _ : state) {
        std::unique_ptr<sxir::Context> context = newContext();
        sxir::Function& function = addFunction(addModule(*context, "m"), "f");
        std::vector<Expression> const v = localsOf(function);
        long const poolBefore = sxu::Allocate::getStatistics().bytesInUse;
        long const heapBefore = bench::mallocBytesInUse();
        writeStatements(v, 0, size);
        long const poolAfter = sxu::Allocate::getStatistics().bytesInUse;
        long const heapAfter = bench::mallocBytesInUse();
        state.counters["alloc_bytes_per_stmt"] =
            static_cast<double>(poolAfter - poolBefore) / static_cast<double>(size);
        state.counters["malloc_bytes_per_stmt"] =
            static_cast<double>(heapAfter - heapBefore) / static_cast<double>(size);
        state.PauseTiming();
        context.reset();
        state.ResumeTiming();
    }
}

/// The workload as a function that can run: the input x of 64 reals sets the locals
/// first, the statements follow, and the output y (64 reals) takes the locals at the end.
struct RunnableBody {
    std::unique_ptr<sxir::Context> context = newContext();
    sxir::Function* function = nullptr;
    std::vector<sxir::Value> inputs;

    explicit RunnableBody(long size)
    {
        sxir::Context const& ctx = *context;
        sxir::MatrixType const vector(ctx, sxu::DataTypeId::Real, sxu::Dimension(bench::kLocals, 1));
        sxir::FunctionSignature signature(ctx);
        signature.addInput("x").setType(vector);
        signature.addOutput("y").setType(vector);
        function = addModule(*context, "m").getModuleScope().addScopeItem<sxir::Function>("workload");
        function->setSignature(signature);
        sxir::Scope& locals = function->getFunctionScope(sxir::FunctionScopeType::Local);
        for (unsigned i = 0; i < bench::kLocals; ++i) {
            locals.addScopeItem<sxir::Variable>(bench::localName(i))->setType(ctx.getBuiltinType(sxu::DataTypeId::Real));
        }
        std::vector<Expression> const v = localsOf(*function);
        Expression const x = function->expression("x"), y = function->expression("y");
        std::vector<double> values;
        for (unsigned i = 0; i < bench::kLocals; ++i) {
            *v[i] = x(static_cast<int>(i));
            values.push_back(bench::initialValue(i));
        }
        writeStatements(v, 0, size);
        for (unsigned i = 0; i < bench::kLocals; ++i) {
            *y(static_cast<int>(i)) = v[i];
        }
        inputs.emplace_back(sxu::DataTypeId::Real, sxu::Dimension(bench::kLocals, 1), values);
    }
};

void runRun(benchmark::State& state, long size)
{
    RunnableBody const& body = bench::reuse<RunnableBody>("run/" + std::to_string(size), [size] {
        return std::make_unique<RunnableBody>(size);
    });
    long const count = bench::bodiesPerIteration(size);
    sxir::Interpreter interpreter(*body.context);
    // The run computes what the same arithmetic in C++ computes, to the bit.
    std::vector<sxir::Value> const outputs = interpreter.run(*body.function, body.inputs);
    if (outputs.size() != 1 || !bench::sameLocals(outputs[0].getElements().data(), bench::expectedLocals(size))) {
        state.SkipWithError("the run computes otherwise than the reference");
        return;
    }
    for (auto _ : state) {
        for (long i = 0; i < count; ++i) {
            benchmark::DoNotOptimize(measuredRun(interpreter, *body.function, body.inputs));
        }
    }
    bench::setStatementCounters(state, count * size);
}

void runPrepare(benchmark::State& state, long size)
{
    RunnableBody const& body = bench::reuse<RunnableBody>("run/" + std::to_string(size),
                                                          [size] { return std::make_unique<RunnableBody>(size); });
    long const count = bench::bodiesPerIteration(size);
    for (auto _ : state) {
        for (long i = 0; i < count; ++i) {
            state.PauseTiming();
            auto interpreter = std::make_unique<sxir::Interpreter>(*body.context);
            state.ResumeTiming();
            measuredPrepare(*interpreter, *body.function);
            state.PauseTiming();
            interpreter.reset();
            state.ResumeTiming();
        }
    }
    bench::setStatementCounters(state, count * size);
}

void runHash(benchmark::State& state, long size)
{
    Bodies const& bodies = bench::reuse<Bodies>("hash/" + std::to_string(size), [size] {
        return std::make_unique<Bodies>(bench::bodiesPerIteration(size), size);
    });
    for (auto _ : state) {
        benchmark::DoNotOptimize(measuredHash(bodies.functions));
    }
    bench::setStatementCounters(state, static_cast<long>(bodies.functions.size()) * size);
}

void runVerify(benchmark::State& state, long size)
{
    Bodies const& bodies = bench::reuse<Bodies>("verify/" + std::to_string(size), [size] {
        return std::make_unique<Bodies>(bench::bodiesPerIteration(size), size);
    });
    for (auto _ : state) {
        if (measuredVerify(bodies.functions) != 0) {
            state.SkipWithError("the verifier finds faults in the workload");
            return;
        }
    }
    bench::setStatementCounters(state, static_cast<long>(bodies.functions.size()) * size);
}

/// The hoisting workloads: which pass, and the if it is given.
struct HoistWorkload {
    bool safe;     // SafeCodeHoistor, else CodeHoistor
    bool nested;   // the assignments sit in an if nested in each branch
    bool reverse;  // the false branch holds them in the reverse order
    bool distinct; // all differ, else they repeat every 64
};

/// Statement k of a hoisting workload: v[k%64] = v[(7k)%64] + k, all different, or the
/// workload's statement k, which repeats every 64.
void writeHoistStatement(std::vector<Expression> const& v, long k, bool distinct)
{
    bench::Shape const s = bench::shapeOf(static_cast<unsigned long>(k));
    if (distinct) {
        *v[s.target] = v[s.a] + static_cast<double>(k);
    } else {
        *v[s.target] = ((v[s.a] + v[s.b]) * v[s.c]) - v[s.d];
    }
}

/// One if (c>0) whose true branch holds statements 0..n-1 and whose false branch the same,
/// in the same or the reverse order. Nested, each branch holds instead an if (c>1) that holds
/// them in both of its branches: they come out of it one by one, and in the reverse order the
/// partner of each is the last to come out of the other branch. No statement writes the local
/// c, so the conditions let the safe pass move what else it may.
void writeHoistable(sxir::Function& function, long n, HoistWorkload const& workload)
{
    std::vector<Expression> const v = localsOf(function);
    sxir::Variable& c = *function.getFunctionScope(sxir::FunctionScopeType::Local).addScopeItem<sxir::Variable>("c");
    c.setType(function.getContext().getBuiltinType(sxu::DataTypeId::Real));
    auto const branch = [&](bool reverse) {
        auto const statements = [&] {
            for (long i = 0; i < n; ++i) {
                writeHoistStatement(v, reverse ? n - 1 - i : i, workload.distinct);
            }
        };
        if (!workload.nested) {
            statements();
            return;
        }
        function.If(Expression(c) > 1.0);
        statements();
        function.Else();
        statements();
        function.End();
    };
    function.If(Expression(c) > 0.0);
    branch(false);
    function.Else();
    branch(workload.reverse);
    function.End();
}

SXIR_BENCH_MEASURED void measuredHoist(std::vector<sxir::Module*> const& modules, bool safe)
{
    for (sxir::Module* module : modules) {
        if (safe) {
            sxir::SafeCodeHoistor().analyze(*module);
        } else {
            sxir::CodeHoistor().analyze(*module);
        }
    }
}

/// Whether the pass did what it must: the literal one hoists every assignment; so does the
/// safe one when the branches agree in order (in the reverse order, what stands before a
/// partner may keep it where it is).
bool hoistedAsExpected(sxir::Module const& module, long n, HoistWorkload const& workload)
{
    auto const& body =
        static_cast<sxir::Function const*>(module.getModuleScope().getGenericScopeItem(0))->getStatements();
    long assignments = 0;
    for (sxir::Statement const* statement : body.getStatementList()) {
        assignments += statement->getStatementType() == sxir::StatementType::Assignment;
    }
    return (workload.safe && workload.reverse) || assignments == n;
}

void runHoist(benchmark::State& state, long n, HoistWorkload const& workload)
{
    // Several modules of one function each when n is small; each is one analyze.
    long const count = bench::bodiesPerIteration(n);
    bool checked = false;
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<sxir::Context> context = newContext();
        std::vector<sxir::Module*> modules;
        for (long i = 0; i < count; ++i) {
            modules.push_back(&addModule(*context, ("m" + std::to_string(i)).c_str()));
            writeHoistable(addFunction(*modules.back(), "f"), n, workload);
        }
        state.ResumeTiming();
        measuredHoist(modules, workload.safe);
        state.PauseTiming();
        if (!checked && !hoistedAsExpected(*modules.front(), n, workload)) {
            state.SkipWithError("hoisting left something behind");
            return;
        }
        checked = true;
        context.reset();
        state.ResumeTiming();
    }
    state.counters["ms_per_analyze"] =
        benchmark::Counter(static_cast<double>(count) * static_cast<double>(state.iterations()) / 1e3,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    bench::setStatementCounters(state, count * n);
}

/// sxir/hoist/<pass>/<shape>/<order>/<kinds>/<n> for every combination.
void registerHoisting()
{
    for (bool safe : {false, true}) {
        for (bool nested : {false, true}) {
            for (bool reverse : {false, true}) {
                for (bool distinct : {true, false}) {
                    HoistWorkload const workload{safe, nested, reverse, distinct};
                    std::string const name = std::string("hoist/") + (safe ? "safe" : "literal") + "/" +
                                             (nested ? "nested" : "flat") + "/" + (reverse ? "reverse" : "same") + "/" +
                                             (distinct ? "distinct" : "repeating");
                    bench::registerWorkload(
                        "sxir", name.c_str(), bench::kHoistSizes,
                        sizeof bench::kHoistSizes / sizeof bench::kHoistSizes[0],
                        [workload](benchmark::State& state, long n) { runHoist(state, n, workload); });
                }
            }
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    bench::registerWorkloads("sxir", {runBuild, runPrint, runEquivalence, runClone, runDestroy, runMemory});
    bench::registerSizes("sxir", "run", runRun);
    bench::registerSizes("sxir", "prepare", runPrepare);
    bench::registerSizes("sxir", "hash", runHash);
    bench::registerSizes("sxir", "verify", runVerify);
    bench::registerSizes("sxir", "emit", runEmit);
    registerHoisting();
    return bench::runBenchmarks(argc, argv);
}
