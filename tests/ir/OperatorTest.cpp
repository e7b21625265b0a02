#include "tests/support/IrFixture.hpp"

#include <string>

namespace {

using sxir::Expression;
using sxir::OpId;

class OperatorTest : public sxir_test::IrTest {};

TEST_F(OperatorTest, OnlyBinaryNativeOperatorsAreParenthesised)
{
    sxir::Function& f = addFunction("f", {"a", "b", "c"}, {});
    Expression const a = use(f, "a"), b = use(f, "b"), c = use(f, "c");
    EXPECT_EQ(((a + b) * c).asString(), "((a+b)*c)");
    EXPECT_EQ((a + b * c).asString(), "(a+(b*c))");
    EXPECT_EQ((-a * b).asString(), "(-a*b)");
    EXPECT_EQ((-(-(a + b))).asString(), "--(a+b)");
    EXPECT_EQ((!(a < b && !c)).asString(), "~((a<b)&&~c)");
    EXPECT_EQ(sxir::sqrt(a + b).asString(), "sqrt((a+b))");
    EXPECT_EQ(sxir::pow(-a, sxir::sin(b)).asString(), "pow(-a,sin(b))");
    EXPECT_EQ(sxir::atan2(a / b, 2.5).asString(), "atan2((a/b),2.5)");
}

TEST_F(OperatorTest, ContextAndOperationConstructorStartsFromZeroOperands)
{
    sxir::Function& f = addFunction("f", {"a"}, {});
    Expression const a = use(f, "a");
    auto& node = *new sxir::Operator(*context, OpId::POW);
    Expression const power(node);
    node.releaseReference();
    EXPECT_TRUE(node.getOperand(1).isEquivalent(Expression(*context, 0)));
    node.setOperand(1, a);
    EXPECT_EQ(power.asString(), "pow(0,a)");
    EXPECT_EQ(node.getOperand(1).getData(), a.getData());
    EXPECT_EQ(power.resolveFunction(), &f);
    node.initializeOperands();
    EXPECT_EQ(power.asString(), "pow(0,0)");
    EXPECT_EQ(a.getData()->getReferenceCount(), 1);
    EXPECT_EQ(power.resolveFunction(), nullptr);
}

TEST_F(OperatorTest, OnlyElementaryFunctionsHaveATypeAndNoneIsAssignable)
{
    sxir::Function& f = addFunction("f", {"a"}, {"y"});
    Expression const a = use(f, "a"), y = use(f, "y");
    EXPECT_EQ((a + y).getGenericType(), nullptr);
    EXPECT_EQ((-a).getGenericType(), nullptr);
    EXPECT_EQ(sxir::atan2(a, y).getGenericType(), &real());
    EXPECT_EQ(sxir::sign(Expression(*context, 'c')).getGenericType(), &real());
    EXPECT_TRUE(sxir::Operator::isNative(OpId::NOT_EQUAL));
    EXPECT_FALSE(sxir::Operator::isNative(OpId::POW));
    EXPECT_STREQ(sxir::Operator::getName(OpId::SQRT), "DUMMY");
    // The node and its type belong to the context of the first operand.
    sxir_test::RecordingEnvironment otherEnv;
    sxir_test::ContextPtr other = sxir_test::makeContext(otherEnv);
    Expression const there = sxir::sin(Expression(*other, 2) + a);
    EXPECT_EQ(&there.getData()->getContext(), other.get());
    EXPECT_EQ(there.getGenericType(), &other->getBuiltinType(sxu::DataTypeId::Real));
    EXPECT_TRUE(y.isLValue());
    EXPECT_FALSE((-y).isLValue());
}

TEST_F(OperatorTest, FunctionComesFromTheFirstOperandThatHasOne)
{
    sxir::Function& f = addFunction("f", {"x"}, {});
    sxir::Function& g = addFunction("g", {"z"}, {});
    sxir::Variable& global = *module.getModuleScope().addScopeItem<sxir::Variable>("m");
    global.setType(real());
    Expression const x = use(f, "x"), z = use(g, "z");
    Expression const m(global);
    EXPECT_EQ((1.0 + x).resolveFunction(), &f);
    EXPECT_EQ((x + z).resolveFunction(), &f);
    EXPECT_EQ((z + x).resolveFunction(), &g);
    EXPECT_EQ(((1.0 + m) * -z + x).resolveFunction(), &g);
    EXPECT_EQ((m + 1.0).resolveFunction(), nullptr);
}

TEST_F(OperatorTest, EquivalenceComparesTheOperationThenEachOperandInOrder)
{
    sxir::Function& f = addFunction("f", {"a", "b", "c"}, {});
    Expression const a = use(f, "a"), b = use(f, "b"), c = use(f, "c");
    EXPECT_TRUE(((a + b) * c).isEquivalent((use(f, "a") + use(f, "b")) * use(f, "c")));
    EXPECT_FALSE((a + b).isEquivalent(b + a));
    EXPECT_FALSE((a + b).isEquivalent(a - b));
    EXPECT_FALSE((-a).isEquivalent(!a));
    EXPECT_FALSE((a + 1).isEquivalent(a + 1.0));
    EXPECT_FALSE(((a + b) * c).isEquivalent((a + b) * b));
}

TEST_F(OperatorTest, DeepChainsArePrintedComparedClonedAndResolvedWithoutRecursion)
{
    std::size_t const depth = 200000;
    sxir::Function& f = addFunction("f", {"x", "w"}, {});
    sxir::Function& g = addFunction("g", {"x", "w"}, {});
    for (bool const leftDeep : {true, false}) {
        SCOPED_TRACE(leftDeep ? "left-deep" : "right-deep");
        // Only the deepest leaf refers to a declaration, so every walk must reach it;
        // each chain is destroyed when its round ends.
        auto chain = [depth, leftDeep](Expression const& deepest) {
            Expression e = deepest;
            for (std::size_t i = 0; i < depth; ++i) {
                e = leftDeep ? e + 1.0 : 1.0 + e;
            }
            return e;
        };
        std::string expected;
        for (std::size_t i = 0; i < depth; ++i) {
            expected += leftDeep ? "(" : "(1+";
        }
        expected += "x";
        for (std::size_t i = 0; i < depth; ++i) {
            expected += leftDeep ? "+1)" : ")";
        }
        Expression const deep = chain(use(f, "x"));
        sxu::string const text = deep.asString();
        EXPECT_TRUE(text == expected) << text.substr(0, 20) << "..." << text.substr(text.size() - 20);
        EXPECT_TRUE(deep.isEquivalent(chain(use(f, "x"))));
        EXPECT_FALSE(deep.isEquivalent(chain(use(f, "w"))));
        EXPECT_EQ(deep.resolveFunction(), &f);

        Expression const copy = deep.clone(g);
        EXPECT_EQ(copy.resolveFunction(), &g);
        EXPECT_TRUE(copy.isEquivalent(chain(use(g, "x"))));
        EXPECT_TRUE(copy.asString() == text);
    }
}

} // namespace
