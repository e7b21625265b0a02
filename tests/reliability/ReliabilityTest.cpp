// Reliability: allocation failures, inputs of extreme depth and length, and concurrent use.
#include "tests/support/IrFixture.hpp"

#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <thread>

namespace {

using sxir::AssignmentStatement;
using sxir::Expression;

class DeepInput : public sxir_test::IrTest {
protected:
    /// f(x) -> y, z, w: a million statements y=y+x, z = an expression a million deep, and w=1 inside
    /// ifs ten thousand deep.
    sxir::Function& writeDeepFunction()
    {
        sxir::Function& f = addFunction("f", {"x"}, {"y", "z", "w"});
        Expression const x = use(f, "x"), y = use(f, "y"), z = use(f, "z"), w = use(f, "w");
        for (int i = 0; i < 1000000; ++i) {
            *y = y + x;
        }
        Expression chain = x;
        for (int level = 0; level < 1000000; ++level) {
            chain = (level % 2 == 0 ? chain + x : -chain);
        }
        *z = chain;
        for (int level = 0; level < 10000; ++level) {
            f.If(x > static_cast<double>(level));
        }
        *w = 1.0;
        for (int level = 0; level < 10000; ++level) {
            f.End();
        }
        return f;
    }
};

/// The text of sample `name` as kept in tests/golden; empty when the file is missing.
std::string goldenText(std::string const& name)
{
    std::ifstream in(std::string(SXIR_GOLDEN_DIR) + "/" + name + ".txt", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

/// IR built step by step in a context of its own, and a second context to clone into.
struct Job {
    sxir_test::ThrowingEnvironment env;
    sxir_test::ContextPtr context = sxir_test::makeContext(env), target = sxir_test::makeContext(env);
    sxir::Module* module = nullptr;
    sxir::Function* f = nullptr;
    /// The first step not done.
    std::size_t next = 0;

    Expression in(char const* name) const { return Expression(*(*f)(name)); }
    std::string text() const
    {
        return context->getGlobalScope().asString("\n") + "\n--\n" + target->getGlobalScope().asString("\n");
    }
};

using Steps = std::vector<std::function<void(Job&)>>;

void advance(Steps const& steps, Job& job, std::size_t end)
{
    for (; job.next < end; ++job.next) {
        steps[job.next](job);
    }
}

/// Inputs for `function`: matrices count up from 1, scalars are 0, 1, 2 in turn (which picks valid indices).
std::vector<sxir::Value> countingInputs(sxir::Function const& function)
{
    std::vector<sxir::Value> inputs;
    sxir::Scope const& scope = function.getFunctionScope(sxir::FunctionScopeType::Input);
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        sxir::Type const& type = static_cast<sxir::Variable const*>(scope.getGenericScopeItem(i))->getType();
        std::vector<double> elements;
        for (unsigned long k = 0; k < type.getDimension().m() * type.getDimension().n(); ++k) {
            elements.push_back(type.isScalar() ? static_cast<double>(i % 3) : static_cast<double>(k + 1));
        }
        inputs.emplace_back(sxu::DataTypeId::Real, type.getDimension(), elements);
    }
    return inputs;
}

/// A catalog sample built, cloned into the second context, then both hoisted and printed; then its
/// last function run, twice by one interpreter.
Steps sampleSteps(std::string const& name)
{
    return {[name](Job& j) { j.module = sxir::TestCatalog::get()->createModule(name, *j.context); },
            [](Job& j) { j.target->getGlobalScope().copyGenericItemIn(*j.module); },
            [](Job& j) {
                sxir::CodeHoistor().analyze(*j.module);
                sxir::CodeHoistor().analyze(
                    static_cast<sxir::Module&>(*j.target->getGlobalScope().getGenericScopeItem(0)));
                j.text();
                sxir::CEmitter().emit(*j.module);
            },
            [](Job& j) {
                sxir::Scope& scope = j.module->getModuleScope();
                auto const& f = static_cast<sxir::Function&>(*scope.getGenericScopeItem(scope.getNumScopeItems() - 1));
                sxir::Interpreter interpreter(*j.context);
                std::vector<sxir::Value> const inputs = countingInputs(f);
                std::vector<sxir::Value> const first = interpreter.run(f, inputs);
                EXPECT_EQ(first.size(), 1u);
                EXPECT_EQ(interpreter.run(f, inputs), first);
            }};
}

// ---------------------------------------------------------------------------------------------------------
// Every allocation of an operation is made to fail in turn: the std::bad_alloc must reach the caller,
// nothing may leak, the contexts must go, and what existed before must stay usable.

/// Does steps [begin, end) of a fresh job, whose earlier steps are done, with allocation n failing for
/// n = 1, 2, ... until they succeed. After a failure what was built must print and, unless the first step
/// failed (which is not all or nothing), the steps must resume at the failed one and finish with `expected`.
/// Every byte taken since the job was made must be back once it and its contexts are gone. Adds the number
/// of failure points to `points`.
void sweep(Steps const& steps, std::size_t begin, std::size_t end, std::string const& expected, unsigned long& points)
{
    for (unsigned long n = 1;; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n) + " failing");
        long const before = sxu::Allocate::getStatistics().bytesInUse;
        bool failed = false;
        {
            Job job;
            advance(steps, job, begin);
            unsigned long const start = sxu::Allocate::getStatistics().allocations;
            sxu::AllocationFaults::failAt(n);
            try {
                advance(steps, job, end);
            } catch (std::bad_alloc const&) {
                failed = true;
            }
            sxu::AllocationFaults::failAt(0);
            // The failing allocation throws before it is counted.
            EXPECT_TRUE(failed || sxu::Allocate::getStatistics().allocations - start < n) << "failure swallowed";
            job.text();
            if (!failed || job.next > 0) {
                advance(steps, job, steps.size());
                EXPECT_EQ(job.text(), expected);
            }
        }
        EXPECT_EQ(sxu::Allocate::getStatistics().bytesInUse, before) << "memory leaked";
        if (!failed || ::testing::Test::HasFailure()) {
            points += n - 1;
            return;
        }
    }
}

