#include "ir/detail/Shape.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Function.hpp"
#include "ir/Scope.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/NodeAccess.hpp"
#include "util/Format.hpp"

namespace sxir {
namespace detail {

bool shapeOf(Type const& type, Shape& shape)
{
    shape = Shape();
    switch (type.getTypeId()) {
    case TypeId::Builtin:
        shape.type = static_cast<BuiltinType const&>(type).getType();
        return true;
    case TypeId::FunctionSignature:
        shape.function = true;
        return true;
    case TypeId::Matrix:
        if (type.getBaseType().getTypeId() != TypeId::Builtin) {
            return false;
        }
        shape.type = static_cast<BuiltinType const&>(type.getBaseType()).getType();
        shape.rows = type.getDimension().m();
        shape.columns = type.getDimension().n();
        return true;
    }
    return false;
}

double constantElement(Constant const& constant)
{
    double value = 0.0;
    NodeAccess::forScalar(constant, [&value](auto const& scalar) { value = static_cast<double>(std::get<0>(scalar.fields())); });
    DataType const type = constant.getType() != nullptr ? constant.getType()->getType() : sxu::DataTypeId::Real;
    return convertElement(value, type, type);
}

bool declaresOnlyVariables(Scope const& scope)
{
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        if (scope.getGenericScopeItem(i)->getScopeItemType() != ScopeItemType::Variable) {
            return false;
        }
    }
    return true;
}

CalleeFault calleeFault(Context const& context, Function const& callee, unsigned long operands)
{
    if (&callee.getContext() != &context) {
        return CalleeFault::OtherContext;
    }
    // An item a reporter that returned let into an input or output scope makes no signature.
    if (!callee.hasSignature() || !declaresOnlyVariables(callee.getFunctionScope(FunctionScopeType::Input)) ||
        !declaresOnlyVariables(callee.getFunctionScope(FunctionScopeType::Output))) {
        return CalleeFault::NoSignature;
    }
    if (callee.getFunctionScope(FunctionScopeType::Input).getNumScopeItems() != operands) {
        return CalleeFault::OperandCount;
    }
    return callee.getFunctionScope(FunctionScopeType::Output).isEmpty() ? CalleeFault::NoOutput : CalleeFault::None;
}

Variable const& inputOf(Function const& function, unsigned long position)
{
    return static_cast<Variable const&>(
        *function.getFunctionScope(FunctionScopeType::Input).getGenericScopeItem(position));
}

Type const& lastOutputTypeOf(Function const& function)
{
    Scope const& outputs = function.getFunctionScope(FunctionScopeType::Output);
    return static_cast<Variable const&>(*outputs.getGenericScopeItem(outputs.getNumScopeItems() - 1)).getType();
}

bool isModuleVariable(Variable const& variable)
{
    return dynamic_cast<ModuleScopeConfiguration const*>(
               &variable.getParentScope().getScopeData().getConfiguration()) != nullptr;
}

ExpressionData const& selectionBase(ExpressionData const& node)
{
    // Element and sub-range selections hold what they select from as sub-expression 0.
    ExpressionData const* base = &node;
    for (Children children = NodeAccess::childrenOf(*base);
         children.kind == ExpressionDataType::MatrixRef || children.kind == ExpressionDataType::SubMatrix;
         children = NodeAccess::childrenOf(*base)) {
        base = children[0];
    }
    return *base;
}

VariableRef const* storageOf(ExpressionData const& lhs)
{
    ExpressionData const& base = selectionBase(lhs);
    // A selection is storage when what it selects from is.
    bool const storage = base.getExpressionDataType() == ExpressionDataType::VariableRef && base.isLValue();
    return storage ? static_cast<VariableRef const*>(&base) : nullptr;
}

sxu::string dimensionText(Shape const& shape)
{
    sxu::string text;
    sxu::appendDecimal(text, shape.rows);
    text += 'x';
    sxu::appendDecimal(text, shape.columns);
    return text;
}

sxu::string shapeText(Shape const& shape)
{
    return shape.function ? sxu::string("a function") : dimensionText(shape) + " " + BuiltinType::getTypeName(shape.type);
}

} // namespace detail
} // namespace sxir
