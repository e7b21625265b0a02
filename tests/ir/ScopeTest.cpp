#include "tests/support/IrFixture.hpp"

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using sxir::ScopeItemType;
using sxir_test::IrTest;
using Reports = std::vector<std::string>;

// Records every report and, while `throwing` is set, throws it as well; one scope can
// so be filled through a returning reporter and then probed through a throwing one.
class SwitchableEnvironment : public sxir_test::RecordingEnvironment {
public:
    bool throwing = false;
    void reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                     sxu::string const& arg4) const override
    {
        RecordingEnvironment::reportError(id, arg1, arg2, arg3, arg4);
        if (throwing) {
            throw sxir::ReportedError(id, arg1, arg2, arg3, arg4);
        }
    }
};

class ScopeCheckTest : public ::testing::Test {
protected:
    SwitchableEnvironment env;
    sxir_test::ContextPtr context = sxir_test::makeContext(env);
    sxir::Scope& global = context->getGlobalScope();
    sxir::Scope& moduleScope = global.addScopeItem<sxir::Module>("m")->getModuleScope();

    /// Adds through a returning reporter: the reports, as "id(arg1,arg2,arg3,arg4)". The item gets in regardless.
    Reports addReturning(sxir::Scope& scope, ScopeItemType::Type kind, sxu::string const& name)
    {
        env.throwing = false;
        env.clearReports();
        unsigned long const count = scope.getNumScopeItems();
        sxir::ScopeItem* item = scope.addGenericScopeItem(kind, name);
        EXPECT_EQ(scope.getGenericScopeItem(count), item);
        EXPECT_EQ(item->getId(), count);
        EXPECT_EQ(item->getScopeItemType(), kind);
        Reports texts;
        for (auto const& r : env.reports()) {
            auto const& a = r.arguments;
            texts.push_back(r.id + "(" + a[0] + "," + a[1] + "," + a[2] + "," + a[3] + ")");
        }
        return texts;
    }

    /// Adds through a throwing reporter: the one report thrown. The scope stays as it was.
    std::string addThrowing(sxir::Scope& scope, ScopeItemType::Type kind, sxu::string const& name)
    {
        env.throwing = true;
        env.clearReports();
        unsigned long const count = scope.getNumScopeItems();
        sxir::ScopeItem const* before = scope.lookupGenericScopeItem(name);
        std::string thrown = "nothing thrown";
        try {
            scope.addGenericScopeItem(kind, name);
        } catch (sxir::ReportedError const& e) {
            thrown = e.getId() + "(" + e.getArgument(1) + "," + e.getArgument(2) + "," + e.getArgument(3) + "," +
                     e.getArgument(4) + ")";
        }
        env.throwing = false;
        EXPECT_EQ(env.reports().size(), 1u);
        EXPECT_EQ(scope.getNumScopeItems(), count);
        EXPECT_EQ(scope.lookupGenericScopeItem(name), before);
        return thrown;
    }
};

TEST_F(ScopeCheckTest, InvalidIdentifierIsReportedWithTheName)
{
    EXPECT_EQ(addThrowing(moduleScope, ScopeItemType::Variable, "1x"), "sxir:scope:InvalidIdentifier(1x,,,)");
    EXPECT_EQ(addReturning(moduleScope, ScopeItemType::Variable, "1x"), Reports{"sxir:scope:InvalidIdentifier(1x,,,)"});
    EXPECT_EQ(moduleScope.lookupGenericScopeItem("1x"), moduleScope.getGenericScopeItem(0));
}

TEST_F(ScopeCheckTest, DuplicateNameIsReportedAndTheIndexKeepsTheFirstItem)
{
    EXPECT_EQ(addReturning(moduleScope, ScopeItemType::Variable, "x"), Reports{});
    EXPECT_EQ(addThrowing(moduleScope, ScopeItemType::Function, "x"), "sxir:scope:DuplicateScopeItemNames(x,,,)");
    EXPECT_EQ(addReturning(moduleScope, ScopeItemType::Module, "x"),
              Reports{"sxir:scope:DuplicateScopeItemNames(x,,,)"});
    EXPECT_EQ(moduleScope.lookupGenericScopeItem("x"), moduleScope.getGenericScopeItem(0));
}

