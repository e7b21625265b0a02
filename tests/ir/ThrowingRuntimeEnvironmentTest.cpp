#include "ir/ErrorId.hpp"
#include "ir/ThrowingRuntimeEnvironment.hpp"

#include <gtest/gtest.h>

namespace {

TEST(ThrowingRuntimeEnvironment, ThrowsTheIdentifierAndTheFourArguments)
{
    sxir::ThrowingRuntimeEnvironment env;
    try {
        env.reportError(sxir::ErrorId::InvalidScopeItemType, "variable", "", "three", "");
        FAIL() << "reportError returned";
    } catch (sxir::ReportedError const& error) {
        EXPECT_EQ(error.getId(), "sxir:scope:InvalidScopeItemType");
        EXPECT_EQ(error.getArgument(1), "variable");
        EXPECT_EQ(error.getArgument(2), "");
        EXPECT_EQ(error.getArgument(3), "three");
        EXPECT_EQ(error.getArgument(4), "");
        EXPECT_STREQ(error.what(), "sxir:scope:InvalidScopeItemType: variable: three");
    }
}

TEST(ThrowingRuntimeEnvironment, AcceptsExactlyCIdentifiers)
{
    sxir::ThrowingRuntimeEnvironment env;
    for (char const* good : {"x", "_", "_tmp1", "Abc_DEF_09"}) {
        EXPECT_TRUE(env.isValidIdentifier(good)) << good;
    }
    for (char const* bad : {"", "1x", "a-b", "a b", "x.y", "\xc3\xa9t\xc3\xa9"}) {
        EXPECT_FALSE(env.isValidIdentifier(bad)) << bad;
    }
}

} // namespace
