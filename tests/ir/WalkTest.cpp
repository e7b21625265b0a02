// What every whole-tree operation shares: expression graphs walked once per distinct node, the
// structural hash that follows equivalence, copies that keep sharing as the source has it,
// destruction innermost first, and reading that leaves the record of the last context alone.
#include "tests/support/IrFixture.hpp"

#include "ir/StructuralHash.hpp"

#include <iostream>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using sxir::Colon;
using sxir::Expression;
using sxu::DataTypeId;
using sxu::Dimension;

class WalkTest : public sxir_test::IrTest {
protected:
    sxir::Function& g = addFunction("g", {"p", "q"}, {"r"});
    sxir::Function& f = addFunction("f", {"a", "b"}, {"y"});
    Expression a = use(f, "a"), b = use(f, "b"), y = use(f, "y");
    sxir::MatrixType const matrix{*context, DataTypeId::Real, Dimension(3, 3)};

    /// `e = leaf; e = e + e` `depth` times: a graph of depth + 1 nodes that unfolds to 2^depth leaves.
    static Expression doubling(Expression e, unsigned depth)
    {
        for (unsigned level = 0; level < depth; ++level) {
            e = e + e;
        }
        return e;
    }
    static sxir::ExpressionData const* operand(sxir::ExpressionData const* node, unsigned long position)
    {
        return static_cast<sxir::Operator const*>(node)->getOperand(position).getData();
    }
    static sxir::Expression const& rhs(sxir::Statement const* statement)
    {
        return static_cast<sxir::AssignmentStatement const*>(statement)->getExpression(sxir::AssignmentStatement::RHS);
    }
};

TEST_F(WalkTest, GraphsSixtyLevelsDeepCompareHashCopyAndDieOncePerDistinctNode)
{
    // Unfolded, each of these is 2^60 leaves: a walk that visited every use would never end.
    Expression const e = doubling(a, 60), same = doubling(use(f, "a"), 60), other = doubling(b, 60);
    EXPECT_TRUE(e.isEquivalent(same));
    EXPECT_FALSE(e.isEquivalent(other));
    EXPECT_FALSE(e.isEquivalent(doubling(a, 59) + doubling(b, 59)));
    EXPECT_EQ(sxir::structuralHash(e), sxir::structuralHash(same));
    EXPECT_NE(sxir::structuralHash(e), sxir::structuralHash(other));
    *y = e;

    // The copy shares as the source does: one node per level and one leaf.
    auto target = sxir_test::makeContext(env);
    sxir::ScopeItem* copied = target->getGlobalScope().copyGenericItemIn(module);
    auto const* copiedF = static_cast<sxir::Function const*>(
        static_cast<sxir::Module*>(copied)->getModuleScope().lookupGenericScopeItem("f"));
    sxir::ExpressionData const* node = rhs(copiedF->getStatements().getStatementList().back()).getData();
    std::set<sxir::ExpressionData const*> distinct;
    for (; node->getExpressionDataType() == sxir::ExpressionDataType::Operator; node = operand(node, 0)) {
        EXPECT_EQ(operand(node, 0), operand(node, 1));
        distinct.insert(node);
    }
    EXPECT_EQ(distinct.size(), 60u);
    EXPECT_EQ(&node->getContext(), target.get());
    EXPECT_TRUE(sxir::sameStructure(*copiedF, f));
    // Deleting the copy's context and the handles frees the graphs without unfolding them.
    target.reset();
}

TEST_F(WalkTest, CopiesShareWhatTheSourceSharesAndNothingElse)
{
    Expression const product = a * b;
    *y = product + product;         // one node used twice
    *y = use(f, "a") + use(f, "a"); // two nodes naming one variable
    *y = a - a;                     // one node naming it, used twice
    sxir::Function& copy = *static_cast<sxir::Function*>(module.getModuleScope().copyGenericItemIn(f));
    auto const& body = copy.getStatements().getStatementList();
    std::vector<bool> shared;
    for (sxir::Statement const* statement : body) {
        sxir::ExpressionData const* sum = rhs(statement).getData();
        shared.push_back(operand(sum, 0) == operand(sum, 1));
    }
    EXPECT_EQ(shared, (std::vector<bool>{true, false, true}));
    // No sharing across copy operations, nor with the source.
    sxir::Function& again = *static_cast<sxir::Function*>(module.getModuleScope().copyGenericItemIn(f));
    EXPECT_NE(operand(rhs(body.front()).getData(), 0),
              operand(rhs(again.getStatements().getStatementList().front()).getData(), 0));
    EXPECT_NE(operand(rhs(body.front()).getData(), 0), product.getData());
}

