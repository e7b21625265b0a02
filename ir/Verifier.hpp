// sxir::Verifier and sxir::Diagnostic: what is wrong with a module or function before it runs, and where.
#pragma once

#include "util/Export.hpp"
#include "util/String.hpp"

#include <vector>

namespace sxir {

class Function;
class Module;

/// One problem: what kind it is, where it is, and what to do about it.
struct Diagnostic {
    sxu::string id;      // e.g. "sxir:verify:NotAssignable"
    sxu::string path;    // where, from the module down, e.g. "module/f/body[2]/if.false[0]/rhs/operand[1]"
    sxu::string message; // one sentence a person can act on
};

/// Checks modules and functions against the meaning of a run (docs/semantics.md) without running them.
///
/// A path names every enclosing module and the function ("outer/inner/f"), then where in the function:
/// a declaration `input[i]`, `output[i]` or `local[i]`; a statement `body[i]`, and inside an if statement
/// `if.true[i]` or `if.false[i]`; a statement's part `lhs`, `rhs` or `condition`; and inside an expression
/// `operand[i]` (of an operator, a call or a client node), `function` (what a call calls), `matrix`, `row`
/// and `column` (of an element selection) or `matrix` (of a sub-range). Positions count from 0. A node
/// that several parents share is named by the first path that reaches it, and its problems are reported
/// there once.
///
/// When verify returns nothing, running a function of the module reports no "sxir:eval:DimensionMismatch",
/// "sxir:eval:UnsetOperand", "sxir:eval:NotEvaluable", "sxir:eval:NotAssignable" or
/// "sxir:eval:InvalidArguments" from the body of any of its functions, except for what only a run can
/// know: index values, call depth, a call through a function-typed variable that holds no function yet,
/// client nodes (their evaluator and its results), and the values given to Interpreter::run.
class SXIR_API Verifier {
public:
    /// Every function of the module's scope and of the modules nested in it, in declaration order.
    std::vector<Diagnostic> verify(Module const& module) const;
    std::vector<Diagnostic> verify(Function const& function) const;
};

} // namespace sxir
