// A coverage-guided fuzzer: each input is decoded into a program written through
// the public API (modules, variables, signatures, functions, expressions of every
// kind, assignments and if/else), and the results are checked against what the
// program was told to build.
//
// Decoding: every step starts with a step byte, an index into the table of
// Program::run modulo its size; the step then reads its own argument bytes, always
// the same number for the same step byte and leading bytes, so a step never
// swallows the next one (choices are taken modulo the number of candidates).
// Reading past the end yields zeros, and the program ends when the input does. A
// step whose choice is not possible (no function yet, a pool too large, a nesting
// too deep) does nothing.
//
// The fuzzer keeps its own model of what it built: the names of every scope, the
// type, function, l-value answer and printed form of every expression, and the
// open ifs of every function. It uses that model to keep clear of the
// preconditions the library leaves to the caller, to predict each reported error,
// and to check every answer as it comes. At the end (and in the hoisting step)
// every module is printed twice, cloned into a second context, hoisted, and
// checked: the clone prints like its source; hoisting gives what a shadow of the
// pass, run on the fuzzer's side, gives, and leaves functions with nothing to
// hoist as they were; a second sweep moves nothing; the hoisted clone and a clone
// of the hoisted module print like the hoisted module. Any violation traps.

#include "ir/sxir.hpp"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using sxir::Expression;

// ---------------------------------------------------------------------------
// Failure reporting

[[noreturn]] void fail(char const* what, std::string const& detail = std::string())
{
    std::fprintf(stderr, "\n*** sxir fuzzer: %s\n%s\n", what, detail.c_str());
    std::fflush(stderr);
    __builtin_trap();
}

void check(bool condition, char const* what, std::string const& detail = std::string())
{
    if (!condition) {
        fail(what, detail);
    }
}

void checkSame(std::string const& actual, std::string const& expected, char const* what)
{
    if (actual != expected) {
        fail(what, "expected:\n[" + expected + "]\nactual:\n[" + actual + "]");
    }
}

// ---------------------------------------------------------------------------
// Input

class Input {
public:
    Input(std::uint8_t const* data, std::size_t size) : mData(data), mSize(size) {}

    bool exhausted() const { return mPosition >= mSize; }
    std::uint8_t byte() { return mPosition < mSize ? mData[mPosition++] : 0; }
    std::uint32_t u32()
    {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            value |= static_cast<std::uint32_t>(byte()) << (8 * i);
        }
        return value;
    }
    std::uint64_t u64()
    {
        std::uint64_t const low = u32();
        return low | (static_cast<std::uint64_t>(u32()) << 32);
    }
    /// A choice among `count` candidates (0 when there are none); always one byte, so
    /// that the layout of a step does not depend on what was built before it.
    std::size_t pick(std::size_t count)
    {
        std::uint8_t const choice = byte();
        return count == 0 ? 0 : choice % count;
    }

private:
    std::uint8_t const* mData;
    std::size_t mSize;
    std::size_t mPosition = 0;
};

// ---------------------------------------------------------------------------
// Limits that keep every input fast

constexpr std::size_t kMaxSteps = 3000;
constexpr std::size_t kMaxModules = 6;
constexpr std::size_t kMaxFunctions = 12;
constexpr std::size_t kMaxPool = 48;
constexpr unsigned long kMaxExpressionSize = 160;
constexpr std::size_t kMaxStatements = 300;
constexpr std::size_t kMaxIfDepth = 6;
constexpr std::size_t kMaxModuleChecks = 6;
constexpr std::size_t kMaxFunctionClones = 8;

// ---------------------------------------------------------------------------
// Names. The pools of variable, function and module names are disjoint, so a
// declaration of one kind never hides one of another kind.

char const* const kVariableNames[] = {"x", "y", "z", "a", "b", "c", "i",  "j",
                                      "n", "t", "u", "w", "A", "B", "M_", "_tmp"};
char const* const kFunctionNames[] = {"f", "g", "h", "p", "q", "r", "s", "main"};
char const* const kModuleNames[] = {"m", "mod", "lib", "core"};
char const* const kInvalidNames[] = {"", "1x", "a b", "x-y", "$", "x.y", "9", "\xc3\xa9"};

template <std::size_t N> std::string pickName(Input& in, char const* const (&pool)[N])
{
    std::uint8_t const choice = in.byte();
    if ((choice & 0xF0) == 0xF0) {
        return kInvalidNames[choice & 7];
    }
    return pool[choice % N];
}

bool isIdentifier(std::string const& name)
{
    auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
    if (name.empty() || !letter(name[0])) {
        return false;
    }
    for (char c : name) {
        if (!letter(c) && !(c >= '0' && c <= '9')) {
            return false;
        }
    }
    return true;
}

// ---------------------------------------------------------------------------
// Types as the fuzzer expects them

struct FunctionModel;

struct TypeModel {
    enum Kind {
        None, // the library answers no type
        Builtin,
        Matrix,
        Signature, // the signature of `function`
        Unknown,   // not to be asked (a call of a function without outputs)
    };
    Kind kind = None;
    sxu::DataTypeId::Type id = sxu::DataTypeId::Boolean;
    std::shared_ptr<TypeModel const> base;
    unsigned long m = 0;
    unsigned long n = 0;
    bool builtViaBaseType = false;
    FunctionModel const* function = nullptr;
};
using TypeRef = std::shared_ptr<TypeModel const>;

TypeRef makeBuiltin(sxu::DataTypeId::Type id)
{
    auto type = std::make_shared<TypeModel>();
    type->kind = TypeModel::Builtin;
    type->id = id;
    return type;
}

TypeRef makeKind(TypeModel::Kind kind)
{
    auto type = std::make_shared<TypeModel>();
    type->kind = kind;
    return type;
}

TypeRef makeMatrix(TypeRef base, unsigned long m, unsigned long n)
{
    auto type = std::make_shared<TypeModel>();
    type->kind = TypeModel::Matrix;
    type->base = std::move(base);
    type->m = m;
    type->n = n;
    return type;
}

char const* const kTypeNames[] = {"boolean_T", "real_T", "int32_T", "uint32_T", "char_T"};

/// The declaration text of `name` of this type.
std::string typeText(TypeModel const& type, std::string const& name)
{
    if (type.kind == TypeModel::Builtin) {
        return std::string(kTypeNames[type.id]) + " " + name;
    }
    return typeText(*type.base, name) + "[" + std::to_string(type.m) + "x" + std::to_string(type.n) + "]";
}

std::unique_ptr<sxir::Type> makeType(sxir::Context const& context, TypeModel const& type)
{
    if (type.kind == TypeModel::Builtin) {
        return std::unique_ptr<sxir::Type>(context.getBuiltinType(type.id).clone());
    }
    sxu::Dimension const dimension(type.m, type.n);
    if (type.base->kind == TypeModel::Builtin && !type.builtViaBaseType) {
        return std::unique_ptr<sxir::Type>(new sxir::MatrixType(context, type.base->id, dimension));
    }
    std::unique_ptr<sxir::Type> const base = makeType(context, *type.base);
    return std::unique_ptr<sxir::Type>(new sxir::MatrixType(*base, dimension));
}

/// A variable type read from the input: null for an untyped variable.
TypeRef readVariableType(Input& in)
{
    std::uint8_t const choice = in.byte();
    // Arguments are read one statement at a time: the order of evaluation of a
    // call's arguments is not fixed.
    switch (choice % 9) {
    case 5:
    case 6: {
        auto const id = static_cast<sxu::DataTypeId::Type>(in.pick(5));
        unsigned long const m = in.byte() % 5;
        unsigned long const n = in.byte() % 5;
        auto type = std::make_shared<TypeModel>(*makeMatrix(makeBuiltin(id), m, n));
        type->builtViaBaseType = (choice & 0x80) != 0;
        return type;
    }
    case 7: {
        auto const id = static_cast<sxu::DataTypeId::Type>(in.pick(5));
        unsigned long const m = in.byte() % 4;
        unsigned long const n = in.byte() % 4;
        unsigned long const outerM = in.byte() % 4;
        unsigned long const outerN = in.byte() % 4;
        return makeMatrix(makeMatrix(makeBuiltin(id), m, n), outerM, outerN);
    }
    case 8:
        return nullptr;
    default:
        return makeBuiltin(static_cast<sxu::DataTypeId::Type>(choice % 9));
    }
}

// ---------------------------------------------------------------------------
// The model of what was built

struct ModuleModel {
    sxir::Module* module = nullptr;
    ModuleModel* parent = nullptr; // null for a module of the global scope
    std::set<std::string> names;   // the names its scope declares
};

/// An expression with what the fuzzer knows about it.
struct Node {
    /// A placeholder expression until the step sets the real one.
    explicit Node(sxir::Context const& context) : e(context) {}

