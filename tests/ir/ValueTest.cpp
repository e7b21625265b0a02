// Values: construction converts like an assignment, column-major indexing, equality by bits, the text form.
#include "tests/support/IrFixture.hpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

using sxir::Value;
using sxu::DataTypeId;
using sxu::Dimension;

double const nan = std::numeric_limits<double>::quiet_NaN();
double const inf = std::numeric_limits<double>::infinity();

std::uint64_t bitsOf(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

TEST(Value, ConstructionConvertsEachNumberAsAnAssignmentFromRealDoes)
{
    EXPECT_EQ(Value(DataTypeId::Int32, 3e9).getElement(0), 2147483647.0);
    EXPECT_EQ(Value(DataTypeId::UInt32, -1.0).getElement(0), 0.0);
    EXPECT_EQ(Value(DataTypeId::Char, nan).getElement(0), 0.0);
    EXPECT_EQ(Value(DataTypeId::Boolean, 0.5).getElement(0), 1.0);
    EXPECT_EQ(bitsOf(Value(DataTypeId::Int32, -0.5).getElement(0)), bitsOf(0.0));
    EXPECT_EQ(bitsOf(Value(DataTypeId::Real, -0.0).getElement(0)), bitsOf(-0.0));
    Value const matrix(DataTypeId::Char, Dimension(1, 3), {300.0, -2.9, nan});
    EXPECT_EQ(matrix.getElements(), (std::vector<double>{127.0, -2.0, 0.0}));
}

TEST(Value, ElementsAreStoredColumnMajorAndAScalarIsOneByOne)
{
    Value const matrix(DataTypeId::Int32, Dimension(2, 3), {0, 1, 2, 3, 4, 5});
    EXPECT_EQ(matrix.getNumElements(), 6u);
    EXPECT_TRUE(matrix.getDimension() == Dimension(2, 3));
    EXPECT_EQ(matrix.getElement(1, 0), 1.0);
    EXPECT_EQ(matrix.getElement(0, 1), 2.0);
    EXPECT_EQ(matrix.getElement(1, 2), 5.0);
    EXPECT_EQ(matrix.getElement(3), 3.0);
    EXPECT_EQ(matrix.getType(), DataTypeId::Int32);

    Value const scalar(DataTypeId::Real, 2.5);
    EXPECT_TRUE(scalar.getDimension() == Dimension(1, 1));
    EXPECT_EQ(scalar, Value(DataTypeId::Real, Dimension(1, 1), {2.5}));
    EXPECT_FALSE(scalar.isEmpty() || scalar.isFunction());
    EXPECT_EQ(scalar.getFunction(), nullptr);
    EXPECT_TRUE(Value().isEmpty());
    EXPECT_EQ(Value().getNumElements(), 0u);
}

class FunctionValueTest : public sxir_test::IrTest {};

TEST_F(FunctionValueTest, EqualityComparesKindTypeDimensionAndBitsWithEveryNaNEqual)
{
    double otherNaN;
    std::uint64_t const pattern = 0xfff8000000000abcu;
    std::memcpy(&otherNaN, &pattern, sizeof otherNaN);
    EXPECT_EQ(Value(DataTypeId::Real, nan), Value(DataTypeId::Real, otherNaN));
    EXPECT_NE(Value(DataTypeId::Real, -0.0), Value(DataTypeId::Real, 0.0));
    EXPECT_NE(Value(DataTypeId::Int32, 1.0), Value(DataTypeId::UInt32, 1.0));
    EXPECT_NE(Value(DataTypeId::Real, Dimension(2, 1), {1, 2}), Value(DataTypeId::Real, Dimension(1, 2), {1, 2}));
    EXPECT_NE(Value(DataTypeId::Real, Dimension(2, 1), {1, 2}), Value(DataTypeId::Real, Dimension(2, 1), {1, 3}));
    EXPECT_EQ(Value(DataTypeId::Real, Dimension(0, 4), {}), Value(DataTypeId::Real, Dimension(0, 4), {}));
    EXPECT_NE(Value(DataTypeId::Real, Dimension(0, 4), {}), Value(DataTypeId::Real, Dimension(4, 0), {}));
    EXPECT_EQ(Value(), Value());
    EXPECT_NE(Value(), Value(DataTypeId::Boolean, 0.0));

    sxir::Function& f = addFunction("times_two", {"x"}, {"y"});
    sxir::Function& g = addFunction("g", {"x"}, {"y"});
    Value const function(f);
    EXPECT_TRUE(function.isFunction());
    EXPECT_EQ(function.getFunction(), &f);
    EXPECT_EQ(function, Value(f));
    EXPECT_NE(function, Value(g));
    EXPECT_NE(function, Value());
    EXPECT_EQ(function.asString(), "function times_two");
}

TEST(Value, TextNamesTheTypeAndShowsRealsSoTheyReadBackExactly)
{
    EXPECT_EQ(Value().asString(), "empty");
    EXPECT_EQ(Value(DataTypeId::Real, 2.5).asString(), "real_T 2.5");
    EXPECT_EQ(Value(DataTypeId::Int32, Dimension(3, 1), {1, 2, 3}).asString(), "int32_T [3x1] {1,2,3}");
    EXPECT_EQ(Value(DataTypeId::Real, Dimension(1, 5), {nan, inf, -inf, -0.0, 0.1}).asString(),
              "real_T [1x5] {nan,inf,-inf,-0,0.1}");
    EXPECT_EQ(Value(DataTypeId::Real, -nan).asString(), "real_T nan");
    EXPECT_EQ(Value(DataTypeId::Char, -5.0).asString(), "char_T -5");
    EXPECT_EQ(Value(DataTypeId::Boolean, 7.0).asString(), "boolean_T 1");
    EXPECT_EQ(Value(DataTypeId::UInt32, 4294967295.0).asString(), "uint32_T 4294967295");
    EXPECT_EQ(Value(DataTypeId::Int32, Dimension(0, 2), {}).asString(), "int32_T [0x2] {}");
    for (double number : {0.1 + 0.2, 1e300, 5e-324, 2.2250738585072014e-308, -1.0 / 3.0, 123456789012345680.0}) {
        std::string const text = Value(DataTypeId::Real, number).asString();
        ASSERT_EQ(text.rfind("real_T ", 0), 0u) << text;
        EXPECT_EQ(bitsOf(std::strtod(text.c_str() + 7, nullptr)), bitsOf(number)) << text;
    }
    EXPECT_EQ(Value(DataTypeId::Real, 0.1 + 0.2).asString(), "real_T 0.30000000000000004");
}

} // namespace
