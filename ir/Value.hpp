// sxir::Value: what an expression evaluates to: a scalar or matrix of one element type, or a function.
#pragma once

#include "util/DataTypeId.hpp"
#include "util/Dimension.hpp"
#include "util/Export.hpp"
#include "util/String.hpp"

#include <vector>

namespace sxir {

class Function;

/// A value of a run. Every element of every type is held as a double, which represents
/// each of the five element types exactly; matrices are column-major, a scalar is 1x1.
class SXIR_API Value {
public:
    /// No value: isEmpty(); type boolean, dimension 0x0.
    Value();
    /// A scalar: `number` converted to `type` as an assignment converts a real.
    Value(sxu::DataTypeId::Type type, double number);
    /// A matrix of rows x columns elements, column-major, each number converted to `type`
    /// as an assignment converts a real. `elements` holds one number per element.
    Value(sxu::DataTypeId::Type type, sxu::Dimension const& dimension, std::vector<double> const& elements);
    /// A function reference; type boolean, dimension 0x0, no elements.
    explicit Value(Function const& function);

    bool isEmpty() const { return mKind == Kind::Empty; }
    bool isFunction() const { return mKind == Kind::Function; }
    /// The element type.
    sxu::DataTypeId::Type getType() const { return mType; }
    sxu::Dimension const& getDimension() const { return mDimension; }
    unsigned long getNumElements() const { return mElements.size(); }
    /// The element at `index` in storage order.
    double getElement(unsigned long index) const;
    /// Element (row, column): the one at row + column * rows in storage order.
    double getElement(unsigned long row, unsigned long column) const;
    std::vector<double> const& getElements() const { return mElements; }
    /// The function referenced, or null unless isFunction().
    Function const* getFunction() const { return mFunction; }

    /// "empty", "function NAME", "TYPE NUMBER" for 1x1, "TYPE [MxN] {N1,N2,...}" in storage
    /// order otherwise. Reals print in the shortest form that reads back exactly, and as
    /// "nan", "inf", "-inf", "-0".
    sxu::string asString() const;
    /// The same kind, type, dimension and element bits, except that every NaN equals every NaN;
    /// functions are equal when they are the same function.
    bool operator==(Value const& other) const;
    bool operator!=(Value const& other) const { return !(*this == other); }

private:
    enum class Kind : unsigned char { Empty, Number, Function };

    Kind mKind = Kind::Empty;
    sxu::DataTypeId::Type mType = sxu::DataTypeId::Boolean;
    sxu::Dimension mDimension = sxu::Dimension(0, 0);
    std::vector<double> mElements;
    Function const* mFunction = nullptr;
};

} // namespace sxir
