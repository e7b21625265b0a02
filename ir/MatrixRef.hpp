// sxir::MatrixRef: one element of a matrix expression, selected by row and column index expressions.
#pragma once

#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"

#include <tuple>

namespace sxir {

namespace detail {
class HandleCache;
struct NodeAccess;
} // namespace detail

class SXIR_API MatrixRef final : public ExpressionDataShim<MatrixRef> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::MatrixRef;

    /// Element (0, 0) of `expression`: both indices share one int32 constant 0.
    explicit MatrixRef(Expression const& expression);
    ~MatrixRef() override;

    Expression const& getExpression() const;
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

private:
    friend struct detail::NodeAccess;

    /// No fields of its own: equivalence and the hash follow from the sub-expressions alone.
    auto fields() const { return std::tie(); }
    /// Over already built parts, one reference added to each.
    MatrixRef(Context const& context, ExpressionData* const* parts);

    // Counted references to the indexed expression, then the row and column indices;
    // the handles the accessors return are made on demand.
    ExpressionData* mParts[3] = {};
    mutable detail::HandleCache* mHandles = nullptr;
};

} // namespace sxir