TEST(AllocationFailures, EveryAllocationOfEachOperationFailsInTurn)
{
    if (!sxu::AllocationFaults::isAvailable()) {
        GTEST_SKIP() << "this build cannot inject allocation failures (SXIR_FAULT_INJECTION is off)";
    }
    // Each sample built, cloned, hoisted, printed and emitted as C, and run. No sample has an assignment that
    // both branches of an if perform, and text is held in standard strings: hoisting, printing and emitting
    // find no allocation to fail.
    unsigned long points[6] = {};
    for (std::string const& name : sxir::TestCatalog::get()->getEntryNames()) {
        SCOPED_TRACE(name);
        std::string const golden = goldenText(name);
        for (std::size_t step = 0; step < 4; ++step) {
            sweep(sampleSteps(name), step, step + 1, golden + "\n--\n" + golden, points[step == 3 ? 5 : step]);
        }
    }
    // f(a, b) written the way a client writes it, one public call per step, then hoisted: z=-b leaves the
    // inner if, then the outer one.
    Steps const steps = {
        [](Job& j) {
            sxir::FunctionSignature signature(*j.context);
            signature.addInput("a");
            signature.addInput("b");
            signature.addOutput("y");
            signature.addOutput("z");
            j.module = j.context->getGlobalScope().addScopeItem<sxir::Module>("module");
            j.f = j.module->getModuleScope().addScopeItem<sxir::Function>("f");
            j.f->setSignature(signature);
        },
        [](Job& j) { j.f->If(j.in("a") > j.in("b")); },
        [](Job& j) { *j.in("y") = (j.in("f") << j.in("a") << j.in("b")); },
        [](Job& j) { j.f->If(j.in("b") < 0.0); },
        [](Job& j) { *j.in("z") = -j.in("b"); },
        [](Job& j) { j.f->Else(); },
        [](Job& j) { *j.in("z") = -j.in("b"); },
        [](Job& j) { *j.in("y") = sxir::sqrt(j.in("b")); },
        [](Job& j) { j.f->End(); },
        [](Job& j) { j.f->Else(); },
        [](Job& j) { *j.in("z") = -j.in("b"); },
        [](Job& j) { *j.in("y") = (j.in("f") << j.in("b") << j.in("a")) + sxir::call(j.in("f")); },
        [](Job& j) { j.f->End(); },
        [](Job& j) { sxir::CodeHoistor().analyze(*j.module); },
    };
    std::string const hoisted = "function [boolean_T y, boolean_T z] = f(boolean_T a, boolean_T b)\n    z=-b\n"
                                "    if (a>b)\n    y=f(a,b)\n    if (b<0)\nelse\n    y=sqrt(b)\nend\n\n"
                                "else\n    y=(f(b,a)+f((nil),(nil)))\nend\n\nend\n--\n";
    sweep(steps, 0, steps.size() - 1, hoisted, points[3]);
    sweep(steps, steps.size() - 1, steps.size(), hoisted, points[4]);
    std::cout << "allocation failure points: building " << points[0] << ", cloning " << points[1]
              << ", hoisting, printing and emitting " << points[2] << ", running " << points[5] << ", writing " << points[3]
              << ", hoisting " << points[4] << "; in total "
              << points[0] + points[1] + points[2] + points[3] + points[4] + points[5] << "\n";
}

