#include "util/DataTypeId.hpp"
#include "util/Dimension.hpp"
#include "util/List.hpp"
#include "util/String.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(String, IsAStandardStringBothWays)
{
    sxu::string name("x");
    std::string const& standard = name;
    sxu::string joined = name + "_" + sxu::string(std::string("y"));
    std::ostringstream out;
    out << joined;
    EXPECT_EQ(standard, "x");
    EXPECT_EQ(out.str(), "x_y");
    EXPECT_TRUE(sxu::string().empty());
    EXPECT_LT(sxu::string("a"), sxu::string("b"));
}

TEST(List, SupportsInsertionAndUnlinkingThroughIterators)
{
    sxu::list<int> values{1, 3};
    auto position = std::next(values.begin());
    values.insert(position, 2);
    sxu::list<int> other{4, 5};
    values.splice(values.end(), other, other.begin());
    values.erase(values.begin());
    EXPECT_EQ(std::vector<int>(values.begin(), values.end()), (std::vector<int>{2, 3, 4}));
    EXPECT_EQ(std::vector<int>(other.begin(), other.end()), (std::vector<int>{5}));
}

TEST(Dimension, EqualOnlyWhenBothCountsAre)
{
    sxu::Dimension const a(3, 4);
    EXPECT_EQ(a.m(), 3u);
    EXPECT_EQ(a.n(), 4u);
    EXPECT_TRUE(a == sxu::Dimension(3, 4));
    EXPECT_FALSE(a == sxu::Dimension(4, 3));
    EXPECT_FALSE(a == sxu::Dimension(3, 5));
    EXPECT_TRUE(sxu::Dimension(1ul << 40, 1) == sxu::Dimension(1ul << 40, 1));
}

TEST(DataTypeId, ValuesAreTheTableIndices)
{
    EXPECT_EQ(sxu::DataTypeId::Boolean, 0);
    EXPECT_EQ(sxu::DataTypeId::Real, 1);
    EXPECT_EQ(sxu::DataTypeId::Int32, 2);
    EXPECT_EQ(sxu::DataTypeId::UInt32, 3);
    EXPECT_EQ(sxu::DataTypeId::Char, 4);
    EXPECT_EQ(sizeof(sxu::DataTypeId::Type), 4u);
}

} // namespace
