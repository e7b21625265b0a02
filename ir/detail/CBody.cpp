// The C definition of one function: one pass over its body on the shared walks. Each statement
// becomes the C statements that compute it in the interpreter's order: calls, and the values that
// must be taken before a call can change them, go to temporaries first; the rest is one C
// expression per assignment or condition.
#include "ir/AssignmentStatement.hpp"
#include "ir/BuiltinType.hpp"
#include "ir/Context.hpp"
#include "ir/ErrorId.hpp"
#include "ir/Function.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/IfStatement.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/CallScanner.hpp"
#include "ir/detail/CEmission.hpp"
#include "ir/detail/NodeMemo.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/Shape.hpp"
#include "ir/detail/Walk.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <memory>
#include <unordered_map>

namespace sxir {
namespace detail {

namespace {

/// A C expression nests at most this deep and is about this long at most: a deeper or longer
/// part goes to a temporary first, so that any C compiler reads any expression.
constexpr unsigned sMaxNesting = 64;
constexpr std::size_t sMaxText = 2048;
/// Nested statements indent by four blanks each, down to this depth.
constexpr unsigned sMaxIndent = 16;

bool isRelation(OpId::Type op)
{
    return op >= OpId::LESS && op <= OpId::NOT_EQUAL;
}

/// The values a value of type `from` takes converted to operation type `to` (an integer type):
/// one interval, or two when a negative value wraps to a large unsigned one. A boolean_T holds
/// 0 or 1 when it is a truth value, any byte when it is a constant (or was stored from one).
struct Range {
    double low[2];
    double high[2];
    int intervals;
};

Range rangeIn(DataType from, bool truth, DataType to)
{
    static double const lows[] = {0, -2147483648.0, -2147483648.0, 0, -128};
    static double const highs[] = {255, 2147483647.0, 2147483647.0, 4294967295.0, 127};
    double const low = lows[from];
    double const high = truth ? 1 : highs[from];
    if (to == sxu::DataTypeId::Int32 && from == sxu::DataTypeId::UInt32) {
        return Range{{-2147483648.0, 0}, {2147483647.0, 0}, 1};
    }
    if (to == sxu::DataTypeId::UInt32 && low < 0) {
        return Range{{0, 4294967296.0 + low}, {high, 4294967295.0}, 2};
    }
    return Range{{low, 0}, {high, 0}, 1};
}

/// The value of relation `op` on x and y when it follows from the range of x alone, else -1.
int decidedRelation(OpId::Type op, Range const& x, double y)
{
    int decided = -2;
    for (int i = 0; i < x.intervals; ++i) {
        double const low = x.low[i];
        double const high = x.high[i];
        bool always = false;
        bool never = false;
        switch (op) {
        case OpId::LESS:
            always = high < y, never = low >= y;
            break;
        case OpId::GREATER:
            always = low > y, never = high <= y;
            break;
        case OpId::LESS_OR_EQUAL:
            always = high <= y, never = low > y;
            break;
        case OpId::GREATER_OR_EQUAL:
            always = low >= y, never = high < y;
            break;
        case OpId::EQUAL:
            never = y < low || y > high;
            break;
        default:
            always = y < low || y > high;
            break;
        }
        int const here = always ? 1 : never ? 0 : -1;
        decided = decided == -2 || decided == here ? here : -1;
    }
    return decided;
}

/// The relation with its operands swapped: x op y is y swapped(op) x.
OpId::Type swapped(OpId::Type op)
{
    switch (op) {
    case OpId::LESS:
        return OpId::GREATER;
    case OpId::GREATER:
        return OpId::LESS;
    case OpId::LESS_OR_EQUAL:
        return OpId::GREATER_OR_EQUAL;
    case OpId::GREATER_OR_EQUAL:
        return OpId::LESS_OR_EQUAL;
    default:
        return op;
    }
}

/// Text written piece by piece, most pieces a few bytes: appended inline into storage that only
/// grows, and reused from statement to statement.
class Text {
public:
    SXIR_ALWAYS_INLINE void append(char const* data, std::size_t length)
    {
        if (length > mCapacity - mSize) {
            grow(length);
        }
        char* const to = mStorage.get() + mSize;
        if (length <= 16) {
            // Small pieces move by two overlapping fixed-size copies instead of a call.
            if (length >= 8) {
                std::memcpy(to, data, 8);
                std::memcpy(to + length - 8, data + length - 8, 8);
            } else if (length >= 4) {
                std::memcpy(to, data, 4);
                std::memcpy(to + length - 4, data + length - 4, 4);
            } else {
                for (std::size_t i = 0; i < length; ++i) {
                    to[i] = data[i];
                }
            }
        } else {
            std::memcpy(to, data, length);
        }
        mSize += length;
    }
    SXIR_ALWAYS_INLINE void append(std::string_view text) { append(text.data(), text.size()); }
    SXIR_ALWAYS_INLINE Text& operator+=(std::string_view text)
    {
        append(text.data(), text.size());
        return *this;
    }
    SXIR_ALWAYS_INLINE Text& operator+=(char c)
    {
        append(&c, 1);
        return *this;
    }
    Text& operator=(std::string_view text)
    {
        mSize = 0;
        return *this += text;
    }
    /// Appends `value` in decimal.
    void appendNumber(unsigned long value)
    {
        char buffer[24];
        append(buffer, static_cast<std::size_t>(std::to_chars(buffer, buffer + sizeof buffer, value).ptr - buffer));
    }
    std::size_t size() const { return mSize; }
    bool empty() const { return mSize == 0; }
    void clear() { mSize = 0; }
    /// Keeps the first `size` characters.
    void truncate(std::size_t size) { mSize = size; }
    std::string_view view() const { return std::string_view(mStorage.get(), mSize); }
    operator std::string_view() const { return view(); }
    char operator[](std::size_t position) const { return mStorage.get()[position]; }

private:
    void grow(std::size_t length)
    {
        // Not a string's resize, which would first fill what is about to be written; and realloc,
        // which moves a large block by remapping its pages rather than copying them.
        std::size_t const capacity = std::max(2 * mCapacity + 64, mSize + length);
        void* const storage = std::realloc(mStorage.get(), capacity);
        if (storage == nullptr) {
            throw std::bad_alloc();
        }
        static_cast<void>(mStorage.release());
        mStorage.reset(static_cast<char*>(storage));
        mCapacity = capacity;
    }

    struct Free {
        void operator()(char* storage) const { std::free(storage); }
    };
    std::unique_ptr<char, Free> mStorage;
    std::size_t mSize = 0;
    std::size_t mCapacity = 0;
};

/// C text with placeholders, cut once around them: text = pieces[0] $0 pieces[1] $1 pieces[2].
struct Cut {
    std::string_view pieces[3];
    bool identity; ///< just "$0"
};

Cut cut(std::string const& text)
{
    Cut result{{}, text == "$0"};
    std::size_t start = 0;
    int piece = 0;
    for (std::size_t at = text.find('$'); at != std::string::npos && piece < 2; at = text.find('$', start)) {
        result.pieces[piece++] = std::string_view(text).substr(start, at - start);
        start = at + 2;
    }
    result.pieces[piece] = std::string_view(text).substr(start);
    return result;
}

/// The text of operation `op` in operation type `type`, cut.
Cut const& operationCut(OpId::Type op, DataType type)
{
    static std::vector<Cut> const cuts = [] {
        std::vector<Cut> table;
        for (unsigned long i = 0; i < OpId::Count; ++i) {
            for (unsigned long t = 0; t < sxu::DataTypeId::Count; ++t) {
                table.push_back(cut(cOperation(static_cast<OpId::Type>(i), static_cast<DataType>(t)).text));
            }
        }
        return table;
    }();
    return cuts[op * sxu::DataTypeId::Count + type];
}

/// The texts of the operations on reals, cut, by operation.
Cut const* realCuts()
{
    static std::vector<Cut> const cuts = [] {
        std::vector<Cut> table;
        for (unsigned long i = 0; i < OpId::Count; ++i) {
            table.push_back(operationCut(static_cast<OpId::Type>(i), sxu::DataTypeId::Real));
        }
        return table;
    }();
    return cuts.data();
}

/// The conversion from `from` to `to`, cut.
Cut const& conversionCut(DataType from, DataType to)
{
    static std::vector<Cut> const cuts = [] {
        std::vector<Cut> table;
        for (unsigned long f = 0; f < sxu::DataTypeId::Count; ++f) {
            for (unsigned long t = 0; t < sxu::DataTypeId::Count; ++t) {
                table.push_back(cut(cConversion(static_cast<DataType>(f), static_cast<DataType>(t)).text));
            }
        }
        return table;
    }();
    return cuts[from * sxu::DataTypeId::Count + to];
}

/// A variable the function uses: a parameter, a local, or a module variable.
struct VariableInfo {
    enum Role : unsigned char { Input, Output, Local, Module };
    std::string name;
    CShape shape;
    Role role;
    unsigned item = 0; ///< Module: its source item
    bool read = false;
    /// Output: whether it must be zeroed when the function starts; a first statement that
    /// writes it whole, before anything reads it, decides that it need not.
    enum Zeroing : unsigned char { Open, Zeroed, Written } zeroing = Open;
};

/// An evaluated expression: its form, where its C text is, and what its node's sharing needs.
struct CValue {
    enum Kind : unsigned char { Failed, Scalar, Array, Function };
    Kind kind = Failed;
    DataType type = sxu::DataTypeId::Boolean;
    unsigned long rows = 1;
    unsigned long columns = 1;
    unsigned long offset = 0;   ///< Array: its first element in the storage its text names
    std::size_t start = 0;      ///< its text on the text stack: an expression, or an array's storage
    unsigned nesting = 0;       ///< how deep its text nests
    unsigned key = 0;           ///< Function: the C type
    unsigned function = ~0u;    ///< Function: the item of the function a reference names
    unsigned storage = 0;       ///< Array: the variable (index + 1) whose storage it is, or 0
    bool constant = false;      ///< a constant scalar, whose value is `value`
    double value = 0.0;
    bool addressable = false;   ///< Scalar: its text is storage
    bool truth = false;         ///< the value of a relation or logical operation: 0 or 1
    bool holdsCall = false;
    bool readsModule = false;
    char const* failure = nullptr; ///< Failed: what a run that reaches it reports

