// Emitted C compiled and run beside the interpreter: a driver calls each module's functions on the
// inputs of planned runs and prints every output bit, which must be what the interpreter gives.
#pragma once

#include "ir/Function.hpp"
#include "ir/Module.hpp"
#include "ir/Value.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace sxir_test {

/// A shell command's exit status, or -1 when it did not exit.
int shell(std::string const& command);
/// Whether `program` is a command on the path.
bool onPath(std::string const& program);
std::string readFile(std::filesystem::path const& path);
/// The system C compiler: $CC, else cc; empty when neither is on the path.
std::string findCCompiler();
/// Whether `compiler` builds a trivial program with `flags` (a sanitizer may lack its runtime).
bool compilerAccepts(std::string const& compiler, std::string const& flags);

/// The options every emitted source compiles with, warnings as errors.
extern char const* const sStrictC;

/// A directory of its own under the system's temporary directory, removed with what it holds.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(ScratchDirectory const&) = delete;
    ScratchDirectory& operator=(ScratchDirectory const&) = delete;
    std::filesystem::path const& path() const { return mPath; }

private:
    std::filesystem::path mPath;
};

/// One run of a function: its inputs, as Interpreter::run takes them (a function input is a
/// function of the same module whose parameters have the input's forms).
struct CRun {
    sxir::Function const* function;
    std::vector<sxir::Value> inputs;
};

/// Modules emitted into one directory, and one program that runs their functions.
class CompiledRuns {
public:
    /// Writes into `directory`.
    explicit CompiledRuns(std::filesystem::path directory);

    /// Emits `module` (its name, and its functions' names, unique among the modules added) and
    /// does `runs` with a fresh interpreter, in order, up to the first that reports an error
    /// (the environment must throw): that one and those after it are not compared, since module
    /// variables then differ. Returns the number of runs compared. A report shows the module's
    /// text if `printable` (a graph of calls may unfold past any length); `module` must outlive
    /// the checks.
    std::size_t add(sxir::Module const& module, std::vector<CRun> const& runs, bool printable = true);

    /// Compiles every source and the driver with `compiler` and `flags` (`jobs` compilers at
    /// once), runs the program and compares each run with the interpreter's. Returns "" when
    /// all agree, else what did not: the compiler's messages, or the runs that differ.
    /// A compiler process costs more than a small source: the sources compile several to a
    /// translation unit, each with its file-scope static names prefixed by macros.
    std::string check(std::string const& compiler, std::string const& flags, unsigned jobs) const;

    std::size_t modules() const { return mModules.size(); }
    std::size_t runs() const { return mExpected.size(); }

private:
    struct Emitted {
        std::string stem;   ///< the header's and source's file name without extension
        sxir::Module const* module; ///< printed for a report, unless null
        std::string source; ///< the C source, for a report
        std::vector<std::string> statics; ///< the names the source declares at file scope with internal linkage
    };

    std::filesystem::path mDirectory;
    std::vector<Emitted> mModules;
    std::string mDriver;             ///< the calls, one block per run
    std::vector<std::string> mExpected; ///< one line per run
    std::vector<std::size_t> mModuleOfRun;
};

} // namespace sxir_test
