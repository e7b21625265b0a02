// sxir::CustomExpressionData: the base of expression node kinds defined by clients.
#pragma once

#include "ir/ExpressionData.hpp"

namespace sxir {

/// A client subclass supplies the four operations below, and asString,
/// clone(Function const&) and localIsEquivalent(CustomExpressionData const&).
class SXIR_API CustomExpressionData : public ExpressionDataShim<CustomExpressionData> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::Custom;

    explicit CustomExpressionData(Context const& context) : ExpressionDataShim(context) {}
    ~CustomExpressionData() override;

    /// The first function, in operand order, that an operand resolves to.
    Function const* resolveFunction() const override;
    /// The subclass's getCustomType().
    Type const* getGenericType() const override { return getCustomType(); }
    bool isLValue() const override { return false; }

    virtual Type const* getCustomType() const = 0;
    virtual unsigned long getNumOperands() const = 0;
    virtual Expression const& getOperand(unsigned long position) const = 0;
    /// For the client's own use; the library never calls it.
    virtual sxu::string getCustomName() const = 0;
};

} // namespace sxir
