// sxir::BuiltinType: the five scalar types ("boolean_T", "real_T", "int32_T", "uint32_T", "char_T").
#pragma once

#include "ir/Type.hpp"

namespace sxir {

/// Each context holds one per data type (Context::getBuiltinType); every other one is a clone.
class SXIR_API BuiltinType final : public TypeShim<BuiltinType> {
public:
    static constexpr TypeId::Type sTypeId = TypeId::Builtin;

    BuiltinType(Context const& context, sxu::DataTypeId::Type type);
    BuiltinType(BuiltinType const& other);
    BuiltinType(Context const& context, BuiltinType const& other);
    ~BuiltinType() override;

    sxu::DataTypeId::Type getType() const { return mType; }
    /// The type name of a data type ("real_T" for Real).
    static char const* getTypeName(sxu::DataTypeId::Type type);

    sxu::string asString(sxu::string const& name) const override;
    sxu::Dimension const& getDimension() const override { return scalarDimension(); }
    bool isScalar() const override { return true; }
    Type const& getBaseType() const override { return *this; }
    bool isBuiltinType(sxu::DataTypeId::Type id) const override { return mType == id; }
    bool isArrayable() const override { return true; }
    bool isIndexable() const override { return false; }
    bool localIsEquivalent(BuiltinType const& other) const override { return mType == other.mType; }

private:
    sxu::DataTypeId::Type mType;
};

} // namespace sxir
