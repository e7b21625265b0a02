// The preparation of a function for the interpreter: one walk over its body that lays out its
// frame and writes the instructions; what can only fail when run becomes an instruction that fails.
#include "ir/AssignmentStatement.hpp"
#include "ir/BuiltinType.hpp"
#include "ir/ErrorId.hpp"
#include "ir/Function.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/MatrixType.hpp"
#include "ir/Scope.hpp"
#include "ir/ScopeConfiguration.hpp"
#include "ir/detail/CallScanner.hpp"
#include "ir/detail/NodeMemo.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/Program.hpp"
#include "ir/detail/Walk.hpp"
#include "util/Format.hpp"

#include <cmath>
#include <memory>
#include <string>

namespace sxir {
namespace detail {

Place ModuleStorage::placeOf(Variable const& variable, Place const& shape)
{
    auto const found = mPlaces.find(&variable);
    if (found != mPlaces.end()) {
        Place const& known = found->second.place;
        if (known.rows == shape.rows && known.columns == shape.columns && known.type == shape.type &&
            known.function == shape.function) {
            return known;
        }
    }
    Place place = shape;
    place.slot = static_cast<Slot>(mSlots.size()) | sModuleSpace;
    place.offset = sNoSlot;
    mSlots.resize(mSlots.size() + place.count(), 0.0);
    mPlaces[&variable] = Entry{place};
    return place;
}

void ModuleStorage::reset()
{
    for (double& slot : mSlots) {
        slot = 0.0;
    }
}

namespace {

/// Temporaries are numbered per statement and placed after the fixed slots once those
/// are all known.
constexpr Slot sTemporary = 0x40000000u;

/// A compiled expression: its value's place, or that its evaluation fails first; and
/// what the sharing of its node needs to know.
struct Compiled {
    Place place;
    bool failed = false;
    bool constant = false; ///< a constant element, whose value is `value`
    double value = 0.0;
    bool holdsCall = false;
    bool readsModule = false;
    /// The failure of an unset call operand, whose call is named once it is known.
    long unsetFailure = -1;
    /// A shared node that holds a call: its code runs again at each use, from instruction
    /// `body` back to the one `returnSlot` names, and leaves its value in `place`.
    bool subroutine = false;
    std::uint32_t body = 0;
    Slot returnSlot = sNoSlot;
};

class Compiler;

/// Compiles an expression in post-order: each node's value waits on a stack until its
/// parent's instructions are written over it.
class ExpressionCompiler : public ExpressionKindVisitor<ExpressionCompiler, Compiled> {
public:
    explicit ExpressionCompiler(Compiler& compiler) : mCompiler(compiler) { mValues.reserve(8); }

    unsigned long enter(ExpressionData const* node, Children const& children);
    void next(ExpressionData const&, Children const&, unsigned long) {}
    bool leave(ExpressionData const& node, Children const& children);
    Compiled result() { return mValues.back(); }
    /// A read of module storage, copied out at once where a later call of the statement
    /// could change it before the value is used.
    Compiled exposedRead(Compiled value);
    /// The value of one use of a shared node that holds a call, whose code has just run:
    /// copied out, since the next use runs the same code into the same place.
    Compiled useOfSubroutine(Compiled const& subroutine);

    // A node's value from its operands' (which `operands` points at).
    Compiled visitConstant(Constant const& node, Compiled const* operands);
    Compiled visitVariableRef(VariableRef const& node, Compiled const* operands);
    Compiled visitFunctionRef(FunctionRef const& node, Compiled const* operands);
    Compiled visitOperator(Operator const& node, Compiled const* operands);
    Compiled visitMatrixRef(MatrixRef const& node, Compiled const* operands);
    Compiled visitSubMatrix(SubMatrix const& node, Compiled const* operands);
    Compiled visitFunctionCall(FunctionCall const& node, Compiled const* operands);
    Compiled visitCustom(CustomExpressionData const& node, Compiled const* operands);

private:
    /// The code of a shared node that holds a call, being written: its Enter instruction.
    struct OpenBody {
        std::uint32_t enter;
        Slot returnSlot;
    };

    Compiler& mCompiler;
    sxu::vector<Compiled> mValues;
    sxu::vector<OpenBody> mOpenBodies;
};

class Compiler {
public:
    Compiler(Function const& function, ModuleStorage& module) : mFunction(function), mModule(module) {}

    Program* compile();

