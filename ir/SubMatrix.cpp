#include "ir/SubMatrix.hpp"

#include "ir/Context.hpp"
#include "ir/MatrixType.hpp"
#include "ir/detail/Cloning.hpp"
#include "ir/detail/Equivalence.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/Resolution.hpp"
#include "util/Assertion.hpp"

namespace sxir {

SubMatrix::SubMatrix(Expression const& expression, Colon const& range)
    : ExpressionDataShim(expression.getContext()), mExpression(expression.getData()->getReference()),
      mExpressionType(dynamic_cast<MatrixType const*>(expression.getGenericType()))
{
    setLast(range.getLast());
    setFirst(range.getFirst());
}

SubMatrix::~SubMatrix()
{
    detail::HandleCache::release(mHandles, &mExpression, 1);
}

Expression const& SubMatrix::getExpression() const
{
    return detail::HandleCache::view(mHandles, 1, 0, *mExpression);
}

void SubMatrix::setFirst(unsigned long first)
{
    mFirst = first;
    clearType();
}

void SubMatrix::setLast(unsigned long last)
{
    mLast = last;
    clearType();
}

void SubMatrix::clearType()
{
    getContext().noteChange();
    mCachedType.reset();
}

Function const* SubMatrix::resolveFunction() const
{
    return detail::resolveFunction(*this);
}

Type const* SubMatrix::getGenericType() const
{
    SXU_CHECK(mExpressionType != nullptr, "a sub-matrix of an expression without a matrix type has no type");
    if (!mCachedType && mExpressionType != nullptr) {
        mCachedType.reset(new MatrixType(mExpressionType->getBaseType(), sxu::Dimension(mLast - mFirst, 1)));
    }
    return mCachedType.get();
}

bool SubMatrix::isLValue() const
{
    return detail::isSelectionLValue(*this);
}

sxu::string SubMatrix::asString() const
{
    return detail::textOf(*this);
}

ExpressionData* SubMatrix::clone(Function const& target) const
{
    return detail::cloneExpression(*this, target);
}

bool SubMatrix::localIsEquivalent(SubMatrix const& other) const
{
    return detail::equivalent(*this, other);
}

} // namespace sxir
