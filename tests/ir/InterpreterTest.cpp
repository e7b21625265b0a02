// What runs compute: the catalog samples checked by hand, and the rules of each node kind, statement
// kind, conversion and call, as docs/semantics.md states them.
#include "tests/support/CallGraphs.hpp"
#include "tests/support/IrFixture.hpp"
#include "tests/support/Mean.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

namespace {

using sxir::Colon;
using sxir::Expression;
using sxir::Value;
using sxir_test::Graph;
using sxu::DataTypeId;
using sxu::Dimension;

Value number(double value)
{
    return Value(DataTypeId::Real, value);
}

Value column(DataTypeId::Type type, std::vector<double> const& elements)
{
    return Value(type, Dimension(elements.size(), 1), elements);
}

/// The last function of a module's scope: what the catalog samples test.
sxir::Function& lastFunction(sxir::Module& module)
{
    sxir::Scope& scope = module.getModuleScope();
    return static_cast<sxir::Function&>(*scope.getGenericScopeItem(scope.getNumScopeItems() - 1));
}

TEST(InterpreterSamples, EachSampleComputesWhatItsTextSays)
{
    Value const a = column(DataTypeId::Real, {10, 20, 30, 40, 50, 60});
    Value const i0(DataTypeId::Int32, 0), i1(DataTypeId::Int32, 1), i2(DataTypeId::Int32, 2), i4(DataTypeId::Int32, 4);
    double const wave = std::sin(0.5) * std::cos(0.5) + 4.0;
    struct Case {
        char const* name;
        std::vector<Value> inputs;
        std::vector<Value> outputs;
    };
    Case const cases[] = {
        {"times_two", {number(3.5)}, {number(7)}},
        {"call_times_two", {number(-1.25)}, {number(-2.5)}},
        {"call_times_two_function_handle", {number(4)}, {number(8)}},
        {"non_native_operator", {number(0.5)}, {number(wave)}},
        {"call_non_native_operator", {number(0.5)}, {number(wave)}},
        {"sum_3_vector", {column(DataTypeId::Real, {1, 2, 3.5})}, {number(6.5)}},
        // b = a(i1) + a(i2) + a(i3), picked through the local c.
        {"sum_pick_3", {a, i1, i2, i4}, {number(20 + 30 + 50)}},
        {"call_sum_pick_3", {a, i0, i2, i4}, {number(10 + 30 + 50)}},
        {"handle_call_sum_pick_3", {a, i4, i4, i1}, {number(50 + 50 + 20)}},
        // b = [a(i1) + a(i2), a(i2) + a(i3)].
        {"sum_pick_3_into_2", {a, i0, i2, i4}, {column(DataTypeId::Real, {40, 80})}},
        // b(0:2) = f1(a, i1, i2, i3), b(2:4) = f1(a, i3, i2, i1).
        {"sum_pick_3_into_4", {a, i0, i2, i4}, {column(DataTypeId::Real, {40, 80, 80, 40})}},
        {"times_2_or_3", {number(2)}, {number(4)}},
        {"times_2_or_3", {number(-2)}, {number(-6)}},
        // 0 > 0 is false: the false branch.
        {"times_2_or_3", {number(0)}, {number(0)}},
    };
    sxir_test::ThrowingEnvironment env;
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        auto context = sxir_test::makeContext(env);
        sxir::Function& f = lastFunction(*sxir::TestCatalog::get()->createModule(c.name, *context));
        sxir::Interpreter interpreter(*context);
        EXPECT_EQ(interpreter.run(f, c.inputs), c.outputs);
        // A second run, and a copy in another context, give the same bits.
        EXPECT_EQ(interpreter.run(f, c.inputs), c.outputs);
        auto other = sxir_test::makeContext(env);
        auto& copy = static_cast<sxir::Module&>(
            *other->getGlobalScope().copyGenericItemIn(*context->getGlobalScope().getGenericScopeItem(0)));
        EXPECT_EQ(sxir::Interpreter(*other).run(lastFunction(copy), c.inputs), c.outputs);
    }
}

