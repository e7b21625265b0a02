#include "ir/Interpreter.hpp"

#include "ir/Context.hpp"
#include "ir/CustomExpressionData.hpp"
#include "ir/ErrorId.hpp"
#include "ir/Function.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/Program.hpp"
#include "util/Format.hpp"

#include <memory>
#include <string>

namespace sxir {

namespace detail {

struct InterpreterState {
    explicit InterpreterState(Context const& context) : context(context) {}

    /// The prepared form of `function`, prepared now if it has none.
    Program const& programOf(Function const& function)
    {
        auto const found = programs.find(&function);
        if (found != programs.end()) {
            return *found->second;
        }
        std::unique_ptr<Program> program(prepareProgram(function, module));
        Program const& prepared = *program;
        programs.emplace(&function, std::move(program));
        return prepared;
    }

    Context const& context;
    unsigned long callDepthLimit = 1000;
    Interpreter::CustomEvaluator evaluator;
    ModuleStorage module;
    std::unordered_map<Function const*, std::unique_ptr<Program>, std::hash<Function const*>,
                       std::equal_to<Function const*>,
                       sxu::StlAllocator<std::pair<Function const* const, std::unique_ptr<Program>>>>
        programs;
    /// The context's revision the programs were prepared at.
    unsigned long revision = ~0ul;
    /// The frames of a run, one after the other.
    sxu::vector<double> stack;
};

namespace {

sxu::string decimal(unsigned long value)
{
    sxu::string text;
    sxu::appendDecimal(text, value);
    return text;
}

sxu::string number(double value)
{
    char buffer[sxu::sNumberTextCapacity];
    return sxu::string(buffer, sxu::formatGeneral(buffer, value));
}

/// One activation of a function: its program, where its slots start on the stack, where
/// it goes on, and the call that made it.
struct Activation {
    Program const* program;
    std::size_t base;
    std::uint32_t pc;
    CallSpec const* call;
};

/// Runs programs: an explicit stack of activations, so that calls never deepen the machine stack.
class Machine {
public:
    explicit Machine(InterpreterState& state) : mState(state), mStack(state.stack) {}

    /// Runs `program`, whose frame (inputs set) starts the stack; false when a reported error stopped it.
    bool run(Program const& program);

private:
    double* address(Slot slot) { return (slot & sModuleSpace) != 0 ? mModule + (slot & ~sModuleSpace) : mFrame + slot; }
    double& at(Slot slot) { return *address(slot); }
    /// The first element of `place`, behind its offset; in the current frame unless `frame` is given.
    double* elements(Place const& place, double* frame)
    {
        double* first = (place.slot & sModuleSpace) != 0 ? mModule + (place.slot & ~sModuleSpace) : frame + place.slot;
        return place.offset == sNoSlot ? first : first + static_cast<std::size_t>(frame[place.offset]);
    }
    /// Copies `from` (in frame `fromFrame`) to `to` (in `toFrame`), converting each element.
    static void copy(double* to, Place const& toPlace, double const* from, Place const& fromPlace)
    {
        if (toPlace.function) {
            *to = *from;
            return;
        }
        UnaryFn const conversion = conversionFunction(fromPlace.type, toPlace.type);
        unsigned long const count = toPlace.count();
        // Ranges of one matrix may overlap: go the way that reads each element before it is written.
        if (to > from) {
            for (unsigned long i = count; i-- > 0;) {
                to[i] = conversion(from[i]);
            }
        } else {
            for (unsigned long i = 0; i < count; ++i) {
                to[i] = conversion(from[i]);
            }
        }
    }
    bool report(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3)
    {
        mState.context.reportError(id, arg1, arg2, arg3, mProgram->function->getName());
        return false;
    }
    bool offset(Instruction const& instruction);
    bool call(CallSpec const& call);
    bool finishCall();
    bool custom(CustomSpec const& custom);
    void enter(Program const& program, std::size_t base);

