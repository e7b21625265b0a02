#include "tests/support/CompiledRuns.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/CEmitter.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/Interpreter.hpp"
#include "ir/MatrixType.hpp"
#include "ir/RuntimeEnvironment.hpp"
#include "ir/Scope.hpp"
#include "ir/ThrowingRuntimeEnvironment.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/CElements.hpp"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

namespace sxir_test {

char const* const sStrictC = " -std=c99 -pedantic -Wall -Wextra -Werror";

int shell(std::string const& command)
{
    int const status = std::system(command.c_str());
    return status == -1 || !WIFEXITED(status) ? -1 : WEXITSTATUS(status);
}

bool onPath(std::string const& program)
{
    return !program.empty() && shell("command -v '" + program + "' >/dev/null 2>&1") == 0;
}

std::string readFile(std::filesystem::path const& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string findCCompiler()
{
    char const* const fromEnvironment = std::getenv("CC");
    std::string const compiler = fromEnvironment != nullptr && *fromEnvironment != '\0' ? fromEnvironment : "cc";
    return onPath(compiler) ? compiler : std::string();
}

bool compilerAccepts(std::string const& compiler, std::string const& flags)
{
    ScratchDirectory scratch;
    std::ofstream(scratch.path() / "probe.c") << "int main(void) { return 0; }\n";
    return shell(compiler + " " + flags + " " + (scratch.path() / "probe.c").string() + " -o " +
                 (scratch.path() / "probe").string() + " >/dev/null 2>&1") == 0;
}

ScratchDirectory::ScratchDirectory()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "sxir_c_XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) {
        mPath = pattern;
    }
}

ScratchDirectory::~ScratchDirectory()
{
    std::error_code ignored;
    // SXIR_KEEP_SCRATCH=1 keeps what a failing test wrote, to look at.
    char const* const keep = std::getenv("SXIR_KEEP_SCRATCH");
    if (keep != nullptr && *keep == '1') {
        std::fprintf(stderr, "kept %s\n", mPath.c_str());
    } else if (!mPath.empty()) {
        std::filesystem::remove_all(mPath, ignored);
    }
}

namespace {

/// How C passes a value of an IR type, as the emitted code's calling convention says.
struct Form {
    enum Kind { None, Scalar, Array, Function } kind = None;
    sxu::DataTypeId::Type type = sxu::DataTypeId::Boolean;
    unsigned long count = 1;
    std::vector<Form> inputs;
    std::vector<Form> outputs;

    bool operator==(Form const& other) const
    {
        return kind == other.kind && type == other.type && count == other.count && inputs == other.inputs &&
               outputs == other.outputs;
    }
};

Form formOf(sxir::Type const& type);

std::vector<Form> formsOf(sxir::Scope const& scope)
{
    std::vector<Form> forms;
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        forms.push_back(formOf(static_cast<sxir::Variable const*>(scope.getGenericScopeItem(i))->getType()));
    }
    return forms;
}

Form formOf(sxir::Type const& type)
{
    Form form;
    if (type.getTypeId() == sxir::TypeId::FunctionSignature) {
        auto const& signature = static_cast<sxir::FunctionSignature const&>(type);
        form.kind = Form::Function;
        form.inputs = formsOf(signature.getScope(sxir::FunctionIoScopeType::Input));
        form.outputs = formsOf(signature.getScope(sxir::FunctionIoScopeType::Output));
    } else if (type.getBaseType().getTypeId() == sxir::TypeId::Builtin) {
        form.kind = type.getTypeId() == sxir::TypeId::Builtin ? Form::Scalar : Form::Array;
        form.type = static_cast<sxir::BuiltinType const&>(type.getBaseType()).getType();
        form.count = type.getDimension().m() * type.getDimension().n();
    }
    return form;
}

Form functionForm(sxir::Function const& function)
{
    Form form;
    form.kind = Form::Function;
    form.inputs = formsOf(function.getFunctionScope(sxir::FunctionScopeType::Input));
    form.outputs = formsOf(function.getFunctionScope(sxir::FunctionScopeType::Output));
    return form;
}

std::string typeName(Form const& form)
{
    return sxir::detail::cTypeName(form.type);
}

