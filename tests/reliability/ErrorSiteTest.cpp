// Every user error through every operation that raises it: what is reported, that a throwing
// reporter leaves the IR as it was and usable, and that a returning one lets the operation finish.
#include "ir/sxir.hpp"
#include "tests/support/Environments.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace {

using namespace sxir;
using FS = FunctionScopeType;
using IO = FunctionIoScopeType;

/// The IR the sites work on, in `context`; and in `odd`, whose reporter returns, items let in under names
/// that no context accepts, for copies into `context` to refuse.
struct World {
    explicit World(bool throwing)
        : env(throwing ? std::make_unique<sxir_test::ThrowingEnvironment>()
                       : std::make_unique<sxir_test::RecordingEnvironment>())
    {}

    /// A function "name(in)" in `owner` with the local `local` and the body local=in (all boolean_T).
    static Function* addFunction(Scope& owner, char const* name, char const* in, char const* local)
    {
        FunctionSignature io(owner.getContext());
        io.addInput(in);
        auto* function = owner.addScopeItem<Function>(name);
        function->setSignature(io);
        function->getFunctionScope(FS::Local).addScopeItem<Variable>(local);
        *Expression(*(*function)(local)) = Expression(*(*function)(in));
        return function;
    }

    std::string snapshot() const { return global.asString("\n") + "\n" + sig.asString("sig"); }

    /// Everything takes valid additions (a throwing reporter would throw), and the context copies whole.
    void checkUsable()
    {
        scope.addScopeItem<Variable>("extra");
        *Expression(*(*f)("t")) = Expression(*(*f)("t")) + 1.0;
        s->setSignature(f->getSignature());
        sig.addInput("c");
        EXPECT_EQ(std::string(sig.asString("sig")), "[boolean_T b] = sig(boolean_T a, boolean_T c)");
        EXPECT_EQ(odd->getGlobalScope().copyGenericItemIn(*module)->asString(), module->asString());
    }

    std::unique_ptr<sxir_test::RecordingEnvironment> env;
    sxir_test::RecordingEnvironment oddEnv;
    sxir_test::ContextPtr context = sxir_test::makeContext(*env), odd = sxir_test::makeContext(oddEnv);
    FunctionSignature sig{*context};
    Variable *a = &sig.addInput("a"), *b = &sig.addOutput("b");
    Scope& global = context->getGlobalScope();
    Module* module = global.addScopeItem<Module>("module");
    Scope& scope = module->getModuleScope();
    Function *f = addFunction(scope, "f", "a", "t"), *s = scope.addScopeItem<Function>("s");
    Scope& locals = f->getFunctionScope(FS::Local);
    Module* oddModule = odd->getGlobalScope().addScopeItem<Module>("odd");
    Variable* level = oddModule->getModuleScope().addScopeItem<Variable>("1evel");
    Scope& lib = odd->getGlobalScope().addScopeItem<Module>("lib")->getModuleScope();
    Function *g = addFunction(lib, "g", "1n", "t"), *k = addFunction(lib, "k", "a", "2mp"),
             *n = addFunction(lib, "3ain", "a", "t");
    std::unique_ptr<Type> kept;
};

/// An operation that reports, and the item that carries the refused name or kind once a returning
/// reporter has let the operation finish (null for an assignment).
struct Site {
    char const* name;
    char const* id;
    char const* argument;
    std::function<ScopeItem*(World&)> run;
};

ScopeItem* find(Scope& scope, char const* name)
{
    return scope.lookupGenericScopeItem(name);
}

ScopeItem* find(ScopeItem* function, FS::Type kind, char const* name)
{
    return find(static_cast<Function*>(function)->getFunctionScope(kind), name);
}

