// sxir::MatrixType: a matrix of fixed row and column count over a base type.
#pragma once

#include "ir/Type.hpp"

#include <memory>

namespace sxir {

class SXIR_API MatrixType final : public TypeShim<MatrixType> {
public:
    static constexpr TypeId::Type sTypeId = TypeId::Matrix;

    /// A matrix of the context's builtin type `id`.
    MatrixType(Context const& context, sxu::DataTypeId::Type id, sxu::Dimension const& dimension);
    /// A matrix over a clone of `baseType`, in its context.
    MatrixType(Type const& baseType, sxu::Dimension const& dimension);
    MatrixType(MatrixType const& other);
    MatrixType(Context const& context, MatrixType const& other);
    ~MatrixType() override;

    /// `type` cloned into `context`, owned by the caller.
    static Type* checkAndCloneType(Context const& context, Type const& type);

    sxu::string asString(sxu::string const& name) const override;
    sxu::Dimension const& getDimension() const override { return mDimension; }
    /// False, also for a 1 by 1 matrix.
    bool isScalar() const override { return false; }
    Type const& getBaseType() const override { return *mBaseType; }
    bool isBuiltinType(sxu::DataTypeId::Type) const override { return false; }
    bool isArrayable() const override { return true; }
    bool isIndexable() const override { return true; }
    bool localIsEquivalent(MatrixType const& other) const override;

private:
    std::unique_ptr<Type> mBaseType;
    sxu::Dimension mDimension;
};

} // namespace sxir
