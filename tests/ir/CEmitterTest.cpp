// The C back end: the text it writes for each construct, and the proof that the compiled C computes,
// bit for bit, what the interpreter computes, on every catalog sample and on generated programs.
#include "tests/support/CallGraphs.hpp"
#include "tests/support/CompiledRuns.hpp"
#include "tests/support/IrFixture.hpp"

#include "ir/sxir.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <thread>

namespace {

using sxir::Expression;
using sxir_test::CRun;
using T = sxu::DataTypeId;

double const nan = std::numeric_limits<double>::quiet_NaN();
double const inf = std::numeric_limits<double>::infinity();

// ---------------------------------------------------------------------------------------------------------
// The text.

/// The golden C of a sample (its header, an empty line, its source); with SXIR_UPDATE_GOLDEN set,
/// `actual` replaces it first.
std::string golden(std::string const& name, std::string const& actual)
{
    std::string const path = std::string(SXIR_GOLDEN_DIR) + "/c/" + name + ".c";
    if (std::getenv("SXIR_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << actual;
    }
    return sxir_test::readFile(path);
}

class EmittedSamples : public ::testing::TestWithParam<std::string> {};

TEST_P(EmittedSamples, EmitAsTheirGoldenC)
{
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::CCode const code = sxir::CEmitter().emit(*sxir::TestCatalog::get()->createModule(GetParam(), *context));
    std::string const text = code.header + "\n" + code.source;
    EXPECT_EQ(text, golden(GetParam(), text));
}

INSTANTIATE_TEST_SUITE_P(CEmitter, EmittedSamples, ::testing::ValuesIn([] {
                             std::vector<sxu::string> const names = sxir::TestCatalog::get()->getEntryNames();
                             return std::vector<std::string>(names.begin(), names.end());
                         }()));

/// The definitions of a module's source, from the first function's comment line on.
std::string definitions(sxir::Module const& module)
{
    std::string const source = sxir::CEmitter().emit(module).source;
    std::size_t const start = source.find("/* function");
    return start == std::string::npos ? source : source.substr(start);
}

using CEmitterText = sxir_test::IrTest;

TEST_F(CEmitterText, NamesStayWhereCAllowsThemAndTakeASuffixWhereNot)
{
    // A function named like a keyword, an output named like its input, locals named like a library
    // function, like the emitter's own names and like a module variable, which keeps its name.
    sxir::FunctionSignature signature(*context);
    signature.addInput("double").setType(real());
    signature.addOutput("double").setType(real());
    signature.addOutput("y").setType(builtin(T::Int32));
    auto* f = module.getModuleScope().addScopeItem<sxir::Function>("int");
    f->setSignature(signature);
    module.getModuleScope().addScopeItem<sxir::Variable>("x")->setType(real());
    for (char const* name : {"sin", "sxir_k", "x", "t1"}) {
        addLocal(*f, name);
    }
    // By name, "double" is the output, which the body sees before the input.
    Expression const sin = use(*f, "sin"), x = use(*f, "x"), t1 = use(*f, "t1"), output = use(*f, "double");
    Expression const input(*f->getFunctionScope(sxir::FunctionScopeType::Input).getGenericScopeItem(0));
    Expression const moduleX(*module.getModuleScope().lookupGenericScopeItem("x"));
    *sin = input * output;
    *x = moduleX + sxir::sqrt(sin);
    Expression const shared = x * x;
    *t1 = shared + shared;
    *moduleX = t1;
    *use(*f, "y") = t1 > 0.5;
    EXPECT_EQ(definitions(module), "/* function [real_T double, int32_T y] = int(real_T double) */\n"
                                   "void int_1(real_T double_1, real_T *double_2, int32_T *y)\n"
                                   "{\n"
                                   "    real_T sin_1 = 0;\n"
                                   "    real_T nsxir_k = 0;\n"
                                   "    real_T x_1 = 0;\n"
                                   "    real_T t1 = 0;\n"
                                   "    (void)nsxir_k;\n"
                                   "    *double_2 = double_1;\n"
                                   "    sin_1 = (double_1 * *double_2);\n"
                                   "    x_1 = (x + sqrt(sxir_opaque(sin_1)));\n"
                                   "    real_T t2 = (x_1 * x_1);\n"
                                   "    t1 = (t2 + t2);\n"
                                   "    x = t1;\n"
                                   "    *y = ((int32_T)((boolean_T)(t1 > 0.5)));\n"
                                   "}\n");
}

TEST_F(CEmitterText, CallsBecomeTemporariesInTheOrderARunMakesThem)
{
    // tick() counts its calls in the module variable n; f reads n before and after calling it.
    module.getModuleScope().addScopeItem<sxir::Variable>("n")->setType(real());
    Expression const n(*module.getModuleScope().lookupGenericScopeItem("n"));
    sxir::Function& tick = addFunction("tick", {"a"}, {"r"});
    *use(tick, "r") = use(tick, "a");
    sxir::AssignmentStatement* count = new sxir::AssignmentStatement(tick);
    tick.append(count);
    count->setExpression(sxir::AssignmentStatement::LHS, n);
    count->setExpression(sxir::AssignmentStatement::RHS, n + 1.0);
    sxir::Function& f = addFunction("f", {"x"}, {"y", "z"});
    Expression const x = use(f, "x"), y = use(f, "y"), tickRef = use(f, "tick");
    *y = n + (tickRef << (tickRef << x)) * n;
    *use(f, "z") = x * 2.0 - n;
    EXPECT_EQ(definitions(module), "/* function [real_T r] = tick(real_T a) */\n"
                                   "void tick(real_T a, real_T *r)\n"
                                   "{\n"
                                   "    *r = a;\n"
                                   "    n = (n + 1.0);\n"
                                   "}\n"
                                   "\n"
                                   "/* function [real_T y, real_T z] = f(real_T x) */\n"
                                   "void f(real_T x, real_T *y, real_T *z)\n"
                                   "{\n"
                                   "    real_T t1 = n;\n"
                                   "    real_T tick_r;\n"
                                   "    tick(x, &tick_r);\n"
                                   "    real_T tick_r_1;\n"
                                   "    tick(tick_r, &tick_r_1);\n"
                                   "    real_T t2 = n;\n"
                                   "    *y = (t1 + (tick_r_1 * t2));\n"
                                   "    *z = ((x * 2.0) - n);\n"
                                   "}\n");
}

TEST_F(CEmitterText, ASharedNodeIsComputedOnceWhereNothingBetweenItsUsesCanChangeIt)
{
    module.getModuleScope().addScopeItem<sxir::Variable>("n")->setType(real());
    Expression const n(*module.getModuleScope().lookupGenericScopeItem("n"));
    sxir::Function& g = addFunction("g", {"a"}, {"b"});
    *use(g, "b") = use(g, "a") + 1.0;
    sxir::Function& f = addFunction("f", {"x"}, {"y", "z", "w"});
    Expression const x = use(f, "x");
    Expression const product = x * n;
    Expression const call = use(f, "g") << x;
    // Without calls: once. Beside a call, the node that reads n once up to the call and once after
    // it, since the call may change n. The call is written once per statement: each use copies
    // its value out, a second use jumps back into it and returns by the switch after it, and the
    // temporaries of such a statement are declared before any jump.
    *use(f, "y") = product + product;
    *use(f, "z") = ((product + product) + call) + product;
    *use(f, "w") = call - call;
    EXPECT_EQ(definitions(module).substr(definitions(module).find("void f")),
              "void f(real_T x, real_T *y, real_T *z, real_T *w)\n"
              "{\n"
              "    real_T t1 = (x * n);\n"
              "    *y = (t1 + t1);\n"
              "    real_T t2 = n;\n"
              "    real_T t3 = (x * t2);\n"
              "    real_T g_b;\n"
              "    g(x, &g_b);\n"
              "    real_T t4 = g_b;\n"
              "    real_T t5 = n;\n"
              "    real_T t6 = (x * t5);\n"
              "    *z = (((t3 + t3) + t4) + t6);\n"
              "    unsigned long sxir_use1 = 0;\n"
              "    real_T g_b_1 = 0;\n"
              "    real_T t7 = 0;\n"
              "    real_T t8 = 0;\n"
              "    sxir_node1:;\n"
              "    g(x, &g_b_1);\n"
              "    switch (sxir_use1) {\n"
              "    case 1: goto sxir_node1_1;\n"
              "    default: break;\n"
              "    }\n"
              "    t7 = g_b_1;\n"
              "    sxir_use1 = 1;\n"
              "    goto sxir_node1;\n"
              "    sxir_node1_1:;\n"
              "    t8 = g_b_1;\n"
              "    *w = (t7 - t8);\n"
              "}\n");
}

TEST_F(CEmitterText, WhatEveryRunReachingItStopsOnIsACommentThatChangesNothing)
{
    sxir::MatrixType const column(*context, T::Real, sxu::Dimension(3, 1));
    sxir::Function& f = addFunction("f", {"x"}, {"y"});
    addLocal(f, "v", &column);
    Expression const x = use(f, "x"), y = use(f, "y"), v = use(f, "v");
    *y = v;                                   // three elements into one
    *y = v(3);                                // a constant index outside v
    f.If(v);                                  // a condition of three elements
    *y = x;
    f.End();
    f.append(new sxir::AssignmentStatement(f)); // nothing on either side
    EXPECT_EQ(definitions(module),
              "/* function [real_T y] = f(real_T x) */\n"
              "void f(real_T x, real_T *y)\n"
              "{\n"
              "    real_T v[3] = {0};\n"
              "    (void)v;\n"
              "    *y = 0;\n"
              "    /* not emitted, since a run that reaches it stops with sxir:eval:DimensionMismatch: y=v */\n"
              "    /* not emitted, since a run that reaches it stops with sxir:expression:IndexOutOfRange: y=v(3,0) */\n"
              "    /* not emitted, since a run that reaches it stops with sxir:eval:DimensionMismatch: if v */\n"
              "    if (0) {\n"
              "        *y = x;\n"
              "    }\n"
              "    /* not emitted, since a run that reaches it stops with sxir:eval:UnsetOperand: an assignment with an "
              "unset side */\n"
              "}\n");
}

TEST_F(CEmitterText, FunctionValuesArePointersAndAFunctionOfAnotherFormRunsThroughAnAdapter)
{
    sxir::Function& twice = addFunction("twice", {"a"}, {"b"});
    *use(twice, "b") = use(twice, "a") * 2.0;
    // h takes an int32_T: twice runs through an adapter that converts it to real_T.
    sxir::FunctionSignature integer(*context);
    integer.addInput("a").setType(builtin(T::Int32));
    integer.addOutput("b").setType(real());
    sxir::Function& f = addFunction("f", {"x"}, {"y", "z"});
    addLocal(f, "same", &twice.getSignature());
    addLocal(f, "h", &integer);
    Expression const x = use(f, "x"), same = use(f, "same"), h = use(f, "h");
    *same = use(f, "twice");
    *h = use(f, "twice");
    *use(f, "y") = same << x;
    *use(f, "z") = h << x;
    std::string const source = sxir::CEmitter().emit(module).source;
    for (char const* expected : {
             "/* [real_T b] = (real_T a) */\ntypedef void (*sxir_fn_1)(real_T, real_T *);\n",
             "/* [real_T b] = (int32_T a) */\ntypedef void (*sxir_fn_3)(int32_T, real_T *);\n",
             "    sxir_fn_1 same = 0;\n    sxir_fn_3 h = 0;\n",
             "    same = twice;\n    h = sxir_adapter_1;\n",
             "    real_T same_b;\n    same(x, &same_b);\n    *y = same_b;\n",
             // x is real_T and h takes int32_T: the call converts x as twice takes it, with no stop at int32_T.
             "    real_T h_b;\n    sxir_call_1(h, x, &h_b);\n    *z = h_b;\n",
             "static void sxir_adapter_1(int32_T sxir_a0, real_T *sxir_r0)\n{\n    real_T sxir_o0;\n"
             "    twice(((real_T)sxir_a0), &sxir_o0);\n    *sxir_r0 = sxir_o0;\n}\n",
             "static void sxir_call_1(sxir_fn_3 sxir_p, real_T sxir_a0, real_T *sxir_r)\n{\n"
             "    if (sxir_p == sxir_adapter_1) {\n        real_T sxir_o0;\n        twice(sxir_a0, &sxir_o0);\n"
             "        *sxir_r = sxir_o0;\n        return;\n    }\n    real_T sxir_o0;\n"
             "    sxir_p(sxir_real_to_i32(sxir_a0), &sxir_o0);\n    *sxir_r = sxir_o0;\n}\n",
         }) {
        EXPECT_NE(source.find(expected), std::string::npos) << expected << "\n--- in:\n" << source;
    }
}

TEST_F(CEmitterText, WhatAFunctionReachesInOtherModulesComesAlongAsStaticDefinitions)
{
    sxir::Module& other = *context->getGlobalScope().addScopeItem<sxir::Module>("other");
    other.getModuleScope().addScopeItem<sxir::Variable>("count")->setType(builtin(T::UInt32));
    Expression const count(*other.getModuleScope().lookupGenericScopeItem("count"));
    sxir::Function& g = addFunction("g", {"a"}, {"b"}, &other);
    *use(g, "b") = use(g, "a") + count;
    sxir::Module& inner = *module.getModuleScope().addScopeItem<sxir::Module>("inner");
    sxir::Function& h = addFunction("h", {"a"}, {"b"}, &inner);
    *use(h, "b") = -use(h, "a");
    sxir::Function& f = addFunction("f", {"x"}, {"y"});
    *use(f, "y") = (Expression(g) << use(f, "x")) + (Expression(h) << use(f, "x"));
    sxir::CCode const code = sxir::CEmitter().emit(module);
    EXPECT_EQ(code.header.find("void g("), std::string::npos);
    EXPECT_EQ(code.header.find("void h("), std::string::npos);
    for (char const* expected : {
             "static uint32_T count; /* of module other */\n",
             "static void g(real_T a, real_T *b);\nstatic void h(real_T a, real_T *b);\n",
             "/* function [real_T b] = g(real_T a), of module other */\nstatic void g(real_T a, real_T *b)\n",
             "/* function [real_T b] = h(real_T a), of module module/inner */\nstatic void h(real_T a, real_T *b)\n",
         }) {
        EXPECT_NE(code.source.find(expected), std::string::npos) << expected << "\n--- in:\n" << code.source;
    }
}

// ---------------------------------------------------------------------------------------------------------
// Generated programs.

/// Values that make conversions and operations meet their corners: signed zeros, NaN, infinities, the
/// integer types' limits and values beyond them (which saturate from real and wrap from integers).
double const kBoundaries[] = {0.0,  -0.0, nan,   inf,   -inf, -2147483648.0, 2147483647.0, 4294967295.0, 3e9,
                              -129, 300,  0.5,   -2.5,  1e300, 1,   -1,           2,            127,          128,
                              255,  256,  -1e-300, 65.25};

/// Constants of each type, as a program would write them.
std::vector<double> const kConstants[T::Count] = {
    {0, 1},
    {0.0, -0.0, nan, inf, -inf, 0.5, -2.5, 1e300, 3e9, -129, 1, 2, 255.75, 1e-300, 0.1},
    {0, 1, -1, 2, -2147483648.0, 2147483647.0, 300, -129, 127, 128},
    {0, 1, 2, 4294967295.0, 2147483648.0, 300},
    {0, 1, -1, 127, -128, 97},
};

/// Writes random modules through the public API: functions calling earlier ones directly and through
/// function-typed variables, module variables, nested ifs, elements and sub-ranges with indices inside
/// their matrices, every operation on operands of every element type, shared subexpressions, calls
/// inside expressions and indices, and functions that change module variables as they are called.
class ProgramGenerator {
public:
    ProgramGenerator(sxir::Context& context, std::uint64_t seed) : mContext(context), mRandom(seed) {}

    /// Module "m<index>", whose functions are "m<index>_f<k>".
    sxir::Module& generate(unsigned index)
    {
        // What the previous module declares is sometimes used too: its C comes along as static copies.
        bool const reachOut = chance(0.3);
        mOthers = reachOut ? mFunctions : std::vector<sxir::Function*>();
        std::vector<sxir::Variable*> const otherVariables = reachOut ? mModuleVariables : std::vector<sxir::Variable*>();
        mPrefix = "m" + std::to_string(index);
        mModule = mContext.getGlobalScope().addScopeItem<sxir::Module>(mPrefix);
        mFunctions.clear();
        mModuleVariables.clear();
        mCounter = nullptr;
        mTick = nullptr;
        for (int i = pick(3); i-- > 0;) {
            addModuleVariable(randomType());
        }
        if (chance(0.5)) {
            addTick();
        }
        if (chance(0.15)) {
            // A function of a nested module, which the module's functions call.
            sxir::Module* const outer = mModule;
            std::string const prefix = mPrefix;
            mModule = outer->getModuleScope().addScopeItem<sxir::Module>("inner");
            mPrefix += "_inner";
            addFunction();
            mOthers.push_back(mFunctions.back());
            mFunctions.pop_back();
            mModule = outer;
            mPrefix = prefix;
        }
        mModuleVariables.insert(mModuleVariables.end(), otherVariables.begin(), otherVariables.end());
        for (int k = 2 + pick(2); k-- > 0;) {
            addFunction();
        }
        mModuleVariables.resize(mModuleVariables.size() - otherVariables.size());
        return *mModule;
    }

    /// Three runs of each function, in order: inputs from the boundary values and from small numbers.
    std::vector<CRun> runs()
    {
        std::vector<CRun> runs;
        for (sxir::Function* function : mFunctions) {
            for (int set = 0; set < 3; ++set) {
                CRun run{function, {}};
                sxir::Scope const& inputs = function->getFunctionScope(sxir::FunctionScopeType::Input);
                for (unsigned long i = 0; i < inputs.getNumScopeItems(); ++i) {
                    sxir::Type const& type = variableType(inputs, i);
                    if (type.getTypeId() == sxir::TypeId::FunctionSignature) {
                        run.inputs.emplace_back(*mFunctionInputs.at({function, i}));
                        continue;
                    }
                    std::vector<double> elements;
                    for (unsigned long k = 0; k < count(type); ++k) {
                        elements.push_back(set == 1 ? static_cast<double>(pick(7)) - 2.5 + pick(2) * 0.5
                                                    : kBoundaries[pick(std::size(kBoundaries))]);
                    }
                    run.inputs.emplace_back(elementType(type), type.getDimension(), elements);
                }
                runs.push_back(run);
            }
        }
        return runs;
    }

private:
    int pick(std::size_t n) { return static_cast<int>(std::uniform_int_distribution<std::size_t>(0, n - 1)(mRandom)); }
    bool chance(double p) { return std::uniform_real_distribution<double>(0, 1)(mRandom) < p; }

    static sxir::Type const& variableType(sxir::Scope const& scope, unsigned long i)
    {
        return static_cast<sxir::Variable const*>(scope.getGenericScopeItem(i))->getType();
    }
    static unsigned long count(sxir::Type const& type) { return type.getDimension().m() * type.getDimension().n(); }
    static T::Type elementType(sxir::Type const& type)
    {
        return static_cast<sxir::BuiltinType const&>(type.getBaseType()).getType();
    }
    static bool isNumber(sxir::Type const& type) { return type.getTypeId() != sxir::TypeId::FunctionSignature; }

    T::Type randomElement()
    {
        static T::Type const types[] = {T::Real, T::Real, T::Real, T::Int32, T::Int32, T::UInt32, T::Char, T::Boolean};
        return types[pick(std::size(types))];
    }

    /// A scalar, or a matrix of 1 to 3 rows and 1 or 2 columns (rarely none).
    std::unique_ptr<sxir::Type> randomType(bool scalarLikely = true)
    {
        T::Type const element = randomElement();
        if (chance(scalarLikely ? 0.6 : 0.2)) {
            return std::unique_ptr<sxir::Type>(mContext.getBuiltinType(element).clone());
        }
        unsigned long const rows = chance(0.03) ? 0 : 1 + pick(3);
        return std::make_unique<sxir::MatrixType>(mContext, element, sxu::Dimension(rows, 1 + pick(2)));
    }

    /// A signature with the parameter counts of `signature` and other element types: functions of it run
    /// through adapters.
    std::unique_ptr<sxir::FunctionSignature> variant(sxir::FunctionSignature const& signature)
    {
        auto copy = std::make_unique<sxir::FunctionSignature>(mContext);
        for (auto const kind : {sxir::FunctionIoScopeType::Input, sxir::FunctionIoScopeType::Output}) {
            sxir::Scope const& scope = signature.getScope(kind);
            for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
                sxir::Type const& type = variableType(scope, i);
                sxir::Variable& parameter = copy->addVariable(kind, scope.getGenericScopeItem(i)->getName());
                if (!isNumber(type) || chance(0.4)) {
                    parameter.setType(type);
                } else if (type.getTypeId() == sxir::TypeId::Builtin && chance(0.3)) {
                    parameter.setType(sxir::MatrixType(mContext, randomElement(), sxu::Dimension(1, 1)));
                } else if (type.getTypeId() == sxir::TypeId::Builtin) {
                    parameter.setType(mContext.getBuiltinType(randomElement()));
                } else {
                    parameter.setType(sxir::MatrixType(mContext, randomElement(), type.getDimension()));
                }
            }
        }
        return copy;
    }

    sxir::Variable& addModuleVariable(std::unique_ptr<sxir::Type> type)
    {
        auto* variable = mModule->getModuleScope().addScopeItem<sxir::Variable>(
            "g" + std::to_string(mModule->getModuleScope().getNumScopeItems()));
        variable->setType(*type);
        mModuleVariables.insert(mModuleVariables.begin(), variable);
        return *variable;
    }

    /// tick(): counts its calls in a module variable and gives 0, a valid index; calls of it inside
    /// statements show whether reads of module variables happen in their turn.
    void addTick()
    {
        mCounter = &addModuleVariable(std::unique_ptr<sxir::Type>(mContext.getBuiltinType(T::Real).clone()));
        sxir::FunctionSignature signature(mContext);
        signature.addOutput("r").setType(mContext.getBuiltinType(T::Int32));
        sxir::Function& tick = newFunction(signature);
        mFunction = &tick;
        Expression const counter(*mCounter);
        assign(counter, counter + 1.0);
        assign(tick.expression("r"), Expression(mContext, 0));
        mTick = &tick;
    }

    /// Appends lhs=rhs to the function being written (either side may belong to no function).
    void assign(Expression const& lhs, Expression const& rhs)
    {
        auto* statement = new sxir::AssignmentStatement(*mFunction);
        mFunction->append(statement);
        statement->setExpression(sxir::AssignmentStatement::LHS, lhs);
        statement->setExpression(sxir::AssignmentStatement::RHS, rhs);
    }

    sxir::Function& newFunction(sxir::FunctionSignature const& signature)
    {
        auto* function = mModule->getModuleScope().addScopeItem<sxir::Function>(
            mPrefix + "_f" + std::to_string(mFunctions.size()));
        function->setSignature(signature);
        mFunctions.push_back(function);
        return *function;
    }

    void addFunction()
    {
        sxir::FunctionSignature signature(mContext);
        std::vector<sxir::Function*> const earlier = mFunctions;
        // Function-typed inputs take the signature of an earlier function, which the runs pass.
        std::vector<std::pair<unsigned long, sxir::Function*>> functionInputs;
        std::vector<std::pair<std::string, sxir::Function*>> functionOutputs;
        for (int i = pick(4); i-- > 0;) {
            sxir::Variable& input = signature.addInput("a" + std::to_string(i));
            if (!earlier.empty() && chance(0.15)) {
                sxir::Function* passed = earlier[pick(earlier.size())];
                input.setType(passed->getSignature());
                functionInputs.emplace_back(signature.getScope(sxir::FunctionIoScopeType::Input).getNumScopeItems() - 1,
                                            passed);
            } else {
                input.setType(*randomType());
            }
        }
        for (int i = 1 + pick(2); i-- > 0;) {
            // An output named like an input is the function's "out=in" case.
            std::string const name = i == 0 && chance(0.15) && signature.getScope(sxir::FunctionIoScopeType::Input).getNumScopeItems() > 0
                                         ? "a0"
                                         : "b" + std::to_string(i);
            sxir::Variable& output = signature.addOutput(name);
            if (name == "a0") {
                output.setType(variableType(signature.getScope(sxir::FunctionIoScopeType::Input),
                                            signature.getScope(sxir::FunctionIoScopeType::Input).getNumScopeItems() - 1));
                if (!isNumber(output.getType())) {
                    output.setType(mContext.getBuiltinType(T::Real));
                }
            } else if (!earlier.empty() && chance(0.05)) {
                sxir::Function* given = earlier[pick(earlier.size())];
                output.setType(given->getSignature());
                functionOutputs.emplace_back(name, given);
            } else {
                output.setType(*randomType());
            }
        }
        sxir::Function& function = newFunction(signature);
        for (auto const& [position, passed] : functionInputs) {
            mFunctionInputs.emplace(std::make_pair(static_cast<sxir::Function const*>(&function), position), passed);
        }
        mFunction = &function;
        mScalars.clear();
        mMatrices.clear();
        mHandles.clear();
        mCallables.clear();
        mIndex = nullptr;
        for (auto const& [position, passed] : functionInputs) {
            sxir::Scope const& inputs = function.getFunctionScope(sxir::FunctionScopeType::Input);
            mCallables.emplace_back(static_cast<sxir::Variable const*>(inputs.getGenericScopeItem(position)), passed);
        }
        for (auto const& [name, given] : functionOutputs) {
            mHandles.emplace_back(static_cast<sxir::Variable*>(
                                      function.getFunctionScope(sxir::FunctionScopeType::Output).lookupGenericScopeItem(name)),
                                  given);
        }
        sxir::Scope& locals = function.getFunctionScope(sxir::FunctionScopeType::Local);
        for (int i = 1 + pick(3); i-- > 0;) {
            locals.addScopeItem<sxir::Variable>("v" + std::to_string(i))->setType(*randomType());
        }
        // An index local, set first to 0 or 1: a computed index that stays inside every matrix it selects in.
        static T::Type const indexTypes[] = {T::Int32, T::UInt32, T::Real, T::Char};
        auto* index = locals.addScopeItem<sxir::Variable>("k");
        index->setType(mContext.getBuiltinType(indexTypes[pick(std::size(indexTypes))]));
        mIndexValue = pick(2);
        // A function-typed local holding an earlier function, through its own signature or a variant.
        if (!earlier.empty() && chance(0.4)) {
            sxir::Function* held = earlier[pick(earlier.size())];
            auto* handle = locals.addScopeItem<sxir::Variable>("h");
            if (chance(0.5)) {
                handle->setType(held->getSignature());
            } else {
                handle->setType(*variant(held->getSignature()));
            }
            mHandles.emplace_back(handle, held);
        }
        if (!earlier.empty() && chance(0.2)) {
            // Sometimes the function the local holds: a copy between the two converts its type.
            sxir::Function* held = !mHandles.empty() && chance(0.5) ? mHandles.back().second : earlier[pick(earlier.size())];
            sxir::Variable& shared = addModuleVariable(chance(0.5) ? std::unique_ptr<sxir::Type>(held->getSignature().clone())
                                                                   : std::unique_ptr<sxir::Type>(variant(held->getSignature())));
            mHandles.emplace_back(&shared, held);
        }
        collectVariables(function);
        assign(Expression(*index), Expression(mContext, static_cast<int>(mIndexValue)));
        mIndex = index;
        for (auto const& [handle, held] : mHandles) {
            assign(Expression(*handle), Expression(*held));
        }
        statements(0, 2 + pick(3));
    }

    /// The variables the body may read, by form; those it may write are the non-inputs.
    void collectVariables(sxir::Function const& function)
    {
        auto const take = [this](sxir::Variable const* variable, bool writable) {
            sxir::Type const& type = variable->getType();
            if (!isNumber(type) || type.getBaseType().getTypeId() != sxir::TypeId::Builtin) {
                return;
            }
            (type.getTypeId() == sxir::TypeId::Builtin ? mScalars : mMatrices).push_back({variable, writable});
        };
        for (auto const kind : {sxir::FunctionScopeType::Input, sxir::FunctionScopeType::Output, sxir::FunctionScopeType::Local}) {
            sxir::Scope const& scope = function.getFunctionScope(kind);
            for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
                auto const* variable = static_cast<sxir::Variable const*>(scope.getGenericScopeItem(i));
                bool const shadowedInput = kind == sxir::FunctionScopeType::Input &&
                                           function.getFunctionScope(sxir::FunctionScopeType::Output).lookupGenericScopeItem(variable->getName()) != nullptr;
                if (variable->getName() != "k" && !shadowedInput) {
                    take(variable, kind != sxir::FunctionScopeType::Input);
                }
            }
        }
        for (sxir::Variable const* variable : mModuleVariables) {
            take(variable, true);
        }
    }

