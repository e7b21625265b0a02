#include "tests/support/IrFixture.hpp"

namespace {

using sxir_test::IrTest;

TEST_F(IrTest, WholeFunctionPrintsInSourceOrder)
{
    sxir::Function& f = addFunction("f", {"a"}, {"y"});
    sxir::Expression a = use(f, "a");
    sxir::Expression y = use(f, "y");
    f.If(a > 0.0);
    *y = a * 2.0;
    f.Else();
    *y = a * 3.0;
    f.End();
    EXPECT_EQ(f.asString(), "function [real_T y] = f(real_T a)\n"
                            "    if (a>0)\n"
                            "    y=(a*2)\n"
                            "else\n"
                            "    y=(a*3)\n"
                            "end\n"
                            "\n"
                            "end");
}

} // namespace
