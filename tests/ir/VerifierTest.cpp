// What the verifier finds and where: each identifier planted through the public API with its path and
// message, and what a run of the planted function reports; paths through ifs and nested modules; shared
// nodes reported once; every catalog sample clean; inputs of any depth and sharing in one visit each.
#include "tests/support/IrFixture.hpp"

#include <functional>
#include <string>

namespace {

using namespace sxir;
using sxu::DataTypeId;
using sxu::Dimension;
using FS = FunctionScopeType;

/// Module m of a context: g(a) -> r with the local t, and f(x, M) -> y, all real_T but M (2x2), into
/// which the faults are planted; and a second context whose module m has a variable v and a function g.
struct World {
    sxir_test::ThrowingEnvironment env;
    // The second context goes last: the first may refer to it.
    sxir_test::ContextPtr other = sxir_test::makeContext(env), context = sxir_test::makeContext(env);
    Module& module = *context->getGlobalScope().addScopeItem<Module>("m");
    BuiltinType const& real = context->getBuiltinType(DataTypeId::Real);
    MatrixType const square{*context, DataTypeId::Real, Dimension(2, 2)};
    /// A type no value has.
    MatrixType const nested{square, Dimension(3, 1)};
    Function& g = function("g", {{"a", &real}}, {"r"});
    Function& f = function("f", {{"x", &real}, {"M", &square}}, {"y"});
    Variable& t = variable(g.getFunctionScope(FS::Local), "t", real);
    Scope& elsewhere = other->getGlobalScope().addScopeItem<Module>("m")->getModuleScope();
    Variable& v = variable(elsewhere, "v", other->getBuiltinType(DataTypeId::Real));
    Expression x = f.expression("x"), M = f.expression("M"), y = f.expression("y");

