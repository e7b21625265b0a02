// The behaviour-preserving hoisting pass: what it leaves alone that the equivalence-only pass moves,
// what it still moves, what each kind of node reads and writes for it, the empty ifs it removes, and
// against the plain search on random bodies.
#include "tests/support/IrFixture.hpp"
#include "tests/support/NaiveSafeHoistor.hpp"
#include "tests/support/RandomBodies.hpp"

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using sxir::Expression;
using Use = std::function<Expression(char const*)>;
using Write = std::function<void(sxir::Function&, Use const&)>;

/// A module variable m; bump(a) adds a to m and gives m; twice(a) gives 2a and touches no module
/// variable; viaBump(a) calls bump.
class SafeCodeHoistorTest : public sxir_test::IrTest {
protected:
    SafeCodeHoistorTest()
    {
        Expression const m = use(bump, "m");
        *use(bump, "m") = m + use(bump, "a");
        *use(bump, "r") = m;
        *use(twice, "r") = use(twice, "a") * 2.0;
        *use(viaBump, "r") = (use(viaBump, "bump") << use(viaBump, "a"));
    }

    /// A function of its own for each body: inputs a, c, d; outputs b, x, y, z; locals t, i, j, the
    /// 3-element columns A and B, and h, which holds a function like twice.
    sxir::Function& write(Write const& body)
    {
        sxir::Function& g = addFunction("g" + std::to_string(mWritten++), {"a", "c", "d"}, {"b", "x", "y", "z"});
        for (char const* name : {"t", "i", "j"}) {
            addLocal(g, name);
        }
        sxir::MatrixType const column(*context, sxu::DataTypeId::Real, sxu::Dimension(3, 1));
        addLocal(g, "A", &column);
        addLocal(g, "B", &column);
        addLocal(g, "h", &twice.getSignature());
        body(g, [&g](char const* name) { return use(g, name); });
        return g;
    }

    /// The bodies of the functions written, before hoisting, after the equivalence-only pass (on
    /// a copy of the module) and after this one.
    struct Hoisted {
        std::vector<std::string> before, literal, safe;
    };
    Hoisted hoistBoth()
    {
        Hoisted texts;
        auto other = sxir_test::makeContext(env);
        auto& copy = static_cast<sxir::Module&>(*other->getGlobalScope().copyGenericItemIn(module));
        sxir::CodeHoistor().analyze(copy);
        for (int k = 0; k < mWritten; ++k) {
            texts.before.push_back(body("g" + std::to_string(k), module));
            texts.literal.push_back(body("g" + std::to_string(k), copy));
        }
        sxir::SafeCodeHoistor().analyze(module);
        for (int k = 0; k < mWritten; ++k) {
            texts.safe.push_back(body("g" + std::to_string(k), module));
        }
        return texts;
    }
    /// What the functions g0, g1, ... of `owner` give, each run in turn on every input of
    /// `inputs` in one interpreter (so module variables carry over): the outputs, or the error.
    std::vector<std::string> outcomes(sxir::Module& owner, std::vector<std::vector<double>> const& inputs) const
    {
        sxir::Interpreter interpreter(owner.getContext());
        std::vector<std::string> results;
        for (int k = 0; k < mWritten; ++k) {
            auto const& g =
                dynamic_cast<sxir::Function&>(*owner.getModuleScope().lookupGenericScopeItem("g" + std::to_string(k)));
            for (std::vector<double> const& numbers : inputs) {
                std::vector<sxir::Value> values;
                for (double number : numbers) {
                    values.emplace_back(sxu::DataTypeId::Real, number);
                }
                std::string result;
                try {
                    for (sxir::Value const& output : interpreter.run(g, values)) {
                        result += output.asString() + " ";
                    }
                } catch (sxir::ReportedError const& error) {
                    result = error.getId();
                }
                results.push_back(result);
            }
        }
        return results;
    }
    int written() const { return mWritten; }