// ---------------------------------------------------------------------------------------------------------
// Generated code far deeper and longer than hand-written code, on the main thread's default stack: no
// operation may recurse with its depth. Texts are compared with EXPECT_TRUE(a == b), so that a failure
// does not print megabytes.

TEST_F(DeepInput, AMillionStatementsIfsTenThousandDeepAndAnExpressionAMillionDeep)
{
    unsigned long const chainDepth = 1000000, statementCount = 1000000, nestingDepth = 10000;
    sxir::Function& f = addFunction("f", {"x", "c"}, {"y"});
    Expression x = use(f, "x"), c = use(f, "c"), y = use(f, "y");
    // sqrt(-(...sqrt(-((x+x)))...+x)): a binary, a unary and a function form in turn, each holding the
    // level below as its first operand.
    auto chain = [&](Expression e) {
        for (unsigned long level = 0; level < chainDepth; ++level) {
            e = level % 3 == 0 ? e + x : level % 3 == 1 ? -e : sxir::sqrt(e);
        }
        return e;
    };
    // Its text: what opens each level is gathered backwards, then reversed.
    std::string open, close;
    for (unsigned long level = 0; level < chainDepth; ++level) {
        open += level % 3 == 0 ? "(" : level % 3 == 1 ? "-" : "(trqs";
        close += level % 3 == 0 ? "+x)" : level % 3 == 1 ? "" : ")";
    }
    std::string const line = "    y=" + std::string(open.rbegin(), open.rend()) + "x" + close + "\n";
    // Twice: if (c>0) { y=<chain>; if (x>0) { if (x>1) { ... half the statements ... } } } else { y=<chain> },
    // the twins sharing the two chains. Returns the text of the nested ifs.
    Expression const chains[] = {chain(x), chain(x)}, values[] = {x, c, x * c};
    char const* const texts[] = {"x", "c", "(x*c)"};
    auto twin = [&] {
        std::string nest;
        f.If(c > 0.0);
        *y = chains[0];
        for (unsigned long level = 0; level < nestingDepth; ++level) {
            f.If(x > static_cast<double>(level));
            nest += "    if (x>" + std::to_string(level) + ")\n";
        }
        for (unsigned long i = 0; i < statementCount / 2; ++i) {
            *y = values[i % 3];
            nest += std::string("    y=") + texts[i % 3] + "\n";
        }
        for (unsigned long level = 0; level < nestingDepth; ++level) {
            f.End();
            nest += "end\n\n";
        }
        f.Else();
        *y = chains[1];
        f.End();
        return nest;
    };
    std::string const nest = twin();
    twin();
    std::string const ifText = "    if (c>0)\n" + line + nest + "else\n" + line + "end\n\n";
    EXPECT_TRUE(f.getStatements().asString() == ifText + ifText);
    auto& body = f.getStatements().getStatementList();
    EXPECT_TRUE(body.front()->isEquivalent(*body.back()));

    // Each if's chain assignment moves in front of it; the search then goes down the nested ifs once.
    sxir::CodeHoistor().analyze(module);
    std::string const hoisted = line + "    if (c>0)\n" + nest + "end\n\n";
    EXPECT_TRUE(f.getStatements().asString() == hoisted + hoisted);
    auto other = sxir_test::makeContext(env);
    EXPECT_TRUE(other->getGlobalScope().copyGenericItemIn(module)->asString() == module.asString());

    // Twins: the hoisted chain assignments, then the ifs, until their deepest points differ.
    sxir::Statement *chain1 = *body.begin(), *if1 = *std::next(body.begin()), *chain2 = *std::next(body.begin(), 2),
                    *deepest = body.back();
    EXPECT_TRUE(chain1->isEquivalent(*chain2) && if1->isEquivalent(*body.back()));
    for (unsigned long level = 0; level <= nestingDepth; ++level) {
        deepest = dynamic_cast<sxir::IfStatement&>(*deepest).getStatements(true).getStatementList().back();
    }
    dynamic_cast<AssignmentStatement&>(*chain2).setExpression(AssignmentStatement::RHS, chain(c));
    dynamic_cast<AssignmentStatement&>(*deepest).setExpression(AssignmentStatement::RHS, -c);
    EXPECT_FALSE(chain1->isEquivalent(*chain2));
    EXPECT_FALSE(if1->isEquivalent(*body.back()));
}

