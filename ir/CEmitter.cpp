#include "ir/CEmitter.hpp"

#include "ir/Context.hpp"
#include "ir/Function.hpp"
#include "ir/Module.hpp"
#include "ir/ScopeConfiguration.hpp"
#include "ir/Scope.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/CEmission.hpp"

#include <memory>
#include <utility>

namespace sxir {

namespace {

using detail::CItem;
using detail::CNameTable;
using detail::CParameter;
using detail::CSource;

/// The file name the header takes, as the source includes it: the module's name, with what a
/// file name or an include directive cannot hold replaced.
std::string fileStem(std::string const& name)
{
    std::string stem = name.empty() ? std::string("module") : name;
    for (char& c : stem) {
        bool const plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                           c == '-' || (c == '.' && &c != &stem[0]);
        c = plain ? c : '_';
    }
    return stem;
}

std::string comment(std::string text)
{
    for (std::size_t at = text.find("*/"); at != std::string::npos; at = text.find("*/", at)) {
        text[at + 1] = ' ';
    }
    for (char& c : text) {
        c = c == '\n' ? ' ' : c;
    }
    return "/* " + text + " */\n";
}

/// "function [real_T b] = f(real_T a)": the first line of the function's text.
std::string declarationText(Function const& function)
{
    Scope const& inputs = function.getFunctionScope(FunctionScopeType::Input);
    Scope const& outputs = function.getFunctionScope(FunctionScopeType::Output);
    std::string text = "function ";
    if (!outputs.isEmpty()) {
        text += "[" + outputs.asString(", ") + "] = ";
    }
    text += function.getName();
    if (!inputs.isEmpty()) {
        text += "(" + inputs.asString(", ") + ")";
    }
    return text;
}

/// "outer/inner": the modules around `scope`, a module's scope, found going outward.
std::string modulePath(Scope const& scope)
{
    std::string path;
    for (Scope const* inner = &scope; inner != nullptr;) {
        Scope const* outer = inner->getScopeData().getConfiguration().getParentScope();
        Module const* found = nullptr;
        for (unsigned long i = 0; outer != nullptr && found == nullptr && i < outer->getNumScopeItems(); ++i) {
            auto const* module = dynamic_cast<Module const*>(outer->getGenericScopeItem(i));
            found = module != nullptr && &module->getModuleScope() == inner ? module : nullptr;
        }
        if (found == nullptr) {
            break;
        }
        path = path.empty() ? std::string(found->getName()) : found->getName() + "/" + path;
        inner = outer;
    }
    return path;
}

/// A function the source defines, with its parameters.
struct Definition {
    unsigned item;
    std::unique_ptr<CNameTable> names;
    std::vector<CParameter> parameters;
};

Definition prepare(CSource& source, unsigned item)
{
    Definition definition{item, std::make_unique<CNameTable>(&source.names()), {}};
    definition.parameters = detail::nameParameters(source, *source.item(item).function, *definition.names);
    return definition;
}

std::string prototype(CSource& source, Definition const& definition, bool header)
{
    std::string text = "void " + source.item(definition.item).name + "(";
    for (std::size_t i = 0; i < definition.parameters.size(); ++i) {
        CParameter const& parameter = definition.parameters[i];
        text += i == 0 ? "" : ", ";
        text += source.signatures().parameter(parameter.shape, parameter.output, parameter.name, header);
    }
    return text + (definition.parameters.empty() ? "void)" : ")");
}

void define(CSource& source, Definition const& definition, std::string& out)
{
    // A copy: the body adds items, which moves them.
    CItem const item = source.item(definition.item);
    detail::emitDefinition(source, *item.function, item.name, definition.parameters, *definition.names, out);
}

} // namespace

CCode CEmitter::emit(Module const& module) const
{
    CSource source(module);
    std::string const stem = fileStem(module.getName());
    std::string const guard = "SXIR_" + detail::cIdentifier(stem) + "_H";

    // The module's own functions: declared in the header, defined first.
    std::vector<Definition> own;
    for (unsigned i = 0; i < source.items().size(); ++i) {
        if (source.item(i).kind == CItem::Function) {
            own.push_back(prepare(source, i));
        }
    }
    std::string header = comment("C declarations of the functions of module \"" + module.getName() +
                                 "\", emitted by sxir") +
                         "#ifndef " + guard + "\n#define " + guard +
                         "\n\n#include <math.h>\n#include <stdint.h>\n\n"
                         "#if defined(__clang__)\n"
                         "/* Each operation rounds on its own: no fused multiply-add. */\n"
                         "#pragma STDC FP_CONTRACT OFF\n"
                         "#endif\n\n"
                         "#ifndef SXIR_TYPES_DEFINED\n#define SXIR_TYPES_DEFINED\n"
                         "typedef unsigned char boolean_T;\ntypedef double real_T;\ntypedef int32_t int32_T;\n"
                         "typedef uint32_t uint32_T;\ntypedef signed char char_T;\n#endif\n";
    Scope const& scope = module.getModuleScope();
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        auto const* function = dynamic_cast<Function const*>(scope.getGenericScopeItem(i));
        if (function != nullptr && !detail::hasCFunction(*function)) {
            header += "\n" + comment(function->getName() + " has no signature: it has no C function");
        }
    }
    // One text per definition, joined once at the end: the definitions are most of the text.
    std::vector<std::string> definitions;
    for (Definition const& definition : own) {
        Function const& function = *source.item(definition.item).function;
        header += "\n" + comment(declarationText(function)) + prototype(source, definition, true) + ";\n";
        definitions.push_back("\n" + comment(declarationText(function)));
        define(source, definition, definitions.back());
    }
    header += "\n#endif\n";