    unsigned long count() const { return kind == Array ? rows * columns : 1; }
    bool isNumber() const { return kind == Scalar || kind == Array; }
    CShape form() const
    {
        CShape shape;
        shape.kind = kind == Scalar ? CShape::Scalar : kind == Array ? CShape::Array : CShape::Function;
        shape.type = type;
        shape.rows = rows;
        shape.columns = columns;
        shape.key = kind == Function ? key : 0;
        return shape;
    }
};

CValue failed(char const* id)
{
    CValue value;
    value.failure = id;
    return value;
}

/// Where a statement's writing started, to go back there.
struct Mark {
    std::size_t output;
    std::size_t uses;
    std::size_t reads;
    std::size_t temporaries;
    unsigned long counter;
    unsigned long subroutines;
};

/// A shared node that holds a call, in the statement being written: its code is written at its
/// first use, where it runs in place, and a later use jumps back into it.
struct Subroutine {
    unsigned long uses = 1;
    bool nested = false; ///< its code is inside the code of another
    /// What names its labels and the variable that says which use to go back to, given at its
    /// second use: one used once needs none.
    unsigned long number = 0;
};

/// A temporary's declaration in the text of a statement that holds a call: the object declared,
/// `length` characters from `at`, ending with its name; and whether the line initializes it.
struct Declaration {
    std::size_t at;
    std::size_t length;
    std::size_t name;
    bool array;
    bool initialized;
};

/// Where a subroutine's code starts or ends in the statement's text: what enters it and what
/// goes back to the use that entered it are written there once the statement is complete and
/// every use is known.
struct Splice {
    std::size_t at;
    unsigned subroutine;
    bool start;
};

class BodyEmitter;

/// The expression pass: evaluates in the interpreter's order, each node's value computed from
/// its operands' when it is left.
class ExpressionEmitter : public ExpressionKindVisitor<ExpressionEmitter, CValue> {
public:
    explicit ExpressionEmitter(BodyEmitter& body) : mBody(body) {}

    unsigned long enter(ExpressionData const* node, Children const& children);
    void next(ExpressionData const&, Children const&, unsigned long) {}
    bool leave(ExpressionData const& node, Children const& children);

    CValue visitConstant(Constant const& node, CValue const* operands);
    CValue visitVariableRef(VariableRef const& node, CValue const* operands);
    CValue visitFunctionRef(FunctionRef const& node, CValue const* operands);
    CValue visitOperator(Operator const& node, CValue const* operands);
    CValue visitMatrixRef(MatrixRef const& node, CValue const* operands);
    CValue visitSubMatrix(SubMatrix const& node, CValue const* operands);
    CValue visitFunctionCall(FunctionCall const& node, CValue const* operands);
    CValue visitCustom(CustomExpressionData const& node, CValue const* operands);

private:
    BodyEmitter& mBody;
};

/// Writes one function's definition.
class BodyEmitter : public StatementKindVisitor<BodyEmitter, Visit> {
public:
    using Data = unsigned; ///< the depth of the statement list

    BodyEmitter(CSource& source, Function const& function, std::vector<CParameter> const& parameters,
                CNameTable& names);

    /// Appends the definition under the C name `name` to `text`.
    void definition(std::string const& name, std::string& text);

    // The statement walk.
    Visit enterStatement(Statement const& statement, unsigned& depth)
    {
        mDepth = depth;
        return visit(statement, depth);
    }
    Visit visitAssignment(AssignmentStatement const& statement, unsigned depth);
    Visit visitIf(IfStatement const& statement, unsigned depth);
    Visit enterList(Statement const& owner, unsigned long position, unsigned& depth, unsigned& nested);
    void leaveList(Statement const&, unsigned long, unsigned&) {}
    bool leaveStatement(Statement const& statement, unsigned& depth);

    // What the expression pass asks.
    CSource& source() { return mSource; }
    CNameTable const& names() const { return mNames; }
    Text& body() { return mOut; }
    void noteHelperCall(bool may) { mMayCallHelpers = mMayCallHelpers || may; }
    Function const& function() const { return mFunction; }
    bool holdsCall() const { return mHoldsCall; }
    void restart() { mRestart = true; }
    std::vector<CValue>& values() { return mValues; }
    Text& scratch() { return mScratch; }
    /// The text of value `index` of the stack.
    std::string_view valueText(std::size_t index) const
    {
        std::size_t const end = index + 1 < mValues.size() ? mValues[index + 1].start : mText.size();
        return mText.view().substr(mValues[index].start, end - mValues[index].start);
    }
    /// The variable `variable` as this function reaches it, or null when it cannot.
    VariableInfo* variable(Variable const& variable, unsigned& index);
    /// Pushes `value`, whose text is `text`.
    void push(CValue const& value, std::string_view text);
    /// Replaces the values from `first` on by `value`, whose text is in the scratch.
    void replace(std::size_t first, CValue const& value);
    /// The top value, a scalar or function, computed into a temporary now.
    void materialize();
    /// The top value copied into a temporary now (an array's elements too).
    void capture();
    std::string temporary(std::string_view stem);
    /// Writes the declaration of temporary `name`, of form `form`, with `initializer` unless it is empty.
    void declare(CShape const& form, std::string const& name, std::string_view initializer);
    void line(std::string_view text);
    void noteUse(unsigned item) { mUses.push_back(item); }
    void noteRead(unsigned variable)
    {
        // A variable read once stays read: only a first read needs keeping until the statement commits.
        if (!mVariables[variable].read) {
            mReads.push_back(variable);
        }
    }
    void noteStringFunctions() { mStringFunctions = true; }
    ExpressionData const* memoKey(ExpressionData const& node, Children const& children) const
    {
        return isSharedInner(node, children.count) ? &node : nullptr;
    }
    struct Memo {
        CValue value;
        std::string text;
        unsigned subroutine; ///< the subroutine whose value it is, or sNoSubroutine
    };
    static constexpr unsigned sNoSubroutine = ~0u;
    Memo* findShared(ExpressionData const& node)
    {
        if (mShared.empty()) {
            return nullptr;
        }
        auto const found = mShared.find(&node);
        return found != mShared.end() ? &found->second : nullptr;
    }
    void keepShared(ExpressionData const& node)
    {
        mShared[&node] = Memo{mValues.back(), std::string(valueText(mValues.size() - 1)), sNoSubroutine};
        if (mHoldsCall && mValues.back().readsModule) {
            mModuleReaders.push_back(&node);
        }
    }
    /// A call is written: the shared nodes that read module variables are computed again at their next use.
    void forgetModuleReads()
    {
        for (ExpressionData const* node : mModuleReaders) {
            mShared.erase(node);
        }
        mModuleReaders.clear();
    }
    /// Whether `node`, a shared inner node of a statement that holds a call, holds one itself.
    bool sharedHoldsCall(ExpressionData const& node) { return CallScanner(mCallHolders).holdsCall(node); }
    /// The code of `node`, a shared node that holds a call, starts here.
    void openSubroutine(ExpressionData const& node);
    /// Whether `node` is the node whose code is being written.
    bool closesSubroutine(ExpressionData const& node) const
    {
        return !mOpenSubroutines.empty() && mOpenSubroutines.back().node == &node;
    }
    /// The code of the open subroutine ends with the top value: kept for the later uses, and
    /// copied for this one.
    void closeSubroutine(ExpressionData const& node);
    /// A later use of the subroutine `known` keeps: its code runs again, and its value is copied.
    void runSubroutineAgain(Memo const& known);