/// Random expressions and statements over the declarations of one function, the same for a seed.
class RandomProgram {
public:
    RandomProgram(sxir::Function& function, unsigned seed) : mFunction(function), mRandom(seed) {}

    Expression expression(unsigned depth)
    {
        sxir::Context const& context = mFunction.getContext();
        unsigned const choice = pick(depth == 0 ? 4 : 10);
        switch (choice) {
        case 0:
            return Expression(context, static_cast<double>(pick(3)) - 1.0);
        case 1:
            return Expression(context, static_cast<int>(pick(3)));
        case 2:
            return Expression(*mFunction(pick(2) == 0 ? "a" : "b"));
        case 3:
            return Expression(*mFunction(pick(2) == 0 ? "M" : "y"));
        case 4:
        case 5: {
            // An operation of either form, its operands built left to right.
            auto const op = static_cast<sxir::OpId::Type>(pick(sxir::OpId::Count));
            Expression const left = expression(depth - 1);
            return sxir::Operator::getNumOperands(op) == 1 ? Expression(op, left)
                                                           : Expression(op, left, expression(depth - 1));
        }
        case 6: {
            Expression const row = expression(depth - 1);
            return Expression(*mFunction("M"))(row, expression(depth - 1));
        }
        case 7:
            return Expression(*mFunction("M"))(Colon(pick(3), 3 + pick(2)));
        case 8: {
            Expression const first = expression(depth - 1);
            return Expression(Expression(*mFunction("g")) << first << expression(depth - 1));
        }
        default: {
            // A node shared by both operands.
            Expression const shared = expression(depth - 1);
            return shared * shared;
        }
        }
    }
    /// Appends a random statement (an assignment, or an if holding some).
    void statement(unsigned depth)
    {
        if (depth == 0 || pick(3) != 0) {
            Expression const target = Expression(*mFunction(pick(2) == 0 ? "y" : "M"))(0);
            *target = expression(2);
            return;
        }
        Expression const condition = expression(2);
        mFunction.If(condition);
        for (unsigned n = pick(3); n > 0; --n) {
            statement(depth - 1);
        }
        if (pick(2) == 0) {
            mFunction.Else();
            statement(depth - 1);
        }
        mFunction.End();
    }

private:
    unsigned pick(unsigned count) { return static_cast<unsigned>(mRandom() % count); }

    sxir::Function& mFunction;
    std::mt19937 mRandom;
};

