#include "ir/BuiltinType.hpp"
#include "ir/MatrixType.hpp"
#include "tests/support/Environments.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace {

using sxu::DataTypeId;
using sxu::Dimension;

class TypeTest : public ::testing::Test {
protected:
    sxir_test::RecordingEnvironment env;
    sxir_test::ContextPtr context = sxir_test::makeContext(env);
    sxir_test::ContextPtr other = sxir_test::makeContext(env);

    sxir::BuiltinType const& real() const { return context->getBuiltinType(DataTypeId::Real); }
};

TEST_F(TypeTest, BuiltinTypesPrintTheirNameBeforeTheDeclaredName)
{
    char const* const expected[] = {"boolean_T x", "real_T x", "int32_T x", "uint32_T x", "char_T x"};
    for (int id = 0; id < 5; ++id) {
        EXPECT_EQ(context->getBuiltinType(static_cast<DataTypeId::Type>(id)).asString("x"), expected[id]);
    }
    EXPECT_EQ(real().asString(""), "real_T ");
}

TEST_F(TypeTest, MatrixTypesPrintDimensionsAfterTheDeclaration)
{
    sxir::MatrixType const matrix(*context, DataTypeId::Real, Dimension(3, 4));
    EXPECT_EQ(matrix.asString("A"), "real_T A[3x4]");
    EXPECT_EQ(matrix.asString(""), "real_T [3x4]");
    sxir::MatrixType const big(*context, DataTypeId::UInt32, Dimension(10000000000ul, 1));
    EXPECT_EQ(big.asString("B"), "uint32_T B[10000000000x1]");
    // The base is cloned whatever its kind, so a matrix of matrices prints both dimensions.
    sxir::MatrixType const nested(matrix, Dimension(2, 1));
    EXPECT_EQ(nested.asString("N"), "real_T N[3x4][2x1]");
}

TEST_F(TypeTest, KindAnswersDifferBetweenBuiltinAndMatrix)
{
    sxir::MatrixType const matrix(*context, DataTypeId::Int32, Dimension(2, 3));
    EXPECT_EQ(real().getTypeId(), sxir::TypeId::Builtin);
    EXPECT_EQ(matrix.getTypeId(), sxir::TypeId::Matrix);
    EXPECT_TRUE(real().isScalar());
    EXPECT_FALSE(real().isIndexable());
    EXPECT_TRUE(real().isArrayable());
    EXPECT_EQ(&real().getBaseType(), &real());
    EXPECT_TRUE(real().isBuiltinType(DataTypeId::Real));
    EXPECT_FALSE(real().isBuiltinType(DataTypeId::Int32));
    EXPECT_FALSE(matrix.isScalar());
    EXPECT_TRUE(matrix.isIndexable());
    EXPECT_TRUE(matrix.isArrayable());
    EXPECT_FALSE(matrix.isBuiltinType(DataTypeId::Int32));
    EXPECT_TRUE(matrix.getBaseType().isBuiltinType(DataTypeId::Int32));
    EXPECT_TRUE(matrix.getDimension() == Dimension(2, 3));
}

TEST_F(TypeTest, EveryBuiltinTypeSharesOneScalarDimension)
{
    sxu::Dimension const& shared = real().getDimension();
    EXPECT_TRUE(shared == Dimension(1, 1));
    for (int id = 0; id < 5; ++id) {
        EXPECT_EQ(&other->getBuiltinType(static_cast<DataTypeId::Type>(id)).getDimension(), &shared);
    }
}

TEST_F(TypeTest, OneByOneMatrixIsNeitherScalarNorItsBaseType)
{
    sxir::MatrixType const single(*context, DataTypeId::Real, Dimension(1, 1));
    EXPECT_FALSE(single.isScalar());
    EXPECT_FALSE(single.isBuiltinType(DataTypeId::Real));
    EXPECT_FALSE(single == real());
    EXPECT_FALSE(real() == single);
    EXPECT_TRUE(single != real());
}

TEST_F(TypeTest, EquivalenceIsStructuralAcrossContexts)
{
    sxir::MatrixType const a(*context, DataTypeId::Real, Dimension(3, 4));
    sxir::MatrixType const b(*other, DataTypeId::Real, Dimension(3, 4));
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(b == a);
    EXPECT_FALSE(a == sxir::MatrixType(*context, DataTypeId::Real, Dimension(4, 3)));
    EXPECT_FALSE(a == sxir::MatrixType(*context, DataTypeId::Real, Dimension(3, 5)));
    EXPECT_FALSE(a == sxir::MatrixType(*context, DataTypeId::Int32, Dimension(3, 4)));
    EXPECT_TRUE(real() == other->getBuiltinType(DataTypeId::Real));
    EXPECT_FALSE(real() == context->getBuiltinType(DataTypeId::Char));
}

TEST_F(TypeTest, CloningCopiesIntoTheSameOrAnotherContext)
{
    std::unique_ptr<sxir::Type> same(real().clone());
    std::unique_ptr<sxir::Type> moved(real().clone(*other));
    EXPECT_NE(same.get(), &real());
    EXPECT_EQ(&same->getContext(), context.get());
    EXPECT_EQ(&moved->getContext(), other.get());
    EXPECT_TRUE(*moved == real());
    EXPECT_EQ(moved->asString("v"), "real_T v");
}

TEST_F(TypeTest, CloningAMatrixClonesItsBaseType)
{
    auto* source = new sxir::MatrixType(*context, DataTypeId::Char, Dimension(2, 5));
    std::unique_ptr<sxir::Type> clone(source->clone(*other));
    EXPECT_EQ(&clone->getContext(), other.get());
    EXPECT_EQ(&clone->getBaseType().getContext(), other.get());
    EXPECT_NE(&clone->getBaseType(), &source->getBaseType());
    EXPECT_TRUE(*clone == *source);

    std::unique_ptr<sxir::Type> second(source->clone());
    sxir::Base::destroy(source);
    // The clones own their base types: they outlive the source intact.
    EXPECT_EQ(second->asString("s"), "char_T s[2x5]");
    EXPECT_TRUE(*second == *clone);
}

TEST_F(TypeTest, MatrixBaseTypeIsAlwaysAPrivateClone)
{
    sxir::MatrixType const matrix(real(), Dimension(2, 2));
    EXPECT_NE(&matrix.getBaseType(), &real());
    EXPECT_TRUE(matrix.getBaseType() == real());
    EXPECT_EQ(&matrix.getContext(), context.get());
}

} // namespace
