// sxu::hasExactType: whether an object's run-time class is exactly T.
#pragma once

#include <typeinfo>

namespace sxu {

/// The common answer, the same class, costs one pointer comparison; the full
/// comparison of the type descriptions decides only when the pointers differ.
template <class T, class U>
bool hasExactType(U const& object)
{
    std::type_info const& type = typeid(object);
    return &type == &typeid(T) || type == typeid(T);
}

} // namespace sxu