TEST(InterpreterSamples, RandomInputsGiveWhatTheFormulasGiveTwiceAndInACopy)
{
    // The samples whose last function is a formula of its inputs, that formula in C++: a is
    // the first input's elements, i the indices that follow it.
    using Formula = std::function<std::vector<double>(std::vector<double> const& a, std::vector<int> const& i)>;
    std::pair<char const*, Formula> const formulas[] = {
        {"times_two", [](auto const& a, auto const&) { return std::vector<double>{a[0] * 2}; }},
        {"times_2_or_3", [](auto const& a, auto const&) { return std::vector<double>{a[0] * (a[0] > 0 ? 2 : 3)}; }},
        {"non_native_operator",
         [](auto const& a, auto const&) { return std::vector<double>{std::sin(a[0]) * std::cos(a[0]) + 4}; }},
        {"sum_3_vector", [](auto const& a, auto const&) { return std::vector<double>{a[0] + a[1] + a[2]}; }},
        {"sum_pick_3", [](auto const& a, auto const& i) { return std::vector<double>{a[i[0]] + a[i[1]] + a[i[2]]}; }},
        {"handle_call_sum_pick_3",
         [](auto const& a, auto const& i) { return std::vector<double>{a[i[0]] + a[i[1]] + a[i[2]]}; }},
        {"sum_pick_3_into_4",
         [](auto const& a, auto const& i) {
             return std::vector<double>{a[i[0]] + a[i[1]], a[i[1]] + a[i[2]], a[i[2]] + a[i[1]], a[i[1]] + a[i[0]]};
         }},
    };
    std::mt19937_64 random(2026);
    std::uniform_real_distribution<double> real(-1e3, 1e3);
    sxir_test::ThrowingEnvironment env;
    for (auto const& [name, formula] : formulas) {
        SCOPED_TRACE(name);
        auto context = sxir_test::makeContext(env), other = sxir_test::makeContext(env);
        sxir::Module& module = *sxir::TestCatalog::get()->createModule(name, *context);
        auto& copy = static_cast<sxir::Module&>(*other->getGlobalScope().copyGenericItemIn(module));
        sxir::Function const& f = lastFunction(module);
        sxir::Scope const& inputs = f.getFunctionScope(sxir::FunctionScopeType::Input);
        sxir::Interpreter interpreter(*context), copied(*other);
        for (int trial = 0; trial < 200; ++trial) {
            std::vector<double> a;
            std::vector<int> indices;
            std::vector<Value> values;
            for (unsigned long k = 0; k < inputs.getNumScopeItems(); ++k) {
                sxir::Type const& type = static_cast<sxir::Variable const*>(inputs.getGenericScopeItem(k))->getType();
                if (k == 0) {
                    for (unsigned long e = 0; e < type.getDimension().m(); ++e) {
                        a.push_back(trial % 17 == 0 ? 0.0 : real(random));
                    }
                    values.push_back(Value(DataTypeId::Real, type.getDimension(), a));
                } else {
                    indices.push_back(static_cast<int>(random() % 6));
                    values.push_back(Value(DataTypeId::Int32, indices.back()));
                }
            }
            std::vector<double> const expected = formula(a, indices);
            std::vector<Value> const out = interpreter.run(f, values);
            ASSERT_EQ(out.size(), 1u);
            EXPECT_EQ(out[0].getElements(), expected);
            EXPECT_EQ(interpreter.run(f, values), out);
            EXPECT_EQ(copied.run(lastFunction(copy), values), out);
        }
    }
}

class InterpreterTest : public sxir_test::IrTest {
protected:
    sxir::Interpreter interpreter{*context};

    /// A function of the given typed inputs and outputs.
    sxir::Function& function(char const* name, std::vector<sxir_test::Parameter> const& inputs,
                             std::vector<sxir_test::Parameter> const& outputs)
    {
        return sxir_test::addTypedFunction(module, name, inputs, outputs);
    }
    sxir::Type const* type(DataTypeId::Type id) const { return &builtin(id); }
};

