// The structural hash of expressions, statements and types: equivalent objects hash alike, in any context.
#pragma once

#include <cstdint>
#include <memory>

namespace sxir {

class ExpressionData;
class Statement;
class Type;

namespace detail {

enum class ReferenceRule;

/// References hash by the name and type of what they name, so a copy in another
/// context hashes like its source; each distinct shared node is hashed once.
std::uint64_t hashOf(ExpressionData const& node);
std::uint64_t hashOf(Statement const& statement);
/// The same with references hashed as `rule` compares them: by identity, a hash that
/// only equivalence within one context needs, and faster to compute.
std::uint64_t hashOf(Statement const& statement, ReferenceRule rule);

/// hashOf(statement, rule) for one statement after another, keeping its storage between them:
/// for a pass that hashes many.
class StatementHashes {
public:
    explicit StatementHashes(ReferenceRule rule);
    ~StatementHashes();
    StatementHashes(StatementHashes const&) = delete;
    StatementHashes& operator=(StatementHashes const&) = delete;

    std::uint64_t of(Statement const& statement);

private:
    class Hasher;
    std::unique_ptr<Hasher> mHasher;
};
std::uint64_t hashOf(Type const& type);

} // namespace detail
} // namespace sxir
