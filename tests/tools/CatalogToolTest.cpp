// The catalog tool run as a program: what it prints for each form of its command line, and how it refuses.
#include "ir/TestCatalog.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>

namespace {

struct ToolRun {
    int status;
    std::string out, err;
};

std::string slurp(std::string const& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// Runs the tool with `arguments` (already shell-quoted where needed), its output going to
/// `output` when one is given.
ToolRun runTool(std::string const& arguments, std::string const& output = "")
{
    // CTest may run several of these programs at once: each gets files of its own.
    std::string const stem = ::testing::TempDir() + "catalog_tool_" + std::to_string(::getpid());
    std::string const out = output.empty() ? stem + ".out" : output;
    int const status =
        std::system(("'" SXIR_CATALOG_TOOL "' " + arguments + " >'" + out + "' 2>'" + stem + ".err'").c_str());
    ToolRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(stem + ".out"), slurp(stem + ".err")};
    std::remove((stem + ".out").c_str());
    std::remove((stem + ".err").c_str());
    return run;
}

std::string sample(std::string const& name)
{
    return "== " + name + " ==\n" + slurp(std::string(SXIR_GOLDEN_DIR) + "/" + name + ".txt") + "\n";
}

TEST(CatalogTool, PrintsListsHoistsAndClonesTheSamples)
{
    std::string all, names;
    for (sxu::string const& name : sxir::TestCatalog::get()->getEntryNames()) {
        all += sample(name);
        names += name + "\n";
    }
    std::string const version = std::string("sxir-catalog ") + SXIR_VERSION + "\n";
    std::pair<char const*, std::string> const runs[] = {
        {"", all},
        {"--clone", all},
        {"times_two sum_3_vector times_two", sample("times_two") + sample("sum_3_vector") + sample("times_two")},
        {"--list", names},
        {"--hoist --clone times_2_or_3", sample("times_2_or_3")},
        // No sample has a pair to hoist or an empty if: both passes leave them as they are.
        {"--hoist=safe", all},
        {"--hoist=safe --clone --hoist=safe times_2_or_3", sample("times_2_or_3")},
        {"--version", version},
    };
    for (auto const& [arguments, expected] : runs) {
        ToolRun const run = runTool(arguments);
        EXPECT_EQ(run.status, 0) << arguments;
        EXPECT_EQ(run.out, expected) << arguments;
        EXPECT_EQ(run.err, "") << arguments;
    }
    EXPECT_EQ(runTool("--help").out.rfind("Usage: sxir-catalog", 0), 0u);
}

TEST(CatalogTool, RefusesAnUnknownNameOrOptionBeforePrintingAnything)
{
    std::pair<char const*, char const*> const refusals[] = {
        {"times_two no_such_sample", "unknown sample 'no_such_sample'"},
        {"times_two --frobnicate", "unknown option '--frobnicate'"},
        {"--hoist=unsafe times_two", "unknown option '--hoist=unsafe'"},
        {"--hoist=safe --hoist times_two", "'--hoist' and '--hoist=safe' exclude each other"},
        // What does something else than print samples stands alone.
        {"--list times_two", "'--list' cannot be combined with other arguments"},
        {"times_two --list", "'--list' cannot be combined with other arguments"},
        {"--hoist --list", "'--list' cannot be combined with other arguments"},
        {"--version --help", "'--version' cannot be combined with other arguments"},
        {"-h --clone", "'-h' cannot be combined with other arguments"},
        {"--list --list", "'--list' cannot be combined with other arguments"},
    };
    for (auto const& [arguments, message] : refusals) {
        ToolRun const run = runTool(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_EQ(run.out, "") << arguments;
        EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
    }
}

TEST(CatalogTool, RunsASamplesLastFunctionOnTheValuesGiven)
{
    std::pair<char const*, char const*> const runs[] = {
        {"--run times_two -3.5", "b = real_T -7\n"},
        {"--run times_2_or_3 nan", "b = real_T nan\n"},
        {"--run sum_pick_3_into_4 10,20,30,40,50,60 0 2 4.9", "b = real_T [4x1] {40,80,80,40}\n"},
    };
    for (auto const& [arguments, expected] : runs) {
        ToolRun const run = runTool(arguments);
        EXPECT_EQ(run.status, 0) << arguments;
        EXPECT_EQ(run.out, expected) << arguments;
        EXPECT_EQ(run.err, "") << arguments;
    }
    // Values that do not fit their input are named, with status 2; a run that goes wrong has status 1.
    std::tuple<char const*, int, char const*> const failures[] = {
        {"--run times_two abc", 2, "input 'a' (real_T a) takes 1 number(s)"},
        {"--run sum_3_vector 1,2", 2, "input 'a' (real_T a[3x1]) takes 3 number(s)"},
        {"--run sum_3_vector 1,,3", 2, "got '1,,3'"},
        {"--run times_two", 2, "times_two takes 1 inputs (real_T a); 0 values given"},
        {"--run", 2, "--run needs the name of a sample"},
        {"--hoist --run times_two 1", 2, "'--run' comes first"},
        {"--run sum_pick_3 1,2,3,4,5,6 9 0 0", 1, "sxir:expression:IndexOutOfRange: a(i1,0): (9,0): 6x1: f"},
    };
    for (auto const& [arguments, status, message] : failures) {
        ToolRun const run = runTool(arguments);
        EXPECT_EQ(run.status, status) << arguments;
        EXPECT_EQ(run.out, "") << arguments;
        EXPECT_NE(run.err.find(message), std::string::npos) << arguments << ": " << run.err;
    }
}

TEST(CatalogTool, EmitsASamplesModuleAsCPrintedOrIntoADirectory)
{
    std::string const golden = slurp(std::string(SXIR_GOLDEN_DIR) + "/c/times_2_or_3.c");
    ToolRun const printed = runTool("--emit-c times_2_or_3");
    EXPECT_EQ(printed.status, 0);
    EXPECT_EQ(printed.out, golden);
    EXPECT_EQ(printed.err, "");

    // Into a directory: the header and the source, which replace files only with --force.
    std::string const directory = ::testing::TempDir() + "emit_c_" + std::to_string(::getpid());
    std::filesystem::create_directories(directory);
    std::string const header = directory + "/module.h", source = directory + "/module.c";
    ToolRun const written = runTool("--emit-c times_2_or_3 --out '" + directory + "'");
    EXPECT_EQ(written.status, 0) << written.err;
    EXPECT_EQ(written.out, header + "\n" + source + "\n");
    EXPECT_EQ(slurp(header) + "\n" + slurp(source), golden);
    std::ofstream(source) << "kept";
    ToolRun const refused = runTool("--emit-c times_two --out '" + directory + "'");
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("'" + header + "' exists; --force replaces it"), std::string::npos) << refused.err;
    EXPECT_EQ(slurp(source), "kept");
    ToolRun const forced = runTool("--force --emit-c times_two --out '" + directory + "'");
    EXPECT_EQ(forced.status, 2) << "--emit-c comes first";
    ToolRun const replaced = runTool("--emit-c times_two --force --out '" + directory + "'");
    EXPECT_EQ(replaced.status, 0) << replaced.err;
    EXPECT_EQ(slurp(header) + "\n" + slurp(source), slurp(std::string(SXIR_GOLDEN_DIR) + "/c/times_two.c"));

    // A directory that is none, or that cannot be written (not even by root: /proc), is a message and
    // status 2; so is a bad command line.
    std::pair<std::string, std::string> const failures[] = {
        {"--emit-c times_two --out '" + directory + "/none'", "is not a directory"},
        {"--emit-c times_two --out /proc", "cannot write '/proc/module.h'"},
        {"--emit-c", "--emit-c needs the name of a sample"},
        {"--emit-c no_such_sample", "--emit-c takes a sample's name"},
        {"--emit-c times_two times_two", "--emit-c takes a sample's name"},
        {"--emit-c times_two --out", "--emit-c takes a sample's name"},
        {"times_two --emit-c times_two", "'--emit-c' comes first"},
    };
    for (auto const& [arguments, message] : failures) {
        ToolRun const run = runTool(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_EQ(run.out, "") << arguments;
        EXPECT_NE(run.err.find(message), std::string::npos) << arguments << ": " << run.err;
    }
    std::filesystem::remove_all(directory);
}

TEST(CatalogTool, VerifiesSamplesQuietlyWhenTheyAreCleanAndRefusesWhatIsNoSample)
{
    // Every sample at once, and each alone: nothing found, nothing printed, status 0.
    std::string all;
    for (sxu::string const& name : sxir::TestCatalog::get()->getEntryNames()) {
        all += " " + name;
        ToolRun const run = runTool("--verify " + name);
        EXPECT_EQ(std::tie(run.status, run.out, run.err), std::make_tuple(0, std::string(), std::string())) << name;
    }
    ToolRun const every = runTool("--verify" + all);
    EXPECT_EQ(std::tie(every.status, every.out, every.err), std::make_tuple(0, std::string(), std::string()));
    std::pair<char const*, char const*> const refusals[] = {
        {"--verify", "--verify needs the names of samples"},
        {"--verify times_two no_such_sample", "unknown sample 'no_such_sample'"},
        {"times_two --verify times_two", "'--verify' comes first"},
    };
    for (auto const& [arguments, message] : refusals) {
        ToolRun const run = runTool(arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_EQ(run.out, "") << arguments;
        EXPECT_NE(run.err.find(message), std::string::npos) << arguments << ": " << run.err;
    }
}

TEST(CatalogTool, FailsWithAMessageWhenItsOutputCannotBeWritten)
{
    for (char const* arguments : {"", "--list", "--version", "--help"}) {
        ToolRun const run = runTool(arguments, "/dev/full");
        EXPECT_EQ(run.status, 1) << arguments;
        EXPECT_NE(run.err.find("sxir-catalog: cannot write the output"), std::string::npos) << run.err;
    }
}

TEST(CatalogTool, ItsVersionIsThePackagesVersion)
{
    std::string const version = runTool("--version").out;
    std::string const pc = slurp(SXIR_PC_FILE), config = slurp(SXIR_CONFIG_VERSION_FILE);
    ASSERT_EQ(version.rfind("sxir-catalog ", 0), 0u) << version;
    std::string const number = version.substr(13, version.size() - 14);
    EXPECT_EQ(number, SXIR_VERSION);
    EXPECT_NE(pc.find("\nVersion: " + number + "\n"), std::string::npos) << pc;
    EXPECT_NE(config.find("set(PACKAGE_VERSION \"" + number + "\")"), std::string::npos) << config;
}

} // namespace
