// Every user error through every operation that raises it: what is reported, that a throwing
// reporter leaves the IR as it was and usable, and that a returning one lets the operation finish.
#include "ir/sxir.hpp"
#include "tests/support/Environments.hpp"
#include "tests/support/IrFixture.hpp"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <initializer_list>
#include <limits>
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

/// Runs `site` on a fresh World with a throwing and then a returning reporter: checks that it reports
/// `id` with `argument`, that nothing leaks, and that the World is as it was and usable after a throw,
/// or after a returning report when `site` says that it added nothing.
void withEachReporter(char const* name, char const* id, char const* argument,
                      std::function<bool(World&, bool throwing)> const& site)
{
    for (bool throwing : {true, false}) {
        SCOPED_TRACE(std::string(name) + (throwing ? ", throwing reporter" : ", returning reporter"));
        long const before = sxu::Allocate::getStatistics().bytesInUse;
        auto w = std::make_unique<World>(throwing);
        std::string const snapshot = w->snapshot();
        bool threw = false, unchanged = true;
        try {
            unchanged = site(*w, throwing);
        } catch (ReportedError const&) {
            threw = true;
        }
        EXPECT_EQ(threw, throwing);
        // A copied parameter is checked in each scope it passes through, so may be reported more than once.
        auto const& reports = w->env->reports();
        EXPECT_TRUE(throwing ? reports.size() == 1 : !reports.empty()) << reports.size() << " reports";
        for (sxir_test::Report const& r : reports) {
            EXPECT_EQ(r.id, id);
            EXPECT_EQ(r.arguments, (std::array<std::string, 4>{argument, "", "", ""}));
        }
        if (threw || unchanged) {
            EXPECT_EQ(w->snapshot(), snapshot);
            w->checkUsable();
        }
        w.reset();
        EXPECT_EQ(sxu::Allocate::getStatistics().bytesInUse, before) << "memory leaked";
    }
}

TEST(ErrorSites, EachReportedToAThrowingAndToAReturningReporter)
{
    for (Site const& site : sites) {
        withEachReporter(site.name, site.id, site.argument, [&site](World& w, bool throwing) {
            ScopeItem const* const item = site.run(w);
            // A returning reporter lets every item in regardless, and no assignment without a function.
            EXPECT_FALSE(throwing);
            EXPECT_EQ(item == nullptr, site.id == ErrorId::CannotResolveFunction);
            if (item != nullptr) {
                EXPECT_EQ(item->getParentScope().getGenericScopeItem(item->getId()), item);
                EXPECT_EQ(site.id == ErrorId::InvalidScopeItemType ? ScopeItem::typeToString(item->getScopeItemType())
                                                                   : item->getName(),
                          site.argument);
            }
            return item == nullptr;
        });
    }
}

/// An expression that reports, and what it prints once a returning reporter has let it be built.
struct ExpressionSite {
    char const* name;
    char const* id;
    char const* argument;
    char const* text;
    std::function<Expression(World&)> run;
};