/// The parameter list of a function type, as a declarator writes it.
std::string parameterTypes(Form const& form)
{
    std::string text;
    for (std::size_t i = 0; i < form.inputs.size() + form.outputs.size(); ++i) {
        bool const output = i >= form.inputs.size();
        Form const& parameter = output ? form.outputs[i - form.inputs.size()] : form.inputs[i];
        text += i == 0 ? "" : ", ";
        switch (parameter.kind) {
        case Form::None:
            text += output ? "void *" : "const void *";
            break;
        case Form::Scalar:
            text += typeName(parameter) + (output ? " *" : "");
            break;
        case Form::Array:
            text += (output ? "" : "const ") + typeName(parameter) + " *";
            break;
        case Form::Function:
            text += std::string(output ? "void (**)(" : "void (*)(") + parameterTypes(parameter) + ")";
            break;
        }
    }
    return text.empty() ? "void" : text;
}

std::string bitsText(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "%016llx", static_cast<unsigned long long>(bits));
    return buffer;
}

/// An element as the driver prints it: a real's bits (any NaN as "nan"), an integer in decimal.
std::string elementText(sxu::DataTypeId::Type type, double value)
{
    if (type == sxu::DataTypeId::Real) {
        return std::isnan(value) ? "nan" : bitsText(value);
    }
    return std::to_string(static_cast<long long>(value));
}

/// An element of an input, as a C constant of its type.
std::string constantText(sxu::DataTypeId::Type type, double value)
{
    if (type == sxu::DataTypeId::Real) {
        return "from_bits(0x" + bitsText(value) + "ull)";
    }
    return sxir::detail::cConstant(type, value).text;
}

/// The names a source declares at file scope with internal linkage: its static objects and
/// functions, and its typedefs.
std::vector<std::string> staticNames(std::string const& source)
{
    std::vector<std::string> names;
    std::istringstream lines(source);
    for (std::string line; std::getline(lines, line);) {
        std::size_t end = std::string::npos;
        if (line.rfind("static ", 0) == 0) {
            end = std::min({line.find('('), line.find('['), line.find(';')});
        } else if (line.rfind("typedef void (*", 0) == 0) {
            end = line.find(')');
        }
        if (end == std::string::npos) {
            continue;
        }
        std::size_t start = end;
        while (start > 0 && (std::isalnum(static_cast<unsigned char>(line[start - 1])) || line[start - 1] == '_')) {
            --start;
        }
        std::string const name = line.substr(start, end - start);
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
    return names;
}

/// The C names of a module's functions, as its header declares them, in scope order.
std::vector<std::string> declaredNames(std::string const& header)
{
    std::vector<std::string> names;
    std::istringstream lines(header);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("void ", 0) == 0) {
            names.push_back(line.substr(5, line.find('(') - 5));
        }
    }
    return names;
}

// Not static: a driver whose runs print no real (or no integer) leaves one unused.
char const* const sDriverPrelude = "#include <stdio.h>\n"
                                   "#include <string.h>\n"
                                   "\n"
                                   "void put_real(double x);\n"
                                   "void put_int(long long x);\n"
                                   "double from_bits(unsigned long long bits);\n"
                                   "\n"
                                   "void put_real(double x)\n"
                                   "{\n"
                                   "    unsigned long long bits;\n"
                                   "    memcpy(&bits, &x, sizeof bits);\n"
                                   "    if (x != x) {\n"
                                   "        printf(\" nan\");\n"
                                   "    } else {\n"
                                   "        printf(\" %016llx\", bits);\n"
                                   "    }\n"
                                   "}\n"
                                   "\n"
                                   "void put_int(long long x)\n"
                                   "{\n"
                                   "    printf(\" %lld\", x);\n"
                                   "}\n"
                                   "\n"
                                   "double from_bits(unsigned long long bits)\n"
                                   "{\n"
                                   "    double x;\n"
                                   "    memcpy(&x, &bits, sizeof x);\n"
                                   "    return x;\n"
                                   "}\n";

} // namespace

CompiledRuns::CompiledRuns(std::filesystem::path directory) : mDirectory(std::move(directory)) {}