    void statements(int depth, int count)
    {
        for (int i = 0; i < count; ++i) {
            mShared.clear();
            if (depth < 3 && chance(0.15)) {
                mFunction->If(scalar(2));
                statements(depth + 1, 1 + pick(2));
                if (chance(0.6)) {
                    mFunction->Else();
                    statements(depth + 1, 1 + pick(2));
                }
                mFunction->End();
            } else {
                assignment();
            }
        }
    }

    struct Known {
        sxir::Variable const* variable;
        bool writable;
    };

    Known const* choose(std::vector<Known> const& from, bool writable, unsigned long atLeast = 0)
    {
        std::vector<Known const*> candidates;
        for (Known const& known : from) {
            if ((!writable || known.writable) && count(known.variable->getType()) >= atLeast) {
                candidates.push_back(&known);
            }
        }
        return candidates.empty() ? nullptr : candidates[pick(candidates.size())];
    }

    void assignment()
    {
        int const kind = pick(10);
        if (kind < 2) {
            // A whole matrix, or a sub-range of one, from a matrix value of as many elements.
            if (Known const* target = choose(mMatrices, true)) {
                Expression lhs(*target->variable);
                unsigned long elements = count(target->variable->getType());
                if (elements > 1 && chance(0.5)) {
                    unsigned long const first = pick(elements);
                    unsigned long const last = first + 1 + pick(elements - first);
                    lhs = lhs(sxir::Colon(first, last));
                    elements = last - first;
                }
                assign(lhs, matrix(elements));
                return;
            }
        }
        if (kind == 2 && !mHandles.empty()) {
            auto const& [handle, held] = mHandles[pick(mHandles.size())];
            Expression value(*held);
            for (auto const& [other, same] : mHandles) {
                value = same == held && other != handle && chance(0.5) ? Expression(*other) : value;
            }
            assign(Expression(*handle), value);
            return;
        }
        Expression const value = scalar(2 + pick(2));
        if (kind < 6) {
            if (Known const* target = choose(mMatrices, true, 1)) {
                assign(element(*target->variable, chance(0.2)), value);
                return;
            }
        }
        if (Known const* target = choose(mScalars, true)) {
            assign(Expression(*target->variable), value);
        }
    }

