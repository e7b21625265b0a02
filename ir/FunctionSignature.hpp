// sxir::FunctionSignature: the type of a function, its named and typed inputs and outputs.
#pragma once

#include "ir/Type.hpp"

#include <cstdint>
#include <memory>

namespace sxir {

class Scope;
class Variable;

struct FunctionIoScopeType {
    enum Type : std::uint32_t { Input = 0, Output = 1 };
    static constexpr unsigned long Count = 2;
};

class SXIR_API FunctionSignature final : public TypeShim<FunctionSignature> {
public:
    static constexpr TypeId::Type sTypeId = TypeId::FunctionSignature;

    explicit FunctionSignature(Context const& context);
    /// Copies the parameters, in order and with their types, as mutable variables.
    FunctionSignature(FunctionSignature const& other);
    FunctionSignature(Context const& context, FunctionSignature const& other);
    ~FunctionSignature() override;

    Scope& getScope(FunctionIoScopeType::Type kind);
    Scope const& getScope(FunctionIoScopeType::Type kind) const;
    /// A new, untyped parameter; fails as adding to a scope fails.
    Variable& addVariable(FunctionIoScopeType::Type kind, sxu::string const& name);
    Variable& addInput(sxu::string const& name) { return addVariable(FunctionIoScopeType::Input, name); }
    Variable& addOutput(sxu::string const& name) { return addVariable(FunctionIoScopeType::Output, name); }

    /// "[real_T y] = f(real_T a, real_T b)" for the name f; brackets and parentheses only when not empty.
    sxu::string asString(sxu::string const& name) const override;
    sxu::Dimension const& getDimension() const override { return scalarDimension(); }
    bool isScalar() const override { return true; }
    Type const& getBaseType() const override { return *this; }
    bool isBuiltinType(sxu::DataTypeId::Type) const override { return false; }
    bool isArrayable() const override { return false; }
    bool isIndexable() const override { return false; }
    /// Signatures are never equivalent, not even to themselves.
    bool localIsEquivalent(FunctionSignature const&) const override { return false; }

private:
    void createScopes(Context const& context);

    std::unique_ptr<Scope> mScopes[FunctionIoScopeType::Count];
};

} // namespace sxir
