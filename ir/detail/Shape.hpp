// The static shape of values, and the rules that decide by it whether an operation, a selection, a call
// or an assignment fits: the interpreter's preparation and the verifier both ask these, so they agree.
#pragma once

#include "ir/detail/Elements.hpp"
#include "util/String.hpp"

#include <cmath>

namespace sxir {

class Constant;
class Context;
class ExpressionData;
class Function;
class Scope;
class Type;
class Variable;
class VariableRef;

namespace detail {

/// The shape of a value: rows x columns elements of one type, or one function value.
struct Shape {
    unsigned long rows = 1;
    unsigned long columns = 1;
    DataType type = sxu::DataTypeId::Boolean;
    bool function = false;

    unsigned long count() const { return function ? 1 : rows * columns; }
    /// What operators, indices and conditions take: a number value of one element.
    bool isScalarNumber() const { return !function && rows * columns == 1; }
};

/// The shape of a value of `type`; false for a type no value has (a matrix of anything but a builtin type).
bool shapeOf(Type const& type, Shape& shape);

/// Whether a value of shape `value` may be stored into, or passed for, storage of shape `storage`:
/// a number value of the same element count, or a function for a function.
inline bool fits(Shape const& storage, Shape const& value)
{
    return storage.function == value.function && storage.count() == value.count();
}

/// The shape of the value of an operation on scalar operands of types `a` and `b`.
inline Shape operationShape(OpId::Type op, DataType a, DataType b)
{
    Shape shape;
    shape.type = resultType(op, a, b);
    return shape;
}

/// Whether (row, column) selects an element of a rows x columns matrix: whole numbers inside it (NaN is not).
inline bool isElementInside(double row, double column, unsigned long rows, unsigned long columns)
{
    return row >= 0 && column >= 0 && row < static_cast<double>(rows) && column < static_cast<double>(columns) &&
           row == std::trunc(row) && column == std::trunc(column);
}

/// The shape of one element of a matrix of shape `matrix`.
inline Shape elementShape(Shape matrix)
{
    matrix.rows = 1;
    matrix.columns = 1;
    return matrix;
}

/// Whether the elements first to last - 1 lie within `count` elements.
inline bool isRangeInside(unsigned long first, unsigned long last, unsigned long count)
{
    return first <= last && last <= count;
}

/// The shape of the elements first to last - 1 of a matrix of shape `matrix`: a column.
inline Shape rangeShape(Shape matrix, unsigned long first, unsigned long last)
{
    matrix.rows = last - first;
    matrix.columns = 1;
    return matrix;
}

/// What keeps a call of a known function from running, in the order a run finds it out.
enum class CalleeFault { None, OtherContext, NoSignature, OperandCount, NoOutput };

/// The element a constant stands for, as a value of its type: a boolean constant is 1 when its
/// byte is not zero; a client's own constant class stands for 0.
double constantElement(Constant const& constant);

/// Whether every item of `scope` is a variable (a reporter that returns lets other kinds in).
bool declaresOnlyVariables(Scope const& scope);
/// Why `callee` cannot be called with `operands` operands by a function of `context`.
CalleeFault calleeFault(Context const& context, Function const& callee, unsigned long operands);
/// Input `position` of a function with a signature.
Variable const& inputOf(Function const& function, unsigned long position);
/// The type of the last output of a function with a signature and an output: the type of a call's value.
Type const& lastOutputTypeOf(Function const& function);

/// A variable of a module's scope: storage that every function of the context may use.
bool isModuleVariable(Variable const& variable);

/// What `node` finally selects from, under its element and range selections (itself when it is none).
ExpressionData const& selectionBase(ExpressionData const& node);
/// The variable reference at the base of an assignment's left side when the left side is storage (a
/// mutable variable, or a selection of one); else null.
VariableRef const* storageOf(ExpressionData const& lhs);

/// "2x3".
sxu::string dimensionText(Shape const& shape);
/// "2x3 real_T", or "a function".
sxu::string shapeText(Shape const& shape);

} // namespace detail
} // namespace sxir
