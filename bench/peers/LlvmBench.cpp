// The shared workload (see ../Workload.hpp) on LLVM 14's IR.
//
// A body is one function `void f()` whose entry block allocates the 64 double
// locals (allocas, made before the timing starts) and then, per statement, loads
// the four operands, computes fadd, fmul and fsub, and stores the result; the
// block ends with `ret void`.
//
// Printing is Function::print into a raw_string_ostream; comparison is
// FunctionComparator on two functions built one after the other; copying is
// CloneFunctionInto a new function of another module. A module of another
// LLVMContext cannot be the target (types and constants belong to their
// context), so the copy goes to another module of the same context, which is as
// close to sxir's "another context" as LLVM's cloning goes; CloneFunction itself
// does the same work but into the source's own module. Destruction deletes the
// module that owns the function.
//
// Interpreting runs the body, as a function `void f(double* v)` whose locals
// start as v[0..63] and are stored back there at the end, on LLVM's interpreter
// (an ExecutionEngine of kind Interpreter): one runFunction per body. Creating
// the engine, which takes the module, is the one-time preparation, timed apart.
#include "bench/Workload.hpp"
#include "bench/peers/BigStack.hpp"

#include <llvm/ExecutionEngine/ExecutionEngine.h>
#include <llvm/ExecutionEngine/GenericValue.h>
#include <llvm/ExecutionEngine/Interpreter.h>
#include <llvm/IR/BasicBlock.h>
#include <llvm/IR/Function.h>
#include <llvm/IR/IRBuilder.h>
#include <llvm/IR/LLVMContext.h>
#include <llvm/IR/Module.h>
#include <llvm/Support/raw_ostream.h>
#include <llvm/Transforms/Utils/Cloning.h>
#include <llvm/Transforms/Utils/FunctionComparator.h>
#include <llvm/Transforms/Utils/ValueMapper.h>

#include <memory>
#include <string>
#include <vector>

namespace {

llvm::LLVMContext& context()
{
    static llvm::LLVMContext* const instance = new llvm::LLVMContext();
    return *instance;
}

std::unique_ptr<llvm::Module> newModule(char const* name)
{
    return std::make_unique<llvm::Module>(name, context());
}

/// What a body's function exchanges with its caller.
enum class Parameters {
    None,     ///< `void name()`
    LocalsIn  ///< `void name(double* v)`: the locals start as v[0..63] and end there
};

/// A function whose entry block holds the allocas of the locals (and, with
/// Parameters::LocalsIn, their initial values), with a builder positioned after them.
struct Body {
    llvm::Function* function;
    std::vector<llvm::AllocaInst*> v;
    std::unique_ptr<llvm::IRBuilder<>> builder;
    Parameters parameters;

    Body(llvm::Module& module, std::string const& name, Parameters parameters = Parameters::None)
        : parameters(parameters)
    {
        llvm::Type* const real = llvm::Type::getDoubleTy(context());
        std::vector<llvm::Type*> inputs;
        if (parameters == Parameters::LocalsIn) {
            inputs.push_back(real->getPointerTo());
        }
        auto* type = llvm::FunctionType::get(llvm::Type::getVoidTy(context()), inputs, false);
        function = llvm::Function::Create(type, llvm::Function::ExternalLinkage, name, module);
        auto* entry = llvm::BasicBlock::Create(context(), "entry", function);
        builder = std::make_unique<llvm::IRBuilder<>>(entry);
        for (unsigned i = 0; i < bench::kLocals; ++i) {
            v.push_back(builder->CreateAlloca(real, nullptr, bench::localName(i)));
        }
        if (parameters == Parameters::LocalsIn) {
            for (unsigned i = 0; i < bench::kLocals; ++i) {
                builder->CreateStore(builder->CreateLoad(real, element(i)), v[i]);
            }
        }
    }

    /// &v[i] of the parameter.
    llvm::Value* element(unsigned i)
    {
        return builder->CreateConstInBoundsGEP1_64(builder->getDoubleTy(), function->getArg(0), i);
    }