    Expression e;
    TypeRef type;
    bool belongs = false; // resolves to the pool's function
    bool lvalue = false;
    bool nanFree = true;
    unsigned long size = 1; // nodes of the tree, shared ones counted each time
    std::string text;
    sxir::Variable const* variable = nullptr; // set for a plain variable reference
};

struct Parameter {
    std::string name;
    TypeRef type;
};

struct OpenIf {
    sxir::IfStatement* statement;
    bool inElse;
};

struct FunctionModel {
    sxir::Function* function = nullptr;
    ModuleModel* module = nullptr;
    bool hasSignature = false;
    std::vector<Parameter> inputs;
    std::vector<Parameter> outputs;
    std::set<std::string> localNames;
    std::vector<OpenIf> openIfs;
    // Refers to declarations outside its own scopes (module variables, functions).
    bool refersOutside = false;
    std::vector<Node> pool;
};

/// Whether a clone of the enclosing top-level module made now declares `item` (a
/// declaration of `owner`'s scope) by the time `user` is cloned: module scopes are
/// copied in order, so only items before `user` (or before the module holding it)
/// are there.
bool declaredBeforeInClone(FunctionModel const& user, sxir::ScopeItem const& item, ModuleModel const* owner)
{
    unsigned long position = user.function->getId();
    for (ModuleModel const* module = user.module; module != nullptr; module = module->parent) {
        if (module == owner) {
            return item.getId() < position;
        }
        position = module->module->getId();
    }
    return false;
}

bool sameExpression(sxir::ExpressionData const* a, sxir::ExpressionData const* b);

class Program {
public:
    explicit Program(Input& in) : mIn(in) {}
    ~Program()
    {
        // Expressions go before the contexts their nodes live in.
        mFunctions.clear();
        mFreePool.clear();
    }

    void run();

private:
    // Steps.
    void newModule();
    void newModuleVariable();
    void newFunction();
    void newLocal();
    void misplacedItem();
    void constant();
    void bareConstant();
    void variableReference();
    void functionReference();
    void import();
    void operation();
    void element();
    void subRange();
    void callStep();
    void assignment();
    void openIf();
    void elseStep();
    void endStep();
    void cloneModuleStep();
    void cloneFunction();
    void probe();
    void hoistStep();
    void printFunction();

    // Helpers.
    FunctionModel* pickFunction(bool needsSignature = false);
    ModuleModel* pickModule();
    /// The pool of a function, or the pool of expressions that belong to none (null `owner`).
    std::vector<Node>& pickPool(FunctionModel*& owner);
    Node const* pickNode(std::vector<Node> const& pool)
    {
        std::size_t const choice = mIn.pick(pool.size());
        return pool.empty() ? nullptr : &pool[choice];
    }
    void addNode(std::vector<Node>& pool, FunctionModel const* owner, Node node);
    void checkNode(Node const& node, FunctionModel const* owner) const;
    void checkType(Expression const& e, TypeModel const* type, char const* where) const;
    template <class Action> void expectReport(char const* id, std::string const& argument, Action action);
    void expectScopeReports(std::set<std::string> const& names, std::string const& name, char const* kindWord,
                            std::function<void()> const& action);
    bool hidesOuterModuleName(ModuleModel const* module, std::string const& name) const;
    void checkModule(ModuleModel& module);
    sxir::Context const& context() const { return *mContext; }

    Input& mIn;
    sxir::ThrowingRuntimeEnvironment mEnv;
    std::unique_ptr<sxir::Context> mContext{sxir::Context::create(mEnv)};
    std::unique_ptr<sxir::Context> mCloneContext{sxir::Context::create(mEnv)};
    std::set<std::string> mGlobalNames;
    std::set<std::string> mCloneNames; // of the clone context's global scope
    std::vector<std::unique_ptr<ModuleModel>> mModules;
    std::vector<std::unique_ptr<FunctionModel>> mFunctions;
    std::map<sxir::Variable const*, TypeRef> mVariableTypes;
    std::map<sxir::Variable const*, FunctionModel const*> mVariableOwners;
    std::vector<Node> mFreePool;
    std::size_t mStatements = 0;
    std::size_t mModuleChecks = 0;
    std::size_t mFunctionClones = 0;
    // SXIR_FUZZ_VERBOSE set: print every module checked, before and after hoisting.
    bool const mVerbose = std::getenv("SXIR_FUZZ_VERBOSE") != nullptr;
};

// ---------------------------------------------------------------------------
// Reports

template <class Action> void Program::expectReport(char const* id, std::string const& argument, Action action)
{
    try {
        action();
    } catch (sxir::ReportedError const& error) {
        checkSame(error.getId(), id, "reported error id");
        checkSame(error.getArgument(1), argument, "reported error argument 1");
        for (unsigned long position = 2; position <= 4; ++position) {
            check(error.getArgument(position).empty(), "reported error with an unexpected argument");
        }
        return;
    }
    fail("an expected error was not reported", std::string(id) + " " + argument);
}

/// Adds an item through `action` to a scope declaring `names`; the first failing
/// check (identifier, duplicate, kind, in that order) must be reported. `kindWord`
/// is null when the scope accepts the kind.
void Program::expectScopeReports(std::set<std::string> const& names, std::string const& name, char const* kindWord,
                                 std::function<void()> const& action)
{
    if (!isIdentifier(name)) {
        expectReport(sxir::ErrorId::InvalidIdentifier, name, action);
    } else if (names.count(name) != 0) {
        expectReport(sxir::ErrorId::DuplicateScopeItemNames, name, action);
    } else if (kindWord != nullptr) {
        expectReport(sxir::ErrorId::InvalidScopeItemType, kindWord, action);
    } else {
        action();
    }
}

