#include "ir/CustomExpressionData.hpp"

#include "ir/Expression.hpp"

namespace sxir {

CustomExpressionData::~CustomExpressionData() = default;

Function const* CustomExpressionData::resolveFunction() const
{
    for (unsigned long i = 0; i < getNumOperands(); ++i) {
        if (Function const* function = getOperand(i).resolveFunction()) {
            return function;
        }
    }
    return nullptr;
}

} // namespace sxir