TEST_F(InterpreterTest, ArithmeticConvertsAsCDoesAndDefinesWhatCLeavesUndefined)
{
    auto const *i32 = type(DataTypeId::Int32), *u32 = type(DataTypeId::UInt32), *r = type(DataTypeId::Real),
               *ch = type(DataTypeId::Char), *b = type(DataTypeId::Boolean);
    sxir::Function& f = function("f", {{"i", i32}, {"u", u32}, {"x", r}},
                                 {{"quotient", i32},
                                  {"wrapped", i32},
                                  {"mixed", b},
                                  {"unsigned", u32},
                                  {"toInt", i32},
                                  {"toChar", ch},
                                  {"narrowed", ch},
                                  {"signOf", r},
                                  {"truth", b},
                                  {"power", r}});
    Expression const i = f.expression("i"), u = f.expression("u"), x = f.expression("x");
    *f.expression("quotient") = i / 0;                              // a zero divisor gives 0
    *f.expression("wrapped") = i * 2 + 1;                           // modulo 2^32
    *f.expression("mixed") = i < u;                                 // int32 -1 is uint32 4294967295
    *f.expression("unsigned") = -u;                                 // uint32 negation wraps
    *f.expression("toInt") = x * 1e10;                              // real to int32 saturates
    *f.expression("toChar") = x * 300.0;                            // ... and to char_T
    *f.expression("narrowed") = i + 0;                              // int32 to char_T wraps modulo 256
    *f.expression("signOf") = sxir::sign(x * -0.0);                 // sign keeps -0
    *f.expression("truth") = (x / 0.0 - x / 0.0) && u;              // NaN is true
    *f.expression("power") = sxir::pow(x, Expression(*context, 2)); // the int32 2 converts to real
    std::vector<Value> const out =
        interpreter.run(f, {Value(DataTypeId::Int32, -2147483647.0), Value(DataTypeId::UInt32, 3), number(0.25)});
    ASSERT_EQ(out.size(), 10u);
    EXPECT_EQ(out[0], Value(DataTypeId::Int32, 0));
    EXPECT_EQ(out[1], Value(DataTypeId::Int32, -2147483647.0 * 2 + 1 + 4294967296.0)); // 3
    EXPECT_EQ(out[2], Value(DataTypeId::Boolean, 0));
    EXPECT_EQ(out[3], Value(DataTypeId::UInt32, 4294967293.0));
    EXPECT_EQ(out[4], Value(DataTypeId::Int32, 2147483647));
    EXPECT_EQ(out[5], Value(DataTypeId::Char, 75));
    EXPECT_EQ(out[6], Value(DataTypeId::Char, 1)); // -2147483647 mod 256, as a signed byte
    EXPECT_TRUE(std::signbit(out[7].getElement(0)) && out[7].getElement(0) == 0.0);
    EXPECT_EQ(out[8], Value(DataTypeId::Boolean, 1));
    EXPECT_EQ(out[9], number(0.0625));
    // INT32_MIN / -1 is INT32_MIN; an int32 input takes a real by truncation.
    sxir::Function& g = function("g", {{"i", i32}}, {{"q", i32}});
    *g.expression("q") = g.expression("i") / -1;
    EXPECT_EQ(interpreter.run(g, {Value(DataTypeId::Int32, -2147483648.0)}).at(0),
              Value(DataTypeId::Int32, -2147483648.0));
    EXPECT_EQ(interpreter.run(g, {number(-7.9)}).at(0), Value(DataTypeId::Int32, 7));
    // A boolean constant whose byte is 5 is true, 1, wherever it goes.
    sxir::MatrixType const flags(*context, DataTypeId::Boolean, Dimension(2, 1));
    sxir::Function& h = function("h", {}, {{"moved", b}, {"stored", &flags}, {"sum", i32}});
    Expression const five(*context, static_cast<unsigned char>(5));
    *h.expression("moved") = five;
    *h.expression("stored")(1) = five;
    *h.expression("sum") = five + 1;
    EXPECT_EQ(interpreter.run(h, {}), (std::vector<Value>{Value(DataTypeId::Boolean, 1), column(DataTypeId::Boolean, {0, 1}),
                                                           Value(DataTypeId::Int32, 2)}));
}

TEST_F(InterpreterTest, MatricesSelectColumnMajorAndRangesCopyAsIfThroughATemporary)
{
    sxir::MatrixType const m23(*context, DataTypeId::Real, Dimension(2, 3)),
        v4(*context, DataTypeId::Int32, Dimension(4, 1));
    sxir::Function& f =
        function("f", {{"M", &m23}, {"i", type(DataTypeId::Real)}}, {{"e", type(DataTypeId::Real)}, {"v", &v4}});
    Expression const M = f.expression("M"), i = f.expression("i"), v = f.expression("v");
    *f.expression("e") = M(i, 2) + M(1, 0);
    *v = M(Colon(1, 5)); // a real range into an int32 matrix, element by element in storage order
    *v(Colon(1, 4)) = v(Colon(0, 3));
    *v(3) = v(0) * 10;
    Value const matrix(DataTypeId::Real, Dimension(2, 3), {1, 2, 3, 4, 5.7, 6});
    std::vector<Value> const out = interpreter.run(f, {matrix, number(1)});
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0], number(6 + 2));
    EXPECT_EQ(out[1], column(DataTypeId::Int32, {2, 2, 3, 20}));
}

