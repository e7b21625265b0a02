// Expression handles and every node kind: constants, variable references, elements and ranges,
// operators, function references and calls, and client-defined nodes.
#include "tests/support/IrFixture.hpp"
#include "tests/support/Mean.hpp"

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <tuple>
#include <type_traits>

namespace {

using sxir::Colon;
using sxir::Expression;
using sxir_test::Mean;
using sxir_test::mean;
using sxu::DataTypeId;
using sxu::Dimension;

/// A handle that takes over the creator's reference of a freshly allocated node.
Expression adopt(sxir::ExpressionData* node)
{
    Expression handle(*node);
    node->releaseReference();
    return handle;
}

/// The context of every node of `e`, reached through each kind's public accessors.
std::set<sxir::Context const*> contextsOf(Expression const& e)
{
    std::set<sxir::Context const*> contexts;
    std::vector<Expression> work = {e};
    while (!work.empty()) {
        Expression const next = work.back();
        work.pop_back();
        sxir::ExpressionData const* node = next.getData();
        contexts.insert(&node->getContext());
        if (auto const* op = dynamic_cast<sxir::Operator const*>(node)) {
            for (unsigned long i = 0; i < op->getNumOperands(); ++i) {
                work.push_back(op->getOperand(i));
            }
        } else if (auto const* element = dynamic_cast<sxir::MatrixRef const*>(node)) {
            work.insert(work.end(), {element->getExpression(), element->getIndex(0), element->getIndex(1)});
        } else if (auto const* call = dynamic_cast<sxir::FunctionCall const*>(node)) {
            work.push_back(call->getExpression());
            for (unsigned long i = 0; i < call->getNumOperands(); ++i) {
                if (call->getOperand(i) != nullptr) {
                    work.push_back(*call->getOperand(i));
                }
            }
        }
    }
    return contexts;
}

class ExpressionTest : public sxir_test::IrTest {
protected:
    sxir::Function& g = addFunction("g", {"a", "b"}, {"y"});
    sxir::Function& h = addFunction("h", {}, {"z"});
    sxir::Function& f = addFunction("f", {"a", "b", "c"}, {"y"});
    Expression a = use(f, "a"), b = use(f, "b"), c = use(f, "c"), y = use(f, "y"), gRef = use(f, "g");

