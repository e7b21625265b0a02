// A coverage-guided fuzzer of whole programs. Each input is decoded into API calls
// on a fresh context: modules, typed variables, signatures, functions and their
// locals, expressions of every kind, assignments, if/else, clones of modules into
// a second context, hoisting. After the program every top-level module is printed,
// verified, cloned, run, hoisted by the safe pass (which must change no run) and by the
// literal one, and cloned again; a violated invariant traps.
//
// Encoding: the input is a sequence of steps of seven bytes each, an opcode (modulo
// the number of steps) and six argument bytes a[0] to a[5]; missing bytes read as
// zero. A choice among candidates is a byte modulo their count. The steps of the
// second table work on the function a[0] picks and do nothing before there is one.
// A step that cannot apply (an empty pool, a limit reached) does nothing. User
// errors (invalid or duplicate names, misplaced items, assignments that belong to
// no function) are made on purpose; the library reports them as ReportedError.
// Faults that only a check finds (assignments to what is not storage, constant
// indices outside their matrix) are made on purpose too: the verifier must flag
// each, and where it finds nothing, no run may fail but for what only a run knows.
//
// With SXIR_FUZZ_COMPILE=1 in the environment, each module is also emitted as C,
// compiled with the system C compiler and its undefined-behaviour sanitizer, and
// run on the same inputs as the interpreter: every output bit must agree.

#include "ir/sxir.hpp"
#include "tests/support/CompiledRuns.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using sxir::Expression;
using Args = std::array<unsigned, 6>;

void check(bool condition, char const* what, std::string const& detail)
{
    if (!condition) {
        std::fprintf(stderr, "\n*** sxir fuzzer: %s\n%s\n", what, detail.c_str());
        __builtin_trap();
    }
}

// Limits that keep every input fast.
constexpr std::size_t kMaxModules = 6;
constexpr std::size_t kMaxFunctions = 10;
constexpr unsigned long kMaxParameters = 3; // inputs, and outputs, of a signature
constexpr std::size_t kMaxPool = 32;
constexpr std::size_t kMaxStatements = 200;
constexpr std::size_t kMaxIfDepth = 5;
constexpr std::size_t kMaxChecks = 4; // check steps
constexpr std::size_t kMaxText = 120; // characters of an expression's text

// A name byte from 0xF0 up picks an invalid identifier instead of a name of the pool.
char const* const kVariableNames[] = {"x", "y", "z", "a", "b", "A", "B", "n"};
char const* const kFunctionNames[] = {"f", "g", "h", "main"};
char const* const kModuleNames[] = {"m", "lib", "core"};
char const* const kInvalidNames[] = {"", "1x", "a b", "x-y"};

template <std::size_t N>
std::string name(unsigned choice, char const* const (&pool)[N])
{
    return choice >= 0xF0 ? kInvalidNames[choice % 4] : pool[choice % N];
}

/// A type byte: bits 0-2 the data type (modulo 5); with bit 3 set, a matrix of
/// bits 4-5 rows and bits 6-7 columns of it.
std::unique_ptr<sxir::Type> makeType(sxir::Context const& context, unsigned choice)
{
    auto const id = static_cast<sxu::DataTypeId::Type>((choice & 7) % 5);
    if ((choice & 8) == 0) {
        return std::unique_ptr<sxir::Type>(context.getBuiltinType(id).clone());
    }
    return std::make_unique<sxir::MatrixType>(context, id, sxu::Dimension((choice >> 4) & 3, choice >> 6));
}

bool isIf(sxir::Statement const* statement)
{
    return statement->getStatementType() == sxir::StatementType::If;
}

/// What the bodies of a module's functions hold, before and after hoisting.
struct Survey {
    // Each assignment's text, weighted by the chance that a run through the body
    // performs it when every if takes either branch with even odds. Hoisting keeps
    // these chances, since a run performs a hoisted assignment on either branch
    // (equivalent assignments print alike here: no constant is NaN or -0).
    std::map<std::string, double> chances;
    std::set<sxir::IfStatement const*> holdingIfs; // the ifs that hold an if
};

