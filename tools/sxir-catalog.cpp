// sxir-catalog: prints the sample modules of the test catalog, optionally hoisted or cloned.
#include "ir/CodeHoistor.hpp"
#include "ir/Context.hpp"
#include "ir/Module.hpp"
#include "ir/Scope.hpp"
#include "ir/TestCatalog.hpp"
#include "ir/ThrowingRuntimeEnvironment.hpp"

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

char const* const sUsage = "Usage: sxir-catalog [--hoist] [--clone] [NAME...]\n"
                           "       sxir-catalog --list | --help | --version\n"
                           "\n"
                           "Prints the sample modules of the sxir test catalog, each after a line\n"
                           "\"== NAME ==\"; with no NAME, every sample in catalog order.\n"
                           "\n"
                           "  --list     print the sample names, one per line\n"
                           "  --hoist    run the code-hoisting pass on each module before printing it\n"
                           "  --clone    print a clone of each module made in a second context\n"
                           "  --help     print this help\n"
                           "  --version  print the version\n";

struct CommandLine {
    bool list = false;
    bool help = false;
    bool version = false;
    bool hoist = false;
    bool clone = false;
    std::vector<std::string> names;
};

enum ExitStatus { Success = 0, Failure = 1, BadCommandLine = 2 };

/// Parses and checks the whole command line before anything is printed.
bool parse(int argc, char** argv, std::vector<sxu::string> const& valid, CommandLine& command)
{
    for (int i = 1; i < argc; ++i) {
        std::string const argument = argv[i];
        if (argument == "--list") {
            command.list = true;
        } else if (argument == "--help" || argument == "-h") {
            command.help = true;
        } else if (argument == "--version") {
            command.version = true;
        } else if (argument == "--hoist") {
            command.hoist = true;
        } else if (argument == "--clone") {
            command.clone = true;
        } else if (!argument.empty() && argument[0] == '-') {
            std::cerr << "sxir-catalog: unknown option '" << argument << "'\n"
                      << "Try 'sxir-catalog --help'.\n";
            return false;
        } else if (std::find(valid.begin(), valid.end(), argument) == valid.end()) {
            std::cerr << "sxir-catalog: unknown sample '" << argument << "'; the samples are:\n";
            for (sxu::string const& name : valid) {
                std::cerr << "  " << name << '\n';
            }
            return false;
        } else {
            command.names.push_back(argument);
        }
    }
    return true;
}

/// The text of the sample `name`, built (and hoisted, and cloned) as asked.
bool renderSample(std::string const& name, CommandLine const& command, std::string& text)
{
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::Module* module = sxir::TestCatalog::get()->createModule(name, *context);
    if (command.hoist) {
        sxir::CodeHoistor().analyze(*module);
    }
    text = module->asString();
    if (!command.clone) {
        return true;
    }
    std::unique_ptr<sxir::Context> other(sxir::Context::create(env));
    sxir::ScopeItem const* copy = other->getGlobalScope().copyGenericItemIn(*module);
    std::string const cloned = copy->asString();
    if (cloned != text) {
        std::cerr << "sxir-catalog: the clone of '" << name << "' prints differently from its source\n";
        return false;
    }
    text = cloned;
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<sxu::string> const valid = sxir::TestCatalog::get()->getEntryNames();
    CommandLine command;
    if (!parse(argc, argv, valid, command)) {
        return BadCommandLine;
    }
    if (command.help) {
        std::cout << sUsage;
        return Success;
    }
    if (command.version) {
        std::cout << "sxir-catalog " << SXIR_VERSION << '\n';
        return Success;
    }
    if (command.list) {
        for (sxu::string const& name : valid) {
            std::cout << name << '\n';
        }
        return Success;
    }
    std::vector<std::string> const names =
        command.names.empty() ? std::vector<std::string>(valid.begin(), valid.end()) : command.names;
    try {
        for (std::string const& name : names) {
            std::string text;
            if (!renderSample(name, command, text)) {
                return Failure;
            }
            std::cout << "== " << name << " ==\n" << text << '\n';
        }
    } catch (sxir::ReportedError const& error) {
        std::cerr << "sxir-catalog: " << error.what() << '\n';
        return Failure;
    }
    return Success;
}