    /// A value below `limit` as an index: a constant of any index type, the index local, or tick().
    Expression index(unsigned long limit)
    {
        int const kind = pick(6);
        if (kind == 0 && mIndexValue < limit) {
            return Expression(*mIndex);
        }
        if (kind == 1 && mTick != nullptr && mTick != mFunction) {
            return sxir::call(Expression(*mTick));
        }
        int const value = pick(limit);
        switch (kind) {
        case 2:
            return Expression(mContext, static_cast<double>(value));
        case 3:
            return Expression(mContext, static_cast<unsigned int>(value));
        case 4:
            return Expression(mContext, static_cast<char>(value));
        default:
            return Expression(mContext, value);
        }
    }

    /// An element of `variable` (a matrix of at least one element), perhaps through a sub-range.
    Expression element(sxir::Variable const& variable, bool throughRange)
    {
        sxir::Type const& type = variable.getType();
        unsigned long const rows = type.getDimension().m();
        unsigned long const columns = type.getDimension().n();
        Expression matrix(variable);
        if (throughRange) {
            unsigned long const first = pick(rows * columns);
            unsigned long const last = first + 1 + pick(rows * columns - first);
            return matrix(sxir::Colon(first, last))(index(last - first));
        }
        if (columns > 1 || chance(0.5)) {
            Expression const i = index(rows);
            return matrix(i, index(columns));
        }
        return matrix(index(rows));
    }

