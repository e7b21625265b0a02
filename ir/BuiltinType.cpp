#include "ir/BuiltinType.hpp"

#include "util/Assertion.hpp"

namespace sxir {

namespace {
char const* const sTypeNames[sxu::DataTypeId::Count] = {"boolean_T", "real_T", "int32_T", "uint32_T", "char_T"};
} // namespace

BuiltinType::BuiltinType(Context const& context, sxu::DataTypeId::Type type) : TypeShim(context), mType(type)
{
    SXU_CHECK(static_cast<unsigned long>(type) < sxu::DataTypeId::Count, "data type id out of range");
}

BuiltinType::BuiltinType(BuiltinType const& other) : TypeShim(other.getContext()), mType(other.mType) {}

BuiltinType::BuiltinType(Context const& context, BuiltinType const& other) : TypeShim(context), mType(other.mType) {}

BuiltinType::~BuiltinType() = default;

char const* BuiltinType::getTypeName(sxu::DataTypeId::Type type)
{
    SXU_CHECK(static_cast<unsigned long>(type) < sxu::DataTypeId::Count, "data type id out of range");
    return sTypeNames[type];
}

sxu::string BuiltinType::asString(sxu::string const& name) const
{
    sxu::string text = getTypeName(mType);
    text += ' ';
    text += name;
    return text;
}

} // namespace sxir