TEST_F(WalkTest, EquivalentObjectsHashAlikeAndDistinctOnesRarelyCollide)
{
    addLocal(f, "M", &matrix);
    std::vector<Expression> expressions;
    for (unsigned seed = 0; seed < 400; ++seed) {
        // The same seed twice builds two separate but equivalent trees.
        Expression const first = RandomProgram(f, seed).expression(4);
        Expression const second = RandomProgram(f, seed).expression(4);
        ASSERT_TRUE(first.isEquivalent(second)) << first.asString();
        EXPECT_EQ(sxir::structuralHash(first), sxir::structuralHash(second)) << first.asString();
        expressions.push_back(first);
    }
    unsigned long pairs = 0, collisions = 0;
    for (std::size_t i = 0; i < expressions.size(); ++i) {
        for (std::size_t j = i + 1; j < expressions.size(); ++j) {
            bool const equivalent = expressions[i].isEquivalent(expressions[j]);
            bool const sameHash = sxir::structuralHash(expressions[i]) == sxir::structuralHash(expressions[j]);
            EXPECT_TRUE(!equivalent || sameHash) << expressions[i].asString();
            pairs += equivalent ? 0 : 1;
            collisions += !equivalent && sameHash ? 1 : 0;
        }
    }
    EXPECT_LT(collisions, pairs / 10000 + 1) << collisions << " collisions among " << pairs << " pairs";
    std::cout << "structural hash: " << collisions << " collisions among " << pairs
              << " pairs of random expressions that are not equivalent\n";

    // Statements: one function per seed, built twice; a copy in another context hashes alike too.
    auto target = sxir_test::makeContext(env);
    sxir::Module& copies = *target->getGlobalScope().addScopeItem<sxir::Module>("copies");
    copies.getModuleScope().copyGenericItemIn(g);
    for (unsigned seed = 0; seed < 100; ++seed) {
        sxir::Function& twin = addFunction("twin" + std::to_string(seed), {"a", "b"}, {"y"});
        addLocal(twin, "M", &matrix);
        for (sxir::Function* in : {&f, &twin}) {
            RandomProgram program(*in, seed);
            program.statement(3);
        }
        sxir::Statement const& left = *f.getStatements().getStatementList().back();
        sxir::Statement const& right = *twin.getStatements().getStatementList().back();
        auto const* copy = static_cast<sxir::Function*>(copies.getModuleScope().copyGenericItemIn(twin));
        EXPECT_EQ(sxir::structuralHash(left), sxir::structuralHash(right)) << left.asString();
        EXPECT_EQ(sxir::structuralHash(*copy->getStatements().getStatementList().back()), sxir::structuralHash(right));
        EXPECT_TRUE(sxir::sameStructure(*copy, twin));
    }
    std::vector<sxir::Statement const*> statements;
    for (sxir::Statement const* statement : f.getStatements().getStatementList()) {
        statements.push_back(statement);
    }
    unsigned long statementPairs = 0, statementCollisions = 0;
    for (std::size_t i = 0; i < statements.size(); ++i) {
        for (std::size_t j = i + 1; j < statements.size(); ++j) {
            bool const equivalent = statements[i]->isEquivalent(*statements[j]);
            bool const sameHash = sxir::structuralHash(*statements[i]) == sxir::structuralHash(*statements[j]);
            statementPairs += equivalent ? 0 : 1;
            statementCollisions += !equivalent && sameHash ? 1 : 0;
        }
    }
    EXPECT_EQ(statementCollisions, 0u);
    std::cout << "structural hash: " << statementCollisions << " collisions among " << statementPairs
              << " pairs of random statements that are not equivalent\n";
}

TEST_F(WalkTest, OneConstantOperatorNameOrTypeChangedIsAnotherStructure)
{
    // p(a) -> y with the local t: t = a + 2; y = t * a; each variant changes one thing of it.
    struct Variant {
        char const* name;
        double constant;
        bool subtract;
        char const* local;
        DataTypeId::Type type;
    };
    Variant const original{"original", 2.0, false, "t", DataTypeId::Real};
    Variant const variants[] = {
        {"a constant", 3.0, false, "t", DataTypeId::Real},
        {"an operator", 2.0, true, "t", DataTypeId::Real},
        {"a name", 2.0, false, "u", DataTypeId::Real},
        {"a type", 2.0, false, "t", DataTypeId::Int32},
    };
    // Each in a context of its own.
    auto build = [](sxir::Context& in, Variant const& variant) -> sxir::Function& {
        auto& owner = *in.getGlobalScope().addScopeItem<sxir::Module>("m");
        sxir::FunctionSignature signature(in);
        signature.addInput("a").setType(in.getBuiltinType(DataTypeId::Real));
        signature.addOutput("y").setType(in.getBuiltinType(DataTypeId::Real));
        auto& p = *owner.getModuleScope().addScopeItem<sxir::Function>("p");
        p.setSignature(signature);
        p.getFunctionScope(sxir::FunctionScopeType::Local)
            .addScopeItem<sxir::Variable>(variant.local)
            ->setType(in.getBuiltinType(variant.type));
        Expression const a = p.expression("a"), local = p.expression(variant.local);
        *local = variant.subtract ? a - variant.constant : a + variant.constant;
        *p.expression("y") = local * a;
        return p;
    };
    auto home = sxir_test::makeContext(env);
    sxir::Function& source = build(*home, original);
    auto other = sxir_test::makeContext(env);
    EXPECT_TRUE(sxir::sameStructure(build(*other, original), source));
    for (Variant const& variant : variants) {
        auto changed = sxir_test::makeContext(env);
        EXPECT_FALSE(sxir::sameStructure(build(*changed, variant), source)) << variant.name;
    }
}

