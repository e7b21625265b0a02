// sxir::SubMatrix: the run first:last of a matrix expression's elements.
#pragma once

#include "ir/Colon.hpp"
#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"

#include <memory>
#include <tuple>

namespace sxir {

class MatrixType;

namespace detail {
class HandleCache;
struct NodeAccess;
} // namespace detail

class SXIR_API SubMatrix final : public ExpressionDataShim<SubMatrix> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::SubMatrix;

    SubMatrix(Expression const& expression, Colon const& range);
    ~SubMatrix() override;

    Expression const& getExpression() const;
    /// The indexed expression's type as a matrix type, taken at construction; null if it is none.
    MatrixType const* getExpressionType() const { return mExpressionType; }
    unsigned long getFirst() const { return mFirst; }
    unsigned long getLast() const { return mLast; }
    void setFirst(unsigned long first);
    void setLast(unsigned long last);
    /// Forgets the type built by getGenericType.
    void clearType();

    Function const* resolveFunction() const override;
    /// A column of last - first rows (unsigned) of the matrix's base type, built once and
    /// kept until first or last changes; null when the expression has no matrix type.
    Type const* getGenericType() const override;
    bool isLValue() const override;
    /// "x(0:3)".
    sxu::string asString() const override;
    ExpressionData* clone(Function const& target) const override;
    bool localIsEquivalent(SubMatrix const& other) const override;

private:
    friend struct detail::NodeAccess;

    /// The node's own fields, compared after the indexed expression; equivalence and the hash follow from them.
    auto fields() const { return std::tie(mFirst, mLast); }
    static constexpr bool sFieldsAfterChildren = true;

    // A counted reference to the indexed expression; the handle getExpression returns is made on demand.
    ExpressionData* mExpression = nullptr;
    mutable detail::HandleCache* mHandles = nullptr;
    MatrixType const* mExpressionType;
    unsigned long mFirst = 0;
    unsigned long mLast = 0;
    mutable std::unique_ptr<MatrixType> mCachedType;
};

} // namespace sxir