    // The statements.
    void beginStatement(ExpressionData const* first, ExpressionData const* second);
    void compileAssignment(AssignmentStatement const& statement);
    /// The condition, and the jump over the true branch, whose target comes later.
    std::uint32_t compileCondition(IfStatement const& statement);
    std::uint32_t emitJump()
    {
        emit(Op::Jump, 0, 0, 0, 0);
        return static_cast<std::uint32_t>(mProgram->code.size() - 1);
    }
    void landJump(std::uint32_t jump) { mProgram->code[jump].dst = static_cast<Slot>(mProgram->code.size()); }

    // The expressions.
    Compiled compileExpression(ExpressionData const& node);
    bool holdsCall() const { return mStatementHoldsCall; }
    /// Whether `node`, a shared inner node of the statement, holds a call.
    bool sharedHoldsCall(ExpressionData const& node)
    {
        bool const* holds = mCallHolders.find(&node);
        return holds != nullptr && *holds;
    }
    Compiled* findShared(ExpressionData const& node);
    void keepShared(ExpressionData const& node, Compiled const& value);
    /// A call is written: what shared nodes read of module storage may change.
    void forgetModuleReads();

    /// A value that exists only once this is reported.
    Compiled fail(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3);
    Compiled unreachable() const
    {
        Compiled failed;
        failed.failed = true;
        return failed;
    }

    Slot constantSlot(double value);
    Place temporary(Place shape);
    void emit(Op op, std::uint32_t aux, Slot dst, Slot a, Slot b)
    {
        mProgram->code.push_back(Instruction{op, aux, dst, a, b});
    }
    /// `value` as a plain element slot: read from behind its offset, and out of the
    /// module storage where a call of the statement could change it before it is used.
    Slot elementSlot(Compiled const& value);
    /// `value` with no offset left, and out of the module storage as elementSlot says.
    Place settled(Compiled const& value);
    /// `value`'s element converted to `type`, in a slot.
    Slot converted(Slot slot, DataType from, DataType to);
    void emitCopy(Place const& to, Place const& from);
    std::uint32_t unaryIndex(UnaryFn function);
    std::uint32_t binaryIndex(BinaryFn function);
    Program& program() { return *mProgram; }
    Function const& function() const { return mFunction; }

    /// The place of a variable this function may use, or false when it may not.
    bool placeOfVariable(Variable const& variable, Place& place);

private:
    void layOut();
    void patchTemporaries();

