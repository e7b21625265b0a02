// The interpreter's form of a function: instructions over numbered slots, prepared once, run many times.
#pragma once

#include "ir/detail/Elements.hpp"
#include "ir/detail/Shape.hpp"
#include "util/Allocate.hpp"
#include "util/String.hpp"
#include "util/Vector.hpp"

#include <cstdint>
#include <unordered_map>

namespace sxir {

class Context;
class CustomExpressionData;
class ExpressionData;
class Function;
class Variable;

namespace detail {

/// A slot holds one element (a double) or one function (the bits of a Function pointer,
/// null bits for none). Slots number a run's frame, or the interpreter's module storage
/// when sModuleSpace is set.
using Slot = std::uint32_t;
constexpr Slot sModuleSpace = 0x80000000u;
constexpr Slot sNoSlot = 0xffffffffu;

/// What an instruction does; dst, a and b are slots unless said otherwise.
enum class Op : std::uint8_t {
    AddReal,      ///< dst = a + b, reals (as are the next three)
    SubtractReal, ///< dst = a - b
    MultiplyReal, ///< dst = a * b
    DivideReal,   ///< dst = a / b
    Unary,        ///< dst = program.unary[aux](a)
    Binary,       ///< dst = program.binary[aux](a, b)
    Convert,      ///< dst = program.unary[aux](a)
    Move,         ///< dst = a, bits and all
    Copy,         ///< program.copies[aux]
    Offset,       ///< dst = the storage offset of element (a, b) of program.offsets[aux], checked
    ReadAt,       ///< dst = the slot a + the offset held in b
    JumpUnless,   ///< unless a is true, go on at instruction dst
    Jump,         ///< go on at instruction dst
    Call,         ///< program.calls[aux]
    Custom,       ///< program.customs[aux]
    Fail,         ///< report program.failures[aux] and stop the run
    Return,       ///< the function ends
};

struct Instruction {
    Op op;
    std::uint32_t aux;
    Slot dst;
    Slot a;
    Slot b;
};

/// A value's place and shape: `count()` elements of `type` from `slot` (plus, when
/// `offset` is a slot, the offset that slot holds), or one function.
struct Place : Shape {
    Slot slot = sNoSlot;
    Slot offset = sNoSlot;
};

/// `count` elements from src (+ offset) to dst (+ offset), each converted.
struct CopySpec {
    Slot dst;
    Slot dstOffset;
    Slot src;
    Slot srcOffset;
    unsigned long count;
    UnaryFn conversion;
};

/// An element of a rows x columns matrix; `node` is the selection, for the report.
struct ElementSpec {
    unsigned long rows;
    unsigned long columns;
    ExpressionData const* node;
};

/// A call: of `callee` when it is known, else of the function `calleeSlot` holds.
struct CallSpec {
    Function const* callee;
    Slot calleeSlot;
    sxu::vector<Place> operands;
    Place result;
    ExpressionData const* node;
};

/// A client node, evaluated by the interpreter's custom evaluator.
struct CustomSpec {
    CustomExpressionData const* node;
    sxu::vector<Place> operands;
    Place result;
};

/// An error found when the function was prepared, reported when the run reaches it.
struct FailureSpec {
    char const* id;
    sxu::string arguments[4];
};

struct Program : sxu::AllocatorBase {
    Function const* function = nullptr;
    sxu::vector<Instruction> code;
    /// The initial slots of a frame: zero for variables and temporaries, the constants' values.
    sxu::vector<double> frame;
    sxu::vector<Place> inputs;
    sxu::vector<Place> outputs;
    sxu::vector<UnaryFn> unary;
    sxu::vector<BinaryFn> binary;
    sxu::vector<CopySpec> copies;
    sxu::vector<ElementSpec> offsets;
    sxu::vector<CallSpec> calls;
    sxu::vector<CustomSpec> customs;
    sxu::vector<FailureSpec> failures;
};

/// The storage of module variables, which all functions of a context share: zero at
/// first, kept from run to run.
class ModuleStorage {
public:
    /// The place of `variable`, made (zero) when it has none or its type changed; the
    /// slot of `shape`'s place is ignored.
    Place placeOf(Variable const& variable, Place const& shape);
    sxu::vector<double>& slots() { return mSlots; }
    void reset();

private:
    struct Entry {
        Place place;
    };
    sxu::vector<double> mSlots;
    std::unordered_map<Variable const*, Entry, std::hash<Variable const*>, std::equal_to<Variable const*>,
                       sxu::StlAllocator<std::pair<Variable const* const, Entry>>>
        mPlaces;
};

/// Prepares `function` for the interpreter; the module variables it uses get places in `module`.
Program* prepareProgram(Function const& function, ModuleStorage& module);

/// A function value kept in a slot.
inline double functionBits(Function const* function)
{
    double bits;
    static_assert(sizeof bits == sizeof function, "a function pointer fits a slot");
    __builtin_memcpy(&bits, &function, sizeof bits);
    return bits;
}
inline Function const* functionOf(double bits)
{
    Function const* function;
    __builtin_memcpy(&function, &bits, sizeof function);
    return function;
}

} // namespace detail
} // namespace sxir