    // Texts of values (`text` is the value's text); none of these changes the stack.
    /// A one-element value read as a scalar of its own type.
    template <class Out>
    void appendScalar(Out& out, CValue const& value, std::string_view text);
    /// The same converted to `type` (a constant is converted now).
    template <class Out>
    void appendConverted(Out& out, CValue const& value, std::string_view text, DataType type);
    /// A pointer to the first element of an array value.
    template <class Out>
    void appendPointer(Out& out, CValue const& value, std::string_view text);
    /// A value passed for a parameter of form `form`: its text, or a temporary filled from it.
    template <class Out>
    void appendArgument(Out& out, CValue const& value, std::string_view text, CShape const& form,
                        std::string_view stem);
    /// A function value as a function of type `key`.
    template <class Out>
    void appendFunctionAs(Out& out, CValue const& value, std::string_view text, unsigned key);
    /// Stack value `index` read as a scalar, or converted, as the two above.
    template <class Out>
    void appendScalar(Out& out, std::size_t index) { appendScalar(out, mValues[index], valueText(index)); }
    template <class Out>
    void appendConverted(Out& out, std::size_t index, DataType type)
    {
        appendConverted(out, mValues[index], valueText(index), type);
    }
    /// Writes `count` elements from `from` (type `fromType`) to `to` (type `toType`): a copy or a loop.
    void copyElements(std::string const& to, DataType toType, std::string const& from, DataType fromType,
                      unsigned long count, bool mayOverlap);

private:
    /// Evaluates `node`, pushing its value; false when the walk stopped to start again.
    bool evaluate(ExpressionData const& node);
    Mark mark() const
    {
        return Mark{mOut.size(), mUses.size(), mReads.size(), mTemporaries.size(), mCounter, mSubroutineCounter};
    }
    void rollBack(Mark const& mark);
    void beginStatement();
    /// Writes into the complete statement what runs the code of each subroutine used more than once
    /// again: before the code, the variable that says which use entered it and the label the later
    /// uses jump to; after it, the jump back to the use.
    void spliceSubroutines();
    void commit();
    /// Writes the comment that stands for statement text `what`, which a run cannot complete.
    void notEmitted(std::string const& what, char const* id);
    /// Evaluates the statement's expressions and writes it; false when a run cannot complete it.
    bool writeAssignment(AssignmentStatement const& statement, char const*& failure);
    /// The statement written the direct way, when it is real arithmetic stored in a real scalar.
    bool writeDirectly(AssignmentStatement const& statement);
    bool writeCondition(IfStatement const& statement, char const*& failure);
    void trackOutputs(AssignmentStatement const& statement, bool emitted);

    CSource& mSource;
    Function const& mFunction;
    std::vector<CParameter> const& mParameters;
    CNameTable& mNames;
    std::vector<VariableInfo> mVariables;
    NodeMemo<unsigned> mVariableIndex; ///< by variable, its index in mVariables
    struct CachedVariable {
        Variable const* variable;
        unsigned index;
    };
    CachedVariable mCache[64] = {};
    Text mOut;
    std::string mIndent;
    unsigned mDepth = 0;
    // The statement being written.
    std::vector<CValue> mValues;
    Text mText;
    Text mScratch;
    // Kept from statement to statement, so that they allocate once.
    std::vector<ExpressionData const*> mChain;
    Text mStorage;
    Text mStored;
    std::unordered_map<ExpressionData const*, Memo> mShared;
    std::vector<ExpressionData const*> mModuleReaders; ///< the shared nodes kept that read module variables
    NodeMemo<bool> mCallHolders; ///< whether each shared inner node of the function holds a call
    std::vector<Subroutine> mSubroutines;
    std::vector<Splice> mSplices; ///< in the order of the text
    std::vector<Declaration> mDeclarations; ///< in the order of the text
    struct OpenSubroutine {
        ExpressionData const* node;
        unsigned subroutine;
    };
    std::vector<OpenSubroutine> mOpenSubroutines; ///< innermost last
    unsigned long mSubroutineCounter = 0;
    Text mUnspliced;
    bool mHoldsCall = false;
    bool mRestart = false;
    std::vector<unsigned> mUses;
    std::vector<unsigned> mReads;
    std::vector<std::string> mTemporaries;
    std::size_t mStatementStart = 0; ///< where the statement's text starts in the body
    /// The statement's text may call a helper: the direct way writes one only for an elementary function.
    bool mMayCallHelpers = true;
    bool mStringFunctions = false;
    unsigned long mCounter = 1;
    bool mTopLevelOpen = true;
    unsigned long mOpenOutputs = 0; ///< outputs whose zeroing is still undecided
};

// ---------------------------------------------------------------------------------------------
// The stack of values and their texts.

void BodyEmitter::push(CValue const& value, std::string_view text)
{
    mValues.push_back(value);
    mValues.back().start = mText.size();
    mText.append(text);
}

void BodyEmitter::replace(std::size_t first, CValue const& value)
{
    std::size_t const start = first < mValues.size() ? mValues[first].start : mText.size();
    mText.truncate(start);
    mValues.resize(first);
    push(value, mScratch);
}

std::string BodyEmitter::temporary(std::string_view stem)
{
    std::string name = stem.empty() ? mNames.claimNumbered("t", mCounter) : mNames.claim(stem);
    mTemporaries.push_back(name);
    return name;
}

void BodyEmitter::line(std::string_view text)
{
    mOut += mIndent;
    mOut += text;
    mOut += '\n';
}

void BodyEmitter::declare(CShape const& form, std::string const& name, std::string_view initializer)
{
    std::string const object = mSource.signatures().object(form, name);
    if (mHoldsCall) {
        mDeclarations.push_back(Declaration{mOut.size() + mIndent.size(), object.size(), name.size(),
                                            form.kind == CShape::Array, !initializer.empty()});
    }
    mOut += mIndent;
    mOut += object;
    if (!initializer.empty()) {
        mOut += std::string_view(" = ", 3);
        mOut += initializer;
    }
    mOut += std::string_view(";\n", 2);
}

void BodyEmitter::materialize()
{
    CValue value = mValues.back();
    std::string const name = temporary("");
    declare(value.form(), name, valueText(mValues.size() - 1));
    value.nesting = 0;
    value.constant = false;
    value.addressable = true;
    value.function = ~0u;
    mScratch = name;
    replace(mValues.size() - 1, value);
}

void BodyEmitter::capture()
{
    CValue value = mValues.back();
    if (value.kind != CValue::Array) {
        materialize();
        return;
    }
    std::string const name = temporary("");
    declare(value.form(), name, {});
    std::string source;
    appendPointer(source, value, valueText(mValues.size() - 1));
    copyElements(name, value.type, source, value.type, value.count(), false);
    value.offset = 0;
    value.storage = 0;
    mScratch = name;
    replace(mValues.size() - 1, value);
}

template <class Out>
void BodyEmitter::appendScalar(Out& out, CValue const& value, std::string_view text)
{
    out += text;
    if (value.kind == CValue::Array) {
        if (value.storage != 0) {
            noteRead(value.storage - 1);
        }
        out += '[';
        out += std::to_string(value.offset);
        out += ']';
    }
}

template <class Out>
void BodyEmitter::appendConverted(Out& out, CValue const& value, std::string_view text, DataType type)
{
    if (value.constant) {
        CFragment const constant = cConstant(type, convertElement(value.value, value.type, type));
        out += constant.text;
        return;
    }
    Cut const& conversion = conversionCut(value.type, type);
    if (conversion.identity) {
        appendScalar(out, value, text);
        return;
    }
    out += conversion.pieces[0];
    appendScalar(out, value, text);
    out += conversion.pieces[1];
}

template <class Out>
void BodyEmitter::appendPointer(Out& out, CValue const& value, std::string_view text)
{
    if (value.storage != 0) {
        noteRead(value.storage - 1);
    }
    out += text;
    if (value.offset != 0) {
        out += " + ";
        out += std::to_string(value.offset);
    }
}

template <class Out>
void BodyEmitter::appendFunctionAs(Out& out, CValue const& value, std::string_view text, unsigned key)
{
    if (value.key == key) {
        out += text;
    } else if (value.key == 0) {
        out += '0'; // no C function: a call through it is an error of the run
    } else if (value.function != ~0u) {
        unsigned const item = mSource.functionAs(value.function, key);
        noteUse(item);
        out += mSource.item(item).name;
    } else {
        unsigned const item = mSource.cast(value.key, key);
        noteUse(item);
        out += mSource.item(item).name;
        out += '(';
        out += text;
        out += ')';
    }
}

void BodyEmitter::copyElements(std::string const& to, DataType toType, std::string const& from, DataType fromType,
                               unsigned long count, bool mayOverlap)
{
    if (count == 0) {
        // Nothing to copy: the texts are still read, as every text written is.
        line("(void)(" + to + "); (void)(" + from + "); /* no elements */");
        return;
    }
    if (toType == fromType && to == from) {
        line("(void)(" + to + "); /* " + to + " = " + to + ": it keeps what it holds */");
        return;
    }
    if (toType == fromType) {
        noteStringFunctions();
        line(std::string(mayOverlap ? "memmove(" : "memcpy(") + to + ", " + from + ", " + std::to_string(count) +
             " * sizeof(" + cTypeName(toType) + "));");
        return;
    }
    CFragment const& conversion = cConversion(fromType, toType);
    std::string text = "for (unsigned long sxir_k = 0; sxir_k < " + std::to_string(count) + "; ++sxir_k) {\n" +
                       mIndent + "    (" + to + ")[sxir_k] = ";
    cExpand(text, conversion.text, "(" + from + ")[sxir_k]");
    text += ";\n" + mIndent + "}";
    line(text);
}

template <class Out>
void BodyEmitter::appendArgument(Out& out, CValue const& value, std::string_view text, CShape const& form,
                                 std::string_view stem)
{
    switch (form.kind) {
    case CShape::None:
        out += '0';
        return;
    case CShape::Scalar:
        appendConverted(out, value, text, form.type);
        return;
    case CShape::Function:
        appendFunctionAs(out, value, text, form.key);
        return;
    case CShape::Array:
        break;
    }
    if (form.count() == 0) {
        // No element to read: any pointer does; the operand's text is still read, as every text is.
        if (!text.empty() && text != "0") {
            if (value.storage != 0) {
                noteRead(value.storage - 1);
            }
            line("(void)(" + std::string(text) + ");");
        }
        out += '0';
        return;
    }
    if (value.kind == CValue::Array && value.type == form.type) {
        appendPointer(out, value, text);
        return;
    }
    if (value.kind == CValue::Scalar && value.addressable && value.type == form.type) {
        if (text[0] == '*') {
            out += text.substr(1);
        } else {
            out += '&';
            out += text;
        }
        return;
    }
    // Another type, or a value that is no storage: a temporary of the input's form.
    std::string const name = temporary(stem);
    if (value.kind == CValue::Scalar) {
        // A scalar of the input's element type: its address is that of the input's one element.
        std::string element;
        appendConverted(element, value, text, form.type);
        CShape scalar;
        scalar.kind = CShape::Scalar;
        scalar.type = form.type;
        declare(scalar, name, element);
        out += '&';
        out += name;
        return;
    }
    declare(form, name, {});
    std::string source;
    appendPointer(source, value, text);
    copyElements(name, form.type, source, value.type, form.count(), false);
    out += name;
}

// ---------------------------------------------------------------------------------------------
// Variables.

BodyEmitter::BodyEmitter(CSource& source, Function const& function, std::vector<CParameter> const& parameters,
                         CNameTable& names)
    : mSource(source), mFunction(function), mParameters(parameters), mNames(names)
{
    // Parameters in order, then the locals, each under a name of the function's own.
    unsigned long position = 0;
    for (auto const kind : {FunctionScopeType::Input, FunctionScopeType::Output, FunctionScopeType::Local}) {
        Scope const& scope = function.getFunctionScope(kind);
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            auto const* variable = dynamic_cast<Variable const*>(scope.getGenericScopeItem(i));
            if (variable == nullptr) {
                continue;
            }
            VariableInfo info;
            if (kind == FunctionScopeType::Local) {
                info.shape = source.signatures().shapeOf(variable->getType());
                info.name = names.claim(variable->getName());
                info.role = VariableInfo::Local;
            } else {
                CParameter const& parameter = parameters[position++];
                info.shape = parameter.shape;
                info.name = parameter.name;
                info.role = parameter.output ? VariableInfo::Output : VariableInfo::Input;
                mOpenOutputs += parameter.output ? 1 : 0;
            }
            mVariableIndex.insert(variable, nullptr, static_cast<unsigned>(mVariables.size()));
            mVariables.push_back(std::move(info));
        }
    }
}

VariableInfo* BodyEmitter::variable(Variable const& variable, unsigned& index)
{
    // Most reads are of a few variables again and again: a direct-mapped cache goes before the index.
    CachedVariable& cached = mCache[(reinterpret_cast<std::uintptr_t>(&variable) >> 4) % std::size(mCache)];
    if (cached.variable == &variable) {
        index = cached.index;
        return &mVariables[index];
    }
    if (unsigned const* found = mVariableIndex.find(&variable)) {
        index = *found;
        cached = CachedVariable{&variable, index};
        return &mVariables[index];
    }
    if (!isModuleVariable(variable)) {
        return nullptr;
    }
    VariableInfo info;
    info.item = mSource.variableItem(variable, &mNames);
    info.name = mSource.item(info.item).name;
    info.shape = mSource.item(info.item).shape;
    info.role = VariableInfo::Module;
    index = static_cast<unsigned>(mVariables.size());
    mVariableIndex.insert(&variable, nullptr, index);
    mVariables.push_back(std::move(info));
    return &mVariables.back();
}

// ---------------------------------------------------------------------------------------------
// Real arithmetic on scalars: written as it is walked.

/// The bulk of generated numerical code is real arithmetic on scalar variables and constants:
/// such a right side needs no temporary, conversion or check, and is written in one walk, in
/// the order of its text, straight into the body. Anything else ends the walk, and the
/// statement takes the general way, which writes the same text.
class DirectWriter {
public:
    explicit DirectWriter(BodyEmitter& body) : mBody(body), mCuts(realCuts()) {}