    Function& function(char const* name, std::vector<sxir_test::Parameter> const& inputs,
                       std::initializer_list<char const*> outputs)
    {
        return sxir_test::addTypedFunction(module, name, inputs, sxir_test::parameters(outputs, real));
    }
    static Variable& variable(Scope& scope, char const* name, Type const& type)
    {
        Variable& added = *scope.addScopeItem<Variable>(name);
        added.setType(type);
        return added;
    }
    /// A local of f of g's signature.
    Expression handle() { return Expression(variable(f.getFunctionScope(FS::Local), "h", g.getSignature())); }
    /// The run of f the verifier's finding stands for: the identifier it reports, or "" when none.
    std::string run()
    {
        try {
            Interpreter(*context).run(f, {Value(DataTypeId::Real, 1.5), Value(DataTypeId::Real, Dimension(2, 2), {1, 2, 3, 4})});
        } catch (ReportedError const& error) {
            return error.getId();
        }
        return "";
    }
};

/// A client node of the type given, null or not.
class Opaque : public CustomExpressionData {
public:
    Opaque(Expression const& x, Type const* type) : CustomExpressionData(x.getContext()), mX(x), mType(type) {}
    Type const* getCustomType() const override { return mType; }
    unsigned long getNumOperands() const override { return 1; }
    Expression const& getOperand(unsigned long) const override { return mX; }
    sxu::string getCustomName() const override { return "opaque"; }
    sxu::string asString() const override { return "opaque(" + mX.asString() + ")"; }
    ExpressionData* clone(Function const& to) const override { return new Opaque(mX.clone(to), mType); }
    bool localIsEquivalent(CustomExpressionData const&) const override { return false; }

private:
    Expression mX;
    Type const* mType;
};

struct Site {
    char const* name;
    char const* id;
    char const* path;
    char const* message;
    /// What running f reports: an identifier, "" for a run without error, null for a matter of names only.
    char const* run;
    std::function<void(World&)> plant;
};

char const* const kAssignElsewhere = "; assign to an output or local of f, or to an element or range of one.";

// clang-format off
Site const sites[] = {
    // What is not storage.
    {"AssignToInput", ErrorId::VerifyNotAssignable, "m/f/body[0]/lhs",
     "Cannot assign to x: x is an input of f", ErrorId::EvalNotAssignable, [](World& w) { *w.x = 2.0; }},
    {"AssignToConstant", ErrorId::VerifyNotAssignable, "m/f/body[0]/lhs",
     "Cannot assign to 3: 3 is a constant", ErrorId::EvalNotAssignable,
     [](World& w) { *Expression(*w.context, 3) = w.x; }},
    {"AssignToAnOperation", ErrorId::VerifyNotAssignable, "m/f/body[0]/lhs",
     "Cannot assign to (x+x): (x+x) is the value of an operation", ErrorId::EvalNotAssignable,
     [](World& w) { *(w.x + w.x) = w.y; }},
    {"AssignToAnElementOfAnInput", ErrorId::VerifyNotAssignable, "m/f/body[0]/lhs",
     "Cannot assign to M(0,1): M is an input of f", ErrorId::EvalNotAssignable, [](World& w) { *w.M(0, 1) = w.x; }},
    {"AssignToACall", ErrorId::VerifyNotAssignable, "m/f/body[0]/lhs",
     "Cannot assign to g(x): g(x) is the value of a call", ErrorId::EvalNotAssignable,
     [](World& w) { *(w.f.expression("g") << w.x) = w.y; }},
    {"AssignToAFunction", ErrorId::VerifyNotAssignable, "m/f/body[0]/lhs",
     "Cannot assign to g: g is a function", ErrorId::EvalNotAssignable, [](World& w) { *w.f.expression("g") = w.x; }},
    // Constant indices and ranges outside the declared dimension.
    {"ConstantIndexOutside", ErrorId::VerifyIndexOutOfRange, "m/f/body[0]/rhs",
     "M(7,9) selects (7,9) of a 2x2 matrix, whose rows count from 0 to 1 and columns from 0 to 1; use whole numbers "
     "inside it.", ErrorId::IndexOutOfRange, [](World& w) { *w.y = w.M(7, 9); }},
    {"OneConstantIndexOutside", ErrorId::VerifyIndexOutOfRange, "m/f/body[0]/rhs",
     "M(x,2) selects (x,2) of a 2x2 matrix, whose rows count from 0 to 1 and columns from 0 to 1; use whole numbers "
     "inside it.", ErrorId::IndexOutOfRange, [](World& w) { *w.y = w.M(w.x, 2); }},
    {"IndexOfAScalar", ErrorId::VerifyIndexOutOfRange, "m/f/body[0]/rhs",
     "x(1,0) selects (1,0) of a scalar, whose only element is (0,0); use whole numbers inside it.",
     ErrorId::IndexOutOfRange, [](World& w) { *w.y = w.x(1); }},
    {"RangeOutside", ErrorId::VerifyIndexOutOfRange, "m/f/body[0]/rhs/matrix",
     "M(1:5) takes the elements from 1 up to 5 of 4; the range must end within them and not before it starts.",
     ErrorId::IndexOutOfRange, [](World& w) { *w.y = w.M(Colon(1, 5))(0); }},
    // Shapes that do not fit.
    {"MatrixIntoScalar", ErrorId::VerifyTypeMismatch, "m/f/body[0]/rhs",
     "y holds 1x1 real_T, but M is 2x2 real_T; store a number value of 1 element.", ErrorId::EvalDimensionMismatch,
     [](World& w) { *w.y = w.M; }},
    {"MatrixOperand", ErrorId::VerifyTypeMismatch, "m/f/body[0]/rhs/operand[0]",
     "Operand 1 of (M+1) is 2x2 real_T, but an operation takes scalar numbers; select one element, or call a "
     "function.", ErrorId::EvalDimensionMismatch, [](World& w) { *w.y = w.M + 1.0; }},
    {"MatrixCondition", ErrorId::VerifyTypeMismatch, "m/f/body[0]/condition",
     "The condition M is 2x2 real_T; a condition is a scalar number, so compare, or select one element.",
     ErrorId::EvalDimensionMismatch, [](World& w) { w.f.If(w.M); w.f.End(); }},
    {"MatrixIndex", ErrorId::VerifyTypeMismatch, "m/f/body[0]/rhs/row",
     "The row index of M(M,0) is 2x2 real_T; an index is a scalar number.", ErrorId::EvalDimensionMismatch,
     [](World& w) { *w.y = w.M(w.M, 0); }},
    {"MatrixCallOperand", ErrorId::VerifyTypeMismatch, "m/f/body[0]/rhs/operand[0]",
     "Operand 1 of g(M) is 2x2 real_T, but the input a of g takes 1x1 real_T; pass a number value of 1 element.",
     ErrorId::EvalDimensionMismatch, [](World& w) { *w.y = w.f.expression("g") << w.M; }},
    {"FunctionForANumber", ErrorId::VerifyTypeMismatch, "m/f/body[0]/rhs",
     "y holds 1x1 real_T, but g is a function; store a number value of 1 element.", ErrorId::EvalDimensionMismatch,
     [](World& w) { *w.y = w.f.expression("g"); }},
    {"CallOfANumber", ErrorId::VerifyTypeMismatch, "m/f/body[0]/rhs/function",
     "h is 1x1 real_T, not a function; call a function or a variable of a signature type.",
     ErrorId::EvalDimensionMismatch, [](World& w) {
         *w.y = w.handle() << w.x;
         static_cast<Variable&>(*w.f.getFunctionScope(FS::Local).lookupGenericScopeItem("h")).setType(w.real);
     }},
    {"FunctionOfAnotherSignature", ErrorId::VerifyTypeMismatch, "m/f/body[0]/rhs",
     "h holds a function, but f is a function of another signature; store a function whose inputs and last output "
     "are alike to its signature's.", ErrorId::EvalInvalidArguments, [](World& w) {
         Expression const h = w.handle();
         *h = w.f.expression("f");
         *w.y = h << w.x;
     }},
    // What is not set.
    {"UnsetCallOperand", ErrorId::VerifyUnsetOperand, "m/f/body[0]/rhs/operand[0]",
     "Operand 1 of g((nil)) is not set; set it with FunctionCall::setOperand(0, ...).", ErrorId::EvalUnsetOperand,
     [](World& w) { *w.y = sxir::call(w.f.expression("g")); }},
    {"UnsetRightSide", ErrorId::VerifyUnsetOperand, "m/f/body[0]/rhs",
     "The right side of the assignment is not set; set it with AssignmentStatement::setExpression.",
     ErrorId::EvalUnsetOperand, [](World& w) {
         auto* statement = new AssignmentStatement(w.f);
         statement->setExpression(AssignmentStatement::LHS, w.y);
         w.f.append(statement);
     }},
    // Declarations out of reach.
    {"VariableOfAnotherFunction", ErrorId::VerifyForeignVariable, "m/f/body[0]/rhs",
     "t belongs to the function g, whose variables f cannot use; declare it in f or use one of its own.",
     ErrorId::EvalNotEvaluable, [](World& w) { *w.y = Expression(w.t); }},
    {"VariableOfAReplacedSignature", ErrorId::VerifyForeignVariable, "m/f/body[0]/rhs",
     "x belongs to scopes of f that a later setSignature replaced; use the declaration it has now.",
     ErrorId::EvalNotEvaluable, [](World& w) {
         w.f.setSignature(w.f.getSignature());
         *w.f.expression("y") = w.x;
     }},
    {"VariableOfAnotherContext", ErrorId::VerifyForeignVariable, "m/f/body[0]/rhs",
     "v is a variable of another context; use the declaration f finds for that name in its own context.", nullptr,
     [](World& w) { *w.y = Expression(w.v); }},
    {"ModuleVariableHiddenByALocal", ErrorId::VerifyForeignVariable, "m/f/body[0]/rhs",
     "f cannot reach this k by name (the name finds another declaration, or none); refer to the declaration "
     "f(\"k\") gives.", nullptr, [](World& w) {
         Variable& k = World::variable(w.module.getModuleScope(), "k", w.real);
         World::variable(w.f.getFunctionScope(FS::Local), "k", w.real);
         *w.y = Expression(k);
     }},
    {"FunctionOfAnotherContext", ErrorId::VerifyForeignVariable, "m/f/body[0]/rhs/function",
     "g is a function of another context; refer to the function f finds for that name in its own context.",
     ErrorId::EvalNotEvaluable,
     [](World& w) {
         auto& g = *w.elsewhere.addScopeItem<Function>("g");
         g.setSignature(w.g.getSignature());
         *w.y = Expression(g) << w.x;
     }},
    // Calls that cannot run.
    {"OperandCount", ErrorId::VerifyOperandCount, "m/f/body[0]/rhs",
     "g(x) passes 1 operand, but g takes 2 inputs; build the call again for its signature.",
     ErrorId::EvalInvalidArguments, [](World& w) {
         *w.y = w.f.expression("g") << w.x;
         FunctionSignature wider(*w.context);
         wider.addInput("a").setType(w.real);
         wider.addInput("b").setType(w.real);
         wider.addOutput("r").setType(w.real);
         w.g.setSignature(wider);
     }},
    {"CalleeWithoutOutput", ErrorId::VerifyNotCallable, "m/f/body[0]/rhs",
     "k has no output, so k() has no value; give it an output, the last of which a call gives.",
     ErrorId::EvalNotEvaluable, [](World& w) { *w.y = sxir::call(Expression(w.function("k", {}, {}))); }},
    {"CalleeWithoutSignature", ErrorId::VerifyNotCallable, "m/f/body[0]/rhs",
     "d has no signature, so d(x) cannot run; give it one with Function::setSignature.", ErrorId::EvalNotEvaluable,
     [](World& w) {
         Function& d = *w.module.getModuleScope().addScopeItem<Function>("d");
         Expression const callee = w.f.expression("g");
         *w.y = callee << w.x;
         const_cast<FunctionRef&>(static_cast<FunctionRef const&>(*callee.getData())).setFunction(d);
     }},
    {"SignatureWithoutOutput", ErrorId::VerifyNotCallable, "m/f/body[0]/rhs",
     "The signature of h has no output, so h(x) has no value; give the signature an output.",
     ErrorId::EvalNotEvaluable, [](World& w) {
         FunctionSignature noOutput(*w.context);
         noOutput.addInput("a").setType(w.real);
         *w.y = Expression(World::variable(w.f.getFunctionScope(FS::Local), "h", noOutput)) << w.x;
     }},
    // What has no value, and an if left open.
    {"LocalOfATypeWithoutValues", ErrorId::VerifyNoValueType, "m/f/local[0]",
     "The local real_T n[2x2][3x1] is of a type no value has (a matrix of matrices or of functions); give it a "
     "builtin, matrix or signature type.", "", [](World& w) { World::variable(w.f.getFunctionScope(FS::Local), "n", w.nested); }},
    {"ModuleVariableOfATypeWithoutValues", ErrorId::VerifyNoValueType, "m/f/body[0]/rhs",
     "The module variable n is of a type no value has (real_T n[2x2][3x1]); give it a builtin, matrix or signature "
     "type.", ErrorId::EvalNotEvaluable,
     [](World& w) { *w.y = Expression(World::variable(w.module.getModuleScope(), "n", w.nested)); }},
    {"UntypedClientNode", ErrorId::VerifyUntypedNode, "m/f/body[0]/rhs",
     "The client node opaque(x) has no type; its getCustomType() must give a builtin, matrix or signature type.",
     ErrorId::EvalNotEvaluable, [](World& w) {
         auto* node = new Opaque(w.x, nullptr);
         Expression const opaque(*node);
         node->releaseReference();
         *w.y = opaque;
     }},
    {"IfLeftOpen", ErrorId::VerifyOpenIf, "m/f/body[0]",
     "The if statement (x>0) that Function::If opened is still open; close it with End().", "",
     [](World& w) { w.f.If(w.x > 0.0); *w.y = w.x; }},
};
// clang-format on

TEST(Verifier, EachFaultIsFoundOnceWithItsPathAndASentence)
{
    for (Site const& site : sites) {
        SCOPED_TRACE(site.name);
        World w;
        site.plant(w);
        std::vector<Diagnostic> const found = Verifier().verify(w.module);
        ASSERT_EQ(found.size(), 1u) << found[0].path << ": " << found[0].message;
        EXPECT_EQ(found[0].id, site.id);
        EXPECT_EQ(found[0].path, site.path);
        std::string const message = found[0].message;
        // Assignments to what is not storage all end alike.
        EXPECT_EQ(message, site.id == std::string(ErrorId::VerifyNotAssignable) ? site.message + std::string(kAssignElsewhere)
                                                                                : std::string(site.message));
        // The function alone gives the same, and the run reports what the finding stands for.
        std::vector<Diagnostic> const alone = Verifier().verify(w.f);
        EXPECT_TRUE(alone.size() == 1 && alone[0].path == found[0].path && alone[0].message == message);
        if (site.run != nullptr) {
            EXPECT_EQ(w.run(), site.run);
        }
    }
}

TEST(Verifier, PathsGoThroughNestedModulesIfBranchesAndSharedNodesOnce)
{
    World w;
    Module& inner = *w.module.getModuleScope().addScopeItem<Module>("inner");
    FunctionSignature signature(*w.context);
    signature.addInput("x").setType(w.real);
    signature.addInput("M").setType(w.square);
    signature.addOutput("y").setType(w.real);
    Function& f = *inner.getModuleScope().addScopeItem<Function>("f");
    f.setSignature(signature);
    Expression const x = f.expression("x"), M = f.expression("M"), y = f.expression("y");
    *y = x;
    *y = x * 2.0;
    f.If(x > 0.0);
    *y = x;
    f.Else();
    Expression const shared = M + 1.0;
    *y = x + shared * shared;
    *y = shared;
    f.End();
    std::vector<Diagnostic> const found = Verifier().verify(w.module);
    // The shared operation's matrix operand is reported once, where the first path reaches it; its
    // value is unknown after that, so nothing above it and no later use adds a finding.
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].path, "m/inner/f/body[2]/if.false[0]/rhs/operand[1]/operand[0]/operand[0]");
    EXPECT_EQ(Verifier().verify(f)[0].path, found[0].path);
    EXPECT_TRUE(Verifier().verify(w.f).empty());
}