    Expression constant()
    {
        T::Type const type = randomElement();
        std::vector<double> const& values = kConstants[type];
        double const value = values[pick(values.size())];
        switch (type) {
        case T::Boolean:
            return Expression(mContext, static_cast<unsigned char>(value));
        case T::Real:
            return Expression(mContext, value);
        case T::Int32:
            return Expression(mContext, static_cast<int>(value));
        case T::UInt32:
            return Expression(mContext, static_cast<unsigned int>(value));
        default:
            return Expression(mContext, static_cast<char>(value));
        }
    }

    /// A call of an earlier function whose last output has `elements` elements (1: a scalar), or none.
    bool call(unsigned long elements, int depth, Expression& result)
    {
        // Earlier functions, and the function-typed variables holding one (whose signature has its counts).
        std::vector<std::pair<Expression, sxir::Function const*>> callees;
        for (auto const* functions : {&mFunctions, &mOthers}) {
            for (sxir::Function* function : *functions) {
                if (function != mFunction) {
                    callees.emplace_back(Expression(*function), function);
                }
            }
        }
        for (auto const& [handle, held] : mHandles) {
            callees.emplace_back(Expression(*handle), held);
        }
        for (auto const& [input, held] : mCallables) {
            callees.emplace_back(Expression(*input), held);
        }
        std::vector<std::pair<Expression, sxir::Function const*>> fitting;
        for (auto const& callee : callees) {
            sxir::Scope const& outputs = callee.second->getFunctionScope(sxir::FunctionScopeType::Output);
            sxir::Type const& last = variableType(outputs, outputs.getNumScopeItems() - 1);
            if (isNumber(last) && count(last) == elements) {
                fitting.push_back(callee);
            }
        }
        if (fitting.empty()) {
            return false;
        }
        auto const& [callee, held] = fitting[pick(fitting.size())];
        sxir::Scope const& inputs = held->getFunctionScope(sxir::FunctionScopeType::Input);
        if (inputs.isEmpty()) {
            result = sxir::call(callee);
            return true;
        }
        std::unique_ptr<sxir::FunctionCallBuilder> builder;
        for (unsigned long i = 0; i < inputs.getNumScopeItems(); ++i) {
            sxir::Type const& type = variableType(inputs, i);
            Expression const operand = !isNumber(type)       ? Expression(*mFunctionInputs.at({held, i}))
                                       : count(type) == 1 && chance(0.8) ? scalar(depth - 1)
                                                                         : matrix(count(type));
            if (builder == nullptr) {
                builder = std::make_unique<sxir::FunctionCallBuilder>(callee << operand);
            } else {
                *builder << operand;
            }
        }
        result = Expression(*builder);
        return true;
    }

