// Every user error, raised through every public operation that raises it: what is reported, that a
// throwing reporter leaves the IR as it was (and usable), and what a returning reporter lets happen.
#include "ir/sxir.hpp"
#include "tests/support/Environments.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace {

using sxir::ErrorId;
using sxir::Expression;
using sxir::ScopeItemType;
using sxir_test::RecordingEnvironment;
using sxir_test::ThrowingEnvironment;
using Reports = std::vector<std::string>;

/// The C identifier rule of `Env`, minus every name with an upper-case letter.
template <class Env> class LowerCaseEnvironment : public Env {
public:
    bool isValidIdentifier(sxu::string const& name) const override
    {
        return Env::isValidIdentifier(name) &&
               std::none_of(name.begin(), name.end(), [](unsigned char c) { return std::isupper(c) != 0; });
    }
};

std::unique_ptr<RecordingEnvironment> makeEnvironment(bool throwing, bool lowerCaseOnly)
{
    if (throwing) {
        return lowerCaseOnly ? std::make_unique<LowerCaseEnvironment<ThrowingEnvironment>>()
                             : std::make_unique<ThrowingEnvironment>();
    }
    return lowerCaseOnly ? std::make_unique<LowerCaseEnvironment<RecordingEnvironment>>()
                         : std::make_unique<RecordingEnvironment>();
}

std::string describe(std::string const& id, std::string const& a1, std::string const& a2, std::string const& a3,
                     std::string const& a4)
{
    return id + "(" + a1 + "," + a2 + "," + a3 + "," + a4 + ")";
}

Reports describe(RecordingEnvironment const& env)
{
    Reports texts;
    for (auto const& r : env.reports()) {
        texts.push_back(describe(r.id, r.arguments[0], r.arguments[1], r.arguments[2], r.arguments[3]));
    }
    return texts;
}

sxir::BuiltinType const& real(sxir::Context const& context)
{
    return context.getBuiltinType(sxu::DataTypeId::Real);
}

Expression use(sxir::Function const& function, char const* name)
{
    return Expression(*function(name));
}

using Names = std::initializer_list<char const*>;

/// A function in `owner` with real_T parameters and locals; its body starts with `to`=`from` when given.
sxir::Function* addFunction(sxir::Module& owner, char const* name, Names inputs, Names outputs, Names locals = {},
                            char const* to = nullptr, char const* from = nullptr)
{
    sxir::Context const& context = owner.getContext();
    sxir::FunctionSignature signature(context);
    for (char const* input : inputs) {
        signature.addInput(input).setType(real(context));
    }
    for (char const* output : outputs) {
        signature.addOutput(output).setType(real(context));
    }
    auto* function = owner.getModuleScope().addScopeItem<sxir::Function>(name);
    function->setSignature(signature);
    for (char const* local : locals) {
        function->getFunctionScope(sxir::FunctionScopeType::Local)
            .addScopeItem<sxir::Variable>(local)
            ->setType(real(context));
    }
    if (to != nullptr) {
        *use(*function, to) = use(*function, from);
    }
    return function;
}

/// Two contexts: `context` accepts C identifiers, `strict` only those without upper-case letters,
/// so that whatever has an upper-case name in `context` cannot be copied into `strict`.
struct World {
    std::unique_ptr<RecordingEnvironment> env, strictEnv;
    sxir_test::ContextPtr context, strict;
    std::unique_ptr<sxir::FunctionSignature> signature;
    std::vector<std::unique_ptr<sxir::Type>> kept;
    sxir::Module *module, *upper, *target;
    sxir::Variable* m;
    sxir::Function *f, *g, *h, *k, *gain, *s;

