#include "ir/Type.hpp"

namespace sxir {

Type::~Type() = default;

sxu::Dimension const& Type::scalarDimension()
{
    static sxu::Dimension const dimension(1, 1);
    return dimension;
}

} // namespace sxir
