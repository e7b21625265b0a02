#include "tests/support/IrFixture.hpp"

namespace {

using sxir_test::IrTest;
using sxu::DataTypeId;

TEST_F(IrTest, ModulePrintsItsDeclarationsOnePerLine)
{
    EXPECT_EQ(module.asString(), "");
    sxir::Scope& scope = module.getModuleScope();
    scope.addScopeItem<sxir::Variable>("a")->setType(real());
    sxir::Module* inner = scope.addScopeItem<sxir::Module>("inner");
    inner->getModuleScope().addScopeItem<sxir::Variable>("c")->setType(builtin(DataTypeId::Int32));
    scope.addScopeItem<sxir::Variable>("b");
    EXPECT_EQ(module.asString(), "real_T a\nint32_T c\nboolean_T b");
    // An empty module prints nothing, but is still separated from what comes before.
    scope.addScopeItem<sxir::Module>("empty");
    EXPECT_EQ(module.asString(), "real_T a\nint32_T c\nboolean_T b\n");
}

TEST_F(IrTest, CopiedModuleGetsAFreeNameAndItsOwnCopiesOfTheItems)
{
    sxir::Scope& global = context->getGlobalScope();
    sxir::Scope& scope = module.getModuleScope();
    sxir::Variable* a = scope.addScopeItem<sxir::Variable>("a");
    a->setType(real());
    sxir::Module* inner = scope.addScopeItem<sxir::Module>("inner");
    sxir::ScopeItem* c = inner->getModuleScope().addScopeItem<sxir::Variable>("c");
    module.setExported(true);

    auto* copy = dynamic_cast<sxir::Module*>(global.copyGenericItemIn(module));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->getName(), "module0");
    EXPECT_EQ(copy->getId(), 1u);
    EXPECT_FALSE(copy->isExported());
    EXPECT_EQ(copy->asString(), "real_T a\nboolean_T c");
    sxir::Scope const& copyScope = copy->getModuleScope();
    sxir::ScopeItem const* copyA = copyScope.lookupGenericScopeItem("a");
    EXPECT_NE(copyA, a);
    auto const* copyInner = dynamic_cast<sxir::Module const*>(copyScope.lookupGenericScopeItem("inner"));
    ASSERT_NE(copyInner, nullptr);
    sxir::Scope const& copyInnerScope = copyInner->getModuleScope();
    EXPECT_NE(copyInnerScope.lookupGenericScopeItem("c"), c);
    // The copies are enclosed by the copy, and the copy by the global scope.
    EXPECT_EQ(copyInnerScope.resolveGenericScopeItem("a"), copyA);
    EXPECT_EQ(copyInnerScope.resolveGenericScopeItem("module0"), copy);
    scope.addScopeItem<sxir::Variable>("later");
    EXPECT_EQ(copyScope.resolveGenericScopeItem("later"), nullptr);
    a->setType(builtin(DataTypeId::Char));
    EXPECT_EQ(copy->asString(), "real_T a\nboolean_T c");
}

using ModuleDeathTest = IrTest;

TEST_F(ModuleDeathTest, UsingAModuleAsAnExpressionFailsTheAssertion)
{
    EXPECT_DEATH({ sxir::Expression expression(module); }, "invalid use of module \\(ir/Module:77\\)");
}

TEST_F(IrTest, NewVariableIsAMutableBooleanScalarEqualOnlyToItself)
{
    sxir::Variable* b = module.getModuleScope().addScopeItem<sxir::Variable>("b");
    EXPECT_TRUE(b->isMutable());
    EXPECT_EQ(&b->getType(), &builtin(DataTypeId::Boolean));
    EXPECT_EQ(b->asString(), "boolean_T b");
    sxir::Module* other = context->getGlobalScope().addScopeItem<sxir::Module>("other");
    sxir::Variable* twin = other->getModuleScope().addScopeItem<sxir::Variable>("b");
    EXPECT_TRUE(*b == *b);
    EXPECT_FALSE(*b == *twin);
}

TEST_F(IrTest, VariableHoldsItsOwnCopyOfItsType)
{
    sxir::Variable* v = module.getModuleScope().addScopeItem<sxir::Variable>("A");
    {
        sxir::MatrixType const type(*context, DataTypeId::Real, sxu::Dimension(3, 4));
        v->setType(type);
        EXPECT_NE(&v->getType(), &type);
    }
    EXPECT_EQ(v->asString(), "real_T A[3x4]");
    v->setType(v->getType());
    EXPECT_EQ(v->asString(), "real_T A[3x4]");
    v->setType(real());
    EXPECT_NE(&v->getType(), &real());
    EXPECT_EQ(v->asString(), "real_T A");
}

TEST_F(IrTest, CopyingAVariableCopiesTheTypeButNotTheMutability)
{
    sxir::Scope& scope = module.getModuleScope();
    sxir::Variable* source = scope.addScopeItem<sxir::Variable>("s");
    source->setType(builtin(DataTypeId::Int32));
    source->setMutable(false);
    auto* clone = static_cast<sxir::Variable*>(scope.copyGenericItemIn(*source));
    EXPECT_EQ(clone->asString(), "int32_T s0");
    EXPECT_TRUE(clone->isMutable());
    EXPECT_NE(&clone->getType(), &source->getType());

    sxir::Variable* target = scope.addScopeItem<sxir::Variable>("t");
    target->setMutable(false);
    target->copyIn(*source);
    EXPECT_FALSE(target->isMutable());
    EXPECT_EQ(target->asString(), "int32_T t");
    // The copy of an untyped variable gets a boolean_T of its own.
    target->copyIn(*scope.addScopeItem<sxir::Variable>("u"));
    EXPECT_NE(&target->getType(), &builtin(DataTypeId::Boolean));
    EXPECT_EQ(target->asString(), "boolean_T t");
}

} // namespace