    sxir::Variable& addModuleVariable(char const* name)
    {
        auto* variable = module.getModuleScope().addScopeItem<sxir::Variable>(name);
        variable->setType(real());
        return *variable;
    }
    static std::string body(std::string const& name, sxir::Module& owner)
    {
        return dynamic_cast<sxir::Function&>(*owner.getModuleScope().lookupGenericScopeItem(name))
            .getStatements()
            .asString();
    }

    sxir::Variable& m = addModuleVariable("m");
    sxir::Function& bump = addFunction("bump", {"a"}, {"r"});
    sxir::Function& twice = addFunction("twice", {"a"}, {"r"});
    sxir::Function& viaBump = addFunction("viaBump", {"a"}, {"r"});

private:
    int mWritten = 0;
};

/// if (condition) { before...; pair } else { otherBefore...; pair }
Write pairAfter(std::function<Expression(Use const&)> condition, std::function<void(Use const&)> before,
                std::function<void(Use const&)> otherBefore, std::function<void(Use const&)> pair)
{
    return [=](sxir::Function& g, Use const& v) {
        g.If(condition(v));
        before(v);
        pair(v);
        g.Else();
        otherBefore(v);
        pair(v);
        g.End();
    };
}

void nothing(Use const&) {}

/// Bodies whose pair the equivalence-only pass moves although a statement before it, or the
/// condition, touches what it touches.
std::vector<Write> dependentPairs()
{
    auto const positive = [](Use const& v) { return v("a") > 0.0; };
    return {
        // t is written on the true path before the pair reads it.
        pairAfter(
            positive, [](Use const& v) { *v("t") = v("a") * 2.0; }, nothing,
            [](Use const& v) { *v("b") = v("t") + 1.0; }),
        // The condition reads what the pair writes.
        pairAfter([](Use const& v) { return v("x") > 0.0; }, [](Use const& v) { *v("y") = v("x"); }, nothing,
                  [](Use const& v) { *v("x") = 0.0; }),
        // The condition writes what the pair reads: its call adds to m.
        pairAfter([](Use const& v) { return Expression(v("bump") << v("c")) > 0.0; }, nothing, nothing,
                  [](Use const& v) { *v("y") = v("m"); }),
        // A call before the pair writes the module variable the pair reads, also through another function.
        pairAfter(
            positive, [](Use const& v) { *v("z") = (v("bump") << v("c")); }, nothing,
            [](Use const& v) { *v("y") = v("m"); }),
        pairAfter(
            positive, nothing, [](Use const& v) { *v("z") = (v("viaBump") << v("c")); },
            [](Use const& v) { *v("y") = v("m"); }),
        // The pair's call writes what a statement before it reads.
        pairAfter(
            positive, [](Use const& v) { *v("y") = v("m"); }, nothing,
            [](Use const& v) { *v("z") = (v("bump") << v("c")); }),
        // A statement before the pair, in either branch, writes what it reads, or reads what it writes.
        pairAfter(
            positive, [](Use const& v) { *v("x") = v("c"); }, nothing, [](Use const& v) { *v("y") = v("x"); }),
        pairAfter(
            positive, nothing, [](Use const& v) { *v("x") = v("c"); }, [](Use const& v) { *v("y") = v("x"); }),
        pairAfter(
            positive, nothing, [](Use const& v) { *v("y") = v("x"); }, [](Use const& v) { *v("x") = 1.0; }),
        // Both may stop the run (an index out of range), so the first error stays the first.
        pairAfter(
            positive, [](Use const& v) { *v("y") = v("A")(v("i")); }, nothing,
            [](Use const& v) { *v("z") = v("B")(v("j")); }),
        // One may stop the run and the other writes a module variable, which outlives it.
        pairAfter(
            positive, [](Use const& v) { *v("y") = v("A")(v("i")); }, nothing, [](Use const& v) { *v("m") = v("c"); }),
        // An index is read: i is written before the element that it picks.
        pairAfter(
            positive, [](Use const& v) { *v("i") = 2.0; }, nothing, [](Use const& v) { *v("y") = v("A")(v("i")); }),
        // A call through a function-typed variable may touch every module variable.
        pairAfter(
            positive, [](Use const& v) { *v("y") = v("m"); }, nothing,
            [](Use const& v) { *v("z") = (v("h") << v("c")); }),
    };
}

