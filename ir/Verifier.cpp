// The verifier: one walk over a function's body on the shared engine, a visitor over the node kinds that
// works out the static value of each distinct node once (docs/semantics.md, "The shape of an expression")
// and asks the rules of ir/detail/Shape.hpp, which the interpreter's preparation asks too.
#include "ir/Verifier.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/ErrorId.hpp"
#include "ir/Function.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/Module.hpp"
#include "ir/Scope.hpp"
#include "ir/ScopeConfiguration.hpp"
#include "ir/detail/NodeMemo.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/Shape.hpp"
#include "ir/detail/Walk.hpp"
#include "util/Format.hpp"

#include <string>

namespace sxir {
namespace detail {
namespace {

constexpr std::size_t sNone = ~std::size_t(0);

sxu::string decimal(unsigned long value)
{
    sxu::string text;
    sxu::appendDecimal(text, value);
    return text;
}

/// "1 input", "2 inputs".
sxu::string counted(unsigned long count, char const* noun)
{
    return decimal(count) + " " + noun + (count == 1 ? "" : "s");
}

sxu::string number(double value)
{
    char buffer[sxu::sNumberTextCapacity];
    return sxu::string(buffer, sxu::formatGeneral(buffer, value));
}

sxu::string indexed(char const* name, unsigned long position)
{
    return name + ("[" + decimal(position) + "]");
}

// -------------------------------------------------------------------------------------------------
// Function values: what a call through one takes and gives.

/// The parameters of a function value as calls see them: a signature's, or a function's own scopes
/// (what a run of it uses). Null scopes: a function without a signature.
struct Interface {
    Scope const* inputs = nullptr;
    Scope const* outputs = nullptr;
};

/// The interface of these scopes; none when they hold an item other than a variable.
Interface interfaceOf(Scope const& inputs, Scope const& outputs)
{
    return declaresOnlyVariables(inputs) && declaresOnlyVariables(outputs) ? Interface{&inputs, &outputs}
                                                                           : Interface{};
}

Interface interfaceOf(FunctionSignature const& signature)
{
    return interfaceOf(signature.getScope(FunctionIoScopeType::Input), signature.getScope(FunctionIoScopeType::Output));
}

Interface interfaceOf(Function const& function)
{
    return function.hasSignature() ? interfaceOf(function.getFunctionScope(FunctionScopeType::Input),
                                                 function.getFunctionScope(FunctionScopeType::Output))
                                   : Interface{};
}

Type const& typeOf(Scope const& scope, unsigned long position)
{
    return static_cast<Variable const&>(*scope.getGenericScopeItem(position)).getType();
}

/// Whether two function values take and give alike: the same number of inputs, and each input and
/// the last output alike in turn, number values by element count and function values the same way
/// down through their signatures. Alikeness holds both ways and chains, so a function stored in,
/// passed for or returned as a value of a signature runs wherever a call through that signature runs.
class InterfaceMatch {
public:
    struct Frame {
        Interface a;
        Interface b;
        unsigned long next;
    };

    static bool alike(Interface a, Interface b)
    {
        InterfaceMatch match;
        return comparable(a, b) && runWalk(match, Frame{a, b, 0});
    }