/// Records, when it goes, the name it was attached under.
class Recorder : public sxir::GenericAuxiliaryData {
public:
    Recorder(std::vector<std::string>& log, std::string name) : mLog(log), mName(std::move(name)) {}
    ~Recorder() override { mLog.push_back(mName); }

private:
    std::vector<std::string>& mLog;
    std::string mName;
};

TEST_F(WalkTest, NodesGoInnermostFirstAndACallInItsDestructorsOrder)
{
    std::vector<std::string> log;
    auto attach = [&log](sxir::Base const& object, char const* name) {
        const_cast<sxir::Base&>(object).attachGenericAuxiliaryData(new Recorder(log, name));
    };
    {
        Expression x = use(f, "a");
        Expression root = sxir::sqrt(-x);
        attach(*x.getData(), "x");
        attach(*operand(root.getData(), 0), "-x");
        attach(*root.getData(), "sqrt");
        x = Expression(*context);
    }
    EXPECT_EQ(log, (std::vector<std::string>{"x", "-x", "sqrt"}));
    log.clear();
    {
        Expression call = Expression(g) << Expression(*context, 1.0) << -Expression(*context, 2.0);
        auto const& node = static_cast<sxir::FunctionCall const&>(*call.getData());
        attach(node.getSignature(), "signature");
        attach(*node.getFunction().getData(), "function");
        attach(*node.getOperand(0)->getData(), "operand 0");
        attach(*node.getOperand(1)->getData(), "operand 1");
        attach(*operand(node.getOperand(1)->getData(), 0), "inside operand 1");
        attach(node, "call");
    }
    EXPECT_EQ(
        log, (std::vector<std::string>{"signature", "function", "operand 0", "inside operand 1", "operand 1", "call"}));
    log.clear();
    // A chain far deeper than any recursion the library allows goes innermost first too.
    {
        Expression chain(*context, 1.0);
        attach(*chain.getData(), "0");
        for (int level = 1; level <= 100000; ++level) {
            chain = -chain;
            attach(*chain.getData(), std::to_string(level).c_str());
        }
    }
    ASSERT_EQ(log.size(), 100001u);
    for (int level = 0; level <= 100000; ++level) {
        ASSERT_EQ(log[level], std::to_string(level));
    }
}

TEST_F(WalkTest, ReadingAndSettingPartsLeavesTheRecordOfTheLastContextAlone)
{
    addLocal(f, "M", &matrix);
    Expression const M = use(f, "M");
    Expression const sum = a + b, element = M(a, b), range = M(Colon(0, 2)), call = Expression(g) << a << b;
    *y = sum;
    f.If(a > b);
    f.End();
    auto const& body = f.getStatements().getStatementList();
    auto const* assignment = static_cast<sxir::AssignmentStatement const*>(*std::next(body.begin(), 0));
    auto* ifStatement = static_cast<sxir::IfStatement*>(body.back());
    Expression const swapped = b < a;
    auto other = sxir_test::makeContext(env);
    Expression const anchor(*other);
    auto* op = const_cast<sxir::Operator*>(static_cast<sxir::Operator const*>(sum.getData()));
    auto* matrixRef = const_cast<sxir::MatrixRef*>(static_cast<sxir::MatrixRef const*>(element.getData()));
    auto* callNode = const_cast<sxir::FunctionCall*>(static_cast<sxir::FunctionCall const*>(call.getData()));
    auto const* rangeNode = static_cast<sxir::SubMatrix const*>(range.getData());
    std::vector<Expression const*> read = {&op->getOperand(1),
                                           &matrixRef->getIndex(0),
                                           &matrixRef->getExpression(),
                                           &rangeNode->getExpression(),
                                           callNode->getOperand(1),
                                           &callNode->getFunction(),
                                           &assignment->getExpression(sxir::AssignmentStatement::RHS),
                                           &ifStatement->getExpression()};
    op->setOperand(0, b);
    matrixRef->setIndex(1, a);
    callNode->setOperand(0, b);
    ifStatement->setExpression(swapped);
    for (Expression const* handle : read) {
        EXPECT_EQ(&handle->getData()->getContext(), context.get());
    }
    // A bare number goes where the last IR object was built: the other context.
    EXPECT_EQ(&Expression(1.5).getData()->getContext(), other.get());
    EXPECT_EQ(sum.asString(), "(b+b)");
    EXPECT_EQ(element.asString(), "M(a,a)");
    EXPECT_EQ(call.asString(), "g(b,b)");
}

} // namespace