    /// A value of `elements` elements: a matrix variable, a sub-range, or a call.
    Expression matrix(unsigned long elements)
    {
        Expression result(mContext);
        if (chance(0.25) && call(elements, 2, result)) {
            return result;
        }
        std::vector<Expression> candidates;
        for (Known const& known : mMatrices) {
            unsigned long const size = count(known.variable->getType());
            if (size == elements) {
                candidates.emplace_back(*known.variable);
            } else if (size > elements) {
                unsigned long const first = pick(size - elements + 1);
                candidates.push_back(Expression(*known.variable)(sxir::Colon(first, first + elements)));
            }
        }
        if (elements == 1) {
            candidates.push_back(scalar(2));
        }
        if (candidates.empty()) {
            // No matrix fits: a call's value, or a scalar's sub-range when one element will do.
            return elements == 0 ? Expression(mContext, 1.5)(sxir::Colon(0, 0)) : scalar(2)(sxir::Colon(0, 1));
        }
        return candidates[pick(candidates.size())];
    }

    Expression scalar(int depth)
    {
        if (!mShared.empty() && chance(0.1)) {
            return mShared[pick(mShared.size())];
        }
        Expression result(mContext);
        int const kind = depth <= 0 ? pick(4) : pick(12);
        switch (kind) {
        case 0:
            result = constant();
            break;
        case 1:
        case 2:
            if (Known const* known = choose(mScalars, false)) {
                result = Expression(*known->variable);
                break;
            }
            [[fallthrough]];
        case 3:
            if (Known const* known = choose(mMatrices, false, 1)) {
                result = element(*known->variable, chance(0.2));
                break;
            }
            result = constant();
            break;
        case 4:
            if (call(1, depth, result)) {
                break;
            }
            [[fallthrough]];
        case 5:
            if (mCounter != nullptr && chance(0.5)) {
                result = Expression(*mCounter);
                break;
            }
            [[fallthrough]];
        default: {
            auto const op = static_cast<sxir::OpId::Type>(pick(sxir::OpId::Count));
            Expression const left = scalar(depth - 1);
            result = sxir::Operator::getNumOperands(op) == 1 ? Expression(op, left) : Expression(op, left, scalar(depth - 1));
            if (chance(0.004)) {
                // Deeper than one C expression may nest: the emitter splits it.
                for (int level = 0; level < 100; ++level) {
                    result = level % 2 == 0 ? result + constant() : -result;
                }
            }
        }
        }
        mShared.push_back(result);
        return result;
    }