void survey(sxir::CompoundStatement const& list, double chance, sxir::IfStatement const* parent, Survey& out)
{
    for (sxir::Statement const* statement : list.getStatementList()) {
        if (!isIf(statement)) {
            out.chances[statement->asString()] += chance;
            continue;
        }
        auto const& nested = static_cast<sxir::IfStatement const&>(*statement);
        out.holdingIfs.insert(parent);
        survey(nested.getStatements(true), chance / 2, &nested, out);
        survey(nested.getStatements(false), chance / 2, &nested, out);
    }
}

/// What hoisting leaves in `list`. An if left empty held an if before: an if whose
/// own statements were all hoisted is removed, only the removal of the empty ifs in
/// it may leave it empty. And a searched if holds no pair of equivalent assignments,
/// one per branch. Every top-level if is searched, and so are the ifs of a searched
/// if's true branch; those of its false branch only when its true branch has an
/// assignment, since the pass looks into them only for a partner of one.
void checkHoisted(sxir::CompoundStatement const& list, bool searched, std::set<sxir::IfStatement const*> const& heldIfs)
{
    for (sxir::Statement const* statement : list.getStatementList()) {
        if (!isIf(statement)) {
            continue;
        }
        auto const& ifStatement = static_cast<sxir::IfStatement const&>(*statement);
        check(!ifStatement.isEmpty() || heldIfs.count(&ifStatement) != 0, "hoisting left an empty if",
              list.getFunction().asString());
        bool assigns = false;
        for (sxir::Statement const* whenTrue : ifStatement.getStatements(true).getStatementList()) {
            assigns = assigns || !isIf(whenTrue);
            for (sxir::Statement const* whenFalse : ifStatement.getStatements(false).getStatementList()) {
                check(!searched || isIf(whenTrue) || !whenTrue->isEquivalent(*whenFalse),
                      "hoisting left an assignment in both branches",
                      whenTrue->asString() + "\nin\n" + list.getFunction().asString());
            }
        }
        checkHoisted(ifStatement.getStatements(true), searched, heldIfs);
        checkHoisted(ifStatement.getStatements(false), searched && assigns, heldIfs);
    }
}

std::vector<sxir::Function*> functionsOf(sxir::Module& module)
{
    std::vector<sxir::Function*> functions;
    sxir::Scope& scope = module.getModuleScope();
    for (unsigned long k = 0; k < scope.getNumScopeItems(); ++k) {
        if (scope.getGenericScopeItem(k)->getScopeItemType() == sxir::ScopeItemType::Function) {
            functions.push_back(static_cast<sxir::Function*>(scope.getGenericScopeItem(k)));
        }
    }
    return functions;
}

/// The module of the global scope that holds `function`, however deep.
sxir::Module const* topModule(sxir::Function const& function)
{
    sxir::Module const* top = nullptr;
    for (sxir::Scope const* scope = &function.getParentScope(); scope != nullptr;) {
        auto const* module =
            dynamic_cast<sxir::ModuleScopeConfiguration const*>(&scope->getScopeData().getConfiguration());
        top = module != nullptr ? &module->getModule() : top;
        scope = module != nullptr ? module->getParentScope() : nullptr;
    }
    return top;
}

/// The findings of the verifier as text.
std::string findings(std::vector<sxir::Diagnostic> const& diagnostics)
{
    std::string text;
    for (sxir::Diagnostic const& diagnostic : diagnostics) {
        text += diagnostic.id + " " + diagnostic.path + ": " + diagnostic.message + "\n";
    }
    return text;
}

/// A function with a signature, the expressions built for it and its open ifs.
struct Fn {
    sxir::Function* function;
    std::vector<Expression> pool = {};
    std::size_t replaced = 0;
    std::vector<bool> open = {}; // innermost last: true once in the false branch
};

Expression const* node(Fn const& fn, unsigned choice)
{
    return fn.pool.empty() ? nullptr : &fn.pool[choice % fn.pool.size()];
}