std::size_t CompiledRuns::add(sxir::Module const& module, std::vector<CRun> const& runs, bool printable)
{
    sxir::CCode const code = sxir::CEmitter().emit(module);
    std::string const include = "#include \"";
    std::size_t const start = code.source.find(include) + include.size();
    std::string const stem = code.source.substr(start, code.source.find(".h\"", start) - start);
    std::ofstream(mDirectory / (stem + ".h")) << code.header;
    std::ofstream(mDirectory / (stem + ".c")) << code.source;
    mModules.push_back(Emitted{stem, printable ? &module : nullptr, code.source, staticNames(code.source)});
    std::size_t const moduleIndex = mModules.size() - 1;

    // The C name of each function with a signature, and the functions of each form.
    std::vector<std::string> const names = declaredNames(code.header);
    std::vector<std::pair<sxir::Function const*, std::string>> functions;
    sxir::Scope const& scope = module.getModuleScope();
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        auto const* function = dynamic_cast<sxir::Function const*>(scope.getGenericScopeItem(i));
        if (function != nullptr && function->hasSignature() && functions.size() < names.size()) {
            functions.emplace_back(function, names[functions.size()]);
        }
    }
    auto const cName = [&functions](sxir::Function const* function) {
        for (auto const& entry : functions) {
            if (entry.first == function) {
                return entry.second;
            }
        }
        return std::string("0");
    };

    std::string block = "\nstatic void run_" + stem + "(void)\n{\n";
    sxir::ThrowingRuntimeEnvironment env;
    sxir::Interpreter interpreter(module.getContext());
    std::size_t compared = 0;
    for (CRun const& run : runs) {
        std::vector<sxir::Value> outputs;
        try {
            outputs = interpreter.run(*run.function, run.inputs);
        } catch (sxir::ReportedError const&) {
            break;
        }
        std::string const label = "R" + std::to_string(mExpected.size()) + ":";
        std::string expected = label;
        std::string call = cName(run.function) + "(";
        std::string body;
        std::string printing;
        std::size_t argument = 0;
        for (auto const kind : {sxir::FunctionScopeType::Input, sxir::FunctionScopeType::Output}) {
            sxir::Scope const& parameters = run.function->getFunctionScope(kind);
            for (unsigned long i = 0; i < parameters.getNumScopeItems(); ++i, ++argument) {
                auto const& variable = static_cast<sxir::Variable const&>(*parameters.getGenericScopeItem(i));
                Form const form = formOf(variable.getType());
                std::string const name = "p" + std::to_string(argument);
                call += argument == 0 ? "" : ", ";
                bool const input = kind == sxir::FunctionScopeType::Input;
                sxir::Value const& value = input ? run.inputs.at(i) : outputs.at(i);
                if (form.kind == Form::Function) {
                    if (input) {
                        call += cName(value.getFunction());
                        continue;
                    }
                    body += "    void (*" + name + ")(" + parameterTypes(form) + ") = 0;\n";
                    call += "&" + name;
                    std::string choice = name + " ? \" ?\" : \" none\"";
                    std::string shown = value.isFunction() ? " ?" : " none";
                    for (auto const& entry : functions) {
                        if (functionForm(*entry.first) == form) {
                            choice = name + " == " + entry.second + " ? \" " + entry.second + "\" : " + choice;
                            shown = value.getFunction() == entry.first ? " " + entry.second : shown;
                        }
                    }
                    printing += "    printf(\"%s\", " + choice + ");\n";
                    expected += shown;
                    continue;
                }
                std::string const type = typeName(form);
                if (form.kind == Form::Scalar) {
                    body += "    " + type + " " + name +
                            (input ? " = " + constantText(form.type, value.getElement(0)) : std::string()) + ";\n";
                    call += input ? name : "&" + name;
                } else {
                    std::string elements;
                    for (unsigned long k = 0; k < form.count; ++k) {
                        elements += (k == 0 ? "" : ", ") + constantText(form.type, value.getElement(k));
                    }
                    body += "    " + std::string(input ? "const " : "") + type + " " + name + "[" +
                            std::to_string(std::max(form.count, 1ul)) + "]" +
                            (input ? " = {" + (elements.empty() ? std::string("0") : elements) + "}" : std::string()) +
                            ";\n";
                    call += name;
                }
                if (input) {
                    continue;
                }
                char const* const put = form.type == sxu::DataTypeId::Real ? "put_real" : "put_int";
                for (unsigned long k = 0; k < form.count; ++k) {
                    printing += std::string("    ") + put + "(" + name + (form.kind == Form::Array ? "[" + std::to_string(k) + "]" : "") + ");\n";
                    expected += " " + elementText(form.type, value.getElement(k));
                }
            }
        }
        block += "    {\n" + body + "    " + call + ");\n    printf(\"" + label + "\");\n" + printing +
                 "    printf(\"\\n\");\n    }\n";
        mExpected.push_back(expected);
        mModuleOfRun.push_back(moduleIndex);
        ++compared;
    }
    mDriver += block + "}\n";
    return compared;
}

