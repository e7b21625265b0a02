// The text of expressions and statements: one pass over the kind tables, unfolding shared nodes as the text form
// requires.
#pragma once

#include "util/String.hpp"

namespace sxir {

class CompoundStatement;
class ExpressionData;
class Statement;

namespace detail {

class TextSink;

/// Appends the text of `node` to `out`.
void printExpression(ExpressionData const& node, TextSink& out);
/// The text of `node`.
sxu::string textOf(ExpressionData const& node);
/// The text of `node` when it is at most 120 characters long, else its first 117 and "...": printing
/// stops there, so a shared graph whose whole text would never end gives its excerpt at once.
sxu::string excerptOf(ExpressionData const& node);
/// The text of `statement` standing alone ("x=y", or an if statement ending in "end\n").
sxu::string textOf(Statement const& statement);
/// Appends the text of a statement list: each statement as four blanks, its text and a
/// newline (an if statement is followed by an empty line).
void printStatements(CompoundStatement const& list, sxu::string& out);

} // namespace detail
} // namespace sxir
