// Generated code far deeper and longer than hand-written code, on the main thread's
// default stack: every operation must walk it without recursing with its depth.
#include "tests/support/IrFixture.hpp"

#include <string>

namespace {

using sxir::Expression;

unsigned long const sChainDepth = 1000000;
unsigned long const sStatementCount = 1000000;
unsigned long const sNestingDepth = 10000;

std::string repeated(std::string const& text, unsigned long count)
{
    std::string result;
    result.reserve(text.size() * count);
    for (unsigned long i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

// Texts are compared with EXPECT_TRUE(a == b): a failure must not print megabytes.
class DeepInput : public sxir_test::IrTest {
protected:
    sxir::Function& f = addFunction("f", {"x", "c"}, {"y", "z"});
    Expression x = use(f, "x");
    Expression c = use(f, "c");
    Expression y = use(f, "y");
    Expression z = use(f, "z");

    std::string text(std::string const& body) const
    {
        return "function [real_T y, real_T z] = f(real_T x, real_T c)\n" + body + "end";
    }

    /// The body's two if statements are equivalent, and no longer once the right side of
    /// `deepest` (in the second) is replaced; `value` is that right side.
    void expectTwinsDifferOnlyAt(sxir::Statement* deepest, Expression const& value)
    {
        auto& list = f.getStatements().getStatementList();
        ASSERT_EQ(list.size(), 2u);
        auto& assignment = dynamic_cast<sxir::AssignmentStatement&>(*deepest);
        EXPECT_TRUE(list.front()->isEquivalent(*list.back()));
        assignment.setExpression(sxir::AssignmentStatement::RHS, value + 9.0);
        EXPECT_FALSE(list.front()->isEquivalent(*list.back()));
        assignment.setExpression(sxir::AssignmentStatement::RHS, value);
        EXPECT_TRUE(list.front()->isEquivalent(*list.back()));
    }

    /// Hoists, expects `body`, and expects a copy of the module in a second context to print alike.
    void expectHoistedAndCloned(std::string const& body)
    {
        sxir::CodeHoistor().analyze(module);
        EXPECT_TRUE(f.asString() == text(body));
        auto other = sxir_test::makeContext(env);
        sxir::ScopeItem* copy = other->getGlobalScope().copyGenericItemIn(module);
        EXPECT_TRUE(copy->asString() == module.asString());
    }
};

TEST_F(DeepInput, AnExpressionAMillionOperatorsDeep)
{
    // sqrt(-(...sqrt(-((x+x)))...+x)): a binary, a unary and a function form in turn, each
    // holding the previous level as its first operand.
    auto chain = [this](Expression const& bottom) {
        Expression e = bottom;
        for (unsigned long level = 0; level < sChainDepth; ++level) {
            e = level % 3 == 0 ? e + x : level % 3 == 1 ? -e : sxir::sqrt(e);
        }
        return e;
    };
    char const* const before[] = {"(", "-", "sqrt("};
    char const* const after[] = {"+x)", "", ")"};
    std::string line = "    y=";
    for (unsigned long level = sChainDepth; level-- > 0;) {
        line += before[level % 3];
    }
    line += "x";
    for (unsigned long level = 0; level < sChainDepth; ++level) {
        line += after[level % 3];
    }
    line += "\n";
    Expression const e = chain(x);
    EXPECT_TRUE("    y=" + e.asString() + "\n" == line);
    Expression const twin = chain(x);
    EXPECT_TRUE(e.isEquivalent(twin));
    EXPECT_FALSE(e.isEquivalent(chain(c))) << "the deepest operand differs";

    // Both branches assign the same value: hoisting compares and clones the whole chain.
    f.If(c > 0.0);
    *y = e;
    f.Else();
    *y = twin;
    f.End();
    EXPECT_TRUE(f.asString() == text("    if (c>0)\n" + line + "else\n" + line + "end\n\n"));
    expectHoistedAndCloned(line);
}

TEST_F(DeepInput, AFunctionOfAMillionStatements)
{
    // Two if statements, each holding half of the statements after an assignment that
    // its false branch repeats.
    Expression const values[] = {x + 1.0, x * 2.0, x - c, -x, sxir::sqrt(x)};
    std::string const valueTexts[] = {"(x+1)", "(x*2)", "(x-c)", "-x", "sqrt(x)"};
    std::string half;
    for (unsigned long i = 0; i < sStatementCount / 2; ++i) {
        half += "    z=" + valueTexts[i % 5] + "\n";
    }
    for (int copy = 0; copy < 2; ++copy) {
        f.If(c > 0.0);
        *y = x;
        for (unsigned long i = 0; i < sStatementCount / 2; ++i) {
            *z = values[i % 5];
        }
        f.Else();
        *y = x;
        f.End();
    }
    std::string const ifText = "    if (c>0)\n    y=x\n" + half + "else\n    y=x\nend\n\n";
    EXPECT_TRUE(f.asString() == text(ifText + ifText));
    auto& second = dynamic_cast<sxir::IfStatement&>(*f.getStatements().getStatementList().back());
    expectTwinsDifferOnlyAt(second.getStatements(true).getStatementList().back(),
                            values[(sStatementCount / 2 - 1) % 5]);

    std::string const hoisted = "    y=x\n    if (c>0)\n" + half + "end\n\n";
    expectHoistedAndCloned(hoisted + hoisted);
}

TEST_F(DeepInput, IfStatementsNestedTenThousandDeep)
{
    // Twice: if (c>0) { z=1; if (x>0) { if (x>1) { ... y=x ... } } } else { z=1 }
    std::string chain;
    for (unsigned long level = 0; level < sNestingDepth; ++level) {
        chain += "    if (x>" + std::to_string(level) + ")\n";
    }
    chain += "    y=x\n" + repeated("end\n\n", sNestingDepth);
    for (int copy = 0; copy < 2; ++copy) {
        f.If(c > 0.0);
        *z = 1.0;
        for (unsigned long level = 0; level < sNestingDepth; ++level) {
            f.If(x > static_cast<double>(level));
        }
        *y = x;
        for (unsigned long level = 0; level < sNestingDepth; ++level) {
            f.End();
        }
        f.Else();
        *z = 1.0;
        f.End();
    }
    std::string const ifText = "    if (c>0)\n    z=1\n" + chain + "else\n    z=1\nend\n\n";
    EXPECT_TRUE(f.asString() == text(ifText + ifText));
    sxir::Statement* innermost = f.getStatements().getStatementList().back();
    for (unsigned long level = 0; level <= sNestingDepth; ++level) {
        innermost = dynamic_cast<sxir::IfStatement&>(*innermost).getStatements(true).getStatementList().back();
    }
    expectTwinsDifferOnlyAt(innermost, x);

    // z=1 leaves each outer if; the search then goes down the nested ifs once and finds nothing more.
    std::string const hoisted = "    z=1\n    if (c>0)\n" + chain + "end\n\n";
    expectHoistedAndCloned(hoisted + hoisted);
}

} // namespace