TEST_F(InterpreterTest, CallsRunAtEachUseInOrderAndModuleVariablesLastFromRunToRun)
{
    sxir::Variable& counter = *module.getModuleScope().addScopeItem<sxir::Variable>("counter");
    counter.setType(*type(DataTypeId::Int32));
    // tick() adds one to counter and gives the new count.
    sxir::Function& tick = function("tick", {}, {{"now", type(DataTypeId::Int32)}});
    Expression const count(counter);
    // An assignment to a module variable belongs to no function by its sides: it is appended by hand.
    auto increment = [&count](sxir::Function& in, Expression const& value) {
        auto* statement = new sxir::AssignmentStatement(in);
        statement->setExpression(sxir::AssignmentStatement::LHS, count);
        statement->setExpression(sxir::AssignmentStatement::RHS, value);
        in.append(statement);
    };
    increment(tick, count + 1);
    *tick.expression("now") = count;
    sxir::Function& f = function("f", {},
                                 {{"first", type(DataTypeId::Int32)},
                                  {"pair", type(DataTypeId::Int32)},
                                  {"twice", type(DataTypeId::Int32)},
                                  {"seen", type(DataTypeId::Int32)}});
    Expression const call = sxir::call(f.expression("tick"));
    *f.expression("first") = call;
    // Left to right: the counter is read before the call changes it; a shared call runs at each use.
    *f.expression("pair") = Expression(counter) * 10 + call;
    *f.expression("twice") = call + call;
    *f.expression("seen") = Expression(counter);
    EXPECT_EQ(interpreter.run(f, {}), (std::vector<Value>{Value(DataTypeId::Int32, 1), Value(DataTypeId::Int32, 12),
                                                          Value(DataTypeId::Int32, 7), Value(DataTypeId::Int32, 4)}));
    EXPECT_EQ(interpreter.run(f, {}).at(3), Value(DataTypeId::Int32, 8));
    interpreter.reset();
    EXPECT_EQ(interpreter.run(f, {}).at(3), Value(DataTypeId::Int32, 4));
    // A new interpreter starts with zeros; one prepared before a change sees the change.
    EXPECT_EQ(sxir::Interpreter(*context).run(tick, {}).at(0), Value(DataTypeId::Int32, 1));
    increment(tick, count * 2);
    EXPECT_EQ(interpreter.run(tick, {}).at(0), Value(DataTypeId::Int32, 5));
}

TEST_F(InterpreterTest, FunctionValuesAreCalledThroughVariablesAndDeepGraphsCostTheirDistinctNodes)
{
    sxir::Function& twice = addFunction("twice", {"a"}, {"b"});
    *twice.expression("b") = twice.expression("a") * 2.0;
    sxir::Function& f = addFunction("f", {"x"}, {"y", "z"});
    sxir::Variable& handle = addLocal(f, "h", &twice.getSignature());
    Expression const h(handle), x = f.expression("x");
    *h = f.expression("twice");
    *f.expression("y") = h << x;
    // 2^60 leaves unfolded, 61 nodes shared.
    Expression sum = x;
    for (int level = 0; level < 60; ++level) {
        sum = sum + sum;
    }
    *f.expression("z") = sum;
    EXPECT_EQ(interpreter.run(f, {number(0.75)}),
              (std::vector<Value>{number(1.5), number(0.75 * std::ldexp(1.0, 60))}));
    EXPECT_THROW(interpreter.run(f, {Value(twice)}), sxir::ReportedError);

    // A graph over a module variable, used on both sides of a call that changes the variable:
    // each use reads what the variable holds then, and the graph still costs its distinct nodes.
    module.getModuleScope().addScopeItem<sxir::Variable>("level")->setType(real());
    sxir::Function& grow = addFunction("grow", {}, {"now"});
    Expression const level = grow.expression("level");
    auto* step = new sxir::AssignmentStatement(grow);
    step->setExpression(sxir::AssignmentStatement::LHS, level);
    step->setExpression(sxir::AssignmentStatement::RHS, level + 1.0);
    grow.append(step);
    *grow.expression("now") = level;
    sxir::Function& g = addFunction("g", {}, {"y"});
    Expression graph = g.expression("level");
    for (int depth = 0; depth < 60; ++depth) {
        graph = graph + graph;
    }
    *g.expression("y") = graph - 1.0 + sxir::call(g.expression("grow")) + graph;
    EXPECT_EQ(interpreter.run(g, {}), (std::vector<Value>{number(-1.0 + 1.0 + std::ldexp(1.0, 60))}));
    EXPECT_EQ(interpreter.run(g, {}), (std::vector<Value>{number(std::ldexp(1.0, 60) + 2.0 + std::ldexp(2.0, 60))}));
}