    void write(long size)
    {
        llvm::IRBuilder<>& b = *builder;
        llvm::Type* const real = b.getDoubleTy();
        for (long k = 0; k < size; ++k) {
            bench::Shape const s = bench::shapeOf(static_cast<unsigned long>(k));
            llvm::Value* const a = b.CreateLoad(real, v[s.a]);
            llvm::Value* const sum = b.CreateFAdd(a, b.CreateLoad(real, v[s.b]));
            llvm::Value* const product = b.CreateFMul(sum, b.CreateLoad(real, v[s.c]));
            llvm::Value* const difference = b.CreateFSub(product, b.CreateLoad(real, v[s.d]));
            b.CreateStore(difference, v[s.target]);
        }
        if (parameters == Parameters::LocalsIn) {
            for (unsigned i = 0; i < bench::kLocals; ++i) {
                b.CreateStore(b.CreateLoad(real, v[i]), element(i));
            }
        }
        b.CreateRetVoid();
    }
};

/// `count` functions f0.. of `size` statements each in `module`.
std::vector<llvm::Function*> buildBodies(llvm::Module& module, long count, long size,
                                         Parameters parameters = Parameters::None)
{
    std::vector<llvm::Function*> functions;
    for (long i = 0; i < count; ++i) {
        Body body(module, "f" + std::to_string(i), parameters);
        body.write(size);
        functions.push_back(body.function);
    }
    return functions;
}

/// A module with the bodies of `size` statements a workload uses, kept across its repetitions.
struct Bodies {
    std::unique_ptr<llvm::Module> module;
    std::vector<llvm::Function*> functions;
};

Bodies const& reusedBodies(char const* workload, long size, long count)
{
    return bench::reuse<Bodies>(workload + ("/" + std::to_string(size)), [size, count] {
        auto bodies = std::make_unique<Bodies>();
        bodies->module = newModule("m");
        bodies->functions = buildBodies(*bodies->module, count, size);
        return bodies;
    });
}

void runBuild(benchmark::State& state, long size)
{
    long const count = bench::bodiesPerIteration(size);
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<llvm::Module> module = newModule("m");
        std::vector<Body> bodies;
        for (long i = 0; i < count; ++i) {
            bodies.emplace_back(*module, "f" + std::to_string(i));
        }
        state.ResumeTiming();
        for (Body& body : bodies) {
            body.write(size);
        }
        state.PauseTiming();
        bodies.clear();
        module.reset();
        state.ResumeTiming();
    }
    bench::setStatementCounters(state, count * size);
}

void runPrint(benchmark::State& state, long size)
{
    std::vector<llvm::Function*> const& functions =
        reusedBodies("print", size, bench::bodiesPerIteration(size)).functions;
    std::size_t length = 0;
    for (auto _ : state) {
        for (llvm::Function const* function : functions) {
            std::string text;
            llvm::raw_string_ostream stream(text);
            function->print(stream);
            stream.flush();
            benchmark::DoNotOptimize(text.data());
            length = text.size();
        }
    }
    state.counters["bytes_per_stmt_text"] = static_cast<double>(length) / static_cast<double>(size);
    bench::setStatementCounters(state, static_cast<long>(functions.size()) * size);
}

void runEquivalence(benchmark::State& state, long size)
{
    // Functions 0..count-1 and count..2*count-1, built one after the other.
    long const count = bench::bodiesPerIteration(size);
    std::vector<llvm::Function*> const& functions = reusedBodies("equivalence", size, 2 * count).functions;
    llvm::Function* const* firsts = functions.data();
    llvm::Function* const* seconds = functions.data() + count;
    llvm::GlobalNumberState numbers;
    for (auto _ : state) {
        for (long i = 0; i < count; ++i) {
            llvm::FunctionComparator comparator(firsts[i], seconds[i], &numbers);
            if (comparator.compare() != 0) {
                state.SkipWithError("the two functions differ");
                return;
            }
        }
    }
    bench::setStatementCounters(state, count * size);
}

void runClone(benchmark::State& state, long size)
{
    std::vector<llvm::Function*> const& functions =
        reusedBodies("clone", size, bench::bodiesPerIteration(size)).functions;
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<llvm::Module> target = newModule("copy");
        state.ResumeTiming();
        for (llvm::Function const* function : functions) {
            llvm::Function* copy = llvm::Function::Create(function->getFunctionType(), function->getLinkage(),
                                                          function->getName(), *target);
            llvm::ValueToValueMapTy map;
            llvm::SmallVector<llvm::ReturnInst*, 1> returns;
            llvm::CloneFunctionInto(copy, function, map, llvm::CloneFunctionChangeType::DifferentModule, returns);
            benchmark::DoNotOptimize(copy);
        }
        state.PauseTiming();
        llvm::Function const& first = *target->begin();
        if (first.getInstructionCount() != functions.front()->getInstructionCount()) {
            state.SkipWithError("the copy differs from its source");
            return;
        }
        target.reset();
        state.ResumeTiming();
    }
    bench::setStatementCounters(state, static_cast<long>(functions.size()) * size);
}