    Function const& mFunction;
    ModuleStorage& mModule;
    std::unique_ptr<Program> mProgram{new Program()};
    std::unordered_map<Variable const*, Place> mVariables;
    unsigned long mTemporaries = 0;
    unsigned long mMostTemporaries = 0;
    bool mStatementHoldsCall = false;
    NodeMemo<Compiled> mShared;
    sxu::vector<ExpressionData const*> mSharedKeys; ///< the nodes remembered for the statement
    sxu::vector<ExpressionData const*> mModuleReaders; ///< those that read module storage since the last call
    NodeMemo<bool> mCallHolders; ///< whether each shared inner node of the function holds a call
};

// ---------------------------------------------------------------------------------------------
// Slots and instructions.

Slot Compiler::constantSlot(double value)
{
    mProgram->frame.push_back(value);
    return static_cast<Slot>(mProgram->frame.size() - 1);
}

Place Compiler::temporary(Place shape)
{
    shape.slot = static_cast<Slot>(mTemporaries) | sTemporary;
    shape.offset = sNoSlot;
    mTemporaries += shape.count();
    mMostTemporaries = std::max(mMostTemporaries, mTemporaries);
    return shape;
}

std::uint32_t Compiler::unaryIndex(UnaryFn function)
{
    mProgram->unary.push_back(function);
    return static_cast<std::uint32_t>(mProgram->unary.size() - 1);
}

std::uint32_t Compiler::binaryIndex(BinaryFn function)
{
    mProgram->binary.push_back(function);
    return static_cast<std::uint32_t>(mProgram->binary.size() - 1);
}

Compiled Compiler::fail(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3)
{
    mProgram->failures.push_back(FailureSpec{id, {arg1, arg2, arg3, mFunction.getName()}});
    emit(Op::Fail, static_cast<std::uint32_t>(mProgram->failures.size() - 1), 0, 0, 0);
    return unreachable();
}

Slot Compiler::elementSlot(Compiled const& value)
{
    return settled(value).slot;
}

Place Compiler::settled(Compiled const& value)
{
    Place const& place = value.place;
    bool const exposed = mStatementHoldsCall && (place.slot & sModuleSpace) != 0;
    if (place.offset == sNoSlot && !exposed) {
        return place;
    }
    Place const copy = temporary(place);
    if (place.count() == 1 && place.offset != sNoSlot) {
        emit(Op::ReadAt, 0, copy.slot, place.slot, place.offset);
    } else {
        emitCopy(copy, place);
    }
    return copy;
}

Slot Compiler::converted(Slot slot, DataType from, DataType to)
{
    if (from == to) {
        return slot;
    }
    Place shape;
    shape.type = to;
    Slot const result = temporary(shape).slot;
    emit(Op::Convert, unaryIndex(conversionFunction(from, to)), result, slot, 0);
    return result;
}

void Compiler::emitCopy(Place const& to, Place const& from)
{
    UnaryFn const conversion = from.function ? &elements::identity : conversionFunction(from.type, to.type);
    mProgram->copies.push_back(CopySpec{to.slot, to.offset, from.slot, from.offset, to.count(), conversion});
    emit(Op::Copy, static_cast<std::uint32_t>(mProgram->copies.size() - 1), 0, 0, 0);
}

// ---------------------------------------------------------------------------------------------
// Variables and the frame.

bool Compiler::placeOfVariable(Variable const& variable, Place& place)
{
    auto const found = mVariables.find(&variable);
    if (found != mVariables.end()) {
        place = found->second;
        return true;
    }
    if (!isModuleVariable(variable) || !shapeOf(variable.getType(), place)) {
        return false;
    }
    place = mModule.placeOf(variable, place);
    return true;
}

void Compiler::layOut()
{
    // Inputs, outputs and locals in order, each in slots of its own, zero at first.
    for (auto const kind : {FunctionScopeType::Input, FunctionScopeType::Output, FunctionScopeType::Local}) {
        Scope const& scope = mFunction.getFunctionScope(kind);
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            auto const* variable = dynamic_cast<Variable const*>(scope.getGenericScopeItem(i));
            Place place;
            if (variable == nullptr || !shapeOf(variable->getType(), place)) {
                continue;
            }
            place.slot = static_cast<Slot>(mProgram->frame.size());
            mProgram->frame.resize(mProgram->frame.size() + place.count(), 0.0);
            mVariables[variable] = place;
            if (kind == FunctionScopeType::Input) {
                mProgram->inputs.push_back(place);
            } else if (kind == FunctionScopeType::Output) {
                mProgram->outputs.push_back(place);
            }
        }
    }
}

void Compiler::patchTemporaries()
{
    Slot const base = static_cast<Slot>(mProgram->frame.size());
    auto const patch = [base](Slot& slot) {
        if (slot != sNoSlot && (slot & sModuleSpace) == 0 && (slot & sTemporary) != 0) {
            slot = (slot & ~sTemporary) + base;
        }
    };
    auto const patchPlace = [&patch](Place& place) {
        patch(place.slot);
        patch(place.offset);
    };
    for (Instruction& instruction : mProgram->code) {
        if (instruction.op != Op::Jump && instruction.op != Op::JumpUnless) {
            patch(instruction.dst);
        }
        patch(instruction.a);
        if (instruction.op != Op::Enter) {
            patch(instruction.b);
        }
    }
    for (CopySpec& copy : mProgram->copies) {
        patch(copy.dst);
        patch(copy.dstOffset);
        patch(copy.src);
        patch(copy.srcOffset);
    }
    for (CallSpec& call : mProgram->calls) {
        patch(call.calleeSlot);
        patchPlace(call.result);
        for (Place& operand : call.operands) {
            patchPlace(operand);
        }
    }
    for (CustomSpec& custom : mProgram->customs) {
        patchPlace(custom.result);
        for (Place& operand : custom.operands) {
            patchPlace(operand);
        }
    }
    mProgram->frame.resize(mProgram->frame.size() + mMostTemporaries, 0.0);
}

// ---------------------------------------------------------------------------------------------
// Statements.

void Compiler::beginStatement(ExpressionData const* first, ExpressionData const* second)
{
    mTemporaries = 0;
    for (ExpressionData const* node : mSharedKeys) {
        *mShared.find(node) = Compiled();
        mShared.find(node)->failed = true;
    }
    mSharedKeys.clear();
    mModuleReaders.clear();
    mStatementHoldsCall = false;
    CallScanner scanner(mCallHolders);
    for (ExpressionData const* node : {first, second}) {
        if (node != nullptr && scanner.holdsCall(*node)) {
            mStatementHoldsCall = true;
        }
    }
}

Compiled* Compiler::findShared(ExpressionData const& node)
{
    Compiled* known = mShared.find(&node);
    return known != nullptr && !known->failed ? known : nullptr;
}

void Compiler::keepShared(ExpressionData const& node, Compiled const& value)
{
    // Computing a shared node once gives what computing it at each use gives when nothing
    // between the uses can change it: a node without calls, up to the next call of the
    // statement where it reads module variables. A node with calls keeps its code, run
    // again at each use.
    if (value.failed) {
        return;
    }
    if (Compiled* known = mShared.find(&node)) {
        *known = value;
    } else {
        mShared.insert(&node, nullptr, value);
    }
    mSharedKeys.push_back(&node);
    if (mStatementHoldsCall && value.readsModule && !value.subroutine) {
        mModuleReaders.push_back(&node);
    }
}

void Compiler::forgetModuleReads()
{
    for (ExpressionData const* node : mModuleReaders) {
        mShared.find(node)->failed = true;
    }
    mModuleReaders.clear();
}

Compiled Compiler::compileExpression(ExpressionData const& node)
{
    ExpressionCompiler compiler(*this);
    walkExpression(compiler, node);
    return compiler.result();
}

std::uint32_t Compiler::compileCondition(IfStatement const& statement)
{
    ExpressionData const* node = statement.getExpressionNode(0);
    beginStatement(node, nullptr);
    Compiled const condition = compileExpression(*node);
    Slot slot = 0;
    if (!condition.failed) {
        if (!condition.place.isScalarNumber()) {
            fail(ErrorId::EvalDimensionMismatch, "if " + excerptOf(*node), "a scalar condition",
                 shapeText(condition.place));
        } else {
            slot = elementSlot(condition);
        }
    }
    emit(Op::JumpUnless, 0, 0, slot, 0);
    return static_cast<std::uint32_t>(mProgram->code.size() - 1);
}

// ---------------------------------------------------------------------------------------------
// Selections, read or written.

sxu::string indexText(Compiled const& index)
{
    if (!index.constant) {
        return "a computed index";
    }
    char buffer[sxu::sNumberTextCapacity];
    return sxu::string(buffer, sxu::formatGeneral(buffer, index.value));
}

/// Element (row, column) of a matrix: operands are the matrix, the row and the column.
Compiled selectElement(Compiler& compiler, ExpressionData const& node, Compiled const* operands)
{
    Place const& matrix = operands[0].place;
    if (matrix.function) {
        return compiler.fail(ErrorId::EvalDimensionMismatch, excerptOf(node), "a matrix to select from", "a function");
    }
    for (unsigned long i = 1; i < 3; ++i) {
        if (!operands[i].place.isScalarNumber()) {
            return compiler.fail(ErrorId::EvalDimensionMismatch, excerptOf(node), "scalar indices",
                                 shapeText(operands[i].place));
        }
    }
    Compiled element;
    element.place = matrix;
    static_cast<Shape&>(element.place) = elementShape(matrix);
    double const row = operands[1].value;
    double const column = operands[2].value;
    if (operands[1].constant && operands[2].constant && matrix.offset == sNoSlot) {
        // Constant indices are checked now; the element is then a slot of its own.
        if (!isElementInside(row, column, matrix.rows, matrix.columns)) {
            return compiler.fail(ErrorId::IndexOutOfRange, excerptOf(node),
                                 "(" + indexText(operands[1]) + "," + indexText(operands[2]) + ")",
                                 dimensionText(matrix));
        }
        element.place.slot = matrix.slot + static_cast<Slot>(static_cast<unsigned long>(row) +
                                                             static_cast<unsigned long>(column) * matrix.rows);
        return element;
    }
    Slot const rowSlot = compiler.elementSlot(operands[1]);
    Slot const columnSlot = compiler.elementSlot(operands[2]);
    Place offsetShape;
    offsetShape.type = sxu::DataTypeId::Real;
    Slot const offset = compiler.temporary(offsetShape).slot;
    compiler.program().offsets.push_back(ElementSpec{matrix.rows, matrix.columns, &node});
    compiler.emit(Op::Offset, static_cast<std::uint32_t>(compiler.program().offsets.size() - 1), offset, rowSlot,
                  columnSlot);
    if (matrix.offset != sNoSlot) {
        compiler.emit(Op::AddReal, 0, offset, offset, matrix.offset);
    }
    element.place.offset = offset;
    return element;
}

/// Elements first to last - 1 of a matrix's storage, as a column.
Compiled selectRange(Compiler& compiler, SubMatrix const& node, Compiled const& matrix)
{
    if (matrix.place.function) {
        return compiler.fail(ErrorId::EvalDimensionMismatch, excerptOf(node), "a matrix to select from", "a function");
    }
    unsigned long const first = node.getFirst();
    unsigned long const last = node.getLast();
    if (!isRangeInside(first, last, matrix.place.count())) {
        return compiler.fail(ErrorId::IndexOutOfRange, excerptOf(node),
                             "(" + std::to_string(first) + ":" + std::to_string(last) + ")",
                             dimensionText(matrix.place));
    }
    Compiled range;
    range.place = matrix.place;
    range.place.slot += static_cast<Slot>(first);
    static_cast<Shape&>(range.place) = rangeShape(matrix.place, first, last);
    return range;
}

void Compiler::compileAssignment(AssignmentStatement const& statement)
{
    ExpressionData const* lhs = statement.getExpressionNode(AssignmentStatement::LHS);
    ExpressionData const* rhs = statement.getExpressionNode(AssignmentStatement::RHS);
    beginStatement(lhs, rhs);
    if (rhs == nullptr || lhs == nullptr) {
        fail(ErrorId::EvalUnsetOperand, "an assignment", rhs == nullptr ? "the right side" : "the left side", "");
        return;
    }
    // The right side first, then the indices of the left side.
    Compiled const value = compileExpression(*rhs);
    if (value.failed) {
        return;
    }
    Compiled stored = value;
    if ((value.place.slot & sModuleSpace) != 0 || value.place.offset != sNoSlot) {
        // The left side's indices may hold calls that change module storage.
        stored.place = settled(value);
    }
    VariableRef const* base = storageOf(*lhs);
    if (base == nullptr) {
        fail(ErrorId::EvalNotAssignable, excerptOf(*lhs), "", "");
        return;
    }
    // The chain of selections down to the variable, walked back up from it.
    sxu::vector<ExpressionData const*> chain;
    for (ExpressionData const* node = lhs;;) {
        chain.push_back(node);
        Children const children = NodeAccess::childrenOf(*node);
        if (children.kind != ExpressionDataType::MatrixRef && children.kind != ExpressionDataType::SubMatrix) {
            break;
        }
        node = children[0];
    }
    Place target;
    if (!placeOfVariable(base->getVariable(), target)) {
        fail(ErrorId::EvalNotEvaluable, excerptOf(*lhs), "a variable this function cannot reach", "");
        return;
    }
    for (std::size_t level = chain.size() - 1; level-- > 0;) {
        ExpressionData const& selection = *chain[level];
        Children const children = NodeAccess::childrenOf(selection);
        Compiled selected;
        selected.place = target;
        Compiled operands[3] = {selected};
        if (children.kind == ExpressionDataType::MatrixRef) {
            for (unsigned long i = 1; i < 3; ++i) {
                operands[i] = compileExpression(*children[i]);
                if (operands[i].failed) {
                    return;
                }
            }
            Compiled const element = selectElement(*this, selection, operands);
            if (element.failed) {
                return;
            }
            target = element.place;
        } else {
            Compiled const range = selectRange(*this, static_cast<SubMatrix const&>(selection), operands[0]);
            if (range.failed) {
                return;
            }
            target = range.place;
        }
    }
    Place const& from = stored.place;
    if (!fits(target, from)) {
        fail(ErrorId::EvalDimensionMismatch, excerptOf(*lhs) + "=" + excerptOf(*rhs), shapeText(target), shapeText(from));
        return;
    }
    // A result just computed into a temporary is computed into the target instead.
    Instruction* last = mProgram->code.empty() ? nullptr : &mProgram->code.back();
    bool const retarget = last != nullptr && from.count() == 1 && !from.function && target.offset == sNoSlot &&
                          from.type == target.type && (from.slot & sTemporary) != 0 && last->dst == from.slot &&
                          last->op <= Op::Convert && mShared.find(rhs) == nullptr && !value.constant;
    if (retarget) {
        last->dst = target.slot;
    } else if (from.count() == 1 && target.offset == sNoSlot && from.offset == sNoSlot &&
               (from.function || from.type == target.type)) {
        emit(Op::Move, 0, target.slot, from.slot, 0);
    } else if (from.count() == 1 && target.offset == sNoSlot && from.offset == sNoSlot) {
        emit(Op::Convert, unaryIndex(conversionFunction(from.type, target.type)), target.slot, from.slot, 0);
    } else {
        emitCopy(target, from);
    }
}

// ---------------------------------------------------------------------------------------------
// Expressions.

unsigned long ExpressionCompiler::enter(ExpressionData const* node, Children const& children)
{
    if (node == nullptr) {
        // An unset call operand: the call fails when its evaluation reaches it.
        mValues.push_back(mCompiler.fail(ErrorId::EvalUnsetOperand, "", "", ""));
        mValues.back().unsetFailure = static_cast<long>(mCompiler.program().failures.size() - 1);
        return 0;
    }
    if (isSharedInner(*node, children.count)) {
        if (Compiled* known = mCompiler.findShared(*node)) {
            if (!known->subroutine) {
                mValues.push_back(*known);
                return 0;
            }
            auto const next = static_cast<Slot>(mCompiler.program().code.size() + 1);
            mCompiler.emit(Op::Enter, known->body, known->returnSlot, 0, next);
            mValues.push_back(useOfSubroutine(*known));
            return 0;
        }
        if (mCompiler.holdsCall() && mCompiler.sharedHoldsCall(*node)) {
            // Its code follows an Enter that runs it in place and returns past its end. What
            // was computed of module storage before it is computed again inside it, where a
            // later use will run it again.
            mCompiler.forgetModuleReads();
            Place shape;
            OpenBody const open{static_cast<std::uint32_t>(mCompiler.program().code.size()),
                                mCompiler.temporary(shape).slot};
            mCompiler.emit(Op::Enter, open.enter + 1, open.returnSlot, 0, 0);
            mOpenBodies.push_back(open);
        }
    }
    if (children.count != 0) {
        return children.count;
    }
    // A leaf costs less to compile again than to look up.
    mValues.push_back(visitKind(children.kind, *node, nullptr));
    return 0;
}

bool ExpressionCompiler::leave(ExpressionData const& node, Children const& children)
{
    std::size_t const first = mValues.size() - children.count;
    for (std::size_t i = first + 1; children.kind == ExpressionDataType::FunctionCall && i < mValues.size(); ++i) {
        if (mValues[i].unsetFailure >= 0) {
            sxu::string* arguments = mCompiler.program().failures[mValues[i].unsetFailure].arguments;
            arguments[0] = excerptOf(node);
            arguments[1] = "operand " + std::to_string(i - first);
        }
    }
    Compiled value;
    bool failed = false;
    for (std::size_t i = first; i < mValues.size(); ++i) {
        failed = failed || mValues[i].failed;
        value.holdsCall = value.holdsCall || mValues[i].holdsCall;
        value.readsModule = value.readsModule || mValues[i].readsModule;
    }
    bool const holdsCall = value.holdsCall;
    bool const readsModule = value.readsModule;
    // Code after a failure is never reached: nothing more is written for it.
    value = failed ? mCompiler.unreachable() : visitKind(children.kind, node, &mValues[first]);
    value.holdsCall = value.holdsCall || holdsCall;
    value.readsModule = value.readsModule || readsModule;
    mValues.resize(first);
    if (mCompiler.holdsCall() && isSharedInner(node, children.count) && mCompiler.sharedHoldsCall(node)) {
        OpenBody const open = mOpenBodies.back();
        mOpenBodies.pop_back();
        mCompiler.emit(Op::Leave, 0, 0, open.returnSlot, 0);
        mCompiler.program().code[open.enter].b = static_cast<Slot>(mCompiler.program().code.size());
        value.subroutine = true;
        value.body = open.enter + 1;
        value.returnSlot = open.returnSlot;
        mCompiler.keepShared(node, value);
        mValues.push_back(value.failed ? value : useOfSubroutine(value));
        return true;
    }
    mValues.push_back(value);
    if (node.getReferenceCount() > 1) {
        mCompiler.keepShared(node, value);
    }
    return true;
}

Compiled ExpressionCompiler::useOfSubroutine(Compiled const& subroutine)
{
    mCompiler.forgetModuleReads();
    Compiled value;
    value.place = mCompiler.temporary(subroutine.place);
    value.holdsCall = true;
    value.readsModule = subroutine.readsModule;
    mCompiler.emitCopy(value.place, subroutine.place);
    return value;
}

Compiled ExpressionCompiler::visitConstant(Constant const& node, Compiled const*)
{
    Compiled value;
    value.place.type = node.getType()->getType();
    value.constant = true;
    value.value = constantElement(node);
    value.place.slot = mCompiler.constantSlot(value.value);
    return value;
}

Compiled ExpressionCompiler::visitVariableRef(VariableRef const& node, Compiled const*)
{
    Compiled value;
    if (!mCompiler.placeOfVariable(node.getVariable(), value.place)) {
        return mCompiler.fail(ErrorId::EvalNotEvaluable, excerptOf(node),
                              "a variable this function cannot reach, or of a type no value has", "");
    }
    value.readsModule = (value.place.slot & sModuleSpace) != 0;
    return exposedRead(value);
}

Compiled ExpressionCompiler::visitFunctionRef(FunctionRef const& node, Compiled const*)
{
    Compiled value;
    value.place.function = true;
    value.place.slot = mCompiler.constantSlot(functionBits(&node.getFunction()));
    return value;
}

Compiled ExpressionCompiler::visitOperator(Operator const& node, Compiled const* operands)
{
    OpId::Type const op = node.getOp();
    unsigned long const count = node.getNumOperands();
    for (unsigned long i = 0; i < count; ++i) {
        if (!operands[i].place.isScalarNumber()) {
            return mCompiler.fail(ErrorId::EvalDimensionMismatch, excerptOf(node), "scalar operands",
                                  "operand " + std::to_string(i + 1) + " is " + shapeText(operands[i].place));
        }
    }
    DataType const a = operands[0].place.type;
    DataType const b = count == 2 ? operands[1].place.type : a;
    DataType const type = operationType(op, a, b);
    Slot const left = mCompiler.converted(mCompiler.elementSlot(operands[0]), a, type);
    Slot const right = count == 2 ? mCompiler.converted(mCompiler.elementSlot(operands[1]), b, type) : 0;
    Place shape;
    shape.type = resultType(op, a, b);
    Compiled value;
    value.place = mCompiler.temporary(shape);
    static Op const realOps[] = {Op::AddReal, Op::SubtractReal, Op::MultiplyReal, Op::DivideReal};
    if (type == sxu::DataTypeId::Real && op >= OpId::ADD && op <= OpId::DIVISION) {
        mCompiler.emit(realOps[op - OpId::ADD], 0, value.place.slot, left, right);
    } else if (count == 1) {
        mCompiler.emit(Op::Unary, mCompiler.unaryIndex(unaryFunction(op, type)), value.place.slot, left, 0);
    } else {
        mCompiler.emit(Op::Binary, mCompiler.binaryIndex(binaryFunction(op, type)), value.place.slot, left, right);
    }
    return value;
}

Compiled ExpressionCompiler::exposedRead(Compiled value)
{
    if (!value.failed && mCompiler.holdsCall() && (value.place.slot & sModuleSpace) != 0) {
        value.place = mCompiler.settled(value);
    }
    return value;
}

Compiled ExpressionCompiler::visitMatrixRef(MatrixRef const& node, Compiled const* operands)
{
    return exposedRead(selectElement(mCompiler, node, operands));
}

Compiled ExpressionCompiler::visitSubMatrix(SubMatrix const& node, Compiled const* operands)
{
    return exposedRead(selectRange(mCompiler, node, operands[0]));
}

Compiled ExpressionCompiler::visitFunctionCall(FunctionCall const& node, Compiled const* operands)
{
    // operands[0] is the function expression, then the call's operands.
    Place const& called = operands[0].place;
    if (!called.function) {
        return mCompiler.fail(ErrorId::EvalDimensionMismatch, excerptOf(node), "a function to call", shapeText(called));
    }
    ExpressionData const* functionNode = NodeAccess::childrenOf(node)[0];
    Function const* callee = functionNode->getExpressionDataType() == ExpressionDataType::FunctionRef
                                 ? &static_cast<FunctionRef const*>(functionNode)->getFunction()
                                 : nullptr;
    // The value of a call has the type of the last output of what it calls.
    Type const* resultType = node.getGenericType();
    if (callee != nullptr) {
        switch (calleeFault(mCompiler.function().getContext(), *callee, node.getNumOperands())) {
        case CalleeFault::None:
            break;
        case CalleeFault::OtherContext:
        case CalleeFault::NoSignature:
            return mCompiler.fail(ErrorId::EvalNotEvaluable, excerptOf(node),
                                  "calls a function of another context or without a signature", "");
        case CalleeFault::OperandCount:
            return mCompiler.fail(
                ErrorId::EvalInvalidArguments, excerptOf(node), std::to_string(node.getNumOperands()) + " operands",
                callee->getName() + " has " +
                    std::to_string(callee->getFunctionScope(FunctionScopeType::Input).getNumScopeItems()) + " inputs");
        case CalleeFault::NoOutput:
            return mCompiler.fail(ErrorId::EvalNotEvaluable, excerptOf(node), callee->getName() + " has no output", "");
        }
        resultType = &lastOutputTypeOf(*callee);
        for (unsigned long i = 0; i < node.getNumOperands(); ++i) {
            Place input;
            Place const& operand = operands[1 + i].place;
            Variable const& variable = inputOf(*callee, i);
            if (!shapeOf(variable.getType(), input) || !fits(input, operand)) {
                return mCompiler.fail(ErrorId::EvalDimensionMismatch, excerptOf(node),
                                      "input " + variable.getName() + ": " + shapeText(input),
                                      "operand " + std::to_string(i + 1) + " is " + shapeText(operand));
            }
        }
    }
    Place result;
    if (resultType == nullptr || !shapeOf(*resultType, result)) {
        return mCompiler.fail(ErrorId::EvalNotEvaluable, excerptOf(node), "calls something with no output value", "");
    }
    CallSpec call{callee, callee != nullptr ? sNoSlot : mCompiler.settled(operands[0]).slot, {}, {}, &node};
    for (unsigned long i = 0; i < node.getNumOperands(); ++i) {
        call.operands.push_back(mCompiler.settled(operands[1 + i]));
    }
    Compiled value;
    value.place = mCompiler.temporary(result);
    value.holdsCall = true;
    call.result = value.place;
    mCompiler.program().calls.push_back(call);
    mCompiler.emit(Op::Call, static_cast<std::uint32_t>(mCompiler.program().calls.size() - 1), 0, 0, 0);
    mCompiler.forgetModuleReads();
    return value;
}

Compiled ExpressionCompiler::visitCustom(CustomExpressionData const& node, Compiled const* operands)
{
    Place result;
    Type const* type = node.getGenericType();
    if (type == nullptr || !shapeOf(*type, result)) {
        return mCompiler.fail(ErrorId::EvalNotEvaluable, excerptOf(node), "a client node without a value type", "");
    }
    CustomSpec custom{&node, {}, {}};
    for (unsigned long i = 0; i < node.getNumOperands(); ++i) {
        custom.operands.push_back(mCompiler.settled(operands[i]));
    }
    Compiled value;
    value.place = mCompiler.temporary(result);
    custom.result = value.place;
    mCompiler.program().customs.push_back(custom);
    mCompiler.emit(Op::Custom, static_cast<std::uint32_t>(mCompiler.program().customs.size() - 1), 0, 0, 0);
    return value;
}

// ---------------------------------------------------------------------------------------------
// The body.

struct Jumps {
    std::uint32_t unless; ///< the jump over an if's true branch
    std::uint32_t over;   ///< the jump over its false branch
};

/// Writes each statement's instructions in order; an if becomes a jump over its true
/// branch and, when it has a false branch, a jump over that.
class BodyCompiler : public StatementKindVisitor<BodyCompiler, Visit> {
public:
    using Data = Jumps;

