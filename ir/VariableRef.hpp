// sxir::VariableRef: an expression naming a declared variable.
#pragma once

#include "ir/ExpressionData.hpp"

#include <tuple>

namespace sxir {

class Variable;

namespace detail {
struct NodeAccess;
} // namespace detail

class SXIR_API VariableRef final : public ExpressionDataShim<VariableRef> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::VariableRef;

    /// Refers to `variable`, which must outlive the reference.
    explicit VariableRef(Variable const& variable);
    ~VariableRef() override;

    Variable const& getVariable() const { return *mVariable; }

    /// The function declaring the variable, or null.
    Function const* resolveFunction() const override;
    /// The variable's own type.
    Type const* getGenericType() const override;
    /// The variable's mutability.
    bool isLValue() const override;
    /// The variable's name.
    sxu::string asString() const override;
    /// A reference to the variable of the same name as seen from `target`'s locals.
    ExpressionData* clone(Function const& target) const override;
    /// The very same variable.
    bool localIsEquivalent(VariableRef const& other) const override;

private:
    friend struct detail::NodeAccess;

    /// The node's own field; equivalence and the hash follow from it.
    auto fields() const { return std::tie(mVariable); }

    Variable const* mVariable;
};

} // namespace sxir