// clang-format off
#define SITE(name, id, argument, ...) \
    Site{#name, ErrorId::id, argument, [](World& w) -> ScopeItem* { return (__VA_ARGS__); }}
Site const sites[] = {
    // Adding to scopes of each configuration and to a signature.
    SITE(AddInvalidName, InvalidIdentifier, "2x", w.scope.addScopeItem<Variable>("2x")),
    SITE(AddDuplicate, DuplicateScopeItemNames, "module", w.global.addScopeItem<Module>("module")),
    SITE(AddVariableToGlobal, InvalidScopeItemType, "variable",
         w.global.addGenericScopeItem(ScopeItemType::Variable, "v")),
    SITE(AddModuleToLocals, InvalidScopeItemType, "module", w.locals.addScopeItem<Module>("n")),
    SITE(AddModuleToSignature, InvalidScopeItemType, "module", w.sig.getScope(IO::Input).addScopeItem<Module>("n")),
    SITE(AddInputInvalidName, InvalidIdentifier, "9", &w.sig.addInput("9")),
    SITE(AddInputDuplicate, DuplicateScopeItemNames, "a", &w.sig.addInput("a")),
    SITE(AddOutputInvalidName, InvalidIdentifier, "b'", &w.sig.addOutput("b'")),
    SITE(AddOutputDuplicate, DuplicateScopeItemNames, "b", &w.sig.addOutput("b")),
    SITE(AddVariableInvalidName, InvalidIdentifier, "", &w.sig.addVariable(IO::Output, "")),
    SITE(AddVariableDuplicate, DuplicateScopeItemNames, "a", &w.sig.addVariable(IO::Input, "a")),
    SITE(BuildSampleTwice, DuplicateScopeItemNames, "module",
         TestCatalog::get()->createModule("times_two", *w.context)),
    // Copies of odd items: the destination's identifier rule and kinds decide.
    SITE(CopyVariable, InvalidIdentifier, "1evel", w.scope.copyGenericItemIn(*w.level)),
    SITE(CopyModuleRefusingItem, InvalidIdentifier, "1evel",
         find(static_cast<Module*>(w.global.copyGenericItemIn(*w.oddModule))->getModuleScope(), "1evel")),
    SITE(CopyFunctionRefusingInput, InvalidIdentifier, "1n", find(w.scope.copyGenericItemIn(*w.g), FS::Input, "1n")),
    SITE(CopyFunctionRefusingLocal, InvalidIdentifier, "2mp", find(w.scope.copyGenericItemIn(*w.k), FS::Local, "2mp")),
    SITE(CopyFunctionRefusingName, InvalidIdentifier, "3ain", w.scope.copyGenericItemIn(*w.n)),
    SITE(CopyVariableToGlobal, InvalidScopeItemType, "variable", w.global.copyGenericItemIn(*w.a)),
    SITE(CopyFunctionToLocals, InvalidScopeItemType, "function", w.locals.copyGenericItemIn(*w.f)),
    SITE(ScopeCopyIn, InvalidIdentifier, "1evel", w.scope.copyIn(w.level->getParentScope()), find(w.scope, "1evel")),
    SITE(ScopeCopyInToGlobal, InvalidScopeItemType, "variable", w.global.copyIn(w.locals), find(w.global, "t")),
    SITE(ModuleCopyIn, InvalidIdentifier, "1evel", w.module->copyIn(*w.oddModule), find(w.scope, "1evel")),
    SITE(SetSignature, InvalidIdentifier, "1n", w.s->setSignature(w.g->getSignature()), find(w.s, FS::Input, "1n")),
    SITE(FunctionCopyIn, InvalidIdentifier, "1n", w.s->copyIn(*w.g), find(w.s, FS::Input, "1n")),
    SITE(CloneSignature, InvalidIdentifier, "1n", w.kept.reset(w.g->getSignature().clone(*w.context)),
         find(static_cast<FunctionSignature&>(*w.kept).getScope(IO::Input), "1n")),
    // Assignments of which neither side belongs to a function.
    SITE(AssignConstants, CannotResolveFunction, "", Expression(*w.context, 1.0).assign(2.0, false), nullptr),
    SITE(AssignAutoGenerated, CannotResolveFunction, "", Expression(*w.a).assign(2.0, true), nullptr),
    SITE(AssignToSignatureVariable, CannotResolveFunction, "", *Expression(*w.a) = 1.0, nullptr),
    SITE(AssignLValueToLValue, CannotResolveFunction, "", *Expression(*w.a) = *Expression(*w.a), nullptr),
    SITE(AssignToFunctionReference, CannotResolveFunction, "", *Expression(*w.f) = *w.a, nullptr),
    SITE(AssignCallOfConstant, CannotResolveFunction, "", *Expression(*w.a) = (*w.f << 1.0), nullptr),
    // Reported through the context of the left side.
    SITE(AssignAcrossContexts, CannotResolveFunction, "", *Expression(*w.context, 1u) = *w.level, nullptr),
};
// clang-format on

TEST(ErrorSites, EachReportedToAThrowingAndToAReturningReporter)
{
    for (Site const& site : sites) {
        for (bool throwing : {true, false}) {
            SCOPED_TRACE(std::string(site.name) + (throwing ? ", throwing reporter" : ", returning reporter"));
            long const before = sxu::Allocate::getStatistics().bytesInUse;
            auto w = std::make_unique<World>(throwing);
            std::string const snapshot = w->snapshot();
            ScopeItem const* item = nullptr;
            try {
                item = site.run(*w);
                EXPECT_FALSE(throwing) << "nothing thrown";
            } catch (ReportedError const&) {
            }
            // A copied parameter is checked in each scope it passes through, so may be reported more than once.
            auto const& reports = w->env->reports();
            EXPECT_TRUE(throwing ? reports.size() == 1 : !reports.empty()) << reports.size() << " reports";
            for (sxir_test::Report const& r : reports) {
                EXPECT_EQ(r.id, site.id);
                EXPECT_EQ(r.arguments, (std::array<std::string, 4>{site.argument, "", "", ""}));
            }
            // A returning reporter lets every item in regardless, and no assignment without a function.
            EXPECT_EQ(item == nullptr, throwing || site.id == ErrorId::CannotResolveFunction);
            if (item == nullptr) {
                EXPECT_EQ(w->snapshot(), snapshot);
                w->checkUsable();
            } else {
                EXPECT_EQ(item->getParentScope().getGenericScopeItem(item->getId()), item);
                EXPECT_EQ(site.id == ErrorId::InvalidScopeItemType ? ScopeItem::typeToString(item->getScopeItemType())
                                                                   : item->getName(),
                          site.argument);
            }
            w.reset();
            EXPECT_EQ(sxu::Allocate::getStatistics().bytesInUse, before) << "memory leaked";
        }
    }
}

} // namespace
