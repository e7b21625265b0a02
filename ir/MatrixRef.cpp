#include "ir/MatrixRef.hpp"

#include "ir/Type.hpp"
#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/TextSink.hpp"
#include "util/Assertion.hpp"

namespace sxir {

MatrixRef::MatrixRef(Expression const& expression)
    : ExpressionDataShim(expression.getContext()), mParts{expression, Expression(expression.getContext(), 0), mParts[1]}
{}

MatrixRef::MatrixRef(Expression const& expression, Expression const& row, Expression const& column)
    : ExpressionDataShim(expression.getContext()), mParts{expression, row, column}
{}

MatrixRef::~MatrixRef() = default;

Expression const& MatrixRef::getIndex(unsigned long position) const
{
    SXU_CHECK(position < 2, "matrix index position out of range");
    return mParts[1 + position];
}

void MatrixRef::setIndex(unsigned long position, Expression const& index)
{
    SXU_CHECK(position < 2, "matrix index position out of range");
    mParts[1 + position] = index;
}

Function const* MatrixRef::resolveFunction() const
{
    return detail::ExpressionWalk::resolveFunction(*this);
}

Type const* MatrixRef::getGenericType() const
{
    // The element type of an element of an element ...: walk down the chain of
    // element references first, then take the base type once per level.
    unsigned long depth = 1;
    ExpressionData const* node = mParts[0].getData();
    while (node->getExpressionDataType() == ExpressionDataType::MatrixRef) {
        node = static_cast<MatrixRef const*>(node)->mParts[0].getData();
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
    return detail::ExpressionWalk::isSelectionLValue(*this);
}

sxu::string MatrixRef::asString() const
{
    return detail::ExpressionWalk::toString(*this);
}

void MatrixRef::appendText(detail::TextSink& out, unsigned long piece) const
{
    static char const pieces[] = {'\0', '(', ',', ')'};
    out.append(pieces[piece]);
}

ExpressionData* MatrixRef::clone(Function const& target) const
{
    return detail::ExpressionWalk::clone(*this, target);
}

bool MatrixRef::localIsEquivalent(MatrixRef const& other) const
{
    return detail::ExpressionWalk::equivalent(*this, other);
}

ExpressionData* MatrixRef::rebuild(Function const&, ExpressionData* const* clonedSubExpressions) const
{
    return new MatrixRef(Expression(*clonedSubExpressions[0]), Expression(*clonedSubExpressions[1]),
                         Expression(*clonedSubExpressions[2]));
}

} // namespace sxir