    explicit BodyCompiler(Compiler& compiler) : mCompiler(compiler) {}

    Visit enterStatement(Statement const& statement, Jumps& jumps) { return visit(statement, jumps); }
    Visit visitAssignment(AssignmentStatement const& statement, Jumps&)
    {
        mCompiler.compileAssignment(statement);
        return Visit::Skip;
    }
    Visit visitIf(IfStatement const& statement, Jumps& jumps)
    {
        jumps.over = sNoSlot;
        jumps.unless = mCompiler.compileCondition(statement);
        return Visit::Enter;
    }
    Visit enterList(Statement const& owner, unsigned long position, Jumps& jumps, Jumps&)
    {
        if (position == 1) {
            bool const empty = owner.getStatementList(1).getStatementList().empty();
            jumps.over = empty ? sNoSlot : mCompiler.emitJump();
            mCompiler.landJump(jumps.unless);
            return empty ? Visit::Skip : Visit::Enter;
        }
        return Visit::Enter;
    }
    void leaveList(Statement const&, unsigned long, Jumps&) {}
    bool leaveStatement(Statement const& statement, Jumps& jumps)
    {
        if (statement.getNumStatementLists() != 0 && jumps.over != sNoSlot) {
            mCompiler.landJump(jumps.over);
        }
        return true;
    }

private:
    Compiler& mCompiler;
};

Program* Compiler::compile()
{
    mProgram->function = &mFunction;
    layOut();
    BodyCompiler body(*this);
    StatementWalker<BodyCompiler>::walkList(body, mFunction.getStatements(), Jumps{0, sNoSlot});
    emit(Op::Return, 0, 0, 0, 0);
    patchTemporaries();
    return mProgram.release();
}

} // namespace

Program* prepareProgram(Function const& function, ModuleStorage& module)
{
    return Compiler(function, module).compile();
}

} // namespace detail
} // namespace sxir
