// sxir::Interpreter: runs functions as docs/semantics.md says, to the bit.
#pragma once

#include "ir/Value.hpp"
#include "util/Export.hpp"

#include <functional>
#include <memory>
#include <vector>

namespace sxir {

class Context;
class CustomExpressionData;
class Function;

namespace detail {
struct InterpreterState;
} // namespace detail

/// Runs the functions of one context. Module variables are storage that every function
/// reaches: zero at first, kept from run to run until reset(). Each function is prepared
/// once (its instructions written) and prepared again when IR of the context changed.
/// Run-time errors are reported through the context; when the runtime environment returns,
/// the run stops and gives no outputs. Not to be used from two threads at once.
class SXIR_API Interpreter {
public:
    explicit Interpreter(Context const& context);
    ~Interpreter();
    Interpreter(Interpreter const&) = delete;
    Interpreter& operator=(Interpreter const&) = delete;

    /// The outputs of one run, in signature order; empty when an error was reported and the
    /// environment returned. The inputs convert to the inputs' types as an assignment converts.
    std::vector<Value> run(Function const& function, std::vector<Value> const& inputs);
    /// Prepares `function` now, so that its next run does not (a run prepares what it
    /// needs itself; this only moves the work).
    void prepare(Function const& function);
    /// Module variables back to zero (and function-typed ones to no function).
    void reset();
    /// Calls nested deeper than this are an error; 1000 unless set.
    void setCallDepthLimit(unsigned long limit);
    using CustomEvaluator = std::function<Value(CustomExpressionData const& node, std::vector<Value> const& operands)>;
    /// How client nodes evaluate; their operands are the node's getOperand(0..n-1), evaluated.
    void setCustomEvaluator(CustomEvaluator evaluator);

private:
    std::unique_ptr<detail::InterpreterState> mState;
};

} // namespace sxir