TEST_F(ScopeCheckTest, RefusedKindIsReportedWithTheKindWord)
{
    sxir::FunctionSignature signature(*context);
    auto* function = moduleScope.addScopeItem<sxir::Function>("f");
    function->setSignature(signature);
    struct Case {
        sxir::Scope* scope;
        ScopeItemType::Type kind;
        std::string word;
    } const cases[] = {
        {&global, ScopeItemType::Variable, "variable"},
        {&global, ScopeItemType::Function, "function"},
        {&signature.getScope(sxir::FunctionIoScopeType::Output), ScopeItemType::Module, "module"},
        {&function->getFunctionScope(sxir::FunctionScopeType::Local), ScopeItemType::Module, "module"},
        {&function->getFunctionScope(sxir::FunctionScopeType::Input), ScopeItemType::Function, "function"},
    };
    for (Case const& c : cases) {
        std::string const expected = "sxir:scope:InvalidScopeItemType(" + c.word + ",,,)";
        std::string const name = c.word + std::to_string(c.scope->getNumScopeItems());
        EXPECT_EQ(addThrowing(*c.scope, c.kind, name), expected) << name;
        EXPECT_EQ(addReturning(*c.scope, c.kind, name), Reports{expected}) << name;
    }
}

TEST_F(ScopeCheckTest, ChecksRunInOrderAndAThrowingReporterStopsAtTheFirst)
{
    EXPECT_EQ(addReturning(global, ScopeItemType::Module, "1m"), Reports{"sxir:scope:InvalidIdentifier(1m,,,)"});
    // Invalid, taken and of a refused kind at once.
    EXPECT_EQ(addThrowing(global, ScopeItemType::Variable, "1m"), "sxir:scope:InvalidIdentifier(1m,,,)");
    EXPECT_EQ(addReturning(global, ScopeItemType::Variable, "1m"),
              (Reports{"sxir:scope:InvalidIdentifier(1m,,,)", "sxir:scope:DuplicateScopeItemNames(1m,,,)",
                       "sxir:scope:InvalidScopeItemType(variable,,,)"}));
    EXPECT_EQ(global.lookupGenericScopeItem("1m")->getScopeItemType(), ScopeItemType::Module);
    EXPECT_EQ(addThrowing(global, ScopeItemType::Function, "m"), "sxir:scope:DuplicateScopeItemNames(m,,,)");
}

TEST_F(ScopeCheckTest, UniqueNamesAppendTheFirstFreeCounterToTheGivenName)
{
    auto declare = [this](std::string const& name) { moduleScope.addScopeItem<sxir::Variable>(name); };
    auto unique = [this](std::string const& name) { return moduleScope.makeUniqueName(name); };
    EXPECT_EQ(unique("tmp"), "tmp");
    EXPECT_EQ(unique(""), "");
    declare("tmp");
    EXPECT_EQ(unique("tmp"), "tmp0");
    declare("tmp1");
    EXPECT_EQ(unique("tmp"), "tmp0");
    for (int i : {0, 2, 3, 4, 5, 6, 7, 8, 9}) {
        declare("tmp" + std::to_string(i));
    }
    EXPECT_EQ(unique("tmp"), "tmp10");
    declare("tmp10");
    // The counter goes after the given name, never after the previous candidate.
    EXPECT_EQ(unique("tmp1"), "tmp11");
    EXPECT_EQ(unique("TMP"), "TMP");
    // Only this scope counts, not the global one that declares "m".
    EXPECT_EQ(unique("m"), "m");
    declare("");
    declare("1x");
    EXPECT_EQ(unique(""), "0");
    EXPECT_EQ(unique("1x"), "1x0");
}

