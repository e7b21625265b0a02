#include "util/Assertion.hpp"

#include <gtest/gtest.h>

namespace {

TEST(AssertionDeathTest, PrintsMessageSourceAndLineThenAborts)
{
    EXPECT_DEATH(sxu_assertion("invalid use of module", "ir/Module", 77), "invalid use of module \\(ir/Module:77\\)");
}

} // namespace