std::string CompiledRuns::check(std::string const& compiler, std::string const& flags, unsigned jobs) const
{
    std::string driver = sDriverPrelude;
    std::string calls = "\nint main(void)\n{\n";
    for (Emitted const& module : mModules) {
        driver += "#include \"" + module.stem + ".h\"\n";
        calls += "    run_" + module.stem + "();\n";
    }
    driver += mDriver + calls + "    return 0;\n}\n";
    std::ofstream(mDirectory / "driver.c") << driver;

    // Each configuration builds in a directory of its own; the units compile `jobs` at a time.
    std::string const configuration = "build_" + std::to_string(std::hash<std::string>()(compiler + flags));
    std::filesystem::path const build = mDirectory / configuration;
    std::filesystem::create_directories(build);
    constexpr std::size_t kSourcesPerUnit = 16;
    std::string units;
    for (std::size_t first = 0; first < mModules.size(); first += kSourcesPerUnit) {
        std::string const unit = "unit" + std::to_string(first / kSourcesPerUnit) + ".c";
        std::string text;
        for (std::size_t i = first; i < std::min(first + kSourcesPerUnit, mModules.size()); ++i) {
            Emitted const& module = mModules[i];
            for (std::string const& name : module.statics) {
                text += "#define " + name + " " + module.stem + "__" + name + "\n";
            }
            text += "#include \"" + module.stem + ".c\"\n";
            for (std::string const& name : module.statics) {
                text += "#undef " + name + "\n";
            }
        }
        std::ofstream(build / unit) << text;
        units += "echo '" + unit + "'; ";
    }
    std::string const compile = compiler + sStrictC + " " + flags + " -I'" + mDirectory.string() + "'";
    std::string const log = (build / "compile.log").string();
    // The driver only calls and prints: it needs no optimization.
    std::string const command = "cd '" + build.string() + "' && (" + units + ") | xargs -P " +
                                std::to_string(std::max(jobs, 1u)) + " -n 1 sh -c '" + compile +
                                " -c \"$0\"' >'" + log + "' 2>&1 && " + compile + " -O0 -c ../driver.c >>'" + log +
                                "' 2>&1 && " + compile + " *.o -o program -lm >>'" + log + "' 2>&1";
    if (shell(command) != 0) {
        std::string const messages = readFile(log);
        return "the C does not compile with " + compiler + " " + flags + ":\n" + messages.substr(0, 6000);
    }
    std::string const output = (build / "output.txt").string();
    // A fault in emitted control flow may loop: the program gets a minute, its status 124 past it.
    int const status =
        shell("timeout 60 '" + (build / "program").string() + "' >'" + output + "' 2>'" + log + "'");
    std::istringstream lines(readFile(output));
    std::string report;
    std::size_t differences = 0;
    for (std::size_t run = 0; run < mExpected.size(); ++run) {
        std::string line;
        std::getline(lines, line);
        if (line == mExpected[run] || ++differences > 3) {
            continue;
        }
        Emitted const& module = mModules[mModuleOfRun[run]];
        std::string const text = module.module != nullptr ? module.module->asString() : std::string();
        report += "run " + std::to_string(run) + " of " + module.stem + " (" + compiler + " " + flags +
                  "):\n  interpreter: " + mExpected[run] + "\n  compiled C:  " + line + "\n" + text +
                  "\n--- C source:\n" + module.source + "\n";
    }
    if (status != 0) {
        report += "the program exited with status " + std::to_string(status) + ": " + readFile(log).substr(0, 2000);
    }
    return report;
}

} // namespace sxir_test