TEST(Verifier, OnlyTheLibrarysOutEqualsInMayUseAnInputThatAnOutputOfItsNameHides)
{
    World w;
    FunctionSignature signature(*w.context);
    signature.addInput("x").setType(w.real);
    signature.addOutput("x").setType(w.real);
    Function& p = *w.module.getModuleScope().addScopeItem<Function>("p");
    p.setSignature(signature); // writes x=x, the output from the input
    auto const& input = *p.getFunctionScope(FS::Input).getGenericScopeItem(0);
    // A copy would take this x for the output, as the name does.
    *p.expression("x") = Expression(input) + 1.0;
    std::vector<Diagnostic> const found = Verifier().verify(p);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].id, ErrorId::VerifyForeignVariable);
    EXPECT_EQ(found[0].path, "m/p/body[1]/rhs/operand[0]");
}

TEST(Verifier, EveryCatalogSampleIsClean)
{
    for (sxu::string const& name : TestCatalog::get()->getEntryNames()) {
        sxir_test::ThrowingEnvironment env;
        auto context = sxir_test::makeContext(env);
        std::vector<Diagnostic> const found = Verifier().verify(*TestCatalog::get()->createModule(name, *context));
        EXPECT_TRUE(found.empty()) << name << ": " << found[0].path << ": " << found[0].message;
    }
}

