#include "tests/support/IrFixture.hpp"

namespace {

using sxir::Expression;
using sxir::FunctionCall;

/// A handle that takes over the creator's reference of a freshly allocated node.
Expression adopt(sxir::ExpressionData* node)
{
    Expression handle(*node);
    node->releaseReference();
    return handle;
}

/// A client node kind: "mean(x,y)", typed like its first operand.
class Mean : public sxir::CustomExpressionData {
public:
    Mean(Expression const& x, Expression const& y) : CustomExpressionData(x.getContext()), mX(x), mY(y) {}

    sxir::Type const* getCustomType() const override { return mX.getGenericType(); }
    unsigned long getNumOperands() const override { return 2; }
    Expression const& getOperand(unsigned long position) const override { return position == 0 ? mX : mY; }
    sxu::string getCustomName() const override { return "mean"; }
    sxu::string asString() const override { return "mean(" + mX.asString() + "," + mY.asString() + ")"; }
    sxir::ExpressionData* clone(sxir::Function const& target) const override
    {
        return new Mean(mX.clone(target), mY.clone(target));
    }
    bool localIsEquivalent(sxir::CustomExpressionData const& other) const override
    {
        auto const* mean = dynamic_cast<Mean const*>(&other);
        return mean != nullptr && mX.isEquivalent(mean->mX) && mY.isEquivalent(mean->mY);
    }

private:
    Expression mX;
    Expression mY;
};

class FunctionCallTest : public sxir_test::IrTest {
protected:
    sxir::Function& g = addFunction("g", {"a", "b"}, {"y"});
    sxir::Function& h = addFunction("h", {}, {"z"});
    sxir::Function& f = addFunction("f", {"p", "q"}, {"r"});
    Expression const gRef = use(f, "g");
    Expression const p = use(f, "p");
    Expression const q = use(f, "q");
    Expression const r = use(f, "r");

