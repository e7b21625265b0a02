#include "tests/support/IrFixture.hpp"

#include <climits>

namespace {

using sxir::Colon;
using sxir::Expression;
using sxu::DataTypeId;
using sxu::Dimension;

class MatrixRefTest : public sxir_test::IrTest {
protected:
    sxir::Variable& addMatrix(sxir::Function& function, char const* name, DataTypeId::Type id, Dimension const& size)
    {
        sxir::MatrixType const type(*context, id, size);
        return addLocal(function, name, &type);
    }
    sxir::Variable& addGlobal(char const* name, sxir::Type const& type)
    {
        sxir::Variable& global = *module.getModuleScope().addScopeItem<sxir::Variable>(name);
        global.setType(type);
        return global;
    }
    static sxir::Variable const* variableOf(Expression const& e)
    {
        return &dynamic_cast<sxir::VariableRef const&>(*e.getData()).getVariable();
    }
};

TEST_F(MatrixRefTest, VariableRefAnswersForItsVariableAndClonesByName)
{
    sxir::Function& f = addFunction("f", {"x"}, {"out"});
    sxir::Function& g = addFunction("g", {}, {});
    sxir::Variable& local = addLocal(f, "t");
    sxir::Variable& global = addGlobal("m", real());
    Expression const t(local);
    EXPECT_EQ(variableOf(t), &local);
    EXPECT_EQ(t.asString(), "t");
    EXPECT_EQ(t.getGenericType(), &local.getType());
    EXPECT_EQ(use(f, "x").resolveFunction(), &f);
    EXPECT_EQ(Expression(global).resolveFunction(), nullptr);
    // Assignability follows the variable's mutability, as it is now.
    EXPECT_TRUE(use(f, "out").isLValue());
    EXPECT_FALSE(use(f, "x").isLValue());
    EXPECT_TRUE(t.isLValue());
    local.setMutable(false);
    EXPECT_FALSE(t.isLValue());
    // Identity, not name, makes two references equivalent.
    sxir::Variable& other = addLocal(g, "x");
    EXPECT_TRUE(use(f, "x").isEquivalent(use(f, "x")));
    EXPECT_FALSE(use(f, "x").isEquivalent(use(g, "x")));
    // A clone names what the target's body sees: f's input becomes g's assignable local.
    Expression const x = use(f, "x").clone(g);
    EXPECT_EQ(variableOf(x), &other);
    EXPECT_TRUE(x.isLValue());
    EXPECT_EQ(variableOf(Expression(global).clone(g)), &global);
}

TEST_F(MatrixRefTest, ElementStartsAtOneSharedInt32Zero)
{
    sxir::Function& f = addFunction("f", {"j"}, {});
    addMatrix(f, "A", DataTypeId::Real, Dimension(3, 4));
    Expression const A = use(f, "A");
    auto* node = new sxir::MatrixRef(A);
    Expression const element(*node);
    node->releaseReference();
    EXPECT_EQ(node->getIndex(0).getData(), node->getIndex(1).getData());
    EXPECT_EQ(node->getIndex(0).getData()->getReferenceCount(), 2);
    EXPECT_TRUE(node->getIndex(0).isEquivalent(Expression(*context, 0)));
    EXPECT_EQ(element.asString(), "A(0,0)");
    node->setIndex(1, use(f, "j") * 2);
    EXPECT_EQ(element.asString(), "A(0,(j*2))");
    EXPECT_EQ(node->getIndex(0).getData()->getReferenceCount(), 1);
}

TEST_F(MatrixRefTest, ElementHasTheBaseTypeAndAssignabilityOfWhatItIndexes)
{
    sxir::Function& f = addFunction("f", {"i"}, {});
    addMatrix(f, "A", DataTypeId::Real, Dimension(3, 4));
    addMatrix(f, "N", DataTypeId::Int32, Dimension(2, 2)).setMutable(false);
    sxir::MatrixType const inner(*context, DataTypeId::Char, Dimension(2, 3));
    sxir::MatrixType const outer(inner, Dimension(4, 1));
    addLocal(f, "M", &outer);
    Expression const A = use(f, "A"), i = use(f, "i");
    EXPECT_TRUE(A(i, 1).getGenericType()->isBuiltinType(DataTypeId::Real));
    EXPECT_TRUE(use(f, "N")(0, 1).getGenericType()->isBuiltinType(DataTypeId::Int32));
    // Each level of indexing takes one base type off a matrix of matrices; a scalar is its own element.
    EXPECT_TRUE(*use(f, "M")(i).getGenericType() == inner);
    EXPECT_TRUE(use(f, "M")(i)(0, 1).getGenericType()->isBuiltinType(DataTypeId::Char));
    EXPECT_EQ(i(0).getGenericType(), i.getGenericType());
    EXPECT_EQ((i + 1.0)(0).getGenericType(), nullptr);

    EXPECT_TRUE(A(i, 1).isLValue());
    EXPECT_FALSE(use(f, "N")(0, 1).isLValue());
    EXPECT_FALSE(i(0).isLValue());
    EXPECT_FALSE((A + 1.0)(0).isLValue());
}

TEST_F(MatrixRefTest, ElementComparesAndResolvesMatrixFirstThenIndices)
{
    sxir::Function& f = addFunction("f", {"i"}, {});
    sxir::Function& g = addFunction("g", {"j"}, {});
    addMatrix(f, "A", DataTypeId::Real, Dimension(3, 3));
    Expression const G(addGlobal("G", sxir::MatrixType(*context, DataTypeId::Real, Dimension(3, 3))));
    Expression const A = use(f, "A"), i = use(f, "i"), j = use(g, "j");
    EXPECT_EQ(A(j, j).resolveFunction(), &f);
    EXPECT_EQ(G(i, j).resolveFunction(), &f);
    EXPECT_EQ(G(1, j).resolveFunction(), &g);
    EXPECT_EQ(G(1, 2).resolveFunction(), nullptr);

    EXPECT_TRUE(A(i, j).isEquivalent(use(f, "A")(use(f, "i"), j)));
    EXPECT_TRUE(A(i).isEquivalent(A(i, 0)));
    EXPECT_FALSE(A(i).isEquivalent(A(i, 0u)));
    EXPECT_FALSE(A(i, j).isEquivalent(A(j, i)));
    EXPECT_FALSE(A(i, j).isEquivalent(G(i, j)));
    EXPECT_FALSE(A(i, j).isEquivalent(A(Colon(0, 1))));
}

TEST_F(MatrixRefTest, SubRangeIsAColumnOfLastMinusFirstRows)
{
    sxir::Function& f = addFunction("f", {}, {});
    sxir::Variable& x = addMatrix(f, "x", DataTypeId::UInt32, Dimension(1, 5));
    auto* node = new sxir::SubMatrix(use(f, "x"), Colon(1, 4));
    Expression const range(*node);
    node->releaseReference();
    EXPECT_EQ(node->getExpressionType(), &x.getType());
    EXPECT_EQ(range.asString(), "x(1:4)");
    sxir::Type const* type = range.getGenericType();
    EXPECT_TRUE(type->getDimension() == Dimension(3, 1));
    EXPECT_TRUE(type->getBaseType().isBuiltinType(DataTypeId::UInt32));
    EXPECT_EQ(range.getGenericType(), type);
    // The type is rebuilt after the bounds change.
    node->setFirst(2);
    EXPECT_TRUE(range.getGenericType()->getDimension() == Dimension(2, 1));
    node->setLast(7);
    EXPECT_TRUE(range.getGenericType()->getDimension() == Dimension(5, 1));
    EXPECT_EQ(range.asString(), "x(2:7)");
    node->clearType();
    EXPECT_TRUE(range.getGenericType()->getBaseType().isBuiltinType(DataTypeId::UInt32));
    // Neither an empty nor a reversed range is refused; the row count wraps.
    EXPECT_TRUE(use(f, "x")(Colon(2, 2)).getGenericType()->getDimension() == Dimension(0, 1));
    Expression const reversed = use(f, "x")(Colon(3, 1));
    EXPECT_EQ(reversed.asString(), "x(3:1)");
    EXPECT_TRUE(reversed.getGenericType()->getDimension() == Dimension(ULONG_MAX - 1, 1));
    EXPECT_EQ(use(f, "x")(Colon(0, ULONG_MAX)).asString(), "x(0:18446744073709551615)");
}

TEST_F(MatrixRefTest, SubRangeFollowsItsExpressionAndComparesTheBounds)
{
    sxir::Function& f = addFunction("f", {}, {});
    addMatrix(f, "x", DataTypeId::Real, Dimension(1, 5));
    addMatrix(f, "y", DataTypeId::Real, Dimension(1, 5)).setMutable(false);
    Expression const x = use(f, "x");
    EXPECT_TRUE(x(Colon(1, 4)).isLValue());
    EXPECT_FALSE(use(f, "y")(Colon(1, 4)).isLValue());
    EXPECT_EQ(x(Colon(1, 4)).resolveFunction(), &f);
    EXPECT_TRUE(x(Colon(1, 4)).isEquivalent(use(f, "x")(Colon(1, 4))));
    EXPECT_FALSE(x(Colon(1, 4)).isEquivalent(x(Colon(0, 4))));
    EXPECT_FALSE(x(Colon(1, 4)).isEquivalent(x(Colon(1, 3))));
    EXPECT_FALSE(x(Colon(1, 4)).isEquivalent(use(f, "y")(Colon(1, 4))));
    EXPECT_FALSE(x(Colon(1, 4)).isEquivalent(x(1, 4)));

    // A clone takes its matrix type afresh from the target's variable.
    sxir::Function& g = addFunction("g", {}, {});
    sxir::Variable& target = addMatrix(g, "x", DataTypeId::Int32, Dimension(2, 7));
    Expression const copy = x(Colon(1, 4)).clone(g);
    EXPECT_EQ(dynamic_cast<sxir::SubMatrix const&>(*copy.getData()).getExpressionType(), &target.getType());
    EXPECT_EQ(copy.asString(), "x(1:4)");
    EXPECT_TRUE(copy.getGenericType()->getDimension() == Dimension(3, 1));
    EXPECT_TRUE(copy.getGenericType()->getBaseType().isBuiltinType(DataTypeId::Int32));
    EXPECT_EQ(copy.resolveFunction(), &g);
}

} // namespace
