// The object core and the types: the ready-made runtime environment;
// builtin types, matrix types and function signatures.
#include "tests/support/IrFixture.hpp"

#include <memory>
#include <string>

namespace {

using sxir::FunctionIoScopeType;
using sxir_test::makeContext;
using sxir_test::RecordingEnvironment;
using sxu::DataTypeId;
using sxu::Dimension;

TEST(ThrowingRuntimeEnvironment, ThrowsWhatTheContextReportsAndAcceptsExactlyCIdentifiers)
{
    sxir::ThrowingRuntimeEnvironment env;
    auto context = makeContext(env);
    try {
        context->reportError(sxir::ErrorId::InvalidScopeItemType, "variable", "", "three", "");
        ADD_FAILURE() << "reportError returned";
    } catch (sxir::ReportedError const& error) {
        EXPECT_EQ(error.getArgument(1) + error.getArgument(2) + error.getArgument(3) + error.getArgument(4),
                  "variablethree");
        EXPECT_STREQ(error.what(), "sxir:scope:InvalidScopeItemType: variable: three");
    }
    for (char const* good : {"x", "_", "_tmp1", "Abc_DEF_09"}) {
        EXPECT_TRUE(context->isValidIdentifier(good)) << good;
    }
    for (char const* bad : {"", "1x", "a-b", "a b", "x.y", "\xc3\xa9t\xc3\xa9"}) {
        EXPECT_FALSE(context->isValidIdentifier(bad)) << bad;
    }
}

class TypeTest : public sxir_test::IrTest {
protected:
    sxir_test::ContextPtr other = makeContext(env);
};

TEST_F(TypeTest, TypesPrintTheirNameThenTheDeclaredNameThenTheDimensions)
{
    char const* const expected[] = {"boolean_T x", "real_T x", "int32_T x", "uint32_T x", "char_T x"};
    for (int id = 0; id < 5; ++id) {
        EXPECT_EQ(builtin(static_cast<DataTypeId::Type>(id)).asString("x"), expected[id]);
    }
    EXPECT_EQ(real().asString(""), "real_T ");
    sxir::MatrixType const matrix(*context, DataTypeId::Real, Dimension(3, 4));
    EXPECT_EQ(matrix.asString(""), "real_T [3x4]");
    EXPECT_EQ(sxir::MatrixType(*context, DataTypeId::UInt32, Dimension(10000000000ul, 1)).asString("B"),
              "uint32_T B[10000000000x1]");
    // The base is cloned whatever its kind, so a matrix of matrices prints both dimensions.
    EXPECT_EQ(sxir::MatrixType(matrix, Dimension(2, 1)).asString("N"), "real_T N[3x4][2x1]");
    // Every builtin type of every context shares one 1 by 1 dimension.
    EXPECT_TRUE(real().getDimension() == Dimension(1, 1));
    EXPECT_EQ(&other->getBuiltinType(DataTypeId::Char).getDimension(), &real().getDimension());
}

TEST_F(TypeTest, EquivalenceIsStructuralAcrossContextsAndNeverHoldsForSignatures)
{
    sxir::MatrixType const a(*context, DataTypeId::Real, Dimension(3, 4));
    sxir::FunctionSignature const signature(*context);
    std::unique_ptr<sxir::Type> const signatureCopy(signature.clone());
    struct Case {
        sxir::Type const &left, &right;
        bool equivalent;
    };
    // clang-format off
    Case const cases[] = {
        {a, sxir::MatrixType(*other, DataTypeId::Real, Dimension(3, 4)), true},
        {a, sxir::MatrixType(*context, DataTypeId::Real, Dimension(4, 3)), false},
        {a, sxir::MatrixType(*context, DataTypeId::Real, Dimension(3, 5)), false},
        {a, sxir::MatrixType(*context, DataTypeId::Int32, Dimension(3, 4)), false},
        {real(), other->getBuiltinType(DataTypeId::Real), true},    {real(), builtin(DataTypeId::Char), false},
        {sxir::MatrixType(*context, DataTypeId::Real, Dimension(1, 1)), real(), false},
        {signature, signature, false},  {signature, *signatureCopy, false},     {signature, real(), false},
    };
    // clang-format on
    for (Case const& c : cases) {
        EXPECT_EQ(c.left == c.right, c.equivalent) << c.left.asString("l") << " vs " << c.right.asString("r");
        EXPECT_EQ(c.right == c.left, c.equivalent) << c.right.asString("r") << " vs " << c.left.asString("l");
        EXPECT_EQ(c.left != c.right, !c.equivalent) << c.left.asString("l") << " vs " << c.right.asString("r");
    }
}

TEST_F(TypeTest, ClonesOwnTheirBaseTypeInTheirOwnContext)
{
    EXPECT_EQ(&std::unique_ptr<sxir::Type>(real().clone(*other))->getContext(), other.get());
    auto* source = new sxir::MatrixType(*context, DataTypeId::Char, Dimension(2, 5));
    EXPECT_NE(&source->getBaseType(), &builtin(DataTypeId::Char));
    std::unique_ptr<sxir::Type> const there(source->clone(*other));
    std::unique_ptr<sxir::Type> const here(source->clone());
    EXPECT_EQ(&there->getBaseType().getContext(), other.get());
    EXPECT_NE(&here->getBaseType(), &source->getBaseType());
    sxir::Base::destroy(source);
    EXPECT_EQ(here->asString("s"), "char_T s[2x5]");
    EXPECT_TRUE(*here == *there);
}

TEST_F(TypeTest, SignaturePrintsOutputsNameAndInputsAndClonesWithEveryParameterMutable)
{
    sxir::FunctionSignature signature(*context);
    EXPECT_EQ(signature.asString("f"), "f");
    sxir::Variable& a = signature.addInput("a");
    a.setType(real());
    EXPECT_EQ(signature.asString("f"), "f(real_T a)");
    signature.addVariable(FunctionIoScopeType::Input, "n")
        .setType(sxir::MatrixType(*context, DataTypeId::UInt32, Dimension(2, 2)));
    signature.addOutput("y").setType(builtin(DataTypeId::Char));
    signature.addOutput("a");
    EXPECT_EQ(signature.asString("f"), "[char_T y, boolean_T a] = f(real_T a, uint32_T n[2x2])");
    // Names in a signature resolve there only.
    EXPECT_EQ(signature.getScope(FunctionIoScopeType::Input).resolveGenericScopeItem("module"), nullptr);

    a.setMutable(false);
    std::unique_ptr<sxir::Type> const cloned(signature.clone(*other));
    signature.addInput("later");
    auto const& clone = dynamic_cast<sxir::FunctionSignature const&>(*cloned);
    EXPECT_EQ(clone.asString("g"), "[char_T y, boolean_T a] = g(real_T a, uint32_T n[2x2])");
    auto const& clonedA =
        dynamic_cast<sxir::Variable const&>(*clone.getScope(FunctionIoScopeType::Input).getGenericScopeItem(0));
    EXPECT_TRUE(clonedA.isMutable());
    EXPECT_EQ(&clonedA.getType().getContext(), other.get());
}

} // namespace
