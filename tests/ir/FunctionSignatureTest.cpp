#include "tests/support/IrFixture.hpp"

#include <array>
#include <memory>
#include <string>

namespace {

using sxir::FunctionIoScopeType;
using sxir_test::IrTest;
using sxu::DataTypeId;
using Arguments = std::array<std::string, 4>;

TEST_F(IrTest, EmptySignatureIsAScalarTypePrintedAsTheBareName)
{
    sxir::FunctionSignature const signature(*context);
    EXPECT_EQ(signature.asString("f"), "f");
    EXPECT_EQ(signature.getTypeId(), sxir::TypeId::FunctionSignature);
    EXPECT_TRUE(signature.getDimension() == sxu::Dimension(1, 1));
    EXPECT_TRUE(signature.isScalar());
    EXPECT_FALSE(signature.isIndexable());
    EXPECT_FALSE(signature.isArrayable());
    EXPECT_EQ(&signature.getBaseType(), &signature);
    for (int id = 0; id < 5; ++id) {
        EXPECT_FALSE(signature.isBuiltinType(static_cast<DataTypeId::Type>(id))) << id;
    }
}

TEST_F(IrTest, SignaturePrintsBracketedOutputsThenNameThenInputs)
{
    sxir::FunctionSignature signature(*context);
    signature.addInput("a").setType(real());
    EXPECT_EQ(signature.asString("f"), "f(real_T a)");
    signature.addInput("b").setType(sxir::MatrixType(*context, DataTypeId::Int32, sxu::Dimension(2, 1)));
    EXPECT_EQ(signature.asString("f"), "f(real_T a, int32_T b[2x1])");
    sxir::FunctionSignature outputs(*context);
    outputs.addOutput("y").setType(real());
    EXPECT_EQ(outputs.asString("f"), "[real_T y] = f");
    outputs.addOutput("z");
    outputs.addInput("a").setType(real());
    EXPECT_EQ(outputs.asString("g"), "[real_T y, boolean_T z] = g(real_T a)");
}

TEST_F(IrTest, ParametersAreKeptInOrderInOneScopePerDirection)
{
    sxir::FunctionSignature signature(*context);
    sxir::Variable& x = signature.addInput("x");
    sxir::Variable& w = signature.addVariable(FunctionIoScopeType::Input, "w");
    sxir::Variable& out = signature.addOutput("x");
    sxir::Scope const& inputs = signature.getScope(FunctionIoScopeType::Input);
    EXPECT_EQ(&x.getParentScope(), &inputs);
    EXPECT_EQ(&out.getParentScope(), &signature.getScope(FunctionIoScopeType::Output));
    EXPECT_EQ(w.getId(), 1u);
    EXPECT_EQ(out.getId(), 0u);
    EXPECT_EQ(&x.getType(), &builtin(DataTypeId::Boolean));
    // Names in a signature resolve there only.
    EXPECT_EQ(inputs.resolveGenericScopeItem("module"), nullptr);
    EXPECT_EQ(inputs.resolveFunction(), nullptr);
}

TEST(FunctionSignatureReporting, RepeatedOrInvalidNameIsAddedWhenTheReporterReturns)
{
    sxir_test::RecordingEnvironment env;
    sxir_test::ContextPtr context = sxir_test::makeContext(env);
    sxir::FunctionSignature signature(*context);
    sxir::Variable& first = signature.addInput("x");
    EXPECT_EQ(signature.addInput("x").getId(), 1u);
    signature.addOutput("2y");
    ASSERT_EQ(env.reports().size(), 2u);
    EXPECT_EQ(env.reports()[0].id, "sxir:scope:DuplicateScopeItemNames");
    EXPECT_EQ(env.reports()[0].arguments, (Arguments{"x", "", "", ""}));
    EXPECT_EQ(env.reports()[1].id, "sxir:scope:InvalidIdentifier");
    EXPECT_EQ(env.reports()[1].arguments, (Arguments{"2y", "", "", ""}));
    EXPECT_EQ(signature.getScope(FunctionIoScopeType::Input).lookupGenericScopeItem("x"), &first);
    EXPECT_EQ(signature.asString("f"), "[boolean_T 2y] = f(boolean_T x, boolean_T x)");
}

TEST_F(IrTest, SignaturesAreNeverEquivalent)
{
    sxir::FunctionSignature signature(*context);
    signature.addInput("a").setType(real());
    std::unique_ptr<sxir::Type> copy(signature.clone());
    sxir::Type const& self = signature;
    EXPECT_FALSE(signature == self);
    EXPECT_TRUE(signature != self);
    EXPECT_FALSE(signature == *copy);
    EXPECT_FALSE(signature == real());
    EXPECT_FALSE(real() == signature);
    EXPECT_FALSE(sxir::FunctionSignature(*context) == sxir::FunctionSignature(*context));
}

TEST_F(IrTest, CloneInAnotherContextHasTheSameParametersAllMutable)
{
    sxir::FunctionSignature signature(*context);
    sxir::Variable& a = signature.addInput("a");
    a.setType(real());
    a.setMutable(false);
    signature.addInput("n").setType(sxir::MatrixType(*context, DataTypeId::UInt32, sxu::Dimension(2, 2)));
    signature.addOutput("y").setType(builtin(DataTypeId::Char));
    signature.addOutput("a").setMutable(false);

    sxir_test::RecordingEnvironment otherEnv;
    sxir_test::ContextPtr other = sxir_test::makeContext(otherEnv);
    std::unique_ptr<sxir::Type> cloned(signature.clone(*other));
    auto const& clone = dynamic_cast<sxir::FunctionSignature const&>(*cloned);
    EXPECT_EQ(&clone.getContext(), other.get());
    EXPECT_EQ(clone.asString("f"), "[char_T y, boolean_T a] = f(real_T a, uint32_T n[2x2])");
    for (auto kind : {FunctionIoScopeType::Input, FunctionIoScopeType::Output}) {
        for (unsigned long i = 0; i < 2; ++i) {
            auto const& to = dynamic_cast<sxir::Variable const&>(*clone.getScope(kind).getGenericScopeItem(i));
            EXPECT_TRUE(to.isMutable()) << to.getName();
            EXPECT_EQ(&to.getContext(), other.get());
            EXPECT_EQ(&to.getType().getContext(), other.get());
        }
    }
    signature.addInput("later");
    EXPECT_EQ(clone.getScope(FunctionIoScopeType::Input).getNumScopeItems(), 2u);
    std::unique_ptr<sxir::Type> local(signature.clone());
    EXPECT_EQ(&local->getContext(), context.get());
    EXPECT_EQ(local->asString("g"), "[char_T y, boolean_T a] = g(real_T a, uint32_T n[2x2], boolean_T later)");
}

} // namespace