/// The declaration `name` denotes in the body of `fn`, when a clone of the module
/// denotes the same one: a parameter or local of `fn`, or an item of its module
/// declared before it (a clone copies a module's items in order).
sxir::ScopeItem const* resolve(Fn const& fn, std::string const& name)
{
    sxir::ScopeItem const* item = (*fn.function)(name);
    if (item == nullptr || item->getScopeItemType() == sxir::ScopeItemType::Module) {
        return nullptr;
    }
    sxir::Scope const& scope = item->getParentScope();
    bool const earlier = &scope == &fn.function->getParentScope() && item->getId() < fn.function->getId();
    return earlier || scope.resolveFunction() == fn.function ? item : nullptr;
}

class Program {
public:
    void run(std::uint8_t const* data, std::size_t size);

private:
    // Declarations and whole modules.

    void newModule(Args const& a)
    {
        // a[0]: the parent, the global scope after the last module; a[1]: the name.
        std::size_t const parent = a[0] % (mModules.size() + 1);
        if (mModules.size() < kMaxModules) {
            sxir::Scope& scope =
                parent == mModules.size() ? mContext->getGlobalScope() : mModules[parent]->getModuleScope();
            mModules.push_back(scope.addScopeItem<sxir::Module>(name(a[1], kModuleNames)));
        }
    }

    void newModuleVariable(Args const& a)
    {
        // a[0]: the module, a[1]: the name, a[2]: the type.
        if (!mModules.empty()) {
            sxir::Scope& scope = mModules[a[0] % mModules.size()]->getModuleScope();
            scope.addScopeItem<sxir::Variable>(name(a[1], kVariableNames))->setType(*makeType(*mContext, a[2]));
        }
    }

    void newParameter(Args const& a)
    {
        // a[0] bit 0: an output, else an input; a[1]: the name, a[2]: the type. The next function takes them.
        auto const kind = static_cast<sxir::FunctionIoScopeType::Type>(a[0] & 1);
        if (mSignature->getScope(kind).getNumScopeItems() < kMaxParameters) {
            mSignature->addVariable(kind, name(a[1], kVariableNames)).setType(*makeType(*mContext, a[2]));
        }
    }

    void newFunction(Args const& a)
    {
        // a[0]: the module, a[1]: the name; a[2] bit 0: without a signature, a declaration only.
        if (mModules.empty() || mDeclaredFunctions++ >= kMaxFunctions) {
            return;
        }
        sxir::Scope& scope = mModules[a[0] % mModules.size()]->getModuleScope();
        auto* function = scope.addScopeItem<sxir::Function>(name(a[1], kFunctionNames));
        if ((a[2] & 1) == 0) {
            function->setSignature(*mSignature);
            mFunctions.push_back(Fn{function});
        }
        mSignature.reset(new sxir::FunctionSignature(*mContext));
    }

    void checkStep(Args const& a)
    {
        // a[0]: the top-level module; a[1] bit 0: a clone only. Hoisting waits until
        // no function is writing into an if, since it may remove that if.
        sxir::Scope& global = mContext->getGlobalScope();
        auto* module = global.isEmpty()
                           ? nullptr
                           : dynamic_cast<sxir::Module*>(global.getGenericScopeItem(a[0] % global.getNumScopeItems()));
        bool const writing =
            std::any_of(mFunctions.begin(), mFunctions.end(), [](Fn const& fn) { return !fn.open.empty(); });
        if (module == nullptr || mChecks++ >= kMaxChecks) {
            return;
        }
        if ((a[1] & 1) != 0 || writing) {
            checkClone(*module, module->asString());
        } else {
            checkModule(*module);
        }
    }

    // Steps on a function; a[0] picked it.

    void add(Fn& fn, Expression const& e)
    {
        if (e.asString().size() > kMaxText) {
            return;
        }
        if (fn.pool.size() < kMaxPool) {
            fn.pool.push_back(e);
        } else {
            fn.pool[fn.replaced++ % kMaxPool] = e;
        }
    }

    void newLocal(Fn& fn, Args const& a)
    {
        // a[1]: the name, a[2]: the type. A local must not hide what the body may already refer to.
        std::string const local = name(a[1], kVariableNames);
        sxir::Scope& locals = fn.function->getFunctionScope(sxir::FunctionScopeType::Local);
        sxir::ScopeItem const* seen = (*fn.function)(local);
        if (seen == nullptr || &seen->getParentScope() == &locals) {
            locals.addScopeItem<sxir::Variable>(local)->setType(*makeType(*mContext, a[2]));
        }
    }