    unsigned long enter(ExpressionData const* node, Children const& children);
    void next(ExpressionData const& node, Children const& children, unsigned long done)
    {
        mBody.body() += mCuts[static_cast<Operator const&>(node).getOp()].pieces[done];
        static_cast<void>(children);
    }
    bool leave(ExpressionData const&, Children const&)
    {
        --mDepth;
        return true;
    }

private:
    BodyEmitter& mBody;
    Cut const* mCuts;
    unsigned mDepth = 0;
};

// ---------------------------------------------------------------------------------------------
// Expressions.

unsigned long DirectWriter::enter(ExpressionData const* node, Children const& children)
{
    if (node == nullptr) {
        return sStopWalk;
    }
    Text& out = mBody.body();
    switch (children.kind) {
    case ExpressionDataType::VariableRef: {
        unsigned index = 0;
        VariableInfo const* info = mBody.variable(static_cast<VariableRef const&>(*node).getVariable(), index);
        if (info == nullptr || info->shape.kind != CShape::Scalar || info->shape.type != sxu::DataTypeId::Real) {
            return sStopWalk;
        }
        if (info->role == VariableInfo::Module) {
            mBody.noteUse(info->item);
        } else {
            mBody.noteRead(index);
        }
        if (info->role == VariableInfo::Output) {
            out += '*';
        }
        out += info->name;
        return 0;
    }
    case ExpressionDataType::Constant: {
        auto const& constant = static_cast<Constant const&>(*node);
        if (constant.getType() == nullptr || constant.getType()->getType() != sxu::DataTypeId::Real) {
            return sStopWalk;
        }
        // A client's own constant class has no value here: the general way gives it one.
        bool const scalar = NodeAccess::forScalar(constant, [this, &out](auto const& value) {
            CFragment const text = cConstant(sxu::DataTypeId::Real, static_cast<double>(std::get<0>(value.fields())));
            mBody.noteHelperCall(text.helpers != 0); // a NaN keeps its bits through a helper
            out += text.text;
        });
        return scalar ? 0 : sStopWalk;
    }
    case ExpressionDataType::Operator: {
        // Real operands give real values, but for relations and logical operations; operations on
        // constants alone are computed now, and shared nodes go to temporaries: the general way.
        OpId::Type const op = static_cast<Operator const&>(*node).getOp();
        bool constants = true;
        for (unsigned long i = 0; i < children.count; ++i) {
            constants = constants && children[i]->getExpressionDataType() == ExpressionDataType::Constant;
        }
        bool const real = op == OpId::UNARY_MINUS || (op >= OpId::ADD && op <= OpId::DIVISION) || op >= OpId::SQRT;
        if (!real || constants || isSharedInner(*node, children.count) || ++mDepth > sMaxNesting) {
            return sStopWalk;
        }
        // Only the elementary functions call helpers (sxir_opaque, sxir_sign).
        mBody.noteHelperCall(op >= OpId::SQRT);
        out += mCuts[op].pieces[0];
        return children.count;
    }
    default:
        return sStopWalk;
    }
}

unsigned long ExpressionEmitter::enter(ExpressionData const* node, Children const& children)
{
    if (node == nullptr) {
        mBody.push(failed(ErrorId::EvalUnsetOperand), {});
        return 0;
    }
    ExpressionData const* const key = mBody.memoKey(*node, children);
    if (key != nullptr) {
        if (BodyEmitter::Memo const* known = mBody.findShared(*key)) {
            if (known->subroutine != BodyEmitter::sNoSubroutine) {
                mBody.runSubroutineAgain(*known);
            } else {
                mBody.push(known->value, known->text);
            }
            return 0;
        }
    }
    if (children.kind == ExpressionDataType::FunctionCall && !mBody.holdsCall()) {
        // Reads of module variables before this call must be taken first: write the statement again.
        mBody.restart();
        return sStopWalk;
    }
    if (children.count == 0 || children.kind == ExpressionDataType::Custom) {
        mBody.scratch().clear();
        CValue const value = visitKind(children.kind, *node, nullptr);
        mBody.push(value, mBody.scratch());
        if (value.readsModule && mBody.holdsCall()) {
            // A later call of the statement may change the module variable: take its value now.
            mBody.capture();
        }
        return 0;
    }
    if (key != nullptr && mBody.holdsCall() && mBody.sharedHoldsCall(*node)) {
        mBody.openSubroutine(*node);
    }
    return children.count;
}

bool ExpressionEmitter::leave(ExpressionData const& node, Children const& children)
{
    std::vector<CValue>& values = mBody.values();
    std::size_t const first = values.size() - children.count;
    CValue value;
    bool holdsCall = false;
    bool readsModule = false;
    char const* failure = nullptr;
    for (std::size_t i = first; i < values.size(); ++i) {
        holdsCall = holdsCall || values[i].holdsCall;
        readsModule = readsModule || values[i].readsModule;
        if (failure == nullptr && values[i].kind == CValue::Failed) {
            failure = values[i].failure;
        }
    }
    mBody.scratch().clear();
    value = failure != nullptr ? failed(failure) : visitKind(children.kind, node, &values[first]);
    value.holdsCall = value.holdsCall || holdsCall;
    value.readsModule = value.readsModule || readsModule;
    mBody.replace(first, value);
    if (mBody.closesSubroutine(node)) {
        mBody.closeSubroutine(node);
        return true;
    }
    CValue const& result = values.back();
    bool const expression = result.kind == CValue::Scalar || result.kind == CValue::Function;
    bool const shared = mBody.memoKey(node, children) != nullptr;
    // A shared node is computed once when nothing between its uses can change it: a node without
    // calls, up to the statement's next call where it reads module variables.
    bool const transparent = !mBody.holdsCall() || !result.holdsCall;
    bool const large = result.nesting > sMaxNesting || mBody.valueText(values.size() - 1).size() > sMaxText;
    if (expression && !result.constant && ((shared && transparent) || large)) {
        mBody.materialize();
    }
    if (shared && transparent && result.kind != CValue::Failed) {
        mBody.keepShared(node);
    }
    return true;
}

CValue ExpressionEmitter::visitConstant(Constant const& node, CValue const*)
{
    CValue value;
    if (node.getType() == nullptr) {
        return failed(ErrorId::EvalNotEvaluable);
    }
    value.value = constantElement(node);
    value.kind = CValue::Scalar;
    value.type = node.getType()->getType();
    value.constant = true;
    CFragment const constant = cConstant(value.type, value.value);
    mBody.scratch() = constant.text;
    return value;
}

CValue ExpressionEmitter::visitVariableRef(VariableRef const& node, CValue const*)
{
    unsigned index = 0;
    VariableInfo* info = mBody.variable(node.getVariable(), index);
    if (info == nullptr || info->shape.kind == CShape::None) {
        return failed(ErrorId::EvalNotEvaluable);
    }
    CValue value;
    value.type = info->shape.type;
    value.rows = info->shape.rows;
    value.columns = info->shape.columns;
    value.key = info->shape.key;
    bool const module = info->role == VariableInfo::Module;
    bool const indirect = info->role == VariableInfo::Output && info->shape.kind != CShape::Array;
    Text& text = mBody.scratch();
    if (module) {
        value.readsModule = true;
        mBody.noteUse(info->item);
    }
    bool const function = info->shape.kind == CShape::Function;
    text += indirect ? (function ? "(*" : "*") : "";
    text += info->name;
    text += indirect && function ? ")" : "";
    switch (info->shape.kind) {
    case CShape::Scalar:
        value.kind = CValue::Scalar;
        value.addressable = true;
        break;
    case CShape::Function:
        value.kind = CValue::Function;
        break;
    default:
        value.kind = CValue::Array;
        value.storage = module ? 0 : index + 1;
        break;
    }
    if (value.kind != CValue::Array && !module) {
        mBody.noteRead(index);
    }
    return value;
}

CValue ExpressionEmitter::visitFunctionRef(FunctionRef const& node, CValue const*)
{
    CValue value;
    value.kind = CValue::Function;
    unsigned const item = mBody.source().functionItem(node.getFunction(), &mBody.names());
    if (item == ~0u) {
        mBody.scratch() = "0"; // a function of another context or without a signature: no C function
        return value;
    }
    mBody.noteUse(item);
    value.function = item;
    value.key = mBody.source().item(item).key;
    mBody.scratch() = mBody.source().item(item).name;
    return value;
}

CValue ExpressionEmitter::visitOperator(Operator const& node, CValue const* operands)
{
    OpId::Type const op = node.getOp();
    unsigned long const count = node.getNumOperands();
    std::size_t const first = static_cast<std::size_t>(operands - mBody.values().data());
    unsigned nesting = 0;
    for (unsigned long i = 0; i < count; ++i) {
        if (!operands[i].isNumber() || operands[i].count() != 1) {
            return failed(ErrorId::EvalDimensionMismatch);
        }
        nesting = std::max(nesting, operands[i].nesting);
    }
    DataType const a = operands[0].type;
    DataType const b = count == 2 ? operands[1].type : a;
    DataType const type = operationType(op, a, b);
    CValue value;
    value.kind = CValue::Scalar;
    value.type = resultType(op, a, b);
    value.truth = value.type == sxu::DataTypeId::Boolean;
    value.nesting = nesting + 1;
    bool const native = sxir::Operator::isNative(op);
    if (native && operands[0].constant && (count == 1 || operands[1].constant)) {
        // The interpreter's own arithmetic on constants: a C compiler then sees a constant, as it
        // would anyway, and no comparison it could call always true or false.
        double const x = convertElement(operands[0].value, a, type);
        value.value = count == 1 ? unaryFunction(op, type)(x)
                                 : binaryFunction(op, type)(x, convertElement(operands[1].value, b, type));
        value.constant = true;
        value.nesting = 0;
        CFragment const constant = cConstant(value.type, value.value);
        mBody.scratch() = constant.text;
        return value;
    }
    Text& text = mBody.scratch();
    if (isRelation(op) && type != sxu::DataTypeId::Real && !(operands[0].constant && operands[1].constant)) {
        std::string left;
        std::string right;
        mBody.appendConverted(left, first, type);
        mBody.appendConverted(right, first + 1, type);
        // What a C compiler sees as always true or false would be a warning: the emitter decides it.
        int decided = left == right ? (op == OpId::LESS_OR_EQUAL || op == OpId::GREATER_OR_EQUAL || op == OpId::EQUAL)
                                    : -1;
        if (decided < 0 && (operands[0].constant || operands[1].constant)) {
            bool const rightConstant = operands[1].constant;
            CValue const& variable = operands[rightConstant ? 0 : 1];
            CValue const& constant = operands[rightConstant ? 1 : 0];
            decided = decidedRelation(rightConstant ? op : swapped(op), rangeIn(variable.type, variable.truth, type),
                                      convertElement(constant.value, constant.type, type));
        }
        if (decided >= 0) {
            text = "((void)" + (operands[0].constant ? right : left) + ", ((boolean_T)" + std::to_string(decided) +
                   "))";
            return value;
        }
    }
    Cut const& operation = operationCut(op, type);
    text += operation.pieces[0];
    mBody.appendConverted(text, first, type);
    text += operation.pieces[1];
    if (count == 2) {
        mBody.appendConverted(text, first + 1, type);
        text += operation.pieces[2];
    }
    return value;
}

CValue ExpressionEmitter::visitMatrixRef(MatrixRef const&, CValue const* operands)
{
    CValue const& matrix = operands[0];
    if (matrix.kind == CValue::Function) {
        return failed(ErrorId::EvalDimensionMismatch);
    }
    for (int i = 1; i < 3; ++i) {
        if (!operands[i].isNumber() || operands[i].count() != 1) {
            return failed(ErrorId::EvalDimensionMismatch);
        }
    }
    unsigned long const rows = matrix.kind == CValue::Array ? matrix.rows : 1;
    unsigned long const columns = matrix.kind == CValue::Array ? matrix.columns : 1;
    // A constant index outside the matrix fails every run that reaches it (a computed one stands at 0 here).
    if (!isElementInside(operands[1].constant ? operands[1].value : 0.0, operands[2].constant ? operands[2].value : 0.0,
                         rows, columns)) {
        return failed(ErrorId::IndexOutOfRange);
    }
    std::size_t const first = static_cast<std::size_t>(operands - mBody.values().data());
    Text& text = mBody.scratch();
    CValue value;
    value.kind = CValue::Scalar;
    value.type = matrix.type;
    value.addressable = matrix.kind == CValue::Array || matrix.addressable;
    value.nesting = std::max({matrix.nesting, operands[1].nesting, operands[2].nesting}) + 1;
    // The indices' texts that an element of a scalar does not need are kept as void operands.
    std::string discarded;
    if (matrix.kind == CValue::Scalar) {
        for (int i = 1; i < 3; ++i) {
            if (!operands[i].constant) {
                discarded += "(void)";
                mBody.appendScalar(discarded, first + i);
                discarded += ", ";
            }
        }
        text = discarded.empty() ? std::string(mBody.valueText(first)) : "(" + discarded + std::string(mBody.valueText(first)) + ")";
        value.addressable = value.addressable && discarded.empty();
        value.constant = matrix.constant && discarded.empty();
        value.value = matrix.value;
        return value;
    }
    unsigned long fixed = matrix.offset;
    std::string index;
    for (int i = 1; i < 3; ++i) {
        unsigned long const scale = i == 1 ? 1 : rows;
        if (operands[i].constant) {
            fixed += static_cast<unsigned long>(operands[i].value) * scale;
            continue;
        }
        index += index.empty() ? "" : " + ";
        if (operands[i].type == sxu::DataTypeId::Real) {
            index += "(long)";
        }
        mBody.appendScalar(index, first + i);
        if (scale != 1) {
            index += " * " + std::to_string(scale);
        }
    }
    if (fixed != 0 || index.empty()) {
        index += index.empty() ? "" : " + ";
        index += std::to_string(fixed);
    }
    if (matrix.storage != 0) {
        mBody.noteRead(matrix.storage - 1);
    }
    text = std::string(mBody.valueText(first)) + "[" + index + "]";
    return value;
}

CValue ExpressionEmitter::visitSubMatrix(SubMatrix const& node, CValue const* operands)
{
    CValue const& matrix = operands[0];
    if (matrix.kind == CValue::Function) {
        return failed(ErrorId::EvalDimensionMismatch);
    }
    unsigned long const first = node.getFirst();
    unsigned long const last = node.getLast();
    if (!isRangeInside(first, last, matrix.count())) {
        return failed(ErrorId::IndexOutOfRange);
    }
    std::size_t const index = static_cast<std::size_t>(operands - mBody.values().data());
    Text& text = mBody.scratch();
    if (matrix.kind == CValue::Scalar && last - first == 1) {
        text = mBody.valueText(index);
        return matrix;
    }
    CValue value = matrix;
    value.kind = CValue::Array;
    value.rows = last - first;
    value.columns = 1;
    if (matrix.kind == CValue::Scalar) {
        // No element of a scalar: nothing to read.
        if (!matrix.constant) {
            mBody.line("(void)" + std::string(mBody.valueText(index)) + ";");
        }
        value.storage = 0;
        value.offset = 0;
        text = "0";
        return value;
    }
    value.offset += first;
    text = mBody.valueText(index);
    return value;
}

CValue ExpressionEmitter::visitFunctionCall(FunctionCall const& node, CValue const* operands)
{
    CSource& source = mBody.source();
    std::size_t const first = static_cast<std::size_t>(operands - mBody.values().data());
    unsigned long const count = node.getNumOperands();
    if (operands[0].kind != CValue::Function) {
        return failed(ErrorId::EvalDimensionMismatch);
    }
    ExpressionData const* called = NodeAccess::childrenOf(node)[0];
    Function const* callee = called->getExpressionDataType() == ExpressionDataType::FunctionRef
                                 ? &static_cast<FunctionRef const*>(called)->getFunction()
                                 : nullptr;
    unsigned key = operands[0].key;
    std::string stem;
    CShape result;
    std::vector<std::string> outputNames;
    if (callee != nullptr) {
        CalleeFault const fault = calleeFault(mBody.function().getContext(), *callee, count);
        if (fault != CalleeFault::None) {
            return failed(fault == CalleeFault::OperandCount ? ErrorId::EvalInvalidArguments : ErrorId::EvalNotEvaluable);
        }
        stem = std::string(mBody.valueText(first));
        Scope const& outputs = callee->getFunctionScope(FunctionScopeType::Output);
        for (unsigned long i = 0; i < outputs.getNumScopeItems(); ++i) {
            outputNames.push_back(outputs.getGenericScopeItem(i)->getName());
        }
    } else {
        Type const* type = node.getGenericType();
        if (type == nullptr) {
            return failed(ErrorId::EvalNotEvaluable);
        }
        result = source.signatures().shapeOf(*type);
        std::string_view const text = mBody.valueText(first);
        bool const plain = !text.empty() && text[0] != '(' && text != "0";
        stem = plain ? std::string(text) : "call";
        Scope const& outputs = node.getSignature().getScope(FunctionIoScopeType::Output);
        for (unsigned long i = 0; i < outputs.getNumScopeItems(); ++i) {
            outputNames.push_back(outputs.getGenericScopeItem(i)->getName());
        }
    }
    CSignature const signature = source.signatures().signature(key);
    if (key == 0 || signature.inputs.size() != count) {
        return failed(key == 0 ? ErrorId::EvalUnsetOperand : ErrorId::EvalInvalidArguments);
    }
    if (signature.outputs.empty() || signature.outputs.back().kind == CShape::None) {
        return failed(ErrorId::EvalNotEvaluable);
    }
    CShape const& last = signature.outputs.back();
    if (callee == nullptr && (result.kind == CShape::None || (result.kind == CShape::Function) != (last.kind == CShape::Function) ||
                              result.count() != last.count())) {
        return failed(ErrorId::EvalDimensionMismatch);
    }
    bool sameForms = true;
    for (unsigned long i = 0; i < count; ++i) {
        CValue const& operand = operands[1 + i];
        CShape const& input = signature.inputs[i];
        bool const fits = input.kind != CShape::None && (operand.kind == CValue::Function) == (input.kind == CShape::Function) &&
                          operand.count() == input.count();
        if (!fits) {
            return failed(ErrorId::EvalDimensionMismatch);
        }
        sameForms = sameForms && operand.form().sameForm(input);
    }
    // Through a function value, with operands of other forms than the type's inputs or a value of
    // another form than its last output: a dispatch converts both as the function it holds takes
    // and gives them, as a run does.
    CShape const& given = callee != nullptr ? last : result;
    std::string call = std::string(mBody.valueText(first));
    std::string arguments;
    std::vector<CShape> outputForms;
    if (callee != nullptr || (sameForms && result.sameForm(last))) {
        for (unsigned long i = 0; i < count; ++i) {
            arguments += i == 0 ? "" : ", ";
            mBody.appendArgument(arguments, operands[1 + i], mBody.valueText(first + 1 + i), signature.inputs[i],
                                 stem + "_in");
        }
        outputForms = signature.outputs;
    } else {
        std::vector<CShape> forms;
        for (unsigned long i = 0; i < count; ++i) {
            forms.push_back(operands[1 + i].form());
        }
        unsigned const item = source.dispatch(key, forms, result);
        mBody.noteUse(item);
        arguments = call;
        call = source.item(item).name;
        for (unsigned long i = 0; i < count; ++i) {
            arguments += ", ";
            mBody.appendArgument(arguments, operands[1 + i], mBody.valueText(first + 1 + i), forms[i], stem + "_in");
        }
        outputForms.assign(1, result);
        outputNames.assign(1, outputNames.empty() ? std::string("r") : outputNames.back());
    }
    // A temporary per output; the value is the last.
    std::string last_;
    for (std::size_t i = 0; i < outputForms.size(); ++i) {
        CShape const& output = outputForms[i];
        arguments += arguments.empty() ? "" : ", ";
        if (output.kind == CShape::None) {
            arguments += '0';
            continue;
        }
        last_ = mBody.temporary(stem + "_" + (i < outputNames.size() ? outputNames[i] : "r" + std::to_string(i)));
        mBody.declare(output, last_, {});
        arguments += output.kind == CShape::Array ? last_ : "&" + last_;
    }
    mBody.line(call + "(" + arguments + ");");
    mBody.forgetModuleReads();
    CValue value;
    value.holdsCall = true;
    value.kind = given.kind == CShape::Scalar ? CValue::Scalar : given.kind == CShape::Array ? CValue::Array : CValue::Function;
    value.type = given.type;
    value.rows = given.rows;
    value.columns = given.columns;
    value.key = given.key;
    value.addressable = true;
    mBody.scratch() = last_;
    return value;
}

CValue ExpressionEmitter::visitCustom(CustomExpressionData const&, CValue const*)
{
    // A client node has no C form; a statement that holds one is not emitted.
    return failed(ErrorId::EvalNotEvaluable);
}

// ---------------------------------------------------------------------------------------------
// Shared nodes that hold calls: their code is written once per statement, and each use runs it.

void BodyEmitter::openSubroutine(ExpressionData const& node)
{
    // What was computed of module variables before the code is computed again inside it, where a
    // later use runs it again after calls that may change them.
    forgetModuleReads();
    auto const index = static_cast<unsigned>(mSubroutines.size());
    mSubroutines.emplace_back();
    mSubroutines.back().nested = !mOpenSubroutines.empty();
    mSplices.push_back(Splice{mOut.size(), index, true});
    mOpenSubroutines.push_back(OpenSubroutine{&node, index});
}

void BodyEmitter::closeSubroutine(ExpressionData const& node)
{
    unsigned const index = mOpenSubroutines.back().subroutine;
    mOpenSubroutines.pop_back();
    if (mValues.back().kind == CValue::Failed) {
        return; // the statement is not written
    }
    // The value goes where each use finds it: a temporary, unless it is one already (a call's).
    CValue const& value = mValues.back();
    if (value.kind != CValue::Array && !(value.addressable && value.nesting == 0)) {
        materialize();
    }
    mShared[&node] = Memo{mValues.back(), std::string(valueText(mValues.size() - 1)), index};
    mSplices.push_back(Splice{mOut.size(), index, false});
    // Each use copies the value out: the next use runs the same code into the same place.
    capture();
}

void BodyEmitter::runSubroutineAgain(Memo const& known)
{
    Subroutine& subroutine = mSubroutines[known.subroutine];
    subroutine.number = subroutine.number != 0 ? subroutine.number : ++mSubroutineCounter;
    std::string const number = std::to_string(subroutine.number);
    std::string const use = std::to_string(subroutine.uses++);
    line("sxir_use" + number + " = " + use + ";");
    line("goto sxir_node" + number + ";");
    line("sxir_node" + number + "_" + use + ":;");
    push(known.value, known.text);
    capture();
    forgetModuleReads();
}

void BodyEmitter::spliceSubroutines()
{
    if (std::none_of(mSubroutines.begin(), mSubroutines.end(), [](Subroutine const& s) { return s.number != 0; })) {
        return;
    }
    mUnspliced = mOut.view().substr(mStatementStart);
    std::string_view const text = mUnspliced.view();
    mOut.truncate(mStatementStart);
    // The statement's temporaries are declared first, each with a value: no jump passes a
    // declaration then, and a C compiler, which cannot tell that the code only returns to the use
    // that entered it, sees every temporary set on every path.
    for (Subroutine const& subroutine : mSubroutines) {
        if (subroutine.number != 0) {
            line("unsigned long sxir_use" + std::to_string(subroutine.number) + " = 0;");
        }
    }
    for (Declaration const& declaration : mDeclarations) {
        mOut += mIndent;
        mOut += text.substr(declaration.at - mStatementStart, declaration.length);
        mOut += declaration.array ? std::string_view(" = {0};\n") : std::string_view(" = 0;\n");
    }
    // Where they were declared, an initialized one is assigned and the others are left out.
    std::size_t done = 0;
    auto const copyUpTo = [this, text, &done](std::size_t at) {
        mOut.append(text.substr(done, at - done));
    };
    auto next = mDeclarations.begin();
    auto const declareUpTo = [&](std::size_t end) {
        for (; next != mDeclarations.end() && next->at - mIndent.size() < end; ++next) {
            std::size_t const at = next->at - mStatementStart;
            copyUpTo(next->initialized ? at : at - mIndent.size());
            done = next->initialized ? at + next->length - next->name : at + next->length + 2;
        }
    };
    for (Splice const& splice : mSplices) {
        Subroutine const& subroutine = mSubroutines[splice.subroutine];
        if (subroutine.number == 0) {
            continue;
        }
        declareUpTo(splice.at);
        copyUpTo(splice.at - mStatementStart);
        done = splice.at - mStatementStart;
        std::string const number = std::to_string(subroutine.number);
        if (splice.start) {
            // Code inside another code runs again from its start with it, the first use included.
            if (subroutine.nested) {
                line("sxir_use" + number + " = 0;");
            }
            line("sxir_node" + number + ":;");
            continue;
        }
        line("switch (sxir_use" + number + ") {");
        for (unsigned long use = 1; use < subroutine.uses; ++use) {
            line("case " + std::to_string(use) + ": goto sxir_node" + number + "_" + std::to_string(use) + ";");
        }
        line("default: break;");
        line("}");
    }
    declareUpTo(~std::size_t(0));
    copyUpTo(text.size());
}

// ---------------------------------------------------------------------------------------------
// Statements.

bool BodyEmitter::evaluate(ExpressionData const& node)
{
    ExpressionEmitter emitter(*this);
    walkExpression(emitter, node);
    return !mRestart;
}

void BodyEmitter::beginStatement()
{
    mValues.clear();
    mText.clear();
    mModuleReaders.clear();
    mSubroutines.clear();
    mSplices.clear();
    mDeclarations.clear();
    mOpenSubroutines.clear();
    if (!mShared.empty()) {
        mShared.clear();
    }
    mRestart = false;
}

void BodyEmitter::rollBack(Mark const& mark)
{
    mOut.truncate(mark.output);
    mUses.resize(mark.uses);
    mReads.resize(mark.reads);
    for (std::size_t i = mark.temporaries; i < mTemporaries.size(); ++i) {
        mNames.release(mTemporaries[i]);
    }
    mTemporaries.resize(mark.temporaries);
    mCounter = mark.counter;
    mSubroutineCounter = mark.subroutines;
    mStringFunctions = false;
}

void BodyEmitter::commit()
{
    for (unsigned item : mUses) {
        mSource.use(item);
    }
    for (unsigned variable : mReads) {
        mVariables[variable].read = true;
    }
    // The helpers are those the statement's text calls: a text left out (a constant operand
    // computed now) brings none.
    if (mMayCallHelpers) {
        mSource.helpers() |= cHelpersCalledIn(mOut.view().substr(mStatementStart));
    }
    mSource.usesStringFunctions() = mSource.usesStringFunctions() || mStringFunctions;
    mUses.clear();
    mReads.clear();
    mStringFunctions = false;
}

void BodyEmitter::notEmitted(std::string const& what, char const* id)
{
    std::string text = what;
    if (text.size() > 100) {
        text.resize(97);
        text += "...";
    }
    // The text may hold anything a name may: keep the comment closed and on its line.
    for (std::size_t at = text.find("*/"); at != std::string::npos; at = text.find("*/", at)) {
        text[at + 1] = ' ';
    }
    // Printed constants of boolean_T and char_T are raw bytes.
    for (char& c : text) {
        c = static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) >= 0x7f ? '?' : c;
    }
    line("/* not emitted, since a run that reaches it stops with " + std::string(id) + ": " + text + " */");
}

bool BodyEmitter::writeAssignment(AssignmentStatement const& statement, char const*& failure)
{
    ExpressionData const* lhs = statement.getExpressionNode(AssignmentStatement::LHS);
    ExpressionData const* rhs = statement.getExpressionNode(AssignmentStatement::RHS);
    if (lhs == nullptr || rhs == nullptr) {
        failure = ErrorId::EvalUnsetOperand;
        return false;
    }
    // The right side first, then the indices of the left side from the variable outward.
    if (!evaluate(*rhs)) {
        return false;
    }
    if (mValues.back().kind == CValue::Failed) {
        failure = mValues.back().failure;
        return false;
    }
    std::vector<ExpressionData const*>& chain = mChain;
    chain.clear();
    for (ExpressionData const* node = lhs;;) {
        chain.push_back(node);
        Children const children = NodeAccess::childrenOf(*node);
        if (children.kind != ExpressionDataType::MatrixRef && children.kind != ExpressionDataType::SubMatrix) {
            break;
        }
        node = children[0];
    }
    VariableRef const* base = storageOf(*lhs);
    if (base == nullptr) {
        failure = ErrorId::EvalNotAssignable;
        return false;
    }
    unsigned index = 0;
    VariableInfo const* found = variable(base->getVariable(), index);
    if (found == nullptr || found->shape.kind == CShape::None) {
        failure = ErrorId::EvalNotEvaluable;
        return false;
    }
    // What the store needs, taken now: evaluating the indices may add variables, which moves them.
    struct Target {
        CShape shape;
        VariableInfo::Role role;
        unsigned item;
    } const copy{found->shape, found->role, found->item};
    Target const* target = &copy;
    if (target->role == VariableInfo::Module) {
        noteUse(target->item);
    }
    // The target: a scalar's text, or an array's storage, offset and element count.
    Text& storage = mStorage;
    storage.clear();
    bool scalar = target->shape.kind != CShape::Array;
    bool const indirect = target->role == VariableInfo::Output && scalar;
    bool const function = target->shape.kind == CShape::Function;
    storage += indirect ? (function ? "(*" : "*") : "";
    storage += found->name;
    storage += indirect && function ? ")" : "";
    unsigned long offset = 0;
    unsigned long rows = target->shape.rows;
    unsigned long count = target->shape.count();
    std::size_t const valueIndex = mValues.size() - 1;
    for (std::size_t level = chain.size() - 1; level-- > 0;) {
        Children const children = NodeAccess::childrenOf(*chain[level]);
        if (target->shape.kind == CShape::Function) {
            failure = ErrorId::EvalDimensionMismatch;
            return false;
        }
        if (children.kind == ExpressionDataType::SubMatrix) {
            auto const& range = static_cast<SubMatrix const&>(*chain[level]);
            if (!isRangeInside(range.getFirst(), range.getLast(), count)) {
                failure = ErrorId::IndexOutOfRange;
                return false;
            }
            offset += range.getFirst();
            count = range.getLast() - range.getFirst();
            rows = count;
            continue;
        }
        std::size_t const first = mValues.size();
        for (unsigned long i = 1; i < 3; ++i) {
            if (!evaluate(*children[i])) {
                return false;
            }
            CValue const& index = mValues.back();
            if (index.kind == CValue::Failed || !index.isNumber() || index.count() != 1) {
                failure = index.kind == CValue::Failed ? index.failure : ErrorId::EvalDimensionMismatch;
                return false;
            }
        }
        unsigned long const limits[] = {scalar ? 1 : rows, scalar ? 1 : count / std::max(rows, 1ul)};
        std::string element;
        unsigned long fixed = offset;
        for (unsigned long i = 0; i < 2; ++i) {
            CValue const& index = mValues[first + i];
            unsigned long const scale = i == 0 ? 1 : rows;
            if (index.constant) {
                if (!isElementInside(index.value, 0.0, limits[i], 1)) {
                    failure = ErrorId::IndexOutOfRange;
                    return false;
                }
                fixed += static_cast<unsigned long>(index.value) * scale;
                continue;
            }
            if (scalar) {
                // An element of a scalar is the scalar: the index is read, and not needed.
                std::string unused = "(void)";
                appendScalar(unused, first + i);
                line(unused + ";");
                continue;
            }
            element += element.empty() ? "" : " + ";
            element += index.type == sxu::DataTypeId::Real ? "(long)" : "";
            appendScalar(element, first + i);
            element += scale != 1 ? " * " + std::to_string(scale) : "";
        }
        mText.truncate(mValues[first].start);
        mValues.resize(first);
        if (!scalar) {
            if (fixed != 0 || element.empty()) {
                element += (element.empty() ? "" : " + ") + std::to_string(fixed);
            }
            storage += "[" + element + "]";
            scalar = true;
        }
        offset = 0;
        count = 1;
        rows = 1;
    }
    CValue const& value = mValues[valueIndex];
    if ((value.kind == CValue::Function) != (target->shape.kind == CShape::Function) || value.count() != count) {
        failure = ErrorId::EvalDimensionMismatch;
        return false;
    }
    Text& text = mStored;
    text.clear();
    if (value.kind == CValue::Function) {
        appendFunctionAs(text, value, valueText(valueIndex), target->shape.key);
    } else if (count == 1) {
        if (!scalar) {
            storage += "[" + std::to_string(offset) + "]";
        }
        appendConverted(text, valueIndex, target->shape.type);
    } else {
        std::string to(storage.view());
        if (offset != 0) {
            to += " + " + std::to_string(offset);
        }
        std::string from;
        appendPointer(from, value, valueText(valueIndex));
        copyElements(to, target->shape.type, from, value.type, count, valueText(valueIndex) == storage.view());
        return true;
    }
    if (text.view() == storage.view()) {
        std::string const name(storage.view());
        line("(void)" + name + "; /* " + name + " = " + name + ": it keeps what it holds */");
    } else {
        mOut += mIndent;
        mOut += storage;
        mOut += " = ";
        mOut += text;
        mOut += ";\n";
    }
    return true;
}

bool BodyEmitter::writeDirectly(AssignmentStatement const& statement)
{
    ExpressionData const* lhs = statement.getExpressionNode(AssignmentStatement::LHS);
    ExpressionData const* rhs = statement.getExpressionNode(AssignmentStatement::RHS);
    if (lhs == nullptr || rhs == nullptr || lhs->getExpressionDataType() != ExpressionDataType::VariableRef ||
        rhs->getExpressionDataType() == ExpressionDataType::VariableRef || !lhs->isLValue()) {
        return false;
    }
    unsigned index = 0;
    VariableInfo const* target = variable(static_cast<VariableRef const&>(*lhs).getVariable(), index);
    if (target == nullptr || target->shape.kind != CShape::Scalar || target->shape.type != sxu::DataTypeId::Real) {
        return false;
    }
    if (target->role == VariableInfo::Module) {
        noteUse(target->item);
    }
    mOut += mIndent;
    if (target->role == VariableInfo::Output) {
        mOut += '*';
    }
    mOut += target->name;
    mOut += std::string_view(" = ", 3);
    std::size_t const start = mOut.size();
    DirectWriter writer(*this);
    if (!walkExpression(writer, *rhs) || mOut.size() - start > sMaxText) {
        return false;
    }
    mOut += std::string_view(";\n", 2);
    return true;
}

void BodyEmitter::trackOutputs(AssignmentStatement const& statement, bool emitted)
{
    // Only the statements before the first if or unwritten statement count.
    mTopLevelOpen = mTopLevelOpen && emitted && mOpenOutputs != 0;
    if (!mTopLevelOpen) {
        return;
    }
    for (unsigned variable : mReads) {
        VariableInfo& info = mVariables[variable];
        mOpenOutputs -= info.role == VariableInfo::Output && info.zeroing == VariableInfo::Open ? 1 : 0;
        info.zeroing = info.zeroing == VariableInfo::Open ? VariableInfo::Zeroed : info.zeroing;
    }
    ExpressionData const* lhs = statement.getExpressionNode(AssignmentStatement::LHS);
    if (lhs->getExpressionDataType() == ExpressionDataType::VariableRef) {
        if (unsigned const* found = mVariableIndex.find(&static_cast<VariableRef const*>(lhs)->getVariable())) {
            VariableInfo& info = mVariables[*found];
            mOpenOutputs -= info.role == VariableInfo::Output && info.zeroing == VariableInfo::Open ? 1 : 0;
            info.zeroing = info.zeroing == VariableInfo::Open ? VariableInfo::Written : info.zeroing;
        }
    }
}

Visit BodyEmitter::visitAssignment(AssignmentStatement const& statement, unsigned)
{
    char const* failure = nullptr;
    Mark const start = mark();
    mStatementStart = start.output;
    mHoldsCall = false;
    mMayCallHelpers = false;
    if (writeDirectly(statement)) {
        trackOutputs(statement, true);
        commit();
        return Visit::Skip;
    }
    rollBack(start);
    mMayCallHelpers = true;
    for (;;) {
        beginStatement();
        bool const written = writeAssignment(statement, failure);
        if (!mRestart) {
            if (!written) {
                rollBack(start);
                bool const set = statement.getExpressionNode(AssignmentStatement::LHS) != nullptr &&
                                 statement.getExpressionNode(AssignmentStatement::RHS) != nullptr;
                notEmitted(set ? textOf(statement) : std::string("an assignment with an unset side"), failure);
            } else {
                spliceSubroutines();
            }
            trackOutputs(statement, written);
            commit();
            return Visit::Skip;
        }
        rollBack(start);
        mHoldsCall = true;
    }
}

bool BodyEmitter::writeCondition(IfStatement const& statement, char const*& failure)
{
    ExpressionData const* condition = statement.getExpressionNode(0);
    if (condition == nullptr) {
        failure = ErrorId::EvalUnsetOperand;
        return false;
    }
    if (!evaluate(*condition)) {
        return false;
    }
    CValue const& value = mValues.back();
    if (value.kind == CValue::Failed || !value.isNumber() || value.count() != 1) {
        failure = value.kind == CValue::Failed ? value.failure : ErrorId::EvalDimensionMismatch;
        return false;
    }
    std::string text;
    appendScalar(text, mValues.size() - 1);
    if (value.type != sxu::DataTypeId::Boolean) {
        // Tested against zero, as a C compiler would have it for arithmetic (NaN is true).
        line("if (" + text + " != 0) {");
        return true;
    }
    // A relation or logical operation tested as it is, without its boolean_T cast.
    std::string_view const cast = "((boolean_T)(";
    if (text.compare(0, cast.size(), cast) == 0 && text.size() >= cast.size() + 2) {
        int depth = 0;
        std::size_t close = cast.size() - 1;
        for (; close < text.size(); ++close) {
            depth += text[close] == '(' ? 1 : text[close] == ')' ? -1 : 0;
            if (depth == 0) {
                break;
            }
        }
        if (close == text.size() - 2) {
            text = text.substr(cast.size(), close - cast.size());
        }
    }
    line("if (" + text + ") {");
    return true;
}

Visit BodyEmitter::visitIf(IfStatement const& statement, unsigned)
{
    char const* failure = nullptr;
    Mark const start = mark();
    mStatementStart = start.output;
    mHoldsCall = false;
    mMayCallHelpers = true;
    mTopLevelOpen = false;
    for (;;) {
        beginStatement();
        bool const written = writeCondition(statement, failure);
        if (!mRestart) {
            if (!written) {
                rollBack(start);
                std::string const condition = statement.getExpressionNode(0) != nullptr
                                                  ? "if " + textOf(*statement.getExpressionNode(0))
                                                  : std::string("if (nil)");
                notEmitted(condition, failure);
                line("if (0) {");
            } else {
                spliceSubroutines();
            }
            commit();
            return Visit::Enter;
        }
        rollBack(start);
        mHoldsCall = true;
    }
}

Visit BodyEmitter::enterList(Statement const& owner, unsigned long position, unsigned& depth, unsigned& nested)
{
    nested = depth + 1;
    bool const empty = owner.getStatementList(position).getStatementList().empty();
    if (position == 1 && empty) {
        return Visit::Skip;
    }
    mIndent.assign(4 * (std::min(depth, sMaxIndent) + 1), ' ');
    if (position == 1) {
        line("} else {");
    }
    mIndent.assign(4 * (std::min(nested, sMaxIndent) + 1), ' ');
    return Visit::Enter;
}

bool BodyEmitter::leaveStatement(Statement const& statement, unsigned& depth)
{
    if (statement.getNumStatementLists() != 0) {
        mIndent.assign(4 * (std::min(depth, sMaxIndent) + 1), ' ');
        line("}");
    }
    return true;
}

void BodyEmitter::definition(std::string const& name, std::string& text)
{
    mIndent.assign(4, ' ');
    StatementWalker<BodyEmitter>::walkList(*this, mFunction.getStatements(), 0u);
    text += "void " + name + "(";
    for (std::size_t i = 0; i < mParameters.size(); ++i) {
        CParameter const& parameter = mParameters[i];
        text += i == 0 ? "" : ", ";
        text += mSource.signatures().parameter(parameter.shape, parameter.output, parameter.name, false);
    }
    text += mParameters.empty() ? "void)\n{\n" : ")\n{\n";
    for (VariableInfo const& info : mVariables) {
        if (info.role == VariableInfo::Local && info.shape.kind != CShape::None) {
            text += "    " + mSource.signatures().object(info.shape, info.name) +
                    (info.shape.kind == CShape::Array ? " = {0};\n" : " = 0;\n");
        }
    }
    // What a C compiler would warn about as unused: parameters and locals never read.
    for (VariableInfo const& info : mVariables) {
        bool const declared = info.role != VariableInfo::Local || info.shape.kind != CShape::None;
        bool const reads = info.role == VariableInfo::Input || info.role == VariableInfo::Local;
        bool const unusedOutput = info.role == VariableInfo::Output &&
                                  (info.shape.kind == CShape::None || info.shape.count() == 0);
        if (declared && ((reads && !info.read) || unusedOutput)) {
            text += "    (void)" + info.name + ";\n";
        }
    }
    for (VariableInfo const& info : mVariables) {
        if (info.role != VariableInfo::Output || info.zeroing == VariableInfo::Written) {
            continue;
        }
        switch (info.shape.kind) {
        case CShape::Scalar:
        case CShape::Function:
            text += "    *" + info.name + " = 0;\n";
            break;
        case CShape::Array:
            if (info.shape.count() != 0) {
                mSource.usesStringFunctions() = true;
                text += "    memset(" + info.name + ", 0, " + std::to_string(info.shape.count()) + " * sizeof(" +
                        cTypeName(info.shape.type) + "));\n";
            }
            break;
        case CShape::None:
            break;
        }
    }
    text.reserve(text.size() + mOut.size() + 2);
    text += mOut.view();
    text += "}\n";
}

} // namespace

std::vector<CParameter> nameParameters(CSource& source, Function const& function, CNameTable& names)
{
    std::vector<CParameter> parameters;
    for (auto const kind : {FunctionScopeType::Input, FunctionScopeType::Output}) {
        Scope const& scope = function.getFunctionScope(kind);
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            auto const* variable = dynamic_cast<Variable const*>(scope.getGenericScopeItem(i));
            if (variable != nullptr) {
                parameters.push_back(CParameter{names.claim(variable->getName()),
                                                source.signatures().shapeOf(variable->getType()),
                                                kind == FunctionScopeType::Output});
            }
        }
    }
    return parameters;
}

void emitDefinition(CSource& source, Function const& function, std::string const& name,
                    std::vector<CParameter> const& parameters, CNameTable& names, std::string& out)
{
    BodyEmitter emitter(source, function, parameters, names);
    emitter.definition(name, out);
}

} // namespace detail
} // namespace sxir