    Step step(Frame& frame, Frame& child)
    {
        while (frame.next < compared(frame.a)) {
            Type const& left = parameter(frame.a, frame.next);
            Type const& right = parameter(frame.b, frame.next);
            ++frame.next;
            Shape l;
            Shape r;
            if (!shapeOf(left, l) || !shapeOf(right, r) || !fits(l, r)) {
                return Step::Stop;
            }
            if (l.function) {
                child = Frame{interfaceOf(static_cast<FunctionSignature const&>(left)),
                              interfaceOf(static_cast<FunctionSignature const&>(right)), 0};
                return comparable(child.a, child.b) ? Step::Descend : Step::Stop;
            }
        }
        return Step::Finish;
    }

private:
    static bool comparable(Interface a, Interface b)
    {
        return a.inputs != nullptr && b.inputs != nullptr &&
               a.inputs->getNumScopeItems() == b.inputs->getNumScopeItems() &&
               a.outputs->isEmpty() == b.outputs->isEmpty();
    }
    /// The inputs, then the last output when there is one.
    static unsigned long compared(Interface i)
    {
        return i.inputs->getNumScopeItems() + (i.outputs->isEmpty() ? 0 : 1);
    }
    static Type const& parameter(Interface i, unsigned long position)
    {
        unsigned long const inputs = i.inputs->getNumScopeItems();
        return position < inputs ? typeOf(*i.inputs, position) : typeOf(*i.outputs, i.outputs->getNumScopeItems() - 1);
    }
};

// -------------------------------------------------------------------------------------------------
// What a node's value is known to be before anything runs.

struct Static {
    Shape shape;
    /// False where a problem, already reported, leaves the value unknown.
    bool known = false;
    /// The value of a scalar constant: its node holds it.
    bool constant = false;
    /// The declared type the value has: for a function value, its signature.
    Type const* type = nullptr;
    /// The function a function reference names.
    Function const* function = nullptr;
};

/// The value of a node whose value is constant.
double constantValue(ExpressionData const& node)
{
    return constantElement(static_cast<Constant const&>(node));
}

Interface interfaceOf(Static const& value)
{
    if (value.function != nullptr) {
        return interfaceOf(*value.function);
    }
    return value.type != nullptr && value.type->getTypeId() == TypeId::FunctionSignature
               ? interfaceOf(static_cast<FunctionSignature const&>(*value.type))
               : Interface{};
}

/// A known value of `shape`, whole: a visit that finds a value writes all of it, one that does not
/// leaves the entry unknown and the rest of it unread.
Static knownValue(Shape const& shape, Type const* type = nullptr, Function const* function = nullptr,
                  bool constant = false)
{
    Static value;
    value.shape = shape;
    value.known = true;
    value.constant = constant;
    value.type = type;
    value.function = function;
    return value;
}

/// A value of the declared type `type`; unknown when there is none or no value has it.
Static valueOf(Type const* type)
{
    Static value;
    value.type = type;
    value.known = type != nullptr && shapeOf(*type, value.shape);
    return value;
}

/// `value` as a message names it beside storage of `storage`.
sxu::string describe(Static const& value, Static const& storage)
{
    if (!value.shape.function) {
        return shapeText(value.shape);
    }
    return storage.shape.function ? "a function of another signature" : "a function";
}

/// What fits storage of `storage`, as a message asks for it.
sxu::string wanted(Static const& storage)
{
    unsigned long const count = storage.shape.count();
    return storage.shape.function ? sxu::string("a function whose inputs and last output are alike to its signature's")
                                  : "a number value of " + counted(count, "element");
}

/// A node being verified, on the value stack: the parts of a node stand right after its
/// own entry, in order, so an entry's position among its parent's parts is its distance from it.
struct Entry {
    ExpressionData const* node; ///< null for an unset call operand
    std::size_t parent;         ///< the entry of the node this is a part of, or sNone
    Static value;
};

/// The name of part `position` of a node, in a path (a leaf has none).
class PartNames : public ExpressionKindVisitor<PartNames, sxu::string> {
public:
    sxu::string visitConstant(Constant const&, unsigned long) { return ""; }
    sxu::string visitVariableRef(VariableRef const&, unsigned long) { return ""; }
    sxu::string visitFunctionRef(FunctionRef const&, unsigned long) { return ""; }
    sxu::string visitOperator(Operator const&, unsigned long position) { return indexed("operand", position); }
    sxu::string visitFunctionCall(FunctionCall const&, unsigned long position)
    {
        return position == 0 ? sxu::string("function") : indexed("operand", position - 1);
    }
    sxu::string visitMatrixRef(MatrixRef const&, unsigned long position)
    {
        static char const* const names[] = {"matrix", "row", "column"};
        return names[position];
    }
    sxu::string visitSubMatrix(SubMatrix const&, unsigned long) { return "matrix"; }
    sxu::string visitCustom(CustomExpressionData const&, unsigned long position)
    {
        return indexed("operand", position);
    }
};

/// Why an assignment's left side is not storage, by what it finally selects from.
class NotStorage : public ExpressionKindVisitor<NotStorage, sxu::string> {
public:
    explicit NotStorage(Function const& function) : mFunction(function) {}

    sxu::string visitConstant(Constant const& node) { return excerptOf(node) + " is a constant"; }
    sxu::string visitVariableRef(VariableRef const& node)
    {
        Variable const& variable = node.getVariable();
        bool const input = mFunction.hasSignature() &&
                           &variable.getParentScope() == &mFunction.getFunctionScope(FunctionScopeType::Input);
        return variable.getName() + (input ? " is an input of " + mFunction.getName() : sxu::string(" is immutable"));
    }
    sxu::string visitFunctionRef(FunctionRef const& node) { return excerptOf(node) + " is a function"; }
    sxu::string visitOperator(Operator const& node) { return excerptOf(node) + " is the value of an operation"; }
    sxu::string visitFunctionCall(FunctionCall const& node) { return excerptOf(node) + " is the value of a call"; }
    // What a selection selects from is never a selection.
    sxu::string visitMatrixRef(MatrixRef const& node) { return excerptOf(node) + " is not storage"; }
    sxu::string visitSubMatrix(SubMatrix const& node) { return excerptOf(node) + " is not storage"; }
    sxu::string visitCustom(CustomExpressionData const& node) { return excerptOf(node) + " is a client node"; }

private:
    Function const& mFunction;
};

/// How a declaration stands to the function whose body refers to it.
enum class Reach { Usable, OtherContext, OtherFunction, Replaced, Hidden, NoStorage };

/// What a reference to one declaration gives, worked out once per declaration.
struct Declared {
    bool found = false; ///< worked out already
    Reach reach = Reach::Usable;
    Static value; ///< of a variable: unknown when no value has its type
};

/// One statement list on the way down from the body: the body, or a branch of an if statement.
struct ListPlace {
    std::size_t parent;  ///< the list that holds the if, or sNone for the body
    unsigned long owner; ///< the if's position in that list
    bool branch;         ///< the if's true branch, else its false branch
};

/// Where the statement walk is: the list, and the position of the next statement in it.
struct Position {
    std::size_t list;
    unsigned long next;
};

class FunctionChecker;

/// Works out each distinct node's value in post-order: each node's entry waits on the value stack
/// with its parts' entries after it until the node is left.
class ExpressionChecker : public ExpressionKindVisitor<ExpressionChecker> {
public:
    explicit ExpressionChecker(FunctionChecker& checker) : mChecker(checker) {}

    SXIR_ALWAYS_INLINE unsigned long enter(ExpressionData const* node, Children const& children);
    void next(ExpressionData const&, Children const&, unsigned long) {}
    SXIR_ALWAYS_INLINE bool leave(ExpressionData const& node, Children const& children);

