// sxir::Constant, sxir::ConstantShim<C> and sxir::ScalarConstant<T>: scalar literals of the five data types.
#pragma once

#include "ir/ExpressionData.hpp"
#include "util/DataTypeId.hpp"

#include <tuple>

namespace sxir {

class BuiltinType;

/// A literal: belongs to no function, is never assignable, prints as its bare value.
class SXIR_API Constant : public ExpressionDataShim<Constant> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::Constant;

    explicit Constant(Context const& context) : ExpressionDataShim(context) {}
    ~Constant() override;

    /// The context's shared builtin type of the constant's data type.
    virtual BuiltinType const* getType() const = 0;
    /// The address of the stored value.
    virtual void const* getGenericValue() const = 0;
    /// The same value in `context`; count 1, owned by the caller.
    virtual Constant* localClone(Context const& context) const = 0;

    /// A new constant of data type `id` (0 to 4) read from `value`; count 1, owned by the caller.
    static Constant* createScalarConstant(Context const& context, sxu::DataTypeId::Type id, void const* value);
    bool isBuiltinType(sxu::DataTypeId::Type id) const;

    Function const* resolveFunction() const override { return nullptr; }
    Type const* getGenericType() const override;
    bool isLValue() const override { return false; }
    ExpressionData* clone(Function const& target) const override;
};

/// The class check and the cloning of the concrete constant class C, written once.
template <class C>
class ConstantShim : public Constant {
public:
    using Constant::Constant;

    bool localIsEquivalent(Constant const& other) const final
    {
        return sxu::hasExactType<C>(other) &&
               static_cast<C const&>(*this).localIsConstantEquivalent(static_cast<C const&>(other));
    }
    Constant* localClone(Context const& context) const final
    {
        return new C(context, static_cast<C const&>(*this).getValue());
    }

    virtual bool localIsConstantEquivalent(C const& other) const = 0;
};

/// The data type of each of the five value types.
template <class T>
struct ScalarDataType;
template <>
struct ScalarDataType<unsigned char> {
    static constexpr sxu::DataTypeId::Type sId = sxu::DataTypeId::Boolean;
};
template <>
struct ScalarDataType<double> {
    static constexpr sxu::DataTypeId::Type sId = sxu::DataTypeId::Real;
};
template <>
struct ScalarDataType<int> {
    static constexpr sxu::DataTypeId::Type sId = sxu::DataTypeId::Int32;
};
template <>
struct ScalarDataType<unsigned int> {
    static constexpr sxu::DataTypeId::Type sId = sxu::DataTypeId::UInt32;
};
template <>
struct ScalarDataType<char> {
    static constexpr sxu::DataTypeId::Type sId = sxu::DataTypeId::Char;
};

/// A constant of value type T: unsigned char (boolean), double, int, unsigned int or char.
/// Prints as a default output string stream prints a T; a boolean prints as its raw byte.
template <class T>
class SXIR_API ScalarConstant final : public ConstantShim<ScalarConstant<T>> {
public:
    ScalarConstant(Context const& context, T const& value) : ConstantShim<ScalarConstant<T>>(context), mValue(value) {}
    ~ScalarConstant() override;

    T const& getValue() const { return mValue; }

    BuiltinType const* getType() const override;
    void const* getGenericValue() const override { return &mValue; }
    sxu::string asString() const override;
    /// Equal values by ==: NaN matches nothing, 0.0 matches -0.0.
    bool localIsConstantEquivalent(ScalarConstant const& other) const override { return fields() == other.fields(); }

    /// The constant's own field; equivalence and the hash follow from it.
    auto fields() const { return std::tie(mValue); }

private:
    T mValue;
};

extern template class ScalarConstant<unsigned char>;
extern template class ScalarConstant<double>;
extern template class ScalarConstant<int>;
extern template class ScalarConstant<unsigned int>;
extern template class ScalarConstant<char>;

} // namespace sxir
