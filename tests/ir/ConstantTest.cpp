#include "tests/support/IrFixture.hpp"

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using sxir::Expression;
using sxu::DataTypeId;

class ConstantTest : public sxir_test::IrTest {};

/// Fails on the first value whose constant prints other than a default string stream
/// writes it, alone or (through the tree printer) under a unary minus.
template <class T>
::testing::AssertionResult printsLikeStream(sxir::Context const& context, std::vector<T> const& values)
{
    for (T const& value : values) {
        std::ostringstream stream;
        stream << value;
        Expression const constant(context, value);
        if (constant.asString() != stream.str() || (-constant).asString() != "-" + stream.str()) {
            std::ostringstream shown;
            shown << std::hexfloat << +value;
            return ::testing::AssertionFailure()
                   << shown.str() << " prints \"" << constant.asString() << "\", expected \"" << stream.str() << "\"";
        }
    }
    return ::testing::AssertionSuccess();
}

TEST_F(ConstantTest, PrintsAsADefaultStringStreamWritesTheValue)
{
    using Limits = std::numeric_limits<double>;
    // clang-format off
    std::vector<double> doubles = {-0.0, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(),
                                   -Limits::quiet_NaN(), Limits::denorm_min(), Limits::min(), Limits::max(),
                                   Limits::lowest(), 999999.5, 9999995.0, 99999.95, 0.0001, 0.00001, 1e16};
    // clang-format on
    for (int exponent = -324; exponent <= 308; ++exponent) {
        // Decimal rounding boundaries at every magnitude, and their neighbours.
        for (double const mantissa : {9.999995, 1.234565, 5.0}) {
            double const value = mantissa * std::pow(10.0, exponent);
            doubles.insert(doubles.end(), {value, std::nextafter(value, 0.0), std::nextafter(value, Limits::max())});
        }
    }
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> significand(1.0, 10.0);
    std::uniform_int_distribution<int> exponent(-320, 308);
    std::vector<int> ints = {0, -17, INT_MAX, INT_MIN};
    std::vector<unsigned int> unsigneds = {0u, 4000000000u, UINT_MAX};
    for (int i = 0; i < 10000; ++i) {
        std::uint64_t const bits = random();
        double pattern;
        std::memcpy(&pattern, &bits, sizeof pattern);
        doubles.insert(doubles.end(), {pattern, significand(random) * std::pow(10.0, exponent(random))});
        ints.push_back(static_cast<int>(bits));
        unsigneds.push_back(static_cast<unsigned int>(bits >> 32));
    }
    std::vector<char> chars;
    std::vector<unsigned char> booleans;
    for (int byte = 0; byte < 256; ++byte) {
        chars.push_back(static_cast<char>(byte));
        booleans.push_back(static_cast<unsigned char>(byte));
    }
    EXPECT_TRUE(printsLikeStream(*context, doubles));
    EXPECT_TRUE(printsLikeStream(*context, ints));
    EXPECT_TRUE(printsLikeStream(*context, unsigneds));
    EXPECT_TRUE(printsLikeStream(*context, chars));
    EXPECT_TRUE(printsLikeStream(*context, booleans));
    // A boolean is one raw byte: neither digits nor words.
    EXPECT_EQ(Expression(*context, static_cast<unsigned char>(1)).asString(), std::string(1, '\x01'));
    EXPECT_EQ(Expression(*context, static_cast<unsigned char>(0)).asString(), std::string(1, '\0'));
    EXPECT_EQ(Expression(*context, 123456789.0).asString(), "1.23457e+08");
}

TEST_F(ConstantTest, DataTypeIdSelectsTheValueTypeAndTheSharedBuiltinType)
{
    unsigned char const boolean = 1;
    double const real = 2.5;
    int const int32 = -3;
    unsigned int const uint32 = 4u;
    char const character = 'z';
    void const* const values[] = {&boolean, &real, &int32, &uint32, &character};
    char const* const texts[] = {"\x01", "2.5", "-3", "4", "z"};
    for (int id = 0; id < 5; ++id) {
        auto const type = static_cast<DataTypeId::Type>(id);
        sxir::Constant* made = sxir::Constant::createScalarConstant(*context, type, values[id]);
        Expression const e(*made);
        made->releaseReference();
        EXPECT_EQ(e.asString(), texts[id]);
        EXPECT_EQ(e.getGenericType(), &builtin(type));
        EXPECT_TRUE(made->isBuiltinType(type));
        EXPECT_FALSE(made->isBuiltinType(static_cast<DataTypeId::Type>((id + 1) % 5)));
        EXPECT_EQ(e.resolveFunction(), nullptr);
        EXPECT_FALSE(e.isLValue());
    }
}

TEST_F(ConstantTest, EquivalentOnlyWithTheSameValueTypeAndAnEqualValue)
{
    sxir::Context const& c = *context;
    EXPECT_TRUE(Expression(c, 7).isEquivalent(Expression(c, 7)));
    EXPECT_FALSE(Expression(c, 7).isEquivalent(Expression(c, 8)));
    EXPECT_FALSE(Expression(c, 7).isEquivalent(Expression(c, 7u)));
    EXPECT_FALSE(Expression(c, 1).isEquivalent(Expression(c, 1.0)));
    EXPECT_FALSE(Expression(c, 'a').isEquivalent(Expression(c, static_cast<unsigned char>('a'))));
    EXPECT_TRUE(Expression(c, 0.0).isEquivalent(Expression(c, -0.0)));
    Expression const nan(c, std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(nan.isEquivalent(nan));
    EXPECT_FALSE(Expression(c, 0).isEquivalent(-Expression(c, 0)));
}

TEST_F(ConstantTest, ClonesCarryTheValueIntoTheTargetFunctionsContext)
{
    sxir_test::RecordingEnvironment otherEnv;
    sxir_test::ContextPtr other = sxir_test::makeContext(otherEnv);
    sxir::Function& f = addFunction("f", {}, {});
    for (Expression const& value : {Expression(*other, 'q'), Expression(*other, -2.75), Expression(*other, INT_MIN),
                                    Expression(*other, UINT_MAX), Expression(*other, static_cast<unsigned char>(1))}) {
        Expression const copy = value.clone(f);
        EXPECT_EQ(&copy.getData()->getContext(), context.get());
        auto const& source = dynamic_cast<sxir::Constant const&>(*value.getData());
        EXPECT_EQ(copy.getGenericType(), &builtin(source.getType()->getType()));
        EXPECT_TRUE(copy.isEquivalent(value));
        EXPECT_EQ(copy.asString(), value.asString());
    }
}

} // namespace
