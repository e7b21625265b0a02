// Every allocation of an operation is made to fail in turn: the std::bad_alloc must
// reach the caller, nothing may leak, and what existed before must stay usable.
#include "ir/sxir.hpp"
#include "tests/reliability/Samples.hpp"
#include "tests/support/Environments.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <memory>
#include <new>

namespace {

using sxir::Expression;
using sxir_test::ContextPtr;
using sxir_test::makeContext;

/// Failure points survived by the tests this process ran so far.
unsigned long sSurvived = 0;

/// Runs `operation` on a fresh attempt from `make` once per allocation it makes, that
/// allocation failing, then once with the failure armed past the last one. `check` runs
/// disarmed after each; the attempt, and so its contexts, goes before the leak check.
/// Returns the number of allocations, the failure points.
template <class Make, class Operation, class Check>
unsigned long sweep(Make const& make, Operation const& operation, Check const& check)
{
    unsigned long points = 0;
    {
        auto reference = make();
        unsigned long const start = sxu::Allocate::getStatistics().allocations;
        operation(*reference);
        points = sxu::Allocate::getStatistics().allocations - start;
        check(*reference, false);
    }
    for (unsigned long n = 1; n <= points + 1 && !::testing::Test::HasFatalFailure(); ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(points) + " failing");
        long const before = sxu::Allocate::getStatistics().bytesInUse;
        {
            auto attempt = make();
            bool failed = false;
            sxu::AllocationFaults::failAt(n);
            try {
                operation(*attempt);
            } catch (std::bad_alloc const&) {
                failed = true;
            } catch (...) {
                sxu::AllocationFaults::failAt(0);
                ADD_FAILURE() << "an exception other than std::bad_alloc";
                return points;
            }
            sxu::AllocationFaults::failAt(0);
            EXPECT_EQ(failed, n <= points)
                << (failed ? "failed past the last allocation" : "the failure was swallowed");
            check(*attempt, failed);
        }
        EXPECT_EQ(sxu::Allocate::getStatistics().bytesInUse, before) << "memory leaked";
    }
    return points;
}

/// A catalog sample, built in advance unless building it is the operation.
struct Sample {
    Sample(std::string const& sample, bool build)
        : name(sample), golden(sxir_test::goldenText(sample)),
          module(build ? sxir::TestCatalog::get()->createModule(name, *context) : nullptr)
    {}

    std::string name;
    std::string golden;
    sxir_test::ThrowingEnvironment env;
    ContextPtr context = makeContext(env);
    sxir::Module* module;
    ContextPtr target = makeContext(env);
    sxir::ScopeItem* copy = nullptr;
    std::string text;
};

class AllocationFailures : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!sxu::AllocationFaults::isAvailable()) {
            GTEST_SKIP() << "this build cannot inject allocation failures (SXIR_FAULT_INJECTION is off)";
        }
    }

    void record(std::string const& operation, unsigned long points)
    {
        RecordProperty(operation, std::to_string(points));
        sSurvived += points;
        std::cout << operation << ": " << points << " allocation failure points survived (" << sSurvived
                  << " by the tests run so far)\n";
    }

    template <class Operation, class Check>
    void sweepSamples(std::string const& operation, bool prebuilt, Operation const& run, Check const& check)
    {
        unsigned long total = 0;
        for (std::string const& name : sxir_test::sampleNames()) {
            SCOPED_TRACE(name);
            ASSERT_FALSE(sxir_test::goldenText(name).empty()) << "no golden text";
            total += sweep([&] { return std::make_unique<Sample>(name, prebuilt); }, run, check);
        }
        record(operation, total);
    }
};

TEST_F(AllocationFailures, BuildingEverySample)
{
    sweepSamples(
        "building", false, [](Sample& s) { s.module = sxir::TestCatalog::get()->createModule(s.name, *s.context); },
        [](Sample& s, bool failed) {
            sxir::Scope const& global = s.context->getGlobalScope();
            if (!failed) {
                EXPECT_EQ(s.module->asString(), s.golden);
                return;
            }
            // What was built before the failure stays a printable part of the context.
            ASSERT_LE(global.getNumScopeItems(), 1u);
            if (global.getNumScopeItems() == 1) {
                global.getGenericScopeItem(0)->asString();
            }
        });
}

TEST_F(AllocationFailures, CloningEverySampleIntoAnotherContext)
{
    sweepSamples(
        "cloning", true, [](Sample& s) { s.copy = s.target->getGlobalScope().copyGenericItemIn(*s.module); },
        [](Sample& s, bool failed) {
            EXPECT_EQ(s.module->asString(), s.golden);
            // A failed copy leaves nothing behind in the target scope.
            EXPECT_EQ(s.target->getGlobalScope().getNumScopeItems(), failed ? 0u : 1u);
            if (!failed) {
                EXPECT_EQ(s.copy->asString(), s.golden);
            }
        });
}

// Printed text is held in standard strings, and no sample has an assignment that both
// branches of an if perform: this sweep finds no allocation of the IR to fail today.
TEST_F(AllocationFailures, HoistingAndPrintingEverySample)
{
    sweepSamples(
        "hoisting and printing samples", true,
        [](Sample& s) {
            sxir::CodeHoistor().analyze(*s.module);
            s.text = s.module->asString();
        },
        [](Sample& s, bool failed) {
            EXPECT_TRUE(failed || s.text == s.golden);
            EXPECT_EQ(s.module->asString(), s.golden);
        });
}

