// The preconditions that the checked build verifies: each violation ends in sxu_assertion with a
// message that names the fault and the library source that caught it.
#include "tests/support/IrFixture.hpp"

#include <thread>

namespace {

using namespace sxir;
using FS = FunctionScopeType;
using IO = FunctionIoScopeType;
using CheckedBuildDeathTest = sxir_test::IrTest;

// clang-format off
#define EXPECT_CHECK(source, message, ...) \
    EXPECT_DEATH({ __VA_ARGS__; }, "sxu assertion failed: " message " \\(ir/" source ":[0-9]+\\)")

TEST_F(CheckedBuildDeathTest, EachPreconditionFailsItsAssertion)
{
    Function& f = addFunction("f", {"a"}, {"y"});
    Function& bare = *module.getModuleScope().addScopeItem<Function>("bare"); // no signature
    Expression a = use(f, "a");
    Scope& scope = module.getModuleScope();
    AssignmentStatement unset(f);
    auto const badType = static_cast<sxu::DataTypeId::Type>(5);
    double const one = 1.0;
    EXPECT_CHECK("Operator", "operand position out of range", Operator(*context, OpId::ADD).setOperand(2, a));
    EXPECT_CHECK("FunctionCall", "call operand position out of range", FunctionCall(Expression(f)).setOperand(1, a));
    EXPECT_CHECK("MatrixRef", "matrix index position out of range", MatrixRef(a).getIndex(2));
    EXPECT_CHECK("Scope", "scope item index out of range", scope.getGenericScopeItem(scope.getNumScopeItems()));
    EXPECT_CHECK("Function", "function scope kind out of range", f.getFunctionScope(FS::Type(3)));
    EXPECT_CHECK("FunctionSignature", "signature scope kind out of range", f.getSignature().getScope(IO::Type(2)));
    EXPECT_CHECK("ScopeItem", "scope item kind out of range", scope.addGenericScopeItem(ScopeItemType::Unknown, "x"));
    EXPECT_CHECK("ContextImpl", "data type id out of range", context->getBuiltinType(badType));
    EXPECT_CHECK("BuiltinType", "data type id out of range", BuiltinType::getTypeName(badType));
    EXPECT_CHECK("Constant", "data type id out of range", Constant::createScalarConstant(*context, badType, &one));
    EXPECT_CHECK("Operator", "operation id out of range", Expression(OpId::Type(OpId::Count), a));
    EXPECT_CHECK("Operator", "a unary operator form for an operation that is not unary", Expression(OpId::ATAN2, a));
    EXPECT_CHECK("Operator", "a binary operator form for an operation that is not binary", Expression(OpId::SIN, a, a));
    EXPECT_CHECK("Function", "Else or End without an open if", f.End());
    EXPECT_CHECK("Function", "Else outside the true branch of an if", f.If(a > 0.0); f.Else(); f.Else());
    EXPECT_CHECK("AssignmentStatement", "reading an assignment side that was never set", unset.asString());
    EXPECT_CHECK("AssignmentStatement", "assignment side out of range",
                 unset.setExpression(AssignmentStatement::Side(2), a));
    EXPECT_CHECK("detail/Cloning", "the target function declares no variable of the cloned reference's name",
                 a.clone(addFunction("g", {"b"}, {"z"})));
    // A declaration of the name that is of the other kind does not count.
    EXPECT_CHECK("detail/Cloning", "the target function sees no function of the cloned reference's name",
                 Expression(f).clone(addFunction("h", {"f"}, {"z"})));
    EXPECT_CHECK("Scope", "a scope cannot be copied into itself", f.copyIn(f));
    EXPECT_CHECK("FunctionCall", "a call of an expression that is not typed by a function signature", call(a));
    EXPECT_CHECK("FunctionCall", "more call operands than the function has inputs",
                 Expression(Expression(f) << a << a));
    EXPECT_CHECK("Function", "function scopes used before setSignature", bare.getFunctionScope(FS::Local));
    EXPECT_CHECK("Function", "the function has no signature before setSignature", bare.getSignature());
    // A new thread has built no IR object yet, so a bare value has no context to go to.
    EXPECT_CHECK("Expression", "an expression built from a bare value needs an IR object built before it",
                 std::thread([] { Expression two(2.0); }).join());
    EXPECT_CHECK("SubMatrix", "a sub-matrix of an expression without a matrix type has no type",
                 a(Colon(0, 2)).getGenericType());
    *use(f, "y") = a;
    auto& body = f.getStatements().getStatementList();
    EXPECT_CHECK("CodeHoistor", "hoisting out of a statement that is not an if statement",
                 CodeHoistor().hoist(body, body.begin()));
    EXPECT_CHECK("Value", "element count differs from the dimension's", Value(sxu::DataTypeId::Real, sxu::Dimension(2, 3), {1.0}));
    EXPECT_CHECK("Value", "element count differs from the dimension's",
                 Value(sxu::DataTypeId::Int32, sxu::Dimension(2, 3), {1, 2, 3, 4, 5}));
    EXPECT_CHECK("Value", "data type id out of range", Value(badType, 1.0));
    EXPECT_CHECK("Value", "element row or column out of range", Value(sxu::DataTypeId::Real, 1.0).getElement(0, 1));
    EXPECT_CHECK("Value", "element index out of range", Value().getElement(0));
    EXPECT_CHECK("Context", "no context factory registered", Context::registerFactory(nullptr); Context::create(env));
}
// clang-format on

} // namespace
