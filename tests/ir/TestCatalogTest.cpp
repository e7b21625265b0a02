// The catalog of sample modules: its names, and each sample's text against its golden file.
#include "tests/support/IrFixture.hpp"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

using sxir_test::makeContext;
using sxir_test::ThrowingEnvironment;

/// The golden text of a sample; with SXIR_UPDATE_GOLDEN set, `actual` replaces it first.
std::string golden(std::string const& name, std::string const& actual)
{
    std::string const path = std::string(SXIR_GOLDEN_DIR) + "/" + name + ".txt";
    if (std::getenv("SXIR_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << actual;
    }
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

TEST(TestCatalog, IsOneObjectHoldingTheTwelveSamplesInNameOrderEachRegisteredOnce)
{
    sxir::TestCatalog* catalog = sxir::TestCatalog::get();
    EXPECT_EQ(sxir::TestCatalog::get(), catalog);
    EXPECT_EQ(catalog->getEntryNames(),
              (std::vector<sxu::string>{"call_non_native_operator", "call_sum_pick_3", "call_times_two",
                                        "call_times_two_function_handle", "handle_call_sum_pick_3",
                                        "non_native_operator", "sum_3_vector", "sum_pick_3", "sum_pick_3_into_2",
                                        "sum_pick_3_into_4", "times_2_or_3", "times_two"}));
    // A name registered again keeps its first builder.
    ThrowingEnvironment env;
    auto context = makeContext(env);
    EXPECT_TRUE(catalog->registerEntry("times_two", [](sxir::Context const&) -> sxir::Module* { return nullptr; }));
    sxir::Module* module = catalog->createModule("times_two", *context);
    ASSERT_NE(module, nullptr);
    EXPECT_TRUE(module->getModuleScope().lookupGenericScopeItem("times_two")->isExported());
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
}

INSTANTIATE_TEST_SUITE_P(TestCatalog, Samples, ::testing::ValuesIn([] {
                             std::vector<sxu::string> const names = sxir::TestCatalog::get()->getEntryNames();
                             return std::vector<std::string>(names.begin(), names.end());
                         }()));

} // namespace