TEST_F(DeepInput, EmitsAMillionStatementsAnExpressionAMillionDeepAndIfsTenThousandDeepAsC)
{
    writeDeepFunction();
    std::string const source = sxir::CEmitter().emit(module).source;
    // One C statement per assignment; the chain in temporaries, none of which nests deeper than a C
    // compiler reads; each if as written.
    std::size_t statements = 0, temporaries = 0, ifs = 0, deepest = 0;
    std::size_t start = 0;
    for (std::size_t end = source.find('\n'); end != std::string::npos; start = end + 1, end = source.find('\n', start)) {
        std::string_view const line(source.data() + start, end - start);
        statements += line == "    *y = (*y + x);" ? 1 : 0;
        temporaries += line.rfind("    real_T t", 0) == 0 ? 1 : 0;
        ifs += line.find("if (x > ") != std::string_view::npos ? 1 : 0;
        std::size_t depth = 0;
        for (char c : line) {
            depth += c == '(' ? 1 : 0;
            deepest = std::max(deepest, depth);
            depth -= c == ')' && depth > 0 ? 1 : 0;
        }
    }
    EXPECT_EQ(statements, 1000000u);
    EXPECT_EQ(ifs, 10000u);
    EXPECT_GT(temporaries, 1000000u / 70);
    EXPECT_LT(temporaries, 1000000u / 30);
    EXPECT_LE(deepest, 70u);
    EXPECT_NE(source.find("    *w = 1.0;\n"), std::string::npos);
}

TEST_F(DeepInput, TheSafePassTakesAnAssignmentOutOfIfsTenThousandDeep)
{
    // if (x>0) { if (x>1) { ... if (x>n) { y=1 } else { y=1 } ... } else { y=1 } } else { y=1 }: y=1 leaves
    // each if in turn, innermost first, and every if is left empty and goes.
    unsigned long const depth = 10000;
    sxir::Function& f = addFunction("f", {"x"}, {"y"});
    Expression const x = use(f, "x"), y = use(f, "y");
    for (unsigned long level = 0; level <= depth; ++level) {
        f.If(x > static_cast<double>(level));
    }
    *y = 1.0;
    for (unsigned long level = 0; level <= depth; ++level) {
        f.Else();
        *y = 1.0;
        f.End();
    }
    sxir::SafeCodeHoistor().analyze(module);
    EXPECT_EQ(f.getStatements().asString(), "    y=1\n");
}