    explicit World(bool throwing)
        : env(makeEnvironment(throwing, false)), strictEnv(makeEnvironment(throwing, true)),
          context(sxir_test::makeContext(*env)), strict(sxir_test::makeContext(*strictEnv))
    {
        sxir::Scope& global = context->getGlobalScope();
        module = global.addScopeItem<sxir::Module>("module");
        m = module->getModuleScope().addScopeItem<sxir::Variable>("m");
        m->setType(real(*context));
        f = addFunction(*module, "f", {"a"}, {"y"}, {"t"});
        Expression a = use(*f, "a"), y = use(*f, "y"), t = use(*f, "t");
        *t = a * 2.0;
        f->If(a > 0.0);
        *y = t;
        f->Else();
        *y = -t;
        f->End();
        g = addFunction(*module, "g", {"In"}, {"y"}, {}, "y", "In");
        h = addFunction(*module, "h", {}, {"Out"}, {"t"}, "Out", "t");
        k = addFunction(*module, "k", {"a"}, {"y"}, {"Tmp"}, "Tmp", "a");
        gain = addFunction(*module, "Gain", {"a"}, {"y"}, {}, "y", "a");
        upper = global.addScopeItem<sxir::Module>("upper");
        upper->getModuleScope().addScopeItem<sxir::Variable>("Level")->setType(real(*context));
        signature = std::make_unique<sxir::FunctionSignature>(*context);
        signature->addInput("a").setType(real(*context));
        signature->addOutput("b").setType(real(*context));

        sxir::TestCatalog::get()->createModule("times_2_or_3", *strict);
        target = strict->getGlobalScope().addScopeItem<sxir::Module>("target");
        target->getModuleScope().addScopeItem<sxir::Variable>("x")->setType(real(*strict));
        s = target->getModuleScope().addScopeItem<sxir::Function>("s");
        EXPECT_TRUE(env->reports().empty() && strictEnv->reports().empty());
    }

    sxir::Scope& targetScope() { return target->getModuleScope(); }
    RecordingEnvironment const& reporter(bool strictContext) const { return strictContext ? *strictEnv : *env; }

    /// Everything both contexts and the loose signature print.
    std::string snapshot() const
    {
        return context->getGlobalScope().asString("\n") + "\n--\n" + strict->getGlobalScope().asString("\n") +
               "\n--\n" + signature->asString("sig");
    }

    /// Each object takes valid additions, and both contexts clone into a third one that prints the same.
    void checkUsable()
    {
        for (sxir::Module* owner : {module, upper, target}) {
            std::string const before = owner->asString();
            owner->getModuleScope().addScopeItem<sxir::Variable>("extra")->setType(real(owner->getContext()));
            EXPECT_EQ(owner->asString(), before.empty() ? "real_T extra" : before + "\nreal_T extra");
        }
        Expression t = use(*f, "t");
        *t = t + 1.0;
        EXPECT_NE(f->asString().find("\n    t=(t+1)\nend"), std::string::npos);
        s->setSignature(f->getSignature());
        *use(*s, "y") = use(*s, "a");
        EXPECT_EQ(s->asString(), "function [real_T y] = s(real_T a)\n    y=a\nend");
        signature->addInput("c");
        EXPECT_EQ(signature->asString("sig"), "[real_T b] = sig(real_T a, boolean_T c)");

        ThrowingEnvironment freshEnv;
        sxir_test::ContextPtr fresh = sxir_test::makeContext(freshEnv);
        for (sxir::Context* source : {context.get(), strict.get()}) {
            sxir::Scope const& global = source->getGlobalScope();
            for (unsigned long i = 0; i < global.getNumScopeItems(); ++i) {
                fresh->getGlobalScope().copyGenericItemIn(*global.getGenericScopeItem(i));
            }
        }
        EXPECT_EQ(fresh->getGlobalScope().asString("\n"),
                  context->getGlobalScope().asString("\n") + "\n" + strict->getGlobalScope().asString("\n"));
    }
};

/// One operation that reports: through which context, and the item that carries the refused name or
/// kind once a returning reporter has let the operation finish (null for an assignment).
struct Site {
    char const* name;
    char const* id;
    char const* argument;
    bool strictReports;
    std::function<sxir::ScopeItem*(World&)> run;
};