    void misplacedItem(Fn& fn, Args const& a)
    {
        // a[1] modulo 4: a variable or function in the global scope, a module or function among locals; a[2]: the name.
        using Kind = sxir::ScopeItemType;
        Kind::Type const kinds[] = {Kind::Variable, Kind::Function, Kind::Module, Kind::Function};
        unsigned const kind = a[1] % 4;
        sxir::Scope& scope =
            kind < 2 ? mContext->getGlobalScope() : fn.function->getFunctionScope(sxir::FunctionScopeType::Local);
        scope.addGenericScopeItem(kinds[kind], name(a[2], kFunctionNames));
    }

    void constant(Fn& fn, Args const& a)
    {
        // a[1] modulo 5: the value type, a[2]: the value.
        sxir::Context const& context = *mContext;
        Expression const constants[] = {
            Expression(context, static_cast<unsigned char>(a[2] & 1)),
            Expression(context, static_cast<std::int8_t>(a[2]) / 4.0),
            Expression(context, static_cast<int>(static_cast<std::int8_t>(a[2]))),
            Expression(context, a[2]),
            Expression(context, static_cast<char>(a[2])),
        };
        add(fn, constants[a[1] % 5]);
    }

    void reference(Fn& fn, Args const& a)
    {
        // a[1] bit 0 clear: a variable, set: a function; the other bits name it.
        std::string const referenced =
            (a[1] & 1) == 0 ? kVariableNames[(a[1] >> 1) % 8] : kFunctionNames[(a[1] >> 1) % 4];
        if (sxir::ScopeItem const* item = resolve(fn, referenced)) {
            add(fn, Expression(*item));
        }
    }

    void operation(Fn& fn, Args const& a)
    {
        // a[1]: the operation, a[2] and a[3]: the operands.
        auto const op = static_cast<sxir::OpId::Type>(a[1] % sxir::OpId::Count);
        Expression const* left = node(fn, a[2]);
        Expression const* right = node(fn, a[3]);
        if (left != nullptr) {
            add(fn, sxir::Operator::getNumOperands(op) == 1 ? Expression(op, *left) : Expression(op, *left, *right));
        }
    }

    void element(Fn& fn, Args const& a)
    {
        // a[1]: the matrix, a[2] and a[3]: the indices; a[4] bit 0: with a column index.
        Expression const* matrix = node(fn, a[1]);
        Expression const* i = node(fn, a[2]);
        Expression const* j = node(fn, a[3]);
        if (matrix != nullptr) {
            add(fn, (a[4] & 1) != 0 ? (*matrix)(*i, *j) : (*matrix)(*i));
        }
    }

    void subRange(Fn& fn, Args const& a)
    {
        // a[1]: the matrix, a[2] and a[3] modulo 8: the first and last element.
        Expression const* matrix = node(fn, a[1]);
        if (matrix != nullptr && dynamic_cast<sxir::MatrixType const*>(matrix->getGenericType()) != nullptr) {
            add(fn, (*matrix)(sxir::Colon(a[2] % 8, a[3] % 8)));
        }
    }

    void callStep(Fn& fn, Args const& a)
    {
        // The first expression typed by a signature from a[1] on, called with a[2]
        // modulo (inputs + 1) operands, a[3] to a[5].
        for (std::size_t k = 0; k < fn.pool.size(); ++k) {
            Expression const callee = fn.pool[(a[1] + k) % fn.pool.size()];
            auto const* signature = dynamic_cast<sxir::FunctionSignature const*>(callee.getGenericType());
            if (signature == nullptr) {
                continue;
            }
            unsigned long const count =
                a[2] % (signature->getScope(sxir::FunctionIoScopeType::Input).getNumScopeItems() + 1);
            if (count == 0) {
                return add(fn, sxir::call(callee));
            }
            sxir::FunctionCallBuilder builder = callee << *node(fn, a[3]);
            for (unsigned long position = 1; position < count; ++position) {
                builder << *node(fn, a[3 + position]);
            }
            return add(fn, Expression(builder));
        }
    }