    static Expression mean(Expression const& x, Expression const& y) { return adopt(new Mean(x, y)); }
};

TEST_F(FunctionCallTest, ReferenceNamesTheFunctionAndIsTypedByItsSignature)
{
    EXPECT_EQ(gRef.asString(), "g");
    EXPECT_EQ(&static_cast<sxir::FunctionRef const&>(*gRef.getData()).getFunction(), &g);
    EXPECT_EQ(gRef.getGenericType(), &g.getSignature());
    EXPECT_TRUE(gRef.isLValue());
    // g is declared in a module, not inside a function.
    EXPECT_EQ(gRef.resolveFunction(), nullptr);

    EXPECT_TRUE(gRef.isEquivalent(Expression(g)));
    EXPECT_FALSE(gRef.isEquivalent(Expression(h)));
    sxir::Module& other = *context->getGlobalScope().addScopeItem<sxir::Module>("other");
    EXPECT_FALSE(gRef.isEquivalent(Expression(addFunction("g", {"a", "b"}, {"y"}, &other))));
}

TEST_F(FunctionCallTest, CallPrintsItsOperandsAndNilForUnsetOnes)
{
    Expression const unset = sxir::call(gRef);
    EXPECT_EQ(unset.asString(), "g((nil),(nil))");
    auto const& node = static_cast<FunctionCall const&>(*unset.getData());
    EXPECT_EQ(node.getNumOperands(), 2u);
    EXPECT_EQ(node.getOperand(0), nullptr);
    EXPECT_FALSE(unset.isLValue());

    EXPECT_EQ(Expression(gRef << p).asString(), "g(p,(nil))");
    EXPECT_EQ(Expression(gRef << p << (q + 1.0)).asString(), "g(p,(q+1))");
    EXPECT_EQ(sxir::call(use(f, "h")).asString(), "h()");

    *r = (gRef << sxir::call(use(f, "h")) << q) * 2.0;
    EXPECT_EQ(f.asString(), "function [real_T r] = f(real_T p, real_T q)\n    r=(g(h(),q)*2)\nend");
}

TEST_F(FunctionCallTest, CallIsTypedByTheLastOutputOfItsSignature)
{
    sxir::FunctionSignature signature(*context);
    signature.addInput("a").setType(real());
    signature.addOutput("first").setType(real());
    signature.addOutput("last").setType(builtin(sxu::DataTypeId::Int32));
    sxir::Function& two = *module.getModuleScope().addScopeItem<sxir::Function>("two");
    two.setSignature(signature);

    Expression const result = sxir::call(Expression(two));
    ASSERT_NE(result.getGenericType(), nullptr);
    EXPECT_EQ(result.getGenericType()->asString("v"), "int32_T v");
    auto const& node = static_cast<FunctionCall const&>(*result.getData());
    EXPECT_EQ(node.getSignature().asString("two"), "[real_T first, int32_T last] = two(real_T a)");
}

TEST_F(FunctionCallTest, OnlyTheLastOperandDecidesTheFunctionOfACall)
{
    EXPECT_EQ(Expression(gRef << p << 1.0).resolveFunction(), nullptr);
    EXPECT_EQ(Expression(gRef << 1.0 << (q * 2.0)).resolveFunction(), &f);
    EXPECT_EQ(Expression(gRef << p).resolveFunction(), nullptr);
    EXPECT_EQ(sxir::call(use(f, "h")).resolveFunction(), nullptr);

    // So a constant cannot be assigned such a call: neither side tells the function.
    EXPECT_THROW(*Expression(*context, 0.0) = (gRef << p << 1.0), sxir::ReportedError);
    ASSERT_EQ(env.reports().size(), 1u);
    EXPECT_EQ(env.reports()[0].id, "sxir:expression:CannotResolveFunction");
    EXPECT_TRUE(f.getStatements().getStatementList().empty());
}

TEST_F(FunctionCallTest, BuilderSetsOperandsInTheOrderTheyWereShiftedIn)
{
    auto* direct = new FunctionCall(gRef);
    Expression const manual = adopt(direct);
    direct->setOperand(1, p);
    direct->setOperand(0, p);
    direct->setOperand(1, q);
    Expression const built = (gRef << p << q);
    EXPECT_TRUE(built.isEquivalent(manual));
    EXPECT_FALSE(built.isEquivalent(gRef << q << p));
    EXPECT_FALSE(built.isEquivalent(gRef << p));
    EXPECT_FALSE(built.isEquivalent(Expression(addFunction("k", {"a", "b"}, {"y"})) << p << q));
    EXPECT_TRUE(sxir::call(gRef).isEquivalent(sxir::call(gRef)));

    // A copied builder collects on its own.
    sxir::FunctionCallBuilder first = gRef << p;
    sxir::FunctionCallBuilder second = first;
    second << q;
    EXPECT_EQ(Expression(first).asString(), "g(p,(nil))");
    EXPECT_EQ(Expression(second).asString(), "g(p,q)");
}

TEST_F(FunctionCallTest, LocalHoldingAFunctionReferenceCanBeCalled)
{
    addLocal(f, "c", &g.getSignature());
    Expression const c = use(f, "c");
    *c = gRef;
    *r = (c << p << q);
    // The local's declaration line is its signature type printed around its name.
    EXPECT_EQ(f.asString(), "function [real_T r] = f(real_T p, real_T q)\n    [real_T y] = c(real_T a, real_T b)\n"
                            "    c=g\n    r=c(p,q)\nend");
}

TEST_F(FunctionCallTest, CloneRebindsTheFunctionAndOperandsByName)
{
    sxir::Function& sameModule = addFunction("f2", {"q", "p"}, {"r"});
    Expression const original = (gRef << p << (q * 2.0));
    Expression const copy = original.clone(sameModule);
    EXPECT_EQ(copy.asString(), "g(p,(q*2))");
    EXPECT_EQ(copy.resolveFunction(), &sameModule);
    EXPECT_TRUE(copy.isEquivalent(gRef << use(sameModule, "p") << (use(sameModule, "q") * 2.0)));

    // In another module the name "g" means that module's g (references compare by identity).
    sxir::Module& other = *context->getGlobalScope().addScopeItem<sxir::Module>("other");
    sxir::Function& otherG = addFunction("g", {"a", "b"}, {"y"}, &other);
    sxir::Function& otherF = addFunction("f", {"p", "q"}, {"r"}, &other);
    Expression const moved = original.clone(otherF);
    EXPECT_TRUE(moved.isEquivalent(Expression(otherG) << use(otherF, "p") << (use(otherF, "q") * 2.0)));
}

TEST_F(FunctionCallTest, ClientNodePrintsComparesResolvesAndClones)
{
    Expression const one(*context, 1.0);
    Expression const node = mean(one, q);
    EXPECT_EQ(node.asString(), "mean(1,q)");
    EXPECT_FALSE(node.isLValue());
    ASSERT_NE(node.getGenericType(), nullptr);
    EXPECT_EQ(node.getGenericType()->asString("v"), "real_T v");
    // The first operand that belongs to a function decides, unlike for a call.
    EXPECT_EQ(node.resolveFunction(), &f);
    EXPECT_EQ(mean(one, Expression(*context, 2.0)).resolveFunction(), nullptr);
    EXPECT_EQ(mean(p, use(g, "a")).resolveFunction(), &f);

    EXPECT_TRUE(node.isEquivalent(mean(one, q)));
    EXPECT_FALSE(node.isEquivalent(mean(q, one)));
    EXPECT_FALSE(node.isEquivalent(one + q));
    EXPECT_FALSE((one + q).isEquivalent(node));

    *r = node + p;
    sxir::Module& other = *context->getGlobalScope().addScopeItem<sxir::Module>("other");
    other.getModuleScope().copyGenericItemIn(g);
    other.getModuleScope().copyGenericItemIn(h);
    auto* copy = dynamic_cast<sxir::Function*>(other.getModuleScope().copyGenericItemIn(f));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->asString(), "function [real_T r] = f(real_T p, real_T q)\n    r=(mean(1,q)+p)\nend");
    auto const& statement =
        static_cast<sxir::AssignmentStatement const&>(*copy->getStatements().getStatementList().front());
    auto const& sum =
        static_cast<sxir::Operator const&>(*statement.getExpression(sxir::AssignmentStatement::RHS).getData());
    EXPECT_EQ(sum.getOperand(0).resolveFunction(), copy);
}

} // namespace
