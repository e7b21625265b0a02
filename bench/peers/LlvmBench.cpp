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
#include "bench/Workload.hpp"
#include "bench/peers/BigStack.hpp"

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

/// A function `void name()` whose entry block holds the allocas of the locals,
/// with a builder positioned after them.
struct Body {
    llvm::Function* function;
    std::vector<llvm::AllocaInst*> v;
    std::unique_ptr<llvm::IRBuilder<>> builder;

    Body(llvm::Module& module, std::string const& name)
    {
        auto* type = llvm::FunctionType::get(llvm::Type::getVoidTy(context()), false);
        function = llvm::Function::Create(type, llvm::Function::ExternalLinkage, name, module);
        auto* entry = llvm::BasicBlock::Create(context(), "entry", function);
        builder = std::make_unique<llvm::IRBuilder<>>(entry);
        for (unsigned i = 0; i < bench::kLocals; ++i) {
            v.push_back(builder->CreateAlloca(builder->getDoubleTy(), nullptr, bench::localName(i)));
        }
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
        b.CreateRetVoid();
    }
};

/// `count` functions f0.. of `size` statements each in `module`.
std::vector<llvm::Function*> buildBodies(llvm::Module& module, long count, long size)
{
    std::vector<llvm::Function*> functions;
    for (long i = 0; i < count; ++i) {
        Body body(module, "f" + std::to_string(i));
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

} // namespace

int main(int argc, char** argv)
{
    bench::registerWorkloads("llvm", {runBuild, runPrint, runEquivalence, runClone, runDestroy, runMemory});
    return bench::runOnBigStack([&] { return bench::runBenchmarks(argc, argv); });
}
