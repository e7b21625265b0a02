// sxir::MatrixRef: one element of a matrix expression, selected by row and column index expressions.
#pragma once

#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"

namespace sxir {

class SXIR_API MatrixRef final : public ExpressionDataShim<MatrixRef> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::MatrixRef;

    /// Element (0, 0) of `expression`: both indices share one int32 constant 0.
    explicit MatrixRef(Expression const& expression);
    ~MatrixRef() override;

    Expression const& getExpression() const { return mParts[0]; }
    /// Index 0 is the row, index 1 the column.
    Expression const& getIndex(unsigned long position) const;
    void setIndex(unsigned long position, Expression const& index);

    /// The indexed expression's, else the first index's that has one.
    Function const* resolveFunction() const override;
    /// The element type of the indexed expression's type, or null.
    Type const* getGenericType() const override;
    bool isLValue() const override;
    /// "A(i,j)".
    sxu::string asString() const override;
    ExpressionData* clone(Function const& target) const override;
    bool localIsEquivalent(MatrixRef const& other) const override;

protected:
    unsigned long getNumSubExpressions() const override { return 3; }
    ExpressionData const* getSubExpression(unsigned long position) const override { return mParts[position].getData(); }
    unsigned long openText(detail::TextSink&) const override { return 3; }
    void appendText(detail::TextSink& out, unsigned long piece) const override;
    unsigned long compareLocally(ExpressionData const& other) const override
    {
        return asSameClass(other) != nullptr ? 3 : sDifferent;
    }
    ExpressionData* rebuild(Function const& target, ExpressionData* const* clonedSubExpressions) const override;

private:
    MatrixRef(Expression const& expression, Expression const& row, Expression const& column);

    // The indexed expression, then the row and column indices.
    Expression mParts[3];
};

} // namespace sxir