using DeepVerifier = sxir_test::IrTest;

TEST_F(DeepVerifier, AMillionStatementsAnExpressionAMillionDeepIfsTenThousandDeepAndAGraph)
{
    Function& f = addFunction("f", {"x"}, {"y", "z"});
    MatrixType const column(*context, DataTypeId::Real, Dimension(3, 1));
    addLocal(f, "v", &column);
    Expression const x = use(f, "x"), y = use(f, "y"), z = use(f, "z"), v = use(f, "v");
    for (int i = 0; i < 1000000; ++i) {
        *y = y + x;
    }
    for (int level = 0; level < 10000; ++level) {
        f.If(x > static_cast<double>(level));
    }
    // The chain's innermost operand is the matrix v; each level holds the one below as operand 0.
    Expression chain = v;
    for (int level = 0; level < 1000000; ++level) {
        chain = level % 2 == 0 ? chain + x : -chain;
    }
    *z = chain;
    for (int level = 0; level < 10000; ++level) {
        f.End();
    }
    // 2^60 uses of x unfolded, 61 distinct nodes.
    Expression graph = x;
    for (int level = 0; level < 60; ++level) {
        graph = graph + graph;
    }
    *z = graph;
    std::vector<Diagnostic> const found = Verifier().verify(f);
    ASSERT_EQ(found.size(), 1u);
    std::string expected = "module/f/body[1000000]";
    for (int level = 1; level < 10000; ++level) {
        expected += "/if.true[0]";
    }
    expected += "/if.true[0]/rhs";
    for (int level = 0; level < 1000000; ++level) {
        expected += "/operand[0]";
    }
    EXPECT_TRUE(found[0].path == expected) << found[0].path.size() << " characters instead of " << expected.size();
    EXPECT_EQ(found[0].id, ErrorId::VerifyTypeMismatch);
}

} // namespace