    sxir::Context& mContext;
    std::mt19937_64 mRandom;
    std::string mPrefix;
    sxir::Module* mModule = nullptr;
    std::vector<sxir::Function*> mFunctions;
    std::vector<sxir::Variable*> mModuleVariables;
    /// The function each function-typed input takes in a run or a call.
    std::map<std::pair<sxir::Function const*, unsigned long>, sxir::Function*> mFunctionInputs;
    sxir::Variable* mCounter = nullptr;
    sxir::Function* mTick = nullptr;
    // The function being written.
    sxir::Function* mFunction = nullptr;
    std::vector<Known> mScalars;
    std::vector<Known> mMatrices;
    std::vector<std::pair<sxir::Variable*, sxir::Function*>> mHandles; ///< function-typed storage, and what it holds
    std::vector<std::pair<sxir::Variable const*, sxir::Function*>> mCallables; ///< function-typed inputs
    std::vector<sxir::Function*> mOthers; ///< functions of a nested or the previous module
    sxir::Variable* mIndex = nullptr;
    unsigned long mIndexValue = 0;
    std::vector<Expression> mShared; ///< the statement's expressions so far, to share
};

// ---------------------------------------------------------------------------------------------------------
// The proof.

unsigned jobs()
{
    return std::max(1u, std::thread::hardware_concurrency());
}

