// Scopes and their items: the checks on adding, numbering, name resolution, unique names,
// visiting and copying; modules and variables.
#include "tests/support/IrFixture.hpp"

#include <string>
#include <vector>

namespace {

using sxir::ScopeItemType;
using sxir_test::IrTest;
using sxu::DataTypeId;
using Strings = std::vector<std::string>;

TEST(ScopeChecks, RunInOrderIdentifierDuplicateKindAndAThrowingReporterStopsAtTheFirst)
{
    sxir_test::RecordingEnvironment env;
    sxir_test::ContextPtr context = sxir_test::makeContext(env);
    sxir::Scope& global = context->getGlobalScope();
    global.addScopeItem<sxir::Module>("1m");
    // Invalid, taken and of a refused kind at once: a returning reporter hears all three and lets it in.
    global.addGenericScopeItem(ScopeItemType::Variable, "1m");
    Strings reports;
    for (auto const& r : env.reports()) {
        reports.push_back(r.id + ":" + r.arguments[0] + r.arguments[1] + r.arguments[2] + r.arguments[3]);
    }
    EXPECT_EQ(reports, (Strings{"sxir:scope:InvalidIdentifier:1m", "sxir:scope:InvalidIdentifier:1m",
                                "sxir:scope:DuplicateScopeItemNames:1m", "sxir:scope:InvalidScopeItemType:variable"}));
    EXPECT_EQ(global.lookupGenericScopeItem("1m"), global.getGenericScopeItem(0));

    sxir_test::ThrowingEnvironment throwingEnv;
    sxir_test::ContextPtr strict = sxir_test::makeContext(throwingEnv);
    strict->getGlobalScope().addScopeItem<sxir::Module>("m");
    EXPECT_THROW(strict->getGlobalScope().addScopeItem<sxir::Variable>("1v"), sxir::ReportedError);
    EXPECT_THROW(strict->getGlobalScope().addScopeItem<sxir::Function>("m"), sxir::ReportedError);
    ASSERT_EQ(throwingEnv.reports().size(), 2u);
    EXPECT_EQ(throwingEnv.reports()[0].id, "sxir:scope:InvalidIdentifier");
    EXPECT_EQ(throwingEnv.reports()[1].id, "sxir:scope:DuplicateScopeItemNames");
}

TEST_F(IrTest, ItemsAreNumberedInOrderWithGrowingSerialsAndUniqueNamesCountAfterTheGivenName)
{
    sxir::Scope& scope = module.getModuleScope();
    auto declare = [&scope](std::string const& name) { return scope.addScopeItem<sxir::Variable>(name); };
    EXPECT_EQ(scope.makeUniqueName("tmp"), "tmp");
    sxir::ScopeItem* const first = declare("tmp");
    sxir::ScopeItem* const second = declare("tmp1");
    EXPECT_EQ(second->getId(), 1u);
    EXPECT_GT(second->getSerial(), first->getSerial());
    EXPECT_GT(first->getSerial(), module.getSerial());
    EXPECT_EQ(scope.makeUniqueName("tmp"), "tmp0");
    for (int i : {0, 2, 3, 4, 5, 6, 7, 8, 9}) {
        declare("tmp" + std::to_string(i));
    }
    EXPECT_EQ(scope.makeUniqueName("tmp"), "tmp10");
    declare("tmp10");
    // The counter goes after the given name, never after the previous candidate.
    EXPECT_EQ(scope.makeUniqueName("tmp1"), "tmp11");
    EXPECT_EQ(scope.makeUniqueName("TMP"), "TMP");
    // Only this scope counts, not the global one that declares "module".
    EXPECT_EQ(scope.makeUniqueName("module"), "module");
}

TEST_F(IrTest, NamesResolveThroughLocalsOutputsInputsThenTheEnclosingScopes)
{
    sxir::Scope& global = context->getGlobalScope();
    sxir::Scope& scope = module.getModuleScope();
    sxir::ScopeItem* outer = global.addScopeItem<sxir::Module>("x");
    sxir::ScopeItem* inner = scope.addScopeItem<sxir::Variable>("x");
    sxir::Scope& nested = scope.addScopeItem<sxir::Module>("nested")->getModuleScope();
    EXPECT_EQ(global.resolveGenericScopeItem("x"), outer);
    EXPECT_EQ(nested.resolveGenericScopeItem("x"), inner);
    EXPECT_EQ(nested.lookupGenericScopeItem("x"), nullptr);
    EXPECT_EQ(nested.resolveGenericScopeItem("module"), &module);
    EXPECT_EQ(nested.resolveFunction(), nullptr);

    sxir::Function& f = addFunction("f", {"x", "s", "u"}, {"y", "s"});
    sxir::Variable& localS = addLocal(f, "s");
    addLocal(f, "y");
    sxir::Scope const& input = f.getFunctionScope(sxir::FunctionScopeType::Input);
    sxir::Scope const& output = f.getFunctionScope(sxir::FunctionScopeType::Output);
    EXPECT_EQ(f("s"), &localS);
    EXPECT_EQ(output.resolveGenericScopeItem("s"), output.lookupGenericScopeItem("s"));
    EXPECT_EQ(output.resolveGenericScopeItem("y"), output.lookupGenericScopeItem("y"));
    EXPECT_EQ(f("x"), input.lookupGenericScopeItem("x"));
    EXPECT_EQ(input.resolveGenericScopeItem("y"), nullptr);
    EXPECT_EQ(input.resolveGenericScopeItem("f"), &f);
    EXPECT_EQ(f("nested"), scope.lookupGenericScopeItem("nested"));
    EXPECT_EQ(f("nothing"), nullptr);
    EXPECT_EQ(f.getFunctionScope(sxir::FunctionScopeType::Local).resolveFunction(), &f);
}

TEST(ScopeItemKind, ConvertsToAndFromExactlyTheLowerCaseWords)
{
    char const* const words[] = {"module", "variable", "function"};
    for (std::uint32_t i = 0; i < 3; ++i) {
        auto const kind = static_cast<ScopeItemType::Type>(i);
        EXPECT_EQ(sxir::ScopeItem::typeToString(kind), words[i]);
        EXPECT_EQ(sxir::ScopeItem::stringToType(words[i]), kind);
    }
    for (char const* unknown : {"Function", "MODULE", "", "variables"}) {
        EXPECT_EQ(sxir::ScopeItem::stringToType(unknown), ScopeItemType::Unknown) << unknown;
    }
}

TEST_F(IrTest, VisitorsWalkInOrderSeeingOnlyTheirKindAndItemsAddedMeanwhile)
{
    sxir::Scope& scope = module.getModuleScope();
    scope.addScopeItem<sxir::Variable>("a");
    scope.addScopeItem<sxir::Function>("f");
    scope.addScopeItem<sxir::Variable>("b");
    // Declares name + "_" for each variable whose name is shorter than three characters.
    struct Extender : sxir::ScopeItemVisitor<sxir::Variable> {
        sxir::Scope* scope;
        std::string names;
        void visit(sxir::Variable& variable) override
        {
            names += variable.getName() + " ";
            if (variable.getName().size() < 3) {
                scope->addScopeItem<sxir::Variable>(variable.getName() + "_");
            }
        }
    } extender;
    extender.scope = &scope;
    scope.visitItems(extender);
    EXPECT_EQ(extender.names, "a b a_ b_ a__ b__ ");
}

TEST_F(IrTest, CopiesAreClonedInOrderUnderFreeNamesWithTheirTypesButNotTheirMutability)
{
    sxir::Scope& source = context->getGlobalScope().addScopeItem<sxir::Module>("source")->getModuleScope();
    source.addScopeItem<sxir::Variable>("x")->setType(real());
    sxir::Variable& sourceY = *source.addScopeItem<sxir::Variable>("y");
    sourceY.setType(sxir::MatrixType(*context, DataTypeId::Int32, sxu::Dimension(3, 4)));
    sourceY.setMutable(false);
    sxir::Scope& target = module.getModuleScope();
    target.addScopeItem<sxir::Variable>("x")->setType(builtin(DataTypeId::Char));
    target.addScopeItem<sxir::Variable>("x0");
    target.copyIn(source);
    EXPECT_EQ(target.asString(", "), "char_T x, boolean_T x0, real_T x1, int32_T y[3x4]");
    auto& copyY = static_cast<sxir::Variable&>(*target.copyGenericItemIn(sourceY));
    EXPECT_EQ(copyY.asString(), "int32_T y0[3x4]");
    EXPECT_TRUE(copyY.isMutable());
    // copyIn into a variable copies the type only; an untyped variable is a boolean_T of its own.
    sxir::Variable& fixed = *target.addScopeItem<sxir::Variable>("t");
    fixed.setMutable(false);
    fixed.copyIn(sourceY);
    EXPECT_FALSE(fixed.isMutable());
    EXPECT_EQ(fixed.asString(), "int32_T t[3x4]");
    fixed.setType(fixed.getType());
    EXPECT_EQ(fixed.asString(), "int32_T t[3x4]");
    fixed.copyIn(*target.addScopeItem<sxir::Variable>("u"));
    EXPECT_NE(&fixed.getType(), &builtin(DataTypeId::Boolean));
    EXPECT_EQ(fixed.asString(), "boolean_T t");
}

TEST_F(IrTest, ModulePrintsItsDeclarationsOnePerLineAndCopiesUnderAFreeName)
{
    EXPECT_EQ(module.asString(), "");
    sxir::Scope& scope = module.getModuleScope();
    sxir::Variable& a = *scope.addScopeItem<sxir::Variable>("a");
    a.setType(real());
    scope.addScopeItem<sxir::Module>("inner")->getModuleScope().addScopeItem<sxir::Variable>("c");
    // An empty module prints nothing, but is still separated from what comes before.
    scope.addScopeItem<sxir::Module>("empty");
    EXPECT_EQ(module.asString(), "real_T a\nboolean_T c\n");
    module.setExported(true);

    auto& copy = dynamic_cast<sxir::Module&>(*context->getGlobalScope().copyGenericItemIn(module));
    EXPECT_EQ(copy.getName(), "module0");
    EXPECT_FALSE(copy.isExported());
    EXPECT_EQ(copy.asString(), module.asString());
    sxir::Scope const& copyScope = copy.getModuleScope();
    auto const& copyInner = dynamic_cast<sxir::Module const&>(*copyScope.lookupGenericScopeItem("inner"));
    // The copies are enclosed by the copy, and the copy by the global scope; later changes stay behind.
    EXPECT_EQ(copyInner.getModuleScope().resolveGenericScopeItem("a"), copyScope.lookupGenericScopeItem("a"));
    EXPECT_EQ(copyInner.getModuleScope().resolveGenericScopeItem("module0"), &copy);
    a.setType(builtin(DataTypeId::Char));
    EXPECT_EQ(copy.asString(), "real_T a\nboolean_T c\n");
}

using ModuleDeathTest = IrTest;

TEST_F(ModuleDeathTest, UsingAModuleAsAnExpressionFailsTheAssertion)
{
    EXPECT_DEATH({ sxir::Expression expression(module); }, "invalid use of module \\(ir/Module:77\\)");
}

} // namespace