    void assignment(Fn& fn, Args const& a)
    {
        // a[1]: the left side, a[2]: the right side; a[3] from 0x80 up: a fault instead.
        if (a[3] >= 0x80) {
            return fault(fn, a);
        }
        Expression const* lhs = node(fn, a[1]);
        if (lhs != nullptr && mStatements++ < kMaxStatements) {
            **lhs = *node(fn, a[2]); // reported when neither side belongs to a function
            // A constant, an operation or a call, or an input, on the left is not storage.
            using Kind = sxir::ExpressionDataType;
            Kind::Type const kind = lhs->getData()->getExpressionDataType();
            bool const storage = kind != Kind::Constant && kind != Kind::Operator && kind != Kind::FunctionCall &&
                                 (kind != Kind::VariableRef || lhs->isLValue());
            if (!storage) {
                planted(fn, sxir::ErrorId::VerifyNotAssignable);
            }
        }
    }

    void fault(Fn& fn, Args const& a)
    {
        // a[3] modulo 3: an assignment to a constant, to an input, or of element (rows, 0) of a variable
        // of fn; a[1] picks the input, or the variable among the inputs, outputs and locals, of those
        // its name finds (a copy finds each by name).
        std::vector<sxir::Variable const*> variables;
        unsigned long inputs = 0;
        for (unsigned long kind = 0; kind < sxir::FunctionScopeType::Count; ++kind) {
            sxir::Scope const& scope = fn.function->getFunctionScope(static_cast<sxir::FunctionScopeType::Type>(kind));
            for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
                sxir::ScopeItem const* item = scope.getGenericScopeItem(i);
                if ((*fn.function)(item->getName()) == item) {
                    variables.push_back(static_cast<sxir::Variable const*>(item));
                    inputs += kind == sxir::FunctionScopeType::Input ? 1 : 0;
                }
            }
        }
        unsigned const kind = a[3] % 3;
        unsigned long const candidates = kind == 0 ? 1 : kind == 1 ? inputs : variables.size();
        if (mStatements >= kMaxStatements || candidates == 0) {
            return;
        }
        Expression lhs(*mContext, 2.0);
        Expression rhs(*mContext, 1.0);
        if (kind != 0) {
            sxir::Variable const& variable = *variables[a[1] % candidates];
            sxir::Type const& type = variable.getType();
            bool const numbers = type.getTypeId() != sxir::TypeId::FunctionSignature &&
                                 type.getBaseType().getTypeId() == sxir::TypeId::Builtin;
            if (kind == 2 && !numbers) {
                return;
            }
            lhs = Expression(variable);
            rhs = kind == 2 ? Expression(variable)(static_cast<int>(type.getDimension().m()), 0) : rhs;
        }
        std::unique_ptr<sxir::AssignmentStatement> statement(new sxir::AssignmentStatement(*fn.function));
        statement->setExpression(sxir::AssignmentStatement::LHS, lhs);
        statement->setExpression(sxir::AssignmentStatement::RHS, rhs);
        ++mStatements;
        fn.function->append(statement.release());
        planted(fn, kind == 2 ? sxir::ErrorId::VerifyIndexOutOfRange : sxir::ErrorId::VerifyNotAssignable);
    }

    /// Notes a fault that the verifier must find in the module of `fn`.
    void planted(Fn const& fn, char const* id) { mPlanted[topModule(*fn.function)].insert(id); }

    void openIf(Fn& fn, Args const& a)
    {
        // a[1]: the condition.
        Expression const* condition = node(fn, a[1]);
        if (condition != nullptr && fn.open.size() < kMaxIfDepth && mStatements++ < kMaxStatements) {
            fn.function->If(*condition);
            fn.open.push_back(false);
        }
    }

    void elseStep(Fn& fn, Args const&)
    {
        if (!fn.open.empty() && !fn.open.back()) {
            fn.function->Else();
            fn.open.back() = true;
        }
    }

    void endStep(Fn& fn, Args const&)
    {
        if (!fn.open.empty()) {
            fn.function->End();
            fn.open.pop_back();
        }
    }

    // The checks.

    void checkClone(sxir::Module const& module, sxu::string const& text)
    {
        sxu::string const copy = mCloneContext->getGlobalScope().copyGenericItemIn(module)->asString();
        check(copy == text, "a clone prints unlike its source", text + "\n--- clone:\n" + copy);
    }

    /// What a run gives: the outputs, or the error it reported.
    struct Outcome {
        std::vector<sxir::Value> outputs;
        std::string error;
        std::string id;
        std::string part; ///< the error's second argument
        bool operator==(Outcome const& other) const { return outputs == other.outputs && error == other.error; }
    };

    static Outcome runOnce(sxir::Interpreter& interpreter, sxir::Function const& function,
                           std::vector<sxir::Value> const& inputs)
    {
        Outcome outcome;
        try {
            outcome.outputs = interpreter.run(function, inputs);
        } catch (sxir::ReportedError const& error) {
            outcome.error = error.what();
            outcome.id = error.getId();
            outcome.part = error.getArgument(2);
        }
        return outcome;
    }

    static std::string describe(Outcome const& outcome)
    {
        std::string text = outcome.error;
        for (sxir::Value const& value : outcome.outputs) {
            text += value.asString() + "; ";
        }
        return text;
    }

    /// The numbers the inputs of runs take, in turn.
    static std::vector<std::vector<double>> const& patterns()
    {
        double const inf = std::numeric_limits<double>::infinity();
        static std::vector<std::vector<double>> const values = {
            {0.0},
            {1.0, -2.0, 0.5, 3.0},
            {-0.0, std::numeric_limits<double>::quiet_NaN(), inf, -inf, -2147483648.0, 4294967295.0, 1e10, -129.0},
        };
        return values;
    }

    /// Inputs for `function` from `pattern`, one number per element in turn; false when an input
    /// is a function, which no pattern gives.
    static bool inputsOf(sxir::Function const& function, std::vector<double> const& pattern,
                         std::vector<sxir::Value>& inputs)
    {
        sxir::Scope const& scope = function.getFunctionScope(sxir::FunctionScopeType::Input);
        std::size_t next = 0;
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            sxir::Type const& type = static_cast<sxir::Variable const*>(scope.getGenericScopeItem(i))->getType();
            if (type.getTypeId() == sxir::TypeId::FunctionSignature ||
                type.getBaseType().getTypeId() != sxir::TypeId::Builtin) {
                return false;
            }
            std::vector<double> elements;
            for (unsigned long k = 0; k < type.getDimension().m() * type.getDimension().n(); ++k) {
                elements.push_back(pattern[next++ % pattern.size()]);
            }
            auto const id = static_cast<sxir::BuiltinType const&>(type.getBaseType()).getType();
            inputs.emplace_back(id, type.getDimension(), elements);
        }
        return true;
    }

    /// A run of a function of a module the verifier finds nothing in fails only for what only a
    /// run can know: index values, call depth, a call through a variable that holds no function.
    static void checkContract(Outcome const& outcome, sxir::Module const& module)
    {
        using Id = sxir::ErrorId;
        bool const runTimeMatter =
            outcome.id == Id::EvalUnsetOperand && outcome.part == "a variable that holds no function";
        for (char const* id : {Id::EvalDimensionMismatch, Id::EvalUnsetOperand, Id::EvalNotEvaluable,
                               Id::EvalNotAssignable, Id::EvalInvalidArguments}) {
            check(outcome.id != id || runTimeMatter, "a run of a module the verifier finds clean fails",
                  outcome.error + "\n" + module.asString());
        }
    }

    /// A run to make: which function of the module, on which inputs.
    struct Run {
        std::size_t function;
        std::vector<sxir::Value> inputs;
    };

    /// Every function that can run, on a few inputs each.
    static std::vector<Run> runsOf(std::vector<sxir::Function*> const& functions)
    {
        std::vector<Run> runs;
        for (std::size_t k = 0; k < functions.size(); ++k) {
            for (std::vector<double> const& pattern : patterns()) {
                Run run{k, {}};
                if (functions[k]->hasSignature() && inputsOf(*functions[k], pattern, run.inputs)) {
                    runs.push_back(std::move(run));
                }
            }
        }
        return runs;
    }

    /// The outcomes of `runs` in turn, in a new interpreter: module variables start at zero.
    static std::vector<Outcome> outcomesOf(sxir::Context& context, std::vector<sxir::Function*> const& functions,
                                           std::vector<Run> const& runs)
    {
        sxir::Interpreter interpreter(context);
        interpreter.setCallDepthLimit(4);
        std::vector<Outcome> outcomes;
        for (Run const& run : runs) {
            outcomes.push_back(runOnce(interpreter, *functions[run.function], run.inputs));
        }
        return outcomes;
    }

    /// Runs every function on a few inputs: twice alike, and alike in a copy of the module in
    /// another context. Where the verifier finds nothing, it finds nothing in the copy either,
    /// and the runs keep its contract. Gives the runs and what they gave.
    std::pair<std::vector<Run>, std::vector<Outcome>> checkRuns(sxir::Module const& module, bool clean)
    {
        auto* copy = static_cast<sxir::Module*>(mCloneContext->getGlobalScope().copyGenericItemIn(module));
        std::vector<sxir::Function*> const sources = functionsOf(const_cast<sxir::Module&>(module));
        std::vector<sxir::Function*> const copies = functionsOf(*copy);
        std::string const foundInCopy = findings(sxir::Verifier().verify(*copy));
        check(!clean || foundInCopy.empty(), "the verifier finds faults in a copy of a clean module",
              foundInCopy + module.asString());
        check(sources.size() == copies.size(), "a copy has other functions", module.asString());
        std::vector<Run> const runs = runsOf(sources);
        std::vector<Outcome> const first = outcomesOf(*mContext, sources, runs);
        std::vector<Outcome> const second = outcomesOf(*mContext, sources, runs);
        std::vector<Outcome> const copied = outcomesOf(*mCloneContext, copies, runs);
        for (std::size_t k = 0; k < runs.size(); ++k) {
            check(first[k] == second[k], "two runs differ", describe(first[k]) + "\n" + describe(second[k]));
            check(first[k] == copied[k], "a copy computes otherwise",
                  describe(first[k]) + "\n" + describe(copied[k]) + "\n" + module.asString());
            if (clean) {
                checkContract(first[k], module);
                checkContract(copied[k], module);
            }
        }
        return {runs, first};
    }

    /// The safe pass changes no run: a copy it has hoisted gives what the module gave, run after
    /// run, and a second pass over the copy moves nothing.
    void checkSafeHoisting(sxir::Module const& module, std::vector<Run> const& runs,
                           std::vector<Outcome> const& expected)
    {
        auto* copy = static_cast<sxir::Module*>(mCloneContext->getGlobalScope().copyGenericItemIn(module));
        sxir::SafeCodeHoistor().analyze(*copy);
        sxu::string const hoisted = copy->asString();
        sxir::SafeCodeHoistor().analyze(*copy);
        check(copy->asString() == hoisted, "a second safe pass moves something", hoisted);
        std::vector<Outcome> const outcomes = outcomesOf(*mCloneContext, functionsOf(*copy), runs);
        for (std::size_t k = 0; k < runs.size(); ++k) {
            check(outcomes[k] == expected[k], "the safe pass changes what a run gives",
                  describe(expected[k]) + "\n" + describe(outcomes[k]) + "\n" + module.asString() +
                      "\n--- hoisted:\n" + hoisted);
        }
    }

    /// The verifier finds every fault planted in `module`; true when it finds nothing at all.
    bool checkVerified(sxir::Module const& module)
    {
        std::vector<sxir::Diagnostic> const found = sxir::Verifier().verify(module);
        for (std::string const& id : mPlanted[&module]) {
            bool const flagged = std::any_of(found.begin(), found.end(),
                                             [&id](sxir::Diagnostic const& diagnostic) { return diagnostic.id == id; });
            check(flagged, "the verifier misses a fault planted on purpose", id + "\n" + module.asString());
        }
        return found.empty();
    }

    /// The module as C, compiled and run on the inputs checkRuns gives the interpreter.
    void checkCompiled(sxir::Module const& module, std::vector<Run> const& planned)
    {
        static std::string const compiler = [] {
            char const* const flag = std::getenv("SXIR_FUZZ_COMPILE");
            return flag != nullptr && *flag == '1' ? sxir_test::findCCompiler() : std::string();
        }();
        if (compiler.empty()) {
            return;
        }
        std::vector<sxir::Function*> const functions = functionsOf(const_cast<sxir::Module&>(module));
        std::vector<sxir_test::CRun> runs;
        for (Run const& run : planned) {
            runs.push_back(sxir_test::CRun{functions[run.function], run.inputs});
        }
        sxir_test::ScratchDirectory directory;
        sxir_test::CompiledRuns compiled(directory.path());
        if (compiled.add(module, runs) == 0) {
            return;
        }
        std::string const report =
            compiled.check(compiler, "-O1 -fsanitize=undefined,float-cast-overflow -fno-sanitize-recover=all", 1);
        check(report.empty(), "the compiled C computes otherwise than the interpreter", report);
    }

    void checkModule(sxir::Module& module)
    {
        sxu::string const text = module.asString();
        check(module.asString() == text, "printing twice gives two texts", text);
        checkClone(module, text);
        auto const [runs, outcomes] = checkRuns(module, checkVerified(module));
        checkCompiled(module, runs);
        checkSafeHoisting(module, runs, outcomes);
        Survey before;
        for (sxir::Function* function : functionsOf(module)) {
            survey(function->getStatements(), 1, nullptr, before);
        }
        sxir::CodeHoistor().analyze(module);
        Survey after;
        for (sxir::Function* function : functionsOf(module)) {
            survey(function->getStatements(), 1, nullptr, after);
            checkHoisted(function->getStatements(), true, before.holdingIfs);
        }
        check(after.chances == before.chances, "hoisting changed what a run performs", module.asString());
        checkClone(module, module.asString());
    }

    sxir::ThrowingRuntimeEnvironment mEnv;
    std::unique_ptr<sxir::Context> mContext{sxir::Context::create(mEnv)};
    std::unique_ptr<sxir::Context> mCloneContext{sxir::Context::create(mEnv)};
    // Destroyed before the contexts: they hold nodes of mContext.
    std::unique_ptr<sxir::FunctionSignature> mSignature{new sxir::FunctionSignature(*mContext)};
    std::vector<Fn> mFunctions;
    std::vector<sxir::Module*> mModules;
    /// The identifiers of the faults planted in each top-level module.
    std::map<sxir::Module const*, std::set<std::string>> mPlanted;
    std::size_t mDeclaredFunctions = 0;
    std::size_t mStatements = 0;
    std::size_t mChecks = 0;
};