    static long count(Expression const& e) { return e.getData()->getReferenceCount(); }
    static std::string typeOf(Expression const& e)
    {
        return e.getGenericType() != nullptr ? e.getGenericType()->asString("v") : "none";
    }
    Expression addMatrix(char const* name, DataTypeId::Type id, Dimension const& size, bool isMutable = true)
    {
        sxir::MatrixType const type(*context, id, size);
        addLocal(f, name, &type).setMutable(isMutable);
        return use(f, name);
    }
};

/// Fails on the first value whose constant prints other than a default string stream writes it,
/// alone or (through the tree printer) under a unary minus.
template <class T>
::testing::AssertionResult printsLikeStream(sxir::Context const& context, std::vector<T> const& values)
{
    for (T const& value : values) {
        std::ostringstream stream;
        stream << value;
        Expression const constant(context, value);
        if (constant.asString() != stream.str() || (-constant).asString() != "-" + stream.str()) {
            return ::testing::AssertionFailure() << "\"" << constant.asString() << "\" for \"" << stream.str() << "\"";
        }
    }
    return ::testing::AssertionSuccess();
}

TEST_F(ExpressionTest, ConstantsPrintAsADefaultStringStreamWritesTheValue)
{
    using Limits = std::numeric_limits<double>;
    // clang-format off
    std::vector<double> doubles = {-0.0, Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(),
                                   -Limits::quiet_NaN(), Limits::denorm_min(), Limits::min(), Limits::max(),
                                   Limits::lowest(), 999999.5, 9999995.0, 99999.95, 0.0001, 0.00001, 1e16};
    // clang-format on
    for (int exponent = -324; exponent <= 308; ++exponent) {
        // Decimal rounding boundaries at every magnitude, and their neighbours.
        for (double const mantissa : {9.999995, 1.234565, 5.0}) {
            double const value = mantissa * std::pow(10.0, exponent);
            doubles.insert(doubles.end(), {value, std::nextafter(value, 0.0), std::nextafter(value, Limits::max())});
        }
    }
    std::mt19937_64 random(20240611);
    std::uniform_real_distribution<double> significand(1.0, 10.0);
    std::uniform_int_distribution<int> exponent(-320, 308);
    std::vector<int> ints = {0, -17, INT_MAX, INT_MIN};
    std::vector<unsigned int> unsigneds = {0u, 4000000000u, UINT_MAX};
    std::vector<char> chars;
    std::vector<unsigned char> booleans;
    for (int i = 0; i < 10000; ++i) {
        std::uint64_t const bits = random();
        double pattern;
        std::memcpy(&pattern, &bits, sizeof pattern);
        doubles.insert(doubles.end(), {pattern, significand(random) * std::pow(10.0, exponent(random))});
        ints.push_back(static_cast<int>(bits));
        unsigneds.push_back(static_cast<unsigned int>(bits >> 32));
        chars.push_back(static_cast<char>(i));
        booleans.push_back(static_cast<unsigned char>(i));
    }
    EXPECT_TRUE(printsLikeStream(*context, doubles));
    EXPECT_TRUE(printsLikeStream(*context, ints));
    EXPECT_TRUE(printsLikeStream(*context, unsigneds));
    EXPECT_TRUE(printsLikeStream(*context, chars));
    EXPECT_TRUE(printsLikeStream(*context, booleans));
    EXPECT_EQ(Expression(*context, 123456789.0).asString(), "1.23457e+08");
}

TEST_F(ExpressionTest, ConstantsHaveTheSharedBuiltinTypeAndBareValuesTheLastContext)
{
    std::tuple<unsigned char, double, int, unsigned int, char> const values{1, 2.5, -3, 4u, 'z'};
    void const* const addresses[] = {&std::get<0>(values), &std::get<1>(values), &std::get<2>(values),
                                     &std::get<3>(values), &std::get<4>(values)};
    char const* const texts[] = {"\x01", "2.5", "-3", "4", "z"};
    for (int id = 0; id < 5; ++id) {
        auto const type = static_cast<DataTypeId::Type>(id);
        Expression const e = adopt(sxir::Constant::createScalarConstant(*context, type, addresses[id]));
        EXPECT_EQ(e.asString(), texts[id]);
        EXPECT_EQ(e.getGenericType(), &builtin(type));
    }
    sxir_test::ContextPtr other = sxir_test::makeContext(env);
    Expression const anchor(*other);
    // Types are context-bound but not tree nodes: they leave the record alone.
    sxir::MatrixType const matrix(*context, DataTypeId::Real, Dimension(2, 2));
    for (Expression const& e : {Expression('c'), Expression(std::get<0>(values)), Expression(1), Expression(2u),
                                Expression(3.5), Expression(6ul), Expression(DataTypeId::Real, addresses[1])}) {
        EXPECT_EQ(&e.getData()->getContext(), other.get()) << e.asString();
    }
}

TEST_F(ExpressionTest, ConstantsOfEveryOtherPlainTypeConvertWithoutAmbiguity)
{
    // A pointer does not become a boolean: Expression(f("a")) for Expression(*f("a")) does not compile.
    static_assert(!std::is_convertible<sxir::ScopeItem const*, Expression>::value, "pointer to a declaration");
    static_assert(!std::is_convertible<sxir::Variable*, Expression>::value, "pointer to a variable");
    static_assert(!std::is_constructible<Expression, sxir::Context const&, char const*>::value, "text");
    Expression const A = addMatrix("A", DataTypeId::Real, Dimension(3, 4));
    struct Case {
        Expression built, same;
    };
    // clang-format off
    Case const cases[] = {
        {Expression(*context, true), Expression(*context, static_cast<unsigned char>(1))},
        {Expression(*context, -7L), Expression(*context, -7)},
        {Expression(*context, INT_MIN + 0LL), Expression(*context, INT_MIN)},
        {Expression(*context, UINT_MAX + 0ULL), Expression(*context, UINT_MAX)},
        {Expression(*context, 2.5f), Expression(*context, 2.5)},
        {Expression(false), Expression(*context, static_cast<unsigned char>(0))},
        {Expression(INT_MAX + 0L), Expression(*context, INT_MAX)},
        {Expression(3LL), Expression(*context, 3)},
        {Expression(4ULL), Expression(*context, 4u)},
        {Expression(0.25f), Expression(*context, 0.25)},
        // Indices of any integer type, in either position.
        {A(a, 0L), A(a, 0)},    {A(1LL, a), A(1, a)},   {A(2ULL), A(2u)},   {A(1L, 2LL), A(1, 2)},
        {f("A")->operator()(a, 0LL), A(a, 0)},
    };
    // clang-format on
    for (Case const& cs : cases) {
        EXPECT_TRUE(cs.built.isEquivalent(cs.same)) << cs.built.asString() << " vs " << cs.same.asString();
        EXPECT_EQ(cs.built.getGenericType(), cs.same.getGenericType()) << cs.built.asString();
    }
    EXPECT_TRUE(env.reports().empty());
}

TEST_F(ExpressionTest, PlainNumbersBesideAHandleBecomeConstantsInTheHandlesContext)
{
    Expression const A = addMatrix("A", DataTypeId::Real, Dimension(3, 4));
    sxir::ScopeItem const& item = *f("A");
    std::vector<Expression> built;
    auto other = sxir_test::makeContext(env);
    {
        // From here on the last IR object built belongs to the other context, which a bare
        // number with no handle beside it still takes.
        Expression const elsewhere(*other);
        EXPECT_EQ(&Expression(1.5).getData()->getContext(), other.get());
        built = {a * 2.0,     2.0 * a,    a - 1,        1u - a,          a / 'c',
                 a + 1L,      2LL + a,    a == 0,       0.5f < a,        a >= true,
                 a && true,   false || a, a != 3ULL,    sxir::pow(a, 2), sxir::atan2(2.0, a),
                 A(0),        A(a, 0),    A(1, a),      A(0L, 1LL),      item(1),
                 item(a, 2u), item(0, 1), gRef << 10.0, gRef << a << 2,  sxir::call(gRef) + 1};
        f.If(a > 0.0);
        *y = 2.0;
        f.Else();
        Expression rebound = a;
        rebound = 3.0;
        *y = rebound;
        f.End();
    }
    auto const& body = f.getStatements().getStatementList();
    auto const& branches = static_cast<sxir::IfStatement const&>(*body.back());
    built.push_back(branches.getExpression());
    for (bool branch : {true, false}) {
        auto const& assignment =
            static_cast<sxir::AssignmentStatement const&>(*branches.getStatements(branch).getStatementList().front());
        built.push_back(assignment.getExpression(sxir::AssignmentStatement::RHS));
    }
    for (Expression const& e : built) {
        EXPECT_EQ(contextsOf(e), std::set<sxir::Context const*>{context.get()}) << e.asString();
    }
    // Nothing built here reads the other context once it is gone.
    other.reset();
    for (Expression const& e : built) {
        e.getGenericType();
        e.asString();
    }
    EXPECT_EQ(std::string(f.asString()), "function [real_T y] = f(real_T a, real_T b, real_T c)\n"
                                         "    real_T A[3x4]\n    if (a>0)\n    y=2\nelse\n    y=3\nend\n\nend");
}

TEST_F(ExpressionTest, HandlesShareOneCountedNodeAndAssignmentRebinds)
{
    Expression const leaf(*context, 1.0);
    auto first = std::make_unique<Expression>(-leaf);
    auto second = std::make_unique<Expression>(*first);
    Expression third(*first->getData());
    EXPECT_EQ(second->getData(), first->getData());
    EXPECT_EQ(count(*first), 3);
    EXPECT_EQ(count(leaf), 2);
    first.reset();
    third = leaf;
    EXPECT_EQ(count(*second), 1);
    EXPECT_EQ(count(leaf), 3);
    // The operator keeps its operand until the operator's last handle goes.
    second.reset();
    EXPECT_EQ(count(leaf), 2);
    // The new node is held before the old one is let go: a sole holder survives self-assignment.
    Expression solo(*context, 2.5);
    Expression const& alias = solo;
    solo = alias;
    EXPECT_EQ(count(solo), 1);
    EXPECT_EQ(solo.asString(), "2.5");
}

TEST_F(ExpressionTest, EveryKindPrintsInItsOwnForm)
{
    Expression const A = addMatrix("A", DataTypeId::Real, Dimension(3, 4)), hRef = use(f, "h");
    // clang-format off
    std::pair<Expression, char const*> const cases[] = {
        {!a, "~a"},                         {a && b, "(a&&b)"},                 {a || b, "(a||b)"},
        {-a, "-a"},                         {a + b, "(a+b)"},                   {a - b, "(a-b)"},
        {a * b, "(a*b)"},                   {a / b, "(a/b)"},                   {a < b, "(a<b)"},
        {a > b, "(a>b)"},                   {a <= b, "(a<=b)"},                 {a >= b, "(a>=b)"},
        {a == b, "(a==b)"},                 {a != b, "(a!=b)"},                 {sxir::sqrt(a), "sqrt(a)"},
        {sxir::exp(a), "exp(a)"},           {sxir::log(a), "log(a)"},           {sxir::log10(a), "log10(a)"},
        {sxir::sin(a), "sin(a)"},           {sxir::cos(a), "cos(a)"},           {sxir::tan(a), "tan(a)"},
        {sxir::asin(a), "asin(a)"},         {sxir::acos(a), "acos(a)"},         {sxir::atan(a), "atan(a)"},
        {sxir::sinh(a), "sinh(a)"},         {sxir::cosh(a), "cosh(a)"},         {sxir::tanh(a), "tanh(a)"},
        {sxir::sign(a), "sign(a)"},         {sxir::atan2(a, b), "atan2(a,b)"},  {sxir::pow(a, b), "pow(a,b)"},
        // Only binary native operators are parenthesised; plain numbers become constants.
        {(a + b) * c, "((a+b)*c)"},         {a + b * c, "(a+(b*c))"},           {-a * b, "(-a*b)"},
        {-(-(a + b)), "--(a+b)"},           {!(a < b && !c), "~((a<b)&&~c)"},   {a / 0.5 - 1u, "((a/0.5)-1)"},
        {sxir::pow(-a, sxir::sin(b + 2.5)), "pow(-a,sin((b+2.5)))"},           {Expression(*context), "0"},
        // An unsigned long keeps its low 32 bits, read as an int.
        {Expression(*context, 4294967301ul), "5"},                              {Expression(*context, 0x180000000ul), "-2147483648"},
        // Indices print as they are; a single index leaves the column 0.
        {A(a, b * 2), "A(a,(b*2))"},        {A(a), "A(a,0)"},                   {A(Colon(3, 1)), "A(3:1)"},
        {A(Colon(0, ULONG_MAX)), "A(0:18446744073709551615)"},
        // Unset call operands print as "(nil)".
        {gRef, "g"},                        {sxir::call(gRef), "g((nil),(nil))"},  {gRef << a, "g(a,(nil))"},
        {sxir::call(hRef), "h()"},          {(gRef << sxir::call(hRef) << b) * 2.0, "(g(h(),b)*2)"},
        {mean(1.0, b), "mean(1,b)"},
    };
    // clang-format on
    for (auto const& [built, text] : cases) {
        EXPECT_EQ(built.asString(), text);
    }
}

TEST_F(ExpressionTest, EquivalenceIsStructuralButDeclarationsCompareByIdentity)
{
    Expression const A = addMatrix("A", DataTypeId::Real, Dimension(3, 3));
    Expression const B = addMatrix("B", DataTypeId::Real, Dimension(3, 3));
    Expression const nan(*context, std::numeric_limits<double>::quiet_NaN());
    Expression const zero(*context, 0), seven(*context, 7);
    sxir::Module& other = *context->getGlobalScope().addScopeItem<sxir::Module>("other");
    Expression const otherG(addFunction("g", {"a", "b"}, {"y"}, &other)), k(addFunction("k", {"a", "b"}, {"y"}));
    struct Case {
        Expression left, right;
        bool equivalent;
    };
    // clang-format off
    Case const cases[] = {
        // Constants: the same value type and an equal value.
        {seven, Expression(*context, 7), true},     {seven, Expression(*context, 8), false},
        {seven, Expression(*context, 7u), false},   {Expression(*context, 1), Expression(*context, 1.0), false},
        {Expression(*context, 'a'), Expression(*context, static_cast<unsigned char>('a')), false},
        {Expression(*context, 0.0), Expression(*context, -0.0), true},          {nan, nan, false},
        {Expression(*context), zero, true},         {Expression(*context), Expression(*context, 0u), false},
        {zero, -zero, false},                       {Expression(5ul), Expression(*context, 5), true},
        // Operators: the operation, then each operand in order.
        {(a + b) * c, (use(f, "a") + use(f, "b")) * use(f, "c"), true},         {2 * a, Expression(*context, 2) * a, true},
        {a + b, b + a, false},  {a + b, a - b, false},  {-a, !a, false},  {a + 1, a + 1.0, false},  {(a + b) * c, (a + b) * b, false},
        // Variables and functions: the very same declaration, whatever the names.
        {a, use(f, "a"), true}, {a, use(g, "a"), false}, {gRef, Expression(g), true}, {gRef, Expression(h), false}, {gRef, otherG, false},
        // Elements: the matrix, then the row, then the column; ranges: the matrix and both bounds.
        {A(a, b), use(f, "A")(use(f, "a"), b), true},   {A(a), A(a, 0), true},  {A(a), A(a, 0u), false},
        {A(a, b), A(b, a), false},  {A(a, b), B(a, b), false},  {A(a, b), A(Colon(0, 1)), false},
        {A(Colon(1, 4)), use(f, "A")(Colon(1, 4)), true},   {A(Colon(1, 4)), A(Colon(0, 4)), false},
        {A(Colon(1, 4)), A(Colon(1, 3)), false},    {A(Colon(1, 4)), B(Colon(1, 4)), false},
        // Calls: the function, then the operands in the order they were set; client nodes as the client decides.
        {gRef << a << b, use(f, "g") << use(f, "a") << b, true},     {gRef << a << b, gRef << b << a, false},   {gRef << a << b, gRef << a, false},
        {gRef << a << b, k << a << b, false},   {sxir::call(gRef), sxir::call(gRef), true},
        {mean(1.0, c), mean(1.0, c), true}, {mean(1.0, c), mean(c, 1.0), false},   {mean(1.0, c), 1.0 + c, false},
    };
    // clang-format on
    for (Case const& cs : cases) {
        EXPECT_EQ(cs.left.isEquivalent(cs.right), cs.equivalent) << cs.left.asString() << " vs " << cs.right.asString();
        EXPECT_EQ(cs.right.isEquivalent(cs.left), cs.equivalent) << cs.right.asString() << " vs " << cs.left.asString();
    }
}

TEST_F(ExpressionTest, PartsCompareInTheirOrderAndACallOnlyBelowItsOwnOperandCount)
{
    Expression const A = addMatrix("A", DataTypeId::Real, Dimension(3, 3));
    // A range compares what it selects from before its bounds.
    Mean::sComparisons = 0;
    EXPECT_FALSE(mean(A, a)(Colon(0, 3)).isEquivalent(mean(A, b)(Colon(1, 3))));
    EXPECT_EQ(Mean::sComparisons, 1);
    // Two calls of one function made across a change of its signature: the one with fewer
    // operands compares only those, whatever the other has.
    sxir::Function& k = addFunction("k", {"u"}, {"v"});
    Expression const narrow = Expression(k) << a;
    sxir::FunctionSignature wider(*context);
    wider.addInput("u").setType(real());
    wider.addInput("w").setType(real());
    wider.addOutput("v").setType(real());
    k.setSignature(wider);
    Expression const wide = Expression(k) << a << b;
    EXPECT_EQ(wide.asString(), "k(a,b)");
    EXPECT_TRUE(narrow.isEquivalent(wide));
    EXPECT_FALSE(wide.isEquivalent(narrow));
    EXPECT_FALSE(Expression(Expression(k) << b).isEquivalent(wide));
}

TEST_F(ExpressionTest, TypeFunctionAndAssignabilityFollowTheRulesOfEachKind)
{
    Expression const A = addMatrix("A", DataTypeId::Real, Dimension(3, 4));
    Expression const N = addMatrix("N", DataTypeId::Int32, Dimension(2, 2), false);
    sxir::MatrixType const inner(*context, DataTypeId::Char, Dimension(2, 3));
    sxir::MatrixType const outer(inner, Dimension(4, 1));
    addLocal(f, "M", &outer);
    sxir::FunctionSignature signature(*context);
    signature.addOutput("first").setType(real());
    signature.addOutput("last").setType(builtin(DataTypeId::Int32));
    sxir::Function& two = *module.getModuleScope().addScopeItem<sxir::Function>("two");
    two.setSignature(signature);
    sxir::Variable& global = *module.getModuleScope().addScopeItem<sxir::Variable>("m");
    global.setType(sxir::MatrixType(*context, DataTypeId::Real, Dimension(3, 3)));
    Expression const M = use(f, "M"), ga = use(g, "a"), m(global);
    struct Case {
        Expression e;
        char const* type;
        sxir::Function const* function;
        bool lvalue;
    };
    // clang-format off
    Case const cases[] = {
        // Constants and variables: their type, the function of the variable's scope, its mutability.
        {Expression(*context, 'c'), "char_T v", nullptr, false},    {a, "real_T v", &f, false},     {y, "real_T v", &f, true},
        // Operators: the first operand that belongs to a function decides; only elementary functions are typed.
        {a + ga, "none", &f, false},            {ga + a, "none", &g, false},            {(1.0 + m) * -ga + a, "none", &g, false},
        {m + 1.0, "none", nullptr, false},      {sxir::atan2(a, y), "real_T v", &f, false},
        // Elements: one base type off the matrix; the matrix decides first, then the row, then the column.
        {A(ga, ga), "real_T v", &f, true},      {m(a, ga), "real_T v", &f, true},       {m(1, ga), "real_T v", &g, true},
        {m(1, 2), "real_T v", nullptr, true},   {N(0, 1), "int32_T v", &f, false},      {M(a), "char_T v[2x3]", &f, true},
        {M(a)(0, 1), "char_T v", &f, true},     {a(0), "real_T v", &f, false},          {(A + 1.0)(0), "none", &f, false},
        // Ranges: a column of last minus first rows; the count wraps when the range is reversed.
        {A(Colon(1, 4)), "real_T v[3x1]", &f, true},    {N(Colon(2, 2)), "int32_T v[0x1]", &f, false},
        {A(Colon(3, 1)), "real_T v[18446744073709551614x1]", &f, true},
        // A function reference is typed by its signature; a call by its last output and decided by its last operand.
        {gRef, "[real_T y] = v(real_T a, real_T b)", nullptr, true},            {gRef << a, "real_T v", nullptr, false},
        {gRef << 1.0 << (a * 2.0), "real_T v", &f, false},                      {sxir::call(Expression(two)), "int32_T v", nullptr, false},
        // Client nodes: the first operand that belongs to a function decides.
        {mean(1.0, b), "real_T v", &f, false},  {mean(1.0, 2.0), "real_T v", nullptr, false},
    };
    // clang-format on
    for (Case const& cs : cases) {
        EXPECT_EQ(typeOf(cs.e), cs.type) << cs.e.asString();
        EXPECT_EQ(cs.e.resolveFunction(), cs.function) << cs.e.asString();
        EXPECT_EQ(cs.e.isLValue(), cs.lvalue) << cs.e.asString();
    }
    // The shared real_T of the first operand's context; assignability as the variable's mutability is now.
    sxir_test::ContextPtr other = sxir_test::makeContext(env);
    EXPECT_EQ(sxir::sin(Expression(*other, 2) + a).getGenericType(), &other->getBuiltinType(DataTypeId::Real));
    sxir::Variable& t = addLocal(f, "t");
    Expression const tRef(t);
    EXPECT_EQ(tRef.getGenericType(), &t.getType());
    t.setMutable(false);
    EXPECT_FALSE(tRef.isLValue());
}

TEST_F(ExpressionTest, StarAssignmentAppendsToTheLeftSidesFunctionElseTheRightSides)
{
    Expression const z = use(h, "z");
    *y = a + 1.0;
    *y = z;
    *Expression(*context, 3) = z;
    y.assign(a, true);
    EXPECT_EQ(f.getStatements().asString(), "    y=(a+1)\n    y=z\n    y=a\n");
    EXPECT_EQ(h.getStatements().asString(), "    3=z\n");
    EXPECT_TRUE(f.getStatements().getStatementList().back()->isAutoGenerated());
    EXPECT_FALSE(f.getStatements().getStatementList().front()->isAutoGenerated());
    // Rebinding a handle writes nothing; an assignment that no function owns is reported.
    y = z;
    EXPECT_THROW(*Expression(*context, 1.0) = Expression(*context, 2.0), sxir::ReportedError);
    EXPECT_EQ(env.reports().at(0).id, "sxir:expression:CannotResolveFunction");
    EXPECT_EQ(f.getStatements().getStatementList().size(), 3u);
}

TEST_F(ExpressionTest, ClonesRebindEveryNameInTheTargetFunctionAndItsContext)
{
    addMatrix("A", DataTypeId::Real, Dimension(4, 4));
    auto build = [](sxir::Function const& in) {
        sxir::Context const& context = in.getContext();
        Expression const A = use(in, "A");
        return A(use(in, "a") + Expression(context, 1), Expression(context, 2u)) * sxir::sqrt(use(in, "b")) -
               sxir::pow(A(Colon(1, 3)), mean(use(in, "y"), -Expression(context, 1.5))) +
               (use(in, "g") << use(in, "c") << Expression(context, 'q'));
    };
    Expression const source = build(f);
    EXPECT_EQ(source.asString(), "(((A((a+1),2)*sqrt(b))-pow(A(1:3),mean(y,-1.5)))+g(c,q))");

    // The same names in another context: locals of t, and a function g in t's module.
    sxir_test::ContextPtr other = sxir_test::makeContext(env);
    sxir::Module& otherModule = *other->getGlobalScope().addScopeItem<sxir::Module>("module");
    addFunction("g", {"a", "b"}, {}, &otherModule);
    sxir::Function& t = *otherModule.getModuleScope().addScopeItem<sxir::Function>("t");
    t.setSignature(sxir::FunctionSignature(*other));
    sxir::Scope& locals = t.getFunctionScope(sxir::FunctionScopeType::Local);
    for (char const* name : {"a", "b", "c", "y"}) {
        locals.addScopeItem<sxir::Variable>(name)->setType(other->getBuiltinType(DataTypeId::Int32));
    }
    locals.addScopeItem<sxir::Variable>("A")->setType(sxir::MatrixType(*other, DataTypeId::Int32, Dimension(2, 7)));

    Expression const copy = source.clone(t);
    EXPECT_EQ(copy.asString(), source.asString());
    EXPECT_EQ(&copy.getData()->getContext(), other.get());
    EXPECT_EQ(copy.resolveFunction(), &t);
    // Declarations compare by identity: equivalence proves the rebinding.
    EXPECT_TRUE(copy.isEquivalent(build(t)));
    EXPECT_FALSE(copy.isEquivalent(source));
    EXPECT_TRUE(copy.clone(f).isEquivalent(source));
    // f's input becomes t's assignable local; a range takes its type from the target's variable.
    EXPECT_TRUE(a.clone(t).isLValue());
    EXPECT_EQ(typeOf(use(f, "A")(Colon(1, 4)).clone(t)), "int32_T v[3x1]");
    // Constants are made anew in the target context.
    Expression const moved = Expression(*context, UINT_MAX).clone(t);
    EXPECT_EQ(moved.getGenericType(), &other->getBuiltinType(DataTypeId::UInt32));
    EXPECT_TRUE(moved.isEquivalent(Expression(*context, UINT_MAX)));
}

} // namespace