// clang-format off
#define SITE(name, id, argument, strictReports, ...) \
    Site{#name, ErrorId::id, argument, strictReports, [](World& w) -> sxir::ScopeItem* { __VA_ARGS__ }}
// clang-format on

using FS = sxir::FunctionScopeType;
using IO = sxir::FunctionIoScopeType;
using sxir::Function;
using sxir::Module;
using sxir::Variable;

sxir::ScopeItem* lookup(sxir::ScopeItem* function, FS::Type kind, char const* name)
{
    return dynamic_cast<Function&>(*function).getFunctionScope(kind).lookupGenericScopeItem(name);
}

Site const sites[] = {
    // Adding to the global scope, a module scope, a function scope and a signature scope.
    SITE(GlobalInvalidName, InvalidIdentifier, "1m", false,
         return w.context->getGlobalScope().addScopeItem<Module>("1m");),
    SITE(GlobalDuplicate, DuplicateScopeItemNames, "module", false,
         return w.context->getGlobalScope().addGenericScopeItem(ScopeItemType::Module, "module");),
    SITE(GlobalRefusesVariable, InvalidScopeItemType, "variable", false,
         return w.context->getGlobalScope().addGenericScopeItem(ScopeItemType::Variable, "v");),
    SITE(GlobalRefusesFunction, InvalidScopeItemType, "function", true,
         return w.strict->getGlobalScope().addScopeItem<Function>("fn");),
    SITE(ModuleInvalidName, InvalidIdentifier, "2x", false,
         return w.module->getModuleScope().addGenericScopeItem(ScopeItemType::Variable, "2x");),
    SITE(ModuleRefusesUpperCaseName, InvalidIdentifier, "X", true, return w.targetScope().addScopeItem<Variable>("X");),
    SITE(ModuleDuplicate, DuplicateScopeItemNames, "f", false,
         return w.module->getModuleScope().addScopeItem<Function>("f");),
    SITE(LocalInvalidName, InvalidIdentifier, "t t", false,
         return w.f->getFunctionScope(FS::Local).addScopeItem<Variable>("t t");),
    SITE(LocalDuplicate, DuplicateScopeItemNames, "t", false,
         return w.f->getFunctionScope(FS::Local).addGenericScopeItem(ScopeItemType::Variable, "t");),
    SITE(InputDuplicate, DuplicateScopeItemNames, "a", false,
         return w.f->getFunctionScope(FS::Input).addScopeItem<Variable>("a");),
    SITE(LocalRefusesModule, InvalidScopeItemType, "module", false,
         return w.f->getFunctionScope(FS::Local).addGenericScopeItem(ScopeItemType::Module, "sub");),
    SITE(OutputRefusesFunction, InvalidScopeItemType, "function", false,
         return w.f->getFunctionScope(FS::Output).addScopeItem<Function>("fn");),
    SITE(SignatureScopeInvalidName, InvalidIdentifier, "", false,
         return w.signature->getScope(IO::Input).addScopeItem<Variable>("");),
    SITE(SignatureScopeRefusesModule, InvalidScopeItemType, "module", false,
         return w.signature->getScope(IO::Output).addGenericScopeItem(ScopeItemType::Module, "sub");),
    SITE(AddInputInvalidName, InvalidIdentifier, "9", false, return &w.signature->addInput("9");),
    SITE(AddInputDuplicate, DuplicateScopeItemNames, "a", false, return &w.signature->addInput("a");),
    SITE(AddOutputInvalidName, InvalidIdentifier, "b'", false, return &w.signature->addOutput("b'");),
    SITE(AddOutputDuplicate, DuplicateScopeItemNames, "b", false, return &w.signature->addOutput("b");),
    SITE(AddVariableInvalidName, InvalidIdentifier, "-", false, return &w.signature->addVariable(IO::Output, "-");),
    SITE(AddVariableDuplicate, DuplicateScopeItemNames, "a", false, return &w.signature->addVariable(IO::Input, "a");),
    // Copies: the destination's identifier rule and configuration decide, and its context reports.
    SITE(CopyVariableIntoStricterContext, InvalidIdentifier, "Level", true,
         return w.targetScope().copyGenericItemIn(*w.upper->getModuleScope().getGenericScopeItem(0));),
    SITE(CopyModuleWhoseItemIsRejected, InvalidIdentifier, "Level", true,
         auto* copy = dynamic_cast<Module*>(w.strict->getGlobalScope().copyGenericItemIn(*w.upper));
         return copy->getModuleScope().lookupGenericScopeItem("Level");),
    SITE(ScopeCopyInIntoStricterContext, InvalidIdentifier, "Level", true,
         w.targetScope().copyIn(w.upper->getModuleScope());
         return w.targetScope().lookupGenericScopeItem("Level");),
    SITE(ModuleCopyInIntoStricterContext, InvalidIdentifier, "Level", true, w.target->copyIn(*w.upper);
         return w.targetScope().lookupGenericScopeItem("Level");),
    SITE(CopyVariableIntoGlobalScope, InvalidScopeItemType, "variable", false,
         return w.context->getGlobalScope().copyGenericItemIn(*w.m);),
    SITE(ScopeCopyInIntoGlobalScope, InvalidScopeItemType, "variable", false,
         w.context->getGlobalScope().copyIn(w.upper->getModuleScope());
         return w.context->getGlobalScope().lookupGenericScopeItem("Level");),
    SITE(CopyFunctionIntoLocalScope, InvalidScopeItemType, "function", false,
         return w.f->getFunctionScope(FS::Local).copyGenericItemIn(*w.g);),
    // Functions whose parameter, local or own name the stricter context refuses.
    SITE(SetSignatureRejectsInput, InvalidIdentifier, "In", true, w.s->setSignature(w.g->getSignature());
         return lookup(w.s, FS::Input, "In");),
    SITE(SetSignatureRejectsOutput, InvalidIdentifier, "Out", true, w.s->setSignature(w.h->getSignature());
         return lookup(w.s, FS::Output, "Out");),
    SITE(FunctionCopyInRejectsInput, InvalidIdentifier, "In", true, w.s->copyIn(*w.g);
         return lookup(w.s, FS::Input, "In");),
    SITE(CloneFunctionRejectsInput, InvalidIdentifier, "In", true,
         return lookup(w.targetScope().copyGenericItemIn(*w.g), FS::Input, "In");),
    SITE(CloneFunctionRejectsOutput, InvalidIdentifier, "Out", true,
         return lookup(w.targetScope().copyGenericItemIn(*w.h), FS::Output, "Out");),
    SITE(CloneFunctionRejectsLocal, InvalidIdentifier, "Tmp", true,
         return lookup(w.targetScope().copyGenericItemIn(*w.k), FS::Local, "Tmp");),
    SITE(CloneFunctionRejectsItsName, InvalidIdentifier, "Gain", true,
         return w.targetScope().copyGenericItemIn(*w.gain);),
    SITE(
        CloneSignatureIntoStricterContext, InvalidIdentifier, "In", true,
        w.kept.emplace_back(w.g->getSignature().clone(*w.strict));
        return static_cast<sxir::FunctionSignature&>(*w.kept.back()).getScope(IO::Input).lookupGenericScopeItem("In");),
    // Assignments of which neither side belongs to a function.
    SITE(AssignConstants, CannotResolveFunction, "", false,
         Expression(*w.context, 1.0).assign(Expression(*w.context, 2), false);
         return nullptr;),
    SITE(AssignAutoGeneratedToModuleVariable, CannotResolveFunction, "", false,
         Expression(*w.m).assign(Expression(*w.context, 2.0), true);
         return nullptr;),
    SITE(LValueOfModuleVariable, CannotResolveFunction, "", false, *Expression(*w.m) = Expression(*w.context, 1.0);
         return nullptr;),
    SITE(LValueFromLValue, CannotResolveFunction, "", false, *Expression(*w.m) = *Expression(*w.m); return nullptr;),
    SITE(LValueOfFunctionReference, CannotResolveFunction, "", false, *Expression(*w.f) = Expression(*w.m);
         return nullptr;),
    SITE(CallWhoseLastOperandIsAConstant, CannotResolveFunction, "", false,
         *Expression(*w.m) = (Expression(*w.f) << Expression(*w.context, 1.0));
         return nullptr;),
    SITE(ReportedThroughTheLeftSidesContext, CannotResolveFunction, "", true,
         *Expression(*w.strict, 1u) = Expression(*w.m);
         return nullptr;),
    // The catalog builds into a global scope that already holds "module".
    SITE(CatalogSampleBuiltTwice, DuplicateScopeItemNames, "module", true,
         return sxir::TestCatalog::get()->createModule("times_2_or_3", *w.strict);),
};

class ErrorSiteTest : public ::testing::TestWithParam<Site> {};

TEST_P(ErrorSiteTest, ThrowingReporterStopsTheOperationAndLeavesTheIrUsable)
{
    Site const& site = GetParam();
    World world(true);
    std::string const before = world.snapshot();
    try {
        site.run(world);
        ADD_FAILURE() << "nothing thrown";
    } catch (sxir::ReportedError const& error) {
        EXPECT_EQ(describe(error.getId(), error.getArgument(1), error.getArgument(2), error.getArgument(3),
                           error.getArgument(4)),
                  describe(site.id, site.argument, "", "", ""));
    }
    EXPECT_EQ(world.reporter(site.strictReports).reports().size(), 1u);
    EXPECT_EQ(world.reporter(!site.strictReports).reports().size(), 0u);
    EXPECT_EQ(world.snapshot(), before);
    world.checkUsable();
}

TEST_P(ErrorSiteTest, ReturningReporterSeesTheSameReportAndTheOperationCarriesOn)
{
    Site const& site = GetParam();
    World world(false);
    std::string const before = world.snapshot();
    sxir::ScopeItem const* item = site.run(world);
    // A copied parameter is checked in every signature and scope it passes through, so it may be reported more than
    // once.
    Reports const reports = describe(world.reporter(site.strictReports));
    EXPECT_FALSE(reports.empty());
    EXPECT_EQ(reports, Reports(reports.size(), describe(site.id, site.argument, "", "", "")));
    EXPECT_EQ(describe(world.reporter(!site.strictReports)), Reports{});
    if (std::string(site.id) == ErrorId::CannotResolveFunction) {
        EXPECT_EQ(item, nullptr);
        EXPECT_EQ(world.snapshot(), before) << "an assignment without a function was appended somewhere";
        return;
    }
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->getParentScope().getGenericScopeItem(item->getId()), item);
    EXPECT_EQ(std::string(site.id) == ErrorId::InvalidScopeItemType
                  ? sxir::ScopeItem::typeToString(item->getScopeItemType())
                  : item->getName(),
              site.argument);
}