void Program::run(std::uint8_t const* data, std::size_t size)
{
    using Step = void (Program::*)(Args const&);
    using FunctionStep = void (Program::*)(Fn&, Args const&);
    static Step const steps[] = {&Program::newModule, &Program::newModuleVariable, &Program::newParameter,
                                 &Program::newFunction, &Program::checkStep};
    static FunctionStep const functionSteps[] = {
        &Program::newLocal,   &Program::misplacedItem, &Program::constant, &Program::reference,
        &Program::operation,  &Program::element,       &Program::subRange, &Program::callStep,
        &Program::assignment, &Program::openIf,        &Program::elseStep, &Program::endStep,
    };
    for (std::size_t at = 0; at < size; at += 1 + Args().size()) {
        std::size_t const op = data[at] % (std::size(steps) + std::size(functionSteps));
        Args a{};
        for (std::size_t k = 0; k < a.size() && at + 1 + k < size; ++k) {
            a[k] = data[at + 1 + k];
        }
        try {
            if (op < std::size(steps)) {
                (this->*steps[op])(a);
            } else if (!mFunctions.empty()) {
                (this->*functionSteps[op - std::size(steps)])(mFunctions[a[0] % mFunctions.size()], a);
            }
        } catch (sxir::ReportedError const&) {
            // A user error the program made on purpose.
        }
    }
    for (Fn& fn : mFunctions) {
        for (; !fn.open.empty(); fn.open.pop_back()) {
            fn.function->End();
        }
    }
    sxir::Scope& global = mContext->getGlobalScope();
    for (unsigned long k = 0; k < global.getNumScopeItems(); ++k) {
        if (auto* module = dynamic_cast<sxir::Module*>(global.getGenericScopeItem(k))) {
            checkModule(*module);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    Program().run(data, size);
    return 0;
}