TEST_F(IrTest, ItemsAreNumberedInInsertionOrderAndSerialsKeepGrowing)
{
    sxir::Scope& scope = module.getModuleScope();
    sxir::ScopeItem* const items[] = {scope.addScopeItem<sxir::Variable>("a"), scope.addScopeItem<sxir::Function>("f"),
                                      scope.addScopeItem<sxir::Module>("n")};
    EXPECT_EQ(scope.getNumScopeItems(), 3u);
    unsigned long serial = module.getSerial();
    for (unsigned long i = 0; i < 3; ++i) {
        EXPECT_EQ(items[i]->getId(), i);
        EXPECT_EQ(&items[i]->getParentScope(), &scope);
        EXPECT_GT(items[i]->getSerial(), serial);
        serial = items[i]->getSerial();
    }
    items[0]->setExported(true);
    std::unique_ptr<sxir::ScopeItem> loose(items[0]->clone(scope, "loose"));
    EXPECT_EQ(loose->getId(), ~0ul);
    EXPECT_GT(loose->getSerial(), serial);
    EXPECT_FALSE(loose->isExported());
    EXPECT_EQ(scope.lookupGenericScopeItem("loose"), nullptr);
}

TEST_F(IrTest, InnerDeclarationsShadowOuterOnes)
{
    sxir::Scope& global = context->getGlobalScope();
    sxir::Scope& scope = module.getModuleScope();
    sxir::ScopeItem* outer = global.addScopeItem<sxir::Module>("x");
    sxir::ScopeItem* inner = scope.addScopeItem<sxir::Variable>("x");
    sxir::Scope& nested = scope.addScopeItem<sxir::Module>("nested")->getModuleScope();
    EXPECT_EQ(global.resolveGenericScopeItem("x"), outer);
    EXPECT_EQ(scope.resolveGenericScopeItem("x"), inner);
    EXPECT_EQ(nested.resolveGenericScopeItem("x"), inner);
    EXPECT_EQ(nested.lookupGenericScopeItem("x"), nullptr);
    EXPECT_EQ(nested.resolveGenericScopeItem("module"), &module);
    EXPECT_EQ(nested.resolveGenericScopeItem("X"), nullptr);
    EXPECT_EQ(scope.resolveFunction(), nullptr);
}

TEST_F(IrTest, FunctionScopesResolveLocalThenOutputThenInputThenOutward)
{
    sxir::Scope& scope = module.getModuleScope();
    sxir::ScopeItem* moduleA = scope.addScopeItem<sxir::Variable>("a");
    sxir::ScopeItem* g = scope.addScopeItem<sxir::Variable>("g");
    sxir::Function& f = addFunction("f", {"a", "s"}, {"y", "s"});
    sxir::Variable& localS = addLocal(f, "s");
    addLocal(f, "t");
    sxir::Scope const& input = f.getFunctionScope(sxir::FunctionScopeType::Input);
    sxir::Scope const& output = f.getFunctionScope(sxir::FunctionScopeType::Output);
    sxir::Scope const& local = f.getFunctionScope(sxir::FunctionScopeType::Local);
    sxir::ScopeItem const* inputA = input.lookupGenericScopeItem("a");
    ASSERT_NE(inputA, moduleA);
    EXPECT_EQ(local.resolveGenericScopeItem("s"), &localS);
    EXPECT_EQ(output.resolveGenericScopeItem("s"), output.lookupGenericScopeItem("s"));
    EXPECT_EQ(local.resolveGenericScopeItem("y"), output.lookupGenericScopeItem("y"));
    EXPECT_EQ(local.resolveGenericScopeItem("a"), inputA);
    EXPECT_EQ(local.resolveGenericScopeItem("g"), g);
    EXPECT_EQ(local.resolveGenericScopeItem("module"), &module);
    EXPECT_EQ(output.resolveGenericScopeItem("t"), nullptr);
    EXPECT_EQ(input.resolveGenericScopeItem("y"), nullptr);
    EXPECT_EQ(input.resolveGenericScopeItem("f"), &f);
    EXPECT_EQ(local.resolveFunction(), &f);
    EXPECT_EQ(input.resolveFunction(), &f);
}

