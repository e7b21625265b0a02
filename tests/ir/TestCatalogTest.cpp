#include "tests/support/IrFixture.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

using sxir_test::makeContext;
using sxir_test::ThrowingEnvironment;

std::string goldenPath(std::string const& name)
{
    return std::string(SXIR_GOLDEN_DIR) + "/" + name + ".txt";
}

/// The golden text of a sample; with SXIR_UPDATE_GOLDEN set, `actual` replaces it first.
std::string golden(std::string const& name, std::string const& actual)
{
    if (std::getenv("SXIR_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(goldenPath(name), std::ios::binary) << actual;
    }
    std::ifstream in(goldenPath(name), std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(TestCatalog, IsOneObjectHoldingTheTwelveSamplesInNameOrder)
{
    sxir::TestCatalog* catalog = sxir::TestCatalog::get();
    EXPECT_EQ(sxir::TestCatalog::get(), catalog);
    std::vector<sxu::string> const expected = {
        "call_non_native_operator", "call_sum_pick_3", "call_times_two", "call_times_two_function_handle",
        "handle_call_sum_pick_3",   "non_native_operator", "sum_3_vector", "sum_pick_3",
        "sum_pick_3_into_2",        "sum_pick_3_into_4",   "times_2_or_3", "times_two"};
    EXPECT_EQ(catalog->getEntryNames(), expected);
}

TEST(TestCatalog, ARegisteredNameKeepsItsFirstBuilder)
{
    ThrowingEnvironment env;
    auto context = makeContext(env);
    sxir::TestCatalog* catalog = sxir::TestCatalog::get();
    EXPECT_TRUE(catalog->registerEntry("times_two", [](sxir::Context const&) -> sxir::Module* { return nullptr; }));
    sxir::Module* module = catalog->createModule("times_two", *context);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->getName(), "module");
    EXPECT_EQ(catalog->createModule("no_such_sample", *context), nullptr);
}

TEST(TestCatalog, BuildingASampleTwiceIntoOneContextReportsTheTakenName)
{
    ThrowingEnvironment env;
    auto context = makeContext(env);
    sxir::TestCatalog::get()->createModule("sum_pick_3", *context);
    try {
        sxir::TestCatalog::get()->createModule("sum_pick_3", *context);
        FAIL() << "the second build succeeded";
    } catch (sxir::ReportedError const& error) {
        EXPECT_EQ(error.getId(), "sxir:scope:DuplicateScopeItemNames");
        EXPECT_EQ(error.getArgument(1), "module");
    }
    EXPECT_EQ(context->getGlobalScope().getNumScopeItems(), 1u);
}

class Samples : public ::testing::TestWithParam<std::string> {};

TEST_P(Samples, PrintAsGoldenCloneIdenticallyAndSurviveHoisting)
{
    ThrowingEnvironment env;
    auto context = makeContext(env);
    sxir::Module* module = sxir::TestCatalog::get()->createModule(GetParam(), *context);
    ASSERT_NE(module, nullptr);
    std::string const text = module->asString();
    EXPECT_EQ(text, golden(GetParam(), text));

    auto other = makeContext(env);
    sxir::ScopeItem* copy = other->getGlobalScope().copyGenericItemIn(*module);
    EXPECT_EQ(copy->getName(), "module");
    EXPECT_EQ(copy->asString(), text);

    // No sample has an assignment common to both branches of an if.
    sxir::CodeHoistor().analyze(*module);
    EXPECT_EQ(module->asString(), text);
    sxir::CodeHoistor().analyze(static_cast<sxir::Module&>(*copy));
    EXPECT_EQ(copy->asString(), text);
}

INSTANTIATE_TEST_SUITE_P(TestCatalog, Samples, ::testing::ValuesIn([] {
                             std::vector<sxu::string> const names = sxir::TestCatalog::get()->getEntryNames();
                             return std::vector<std::string>(names.begin(), names.end());
                         }()));

TEST(TestCatalog, EntryFunctionsAreExported)
{
    ThrowingEnvironment env;
    auto context = makeContext(env);
    sxir::Module* module = sxir::TestCatalog::get()->createModule("call_times_two", *context);
    sxir::Scope const& scope = module->getModuleScope();
    EXPECT_FALSE(scope.lookupGenericScopeItem("times_two")->isExported());
    EXPECT_TRUE(scope.lookupGenericScopeItem("call_times_two")->isExported());
}

} // namespace
