// sxir::FunctionRef: a function used as a value (a function handle).
#pragma once

#include "ir/ExpressionData.hpp"

#include <tuple>

namespace sxir {

namespace detail {
struct NodeAccess;
} // namespace detail

class SXIR_API FunctionRef final : public ExpressionDataShim<FunctionRef> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::FunctionRef;

    explicit FunctionRef(Function const& function);
    ~FunctionRef() override;

    Function const& getFunction() const { return *mFunction; }
    void setFunction(Function const& function);

    /// The function whose scope declares the referenced one, or null.
    Function const* resolveFunction() const override;
    /// The referenced function's signature; null before it has one.
    Type const* getGenericType() const override;
    /// Always true: a function reference counts as assignable.
    bool isLValue() const override { return true; }
    /// The function's name.
    sxu::string asString() const override;
    /// A reference to the function of the same name as seen from `target`'s body.
    ExpressionData* clone(Function const& target) const override;
    /// The same function (serials are unique, so the same object).
    bool localIsEquivalent(FunctionRef const& other) const override;

private:
    friend struct detail::NodeAccess;

    /// The node's own field; equivalence and the hash follow from it.
    auto fields() const { return std::tie(mFunction); }

    Function const* mFunction;
};

} // namespace sxir
