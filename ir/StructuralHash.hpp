// sxir::structuralHash and sxir::sameStructure: comparing IR by structure, across contexts.
#pragma once

#include "util/Export.hpp"

#include <cstdint>

namespace sxir {

class Expression;
class Function;
class Statement;
class Type;

/// A hash that equivalent objects (isEquivalent, == for types) share, in any context and
/// any run of the process. A reference hashes by the name and type of what it names, so a
/// copy of a function in another context has, statement by statement, its source's hashes.
/// Each distinct node of a shared subexpression is hashed once; any depth.
SXIR_API std::uint64_t structuralHash(Expression const& expression);
SXIR_API std::uint64_t structuralHash(Statement const& statement);
SXIR_API std::uint64_t structuralHash(Type const& type);

/// Whether two functions have equal signatures (names and types in order), the same
/// locals (names and types) and bodies that are equivalent when every reference is
/// compared by the name and type of what it names: a function and its copy in another
/// context are the same structure.
SXIR_API bool sameStructure(Function const& a, Function const& b);

} // namespace sxir