/// A module being written the way a client writes it, one call per step.
struct Writing {
    sxir_test::ThrowingEnvironment env;
    ContextPtr context = makeContext(env);
    sxir::BuiltinType const& real = context->getBuiltinType(sxu::DataTypeId::Real);
    sxir::Module* module = context->getGlobalScope().addScopeItem<sxir::Module>("module");
    sxir::Function* g = nullptr;
    sxir::Function* f = nullptr;
    /// The first step not yet done.
    std::size_t next = 0;

    static Expression use(sxir::Function const* function, char const* name) { return Expression(*(*function)(name)); }
    /// The declaration `name` as seen from f's body.
    Expression in(char const* name) const { return use(f, name); }

    sxir::Function& addFunction(char const* name, std::initializer_list<char const*> inputs,
                                std::initializer_list<char const*> outputs)
    {
        sxir::FunctionSignature signature(*context);
        for (char const* input : inputs) {
            signature.addInput(input).setType(real);
        }
        for (char const* output : outputs) {
            signature.addOutput(output).setType(real);
        }
        auto* function = module->getModuleScope().addScopeItem<sxir::Function>(name);
        function->setSignature(signature);
        return *function;
    }
};

TEST_F(AllocationFailures, HoistingAssignmentsOutOfNestedIfs)
{
    // Assignments common to both branches at two depths: hoisting clones, inserts and
    // destroys statements over six sweeps.
    auto make = [] {
        auto w = std::make_unique<Writing>();
        sxir::Function& f = w->addFunction("f", {"c", "d"}, {"x", "y", "z"});
        Expression c(*f("c")), d(*f("d")), x(*f("x")), y(*f("y")), z(*f("z"));
        f.If(c > 0.0);
        *x = 1.0;
        f.If(d > 0.0);
        *y = c;
        *z = d;
        f.Else();
        *z = d;
        *y = c;
        f.End();
        f.Else();
        f.If(d < c);
        *y = c;
        f.Else();
        *y = c;
        f.End();
        *x = 1.0;
        f.End();
        return w;
    };
    auto hoist = [](Writing& w) { sxir::CodeHoistor().analyze(*w.module); };
    record("hoisting common assignments", sweep(make, hoist, [&](Writing& w, bool failed) {
               if (failed) {
                   // Each hoist is whole or not done at all, so the pass can simply run again.
                   w.module->asString();
                   hoist(w);
               }
               EXPECT_EQ(w.module->asString(), "function [real_T x, real_T y, real_T z] = f(real_T c, real_T d)\n"
                                               "    x=1\n    y=c\n    if (c>0)\n    z=d\nend\n\nend");
           }));
}

TEST_F(AllocationFailures, WritingFunctionsThroughThePublicCalls)
{
    // g, then f with a local that calls g and nested ifs. A step marked true does all or
    // nothing: when it fails, writing resumes there and must end with the same module.
    struct Step {
        bool allOrNothing;
        std::function<void(Writing&)> run;
    };
    using W = Writing;
    std::vector<Step> const steps = {
        {false, [](W& w) { w.g = &w.addFunction("g", {"p", "q"}, {"r"}); }},
        {true, [](W& w) { *W::use(w.g, "r") = W::use(w.g, "p") * W::use(w.g, "q"); }},
        {false, [](W& w) { w.f = &w.addFunction("f", {"a", "b"}, {"y", "z"}); }},
        {false,
         [](W& w) {
             w.f->getFunctionScope(sxir::FunctionScopeType::Local).addScopeItem<sxir::Variable>("t")->setType(w.real);
         }},
        {true, [](W& w) { *w.in("t") = (w.in("g") << w.in("a") << w.in("b")); }},
        {true, [](W& w) { w.f->If(w.in("a") > w.in("b")); }},
        {true, [](W& w) { *w.in("y") = w.in("t") * 2.0; }},
        {true, [](W& w) { w.f->If(w.in("t") < 0.0); }},
        {true, [](W& w) { *w.in("z") = -w.in("t"); }},
        {true, [](W& w) { w.f->Else(); }},
        {true, [](W& w) { *w.in("z") = sxir::sqrt(w.in("t")); }},
        {true, [](W& w) { w.f->End(); }},
        {true, [](W& w) { w.f->Else(); }},
        {true, [](W& w) { *w.in("y") = (w.in("g") << w.in("b") << w.in("a")) + sxir::call(w.in("g")); }},
        {true, [](W& w) { w.f->End(); }},
        {true, [](W& w) { *w.in("z") = sxir::atan2(w.in("y"), w.in("t")); }},
    };
    auto write = [&](W& w) {
        for (; w.next < steps.size(); ++w.next) {
            steps[w.next].run(w);
        }
    };
    auto check = [&](W& w, bool failed) {
        w.module->asString();
        if (failed && !steps[w.next].allOrNothing) {
            return;
        }
        write(w);
        EXPECT_EQ(w.module->asString(), "function [real_T r] = g(real_T p, real_T q)\n    r=(p*q)\nend\n"
                                        "function [real_T y, real_T z] = f(real_T a, real_T b)\n"
                                        "    real_T t\n    t=g(a,b)\n    if (a>b)\n    y=(t*2)\n"
                                        "    if (t<0)\n    z=-t\nelse\n    z=sqrt(t)\nend\n\n"
                                        "else\n    y=(g(b,a)+g((nil),(nil)))\nend\n\n"
                                        "    z=atan2(y,t)\nend");
    };
    record("writing functions", sweep([] { return std::make_unique<W>(); }, write, check));
}

} // namespace
