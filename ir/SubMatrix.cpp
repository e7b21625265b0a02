#include "ir/SubMatrix.hpp"

#include "ir/MatrixType.hpp"
#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/TextSink.hpp"
#include "util/Assertion.hpp"

namespace sxir {

SubMatrix::SubMatrix(Expression const& expression, Colon const& range)
    : ExpressionDataShim(expression.getContext()), mExpression(expression),
      mExpressionType(dynamic_cast<MatrixType const*>(expression.getGenericType()))
{
    setLast(range.getLast());
    setFirst(range.getFirst());
}

SubMatrix::~SubMatrix() = default;

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
    mCachedType.reset();
}

Function const* SubMatrix::resolveFunction() const
{
    return detail::ExpressionWalk::resolveFunction(*this);
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
    return detail::ExpressionWalk::isSelectionLValue(*this);
}

sxu::string SubMatrix::asString() const
{
    return detail::ExpressionWalk::toString(*this);
}

void SubMatrix::appendText(detail::TextSink& out, unsigned long) const
{
    out.append('(');
    out.appendDecimal(mFirst);
    out.append(':');
    out.appendDecimal(mLast);
    out.append(')');
}

ExpressionData* SubMatrix::clone(Function const& target) const
{
    return detail::ExpressionWalk::clone(*this, target);
}

bool SubMatrix::localIsEquivalent(SubMatrix const& other) const
{
    return detail::ExpressionWalk::equivalent(*this, other);
}

unsigned long SubMatrix::compareLocally(ExpressionData const& other) const
{
    SubMatrix const* same = asSameClass(other);
    return same != nullptr && mFirst == same->mFirst && mLast == same->mLast ? 1 : sDifferent;
}

ExpressionData* SubMatrix::rebuild(Function const&, ExpressionData* const* clonedSubExpressions) const
{
    return new SubMatrix(Expression(*clonedSubExpressions[0]), Colon(mFirst, mLast));
}

} // namespace sxir
