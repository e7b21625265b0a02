// sxir-catalog: prints the sample modules of the test catalog, optionally hoisted or cloned.
#include "ir/CodeHoistor.hpp"
#include "ir/Context.hpp"
#include "ir/Module.hpp"
#include "ir/SafeCodeHoistor.hpp"
#include "ir/Scope.hpp"
#include "ir/TestCatalog.hpp"
#include "ir/ThrowingRuntimeEnvironment.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

char const* const sUsage = "Usage: sxir-catalog [--hoist | --hoist=safe] [--clone] [NAME...]\n"
                           "       sxir-catalog --list | --help | --version\n"
                           "\n"
                           "Prints the sample modules of the sxir test catalog, each after a line\n"
                           "\"== NAME ==\"; with no NAME, every sample in catalog order.\n"
                           "\n"
                           "  --list     print the sample names, one per line\n"
                           "  --hoist    run the code-hoisting pass on each module before printing it\n"
                           "  --hoist=safe\n"
                           "             run the hoisting pass that keeps every run's results instead\n"
                           "  --clone    print a clone of each module made in a second context\n"
                           "  --help     print this help\n"
                           "  --version  print the version\n"
                           "\n"
                           "--list, --help and --version each stand alone.\n";

enum class Hoisting { None, Equivalent, Safe };

struct CommandLine {
    bool list = false;
    bool help = false;
    bool version = false;
    Hoisting hoist = Hoisting::None;
    bool clone = false;
    std::vector<std::string> names;
};

enum ExitStatus { Success = 0, Failure = 1, BadCommandLine = 2 };

/// Parses and checks the whole command line before anything is printed.
bool parse(int argc, char** argv, std::vector<sxu::string> const& valid, CommandLine& command)
{
    // The options that do something else than print samples, and what each sets.
    std::pair<char const*, bool CommandLine::*> const standalone[] = {
        {"--list", &CommandLine::list},
        {"--help", &CommandLine::help},
        {"-h", &CommandLine::help},
        {"--version", &CommandLine::version},
    };
    for (int i = 1; i < argc; ++i) {
        std::string const argument = argv[i];
        auto const alone = std::find_if(std::begin(standalone), std::end(standalone),
                                        [&argument](auto const& option) { return argument == option.first; });
        if (alone != std::end(standalone)) {
            if (argc > 2) {
                std::cerr << "sxir-catalog: '" << argument << "' cannot be combined with other arguments\n"
                          << "Try 'sxir-catalog --help'.\n";
                return false;
            }
            command.*(alone->second) = true;
        } else if (argument == "--hoist" || argument == "--hoist=safe") {
            Hoisting const hoist = argument == "--hoist" ? Hoisting::Equivalent : Hoisting::Safe;
            if (command.hoist != Hoisting::None && command.hoist != hoist) {
                std::cerr << "sxir-catalog: '--hoist' and '--hoist=safe' exclude each other\n"
                          << "Try 'sxir-catalog --help'.\n";
                return false;
            }
            command.hoist = hoist;
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
    if (command.hoist == Hoisting::Equivalent) {
        sxir::CodeHoistor().analyze(*module);
    } else if (command.hoist == Hoisting::Safe) {
        sxir::SafeCodeHoistor().analyze(*module);
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

/// Prints what the command line asks for.
ExitStatus run(CommandLine const& command, std::vector<sxu::string> const& valid)
{
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

} // namespace

int main(int argc, char** argv)
{
    std::vector<sxu::string> const valid = sxir::TestCatalog::get()->getEntryNames();
    CommandLine command;
    if (!parse(argc, argv, valid, command)) {
        return BadCommandLine;
    }
    ExitStatus const status = run(command, valid);
    // Output that never arrived (a full disk, a closed pipe) is a failure, whatever was printed.
    errno = 0;
    if (!std::cout.flush()) {
        std::cerr << "sxir-catalog: cannot write the output"
                  << (errno != 0 ? std::string(": ") + std::strerror(errno) : std::string()) << '\n';
        return Failure;
    }
    return status;
}
