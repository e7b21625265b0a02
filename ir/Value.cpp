#include "ir/Value.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Function.hpp"
#include "ir/detail/Elements.hpp"
#include "util/Assertion.hpp"
#include "util/Format.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace sxir {

namespace {

std::uint64_t bitsOf(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

bool sameElement(double a, double b)
{
    return bitsOf(a) == bitsOf(b) || (std::isnan(a) && std::isnan(b));
}

void appendElement(std::string& out, sxu::DataTypeId::Type type, double value)
{
    if (type != sxu::DataTypeId::Real) {
        sxu::appendDecimal(out, static_cast<long long>(value));
    } else if (std::isnan(value)) {
        out += "nan"; // whatever its sign and payload, as equality ignores them
    } else {
        char buffer[sxu::sNumberTextCapacity];
        out.append(buffer, static_cast<std::size_t>(std::to_chars(buffer, buffer + sizeof buffer, value).ptr - buffer));
    }
}

} // namespace

Value::Value() = default;

Value::Value(sxu::DataTypeId::Type type, double number) : Value(type, sxu::Dimension(1, 1), {number}) {}

Value::Value(sxu::DataTypeId::Type type, sxu::Dimension const& dimension, std::vector<double> const& elements)
    : mKind(Kind::Number), mType(type), mDimension(dimension), mElements(elements)
{
    SXU_CHECK(static_cast<unsigned long>(type) < sxu::DataTypeId::Count, "data type id out of range");
    SXU_CHECK(dimension.n() == 0
                  ? elements.empty()
                  : elements.size() % dimension.n() == 0 && elements.size() / dimension.n() == dimension.m(),
              "element count differs from the dimension's");
    auto const convert = detail::conversionFunction(sxu::DataTypeId::Real, type);
    for (double& element : mElements) {
        element = convert(element);
    }
}

Value::Value(Function const& function) : mKind(Kind::Function), mFunction(&function) {}

double Value::getElement(unsigned long index) const
{
    SXU_CHECK(index < mElements.size(), "element index out of range");
    return mElements[index];
}

double Value::getElement(unsigned long row, unsigned long column) const
{
    SXU_CHECK(row < mDimension.m() && column < mDimension.n(), "element row or column out of range");
    return mElements[row + column * mDimension.m()];
}

sxu::string Value::asString() const
{
    if (mKind != Kind::Number) {
        return isEmpty() ? "empty" : "function " + mFunction->getName();
    }
    sxu::string text = BuiltinType::getTypeName(mType);
    text += ' ';
    if (mDimension == sxu::Dimension(1, 1)) {
        appendElement(text, mType, mElements[0]);
        return text;
    }
    text += '[';
    sxu::appendDecimal(text, mDimension.m());
    text += 'x';
    sxu::appendDecimal(text, mDimension.n());
    text += "] {";
    for (std::size_t i = 0; i < mElements.size(); ++i) {
        text += i == 0 ? "" : ",";
        appendElement(text, mType, mElements[i]);
    }
    text += '}';
    return text;
}

bool Value::operator==(Value const& other) const
{
    if (mKind != other.mKind || mType != other.mType || mDimension != other.mDimension ||
        mFunction != other.mFunction) {
        return false;
    }
    return std::equal(mElements.begin(), mElements.end(), other.mElements.begin(), other.mElements.end(), &sameElement);
}

} // namespace sxir
