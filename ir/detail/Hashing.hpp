// The structural hash of expressions, statements and types: equivalent objects hash alike, in any context.
#pragma once

#include <cstdint>

namespace sxir {

class ExpressionData;
class Statement;
class Type;

namespace detail {

/// References hash by the name and type of what they name, so a copy in another
/// context hashes like its source; each distinct shared node is hashed once.
std::uint64_t hashOf(ExpressionData const& node);
std::uint64_t hashOf(Statement const& statement);
std::uint64_t hashOf(Type const& type);

} // namespace detail
} // namespace sxir