    // A node's value, into `out` (unknown to begin with), from its parts' entries (null for a leaf);
    // the node's own entry is mHere. A value found is written whole.
    void visitConstant(Constant const& node, Entry const* parts, Static& out);
    SXIR_ALWAYS_INLINE void visitVariableRef(VariableRef const& node, Entry const* parts, Static& out);
    __attribute__((noinline)) void visitFunctionRef(FunctionRef const& node, Entry const* parts, Static& out);
    void visitOperator(Operator const& node, Entry const* parts, Static& out);
    void visitMatrixRef(MatrixRef const& node, Entry const* parts, Static& out);
    void visitSubMatrix(SubMatrix const& node, Entry const* parts, Static& out);
    void visitFunctionCall(FunctionCall const& node, Entry const* parts, Static& out);
    __attribute__((noinline)) void visitCustom(CustomExpressionData const& node, Entry const* parts, Static& out);

private:
    /// The value of a reference to a variable the function cannot use or no value has, once reported.
    __attribute__((noinline)) Static unusable(VariableRef const& node, Declared const& declared);
    /// Reports the operands of an operation that are known and not scalar numbers (kept apart from
    /// the visit, which most operations pass).
    __attribute__((noinline)) void reportOperands(Operator const& node, Entry const* parts);
    /// Reports the unset call operand whose entry is the last.
    __attribute__((noinline)) void reportUnset();
    /// Reports a problem of a leaf, which is not remembered like a shared inner node, once.
    void reportLeaf(ExpressionData const& node, char const* id, sxu::string const& message);
    std::size_t part(unsigned long position) const { return mHere + 1 + position; }
    /// Checks a call's operands against the inputs of what it calls; false when one does not fit.
    bool checkOperands(FunctionCall const& node, Entry const* parts, Interface callee, sxu::string const& calleeName);

    FunctionChecker& mChecker;
    std::size_t mHere = sNone;
    NodeMemo<bool> mReportedLeaves;
};

/// Verifies one function: its declarations, then its body statement by statement.
class FunctionChecker : public StatementKindVisitor<FunctionChecker, Visit> {
public:
    using Data = Position;

    FunctionChecker(Function const& function, std::vector<Diagnostic>& out)
        : mFunction(function), mOut(out), mExpressions(*this)
    {}

    void run();

    // The statement walk.
    Visit enterStatement(Statement const& statement, Position& position)
    {
        mStatement = position;
        mAutoGenerated = statement.isAutoGenerated();
        return visit(statement);
    }
    Visit visitAssignment(AssignmentStatement const& statement);
    Visit visitIf(IfStatement const& statement);
    Visit enterList(Statement const& owner, unsigned long position, Position& at, Position& nested);
    void leaveList(Statement const&, unsigned long, Position&) { mLists.pop_back(); }
    bool leaveStatement(Statement const&, Position& position)
    {
        ++position.next;
        return true;
    }

    // What the expression walk asks.
    Function const& function() const { return mFunction; }
    /// Whether the statement is one the library wrote itself (out=in, for an output named like an input).
    bool autoGenerated() const { return mAutoGenerated; }
    /// The entries of the value stack, the first `top()` of which are in use.
    sxu::vector<Entry>& entries() { return mEntries; }
    std::size_t& top() { return mTop; }
    /// A new entry for `node`, unknown, as a part of the open entry: filled in place, field by field
    /// (an entry built elsewhere and copied in costs more than the rest of a visit).
    SXIR_ALWAYS_INLINE Entry& push(ExpressionData const* node)
    {
        if (mTop == mEntries.size()) {
            mEntries.resize(2 * mTop + 32);
        }
        Entry& entry = mEntries[mTop++];
        entry.node = node;
        entry.parent = mOpen;
        entry.value.known = false;
        return entry;
    }
    std::size_t& open() { return mOpen; }
    Static* findShared(ExpressionData const& node) { return mShared.find(&node); }
    void keepShared(ExpressionData const& node, Static const& value) { mShared.insert(&node, nullptr, value); }
    /// What a reference to `item` gives; valid until the next declaration is looked up.
    SXIR_ALWAYS_INLINE Declared const& declared(ScopeItem const& item)
    {
        // Most references name the function's own declarations: those go by their position.
        Scope const* scope = &item.getParentScope();
        for (unsigned long kind = 0; kind < FunctionScopeType::Count; ++kind) {
            if (scope == mOwnScopes[kind]) {
                Declared& own = mOwn[kind][item.getId()];
                if (!own.found) {
                    own = factsOf(item);
                }
                return own;
            }
        }
        Declared const* known = mDeclared.find(&item);
        return known != nullptr ? *known : declareNew(item);
    }
    void report(char const* id, std::size_t entry, sxu::string const& message)
    {
        mOut.push_back(Diagnostic{id, expressionPath(entry), message});
    }
    /// Whether a value of `value` fits storage, an input or a call's value of `storage`, functions
    /// by their signatures too.
    static bool fitsAlike(Static const& storage, Static const& value)
    {
        return fits(storage.shape, value.shape) &&
               (!storage.shape.function || InterfaceMatch::alike(interfaceOf(storage), interfaceOf(value)));
    }

private:
    void checkDeclarations();
    Reach reachOf(ScopeItem const& item) const;
    /// What a reference to `item`, looked up for the first time, gives.
    __attribute__((noinline)) Declared const& declareNew(ScopeItem const& item);
    Declared factsOf(ScopeItem const& item) const;
    bool isOwnScope(Scope const& scope) const;
    /// Works out the value of `root`, a part of the current statement named `part` in paths; its
    /// entry, whose index this gives, stays until the next statement.
    std::size_t walk(ExpressionData const& root, char const* part);
    /// Reports an assignment's unset sides, and a left side that is not storage.
    __attribute__((noinline)) void reportSides(ExpressionData const* lhs, ExpressionData const* rhs);
    /// Reports a value that does not fit where an assignment stores it.
    __attribute__((noinline)) void reportStore(ExpressionData const& lhs, ExpressionData const& rhs,
                                               Static const& target, Static const& value);
    sxu::string const& functionPath();
    sxu::string statementPath(Position const& position);
    sxu::string expressionPath(std::size_t entry);
    void reportStatement(char const* id, char const* part, sxu::string const& message)
    {
        mOut.push_back(Diagnostic{id, statementPath(mStatement) + "/" + part, message});
    }