class CompiledC : public ::testing::Test {
protected:
    void SetUp() override
    {
        compiler = sxir_test::findCCompiler();
        if (compiler.empty()) {
            GTEST_SKIP() << "no C compiler: neither $CC nor cc is on the path";
        }
    }

    /// Checks `runs` with the system compiler at -O2, with the undefined-behaviour sanitizer, and with clang.
    void checkEveryWay(sxir_test::CompiledRuns const& runs)
    {
        std::string const optimized = runs.check(compiler, "-O2", jobs());
        EXPECT_TRUE(optimized.empty()) << optimized;
        std::string const sanitize = "-O1 -fsanitize=undefined,float-cast-overflow -fno-sanitize-recover=all";
        if (sxir_test::compilerAccepts(compiler, sanitize)) {
            std::string const sanitized = runs.check(compiler, sanitize, jobs());
            EXPECT_TRUE(sanitized.empty()) << sanitized;
        }
        if (sxir_test::onPath("clang")) {
            std::string const clang = runs.check("clang", "-O2", jobs());
            EXPECT_TRUE(clang.empty()) << clang;
        }
    }

    std::string compiler;
};

TEST_F(CompiledC, EveryCatalogSampleComputesWhatTheInterpreterComputes)
{
    for (sxu::string const& name : sxir::TestCatalog::get()->getEntryNames()) {
        SCOPED_TRACE(name);
        sxir::ThrowingRuntimeEnvironment env;
        std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
        sxir::Module& module = *sxir::TestCatalog::get()->createModule(name, *context);
        std::vector<CRun> runs;
        sxir::Scope const& scope = module.getModuleScope();
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            auto const& function = static_cast<sxir::Function const&>(*scope.getGenericScopeItem(i));
            sxir::Scope const& inputs = function.getFunctionScope(sxir::FunctionScopeType::Input);
            for (int set = 0; set < 4; ++set) {
                CRun run{&function, {}};
                for (unsigned long k = 0; k < inputs.getNumScopeItems(); ++k) {
                    sxir::Type const& type = static_cast<sxir::Variable const*>(inputs.getGenericScopeItem(k))->getType();
                    std::vector<double> elements;
                    for (unsigned long e = 0; e < type.getDimension().m() * type.getDimension().n(); ++e) {
                        // Indices 0 to 5 pick inside the samples' 6-element inputs; the rest are corners.
                        elements.push_back(set == 0 ? static_cast<double>((e + k) % 6) : kBoundaries[(set * 7 + e * 3 + k) % std::size(kBoundaries)]);
                    }
                    run.inputs.emplace_back(static_cast<sxir::BuiltinType const&>(type.getBaseType()).getType(),
                                            type.getDimension(), elements);
                }
                runs.push_back(run);
            }
        }
        sxir_test::ScratchDirectory directory;
        sxir_test::CompiledRuns compiled(directory.path());
        EXPECT_GT(compiled.add(module, runs), 0u);
        checkEveryWay(compiled);
    }
}

TEST_F(CompiledC, SelectionsOfSelectionsAndFunctionValuesOfEveryKindComputeWhatTheInterpreterComputes)
{
    // What the generator does not write: stores into an element of an element and a range of a range,
    // a call of a call's value, a call through a variable whose type changed after the call was
    // written, a function value copied between signatures of other forms, recursion, and a boolean
    // constant whose byte is neither 0 nor 1.
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    auto& real = context->getBuiltinType(T::Real);
    auto& int32 = context->getBuiltinType(T::Int32);
    sxir::MatrixType const column4(*context, T::Real, sxu::Dimension(4, 1));
    sxir::Module& module = *context->getGlobalScope().addScopeItem<sxir::Module>("corners");
    auto const function = [&module](char const* name, std::vector<sxir_test::Parameter> const& inputs,
                                    std::vector<sxir_test::Parameter> const& outputs) -> sxir::Function& {
        return sxir_test::addTypedFunction(module, name, inputs, outputs);
    };
    sxir::Function& half = function("half", {{"a", &real}}, {{"b", &real}});
    *half.expression("b") = half.expression("a") / 2.0;
    sxir::Function& truncate = function("truncate", {{"a", &int32}}, {{"b", &int32}});
    *truncate.expression("b") = truncate.expression("a") / 3;
    // pick(k): half when k > 0, else truncate seen through half's signature (an adapter).
    sxir::Function& pick = function("pick", {{"k", &real}}, {{"f", &half.getSignature()}});
    pick.If(pick.expression("k") > 0.0);
    *pick.expression("f") = pick.expression("half");
    pick.Else();
    *pick.expression("f") = pick.expression("truncate");
    pick.End();
    sxir::Function& f = function("f", {{"x", &real}, {"k", &real}}, {{"y", &column4}, {"z", &real}, {"w", &int32}});
    sxir::Scope& locals = f.getFunctionScope(sxir::FunctionScopeType::Local);
    locals.addScopeItem<sxir::Variable>("h")->setType(half.getSignature());
    locals.addScopeItem<sxir::Variable>("g")->setType(truncate.getSignature());
    Expression const x = f.expression("x"), k = f.expression("k"), y = f.expression("y");
    Expression const h = f.expression("h"), g = f.expression("g");
    *y(sxir::Colon(1, 4))(sxir::Colon(1, 2)) = Expression(f.expression("pick") << k) << x; // a call of a call's value
    *y(1)(0, 0) = x * 3.0;                                                        // an element of an element
    *h = f.expression("pick") << k;
    *g = h; // half (or truncate's adapter) through truncate's signature: a conversion between forms
    *f.expression("w") = g << x;
    Expression const through = h << x;
    *f.expression("z") = through;
    // The variable's type changes after the call through it was written: the call keeps its signature.
    static_cast<sxir::Variable*>(locals.lookupGenericScopeItem("h"))->setType(truncate.getSignature());
    // depth(n) calls itself n deep.
    sxir::Function& depth = function("depth", {{"n", &real}}, {{"d", &int32}});
    depth.If(depth.expression("n") > 0.0);
    *depth.expression("d") = (depth.expression("depth") << depth.expression("n") - 1.0) + 1;
    depth.End();
    // A boolean constant whose byte is 5 is 1 wherever it goes.
    auto& boolean = context->getBuiltinType(T::Boolean);
    sxir::MatrixType const flags2(*context, T::Boolean, sxu::Dimension(2, 1));
    sxir::Function& flags = function("flags", {}, {{"moved", &boolean}, {"stored", &flags2}, {"sum", &int32}});
    Expression const five(*context, static_cast<unsigned char>(5));
    *flags.expression("moved") = five;
    *flags.expression("stored")(1) = five;
    *flags.expression("sum") = five + 1;
    std::vector<CRun> runs{CRun{&flags, {}}};
    for (double const xs : {7.5, -7.5, nan, 3e9}) {
        for (double const ks : {1.0, -1.0}) {
            runs.push_back(CRun{&f, {sxir::Value(T::Real, xs), sxir::Value(T::Real, ks)}});
        }
        runs.push_back(CRun{&depth, {sxir::Value(T::Real, xs > 100 ? 25.0 : xs)}});
    }
    sxir_test::ScratchDirectory directory;
    sxir_test::CompiledRuns compiled(directory.path());
    EXPECT_EQ(compiled.add(module, runs), runs.size());
    checkEveryWay(compiled);
}

