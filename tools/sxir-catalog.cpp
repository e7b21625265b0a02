// sxir-catalog: prints the sample modules of the test catalog, optionally hoisted or cloned; runs or verifies them.
#include "ir/BuiltinType.hpp"
#include "ir/CEmitter.hpp"
#include "ir/CodeHoistor.hpp"
#include "ir/Context.hpp"
#include "ir/Function.hpp"
#include "ir/Interpreter.hpp"
#include "ir/Module.hpp"
#include "ir/SafeCodeHoistor.hpp"
#include "ir/Scope.hpp"
#include "ir/TestCatalog.hpp"
#include "ir/ThrowingRuntimeEnvironment.hpp"
#include "ir/Variable.hpp"
#include "ir/Verifier.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

char const* const sUsage = "Usage: sxir-catalog [--hoist | --hoist=safe] [--clone] [NAME...]\n"
                           "       sxir-catalog --run NAME [VALUE...]\n"
                           "       sxir-catalog --verify NAME...\n"
                           "       sxir-catalog --emit-c NAME [--out DIR] [--force]\n"
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
                           "  --run      run the sample's last function on one VALUE per input (a number,\n"
                           "             or a matrix's numbers in storage order separated by commas) and\n"
                           "             print each output; it comes first and takes the rest of the line\n"
                           "  --verify   print what the verifier finds in each sample, one line each\n"
                           "             (\"ID: PATH: MESSAGE\"; nothing for a sample without faults) and exit\n"
                           "             with status 1 when it finds anything; it comes first too\n"
                           "  --emit-c   print the sample's module as C, its header then its source; with\n"
                           "             --out DIR, write them to DIR/<module>.h and DIR/<module>.c instead,\n"
                           "             replacing existing files only with --force; it comes first too\n"
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
        } else if (argument == "--run" || argument == "--verify" || argument == "--emit-c") {
            std::cerr << "sxir-catalog: '" << argument << "' comes first and takes the rest of the line\n"
                      << "Try 'sxir-catalog --help'.\n";
            return false;
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

/// The numbers of `text`, separated by commas; false unless it is exactly that.
bool parseNumbers(std::string const& text, std::vector<double>& numbers)
{
    std::size_t start = 0;
    for (;;) {
        std::size_t const end = std::min(text.find(',', start), text.size());
        std::string const item = text.substr(start, end - start);
        char* stop = nullptr;
        double const value = std::strtod(item.c_str(), &stop);
        if (item.empty() || stop != item.c_str() + item.size()) {
            return false;
        }
        numbers.push_back(value);
        if (end == text.size()) {
            return true;
        }
        start = end + 1;
    }
}

/// `--run NAME VALUE...`: the sample's last function run on one value per input.
ExitStatus runSample(int argc, char** argv, std::vector<sxu::string> const& valid)
{
    if (argc < 3 || std::find(valid.begin(), valid.end(), argv[2]) == valid.end()) {
        std::cerr << "sxir-catalog: --run needs the name of a sample; try 'sxir-catalog --list'\n";
        return BadCommandLine;
    }
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::Scope& scope = sxir::TestCatalog::get()->createModule(argv[2], *context)->getModuleScope();
    auto const& function = static_cast<sxir::Function const&>(*scope.getGenericScopeItem(scope.getNumScopeItems() - 1));
    sxir::Scope const& inputScope = function.getFunctionScope(sxir::FunctionScopeType::Input);
    if (static_cast<unsigned long>(argc - 3) != inputScope.getNumScopeItems()) {
        std::cerr << "sxir-catalog: " << function.getName() << " takes " << inputScope.getNumScopeItems() << " inputs ("
                  << inputScope.asString(", ") << "); " << argc - 3 << " values given\n";
        return BadCommandLine;
    }
    std::vector<sxir::Value> inputs;
    for (unsigned long i = 0; i < inputScope.getNumScopeItems(); ++i) {
        auto const& input = static_cast<sxir::Variable const&>(*inputScope.getGenericScopeItem(i));
        sxir::Type const& type = input.getType();
        std::vector<double> numbers;
        sxu::Dimension const& dimension = type.getDimension();
        bool const numeric = type.getTypeId() != sxir::TypeId::FunctionSignature;
        if (!numeric || !parseNumbers(argv[3 + i], numbers) || numbers.size() != dimension.m() * dimension.n()) {
            std::cerr << "sxir-catalog: input '" << input.getName() << "' (" << input.asString() << ") takes "
                      << (numeric ? std::to_string(dimension.m() * dimension.n()) + " number(s), separated by commas"
                                  : std::string("a function, which a command line cannot give"))
                      << "; got '" << argv[3 + i] << "'\n";
            return BadCommandLine;
        }
        auto const id = static_cast<sxir::BuiltinType const&>(type.getBaseType()).getType();
        inputs.emplace_back(id, dimension, numbers);
    }
    try {
        std::vector<sxir::Value> const outputs = sxir::Interpreter(*context).run(function, inputs);
        sxir::Scope const& outputScope = function.getFunctionScope(sxir::FunctionScopeType::Output);
        for (std::size_t i = 0; i < outputs.size(); ++i) {
            std::cout << outputScope.getGenericScopeItem(i)->getName() << " = " << outputs[i].asString() << '\n';
        }
    } catch (sxir::ReportedError const& error) {
        std::cerr << "sxir-catalog: " << error.what() << '\n';
        return Failure;
    }
    return Success;
}

/// Writes `text` to `path`; false with a message when it cannot.
bool writeFile(std::filesystem::path const& path, std::string const& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    if (!out) {
        std::cerr << "sxir-catalog: cannot write '" << path.string() << "'\n";
        return false;
    }
    return true;
}

/// `--emit-c NAME [--out DIR] [--force]`: the sample's module as C, printed or written to DIR.
ExitStatus emitSample(int argc, char** argv, std::vector<sxu::string> const& valid)
{
    std::string name;
    std::string directory;
    bool force = false;
    for (int i = 2; i < argc; ++i) {
        std::string const argument = argv[i];
        if (argument == "--force") {
            force = true;
        } else if (argument == "--out" && i + 1 < argc && directory.empty()) {
            directory = argv[++i];
        } else if (argument[0] != '-' && name.empty() && std::find(valid.begin(), valid.end(), argument) != valid.end()) {
            name = argument;
        } else {
            std::cerr << "sxir-catalog: --emit-c takes a sample's name, and optionally --out DIR and --force; got '"
                      << argument << "'\nTry 'sxir-catalog --help'.\n";
            return BadCommandLine;
        }
    }
    if (name.empty()) {
        std::cerr << "sxir-catalog: --emit-c needs the name of a sample; try 'sxir-catalog --list'\n";
        return BadCommandLine;
    }
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::CCode const code = sxir::CEmitter().emit(*sxir::TestCatalog::get()->createModule(name, *context));
    if (directory.empty()) {
        std::cout << code.header << '\n' << code.source;
        return Success;
    }
    // The header under the name the source includes.
    std::string const include = "#include \"";
    std::size_t const start = code.source.find(include) + include.size();
    std::string const header = code.source.substr(start, code.source.find('"', start) - start);
    std::filesystem::path const paths[] = {std::filesystem::path(directory) / header,
                                           std::filesystem::path(directory) / (header.substr(0, header.size() - 2) + ".c")};
    std::error_code error;
    if (!std::filesystem::is_directory(directory, error)) {
        std::cerr << "sxir-catalog: '" << directory << "' is not a directory\n";
        return BadCommandLine;
    }
    for (auto const& path : paths) {
        if (!force && std::filesystem::exists(path, error)) {
            std::cerr << "sxir-catalog: '" << path.string() << "' exists; --force replaces it\n";
            return BadCommandLine;
        }
    }
    if (!writeFile(paths[0], code.header) || !writeFile(paths[1], code.source)) {
        return BadCommandLine;
    }
    std::cout << paths[0].string() << '\n' << paths[1].string() << '\n';
    return Success;
}

/// `--verify NAME...`: what the verifier finds in each sample, one line each.
ExitStatus verifySamples(int argc, char** argv, std::vector<sxu::string> const& valid)
{
    for (int i = 2; i < argc; ++i) {
        if (std::find(valid.begin(), valid.end(), argv[i]) == valid.end()) {
            std::cerr << "sxir-catalog: unknown sample '" << argv[i] << "'; try 'sxir-catalog --list'\n";
            return BadCommandLine;
        }
    }
    if (argc < 3) {
        std::cerr << "sxir-catalog: --verify needs the names of samples; try 'sxir-catalog --list'\n";
        return BadCommandLine;
    }
    bool clean = true;
    for (int i = 2; i < argc; ++i) {
        sxir::ThrowingRuntimeEnvironment env;
        std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
        for (sxir::Diagnostic const& found :
             sxir::Verifier().verify(*sxir::TestCatalog::get()->createModule(argv[i], *context))) {
            std::cout << found.id << ": " << found.path << ": " << found.message << '\n';
            clean = false;
        }
    }
    return clean ? Success : Failure;
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<sxu::string> const valid = sxir::TestCatalog::get()->getEntryNames();
    CommandLine command;
    std::string const first = argc > 1 ? argv[1] : "";
    bool const running = first == "--run";
    bool const verifying = first == "--verify";
    bool const emitting = first == "--emit-c";
    if (!running && !verifying && !emitting && !parse(argc, argv, valid, command)) {
        return BadCommandLine;
    }
    ExitStatus const status = running     ? runSample(argc, argv, valid)
                              : verifying ? verifySamples(argc, argv, valid)
                              : emitting  ? emitSample(argc, argv, valid)
                                          : run(command, valid);
    // Output that never arrived (a full disk, a closed pipe) is a failure, whatever was printed.
    errno = 0;
    if (!std::cout.flush()) {
        std::cerr << "sxir-catalog: cannot write the output"
                  << (errno != 0 ? std::string(": ") + std::strerror(errno) : std::string()) << '\n';
        return Failure;
    }
    return status;
}
