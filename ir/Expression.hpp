// sxir::Expression, the value handle over expression nodes, and the operators that build expressions.
#pragma once

#include "ir/IrObject.hpp"
#include "ir/OpId.hpp"
#include "util/DataTypeId.hpp"
#include "util/String.hpp"

#include <type_traits>

namespace sxir {

class Colon;
class ExpressionData;
class ExpressionLValue;
class Function;
class FunctionCallBuilder;
class ScopeItem;
class Type;

namespace detail {
class HandleCache;
struct NodeAccess;

/// Enables the overloads that take a plain number (or character) beside a handle, when any of
/// `T` is one: the number becomes a constant in the handle's context, not in the last one.
template <class... T>
using IfNumber = std::enable_if_t<(std::is_arithmetic<T>::value || ...), int>;
} // namespace detail

/// A handle on a shared expression node: cheap to copy, compared with isEquivalent.
/// Built from plain values (constants), declarations (references), operators,
/// indexing and calls. `a = b` rebinds the handle; `*a = b` writes an assignment.
class SXIR_API Expression : public IrObject {
public:
    /// The int32 constant 0.
    explicit Expression(Context const& context);
    Expression(Context const& context, char const& value);
    /// A boolean constant.
    Expression(Context const& context, unsigned char const& value);
    Expression(Context const& context, int const& value);
    Expression(Context const& context, unsigned int const& value);
    Expression(Context const& context, double const& value);
    /// The int32 constant of the low 32 bits of `value`.
    Expression(Context const& context, unsigned long const& value);
    /// A boolean constant.
    Expression(Context const& context, bool const& value);
    /// An int32 constant. A value outside int32 is reported as
    /// "sxir:expression:ConstantOutOfRange"; if the report returns, its low 32 bits are kept.
    Expression(Context const& context, long const& value);
    Expression(Context const& context, long long const& value);
    /// A uint32 constant, with the same range check.
    Expression(Context const& context, unsigned long long const& value);
    /// A real constant.
    Expression(Context const& context, float const& value);

    // The same in the context of the IR object built last on this thread.
    Expression(char const& value);
    Expression(unsigned char const& value);
    Expression(int const& value);
    Expression(unsigned int const& value);
    Expression(double const& value);
    Expression(unsigned long const& value);
    Expression(bool const& value);
    Expression(long const& value);
    Expression(long long const& value);
    Expression(unsigned long long const& value);
    Expression(float const& value);
    // A pointer would otherwise become a boolean constant: `Expression(f("x"))` for `Expression(*f("x"))`.
    template <class T>
    Expression(T const* pointer) = delete;
    template <class T>
    Expression(Context const& context, T const* pointer) = delete;
    /// A constant of data type `id` read from `value`, in the last context.
    Expression(sxu::DataTypeId::Type id, void const* value);

    /// Shares `data`.
    explicit Expression(ExpressionData const& data);
    Expression(Expression const& other) noexcept;
    /// A use of the declaration `item` (a variable or function reference).
    Expression(ScopeItem const& item);
    Expression(OpId::Type op, Expression const& operand);
    Expression(OpId::Type op, Expression const& left, Expression const& right);
    /// The call the builder describes.
    Expression(FunctionCallBuilder const& builder);
    ~Expression() override;

    /// Rebinds the handle to `other`'s node; never writes an assignment.
    Expression& operator=(Expression const& other) noexcept;
    /// Rebinds the handle to a new constant of `value` in this handle's context.
    template <class T, detail::IfNumber<T> = 0>
    Expression& operator=(T value)
    {
        return *this = Expression(getContext(), value);
    }

    ExpressionData const* getData() const { return mData; }
    sxu::string asString() const;
    bool isLValue() const;
    Function const* resolveFunction() const;
    Type const* getGenericType() const;
    bool isEquivalent(Expression const& other) const;
    /// This expression rebuilt for `target`, declarations re-resolved there by name.
    Expression clone(Function const& target) const;