// clang-format off
#define EXPRESSION_SITE(name, id, argument, text, ...) \
    ExpressionSite{#name, ErrorId::id, argument, text, [](World& w) -> Expression { return (__VA_ARGS__); }}
ExpressionSite const expressionSites[] = {
    // A name no scope on the way declares stands for the int32 constant 0.
    EXPRESSION_SITE(UnknownName, UnknownName, "nosuch", "0", w.f->expression("nosuch")),
    EXPRESSION_SITE(UnknownNameInAnExpression, UnknownName, "T", "(t+0)", w.f->expression("t") + w.f->expression("T")),
    EXPRESSION_SITE(UnknownNameBeforeSetSignature, UnknownName, "a", "0", w.s->expression("a")),
    // An integer that its data type cannot hold keeps its low 32 bits.
    EXPRESSION_SITE(LongAboveInt32, ConstantOutOfRange, "2147483648", "-2147483648", Expression(*w.context, 2147483648L)),
    EXPRESSION_SITE(LongLongBelowInt32, ConstantOutOfRange, "-2147483649", "2147483647",
                    Expression(*w.context, -2147483649LL)),
    EXPRESSION_SITE(UnsignedLongLongAboveUInt32, ConstantOutOfRange, "18446744073709551615", "4294967295",
                    Expression(*w.context, ~0ULL)),
    EXPRESSION_SITE(LongIndex, ConstantOutOfRange, "-9223372036854775808", "t(0,0)",
                    w.f->expression("t")(0, std::numeric_limits<long>::min())),
    EXPRESSION_SITE(LongLongOperand, ConstantOutOfRange, "5000000000", "(t*705032704)", w.f->expression("t") * 5000000000LL),
    EXPRESSION_SITE(UnsignedLongLongCallOperand, ConstantOutOfRange, "4294967296", "f(0)",
                    Expression(*w.f) << 4294967296ULL),
    // A bare value reports through the context of the last IR object built.
    EXPRESSION_SITE(BareLong, ConstantOutOfRange, "4294967301", "5",
                    (static_cast<void>(Expression(*w.context)), Expression(4294967301L))),
};
// clang-format on

TEST(ErrorSites, ExpressionsReportedToAThrowingAndToAReturningReporter)
{
    for (ExpressionSite const& site : expressionSites) {
        withEachReporter(site.name, site.id, site.argument, [&site](World& w, bool) {
            EXPECT_EQ(site.run(w).asString(), site.text);
            return true;
        });
    }
}

} // namespace

namespace {

/// A module of functions for a run to go wrong in: g(a) and f(x, M), of real_T and a 2x2 matrix M,
/// the local t of g and the function-typed local h of f.
struct RunWorld {
    explicit RunWorld(sxir_test::RecordingEnvironment const& environment)
        : env(environment), context(sxir_test::makeContext(environment))
    {}

    Function& function(char const* name, std::vector<sxir_test::Parameter> const& inputs,
                       std::initializer_list<char const*> outputs)
    {
        return sxir_test::addTypedFunction(module, name, inputs, sxir_test::parameters(outputs, real));
    }
    /// `lhs`=`rhs` appended to f as it is, whatever the sides.
    void append(Expression const* lhs, Expression const* rhs)
    {
        auto* statement = new AssignmentStatement(f);
        if (lhs != nullptr) {
            statement->setExpression(AssignmentStatement::LHS, *lhs);
        }
        if (rhs != nullptr) {
            statement->setExpression(AssignmentStatement::RHS, *rhs);
        }
        f.append(statement);
    }
    std::vector<Value> runF() { return interpreter.run(f, inputs); }