bool Program::hidesOuterModuleName(ModuleModel const* module, std::string const& name) const
{
    // A later declaration that hides an outer one would make a function written
    // before it resolve differently when it is cloned or hoisted; stay clear of that.
    for (ModuleModel const* outer = module->parent; outer != nullptr; outer = outer->parent) {
        if (outer->names.count(name) != 0) {
            return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------------------
// Choices

FunctionModel* Program::pickFunction(bool needsSignature)
{
    std::size_t const choice = mIn.pick(mFunctions.size());
    if (mFunctions.empty()) {
        return nullptr;
    }
    FunctionModel* function = mFunctions[choice].get();
    return needsSignature && !function->hasSignature ? nullptr : function;
}

ModuleModel* Program::pickModule()
{
    std::size_t const choice = mIn.pick(mModules.size());
    return mModules.empty() ? nullptr : mModules[choice].get();
}

std::vector<Node>& Program::pickPool(FunctionModel*& owner)
{
    std::size_t const choice = mIn.pick(mFunctions.size() + 1);
    if (choice == mFunctions.size()) {
        owner = nullptr;
        return mFreePool;
    }
    owner = mFunctions[choice].get();
    return owner->pool;
}

// ---------------------------------------------------------------------------
// Expressions: every new one is checked against the model, then pooled

void Program::checkType(Expression const& e, TypeModel const* type, char const* where) const
{
    if (type == nullptr || type->kind == TypeModel::Unknown) {
        return;
    }
    sxir::Type const* actual = e.getGenericType();
    switch (type->kind) {
    case TypeModel::None:
        check(actual == nullptr, where, "an expression without a type has one: " + e.asString());
        break;
    case TypeModel::Signature:
        check(actual == &type->function->function->getSignature(), where,
              "not the signature of the called function: " + e.asString());
        break;
    default:
        check(actual != nullptr, where, "no type for " + e.asString());
        checkSame(actual->asString("v"), typeText(*type, "v"), where);
        break;
    }
}

void Program::checkNode(Node const& node, FunctionModel const* owner) const
{
    checkSame(node.e.asString(), node.text, "expression text");
    checkType(node.e, node.type.get(), "expression type");
    sxir::Function const* expected = node.belongs ? owner->function : nullptr;
    check(node.e.resolveFunction() == expected, "expression resolves to the wrong function", node.text);
    check(node.e.isLValue() == node.lvalue, "expression l-value answer", node.text);
    check(node.e.getData() != nullptr && node.e.getData()->getReferenceCount() >= 1, "expression without node");
}

void Program::addNode(std::vector<Node>& pool, FunctionModel const* owner, Node node)
{
    checkNode(node, owner);
    if (pool.size() < kMaxPool) {
        pool.push_back(std::move(node));
    } else {
        pool[mIn.pick(pool.size())] = std::move(node);
    }
}

void Program::bareConstant()
{
    // Built from a bare value, a constant belongs to the context of the IR object
    // built last on this thread.
    std::uint8_t const choice = mIn.byte();
    std::uint8_t const value = mIn.byte();
    Expression const anchor(context(), 0);
    Node node(context());
    switch (choice % 4) {
    case 0:
        node.e = Expression(static_cast<int>(static_cast<std::int8_t>(value)));
        node.text = std::to_string(static_cast<std::int8_t>(value));
        node.type = makeBuiltin(sxu::DataTypeId::Int32);
        break;
    case 1:
        node.e = Expression(static_cast<unsigned int>(value));
        node.text = std::to_string(value);
        node.type = makeBuiltin(sxu::DataTypeId::UInt32);
        break;
    case 2: {
        double const real = static_cast<std::int8_t>(value) / 8.0;
        node.e = Expression(real);
        std::ostringstream stream;
        stream << real;
        node.text = stream.str();
        node.type = makeBuiltin(sxu::DataTypeId::Real);
        break;
    }
    default: {
        unsigned char const boolean = value & 1;
        node.e = Expression(sxu::DataTypeId::Boolean, &boolean);
        node.text = std::string(1, static_cast<char>(boolean));
        node.type = makeBuiltin(sxu::DataTypeId::Boolean);
        break;
    }
    }
    check(&node.e.getContext() == &context() && &node.e.getData()->getContext() == &context(),
          "a constant from a bare value is not in the context of the object built last");
    addNode(mFreePool, nullptr, std::move(node));
}

void Program::constant()
{
    FunctionModel* owner = nullptr;
    std::vector<Node>& pool = pickPool(owner);
    sxir::Context const& ctx = context();
    std::uint8_t const kind = mIn.byte();
    Node node(context());
    switch (kind % 8) {
    case 0: {
        unsigned char const value = mIn.byte();
        node.e = Expression(ctx, value);
        node.text = std::string(1, static_cast<char>(value));
        node.type = makeBuiltin(sxu::DataTypeId::Boolean);
        break;
    }
    case 1: {
        double value;
        if ((kind & 0x80) != 0) {
            std::uint64_t const bits = mIn.u64();
            static_assert(sizeof bits == sizeof value, "double is 64 bits");
            __builtin_memcpy(&value, &bits, sizeof value);
        } else {
            value = static_cast<std::int8_t>(mIn.byte()) / 4.0;
        }
        node.e = Expression(ctx, value);
        std::ostringstream stream;
        stream << value;
        node.text = stream.str();
        node.nanFree = !std::isnan(value);
        node.type = makeBuiltin(sxu::DataTypeId::Real);
        break;
    }
    case 2: {
        int const value = static_cast<int>((kind & 0x80) != 0 ? mIn.u32() : static_cast<std::int8_t>(mIn.byte()));
        node.e = Expression(ctx, value);
        node.text = std::to_string(value);
        node.type = makeBuiltin(sxu::DataTypeId::Int32);
        break;
    }
    case 3: {
        unsigned int const value = (kind & 0x80) != 0 ? mIn.u32() : mIn.byte();
        node.e = Expression(ctx, value);
        node.text = std::to_string(value);
        node.type = makeBuiltin(sxu::DataTypeId::UInt32);
        break;
    }
    case 4: {
        char const value = static_cast<char>(mIn.byte());
        node.e = Expression(ctx, value);
        node.text = std::string(1, value);
        node.type = makeBuiltin(sxu::DataTypeId::Char);
        break;
    }
    case 5: {
        // A size: the int32 constant of the low 32 bits.
        unsigned long const value = (kind & 0x80) != 0 ? mIn.u64() : mIn.byte();
        node.e = Expression(ctx, value);
        node.text = std::to_string(static_cast<int>(static_cast<std::uint32_t>(value)));
        node.type = makeBuiltin(sxu::DataTypeId::Int32);
        break;
    }
    case 6:
        node.e = Expression(ctx);
        node.text = "0";
        node.type = makeBuiltin(sxu::DataTypeId::Int32);
        break;
    default: {
        // Through the constant factory, shared by a handle.
        auto const id = static_cast<sxu::DataTypeId::Type>(mIn.pick(5));
        int const raw = static_cast<std::int8_t>(mIn.byte());
        unsigned char const asBoolean = static_cast<unsigned char>(raw);
        double const asReal = raw;
        unsigned int const asUnsigned = static_cast<unsigned int>(raw);
        char const asChar = static_cast<char>(raw);
        void const* values[] = {&asBoolean, &asReal, &raw, &asUnsigned, &asChar};
        sxir::Constant* created = sxir::Constant::createScalarConstant(ctx, id, values[id]);
        node.e = Expression(*created);
        created->releaseReference();
        check(created->getType() == &ctx.getBuiltinType(id), "a constant's type is not the context's builtin type");
        std::string texts[] = {std::string(1, static_cast<char>(asBoolean)), std::to_string(raw), std::to_string(raw),
                               std::to_string(asUnsigned), std::string(1, asChar)};
        node.text = texts[id];
        node.type = makeBuiltin(id);
        break;
    }
    }
    addNode(pool, owner, std::move(node));
}

void Program::variableReference()
{
    FunctionModel* owner = pickFunction();
    std::string const name = kVariableNames[mIn.pick(sizeof kVariableNames / sizeof *kVariableNames)];
    bool const throughItem = (mIn.byte() & 1) != 0;
    if (owner == nullptr) {
        return;
    }
    sxir::ScopeItem const* item = (*owner->function)(name);
    if (item == nullptr || item->getScopeItemType() != sxir::ScopeItemType::Variable) {
        return;
    }
    auto const* variable = static_cast<sxir::Variable const*>(item);
    auto const type = mVariableTypes.find(variable);
    check(type != mVariableTypes.end(), "a name resolves to a variable the program never declared", name);
    FunctionModel const* variableOwner = mVariableOwners.at(variable);
    if (variableOwner == nullptr) {
        // A module variable: a clone made now must declare it before the function.
        ModuleModel const* module = nullptr;
        for (auto const& candidate : mModules) {
            if (&candidate->module->getModuleScope() == &variable->getParentScope()) {
                module = candidate.get();
            }
        }
        if (module == nullptr || !declaredBeforeInClone(*owner, *variable, module)) {
            return;
        }
        owner->refersOutside = true;
    } else {
        check(variableOwner == owner, "a function sees a variable of another function", name);
    }
    Node node(context());
    node.e = throughItem ? Expression(*item) : Expression(*variable);
    node.text = name;
    node.type = type->second;
    node.belongs = variableOwner != nullptr;
    node.lvalue = variable->isMutable();
    node.variable = variable;
    addNode(owner->pool, owner, std::move(node));
}

void Program::functionReference()
{
    FunctionModel* owner = pickFunction();
    FunctionModel const* target = pickFunction();
    if (owner == nullptr) {
        return;
    }
    std::string const& name = target->function->getName();
    if ((*owner->function)(name) != target->function ||
        !declaredBeforeInClone(*owner, *target->function, target->module)) {
        return;
    }
    owner->refersOutside = true;
    Node node(context());
    node.e = Expression(*target->function);
    node.text = name;
    if (target->hasSignature) {
        auto type = std::make_shared<TypeModel>();
        type->kind = TypeModel::Signature;
        type->function = target;
        node.type = type;
    } else {
        node.type = makeKind(TypeModel::None);
    }
    node.lvalue = true;
    addNode(owner->pool, owner, std::move(node));
}

void Program::import()
{
    FunctionModel* owner = pickFunction();
    Node const* node = pickNode(mFreePool);
    if (owner == nullptr || node == nullptr) {
        return;
    }
    addNode(owner->pool, owner, *node);
}

// The operations, their arity, printed symbol and whether they print as functions.
struct OperationInfo {
    unsigned arity;
    char const* symbol;
    bool native;
};

OperationInfo const kOperations[] = {
#define SXIR_NATIVE_UNARY(id, symbol, op) {1, symbol, true},
#define SXIR_NATIVE_BINARY(id, symbol, op) {2, symbol, true},
#define SXIR_FUNCTION_UNARY(id, name) {1, #name, false},
#define SXIR_FUNCTION_BINARY(id, name) {2, #name, false},
#include "ir/Operations.def"
};
static_assert(sizeof kOperations / sizeof *kOperations == sxir::OpId::Count, "one entry per operation");

Expression applyUnary(sxir::OpId::Type op, Expression const& a)
{
    switch (op) {
#define SXIR_NATIVE_UNARY(id, symbol, op)                                                                              \
    case sxir::OpId::id:                                                                                               \
        return op a;
#define SXIR_NATIVE_BINARY(id, symbol, op)
#define SXIR_FUNCTION_UNARY(id, name)                                                                                  \
    case sxir::OpId::id:                                                                                               \
        return sxir::name(a);
#define SXIR_FUNCTION_BINARY(id, name)
#include "ir/Operations.def"
    default:
        fail("not a unary operation");
    }
}

Expression applyBinary(sxir::OpId::Type op, Expression const& a, Expression const& b)
{
    switch (op) {
#define SXIR_NATIVE_UNARY(id, symbol, op)
#define SXIR_NATIVE_BINARY(id, symbol, op)                                                                             \
    case sxir::OpId::id:                                                                                               \
        return a op b;
#define SXIR_FUNCTION_UNARY(id, name)
#define SXIR_FUNCTION_BINARY(id, name)                                                                                 \
    case sxir::OpId::id:                                                                                               \
        return sxir::name(a, b);
#include "ir/Operations.def"
    default:
        fail("not a binary operation");
    }
}

void Program::operation()
{
    FunctionModel* owner = nullptr;
    std::vector<Node>& pool = pickPool(owner);
    std::uint8_t const choice = mIn.byte();
    auto const op = static_cast<sxir::OpId::Type>((choice & 0x7F) % sxir::OpId::Count);
    bool const viaHandleConstructor = (choice & 0x80) != 0;
    OperationInfo const& info = kOperations[op];
    Node const* a = pickNode(pool);
    Node const* b = pickNode(pool);
    if (a == nullptr || b == nullptr) {
        return;
    }
    Node node(context());
    node.size = 1 + a->size + (info.arity == 2 ? b->size : 0);
    if (node.size > kMaxExpressionSize) {
        return;
    }
    if (info.arity == 1) {
        node.e = viaHandleConstructor ? Expression(op, a->e) : applyUnary(op, a->e);
        node.text = info.native ? info.symbol + a->text : std::string(info.symbol) + "(" + a->text + ")";
        node.belongs = a->belongs;
        node.nanFree = a->nanFree;
    } else {
        node.e = viaHandleConstructor ? Expression(op, a->e, b->e) : applyBinary(op, a->e, b->e);
        node.text = info.native ? "(" + a->text + info.symbol + b->text + ")"
                                : std::string(info.symbol) + "(" + a->text + "," + b->text + ")";
        node.belongs = a->belongs || b->belongs;
        node.nanFree = a->nanFree && b->nanFree;
    }
    node.type = info.native ? makeKind(TypeModel::None) : makeBuiltin(sxu::DataTypeId::Real);
    addNode(pool, owner, std::move(node));
}

/// The type of an element of an expression of type `type`.
TypeRef elementType(TypeRef const& type)
{
    if (!type) {
        return nullptr;
    }
    switch (type->kind) {
    case TypeModel::Matrix:
        return type->base;
    default:
        return type; // a scalar and a signature are their own element type; none stays none
    }
}

void Program::element()
{
    FunctionModel* owner = nullptr;
    std::vector<Node>& pool = pickPool(owner);
    std::uint8_t const form = mIn.byte();
    Node const* a = pickNode(pool);
    Node const* i = pickNode(pool);
    Node const* j = pickNode(pool);
    if (a == nullptr) {
        return;
    }
    bool const twoIndices = (form & 1) != 0;
    bool const throughVariable = (form & 2) != 0 && a->variable != nullptr;
    Node node(context());
    node.size = 1 + a->size + i->size + (twoIndices ? j->size : 1);
    if (node.size > kMaxExpressionSize) {
        return;
    }
    if (twoIndices) {
        node.e = throughVariable ? (*a->variable)(i->e, j->e) : a->e(i->e, j->e);
        node.text = a->text + "(" + i->text + "," + j->text + ")";
        node.belongs = a->belongs || i->belongs || j->belongs;
        node.nanFree = a->nanFree && i->nanFree && j->nanFree;
    } else {
        node.e = throughVariable ? (*a->variable)(i->e) : a->e(i->e);
        node.text = a->text + "(" + i->text + ",0)";
        node.belongs = a->belongs || i->belongs;
        node.nanFree = a->nanFree && i->nanFree;
    }
    node.type = elementType(a->type);
    node.lvalue = a->lvalue;
    addNode(pool, owner, std::move(node));
}

void Program::subRange()
{
    FunctionModel* owner = nullptr;
    std::vector<Node>& pool = pickPool(owner);
    std::uint8_t const form = mIn.byte();
    Node const* a = pickNode(pool);
    unsigned long first = mIn.byte() % 8;
    unsigned long last = mIn.byte() % 8;
    if ((form & 0x80) != 0) {
        first = mIn.u64();
        last = mIn.u64();
    }
    // Only over an expression with a matrix type.
    if (a == nullptr || !a->type || a->type->kind != TypeModel::Matrix || a->size + 1 > kMaxExpressionSize) {
        return;
    }
    Node node(context());
    sxir::Colon const range(first, last);
    node.e = (form & 1) != 0 && a->variable != nullptr ? (*a->variable)(range) : a->e(range);
    node.text = a->text + "(" + std::to_string(first) + ":" + std::to_string(last) + ")";
    node.size = a->size + 1;
    node.belongs = a->belongs;
    node.lvalue = a->lvalue;
    node.nanFree = a->nanFree;
    node.type = makeMatrix(a->type->base, last - first, 1);
    addNode(pool, owner, std::move(node));
}

void Program::callStep()
{
    FunctionModel* owner = nullptr;
    std::vector<Node>& pool = pickPool(owner);
    // The first expression typed by a signature from a chosen place on.
    std::size_t const start = mIn.pick(pool.size());
    std::uint8_t const form = mIn.byte();
    std::uint8_t const countChoice = mIn.byte();
    Node const* callee = nullptr;
    for (std::size_t k = 0; k < pool.size() && callee == nullptr; ++k) {
        Node const& candidate = pool[(start + k) % pool.size()];
        if (candidate.type && candidate.type->kind == TypeModel::Signature) {
            callee = &candidate;
        }
    }
    if (callee == nullptr) {
        return;
    }
    FunctionModel const& called = *callee->type->function;
    std::size_t const inputs = called.inputs.size();
    std::size_t const count = countChoice % (inputs + 1);
    std::vector<Node const*> operands;
    Node node(context());
    node.size = 1 + callee->size;
    for (std::size_t k = 0; k < count; ++k) {
        operands.push_back(pickNode(pool));
        node.size += operands.back()->size;
    }
    if (node.size > kMaxExpressionSize) {
        return;
    }
    if (count == 0) {
        node.e = (form & 1) != 0 ? sxir::call(callee->e) : Expression(sxir::FunctionCallBuilder(callee->e));
    } else {
        sxir::FunctionCallBuilder builder = callee->e << operands[0]->e;
        for (std::size_t k = 1; k < count; ++k) {
            builder << operands[k]->e;
        }
        node.e = Expression(builder);
    }
    node.text = callee->text + "(";
    node.nanFree = callee->nanFree;
    for (std::size_t k = 0; k < inputs; ++k) {
        node.text += k == 0 ? "" : ",";
        node.text += k < count ? operands[k]->text : "(nil)";
        node.nanFree = node.nanFree && (k >= count || operands[k]->nanFree);
    }
    node.text += ")";
    // Only the last operand slot tells the call's function.
    node.belongs = count == inputs && count > 0 && operands.back()->belongs;
    node.type = called.outputs.empty() ? makeKind(TypeModel::Unknown) : called.outputs.back().type;
    addNode(pool, owner, std::move(node));
}

void Program::probe()
{
    FunctionModel* owner = nullptr;
    std::vector<Node>& pool = pickPool(owner);
    Node const* node = pickNode(pool);
    FunctionModel const* other = pickFunction();
    Node const* second = pickNode(pool);
    if (node == nullptr) {
        return;
    }
    auto const checkEquivalence = [](Expression const& a, Expression const& b) {
        check(a.isEquivalent(b) == sameExpression(a.getData(), b.getData()), "expression equivalence",
              a.asString() + " vs " + b.asString());
    };
    checkEquivalence(node->e, node->e);
    checkEquivalence(node->e, second->e);
    checkEquivalence(second->e, node->e);
    if (node->nanFree) {
        check(node->e.isEquivalent(node->e), "an expression is not equivalent to itself", node->text);
        Expression const copy(node->e);
        check(copy.isEquivalent(node->e), "a copied handle is not equivalent", node->text);
    }
    // Rebinding, also to itself, keeps the node alive.
    Expression handle(context());
    handle = node->e;
    check(handle.getData() == node->e.getData(), "a rebound handle holds another node");
    handle = *&handle;
    checkSame(handle.asString(), node->text, "expression text after rebinding a handle to itself");
    // A clone into the function the expression is written for is the same expression.
    FunctionModel const* target = owner != nullptr ? owner : other;
    if (target == nullptr) {
        return;
    }
    Node cloned = *node;
    cloned.e = node->e.clone(*target->function);
    cloned.belongs = owner != nullptr && node->belongs;
    checkNode(cloned, target);
    checkEquivalence(cloned.e, node->e);
    if (node->nanFree) {
        check(cloned.e.isEquivalent(node->e), "a clone into the same function is not equivalent", node->text);
    }
}

// ---------------------------------------------------------------------------
// Declarations

void Program::newModule()
{
    if (mModules.size() >= kMaxModules) {
        return;
    }
    std::uint8_t const where = mIn.byte();
    std::string const name = pickName(mIn, kModuleNames);
    ModuleModel* candidate = pickModule();
    ModuleModel* parent = (where & 1) != 0 ? candidate : nullptr;
    if (parent != nullptr && hidesOuterModuleName(parent, name)) {
        return;
    }
    sxir::Scope& scope = parent != nullptr ? parent->module->getModuleScope() : mContext->getGlobalScope();
    std::set<std::string>& names = parent != nullptr ? parent->names : mGlobalNames;
    sxir::Module* added = nullptr;
    expectScopeReports(names, name, nullptr, [&] { added = scope.addScopeItem<sxir::Module>(name); });
    if (added == nullptr) {
        return;
    }
    check(added->getName() == name && &added->getParentScope() == &scope, "a module's name or scope");
    check(added->getModuleScope().isEmpty() && added->asString().empty(), "a new module is not empty");
    names.insert(name);
    auto model = std::make_unique<ModuleModel>();
    model->module = added;
    model->parent = parent;
    mModules.push_back(std::move(model));
}

void Program::newModuleVariable()
{
    ModuleModel* module = pickModule();
    std::string const name = pickName(mIn, kVariableNames);
    TypeRef const type = readVariableType(mIn);
    if (module == nullptr || hidesOuterModuleName(module, name)) {
        return;
    }
    sxir::Variable* added = nullptr;
    expectScopeReports(module->names, name, nullptr,
                       [&] { added = module->module->getModuleScope().addScopeItem<sxir::Variable>(name); });
    if (added == nullptr) {
        return;
    }
    module->names.insert(name);
    if (type) {
        added->setType(*makeType(context(), *type));
    }
    TypeRef const actual = type ? type : makeBuiltin(sxu::DataTypeId::Boolean);
    checkSame(added->asString(), typeText(*actual, name), "module variable declaration");
    check(added->isMutable(), "a new variable is immutable");
    mVariableTypes[added] = actual;
    mVariableOwners[added] = nullptr;
}

void Program::newFunction()
{
    ModuleModel* module = pickModule();
    std::string const name = pickName(mIn, kFunctionNames);
    std::uint8_t const shape = mIn.byte();
    bool const withSignature = (shape & 0x80) == 0;
    std::size_t const inputs = withSignature ? shape % 4 : 0;
    std::size_t const outputs = withSignature ? (shape / 4) % 4 : 0;
    std::vector<Parameter> parameters;
    for (std::size_t k = 0; k < inputs + outputs; ++k) {
        std::string parameter = pickName(mIn, kVariableNames);
        parameters.push_back(Parameter{std::move(parameter), readVariableType(mIn)});
    }
    if (module == nullptr || mFunctions.size() >= kMaxFunctions || hidesOuterModuleName(module, name)) {
        return;
    }
    auto model = std::make_unique<FunctionModel>();
    model->module = module;
    model->hasSignature = withSignature;
    sxir::FunctionSignature signature(context());
    if (withSignature) {
        std::set<std::string> inputNames;
        std::set<std::string> outputNames;
        for (std::size_t k = 0; k < inputs + outputs; ++k) {
            bool const isInput = k < inputs;
            std::string const& parameter = parameters[k].name;
            TypeRef const& type = parameters[k].type;
            std::set<std::string>& names = isInput ? inputNames : outputNames;
            sxir::Variable* added = nullptr;
            expectScopeReports(names, parameter, nullptr, [&] {
                added = isInput ? &signature.addInput(parameter) : &signature.addOutput(parameter);
            });
            if (added == nullptr) {
                continue;
            }
            names.insert(parameter);
            if (type) {
                added->setType(*makeType(context(), *type));
            }
            (isInput ? model->inputs : model->outputs)
                .push_back(Parameter{parameter, type ? type : makeBuiltin(sxu::DataTypeId::Boolean)});
        }
    }
    sxir::Function* added = nullptr;
    expectScopeReports(module->names, name, nullptr,
                       [&] { added = module->module->getModuleScope().addScopeItem<sxir::Function>(name); });
    if (added == nullptr) {
        return;
    }
    module->names.insert(name);
    model->function = added;
    check(!added->hasSignature(), "a new function has a signature");
    std::string expected = "function ";
    if (withSignature) {
        added->setSignature(signature);
        std::string outputs;
        std::string inputs;
        std::string generated;
        for (Parameter const& input : model->inputs) {
            auto const* variable = dynamic_cast<sxir::Variable const*>(
                added->getFunctionScope(sxir::FunctionScopeType::Input).lookupGenericScopeItem(input.name));
            check(variable != nullptr && !variable->isMutable(), "an input is missing or mutable", input.name);
            mVariableTypes[variable] = input.type;
            mVariableOwners[variable] = model.get();
            inputs += (inputs.empty() ? "" : ", ") + typeText(*input.type, input.name);
        }
        for (Parameter const& output : model->outputs) {
            auto const* variable = dynamic_cast<sxir::Variable const*>(
                added->getFunctionScope(sxir::FunctionScopeType::Output).lookupGenericScopeItem(output.name));
            check(variable != nullptr && variable->isMutable(), "an output is missing or immutable", output.name);
            mVariableTypes[variable] = output.type;
            mVariableOwners[variable] = model.get();
            outputs += (outputs.empty() ? "" : ", ") + typeText(*output.type, output.name);
            for (Parameter const& input : model->inputs) {
                if (input.name == output.name) {
                    generated += "    " + output.name + "=" + output.name + "\n";
                }
            }
        }
        if (!outputs.empty()) {
            expected += "[" + outputs + "] = ";
        }
        expected += name;
        if (!inputs.empty()) {
            expected += "(" + inputs + ")";
        }
        expected += "\n" + generated;
        for (sxir::Statement const* statement : added->getStatements().getStatementList()) {
            check(statement->isAutoGenerated(), "setSignature wrote a statement that is not marked auto-generated");
            ++mStatements;
        }
    } else {
        expected += name + "\n";
    }
    expected += "end";
    checkSame(added->asString(), expected, "text of a new function");
    mFunctions.push_back(std::move(model));
}

void Program::newLocal()
{
    FunctionModel* owner = pickFunction(true);
    std::string const name = pickName(mIn, kVariableNames);
    TypeRef const type = readVariableType(mIn);
    if (owner == nullptr) {
        return;
    }
    // A local may not hide a declaration the function may already refer to.
    if (isIdentifier(name) && owner->localNames.count(name) == 0 && (*owner->function)(name) != nullptr) {
        return;
    }
    sxir::Scope& locals = owner->function->getFunctionScope(sxir::FunctionScopeType::Local);
    sxir::Variable* added = nullptr;
    expectScopeReports(owner->localNames, name, nullptr, [&] { added = locals.addScopeItem<sxir::Variable>(name); });
    if (added == nullptr) {
        return;
    }
    owner->localNames.insert(name);
    if (type) {
        added->setType(*makeType(context(), *type));
    }
    TypeRef const actual = type ? type : makeBuiltin(sxu::DataTypeId::Boolean);
    checkSame(added->asString(), typeText(*actual, name), "local variable declaration");
    check(added->getParentScope().resolveFunction() == owner->function, "a local's scope belongs to another function");
    mVariableTypes[added] = actual;
    mVariableOwners[added] = owner;
}

void Program::misplacedItem()
{
    std::uint8_t const kind = mIn.byte();
    switch (kind % 4) {
    case 0: {
        std::string const name = pickName(mIn, kVariableNames);
        expectScopeReports(mGlobalNames, name, "variable",
                           [&] { mContext->getGlobalScope().addScopeItem<sxir::Variable>(name); });
        break;
    }
    case 1: {
        std::string const name = pickName(mIn, kFunctionNames);
        expectScopeReports(mGlobalNames, name, "function",
                           [&] { mContext->getGlobalScope().addScopeItem<sxir::Function>(name); });
        break;
    }
    default: {
        FunctionModel* owner = pickFunction(true);
        bool const module = kind % 4 == 2;
        std::string const name = module ? pickName(mIn, kModuleNames) : pickName(mIn, kFunctionNames);
        if (owner == nullptr) {
            return;
        }
        sxir::Scope& locals = owner->function->getFunctionScope(sxir::FunctionScopeType::Local);
        expectScopeReports(owner->localNames, name, module ? "module" : "function", [&] {
            if (module) {
                locals.addScopeItem<sxir::Module>(name);
            } else {
                locals.addScopeItem<sxir::Function>(name);
            }
        });
        break;
    }
    }
}

// ---------------------------------------------------------------------------
// Statements

void Program::assignment()
{
    FunctionModel* owner = nullptr;
    std::vector<Node>& pool = pickPool(owner);
    std::uint8_t const form = mIn.byte();
    Node const* lhs = pickNode(pool);
    Node const* rhs = pickNode(pool);
    if (lhs == nullptr || mStatements >= kMaxStatements) {
        return;
    }
    auto write = [&] {
        switch (form % 4) {
        case 0:
            *lhs->e = rhs->e;
            break;
        case 1:
            lhs->e.assign(rhs->e, false);
            break;
        case 2:
            *lhs->e = *rhs->e;
            break;
        default: {
            sxir::ExpressionLValue target(lhs->e);
            sxir::ExpressionLValue copy(target);
            copy = rhs->e;
            break;
        }
        }
    };
    // The left side's function, else the right side's; neither is an error.
    if (!lhs->belongs && !rhs->belongs) {
        expectReport(sxir::ErrorId::CannotResolveFunction, std::string(), write);
        return;
    }
    sxir::Function& function = *owner->function;
    sxu::list<sxir::Statement*> const& list = function.getCurrentStatements().getStatementList();
    std::size_t const before = list.size();
    write();
    check(list.size() == before + 1, "an assignment was not appended to the current list of its function");
    auto const* statement = dynamic_cast<sxir::AssignmentStatement const*>(list.back());
    check(statement != nullptr, "the appended statement is not an assignment");
    check(&statement->getFunction() == &function, "an assignment of another function");
    check(!statement->isAutoGenerated(), "a written assignment is marked auto-generated");
    check(statement->getExpression(sxir::AssignmentStatement::LHS).getData() == lhs->e.getData() &&
              statement->getExpression(sxir::AssignmentStatement::RHS).getData() == rhs->e.getData(),
          "an assignment does not share the nodes it was written with");
    checkSame(statement->asString(), lhs->text + "=" + rhs->text, "assignment text");
    ++mStatements;
}

void Program::openIf()
{
    FunctionModel* owner = pickFunction();
    std::uint8_t const choice = mIn.byte();
    if (owner == nullptr) {
        return;
    }
    Node const* condition = owner->pool.empty() ? nullptr : &owner->pool[choice % owner->pool.size()];
    if (owner->openIfs.size() >= kMaxIfDepth || mStatements >= kMaxStatements) {
        return;
    }
    sxir::Function& function = *owner->function;
    Expression const one(context(), 1);
    Expression const& expression = condition != nullptr ? condition->e : one;
    sxu::list<sxir::Statement*> const& list = function.getCurrentStatements().getStatementList();
    std::size_t const before = list.size();
    function.If(expression);
    check(list.size() == before + 1, "If did not append to the current list");
    auto* statement = dynamic_cast<sxir::IfStatement*>(list.back());
    check(statement != nullptr, "If appended something else than an if statement");
    check(statement->getExpression().getData() == expression.getData(), "an if does not hold its condition");
    check(statement->isEmpty(), "a new if statement is not empty");
    check(&function.getCurrentStatements() == &statement->getStatements(true), "If did not open the true branch");
    owner->openIfs.push_back(OpenIf{statement, false});
    ++mStatements;
}

void Program::elseStep()
{
    FunctionModel* owner = pickFunction();
    if (owner == nullptr || owner->openIfs.empty() || owner->openIfs.back().inElse) {
        return;
    }
    owner->function->Else();
    OpenIf& open = owner->openIfs.back();
    open.inElse = true;
    check(&owner->function->getCurrentStatements() == &open.statement->getStatements(false),
          "Else did not open the false branch");
}

void Program::endStep()
{
    FunctionModel* owner = pickFunction();
    if (owner == nullptr || owner->openIfs.empty()) {
        return;
    }
    owner->function->End();
    owner->openIfs.pop_back();
    sxir::CompoundStatement const* expected =
        owner->openIfs.empty() ? &owner->function->getStatements()
                               : &owner->openIfs.back().statement->getStatements(!owner->openIfs.back().inElse);
    check(&owner->function->getCurrentStatements() == expected, "End did not return to the enclosing list");
}

// ---------------------------------------------------------------------------
// Whole modules and functions

void Program::printFunction()
{
    FunctionModel* owner = pickFunction();
    if (owner == nullptr) {
        return;
    }
    std::string const first = owner->function->asString();
    checkSame(owner->function->asString(), first, "printing a function twice");
}

void Program::cloneFunction()
{
    FunctionModel* owner = pickFunction();
    // Only a function that refers to nothing but its own declarations can go anywhere.
    if (owner == nullptr || owner->refersOutside || mFunctionClones >= kMaxFunctionClones) {
        return;
    }
    sxir::Scope& global = mCloneContext->getGlobalScope();
    std::string const scratchName = "scratch_" + std::to_string(mFunctionClones++);
    auto* scratch = global.addScopeItem<sxir::Module>(scratchName);
    mCloneNames.insert(scratchName);
    sxir::ScopeItem* copy = scratch->getModuleScope().copyGenericItemIn(*owner->function);
    check(copy != nullptr && copy->getScopeItemType() == sxir::ScopeItemType::Function, "a function clone");
    check(&copy->getContext() == mCloneContext.get(), "a function clone in the wrong context");
    checkSame(copy->asString(), owner->function->asString(), "a function clone prints unlike its source");
}

/// Structural equivalence of two expression trees, written from the definition of
/// each node kind independently of the library's own comparison.
bool sameExpression(sxir::ExpressionData const* a, sxir::ExpressionData const* b)
{
    if (a == nullptr || b == nullptr) {
        return a == b;
    }
    if (a->getExpressionDataType() != b->getExpressionDataType()) {
        return false;
    }
    auto same = [](sxir::Expression const& x, sxir::Expression const& y) {
        return sameExpression(x.getData(), y.getData());
    };
    switch (a->getExpressionDataType()) {
    case sxir::ExpressionDataType::Constant: {
        auto const& x = static_cast<sxir::Constant const&>(*a);
        auto const& y = static_cast<sxir::Constant const&>(*b);
        sxu::DataTypeId::Type const id = x.getType()->getType();
        if (id != y.getType()->getType()) {
            return false;
        }
        void const* p = x.getGenericValue();
        void const* q = y.getGenericValue();
        switch (id) {
        case sxu::DataTypeId::Boolean:
            return *static_cast<unsigned char const*>(p) == *static_cast<unsigned char const*>(q);
        case sxu::DataTypeId::Real:
            return *static_cast<double const*>(p) == *static_cast<double const*>(q);
        case sxu::DataTypeId::Int32:
            return *static_cast<int const*>(p) == *static_cast<int const*>(q);
        case sxu::DataTypeId::UInt32:
            return *static_cast<unsigned int const*>(p) == *static_cast<unsigned int const*>(q);
        case sxu::DataTypeId::Char:
            return *static_cast<char const*>(p) == *static_cast<char const*>(q);
        }
        return false;
    }
    case sxir::ExpressionDataType::VariableRef:
        return &static_cast<sxir::VariableRef const&>(*a).getVariable() ==
               &static_cast<sxir::VariableRef const&>(*b).getVariable();
    case sxir::ExpressionDataType::Operator: {
        auto const& x = static_cast<sxir::Operator const&>(*a);
        auto const& y = static_cast<sxir::Operator const&>(*b);
        if (x.getOp() != y.getOp()) {
            return false;
        }
        for (unsigned long k = 0; k < x.getNumOperands(); ++k) {
            if (!same(x.getOperand(k), y.getOperand(k))) {
                return false;
            }
        }
        return true;
    }
    case sxir::ExpressionDataType::FunctionRef:
        return static_cast<sxir::FunctionRef const&>(*a).getFunction().getSerial() ==
               static_cast<sxir::FunctionRef const&>(*b).getFunction().getSerial();
    case sxir::ExpressionDataType::FunctionCall: {
        auto const& x = static_cast<sxir::FunctionCall const&>(*a);
        auto const& y = static_cast<sxir::FunctionCall const&>(*b);
        if (!same(x.getFunction(), y.getFunction()) || x.getNumOperands() != y.getNumOperands()) {
            return false;
        }
        for (unsigned long k = 0; k < x.getNumOperands(); ++k) {
            sxir::Expression const* p = x.getOperand(k);
            sxir::Expression const* q = y.getOperand(k);
            if (!sameExpression(p != nullptr ? p->getData() : nullptr, q != nullptr ? q->getData() : nullptr)) {
                return false;
            }
        }
        return true;
    }
    case sxir::ExpressionDataType::MatrixRef: {
        auto const& x = static_cast<sxir::MatrixRef const&>(*a);
        auto const& y = static_cast<sxir::MatrixRef const&>(*b);
        return same(x.getExpression(), y.getExpression()) && same(x.getIndex(0), y.getIndex(0)) &&
               same(x.getIndex(1), y.getIndex(1));
    }
    case sxir::ExpressionDataType::SubMatrix: {
        auto const& x = static_cast<sxir::SubMatrix const&>(*a);
        auto const& y = static_cast<sxir::SubMatrix const&>(*b);
        return same(x.getExpression(), y.getExpression()) && x.getFirst() == y.getFirst() && x.getLast() == y.getLast();
    }
    default:
        fail("an expression of a kind the fuzzer never builds");
    }
}

/// Equivalence of two assignments: left sides, then right sides.
bool sameAssignment(sxir::Statement const& a, sxir::Statement const& b)
{
    auto const& x = static_cast<sxir::AssignmentStatement const&>(a);
    auto const& y = static_cast<sxir::AssignmentStatement const&>(b);
    using Side = sxir::AssignmentStatement::Side;
    return sameExpression(x.getExpression(Side::LHS).getData(), y.getExpression(Side::LHS).getData()) &&
           sameExpression(x.getExpression(Side::RHS).getData(), y.getExpression(Side::RHS).getData());
}

/// Equivalence of two statements: an assignment never matches an if statement; two
/// if statements match when their branches are as long, their conditions match and
/// their statements match pair by pair.
bool sameStatement(sxir::Statement const& a, sxir::Statement const& b)
{
    auto const* x = dynamic_cast<sxir::IfStatement const*>(&a);
    auto const* y = dynamic_cast<sxir::IfStatement const*>(&b);
    if ((x == nullptr) != (y == nullptr)) {
        return false;
    }
    if (x == nullptr) {
        return sameAssignment(a, b);
    }
    for (bool const branch : {true, false}) {
        if (x->getStatements(branch).getStatementList().size() != y->getStatements(branch).getStatementList().size()) {
            return false;
        }
    }
    if (!sameExpression(x->getExpression().getData(), y->getExpression().getData())) {
        return false;
    }
    for (bool const branch : {true, false}) {
        auto const& left = x->getStatements(branch).getStatementList();
        auto const& right = y->getStatements(branch).getStatementList();
        for (auto l = left.begin(), r = right.begin(); l != left.end(); ++l, ++r) {
            if (!sameStatement(**l, **r)) {
                return false;
            }
        }
    }
    return true;
}

/// Checks the library's equivalence of if statements against the fuzzer's own: each
/// if statement with itself, with the statement after it, and with its counterpart
/// in a clone of its function.
void checkIfEquivalence(sxir::CompoundStatement const& source, sxir::CompoundStatement const& clone)
{
    std::vector<std::pair<sxir::CompoundStatement const*, sxir::CompoundStatement const*>> lists{{&source, &clone}};
    auto compare = [](sxir::Statement const& a, sxir::Statement const& b) {
        check(a.isEquivalent(b) == sameStatement(a, b), "statement equivalence", a.asString() + "vs\n" + b.asString());
    };
    while (!lists.empty()) {
        auto const [list, copy] = lists.back();
        lists.pop_back();
        auto const& statements = list->getStatementList();
        auto const& copies = copy->getStatementList();
        check(statements.size() == copies.size(), "a clone has another number of statements");
        for (auto s = statements.begin(), c = copies.begin(); s != statements.end(); ++s, ++c) {
            auto const* ifStatement = dynamic_cast<sxir::IfStatement const*>(*s);
            if (ifStatement == nullptr) {
                continue;
            }
            compare(**s, **s);
            compare(**s, **c);
            compare(**c, **s);
            if (std::next(s) != statements.end()) {
                compare(**s, **std::next(s));
                compare(**std::next(s), **s);
            }
            auto const* copiedIf = dynamic_cast<sxir::IfStatement const*>(*c);
            check(copiedIf != nullptr, "a clone has another statement where an if statement stands");
            for (bool const branch : {true, false}) {
                lists.emplace_back(&ifStatement->getStatements(branch), &copiedIf->getStatements(branch));
            }
        }
    }
}

/// Whether hoisting must leave the function as it is: no if statement anywhere has
/// an assignment in its true branch equivalent to one in its false branch (the
/// only thing hoisting moves), and no if statement is empty (the only thing the
/// clean-up removes). On the way, the library's equivalence of each such pair is
/// checked against the fuzzer's own.
bool isQuiet(sxir::Function const& function)
{
    bool quiet = true;
    std::vector<sxir::CompoundStatement const*> lists{&function.getStatements()};
    while (!lists.empty()) {
        sxir::CompoundStatement const* list = lists.back();
        lists.pop_back();
        for (sxir::Statement const* statement : list->getStatementList()) {
            auto const* ifStatement = dynamic_cast<sxir::IfStatement const*>(statement);
            if (ifStatement == nullptr) {
                continue;
            }
            auto const& whenTrue = ifStatement->getStatements(true).getStatementList();
            auto const& whenFalse = ifStatement->getStatements(false).getStatementList();
            if (whenTrue.empty() && whenFalse.empty()) {
                quiet = false;
            }
            for (sxir::Statement const* t : whenTrue) {
                if (t->getStatementType() != sxir::StatementType::Assignment) {
                    continue;
                }
                for (sxir::Statement const* e : whenFalse) {
                    if (e->getStatementType() != sxir::StatementType::Assignment) {
                        continue;
                    }
                    bool const equivalent = sameAssignment(*t, *e);
                    check(t->isEquivalent(*e) == equivalent, "assignment equivalence",
                          t->asString() + " vs " + e->asString());
                    quiet = quiet && !equivalent;
                }
            }
            lists.push_back(&ifStatement->getStatements(true));
            lists.push_back(&ifStatement->getStatements(false));
        }
    }
    return quiet;
}

// A shadow of a statement list on which hoisting is carried out as defined, to
// compare with what the library's pass does to the real one. An assignment keeps
// its statement for its text and for the equivalence test: a hoisted copy prints
// and compares like the statement it was copied from.
struct Shadow {
    sxir::Statement const* assignment = nullptr; // null for an if statement
    std::string condition;
    std::list<Shadow> branches[2]; // true, false
};
using ShadowList = std::list<Shadow>;

ShadowList shadowOf(sxir::CompoundStatement const& statements)
{
    ShadowList list;
    for (sxir::Statement const* statement : statements.getStatementList()) {
        Shadow shadow;
        if (auto const* ifStatement = dynamic_cast<sxir::IfStatement const*>(statement)) {
            shadow.condition = ifStatement->getExpression().asString();
            shadow.branches[0] = shadowOf(ifStatement->getStatements(true));
            shadow.branches[1] = shadowOf(ifStatement->getStatements(false));
        } else {
            shadow.assignment = statement;
        }
        list.push_back(std::move(shadow));
    }
    return list;
}

/// Moves the first assignment of the true branch that has an equivalent one in the
/// false branch in front of the if statement at `position`, nested ifs first as
/// they come; at most one.
bool shadowHoist(ShadowList& list, ShadowList::iterator position)
{
    ShadowList& whenTrue = position->branches[0];
    ShadowList& whenFalse = position->branches[1];
    if (whenTrue.empty()) {
        return false;
    }
    for (auto t = whenTrue.begin(); t != whenTrue.end(); ++t) {
        if (t->assignment == nullptr) {
            if (shadowHoist(whenTrue, t)) {
                return true;
            }
            continue;
        }
        for (auto e = whenFalse.begin(); e != whenFalse.end(); ++e) {
            if (e->assignment == nullptr) {
                if (shadowHoist(whenFalse, e)) {
                    return true;
                }
                continue;
            }
            if (sameAssignment(*t->assignment, *e->assignment)) {
                Shadow copy;
                copy.assignment = t->assignment;
                list.insert(position, std::move(copy));
                whenTrue.erase(t);
                whenFalse.erase(e);
                return true;
            }
        }
    }
    return false;
}

/// One sweep over the top level of a body.
bool shadowSweep(ShadowList& body)
{
    bool hoisted = false;
    for (auto position = body.begin(); position != body.end(); ++position) {
        if (position->assignment == nullptr && shadowHoist(body, position)) {
            hoisted = true;
        }
    }
    return hoisted;
}

/// Removes empty ifs: once something was removed from a list, an if statement that
/// the recursion changed is examined again (and removed if now empty); an if
/// statement emptied only by the recursion is otherwise kept. True when anything
/// was removed at any depth.
bool shadowEliminate(ShadowList& list)
{
    bool removed = false;
    bool removedAny = false;
    auto position = list.begin();
    while (position != list.end()) {
        if (position->assignment != nullptr) {
            ++position;
            continue;
        }
        if (position->branches[0].empty() && position->branches[1].empty()) {
            position = list.erase(position);
            removedAny = true;
            if (position == list.end()) {
                break;
            }
            removed = true;
            continue;
        }
        bool const inTrue = shadowEliminate(position->branches[0]);
        bool const inFalse = shadowEliminate(position->branches[1]);
        removedAny = removedAny || inTrue || inFalse;
        if (!(removed && (inTrue || inFalse))) {
            ++position;
        }
    }
    return removedAny;
}

/// The text of a statement list, laid out as the library prints a body.
void shadowText(ShadowList const& list, std::string& out)
{
    for (Shadow const& statement : list) {
        out += "    ";
        if (statement.assignment != nullptr) {
            out += statement.assignment->asString();
        } else {
            out += "if " + statement.condition + "\n";
            shadowText(statement.branches[0], out);
            if (!statement.branches[1].empty()) {
                out += "else\n";
                shadowText(statement.branches[1], out);
            }
            out += "end\n";
        }
        out += "\n";
    }
}

/// The body text that hoisting `function` must give.
std::string hoistedBody(sxir::Function const& function)
{
    ShadowList body = shadowOf(function.getStatements());
    while (shadowSweep(body)) {
    }
    shadowEliminate(body);
    std::string text;
    shadowText(body, text);
    return text;
}

/// The texts of the assignments of a function, at any depth, and its if count.
std::multiset<std::string> assignmentTexts(sxir::Function const& function, std::size_t& ifs)
{
    std::multiset<std::string> texts;
    ifs = 0;
    std::vector<sxir::CompoundStatement const*> lists{&function.getStatements()};
    while (!lists.empty()) {
        sxir::CompoundStatement const* list = lists.back();
        lists.pop_back();
        for (sxir::Statement const* statement : list->getStatementList()) {
            if (auto const* ifStatement = dynamic_cast<sxir::IfStatement const*>(statement)) {
                ++ifs;
                lists.push_back(&ifStatement->getStatements(true));
                lists.push_back(&ifStatement->getStatements(false));
            } else {
                texts.insert(statement->asString());
            }
        }
    }
    return texts;
}

std::vector<sxir::Function*> functionsOf(sxir::Module& module)
{
    std::vector<sxir::Function*> functions;
    sxir::Scope& scope = module.getModuleScope();
    for (unsigned long k = 0; k < scope.getNumScopeItems(); ++k) {
        if (auto* function = dynamic_cast<sxir::Function*>(scope.getGenericScopeItem(k))) {
            functions.push_back(function);
        }
    }
    return functions;
}

std::vector<sxir::Module*> modulesOf(sxir::Module& module)
{
    std::vector<sxir::Module*> modules;
    sxir::Scope& scope = module.getModuleScope();
    for (unsigned long k = 0; k < scope.getNumScopeItems(); ++k) {
        if (auto* nested = dynamic_cast<sxir::Module*>(scope.getGenericScopeItem(k))) {
            modules.push_back(nested);
        }
    }
    return modules;
}

/// Clones `module` into the global scope of `target`, whose names are `names`: the
/// clone takes the module's name if it is free there, else name0, name1, ...
sxir::Module& cloneModule(sxir::Context& target, std::set<std::string>& names, sxir::Module const& module)
{
    std::string expected = module.getName();
    for (unsigned long k = 0; names.count(expected) != 0; ++k) {
        expected = module.getName() + std::to_string(k);
    }
    sxir::ScopeItem* copy = target.getGlobalScope().copyGenericItemIn(module);
    check(copy != nullptr && copy->getScopeItemType() == sxir::ScopeItemType::Module, "a module clone");
    check(&copy->getContext() == &target, "a module clone in the wrong context");
    checkSame(copy->getName(), expected, "the name of a module clone");
    names.insert(expected);
    return static_cast<sxir::Module&>(*copy);
}

/// Printing, cloning and hoisting of a top-level module whose functions have no open if.
void Program::checkModule(ModuleModel& model)
{
    sxir::Module& module = *model.module;
    std::string const text = module.asString();
    if (mVerbose) {
        std::fprintf(stderr, "== module %s\n%s\n", module.getName().c_str(), text.c_str());
    }
    checkSame(module.asString(), text, "printing a module twice");

    sxir::Module& clone = cloneModule(*mCloneContext, mCloneNames, module);
    checkSame(clone.asString(), text, "a module clone prints unlike its source");
    {
        std::vector<sxir::Function*> const sources = functionsOf(module);
        std::vector<sxir::Function*> const copies = functionsOf(clone);
        check(sources.size() == copies.size(), "a module clone has another number of functions");
        for (std::size_t k = 0; k < sources.size(); ++k) {
            // The clone writes its own copies of the statements setSignature wrote, one each.
            sxir::CompoundStatement const& body = sources[k]->getStatements();
            check(body.getStatementList().size() == copies[k]->getStatements().getStatementList().size(),
                  "a function clone has another number of statements");
            checkIfEquivalence(body, copies[k]->getStatements());
        }
    }

    struct Before {
        sxir::Function* function;
        std::string text;
        bool quiet;
        std::multiset<std::string> assignments;
        std::size_t ifs;
        std::string hoistedBody;
    };
    std::vector<Before> before;
    for (sxir::Function* function : functionsOf(module)) {
        Before entry{function, function->asString(), isQuiet(*function), {}, 0, hoistedBody(*function)};
        entry.assignments = assignmentTexts(*function, entry.ifs);
        before.push_back(std::move(entry));
    }
    std::vector<std::pair<sxir::Module*, std::string>> nested;
    for (sxir::Module* inner : modulesOf(module)) {
        nested.emplace_back(inner, inner->asString());
    }

    sxir::CodeHoistor hoistor;
    hoistor.analyze(module);

    for (Before const& entry : before) {
        std::string const after = entry.function->asString();
        if (entry.quiet) {
            checkSame(after, entry.text, "hoisting changed a function with nothing to hoist");
        }
        checkSame(entry.function->getStatements().asString(), entry.hoistedBody, "hoisting result");
        std::size_t ifs = 0;
        std::multiset<std::string> const assignments = assignmentTexts(*entry.function, ifs);
        check(ifs <= entry.ifs, "hoisting added an if statement", after);
        for (std::string const& assignment : assignments) {
            check(assignments.count(assignment) <= entry.assignments.count(assignment),
                  "hoisting made an assignment that was not there", assignment + "\nin\n" + after);
        }
        // Nothing is left to hoist, and the removal of empty ifs cannot make anything hoistable.
        check(!hoistor.analyzeFcn(*entry.function), "a second sweep after hoisting still hoisted", after);
        checkSame(entry.function->asString(), after, "a sweep that hoisted nothing changed the function");
    }
    // Functions of nested modules are not hoisted.
    for (auto const& entry : nested) {
        checkSame(entry.first->asString(), entry.second, "hoisting changed a nested module");
    }

    std::string const hoisted = module.asString();
    if (mVerbose) {
        std::fprintf(stderr, "== module %s hoisted\n%s\n", module.getName().c_str(), hoisted.c_str());
    }
    // Hoisting the clone gives the same result: equivalence does not depend on the context.
    sxir::CodeHoistor().analyze(clone);
    checkSame(clone.asString(), hoisted, "the hoisted clone differs from the hoisted source");
    // A clone of the hoisted module prints like it.
    checkSame(cloneModule(*mCloneContext, mCloneNames, module).asString(), hoisted, "a clone of a hoisted module");
}

void Program::cloneModuleStep()
{
    ModuleModel* model = pickModule();
    if (model == nullptr || model->parent != nullptr || mModuleChecks >= kMaxModuleChecks) {
        return;
    }
    ++mModuleChecks;
    checkSame(cloneModule(*mCloneContext, mCloneNames, *model->module).asString(), model->module->asString(),
              "a module clone prints unlike its source");
}

void Program::hoistStep()
{
    ModuleModel* model = pickModule();
    if (model == nullptr || model->parent != nullptr || mModuleChecks >= kMaxModuleChecks) {
        return;
    }
    // Hoisting removes empty ifs, so no function of the module may be writing into one.
    for (auto const& function : mFunctions) {
        ModuleModel const* top = function->module;
        while (top->parent != nullptr) {
            top = top->parent;
        }
        if (top == model && !function->openIfs.empty()) {
            return;
        }
    }
    ++mModuleChecks;
    checkModule(*model);
}

void Program::run()
{
    using Step = void (Program::*)();
    static Step const steps[] = {
        &Program::newModule,
        &Program::newModuleVariable,
        &Program::newFunction,
        &Program::newLocal,
        &Program::constant,
        &Program::variableReference,
        &Program::functionReference,
        &Program::import,
        &Program::operation,
        &Program::element,
        &Program::subRange,
        &Program::callStep,
        &Program::assignment,
        &Program::openIf,
        &Program::elseStep,
        &Program::endStep,
        &Program::cloneModuleStep,
        &Program::cloneFunction,
        &Program::probe,
        &Program::hoistStep,
        &Program::printFunction,
        &Program::misplacedItem,
        &Program::bareConstant,
    };
    constexpr std::size_t stepCount = sizeof steps / sizeof *steps;
    try {
        for (std::size_t count = 0; count < kMaxSteps && !mIn.exhausted(); ++count) {
            std::size_t const step = mIn.byte() % stepCount;
            if (mVerbose) {
                std::fprintf(stderr, "step %zu: %zu\n", count, step);
            }
            (this->*steps[step])();
        }
        // Close every open if, innermost first.
        for (auto const& function : mFunctions) {
            while (!function->openIfs.empty()) {
                function->function->End();
                function->openIfs.pop_back();
            }
            check(&function->function->getCurrentStatements() == &function->function->getStatements(),
                  "the body is not current once every if is closed");
        }
        mModuleChecks = 0;
        for (auto const& module : mModules) {
            if (module->parent == nullptr) {
                checkModule(*module);
            }
        }
    } catch (sxir::ReportedError const& error) {
        fail("an error was reported where none was expected", error.what());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    Input in(data, size);
    Program program(in);
    program.run();
    return 0;
}