TEST(ScopeItemKind, ConvertsToAndFromLowerCaseWords)
{
    char const* const words[] = {"module", "variable", "function"};
    for (std::uint32_t i = 0; i < 3; ++i) {
        auto const kind = static_cast<ScopeItemType::Type>(i);
        EXPECT_EQ(sxir::ScopeItem::typeToString(kind), words[i]);
        EXPECT_EQ(sxir::ScopeItem::stringToType(words[i]), kind);
    }
    for (char const* unknown : {"Function", "MODULE", "", "variables"}) {
        EXPECT_EQ(static_cast<std::uint32_t>(sxir::ScopeItem::stringToType(unknown)), 0xFFFFFFFFu) << unknown;
    }
}

// Collects the names of the items of kind T, or of all items for T = ScopeItem.
template <class T>
using ConstVisitorOf = std::conditional_t<std::is_same<T, sxir::ScopeItem>::value, sxir::GenericConstScopeItemVisitor,
                                          sxir::ConstScopeItemVisitor<T>>;

template <class T> class NameCollector : public ConstVisitorOf<T> {
public:
    std::vector<std::string> names;
    void visit(T const& item) override { names.push_back(item.getName()); }
};

// Declares name + "_" for every variable visited whose name is shorter than three characters.
class Extender : public sxir::ScopeItemVisitor<sxir::Variable> {
public:
    explicit Extender(sxir::Scope& scope) : mScope(scope) {}
    std::vector<std::string> names;
    void visit(sxir::Variable& variable) override
    {
        names.push_back(variable.getName());
        if (variable.getName().size() < 3) {
            mScope.addScopeItem<sxir::Variable>(variable.getName() + "_");
        }
    }

private:
    sxir::Scope& mScope;
};

template <class T> std::vector<std::string> namesOf(sxir::Scope const& scope)
{
    NameCollector<T> collector;
    scope.visitItems(collector);
    return collector.names;
}

TEST_F(IrTest, VisitorsWalkInOrderAndTypedOnesSeeOnlyTheirKind)
{
    sxir::Scope& scope = module.getModuleScope();
    scope.addScopeItem<sxir::Variable>("a");
    scope.addScopeItem<sxir::Function>("f");
    scope.addScopeItem<sxir::Module>("n");
    scope.addScopeItem<sxir::Variable>("b");
    EXPECT_EQ(namesOf<sxir::ScopeItem>(scope), (std::vector<std::string>{"a", "f", "n", "b"}));
    EXPECT_EQ(namesOf<sxir::Variable>(scope), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(namesOf<sxir::Function>(scope), std::vector<std::string>{"f"});
    EXPECT_EQ(namesOf<sxir::Module>(scope), std::vector<std::string>{"n"});
    Extender extender(scope);
    scope.visitItems(extender);
    EXPECT_EQ(extender.names, (std::vector<std::string>{"a", "b", "a_", "b_", "a__", "b__"}));
}

TEST_F(IrTest, CopyingAScopeClonesItemsInOrderUnderFreeNames)
{
    sxir::Scope& source = context->getGlobalScope().addScopeItem<sxir::Module>("source")->getModuleScope();
    source.addScopeItem<sxir::Variable>("x")->setType(real());
    source.addScopeItem<sxir::Variable>("y")->setType(builtin(sxu::DataTypeId::Int32));
    sxir::Scope& target = module.getModuleScope();
    target.addScopeItem<sxir::Variable>("x")->setType(builtin(sxu::DataTypeId::Char));
    target.addScopeItem<sxir::Variable>("x0");
    target.copyIn(source);
    EXPECT_EQ(target.asString(", "), "char_T x, boolean_T x0, real_T x1, int32_T y");
    EXPECT_EQ(source.asString(", "), "real_T x, int32_T y");
    EXPECT_EQ(target.getGenericScopeItem(3)->getId(), 3u);
    EXPECT_NE(target.getGenericScopeItem(3), source.getGenericScopeItem(1));
    sxir::ScopeItem* again = target.copyGenericItemIn(*source.lookupGenericScopeItem("y"));
    EXPECT_EQ(again->getName(), "y0");
    EXPECT_EQ(target.getGenericScopeItem(4), again);
}

} // namespace