    sxir_test::RecordingEnvironment const& env;
    sxir_test::ContextPtr context;
    Module& module = *context->getGlobalScope().addScopeItem<Module>("m");
    BuiltinType const& real = context->getBuiltinType(sxu::DataTypeId::Real);
    MatrixType const square{*context, sxu::DataTypeId::Real, sxu::Dimension(2, 2)};
    Function& g = function("g", {{"a", &real}}, {"r"});
    Function& f = function("f", {{"x", &real}, {"M", &square}}, {"y"});
    Variable& t = *g.getFunctionScope(FS::Local).addScopeItem<Variable>("t");
    Expression x = f.expression("x"), M = f.expression("M"), y = f.expression("y");
    Interpreter interpreter{*context};
    std::vector<Value> const inputs = {Value(sxu::DataTypeId::Real, 1.5),
                                       Value(sxu::DataTypeId::Real, sxu::Dimension(2, 2), {1, 2, 3, 4})};
};

/// A client node for which no evaluator is set.
class Opaque : public CustomExpressionData {
public:
    explicit Opaque(Expression const& x) : CustomExpressionData(x.getContext()), mX(x) {}
    Type const* getCustomType() const override { return mX.getGenericType(); }
    unsigned long getNumOperands() const override { return 1; }
    Expression const& getOperand(unsigned long) const override { return mX; }
    sxu::string getCustomName() const override { return "opaque"; }
    sxu::string asString() const override { return "opaque(" + mX.asString() + ")"; }
    ExpressionData* clone(Function const& to) const override { return new Opaque(mX.clone(to)); }
    bool localIsEquivalent(CustomExpressionData const&) const override { return false; }

private:
    Expression mX;
};

Expression opaque(Expression const& x)
{
    auto* node = new Opaque(x);
    Expression const handle(*node);
    node->releaseReference();
    return handle;
}

struct RunSite {
    char const* name;
    char const* id;
    std::array<std::string, 4> arguments;
    std::function<std::vector<Value>(RunWorld&)> run;
};

// clang-format off
#define RUN_SITE(name, id, a1, a2, a3, ...) \
    RunSite{#name, ErrorId::id, {a1, a2, a3, "f"}, [](RunWorld& w) -> std::vector<Value> { __VA_ARGS__; return w.runF(); }}
RunSite const runSites[] = {
    // What run is given.
    RUN_SITE(InputCount, EvalInvalidArguments, "f", "2 inputs", "1 values", return w.interpreter.run(w.f, {w.inputs[0]})),
    RUN_SITE(EmptyInput, EvalInvalidArguments, "f", "input x: 1x1 real_T", "an empty value",
             return w.interpreter.run(w.f, {Value(), w.inputs[1]})),
    RUN_SITE(InputElementCount, EvalInvalidArguments, "f", "input M: 2x2 real_T", "1 elements",
             return w.interpreter.run(w.f, {w.inputs[0], w.inputs[0]})),
    RUN_SITE(FunctionForNumber, EvalInvalidArguments, "f", "input x: 1x1 real_T", "a function",
             return w.interpreter.run(w.f, {Value(w.g), w.inputs[1]})),
    RUN_SITE(FunctionOfAnotherContext, EvalInvalidArguments, "f", "a function of this interpreter's context with a signature", "",
             RunWorld other(w.env); return w.interpreter.run(other.f, other.inputs)),
    // A call whose function gained an input after the call was built.
    RUN_SITE(OperandCount, EvalInvalidArguments, "g(x)", "1 operands", "g has 2 inputs",
             *w.y = w.f.expression("g") << w.x;
             FunctionSignature wider(*w.context); wider.addInput("a").setType(w.real); wider.addInput("b").setType(w.real);
             wider.addOutput("r").setType(w.real); w.g.setSignature(wider)),
    // Shapes that do not fit.
    RUN_SITE(MatrixOperand, EvalDimensionMismatch, "(M+1)", "scalar operands", "operand 1 is 2x2 real_T", *w.y = w.M + 1.0),
    RUN_SITE(MatrixIntoScalar, EvalDimensionMismatch, "y=M", "1x1 real_T", "2x2 real_T", *w.y = w.M),
    RUN_SITE(MatrixCondition, EvalDimensionMismatch, "if M", "a scalar condition", "2x2 real_T", w.f.If(w.M); w.f.End()),
    RUN_SITE(MatrixCallOperand, EvalDimensionMismatch, "g(M)", "input a: 1x1 real_T", "operand 1 is 2x2 real_T",
             *w.y = w.f.expression("g") << w.M),
    // What is not set.
    RUN_SITE(UnsetCallOperand, EvalUnsetOperand, "g((nil))", "operand 1", "", *w.y = sxir::call(w.f.expression("g"))),
    RUN_SITE(UnsetFunctionVariable, EvalUnsetOperand, "h(x)", "a variable that holds no function", "",
             Variable& h = *w.f.getFunctionScope(FS::Local).addScopeItem<Variable>("h"); h.setType(w.g.getSignature());
             *w.y = Expression(h) << w.x),
    RUN_SITE(UnsetRightSide, EvalUnsetOperand, "an assignment", "the right side", "", w.append(&w.y, nullptr)),
    // Calls too deep, and what has no value.
    RUN_SITE(CallDepth, EvalCallDepthExceeded, "f", "3", "",
             w.interpreter.setCallDepthLimit(3); *w.y = w.f.expression("f") << w.x << w.M),
    RUN_SITE(ClientNodeWithoutEvaluator, EvalNotEvaluable, "opaque(x)", "a client node, and no evaluator is set", "",
             *w.y = opaque(w.x)),
    RUN_SITE(VariableOfAnotherFunction, EvalNotEvaluable, "t",
             "a variable this function cannot reach, or of a type no value has", "", *w.y = Expression(w.t)),
    RUN_SITE(CalleeWithoutOutput, EvalNotEvaluable, "k()", "k has no output", "",
             Function& k = w.function("k", {}, {}); *w.y = sxir::call(Expression(k))),
    // What cannot be assigned.
    RUN_SITE(AssignToInput, EvalNotAssignable, "x", "", "", *w.x = 2.0),
    RUN_SITE(AssignToConstant, EvalNotAssignable, "3", "", "", *Expression(*w.context, 3) = w.x),
    RUN_SITE(AssignToOperator, EvalNotAssignable, "(y+1)", "", "", *(w.y + 1.0) = w.x),
    // Elements and ranges outside their matrix.
    RUN_SITE(ConstantIndex, IndexOutOfRange, "M(7,9)", "(7,9)", "2x2", *w.y = w.M(7, 9)),
    RUN_SITE(ComputedIndex, IndexOutOfRange, "M(x,0)", "(1.5,0)", "2x2", *w.y = w.M(w.x, 0)),
    RUN_SITE(Range, IndexOutOfRange, "M(1:5)", "(1:5)", "2x2", *w.y = w.M(Colon(1, 5))(0)),
    RUN_SITE(IndexOfAScalar, IndexOutOfRange, "x(1,0)", "(1,0)", "1x1", *w.y = w.x(1)),
};
// clang-format on

TEST(ErrorSites, RunsReportedToAThrowingAndToAReturningReporter)
{
    for (RunSite const& site : runSites) {
        for (bool throwing : {true, false}) {
            SCOPED_TRACE(std::string(site.name) + (throwing ? ", throwing reporter" : ", returning reporter"));
            long const before = sxu::Allocate::getStatistics().bytesInUse;
            {
                std::unique_ptr<sxir_test::RecordingEnvironment> env =
                    throwing ? std::make_unique<sxir_test::ThrowingEnvironment>()
                             : std::make_unique<sxir_test::RecordingEnvironment>();
                RunWorld w(*env);
                bool threw = false;
                std::vector<Value> outputs = {Value()};
                try {
                    outputs = site.run(w);
                } catch (ReportedError const&) {
                    threw = true;
                }
                EXPECT_EQ(threw, throwing);
                EXPECT_TRUE(threw || outputs.empty());
                ASSERT_EQ(env->reports().size(), 1u);
                EXPECT_EQ(env->reports()[0].id, site.id);
                EXPECT_EQ(env->reports()[0].arguments, site.arguments);
                // The interpreter still runs what can run.
                Function& ok = w.function("ok", {}, {"z"});
                *ok.expression("z") = 1.0;
                EXPECT_EQ(w.interpreter.run(ok, {}), std::vector<Value>{Value(sxu::DataTypeId::Real, 1)});
            }
            EXPECT_EQ(sxu::Allocate::getStatistics().bytesInUse, before) << "memory leaked";
        }
    }
}

} // namespace

namespace {

TEST(ErrorSites, AModuleLetIntoASignatureByAReturningReporterMakesItsFunctionUncallable)
{
    sxir_test::RecordingEnvironment env;
    RunWorld w(env);
    // A reporter that returns lets the module in; a call must not take it for a variable.
    FunctionSignature signature(*w.context);
    signature.addInput("a").setType(w.real);
    signature.getScope(sxir::FunctionIoScopeType::Input).addScopeItem<Module>("inner");
    signature.addOutput("r").setType(w.real);
    auto& h = *w.module.getModuleScope().addScopeItem<Function>("h");
    h.setSignature(signature);
    *w.y = w.f.expression("h") << w.x << w.x;
    std::size_t const reported = env.reports().size();
    EXPECT_GE(reported, 1u);
    std::vector<std::string> found;
    for (sxir::Diagnostic const& diagnostic : sxir::Verifier().verify(w.f)) {
        found.push_back(diagnostic.id);
    }
    EXPECT_EQ(found, std::vector<std::string>{ErrorId::VerifyNotCallable});
    EXPECT_TRUE(w.runF().empty());
    ASSERT_EQ(env.reports().size(), reported + 1);
    EXPECT_EQ(env.reports().back().id, std::string(ErrorId::EvalNotEvaluable));
}

} // namespace
