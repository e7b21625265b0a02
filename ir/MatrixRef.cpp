#include "ir/MatrixRef.hpp"

#include "ir/Constant.hpp"
#include "ir/Type.hpp"
#include "ir/detail/Cloning.hpp"
#include "ir/detail/Equivalence.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/Resolution.hpp"
#include "util/Assertion.hpp"

namespace sxir {

MatrixRef::MatrixRef(Expression const& expression) : ExpressionDataShim(expression.getContext())
{
    ExpressionData* const zero = new ScalarConstant<int>(expression.getContext(), 0);
    mParts[0] = expression.getData()->getReference();
    mParts[1] = zero;
    mParts[2] = zero->getReference();
}

MatrixRef::MatrixRef(Context const& context, ExpressionData* const* parts) : ExpressionDataShim(context)
{
    for (unsigned long i = 0; i < 3; ++i) {
        mParts[i] = parts[i]->getReference();
    }
}

MatrixRef::~MatrixRef()
{
    detail::HandleCache::release(mHandles, mParts, 3);
}

Expression const& MatrixRef::getExpression() const
{
    return detail::HandleCache::view(mHandles, 3, 0, *mParts[0]);
}

Expression const& MatrixRef::getIndex(unsigned long position) const
{
    SXU_CHECK(position < 2, "matrix index position out of range");
    return detail::HandleCache::view(mHandles, 3, 1 + position, *mParts[1 + position]);
}

void MatrixRef::setIndex(unsigned long position, Expression const& index)
{
    SXU_CHECK(position < 2, "matrix index position out of range");
    detail::HandleCache::set(mHandles, 1 + position, mParts[1 + position], *index.getData());
}

Function const* MatrixRef::resolveFunction() const
{
    return detail::resolveFunction(*this);
}

Type const* MatrixRef::getGenericType() const
{
    // The element type of an element of an element ...: walk down the chain of
    // element references first, then take the base type once per level.
    unsigned long depth = 1;
    ExpressionData const* node = mParts[0];
    while (node->getExpressionDataType() == ExpressionDataType::MatrixRef) {
        node = static_cast<MatrixRef const*>(node)->mParts[0];
        ++depth;
    }
    Type const* type = node->getGenericType();
    for (; type != nullptr && depth > 0; --depth) {
        Type const* base = &type->getBaseType();
        if (base == type) {
            break;
        }
        type = base;
    }
    return type;
}

bool MatrixRef::isLValue() const
{
    return detail::isSelectionLValue(*this);
}

sxu::string MatrixRef::asString() const
{
    return detail::textOf(*this);
}

ExpressionData* MatrixRef::clone(Function const& target) const
{
    return detail::cloneExpression(*this, target);
}

bool MatrixRef::localIsEquivalent(MatrixRef const& other) const
{
    return detail::equivalent(*this, other);
}

} // namespace sxir