TEST_F(SafeCodeHoistorTest, WhatTheEquivalenceOnlyPassWouldChangeStaysWhereItIs)
{
    std::vector<Write> const cases = dependentPairs();
    for (Write const& body : cases) {
        write(body);
    }
    Hoisted const texts = hoistBoth();
    for (std::size_t k = 0; k < cases.size(); ++k) {
        EXPECT_NE(texts.literal[k], texts.before[k]) << k;
        EXPECT_EQ(texts.safe[k], texts.before[k]) << k;
    }
}

TEST_F(SafeCodeHoistorTest, RunsTellTheEquivalenceOnlyPassFromTheSafeOne)
{
    std::vector<Write> const cases = dependentPairs();
    for (Write const& body : cases) {
        write(body);
    }
    std::vector<std::vector<double>> const inputs = {{1, 2, 0}, {-1, 2, 0}, {1, -3, 1}, {2, 5, -1}};
    auto other = sxir_test::makeContext(env);
    auto& literal = static_cast<sxir::Module&>(*other->getGlobalScope().copyGenericItemIn(module));
    sxir::CodeHoistor().analyze(literal);
    std::vector<std::string> const before = outcomes(module, inputs);
    sxir::SafeCodeHoistor().analyze(module);
    EXPECT_EQ(outcomes(module, inputs), before);
    // The literal pass changes some run of each body but those whose runs give the same either
    // way from a fresh start: x starts at zero (1), the columns hold zeros (9 to 11), h holds no
    // function (12).
    std::vector<std::string> const moved = outcomes(literal, inputs);
    std::vector<std::size_t> changed;
    for (std::size_t k = 0; k < cases.size(); ++k) {
        auto const first = static_cast<std::ptrdiff_t>(k * inputs.size());
        auto const last = first + static_cast<std::ptrdiff_t>(inputs.size());
        if (!std::equal(before.begin() + first, before.begin() + last, moved.begin() + first)) {
            changed.push_back(k);
        }
    }
    EXPECT_EQ(changed, (std::vector<std::size_t>{0, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(SafeCodeHoistorTest, RandomBodiesRunAlikeAfterTheSafePass)
{
    std::mt19937 random(7);
    for (int i = 0; i < 400; ++i) {
        write([&random](sxir::Function& g, Use const&) {
            sxir_test::writeRandomBody(g, static_cast<unsigned>(random()), true);
        });
    }
    std::vector<std::vector<double>> const inputs = {{1, 2, 0}, {-1, 0.5, 3}, {0, -2, -1}};
    std::vector<std::string> const before = outcomes(module, inputs);
    auto other = sxir_test::makeContext(env);
    auto& literal = static_cast<sxir::Module&>(*other->getGlobalScope().copyGenericItemIn(module));
    sxir::CodeHoistor().analyze(literal);
    sxir::SafeCodeHoistor().analyze(module);
    EXPECT_EQ(outcomes(module, inputs), before);
    // The bodies are such that the literal pass does change runs: the comparison has teeth.
    EXPECT_NE(outcomes(literal, inputs), before);
}

TEST_F(SafeCodeHoistorTest, WhatNothingBeforeItTouchesMovesAndTheEmptiedIfGoes)
{
    auto const positive = [](Use const& v) { return v("a") > 0.0; };
    std::vector<std::pair<Write, char const*>> const cases = {
        {pairAfter(positive, nothing, nothing, [](Use const& v) { *v("x") = 1.0; }), "    x=1\n"},
        // The condition and the statements before the pair touch other variables, or only read
        // what the pair reads.
        {pairAfter([](Use const& v) { return v("x") > 0.0; }, [](Use const& v) { *v("z") = v("x"); },
                   [](Use const& v) { *v("b") = 2.0; }, [](Use const& v) { *v("y") = v("x"); }),
         "    y=x\n    if (x>0)\n    z=x\nelse\n    b=2\nend\n\n"},
        // A call may stop the run, but the pair can neither stop it nor write a module variable;
        // what twice can reach is nothing of g's.
        {pairAfter(
             positive, [](Use const& v) { *v("z") = (v("twice") << v("c")); }, nothing,
             [](Use const& v) { *v("y") = v("x"); }),
         "    y=x\n    if (a>0)\n    z=twice(c)\nend\n\n"},
        {pairAfter(
             positive, [](Use const& v) { *v("y") = v("m"); }, nothing,
             [](Use const& v) { *v("z") = (v("twice") << v("c")); }),
         "    z=twice(c)\n    if (a>0)\n    y=m\nend\n\n"},
        // A function-typed variable's call touches module variables only: x is g's own.
        {pairAfter(
             positive, [](Use const& v) { *v("y") = v("x"); }, nothing,
             [](Use const& v) { *v("z") = (v("h") << v("c")); }),
         "    z=h(c)\n    if (a>0)\n    y=x\nend\n\n"},
        // A function reference reads nothing, whatever the function's body touches.
        {pairAfter(
             positive, [](Use const& v) { *v("y") = v("m"); }, nothing, [](Use const& v) { *v("h") = v("bump"); }),
         "    h=bump\n    if (a>0)\n    y=m\nend\n\n"},
        // The element that an index picks is not what another index is written before.
        {pairAfter(
             positive, [](Use const& v) { *v("j") = 2.0; }, nothing, [](Use const& v) { *v("y") = v("A")(v("i")); }),
         "    y=A(i,0)\n    if (a>0)\n    j=2\nend\n\n"},
        // Pairs move one after the other, each then no longer standing before the next.
        {pairAfter(
             positive, [](Use const& v) { *v("x") = v("c"); }, [](Use const& v) { *v("x") = v("c"); },
             [](Use const& v) { *v("y") = v("x"); }),
         "    x=c\n    y=x\n"},
        // Nested ifs of the false branch, done one after the other as x looks for a partner: the
        // one after y=j writes j, those before it do not.
        {[](sxir::Function& g, Use const& v) {
             g.If(v("a") > 0.0);
             *v("x") = 5.0;
             *v("y") = v("j");
             g.Else();
             g.If(v("d") > 0.0);
             *v("t") = 1.0;
             g.End();
             *v("y") = v("j");
             g.If(v("d") > 0.0);
             *v("j") = 1.0;
             g.End();
             g.If(v("d") > 0.0);
             *v("x") = 1.0;
             *v("y") = 1.0;
             *v("z") = 1.0;
             *v("b") = 1.0;
             g.End();
             g.End();
         },
         "    y=j\n    if (a>0)\n    x=5\nelse\n    if (d>0)\n    t=1\nend\n\n    if (d>0)\n    j=1\nend\n\n"
         "    if (d>0)\n    x=1\n    y=1\n    z=1\n    b=1\nend\n\nend\n\n"},
    };
    for (auto const& entry : cases) {
        write(entry.first);
    }
    Hoisted const texts = hoistBoth();
    for (std::size_t k = 0; k < cases.size(); ++k) {
        EXPECT_EQ(texts.safe[k], cases[k].second) << k;
    }
}

TEST_F(SafeCodeHoistorTest, NestedIfsAreLookedThroughAndNoEmptyIfThatCanGoRemains)
{
    write([](sxir::Function& g, Use const& v) {
        // y=1 leaves the inner if, then the outer one, and both go though neither was empty.
        g.If(v("c") > 0.0);
        g.If(v("d") > 0.0);
        *v("y") = 1.0;
        g.Else();
        *v("y") = 1.0;
        g.End();
        g.Else();
        *v("y") = 1.0;
        g.End();
        // Empty from the start, or emptied only by removing the empty ifs inside.
        g.If(v("c") > 0.0);
        g.If(v("d") > 0.0);
        g.End();
        g.Else();
        g.If(v("x") > 0.0);
        g.If(v("y") > 0.0);
        g.End();
        g.End();
        g.End();
        // Dropping these conditions would change runs: a call adds to m, an element may be out of range.
        g.If(Expression(v("bump") << v("c")) > 0.0);
        g.End();
        g.If(v("d") > 0.0);
        g.If(v("A")(v("i")) > 0.0);
        g.End();
        g.End();
        // An element at constant indices inside A cannot stop a run; one outside can.
        g.If(v("A")(2) > 0.0);
        g.End();
        g.If(v("A")(3) > 0.0);
        g.End();
    });
    Hoisted const texts = hoistBoth();
    EXPECT_EQ(texts.safe[0], "    y=1\n    if (bump(c)>0)\nend\n\n    if (d>0)\n    if (A(i,0)>0)\nend\n\nend\n\n"
                             "    if (A(3,0)>0)\nend\n\n");
}

TEST_F(SafeCodeHoistorTest, ACallReachesWhatItsCalleeReachesOnceHoisted)
{
    // The caller comes first, so it is searched before the callee loses its read of m.
    sxir::Function& caller = addFunction("caller", {"a", "c"}, {"y", "z"});
    sxir::Function& callee = addFunction("callee", {"a"}, {"r"});
    callee.If(use(callee, "m") > 0.0);
    *use(callee, "r") = use(callee, "a");
    callee.Else();
    *use(callee, "r") = use(callee, "a");
    callee.End();
    caller.If(use(caller, "a") > 0.0);
    *use(caller, "y") = use(caller, "m");
    *use(caller, "z") = (use(caller, "callee") << use(caller, "c"));
    caller.Else();
    *use(caller, "z") = (use(caller, "callee") << use(caller, "c"));
    caller.End();
    sxir::SafeCodeHoistor().analyze(module);
    EXPECT_EQ(callee.getStatements().asString(), "    r=a\n");
    EXPECT_EQ(caller.getStatements().asString(), "    z=callee(c)\n    if (a>0)\n    y=m\nend\n\n");
}

TEST_F(SafeCodeHoistorTest, TheStatementItselfMovesAndIsNoLongerAutoGenerated)
{
    sxir::Function& g = write([](sxir::Function& h, Use const& v) {
        h.If(v("c") > 0.0);
        h.append(assignment(v("x"), v("c"), true));
        h.Else();
        *v("x") = v("c");
        h.End();
    });
    auto& body = g.getStatements().getStatementList();
    auto* const moving = static_cast<sxir::IfStatement*>(body.back())->getStatements(true).getStatementList().front();
    sxir::SafeCodeHoistor().analyze(module);
    ASSERT_EQ(body.size(), 1u);
    EXPECT_EQ(body.front(), moving);
    EXPECT_FALSE(moving->isAutoGenerated());
}

TEST_F(SafeCodeHoistorTest, GivesWhatThePlainSearchGivesAndASecondRunMovesNothing)
{
    auto* fast = context->getGlobalScope().addScopeItem<sxir::Module>("fast");
    auto* plain = context->getGlobalScope().addScopeItem<sxir::Module>("plain");
    std::mt19937 random(41);
    for (sxir::Module* target : {fast, plain}) {
        target->getModuleScope().addScopeItem<sxir::Variable>("m")->setType(real());
        sxir::Function& callee = addFunction("bump", {"a"}, {"r"}, target);
        *use(callee, "m") = use(callee, "m") + use(callee, "a");
        *use(callee, "r") = use(callee, "m");
    }
    for (int i = 0; i < 3000; ++i) {
        unsigned const seed = static_cast<unsigned>(random());
        for (sxir::Module* target : {fast, plain}) {
            sxir_test::writeRandomBody(addFunction("g" + std::to_string(i), {"c", "d"}, {"x", "y", "z"}, target), seed,
                                       i % 2 == 0);
        }
    }
    std::string const before = plain->asString();
    sxir::SafeCodeHoistor().analyze(*fast);
    sxir_test::NaiveSafeHoistor::analyze(*plain);
    std::string const hoisted = plain->asString();
    EXPECT_NE(hoisted, before);
    EXPECT_EQ(fast->asString(), hoisted);
    sxir::SafeCodeHoistor().analyze(*fast);
    EXPECT_EQ(fast->asString(), hoisted);
}

} // namespace