void runDestroy(benchmark::State& state, long size)
{
    long const count = bench::bodiesPerIteration(size);
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<llvm::Module> module = newModule("m");
        buildBodies(*module, count, size);
        state.ResumeTiming();
        module.reset();
    }
    bench::setStatementCounters(state, count * size);
}

void runMemory(benchmark::State& state, long size)
{
    for (auto _ : state) {
        std::unique_ptr<llvm::Module> module = newModule("m");
        Body body(*module, "f");
        long const before = bench::mallocBytesInUse();
        body.write(size);
        long const after = bench::mallocBytesInUse();
        state.counters["malloc_bytes_per_stmt"] = static_cast<double>(after - before) / static_cast<double>(size);
        state.PauseTiming();
        module.reset();
        state.ResumeTiming();
    }
}

/// LLVM's interpreter over `module`; null, with the reason in `error`, when it cannot be made.
std::unique_ptr<llvm::ExecutionEngine> newInterpreter(std::unique_ptr<llvm::Module> module, std::string& error)
{
    return std::unique_ptr<llvm::ExecutionEngine>(llvm::EngineBuilder(std::move(module))
                                                      .setEngineKind(llvm::EngineKind::Interpreter)
                                                      .setErrorStr(&error)
                                                      .create());
}

/// One run of `function` (`void f(double* v)`) on the locals v[0..63].
void interpret(llvm::ExecutionEngine& engine, llvm::Function* function, double* v)
{
    llvm::GenericValue const argument = llvm::PTOGV(v);
    engine.runFunction(function, argument);
}

/// An interpreter over a module of bodies that take their locals, kept across repetitions.
struct Interpretation {
    std::string error;
    std::vector<llvm::Function*> functions;
    std::unique_ptr<llvm::ExecutionEngine> engine;
    bool checked = false;
};

void runInterpret(benchmark::State& state, long size)
{
    long const count = bench::bodiesPerIteration(size);
    Interpretation& interpretation = bench::reuse<Interpretation>("interpret/" + std::to_string(size), [count, size] {
        auto made = std::make_unique<Interpretation>();
        std::unique_ptr<llvm::Module> module = newModule("m");
        made->functions = buildBodies(*module, count, size, Parameters::LocalsIn);
        made->engine = newInterpreter(std::move(module), made->error);
        return made;
    });
    if (!interpretation.engine) {
        state.SkipWithError(("no interpreter: " + interpretation.error).c_str());
        return;
    }
    double v[bench::kLocals];
    if (!interpretation.checked) {
        // Every body computes what the same arithmetic in C++ computes.
        auto const expected = bench::expectedLocals(size);
        for (llvm::Function* function : interpretation.functions) {
            bench::setInitialValues(v);
            interpret(*interpretation.engine, function, v);
            if (!bench::sameLocals(v, expected)) {
                state.SkipWithError("the interpreter computed other values");
                return;
            }
        }
        interpretation.checked = true;
    }
    for (auto _ : state) {
        for (llvm::Function* function : interpretation.functions) {
            bench::setInitialValues(v);
            interpret(*interpretation.engine, function, v);
        }
        benchmark::DoNotOptimize(v);
    }
    bench::setStatementCounters(state, count * size);
}

void runInterpretPrepare(benchmark::State& state, long size)
{
    long const count = bench::bodiesPerIteration(size);
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<llvm::Module> module = newModule("m");
        buildBodies(*module, count, size, Parameters::LocalsIn);
        std::string error;
        state.ResumeTiming();
        std::unique_ptr<llvm::ExecutionEngine> engine = newInterpreter(std::move(module), error);
        state.PauseTiming();
        if (!engine) {
            state.SkipWithError(("no interpreter: " + error).c_str());
            return;
        }
        engine.reset();
        state.ResumeTiming();
    }
    bench::setStatementCounters(state, count * size);
}

} // namespace

int main(int argc, char** argv)
{
    bench::registerWorkloads("llvm", {runBuild, runPrint, runEquivalence, runClone, runDestroy, runMemory});
    bench::registerSizes("llvm", "interpret", runInterpret);
    bench::registerSizes("llvm", "interpret-prepare", runInterpretPrepare);
    return bench::runOnBigStack([&] { return bench::runBenchmarks(argc, argv); });
}