TEST_F(InterpreterTest, SharedNodesThatHoldCallsRunAtEachUseAsTheirUnfoldedTreesDo)
{
    sxir_test::addTick(module);
    // y = the graph; after = m, what the calls left.
    auto const write = [&](char const* name, Graph const& graph, bool shared) -> sxir::Function& {
        sxir::Function& f = addFunction(name, {"x"}, {"y", "after"});
        *f.expression("y") = graph.build(f, shared);
        *f.expression("after") = f.expression("m");
        return f;
    };
    // v = m/2 + 1 is computed before the first call and again inside the second: y = v + tick(v)
    // + tick(v) gives 1 + 1 + 2.5, m ending at 2.5.
    using G = Graph;
    Graph const twice{{{G::M, 0, 0, 0}, {G::Half, 0, 0, 0}, {G::Constant, 0, 0, 1}, {G::Add, 1, 2, 0},
                       {G::Tick, 3, 0, 0}, {G::Add, 3, 4, 0}, {G::Add, 5, 4, 0}}};
    EXPECT_EQ(sxir::Interpreter(*context).run(write("sharedByHand", twice, true), {number(0)}),
              (std::vector<Value>{number(4.5), number(2.5)}));
    EXPECT_EQ(sxir::Interpreter(*context).run(write("treeByHand", twice, false), {number(0)}),
              (std::vector<Value>{number(4.5), number(2.5)}));
    int withCalls = 0;
    for (unsigned seed = 0; seed < 300; ++seed) {
        Graph const graph = Graph::random(seed);
        std::string const name = std::to_string(seed);
        sxir::Function& shared = write(("shared" + name).c_str(), graph, true);
        sxir::Function& tree = write(("tree" + name).c_str(), graph, false);
        for (double x : {1.5, -3.0}) {
            sxir::Interpreter sharedRun(*context), treeRun(*context);
            std::vector<Value> const expected = treeRun.run(tree, {number(x)});
            EXPECT_EQ(sharedRun.run(shared, {number(x)}), expected) << seed << ": " << tree.getStatements().asString();
            withCalls += expected[1] != number(0);
        }
    }
    EXPECT_GT(withCalls, 250);

    // 2^60 calls unfolded: preparing costs the distinct nodes, and a run that does not reach them
    // costs nothing; ten levels run 1,024 calls, m ending at their count.
    sxir::Function& deep = addFunction("deep", {"x"}, {"y", "after"});
    for (int depth : {60, 10}) {
        // The calls read m in the graph that is not run.
        Expression const operand = depth == 60 ? deep.expression("m") * 0.5 : Expression(deep.getContext(), 1.0);
        Expression sum = deep.expression("tick") << operand;
        for (int level = 0; level < depth; ++level) {
            sum = sum + sum;
        }
        Expression const x = deep.expression("x");
        deep.If(depth == 60 ? x > 100.0 : x < 100.0);
        *deep.expression("y") = sum;
        deep.End();
    }
    *deep.expression("after") = deep.expression("m");
    interpreter.prepare(deep);
    std::vector<Value> const out = sxir::Interpreter(*context).run(deep, {number(0)});
    EXPECT_EQ(out, (std::vector<Value>{number(1024.0 * 1025.0 / 2.0), number(1024)}));
}

TEST_F(InterpreterTest, ClientNodesTakeTheirEvaluatorsValue)
{
    sxir::Function& f = addFunction("f", {"x", "y"}, {"m"});
    *f.expression("m") = sxir_test::mean(f.expression("x"), f.expression("y") * 2.0) + 1.0;
    interpreter.setCustomEvaluator([](sxir::CustomExpressionData const&, std::vector<Value> const& operands) {
        return number((operands[0].getElement(0) + operands[1].getElement(0)) / 2);
    });
    EXPECT_EQ(interpreter.run(f, {number(1), number(3)}), std::vector<Value>{number(4.5)});
}

} // namespace