    Function const& mFunction;
    std::vector<Diagnostic>& mOut;
    ExpressionChecker mExpressions;
    sxu::vector<Entry> mEntries;
    std::size_t mTop = 0;
    std::size_t mOpen = sNone;
    NodeMemo<Static> mShared;
    NodeMemo<Declared> mDeclared;
    /// The function's three scopes (none without a signature), and what references to their items give.
    Scope const* mOwnScopes[FunctionScopeType::Count] = {};
    sxu::vector<Declared> mOwn[FunctionScopeType::Count];
    sxu::vector<ListPlace> mLists;
    Position mStatement{0, 0};
    bool mAutoGenerated = false;
    char const* mPart = "";
    sxu::string mFunctionPath;
    /// The branch Function::If left open, until the walk finds it.
    CompoundStatement const* mOpenList = nullptr;
};

// -------------------------------------------------------------------------------------------------
// Expressions.

unsigned long ExpressionChecker::enter(ExpressionData const* node, Children const& children)
{
    Entry& entry = mChecker.push(node);
    if (node == nullptr) {
        reportUnset();
        return 0;
    }
    if (isSharedInner(*node, children.count)) {
        if (Static const* known = mChecker.findShared(*node)) {
            entry.value = *known;
            return 0;
        }
    }
    if (children.count != 0) {
        mChecker.open() = mChecker.top() - 1;
        return children.count;
    }
    mHere = mChecker.top() - 1;
    visitKind(children.kind, *node, nullptr, entry.value);
    return 0;
}

bool ExpressionChecker::leave(ExpressionData const& node, Children const& children)
{
    sxu::vector<Entry>& entries = mChecker.entries();
    mHere = mChecker.open();
    Entry& entry = entries[mHere];
    visitKind(children.kind, node, &entries[mHere + 1], entry.value);
    mChecker.top() = mHere + 1;
    mChecker.open() = entry.parent;
    if (isSharedInner(node, children.count)) {
        mChecker.keepShared(node, entry.value);
    }
    return true;
}

void ExpressionChecker::reportUnset()
{
    // The unset operand's call is the entry it is a part of, whose part 0 is what it calls.
    sxu::vector<Entry> const& entries = mChecker.entries();
    std::size_t const unset = mChecker.top() - 1;
    std::size_t const call = entries[unset].parent;
    unsigned long const operand = unset - call - 2;
    mChecker.report(ErrorId::VerifyUnsetOperand, unset,
                    "Operand " + decimal(operand + 1) + " of " + excerptOf(*entries[call].node) +
                        " is not set; set it with FunctionCall::setOperand(" + decimal(operand) + ", ...).");
}

void ExpressionChecker::reportLeaf(ExpressionData const& node, char const* id, sxu::string const& message)
{
    if (node.getReferenceCount() > 1) {
        if (mReportedLeaves.find(&node) != nullptr) {
            return;
        }
        mReportedLeaves.insert(&node, nullptr, true);
    }
    mChecker.report(id, mHere, message);
}

void ExpressionChecker::visitConstant(Constant const& node, Entry const*, Static& out)
{
    if (node.getType() == nullptr) {
        reportLeaf(node, ErrorId::VerifyUntypedNode,
                   "The constant " + excerptOf(node) + " has no type; its class must give one from getType().");
        return;
    }
    Shape shape;
    shape.type = node.getType()->getType();
    out = knownValue(shape, node.getType(), nullptr, NodeAccess::forScalar(node, [](auto const&) {}));
}

void ExpressionChecker::visitVariableRef(VariableRef const& node, Entry const*, Static& out)
{
    Declared const& declared = mChecker.declared(node.getVariable());
    if (declared.reach == Reach::Usable && declared.value.known) {
        out = declared.value;
    } else {
        out = unusable(node, declared);
    }
}

Static ExpressionChecker::unusable(VariableRef const& node, Declared const& declared)
{
    Variable const& variable = node.getVariable();
    Function const& function = mChecker.function();
    sxu::string const& name = variable.getName();
    Function const* owner = variable.getParentScope().resolveFunction();
    // The library writes out=in with the input the output's name hides, and writes it again in every copy.
    bool const generated = declared.reach == Reach::Hidden && owner == &function && mChecker.autoGenerated();
    switch (generated ? Reach::Usable : declared.reach) {
    case Reach::Usable:
        break;
    case Reach::OtherContext:
        reportLeaf(node, ErrorId::VerifyForeignVariable,
                   name + " is a variable of another context; use the declaration " + function.getName() +
                       " finds for that name in its own context.");
        return Static();
    case Reach::OtherFunction:
        reportLeaf(node, ErrorId::VerifyForeignVariable,
                   name + " belongs to the function " + owner->getName() + ", whose variables " + function.getName() +
                       " cannot use; declare it in " + function.getName() + " or use one of its own.");
        return Static();
    case Reach::Replaced:
        reportLeaf(node, ErrorId::VerifyForeignVariable,
                   name + " belongs to scopes of " + function.getName() +
                       " that a later setSignature replaced; use the declaration it has now.");
        return Static();
    case Reach::Hidden:
        reportLeaf(node, ErrorId::VerifyForeignVariable,
                   function.getName() + " cannot reach this " + name + " by name (the name finds another " +
                       "declaration, or none); refer to the declaration " + function.getName() + "(\"" + name +
                       "\") gives.");
        return Static();
    case Reach::NoStorage:
        reportLeaf(node, ErrorId::VerifyForeignVariable,
                   name + " is declared where no variable has storage; declare it in a module or in " +
                       function.getName() + ".");
        return Static();
    }
    // The function's own declarations are reported where they stand.
    if (!declared.value.known && owner != &function) {
        reportLeaf(node, ErrorId::VerifyNoValueType,
                   "The module variable " + name + " is of a type no value has (" + variable.asString() +
                       "); give it a builtin, matrix or signature type.");
    }
    return declared.value;
}

void ExpressionChecker::visitFunctionRef(FunctionRef const& node, Entry const*, Static& out)
{
    Function const& referenced = node.getFunction();
    Function const& function = mChecker.function();
    switch (mChecker.declared(referenced).reach) {
    case Reach::Usable:
    case Reach::NoStorage:
        break;
    case Reach::OtherContext:
        reportLeaf(node, ErrorId::VerifyForeignVariable,
                   referenced.getName() + " is a function of another context; refer to the function " +
                       function.getName() + " finds for that name in its own context.");
        return;
    case Reach::OtherFunction:
    case Reach::Replaced:
    case Reach::Hidden:
        reportLeaf(node, ErrorId::VerifyForeignVariable,
                   function.getName() + " cannot reach this function " + referenced.getName() +
                       " by name (the name finds another declaration, or none); refer to the one " +
                       function.getName() + "(\"" + referenced.getName() + "\") gives.");
        return;
    }
    Shape shape;
    shape.function = true;
    out = knownValue(shape, node.getGenericType(), &referenced);
}

void ExpressionChecker::visitOperator(Operator const& node, Entry const* parts, Static& out)
{
    // A unary operation's last operand is its first; the parts are the entries above the node's.
    Static const& first = parts[0].value;
    Static const& last = parts[mChecker.top() - mHere - 2].value;
    if (first.known && last.known && first.shape.isScalarNumber() && last.shape.isScalarNumber()) {
        out = knownValue(operationShape(node.getOp(), first.shape.type, last.shape.type));
    } else {
        reportOperands(node, parts);
    }
}

void ExpressionChecker::reportOperands(Operator const& node, Entry const* parts)
{
    for (unsigned long i = 0; i < node.getNumOperands(); ++i) {
        Static const& operand = parts[i].value;
        if (operand.known && !operand.shape.isScalarNumber()) {
            mChecker.report(ErrorId::VerifyTypeMismatch, part(i),
                            "Operand " + decimal(i + 1) + " of " + excerptOf(node) + " is " +
                                shapeText(operand.shape) +
                                ", but an operation takes scalar numbers; select one element, or call a function.");
        }
    }
}

void ExpressionChecker::visitMatrixRef(MatrixRef const& node, Entry const* parts, Static& out)
{
    Static const& matrix = parts[0].value;
    if (matrix.known && matrix.shape.function) {
        mChecker.report(ErrorId::VerifyTypeMismatch, part(0),
                        "In " + excerptOf(node) + ", " + excerptOf(*parts[0].node) +
                            " is a function, which has no elements; select from a matrix or a scalar.");
    }
    static char const* const indexNames[] = {"", "row", "column"};
    bool known = matrix.known && !matrix.shape.function;
    for (unsigned long i = 1; i < 3; ++i) {
        Static const& index = parts[i].value;
        if (index.known && !index.shape.isScalarNumber()) {
            mChecker.report(ErrorId::VerifyTypeMismatch, part(i),
                            sxu::string("The ") + indexNames[i] + " index of " + excerptOf(node) + " is " +
                                shapeText(index.shape) + "; an index is a scalar number.");
        }
        known = known && index.known && index.shape.isScalarNumber();
    }
    if (!known) {
        return;
    }
    // A constant index must be a whole number inside the declared dimension, each on its own.
    Shape const& shape = matrix.shape;
    double const row = parts[1].value.constant ? constantValue(*parts[1].node) : 0.0;
    double const column = parts[2].value.constant ? constantValue(*parts[2].node) : 0.0;
    if (!isElementInside(row, column, shape.rows, shape.columns)) {
        bool const scalar = shape.rows == 1 && shape.columns == 1 && (matrix.type == nullptr || matrix.type->isScalar());
        sxu::string const of = scalar               ? sxu::string("a scalar, whose only element is (0,0)")
                               : shape.count() == 0 ? "a " + dimensionText(shape) + " matrix, which has no elements"
                                                    : "a " + dimensionText(shape) + " matrix, whose rows count from 0 to " +
                                                          decimal(shape.rows - 1) + " and columns from 0 to " +
                                                          decimal(shape.columns - 1);
        mChecker.report(ErrorId::VerifyIndexOutOfRange, mHere,
                        excerptOf(node) + " selects (" +
                            (parts[1].value.constant ? number(row) : excerptOf(*parts[1].node)) + "," +
                            (parts[2].value.constant ? number(column) : excerptOf(*parts[2].node)) + ") of " + of +
                            "; use whole numbers inside it.");
        return;
    }
    out = knownValue(elementShape(shape));
}

void ExpressionChecker::visitSubMatrix(SubMatrix const& node, Entry const* parts, Static& out)
{
    Static const& matrix = parts[0].value;
    if (!matrix.known) {
        return;
    }
    if (matrix.shape.function) {
        mChecker.report(ErrorId::VerifyTypeMismatch, part(0),
                        "In " + excerptOf(node) + ", " + excerptOf(*parts[0].node) +
                            " is a function, which has no elements; take a range of a matrix.");
        return;
    }
    unsigned long const first = node.getFirst();
    unsigned long const last = node.getLast();
    if (!isRangeInside(first, last, matrix.shape.count())) {
        mChecker.report(ErrorId::VerifyIndexOutOfRange, mHere,
                        excerptOf(node) + " takes the elements from " + decimal(first) + " up to " + decimal(last) +
                            " of " + decimal(matrix.shape.count()) +
                            "; the range must end within them and not before it starts.");
        return;
    }
    out = knownValue(rangeShape(matrix.shape, first, last));
}

bool ExpressionChecker::checkOperands(FunctionCall const& node, Entry const* parts, Interface callee,
                                      sxu::string const& calleeName)
{
    bool fit = true;
    for (unsigned long i = 0; i < node.getNumOperands(); ++i) {
        Variable const& input = static_cast<Variable const&>(*callee.inputs->getGenericScopeItem(i));
        Static const wanted = valueOf(&input.getType());
        if (!wanted.known) {
            mChecker.report(ErrorId::VerifyTypeMismatch, mHere,
                            "The input " + input.getName() + " of " + calleeName +
                                " is of a type no value has, so no call can pass it; give it another type.");
            return false;
        }
        Static const& operand = parts[1 + i].value;
        if (operand.known && !FunctionChecker::fitsAlike(wanted, operand)) {
            mChecker.report(ErrorId::VerifyTypeMismatch, part(1 + i),
                            "Operand " + decimal(i + 1) + " of " + excerptOf(node) + " is " +
                                describe(operand, wanted) + ", but the input " + input.getName() + " of " +
                                calleeName + " takes " + shapeText(wanted.shape) + "; pass " + detail::wanted(wanted) +
                                ".");
            fit = false;
        }
        fit = fit && operand.known;
    }
    return fit;
}

void ExpressionChecker::visitFunctionCall(FunctionCall const& node, Entry const* parts, Static& out)
{
    // parts[0] is what is called, then the operands.
    Static const& called = parts[0].value;
    if (!called.known) {
        return;
    }
    if (!called.shape.function) {
        mChecker.report(ErrorId::VerifyTypeMismatch, part(0),
                        excerptOf(*parts[0].node) + " is " + shapeText(called.shape) +
                            ", not a function; call a function or a variable of a signature type.");
        return;
    }
    Interface callee = interfaceOf(called);
    sxu::string const name = excerptOf(*parts[0].node);
    unsigned long const operands = node.getNumOperands();
    if (called.function != nullptr) {
        // A known function: a run calls it as it is now.
        switch (calleeFault(mChecker.function().getContext(), *called.function, operands)) {
        case CalleeFault::None:
        case CalleeFault::OtherContext: // reported at the reference
            break;
        case CalleeFault::NoSignature:
            mChecker.report(ErrorId::VerifyNotCallable, mHere,
                            name + " has no signature, so " + excerptOf(node) +
                                " cannot run; give it one with Function::setSignature.");
            return;
        case CalleeFault::OperandCount:
            mChecker.report(ErrorId::VerifyOperandCount, mHere,
                            excerptOf(node) + " passes " + counted(operands, "operand") + ", but " + name +
                                " takes " + counted(callee.inputs->getNumScopeItems(), "input") +
                                "; build the call again for its signature.");
            return;
        case CalleeFault::NoOutput:
            mChecker.report(ErrorId::VerifyNotCallable, mHere,
                            name + " has no output, so " + excerptOf(node) +
                                " has no value; give it an output, the last of which a call gives.");
            return;
        }
        out = valueOf(&lastOutputTypeOf(*called.function));
        if (!out.known) {
            mChecker.report(ErrorId::VerifyNotCallable, mHere,
                            "The last output of " + name + ", which " + excerptOf(node) +
                                " gives, is of a type no value has; give that output another type.");
            return;
        }
    } else {
        // A function value: what its signature promises, which every function stored as one keeps.
        if (callee.inputs == nullptr) {
            return;
        }
        if (callee.inputs->getNumScopeItems() != operands) {
            mChecker.report(ErrorId::VerifyOperandCount, mHere,
                            excerptOf(node) + " passes " + counted(operands, "operand") + ", but the signature of " +
                                name + " takes " + counted(callee.inputs->getNumScopeItems(), "input") +
                                "; build the call again for it.");
            return;
        }
        if (callee.outputs->isEmpty()) {
            mChecker.report(ErrorId::VerifyNotCallable, mHere,
                            "The signature of " + name + " has no output, so " + excerptOf(node) +
                                " has no value; give the signature an output.");
            return;
        }
        // The call's value takes the type of its own copy of the signature.
        out = valueOf(node.getGenericType());
        if (!out.known) {
            mChecker.report(ErrorId::VerifyNotCallable, mHere,
                            excerptOf(node) + " was built for a signature without an output of a type some value " +
                                "has; build the call again.");
            return;
        }
        Static const promised = valueOf(&typeOf(*callee.outputs, callee.outputs->getNumScopeItems() - 1));
        if (!promised.known || !FunctionChecker::fitsAlike(out, promised)) {
            mChecker.report(ErrorId::VerifyTypeMismatch, mHere,
                            excerptOf(node) + " was built for a signature whose last output is " +
                                shapeText(out.shape) + ", but " + name + " gives " + shapeText(promised.shape) +
                                " now; build the call again.");
            out = Static();
            return;
        }
    }
    if (!checkOperands(node, parts, callee, name)) {
        out = Static();
    }
}

void ExpressionChecker::visitCustom(CustomExpressionData const& node, Entry const*, Static& out)
{
    out = valueOf(node.getGenericType());
    if (!out.known) {
        mChecker.report(ErrorId::VerifyUntypedNode, mHere,
                        "The client node " + excerptOf(node) + " has " +
                            (out.type == nullptr ? "no type" : "a type no value has") +
                            "; its getCustomType() must give a builtin, matrix or signature type.");
    }
}

// -------------------------------------------------------------------------------------------------
// Declarations and statements.

bool FunctionChecker::isOwnScope(Scope const& scope) const
{
    for (unsigned long kind = 0; kind < FunctionScopeType::Count && mFunction.hasSignature(); ++kind) {
        if (&scope == &mFunction.getFunctionScope(static_cast<FunctionScopeType::Type>(kind))) {
            return true;
        }
    }
    return false;
}

Reach FunctionChecker::reachOf(ScopeItem const& item) const
{
    if (&item.getContext() != &mFunction.getContext()) {
        return Reach::OtherContext;
    }
    Function const* owner = item.getParentScope().resolveFunction();
    if (mFunction(item.getName()) != &item) {
        if (owner == &mFunction) {
            return isOwnScope(item.getParentScope()) ? Reach::Hidden : Reach::Replaced;
        }
        return owner != nullptr ? Reach::OtherFunction : Reach::Hidden;
    }
    // Found by name: a variable has storage when it is the function's own or a module's.
    bool const storage = item.getScopeItemType() != ScopeItemType::Variable || owner == &mFunction ||
                         isModuleVariable(static_cast<Variable const&>(item));
    return storage ? Reach::Usable : Reach::NoStorage;
}

Declared FunctionChecker::factsOf(ScopeItem const& item) const
{
    Declared facts;
    facts.found = true;
    facts.reach = reachOf(item);
    if (item.getScopeItemType() == ScopeItemType::Variable) {
        facts.value = valueOf(&static_cast<Variable const&>(item).getType());
    }
    return facts;
}

Declared const& FunctionChecker::declareNew(ScopeItem const& item)
{
    mDeclared.insert(&item, nullptr, factsOf(item));
    return *mDeclared.find(&item);
}

void FunctionChecker::checkDeclarations()
{
    static char const* const names[] = {"input", "output", "local"};
    for (unsigned long kind = 0; kind < FunctionScopeType::Count && mFunction.hasSignature(); ++kind) {
        Scope const& scope = mFunction.getFunctionScope(static_cast<FunctionScopeType::Type>(kind));
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            auto const* variable = dynamic_cast<Variable const*>(scope.getGenericScopeItem(i));
            Shape shape;
            if (variable != nullptr && !shapeOf(variable->getType(), shape)) {
                mOut.push_back(Diagnostic{ErrorId::VerifyNoValueType, functionPath() + "/" + indexed(names[kind], i),
                                          "The " + sxu::string(names[kind]) + " " + variable->asString() +
                                              " is of a type no value has (a matrix of matrices or of functions); "
                                              "give it a builtin, matrix or signature type."});
            }
        }
    }
}

std::size_t FunctionChecker::walk(ExpressionData const& root, char const* part)
{
    mPart = part;
    walkExpression(mExpressions, root);
    return mTop - 1;
}

Visit FunctionChecker::visitAssignment(AssignmentStatement const& statement)
{
    ExpressionData const* lhs = statement.getExpressionNode(AssignmentStatement::LHS);
    ExpressionData const* rhs = statement.getExpressionNode(AssignmentStatement::RHS);
    bool const storage = lhs != nullptr && storageOf(*lhs) != nullptr;
    if (!storage || rhs == nullptr) {
        reportSides(lhs, rhs);
    }
    mTop = 0;
    std::size_t const target = storage ? walk(*lhs, "lhs") : sNone;
    std::size_t const value = rhs != nullptr ? walk(*rhs, "rhs") : sNone;
    if (target != sNone && value != sNone && mEntries[target].value.known && mEntries[value].value.known &&
        !fitsAlike(mEntries[target].value, mEntries[value].value)) {
        reportStore(*lhs, *rhs, mEntries[target].value, mEntries[value].value);
    }
    return Visit::Skip;
}

void FunctionChecker::reportSides(ExpressionData const* lhs, ExpressionData const* rhs)
{
    static char const* const sides[] = {"left", "right"};
    static char const* const parts[] = {"lhs", "rhs"};
    for (unsigned long side = 0; side < 2; ++side) {
        if ((side == 0 ? lhs : rhs) == nullptr) {
            reportStatement(ErrorId::VerifyUnsetOperand, parts[side],
                            sxu::string("The ") + sides[side] +
                                " side of the assignment is not set; set it with "
                                "AssignmentStatement::setExpression.");
        }
    }
    if (lhs != nullptr && storageOf(*lhs) == nullptr) {
        reportStatement(ErrorId::VerifyNotAssignable, "lhs",
                        "Cannot assign to " + excerptOf(*lhs) + ": " + NotStorage(mFunction).visit(selectionBase(*lhs)) +
                            "; assign to an output or local of " + mFunction.getName() +
                            ", or to an element or range of one.");
    }
}

void FunctionChecker::reportStore(ExpressionData const& lhs, ExpressionData const& rhs, Static const& target,
                                  Static const& value)
{
    reportStatement(ErrorId::VerifyTypeMismatch, "rhs",
                    excerptOf(lhs) + " holds " + shapeText(target.shape) + ", but " + excerptOf(rhs) + " is " +
                        describe(value, target) + "; store " + wanted(target) + ".");
}

Visit FunctionChecker::visitIf(IfStatement const& statement)
{
    ExpressionData const& node = *statement.getExpressionNode(0);
    mTop = 0;
    Static const& condition = mEntries[walk(node, "condition")].value;
    if (condition.known && !condition.shape.isScalarNumber()) {
        reportStatement(ErrorId::VerifyTypeMismatch, "condition",
                        "The condition " + excerptOf(node) + " is " + shapeText(condition.shape) +
                            "; a condition is a scalar number, so compare, or select one element.");
    }
    return Visit::Enter;
}

Visit FunctionChecker::enterList(Statement const& owner, unsigned long position, Position& at, Position& nested)
{
    if (&owner.getStatementList(position) == mOpenList) {
        mOpenList = nullptr;
        mOut.push_back(Diagnostic{ErrorId::VerifyOpenIf, statementPath(at),
                                  "The if statement " + excerptOf(*owner.getExpressionNode(0)) +
                                      " that Function::If opened is still open; close it with End()."});
    }
    mLists.push_back(ListPlace{at.list, at.next, position == 0});
    nested = Position{mLists.size() - 1, 0};
    return Visit::Enter;
}

sxu::string const& FunctionChecker::functionPath()
{
    if (!mFunctionPath.empty()) {
        return mFunctionPath;
    }
    // The names of the enclosing modules (and functions, for an item misplaced in one), outermost first.
    sxu::vector<sxu::string const*> names;
    names.push_back(&mFunction.getName());
    for (Scope const* scope = &mFunction.getParentScope(); scope != nullptr;) {
        ScopeConfiguration const& configuration = scope->getScopeData().getConfiguration();
        if (auto const* module = dynamic_cast<ModuleScopeConfiguration const*>(&configuration)) {
            names.push_back(&module->getModule().getName());
            scope = configuration.getParentScope();
        } else if (Function const* function = configuration.resolveFunction()) {
            names.push_back(&function->getName());
            scope = &function->getParentScope();
        } else {
            scope = nullptr;
        }
    }
    for (std::size_t i = names.size(); i-- > 0;) {
        mFunctionPath += *names[i];
        mFunctionPath += i != 0 ? "/" : "";
    }
    return mFunctionPath;
}

sxu::string FunctionChecker::statementPath(Position const& position)
{
    sxu::vector<std::size_t> lists;
    for (std::size_t list = position.list; list != sNone; list = mLists[list].parent) {
        lists.push_back(list);
    }
    sxu::string path = functionPath();
    for (std::size_t i = lists.size(); i-- > 0;) {
        ListPlace const& place = mLists[lists[i]];
        char const* name = place.parent == sNone ? "body" : place.branch ? "if.true" : "if.false";
        path += "/" + indexed(name, i != 0 ? mLists[lists[i - 1]].owner : position.next);
    }
    return path;
}

sxu::string FunctionChecker::expressionPath(std::size_t entry)
{
    sxu::vector<sxu::string> parts;
    PartNames names;
    for (std::size_t at = entry; mEntries[at].parent != sNone; at = mEntries[at].parent) {
        std::size_t const parent = mEntries[at].parent;
        parts.push_back(names.visit(*mEntries[parent].node, at - parent - 1));
    }
    sxu::string path = statementPath(mStatement) + "/" + mPart;
    for (std::size_t i = parts.size(); i-- > 0;) {
        path += "/" + parts[i];
    }
    return path;
}

void FunctionChecker::run()
{
    for (unsigned long kind = 0; kind < FunctionScopeType::Count && mFunction.hasSignature(); ++kind) {
        mOwnScopes[kind] = &mFunction.getFunctionScope(static_cast<FunctionScopeType::Type>(kind));
        mOwn[kind].resize(mOwnScopes[kind]->getNumScopeItems());
    }
    checkDeclarations();
    CompoundStatement const& body = mFunction.getStatements();
    mOpenList = &mFunction.getCurrentStatements() != &body ? &mFunction.getCurrentStatements() : nullptr;
    mLists.push_back(ListPlace{sNone, 0, true});
    StatementWalker<FunctionChecker>::walkList(*this, body, Position{0, 0});
    if (mOpenList != nullptr) {
        mOut.push_back(Diagnostic{ErrorId::VerifyOpenIf, functionPath(),
                                  "Function::If left " + mFunction.getName() +
                                      " writing into a list that is not in its body; close it with End()."});
    }
}

/// The functions of a module and of the modules nested in it, in declaration order.
struct ModuleWalk {
    struct Frame {
        Scope const* scope;
        unsigned long next;
    };
    std::vector<Diagnostic>& out;

    Step step(Frame& frame, Frame& child)
    {
        while (frame.next < frame.scope->getNumScopeItems()) {
            ScopeItem const& item = *frame.scope->getGenericScopeItem(frame.next++);
            if (item.getScopeItemType() == ScopeItemType::Module) {
                child = Frame{&static_cast<Module const&>(item).getModuleScope(), 0};
                return Step::Descend;
            }
            if (item.getScopeItemType() == ScopeItemType::Function) {
                FunctionChecker(static_cast<Function const&>(item), out).run();
            }
        }
        return Step::Finish;
    }
};

} // namespace
} // namespace detail

std::vector<Diagnostic> Verifier::verify(Module const& module) const
{
    std::vector<Diagnostic> diagnostics;
    detail::ModuleWalk walk{diagnostics};
    detail::runWalk(walk, detail::ModuleWalk::Frame{&module.getModuleScope(), 0});
    return diagnostics;
}

std::vector<Diagnostic> Verifier::verify(Function const& function) const
{
    std::vector<Diagnostic> diagnostics;
    detail::FunctionChecker(function, diagnostics).run();
    return diagnostics;
}

} // namespace sxir