    /// Element (i, 0) of this matrix expression.
    Expression operator()(Expression const& i) const;
    /// Element (i, j) of this matrix expression.
    Expression operator()(Expression const& i, Expression const& j) const;
    /// The sub-range first:last of this matrix expression.
    Expression operator()(Colon const& range) const;
    // Plain-number indices become constants in this expression's context.
    template <class I, detail::IfNumber<I> = 0>
    Expression operator()(I i) const
    {
        return (*this)(inContext(i));
    }
    template <class I, class J, detail::IfNumber<I, J> = 0>
    Expression operator()(I const& i, J const& j) const
    {
        return (*this)(inContext(i), inContext(j));
    }

    /// Appends the assignment "this = rhs" to the function of this expression, or
    /// else of `rhs`; reports "sxir:expression:CannotResolveFunction" when neither has one.
    void assign(Expression const& rhs, bool autoGenerated) const;

private:
    friend class detail::HandleCache;
    friend struct detail::NodeAccess;
    struct Adopt {};
    struct View {};

    template <class T, detail::IfNumber<T> = 0>
    Expression inContext(T value) const
    {
        return Expression(getContext(), value);
    }
    static Expression inContext(Expression const& other) { return other; }

    /// Takes over the creator's reference of `node`, which may be null.
    Expression(Context const& context, ExpressionData* node, Adopt);
    /// Views `node` without holding it and without moving the record of the last
    /// context; whoever made it lets go of the node before destroying it.
    Expression(ExpressionData const& node, View);
    /// Holds a new int32 constant of the low 32 bits of `value`; for constructors only.
    void setSizeData(unsigned long const& value);

    ExpressionData* mData;
};

/// The assignable form of an expression: `*x = y` appends the assignment x=y.
class SXIR_API ExpressionLValue : public IrObject {
public:
    explicit ExpressionLValue(Expression const& expression);
    ExpressionLValue(ExpressionLValue const& other);
    ~ExpressionLValue() override;

    Expression const& getExpression() const { return mExpression; }
    /// Appends the assignment of `rhs` to this expression.
    void operator=(Expression const& rhs);
    /// `*x = *y` appends x=y.
    void operator=(ExpressionLValue const& rhs);
    /// `*x = 2.0` appends x=2, the constant made in x's context.
    template <class T, detail::IfNumber<T> = 0>
    void operator=(T rhs)
    {
        *this = Expression(getContext(), rhs);
    }

private:
    Expression mExpression;
};

SXIR_API ExpressionLValue operator*(Expression const& expression);
/// A call builder on `function` with `argument` as its first operand; chain more with <<.
/// (ir/FunctionCall.hpp adds the form with a plain number.)
SXIR_API FunctionCallBuilder operator<<(Expression const& function, Expression const& argument);
/// A call of `function` with no operands set.
SXIR_API Expression call(Expression const& function);

// Each binary operation also takes a plain number on either side, made a constant in the
// context of the handle on the other side.
#define SXIR_BINARY(id, name)                                                                                          \
    SXIR_API Expression name(Expression const& left, Expression const& right);                                         \
    template <class T, detail::IfNumber<T> = 0>                                                                        \
    Expression name(Expression const& left, T right)                                                                   \
    {                                                                                                                  \
        return Expression(OpId::id, left, Expression(left.getContext(), right));                                       \
    }                                                                                                                  \
    template <class T, detail::IfNumber<T> = 0>                                                                        \
    Expression name(T left, Expression const& right)                                                                   \
    {                                                                                                                  \
        return Expression(OpId::id, Expression(right.getContext(), left), right);                                      \
    }
#define SXIR_NATIVE_UNARY(id, symbol, op) SXIR_API Expression operator op(Expression const& operand);
#define SXIR_NATIVE_BINARY(id, symbol, op) SXIR_BINARY(id, operator op)
#define SXIR_FUNCTION_UNARY(id, name) SXIR_API Expression name(Expression const& operand);
#define SXIR_FUNCTION_BINARY(id, name) SXIR_BINARY(id, name)
#include "ir/Operations.def"
#undef SXIR_BINARY

} // namespace sxir
