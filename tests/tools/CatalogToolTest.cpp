#include "ir/TestCatalog.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

std::string slurp(std::string const& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

/// Runs the tool with `arguments` (already shell-quoted where needed).
ToolRun runTool(std::string const& arguments)
{
    // CTest may run several of these at once: each run gets files of its own.
    static unsigned long runs = 0;
    std::string const stem = ::testing::TempDir() + "catalog_tool_" + std::to_string(::getpid()) + "_" +
                             std::to_string(runs++);
    std::string const out = stem + ".out";
    std::string const err = stem + ".err";
    std::string const command = std::string("'") + SXIR_CATALOG_TOOL + "' " + arguments + " >'" + out + "' 2>'" + err + "'";
    int const status = std::system(command.c_str());
    ToolRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
    std::remove(out.c_str());
    std::remove(err.c_str());
    return run;
}

std::string expectedSample(std::string const& name)
{
    return "== " + name + " ==\n" + slurp(std::string(SXIR_GOLDEN_DIR) + "/" + name + ".txt") + "\n";
}

TEST(CatalogTool, WithoutArgumentsPrintsEverySampleInCatalogOrder)
{
    std::string expected;
    for (sxu::string const& name : sxir::TestCatalog::get()->getEntryNames()) {
        expected += expectedSample(name);
    }
    ToolRun const plain = runTool("");
    EXPECT_EQ(plain.status, 0);
    EXPECT_EQ(plain.out, expected);
    EXPECT_EQ(plain.err, "");
    ToolRun const cloned = runTool("--clone");
    EXPECT_EQ(cloned.status, 0);
    EXPECT_EQ(cloned.out, expected);
}

TEST(CatalogTool, PrintsTheNamedSamplesInTheGivenOrder)
{
    ToolRun const run = runTool("times_two sum_3_vector times_two");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, expectedSample("times_two") + expectedSample("sum_3_vector") + expectedSample("times_two"));
}

TEST(CatalogTool, ListsTheNames)
{
    std::string expected;
    for (sxu::string const& name : sxir::TestCatalog::get()->getEntryNames()) {
        expected += name + "\n";
    }
    ToolRun const run = runTool("--list");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, expected);
}

TEST(CatalogTool, HoistsBeforePrintingWhenAsked)
{
    ToolRun const run = runTool("--hoist --clone times_2_or_3");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, expectedSample("times_2_or_3"));
}

TEST(CatalogTool, HelpAndVersion)
{
    ToolRun const help = runTool("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("Usage: sxir-catalog"), std::string::npos);
    ToolRun const version = runTool("--version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, std::string("sxir-catalog ") + SXIR_VERSION + "\n");
}

TEST(CatalogTool, AnUnknownNameListsTheValidOnesAndPrintsNothingElse)
{
    ToolRun const run = runTool("times_two no_such_sample");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("unknown sample 'no_such_sample'"), std::string::npos);
    for (sxu::string const& name : sxir::TestCatalog::get()->getEntryNames()) {
        EXPECT_NE(run.err.find("  " + name + "\n"), std::string::npos) << name;
    }
}

TEST(CatalogTool, AnUnknownOptionIsRefusedBeforeAnythingIsPrinted)
{
    ToolRun const run = runTool("times_two --frobnicate");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_NE(run.err.find("unknown option '--frobnicate'"), std::string::npos);
}

} // namespace
