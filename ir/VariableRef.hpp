// sxir::VariableRef: an expression naming a declared variable.
#pragma once

#include "ir/ExpressionData.hpp"

namespace sxir {

class Variable;

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
    bool localIsEquivalent(VariableRef const& other) const override { return mVariable == other.mVariable; }

protected:
    unsigned long openText(detail::TextSink& out) const override;
    unsigned long compareLocally(ExpressionData const& other) const override
    {
        VariableRef const* same = asSameClass(other);
        return same != nullptr && mVariable == same->mVariable ? 0 : sDifferent;
    }
    std::size_t hashLocally() const override { return reinterpret_cast<std::size_t>(mVariable); }

private:
    Variable const* mVariable;
};

} // namespace sxir