    // What the definitions use, until the static definitions use nothing new. Conversions and
    // dispatches are written last, since each lists the adapters and functions of its type.
    std::string prototypes;
    std::string statics;
    std::string listing;
    for (;;) {
        unsigned index = 0;
        while (source.nextToDefine(index)) {
            CItem const item = source.item(index);
            if (item.kind == CItem::Function) {
                Definition const definition = prepare(source, index);
                Function const& function = *item.function;
                std::string const where = modulePath(function.getParentScope());
                prototypes += "static " + prototype(source, definition, false) + ";\n";
                statics += "\n" + comment(declarationText(function) + ", of module " + where) + "static ";
                define(source, definition, statics);
            } else {
                prototypes += source.head(item) + ";\n";
                statics += "\n" + source.define(index);
            }
        }
        listing.clear();
        std::string listingPrototypes;
        for (unsigned i = 0; i < source.items().size(); ++i) {
            CItem const item = source.item(i);
            if (item.used && (item.kind == CItem::Cast || item.kind == CItem::Dispatch)) {
                listingPrototypes += source.head(item) + ";\n";
                listing += "\n" + source.define(i);
            }
        }
        if (!source.hasPending()) {
            prototypes += listingPrototypes;
            break;
        }
    }

    std::string text = comment("C definitions of the functions of module \"" + module.getName() +
                               "\", emitted by sxir") +
                       "#include \"" + stem + ".h\"\n";
    if (source.usesStringFunctions()) {
        text += "\n#include <string.h>\n";
    }
    std::string const helpers = detail::cHelperDefinitions(source.helpers());
    if (!helpers.empty()) {
        text += "\n" + helpers;
    }
    std::string variables;
    for (CItem const& item : source.items()) {
        if (item.kind == CItem::Variable && item.used) {
            std::string const where =
                item.own ? std::string() : " /* of module " + modulePath(item.variable->getParentScope()) + " */";
            variables += "static " + source.signatures().object(item.shape, item.name) + ";" + where + "\n";
        }
    }
    // After every other text: the typedefs are those the texts name.
    std::string const typedefs = source.signatures().typedefs();
    if (!typedefs.empty()) {
        text += "\n" + typedefs;
    }
    if (!variables.empty()) {
        text += "\n/* Module variables: zero at first, kept from call to call. */\n" + variables;
    }
    if (!prototypes.empty()) {
        text += "\n" + prototypes;
    }
    std::size_t size = text.size() + statics.size() + listing.size();
    for (std::string const& definition : definitions) {
        size += definition.size();
    }
    text.reserve(size);
    for (std::string const& definition : definitions) {
        text += definition;
    }
    text += statics;
    text += listing;
    return CCode{header, std::move(text)};
}

} // namespace sxir