    InterpreterState& mState;
    sxu::vector<double>& mStack;
    sxu::vector<Activation> mActivations;
    Program const* mProgram = nullptr;
    std::size_t mBase = 0;
    std::uint32_t mPc = 0;
    double* mFrame = nullptr;
    double* mModule = nullptr;
};

void Machine::enter(Program const& program, std::size_t base)
{
    mProgram = &program;
    mBase = base;
    mPc = 0;
    mFrame = mStack.data() + base;
    mModule = mState.module.slots().data();
}

bool Machine::run(Program const& program)
{
    enter(program, 0);
    for (;;) {
        Instruction const& instruction = mProgram->code[mPc++];
        switch (instruction.op) {
        case Op::AddReal:
            at(instruction.dst) = at(instruction.a) + at(instruction.b);
            break;
        case Op::SubtractReal:
            at(instruction.dst) = at(instruction.a) - at(instruction.b);
            break;
        case Op::MultiplyReal:
            at(instruction.dst) = at(instruction.a) * at(instruction.b);
            break;
        case Op::DivideReal:
            at(instruction.dst) = at(instruction.a) / at(instruction.b);
            break;
        case Op::Unary:
        case Op::Convert:
            at(instruction.dst) = mProgram->unary[instruction.aux](at(instruction.a));
            break;
        case Op::Binary:
            at(instruction.dst) = mProgram->binary[instruction.aux](at(instruction.a), at(instruction.b));
            break;
        case Op::Move:
            at(instruction.dst) = at(instruction.a);
            break;
        case Op::Copy: {
            CopySpec const& copy = mProgram->copies[instruction.aux];
            Place to;
            to.slot = copy.dst;
            to.offset = copy.dstOffset;
            to.rows = copy.count;
            Place from;
            from.slot = copy.src;
            from.offset = copy.srcOffset;
            double* target = elements(to, mFrame);
            double const* source = elements(from, mFrame);
            if (target > source) {
                for (unsigned long i = copy.count; i-- > 0;) {
                    target[i] = copy.conversion(source[i]);
                }
            } else {
                for (unsigned long i = 0; i < copy.count; ++i) {
                    target[i] = copy.conversion(source[i]);
                }
            }
            break;
        }
        case Op::Offset:
            if (!offset(instruction)) {
                return false;
            }
            break;
        case Op::ReadAt:
            at(instruction.dst) = *(address(instruction.a) + static_cast<std::size_t>(at(instruction.b)));
            break;
        case Op::JumpUnless:
            if (!isTrue(at(instruction.a))) {
                mPc = instruction.dst;
            }
            break;
        case Op::Jump:
            mPc = instruction.dst;
            break;
        case Op::Enter:
            at(instruction.dst) = instruction.b;
            mPc = instruction.aux;
            break;
        case Op::Leave:
            mPc = static_cast<std::uint32_t>(at(instruction.a));
            break;
        case Op::Call:
            if (!call(mProgram->calls[instruction.aux])) {
                return false;
            }
            break;
        case Op::Custom:
            if (!custom(mProgram->customs[instruction.aux])) {
                return false;
            }
            break;
        case Op::Fail: {
            FailureSpec const& failure = mProgram->failures[instruction.aux];
            mState.context.reportError(failure.id, failure.arguments[0], failure.arguments[1], failure.arguments[2],
                                       failure.arguments[3]);
            return false;
        }
        case Op::Return:
            if (mActivations.empty()) {
                return true;
            }
            if (!finishCall()) {
                return false;
            }
            break;
        }
    }
}

bool Machine::offset(Instruction const& instruction)
{
    ElementSpec const& element = mProgram->offsets[instruction.aux];
    double const row = at(instruction.a);
    double const column = at(instruction.b);
    if (!isElementInside(row, column, element.rows, element.columns)) {
        return report(ErrorId::IndexOutOfRange, excerptOf(*element.node), "(" + number(row) + "," + number(column) + ")",
                      decimal(element.rows) + "x" + decimal(element.columns));
    }
    at(instruction.dst) = row + column * static_cast<double>(element.rows);
    return true;
}

bool Machine::call(CallSpec const& call)
{
    Function const* callee = call.callee != nullptr ? call.callee : functionOf(at(call.calleeSlot));
    if (callee == nullptr) {
        return report(ErrorId::EvalUnsetOperand, excerptOf(*call.node), "a variable that holds no function", "");
    }
    if (&callee->getContext() != &mState.context || !callee->hasSignature()) {
        return report(ErrorId::EvalNotEvaluable, excerptOf(*call.node),
                      callee->getName() + " is of another context or has no signature", "");
    }
    if (mActivations.size() >= mState.callDepthLimit) {
        return report(ErrorId::EvalCallDepthExceeded, callee->getName(), decimal(mState.callDepthLimit), "");
    }
    Program const& target = mState.programOf(*callee);
    mModule = mState.module.slots().data();
    if (call.callee == nullptr) {
        // Through a variable: what it holds must take these operands and give this value.
        if (target.outputs.empty()) {
            return report(ErrorId::EvalNotEvaluable, excerptOf(*call.node), callee->getName() + " has no output", "");
        }
        if (target.inputs.size() != call.operands.size()) {
            return report(ErrorId::EvalInvalidArguments, excerptOf(*call.node),
                          decimal(call.operands.size()) + " operands",
                          callee->getName() + " has " + decimal(target.inputs.size()) + " inputs");
        }
        for (std::size_t i = 0; i < call.operands.size(); ++i) {
            Place const& input = target.inputs[i];
            Place const& operand = call.operands[i];
            if (!fits(input, operand)) {
                return report(ErrorId::EvalDimensionMismatch, excerptOf(*call.node), shapeText(input),
                              "operand " + decimal(i + 1) + " is " + shapeText(operand));
            }
        }
        Place const& result = target.outputs.back();
        if (!fits(call.result, result)) {
            return report(ErrorId::EvalDimensionMismatch, excerptOf(*call.node), shapeText(call.result),
                          callee->getName() + " gives " + shapeText(result));
        }
    }
    std::size_t const base = mBase + mProgram->frame.size();
    mStack.resize(base + target.frame.size());
    mFrame = mStack.data() + mBase;
    double* const frame = mStack.data() + base;
    std::copy(target.frame.begin(), target.frame.end(), frame);
    for (std::size_t i = 0; i < call.operands.size(); ++i) {
        copy(elements(target.inputs[i], frame), target.inputs[i], elements(call.operands[i], mFrame), call.operands[i]);
    }
    mActivations.push_back(Activation{mProgram, mBase, mPc, &call});
    enter(target, base);
    return true;
}

bool Machine::finishCall()
{
    Activation const caller = mActivations.back();
    mActivations.pop_back();
    double* const calleeFrame = mFrame;
    Place const& result = mProgram->outputs.back();
    mProgram = caller.program;
    mBase = caller.base;
    mPc = caller.pc;
    mFrame = mStack.data() + mBase;
    copy(elements(caller.call->result, mFrame), caller.call->result, elements(result, calleeFrame), result);
    return true;
}

Value valueOf(double const* elements, Place const& place)
{
    if (place.function) {
        Function const* function = functionOf(*elements);
        return function != nullptr ? Value(*function) : Value();
    }
    return Value(place.type, sxu::Dimension(place.rows, place.columns),
                 std::vector<double>(elements, elements + place.count()));
}

bool Machine::custom(CustomSpec const& custom)
{
    if (!mState.evaluator) {
        return report(ErrorId::EvalNotEvaluable, excerptOf(*custom.node), "a client node, and no evaluator is set", "");
    }
    std::vector<Value> operands;
    for (Place const& operand : custom.operands) {
        operands.push_back(valueOf(elements(operand, mFrame), operand));
    }
    Value const result = mState.evaluator(*custom.node, operands);
    Place const& place = custom.result;
    if (result.isEmpty() || result.isFunction() != place.function ||
        (!place.function && result.getNumElements() != place.count())) {
        return report(ErrorId::EvalDimensionMismatch, excerptOf(*custom.node), shapeText(place),
                      result.isEmpty() ? sxu::string("no value")
                                       : "a value of " + decimal(result.getNumElements()) + " elements");
    }
    double* const target = elements(place, mFrame);
    if (place.function) {
        *target = functionBits(result.getFunction());
        return true;
    }
    UnaryFn const conversion = conversionFunction(result.getType(), place.type);
    for (unsigned long i = 0; i < place.count(); ++i) {
        target[i] = conversion(result.getElements()[i]);
    }
    return true;
}

} // namespace

} // namespace detail

Interpreter::Interpreter(Context const& context) : mState(new detail::InterpreterState(context)) {}

Interpreter::~Interpreter() = default;

void Interpreter::reset()
{
    mState->module.reset();
}

void Interpreter::setCallDepthLimit(unsigned long limit)
{
    mState->callDepthLimit = limit;
}

void Interpreter::setCustomEvaluator(CustomEvaluator evaluator)
{
    mState->evaluator = std::move(evaluator);
}

namespace {

/// The prepared form of `function`, or null when the interpreter cannot run it (reported).
detail::Program const* programToRun(detail::InterpreterState& state, Function const& function)
{
    Context const& context = state.context;
    if (&function.getContext() != &context || !function.hasSignature()) {
        context.reportError(ErrorId::EvalInvalidArguments, function.getName(),
                            "a function of this interpreter's context with a signature", "", function.getName());
        return nullptr;
    }
    if (state.revision != context.getRevision()) {
        state.programs.clear();
        state.revision = context.getRevision();
    }
    return &state.programOf(function);
}

} // namespace

void Interpreter::prepare(Function const& function)
{
    programToRun(*mState, function);
}

std::vector<Value> Interpreter::run(Function const& function, std::vector<Value> const& inputs)
{
    using detail::Place;
    detail::InterpreterState& state = *mState;
    Context const& context = state.context;
    detail::Program const* prepared = programToRun(state, function);
    if (prepared == nullptr) {
        return {};
    }
    detail::Program const& program = *prepared;
    if (inputs.size() != program.inputs.size()) {
        context.reportError(ErrorId::EvalInvalidArguments, function.getName(),
                            std::to_string(program.inputs.size()) + " inputs",
                            std::to_string(inputs.size()) + " values", function.getName());
        return {};
    }
    state.stack.resize(program.frame.size());
    std::copy(program.frame.begin(), program.frame.end(), state.stack.begin());
    Scope const& inputScope = function.getFunctionScope(FunctionScopeType::Input);
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        Place const& place = program.inputs[i];
        Value const& value = inputs[i];
        bool const fits = !value.isEmpty() && value.isFunction() == place.function &&
                          (place.function || value.getNumElements() == place.count());
        if (!fits) {
            sxu::string const given = value.isEmpty()      ? sxu::string("an empty value")
                                      : value.isFunction() ? sxu::string("a function")
                                                           : std::to_string(value.getNumElements()) + " elements";
            context.reportError(ErrorId::EvalInvalidArguments, function.getName(),
                                "input " + inputScope.getGenericScopeItem(i)->getName() + ": " +
                                    detail::shapeText(place),
                                given, function.getName());
            return {};
        }
        double* const target = state.stack.data() + place.slot;
        if (place.function) {
            *target = detail::functionBits(value.getFunction());
            continue;
        }
        detail::UnaryFn const conversion = detail::conversionFunction(value.getType(), place.type);
        for (unsigned long k = 0; k < place.count(); ++k) {
            target[k] = conversion(value.getElements()[k]);
        }
    }
    detail::Machine machine(state);
    if (!machine.run(program)) {
        return {};
    }
    std::vector<Value> outputs;
    for (Place const& place : program.outputs) {
        outputs.push_back(detail::valueOf(state.stack.data() + place.slot, place));
    }
    return outputs;
}

} // namespace sxir