/// A function of `module` with inputs x and outputs y and after, all real.
sxir::Function& graphFunction(sxir::Module& module, std::string const& name)
{
    sxir::BuiltinType const& real = module.getContext().getBuiltinType(T::Real);
    return sxir_test::addTypedFunction(module, name, sxir_test::parameters({"x"}, real),
                                       sxir_test::parameters({"y", "after"}, real));
}

TEST_F(CompiledC, SharedNodesThatHoldCallsRunAtEachUseAsTheirUnfoldedTreesDo)
{
    // Each graph shared and unfolded, in functions that start m at x/4: y = the graph, after = m,
    // what the calls left.
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::Module& module = *context->getGlobalScope().addScopeItem<sxir::Module>("graphs");
    sxir_test::addTick(module);
    std::vector<CRun> runs;
    auto const add = [&](std::string const& name, sxir_test::Graph const& graph, std::vector<double> const& xs) {
        for (bool const shared : {true, false}) {
            sxir::Function& f = graphFunction(module, name + (shared ? "_shared" : "_tree"));
            auto* start = new sxir::AssignmentStatement(f);
            start->setExpression(sxir::AssignmentStatement::LHS, f.expression("m"));
            start->setExpression(sxir::AssignmentStatement::RHS, f.expression("x") * 0.25);
            f.append(start);
            *f.expression("y") = graph.build(f, shared);
            *f.expression("after") = f.expression("m");
            for (double const x : xs) {
                runs.push_back(CRun{&f, {sxir::Value(T::Real, x)}});
            }
        }
    };
    // v = m/2 + 1 is computed before the first call and read inside the code of the second use of
    // tick(v), which must compute it again: y = v + tick(v) + tick(v).
    using G = sxir_test::Graph;
    add("byHand",
        G{{{G::M, 0, 0, 0}, {G::Half, 0, 0, 0}, {G::Constant, 0, 0, 1}, {G::Add, 1, 2, 0}, {G::Tick, 3, 0, 0},
           {G::Add, 3, 4, 0}, {G::Add, 5, 4, 0}}},
        {0.0, 2.0});
    for (unsigned seed = 0; seed < 300; ++seed) {
        add("g" + std::to_string(seed), G::random(seed), {1.5, -3.0});
    }
    sxir_test::ScratchDirectory directory;
    sxir_test::CompiledRuns compiled(directory.path());
    EXPECT_EQ(compiled.add(module, runs), runs.size());
    checkEveryWay(compiled);
}

TEST_F(CompiledC, DeepGraphsOverCallsAreWrittenOnceAndRunAsTheirUnfoldedTrees)
{
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::Module& module = *context->getGlobalScope().addScopeItem<sxir::Module>("deep");
    sxir_test::addTick(module);
    sxir::Function& deep = graphFunction(module, "deep");
    Expression const x = deep.expression("x"), m = deep.expression("m");
    // tick(operand) + tick(operand), doubled `levels` times over: 2^levels calls unfolded.
    auto const doublings = [&deep](Expression const& operand, int levels) {
        Expression sum = deep.expression("tick") << operand;
        for (int level = 0; level < levels; ++level) {
            sum = sum + sum;
        }
        return sum;
    };
    // Sixty levels over tick(1) and over tick(m/2) in branches the runs do not reach; ten levels run.
    deep.If(x > 100.0);
    *deep.expression("y") = doublings(Expression(*context, 1.0), 60);
    deep.End();
    deep.If(x > 200.0);
    *deep.expression("y") = doublings(m * 0.5, 60);
    deep.End();
    deep.If(x < 100.0);
    *deep.expression("y") = doublings(Expression(*context, 1.0), 10);
    deep.End();
    *deep.expression("after") = m;
    // Each level writes its code once and a jump back into it: a dozen lines per distinct node,
    // where the unfolded tree would be 2^60 calls.
    std::string const source = sxir::CEmitter().emit(module).source;
    EXPECT_LT(source.size(), 600u * (60 + 60 + 10)) << source;
    std::vector<CRun> const runs = {CRun{&deep, {sxir::Value(T::Real, 0.0)}}, CRun{&deep, {sxir::Value(T::Real, 1.0)}}};
    sxir::Interpreter interpreter(*context);
    EXPECT_EQ(interpreter.run(deep, runs[0].inputs).at(1), sxir::Value(T::Real, 1024.0));
    sxir_test::ScratchDirectory directory;
    sxir_test::CompiledRuns compiled(directory.path());
    EXPECT_EQ(compiled.add(module, runs, false), runs.size());
    checkEveryWay(compiled);
}

TEST_F(CompiledC, GeneratedProgramsComputeWhatTheInterpreterComputes)
{
    constexpr unsigned kPrograms = 510;
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    ProgramGenerator generator(*context, 20261125);
    sxir_test::ScratchDirectory directory;
    sxir_test::CompiledRuns compiled(directory.path());
    std::size_t planned = 0;
    for (unsigned index = 0; index < kPrograms; ++index) {
        sxir::Module& module = generator.generate(index);
        std::vector<CRun> const runs = generator.runs();
        planned += runs.size();
        compiled.add(module, runs);
    }
    // Most runs complete: the generator keeps indices inside their matrices and calls acyclic.
    EXPECT_GT(compiled.runs(), planned / 2);
    checkEveryWay(compiled);
}

} // namespace
