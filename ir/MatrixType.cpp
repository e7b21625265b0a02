#include "ir/MatrixType.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Context.hpp"
#include "util/Format.hpp"

namespace sxir {

MatrixType::MatrixType(Context const& context, sxu::DataTypeId::Type id, sxu::Dimension const& dimension)
    : TypeShim(context), mBaseType(checkAndCloneType(context, context.getBuiltinType(id))), mDimension(dimension)
{}

MatrixType::MatrixType(Type const& baseType, sxu::Dimension const& dimension)
    : TypeShim(baseType.getContext()), mBaseType(checkAndCloneType(baseType.getContext(), baseType)),
      mDimension(dimension)
{}

MatrixType::MatrixType(MatrixType const& other)
    : TypeShim(other.getContext()), mBaseType(checkAndCloneType(other.getContext(), other.getBaseType())),
      mDimension(other.mDimension)
{}

MatrixType::MatrixType(Context const& context, MatrixType const& other)
    : TypeShim(context), mBaseType(checkAndCloneType(context, other.getBaseType())), mDimension(other.mDimension)
{}

MatrixType::~MatrixType() = default;

Type* MatrixType::checkAndCloneType(Context const& context, Type const& type)
{
    return type.clone(context);
}

sxu::string MatrixType::asString(sxu::string const& name) const
{
    sxu::string text = mBaseType->asString(name);
    text += '[';
    sxu::appendDecimal(text, mDimension.m());
    text += 'x';
    sxu::appendDecimal(text, mDimension.n());
    text += ']';
    return text;
}

bool MatrixType::localIsEquivalent(MatrixType const& other) const
{
    return mDimension == other.mDimension && *mBaseType == *other.mBaseType;
}

} // namespace sxir
