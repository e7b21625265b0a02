// The destruction of expression nodes and statements: innermost first, at any depth, without allocating.
#pragma once

#include "util/List.hpp"

namespace sxir {

class ExpressionData;
class Statement;

namespace detail {

class Lifetime {
public:
    /// Destroys `node`, whose count reached zero: its parts go in its destructor's order,
    /// each (with what only it held, and its auxiliary data) before the next, and all of
    /// them before the node's own auxiliary data.
    static void destroy(ExpressionData* node) noexcept;
    /// Destroys every statement of `statements` in order and empties the list. A statement
    /// goes as its destructor says: its expressions, then its nested lists (their
    /// statements, then their auxiliary data), then its own auxiliary data.
    static void destroyStatements(sxu::list<Statement*>& statements) noexcept;

    // For the destruction walk: a dying node's count is spent, and its place links it to
    // the next node waiting.
    static void link(ExpressionData* node, ExpressionData* next) noexcept;
    static ExpressionData* next(ExpressionData* node) noexcept;
    /// Drops one of `node`'s references; true when that was the last.
    static bool dropReference(ExpressionData& node) noexcept;
};

} // namespace detail
} // namespace sxir