INSTANTIATE_TEST_SUITE_P(Sites, ErrorSiteTest, ::testing::ValuesIn(sites),
                         [](::testing::TestParamInfo<Site> const& info) { return std::string(info.param.name); });

// Every sample starts with the module "module", so a second build into one context is refused at
// once: a throwing reporter leaves the first module alone, a returning one gets a second, equal module.
TEST(CatalogErrorTest, EverySampleBuiltTwiceIsADuplicateModule)
{
    for (sxu::string const& name : sxir::TestCatalog::get()->getEntryNames()) {
        for (bool throwing : {true, false}) {
            std::unique_ptr<RecordingEnvironment> env = makeEnvironment(throwing, false);
            sxir_test::ContextPtr context = sxir_test::makeContext(*env);
            sxir::Module* first = sxir::TestCatalog::get()->createModule(name, *context);
            std::string const text = first->asString();
            std::string second = "thrown";
            try {
                second = sxir::TestCatalog::get()->createModule(name, *context)->asString();
            } catch (sxir::ReportedError const&) {
            }
            EXPECT_EQ(describe(*env), Reports{describe(ErrorId::DuplicateScopeItemNames, "module", "", "", "")});
            EXPECT_EQ(second, throwing ? "thrown" : text) << name;
            EXPECT_EQ(first->asString(), text) << name;
            EXPECT_EQ(context->getGlobalScope().getNumScopeItems(), throwing ? 1u : 2u) << name;
            EXPECT_EQ(context->getGlobalScope().lookupGenericScopeItem("module"), first) << name;
        }
    }
}

} // namespace