TEST_F(DeepInput, RunsAMillionStatementsAnExpressionAMillionDeepIfsTenThousandDeepAndCallsToTheLimit)
{
    sxir::Function& f = writeDeepFunction();
    sxir::Interpreter interpreter(*context);
    // Half a million additions of x and as many negations leave x.
    std::vector<sxir::Value> const out = interpreter.run(f, {sxir::Value(sxu::DataTypeId::Real, 0.5)});
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0], sxir::Value(sxu::DataTypeId::Real, 500000));
    EXPECT_EQ(out[1], sxir::Value(sxu::DataTypeId::Real, 0.5));
    EXPECT_EQ(out[2], sxir::Value(sxu::DataTypeId::Real, 0));
    EXPECT_EQ(interpreter.run(f, {sxir::Value(sxu::DataTypeId::Real, 10000)}).at(2),
              sxir::Value(sxu::DataTypeId::Real, 1));

    // depth(n) = n > 0 ? depth(n - 1) + 1 : 0 calls itself n deep.
    sxir::Function& depth = addFunction("depth", {"n"}, {"d"});
    Expression const n = use(depth, "n"), d = use(depth, "d");
    depth.If(n > 0.0);
    *d = (use(depth, "depth") << n - 1.0) + 1.0;
    depth.End();
    EXPECT_EQ(interpreter.run(depth, {sxir::Value(sxu::DataTypeId::Real, 1000)}),
              std::vector<sxir::Value>{sxir::Value(sxu::DataTypeId::Real, 1000)});
    EXPECT_THROW(interpreter.run(depth, {sxir::Value(sxu::DataTypeId::Real, 1001)}), sxir::ReportedError);
    EXPECT_EQ(env.reports().back().id, "sxir:eval:CallDepthExceeded");
    interpreter.setCallDepthLimit(100000);
    EXPECT_EQ(interpreter.run(depth, {sxir::Value(sxu::DataTypeId::Real, 100000)}).at(0),
              sxir::Value(sxu::DataTypeId::Real, 100000));
}

// ---------------------------------------------------------------------------------------------------------
// Several threads using the library at once, each context used by one thread at a time. The tsan preset
// runs the tests named Threads.* under ThreadSanitizer.

TEST(Threads, SamplesWorkedOnInContextsOfTheirOwnAndDeletedOnAnotherThread)
{
    // Every thread builds, clones, hoists and prints each sample ten times, starting at a sample of its
    // own so that different samples are worked on at once.
    auto onFourThreads = [](std::function<void(unsigned)> const& body) {
        std::vector<std::thread> threads;
        for (unsigned t = 0; t < 4; ++t) {
            threads.emplace_back(body, t);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    };
    std::vector<sxu::string> const names = sxir::TestCatalog::get()->getEntryNames();
    std::vector<std::vector<std::unique_ptr<Job>>> jobs(4);
    std::vector<std::string> printed(4), expected(4);
    onFourThreads([&](unsigned t) {
        for (std::size_t k = 0; k < 10 * names.size(); ++k) {
            std::string const& name = names[(k + 3 * t) % names.size()];
            jobs[t].push_back(std::make_unique<Job>());
            advance(sampleSteps(name), *jobs[t].back(), 3);
            printed[t] += jobs[t].back()->text();
            expected[t] += goldenText(name) + "\n--\n" + goldenText(name);
        }
    });
    // Then each thread prints and deletes the next one's, so that storage is freed by another thread than took it.
    onFourThreads([&](unsigned t) {
        for (std::unique_ptr<Job>& job : jobs[(t + 1) % 4]) {
            printed[t] += job->text();
            job.reset();
        }
    });
    for (unsigned t = 0; t < 4; ++t) {
        EXPECT_TRUE(printed[t] == expected[t] + expected[(t + 1) % 4]) << "thread " << t;
    }
}

} // namespace
