// The preconditions that the checked build verifies: each violation ends in sxu_assertion with a message
// that names the fault and the library source that caught it.
#include "tests/support/IrFixture.hpp"


#include <thread>
#include <utility>

namespace {

using sxir::Expression;
using sxu::DataTypeId;

// `statement` fails the assertion `message` raised in the library source `source` ("ir/Scope").
#define EXPECT_CHECK(statement, message, source)                                                                       \
    EXPECT_DEATH(statement, "sxu assertion failed: " message " \\(" source ":[0-9]+\\)")

class CheckedBuildDeathTest : public sxir_test::IrTest {
protected:
    sxir::Function& f = addFunction("f", {"a"}, {"y"});
    Expression a = use(f, "a");
};

TEST_F(CheckedBuildDeathTest, PositionsOutOfRange)
{
    EXPECT_CHECK(static_cast<sxir::Operator const&>(*(-a).getData()).getOperand(1), "operand position out of range",
                 "ir/Operator");
    EXPECT_CHECK(sxir::Operator(*context, sxir::OpId::ADD).setOperand(2, a), "operand position out of range",
                 "ir/Operator");
    EXPECT_CHECK(sxir::FunctionCall(Expression(f)).getOperand(1), "call operand position out of range",
                 "ir/FunctionCall");
    EXPECT_CHECK(sxir::FunctionCall(Expression(f)).setOperand(1, a), "call operand position out of range",
                 "ir/FunctionCall");
    EXPECT_CHECK(sxir::MatrixRef(a).getIndex(2), "matrix index position out of range", "ir/MatrixRef");
    EXPECT_CHECK(sxir::MatrixRef(a).setIndex(2, a), "matrix index position out of range", "ir/MatrixRef");
    sxir::Scope& scope = module.getModuleScope();
    EXPECT_CHECK(scope.getGenericScopeItem(scope.getNumScopeItems()), "scope item index out of range", "ir/Scope");
}

TEST_F(CheckedBuildDeathTest, ScopeKindsOutOfRange)
{
    EXPECT_CHECK(f.getFunctionScope(static_cast<sxir::FunctionScopeType::Type>(3)), "function scope kind out of range",
                 "ir/Function");
    sxir::FunctionSignature signature(*context);
    auto const ioKind = static_cast<sxir::FunctionIoScopeType::Type>(2);
    EXPECT_CHECK(signature.getScope(ioKind), "signature scope kind out of range", "ir/FunctionSignature");
    EXPECT_CHECK(signature.addVariable(ioKind, "x"), "signature scope kind out of range", "ir/FunctionSignature");
    auto const itemKind = static_cast<sxir::ScopeItemType::Type>(3);
    EXPECT_CHECK(sxir::ScopeItem::typeToString(itemKind), "scope item kind out of range", "ir/ScopeItem");
    EXPECT_CHECK(sxir::ScopeItem::typeToString(sxir::ScopeItemType::Unknown), "scope item kind out of range",
                 "ir/ScopeItem");
    EXPECT_CHECK(module.getModuleScope().addGenericScopeItem(itemKind, "x"), "scope item kind out of range",
                 "ir/ScopeItem");
}

TEST_F(CheckedBuildDeathTest, DataTypeIdsOutOfRange)
{
    auto const five = static_cast<DataTypeId::Type>(5);
    auto const negative = static_cast<DataTypeId::Type>(-1);
    double const value = 1.0;
    EXPECT_CHECK(context->getBuiltinType(five), "data type id out of range", "ir/ContextImpl");
    EXPECT_CHECK(context->getBuiltinType(negative), "data type id out of range", "ir/ContextImpl");
    EXPECT_CHECK({ sxir::BuiltinType type(*context, five); }, "data type id out of range", "ir/BuiltinType");
    EXPECT_CHECK(sxir::BuiltinType::getTypeName(negative), "data type id out of range", "ir/BuiltinType");
    EXPECT_CHECK(sxir::Constant::createScalarConstant(*context, five, &value), "data type id out of range",
                 "ir/Constant");
    EXPECT_CHECK({ Expression constant(negative, &value); }, "data type id out of range", "ir/Constant");
}

TEST_F(CheckedBuildDeathTest, OperationIdsAndOperatorFormsThatDoNotMatch)
{
    auto const beyond = static_cast<sxir::OpId::Type>(sxir::OpId::Count);
    EXPECT_CHECK(sxir::Operator::getSymbol(beyond), "operation id out of range", "ir/Operator");
    EXPECT_CHECK({ Expression e(beyond, a); }, "operation id out of range", "ir/Operator");
    EXPECT_CHECK({ sxir::Operator node(*context, beyond); }, "operation id out of range", "ir/Operator");
    EXPECT_CHECK({ Expression e(sxir::OpId::ATAN2, a); }, "a unary operator form for an operation that is not unary",
                 "ir/Operator");
    EXPECT_CHECK({ Expression e(sxir::OpId::SQRT, a, a); },
                 "a binary operator form for an operation that is not binary", "ir/Operator");
}

TEST_F(CheckedBuildDeathTest, UnbalancedElseAndEnd)
{
    EXPECT_CHECK(f.End(), "Else or End without an open if", "ir/Function");
    EXPECT_CHECK(f.popStatements(true), "Else or End without an open if", "ir/Function");
    EXPECT_CHECK(f.Else(), "Else outside the true branch of an if", "ir/Function");
    f.If(a > 0.0);
    EXPECT_CHECK(
        {
            f.Else();
            f.Else();
        },
        "Else outside the true branch of an if", "ir/Function");
    f.End();
    EXPECT_CHECK(f.End(), "Else or End without an open if", "ir/Function");
    EXPECT_EQ(&f.getCurrentStatements(), &f.getStatements());
}

TEST_F(CheckedBuildDeathTest, AssignmentSides)
{
    sxir::AssignmentStatement statement(f);
    EXPECT_CHECK(statement.getExpression(sxir::AssignmentStatement::LHS),
                 "reading an assignment side that was never set", "ir/AssignmentStatement");
    statement.setExpression(sxir::AssignmentStatement::LHS, use(f, "y"));
    EXPECT_CHECK(statement.asString(), "reading an assignment side that was never set", "ir/AssignmentStatement");
    EXPECT_CHECK(statement.clone(f), "reading an assignment side that was never set", "ir/AssignmentStatement");
    statement.setExpression(sxir::AssignmentStatement::RHS, a);
    EXPECT_EQ(statement.asString(), "y=a");
    // Side has no fixed underlying type: the only way to a third side is a cast outside its values.
    auto const third = static_cast<sxir::AssignmentStatement::Side>(2);
    EXPECT_CHECK(statement.getExpression(third), "assignment side out of range", "ir/AssignmentStatement");
    EXPECT_CHECK(statement.setExpression(third, a), "assignment side out of range", "ir/AssignmentStatement");
}

TEST_F(CheckedBuildDeathTest, CloningAReferenceIntoAFunctionWithoutTheName)
{
    sxir::Module& other = *context->getGlobalScope().addScopeItem<sxir::Module>("other");
    sxir::Function& g = addFunction("g", {"b"}, {"z"}, &other);
    EXPECT_CHECK(a.clone(g), "the target function declares no variable of the cloned reference's name",
                 "ir/VariableRef");
    EXPECT_CHECK(Expression(f).clone(g), "the target function sees no function of the cloned reference's name",
                 "ir/FunctionRef");
    // A declaration of the name that is of the other kind does not count either.
    sxir::Function& shadowing = addFunction("h", {"f"}, {"z"});
    EXPECT_CHECK(Expression(f).clone(shadowing), "the target function sees no function of the cloned reference's name",
                 "ir/FunctionRef");
    addFunction("x", {}, {"z"});
    EXPECT_CHECK(use(addFunction("k", {"x"}, {"z"}), "x").clone(f),
                 "the target function declares no variable of the cloned reference's name", "ir/VariableRef");
}

TEST_F(CheckedBuildDeathTest, CopyingAScopeIntoItself)
{
    sxir::Scope& scope = module.getModuleScope();
    EXPECT_CHECK(scope.copyIn(scope), "a scope cannot be copied into itself", "ir/Scope");
    EXPECT_CHECK(module.copyIn(module), "a scope cannot be copied into itself", "ir/Scope");
    // A function copied into itself is stopped there, before its body would be copied into itself.
    EXPECT_CHECK(f.copyIn(f), "a scope cannot be copied into itself", "ir/Scope");
}

TEST_F(CheckedBuildDeathTest, CallsThatDoNotMatchTheCalledExpression)
{
    EXPECT_CHECK(sxir::call(a), "a call of an expression that is not typed by a function signature", "ir/FunctionCall");
    sxir::Function& bare = *module.getModuleScope().addScopeItem<sxir::Function>("bare");
    EXPECT_CHECK(sxir::call(Expression(bare)), "a call of an expression that is not typed by a function signature",
                 "ir/FunctionCall");
    EXPECT_CHECK({ Expression call = Expression(f) << a << a; }, "more call operands than the function has inputs",
                 "ir/FunctionCall");
    EXPECT_CHECK(bare.getFunctionScope(sxir::FunctionScopeType::Local), "function scopes used before setSignature",
                 "ir/Function");
}

TEST_F(CheckedBuildDeathTest, ValuesWithoutAContextOrAMatrixType)
{
    // A new thread has built no IR object yet, so a bare value has no context to go to.
    EXPECT_CHECK(std::thread([] { Expression two(2.0); }).join(),
                 "an expression built from a bare value needs an IR object built before it", "ir/Expression");
    EXPECT_CHECK(a(sxir::Colon(0, 2)).getGenericType(),
                 "a sub-matrix of an expression without a matrix type has no type", "ir/SubMatrix");
    EXPECT_CHECK(
        {
            sxir::Context::registerFactory(nullptr);
            sxir::Context::create(env);
        },
        "no context factory registered", "ir/Context");
}

// Preconditions left to the caller that the checked build does not verify: the library reads
// through a null pointer, or copies without end, instead of failing an assertion.
TEST_F(CheckedBuildDeathTest, SignatureOfAFunctionThatHasNone)
{
    sxir::Function& bare = *module.getModuleScope().addScopeItem<sxir::Function>("bare");
    EXPECT_DEATH(bare.getSignature().asString("bare"), "the function has no signature before setSignature");
}

TEST_F(CheckedBuildDeathTest, HoistingAtAStatementThatIsNoIf)
{
    *use(f, "y") = a;
    auto& body = f.getStatements().getStatementList();
    EXPECT_DEATH(sxir::CodeHoistor().hoist(body, body.begin()), "hoisting out of a statement that is not an if");
}

} // namespace
