#include "ir/Context.hpp"
#include "ir/Function.hpp"
#include "ir/Module.hpp"
#include "ir/Scope.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/CEmission.hpp"
#include "ir/detail/Shape.hpp"

namespace sxir {
namespace detail {

bool hasCFunction(Function const& function)
{
    // Preparation's rule: other items that a reporter that returned let into the scopes make no signature.
    return function.hasSignature() && declaresOnlyVariables(function.getFunctionScope(FunctionScopeType::Input)) &&
           declaresOnlyVariables(function.getFunctionScope(FunctionScopeType::Output));
}

unsigned CSource::add(CItem item)
{
    mItems.push_back(std::move(item));
    return static_cast<unsigned>(mItems.size() - 1);
}

void CSource::nameOwnItems()
{
    // The items of the module's own scope keep their names where C lets them, before anything
    // else is named: first those whose names are free, then the others with a suffix.
    Scope const& scope = mModule.getModuleScope();
    std::vector<unsigned> unnamed;
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        ScopeItem const& declared = *scope.getGenericScopeItem(i);
        CItem item;
        item.own = true;
        if (auto const* variable = dynamic_cast<Variable const*>(&declared)) {
            item.kind = CItem::Variable;
            item.variable = variable;
            item.shape = mSignatures.shapeOf(variable->getType());
        } else if (auto const* function = dynamic_cast<Function const*>(&declared)) {
            if (!hasCFunction(*function)) {
                continue;
            }
            item.kind = CItem::Function;
            item.function = function;
            item.key = mSignatures.keyOf(*function);
        } else {
            continue;
        }
        if (mNames.isFree(declared.getName())) {
            item.name = declared.getName();
            mNames.take(item.name);
        } else {
            unnamed.push_back(static_cast<unsigned>(mItems.size()));
        }
        mByObject.emplace(item.kind == CItem::Variable ? static_cast<void const*>(item.variable) : item.function,
                          static_cast<unsigned>(mItems.size()));
        add(std::move(item));
    }
    for (unsigned index : unnamed) {
        CItem& item = mItems[index];
        item.name = mNames.claim(item.kind == CItem::Variable ? item.variable->getName() : item.function->getName());
    }
}

unsigned CSource::variableItem(Variable const& variable, CNameTable const* scope)
{
    auto const found = mByObject.find(&variable);
    if (found != mByObject.end()) {
        return found->second;
    }
    CItem item;
    item.kind = CItem::Variable;
    item.variable = &variable;
    item.shape = mSignatures.shapeOf(variable.getType());
    item.name = mNames.claim(variable.getName(), scope);
    unsigned const index = add(std::move(item));
    mByObject.emplace(&variable, index);
    return index;
}

unsigned CSource::functionItem(Function const& function, CNameTable const* scope)
{
    auto const found = mByObject.find(&function);
    if (found != mByObject.end()) {
        return found->second;
    }
    if (&function.getContext() != &mModule.getContext() || !hasCFunction(function)) {
        return ~0u;
    }
    CItem item;
    item.kind = CItem::Function;
    item.function = &function;
    item.key = mSignatures.keyOf(function);
    item.name = mNames.claim(function.getName(), scope);
    unsigned const index = add(std::move(item));
    mByObject.emplace(&function, index);
    return index;
}

unsigned CSource::functionAs(unsigned function, unsigned key)
{
    if (mItems[function].key == key) {
        return function;
    }
    std::string const form = "a" + std::to_string(function) + ":" + std::to_string(key);
    auto const found = mByForm.find(form);
    if (found != mByForm.end()) {
        return found->second;
    }
    CItem item;
    item.kind = CItem::Adapter;
    item.function = mItems[function].function;
    item.from = function;
    item.key = key;
    item.name = "sxir_adapter_" + std::to_string(++mAdapters);
    unsigned const index = add(std::move(item));
    mByForm.emplace(form, index);
    return index;
}

unsigned CSource::cast(unsigned from, unsigned to)
{
    std::string const form = "c" + std::to_string(from) + ":" + std::to_string(to);
    auto const found = mByForm.find(form);
    if (found != mByForm.end()) {
        return found->second;
    }
    CItem item;
    item.kind = CItem::Cast;
    item.from = from;
    item.key = to;
    item.name = "sxir_cast_" + std::to_string(from) + "_" + std::to_string(to);
    unsigned const index = add(std::move(item));
    mByForm.emplace(form, index);
    return index;
}

unsigned CSource::dispatch(unsigned key, std::vector<CShape> const& operands, CShape const& result)
{
    std::vector<CShape> forms = operands;
    forms.push_back(result);
    std::string form = "d" + std::to_string(key) + ":";
    for (CShape const& operand : forms) {
        form += std::to_string(operand.kind) + "." + std::to_string(operand.type) + "." +
                std::to_string(operand.count()) + "." + std::to_string(operand.key) + ",";
    }
    auto const found = mByForm.find(form);
    if (found != mByForm.end()) {
        return found->second;
    }
    CItem item;
    item.kind = CItem::Dispatch;
    item.key = key;
    item.operands = forms;
    item.name = "sxir_call_" + std::to_string(++mDispatches);
    unsigned const index = add(std::move(item));
    mByForm.emplace(form, index);
    return index;
}

void CSource::use(unsigned index)
{
    CItem& item = mItems[index];
    if (item.used) {
        return;
    }
    item.used = true;
    if (item.kind == CItem::Adapter) {
        use(item.from);
    }
    if ((item.kind == CItem::Function && !item.own) || item.kind == CItem::Adapter) {
        mQueue.push_back(index);
    }
}

bool CSource::nextToDefine(unsigned& index)
{
    if (mQueue.empty()) {
        return false;
    }
    index = mQueue.front();
    mQueue.pop_front();
    return true;
}

namespace {

std::string numbered(char const* stem, std::size_t i)
{
    return stem + std::to_string(i);
}

std::string scalarOf(CShape const& form, std::string const& text)
{
    return form.kind == CShape::Array ? text + "[0]" : text;
}

bool fits(CShape const& to, CShape const& from)
{
    return to.kind != CShape::None && from.kind != CShape::None &&
           (to.kind == CShape::Function) == (from.kind == CShape::Function) && to.count() == from.count();
}

std::string loop(unsigned long count, std::string const& assignment)
{
    if (count == 0) {
        return std::string();
    }
    return "    for (unsigned long sxir_k = 0; sxir_k < " + std::to_string(count) + "; ++sxir_k) {\n        " +
           assignment + ";\n    }\n";
}

/// Statements that zero output `name` of form `form`.
std::string zeroed(CShape const& form, std::string const& name)
{
    switch (form.kind) {
    case CShape::Scalar:
    case CShape::Function:
        return "    *" + name + " = 0;\n";
    case CShape::Array:
        return form.count() == 0 ? "    (void)" + name + ";\n" : loop(form.count(), name + "[sxir_k] = 0");
    case CShape::None:
        break;
    }
    return "    (void)" + name + ";\n";
}

/// "(void)name;" for each parameter of no elements, which nothing reads.
std::string unusedParameters(std::vector<CShape> const& forms, char const* stem)
{
    std::string text;
    for (std::size_t i = 0; i < forms.size(); ++i) {
        if (forms[i].kind == CShape::None || (forms[i].kind == CShape::Array && forms[i].count() == 0)) {
            text += "    (void)" + numbered(stem, i) + ";\n";
        }
    }
    return text;
}

std::string comment(std::string text)
{
    for (std::size_t at = text.find("*/"); at != std::string::npos; at = text.find("*/", at)) {
        text[at + 1] = ' ';
    }
    return "/* " + text + " */\n";
}

} // namespace

std::string CSource::convertArgument(CShape const& from, std::string const& text, CShape const& to,
                                     std::string const& name, std::string& body)
{
    switch (to.kind) {
    case CShape::None:
        return "0";
    case CShape::Scalar: {
        CFragment const& conversion = cConversion(from.type, to.type);
        mHelpers |= conversion.helpers;
        std::string converted;
        cExpand(converted, conversion.text, scalarOf(from, text));
        return converted;
    }
    case CShape::Function:
        if (from.key == to.key) {
            return text;
        } else {
            unsigned const item = cast(from.key, to.key);
            use(item);
            return mItems[item].name + "(" + text + ")";
        }
    case CShape::Array:
        break;
    }
    if (to.count() == 0) {
        return "0"; // no element to read: any pointer does
    }
    if (from.type == to.type) {
        return from.kind == CShape::Array ? text : "&" + text;
    }
    CFragment const& conversion = cConversion(from.type, to.type);
    mHelpers |= conversion.helpers;
    std::string element;
    cExpand(element, conversion.text, from.kind == CShape::Array ? text + "[sxir_k]" : text);
    body += "    " + mSignatures.object(to, name) + ";\n";
    body += loop(to.count(), name + "[sxir_k] = " + element);
    return name;
}

bool CSource::callConverted(unsigned function, std::vector<CShape> const& forms,
                            std::vector<std::string> const& operands, CShape const& last, std::string const& result,
                            std::string& body)
{
    CItem const callee = mItems[function];
    CSignature const signature = mSignatures.signature(callee.key);
    if (signature.inputs.size() != forms.size() || signature.outputs.empty() ||
        !fits(last, signature.outputs.back())) {
        return false;
    }
    for (std::size_t i = 0; i < forms.size(); ++i) {
        if (!fits(signature.inputs[i], forms[i])) {
            return false;
        }
    }
    use(function);
    callAndConvert(callee.name, signature, forms, operands, last, result, body);
    return true;
}

void CSource::callAndConvert(std::string const& callee, CSignature const& signature, std::vector<CShape> const& forms,
                             std::vector<std::string> const& operands, CShape const& last, std::string const& result,
                             std::string& body)
{
    std::string arguments;
    for (std::size_t i = 0; i < forms.size(); ++i) {
        arguments += i == 0 ? "" : ", ";
        arguments += convertArgument(forms[i], operands[i], signature.inputs[i], numbered("sxir_t", i), body);
    }
    for (std::size_t i = 0; i < signature.outputs.size(); ++i) {
        CShape const& output = signature.outputs[i];
        std::string const name = numbered("sxir_o", i);
        arguments += arguments.empty() ? "" : ", ";
        if (output.kind == CShape::None) {
            arguments += "0";
            continue;
        }
        body += "    " + mSignatures.object(output, name) + ";\n";
        arguments += output.kind == CShape::Array ? name : "&" + name;
    }
    body += "    " + callee + "(" + arguments + ");\n";
    // The last output, converted as the interpreter converts a call's value.
    CShape const& given = signature.outputs.back();
    std::string const value = numbered("sxir_o", signature.outputs.size() - 1);
    if (last.kind == CShape::Array) {
        CFragment const& conversion = cConversion(given.type, last.type);
        mHelpers |= conversion.helpers;
        std::string element;
        cExpand(element, conversion.text, given.kind == CShape::Array ? value + "[sxir_k]" : value);
        body += loop(last.count(), result + "[sxir_k] = " + element);
    } else {
        body += "    *" + result + " = " + convertArgument(given, value, last, "sxir_value", body) + ";\n";
    }
}

std::string CSource::head(CItem const& item) const
{
    CSignature const& signature = mSignatures.signature(item.kind == CItem::Cast ? item.from : item.key);
    mSignatures.named(item.kind == CItem::Cast ? item.from : item.key);
    if (item.kind == CItem::Cast) {
        mSignatures.named(item.key);
        return "static " + mSignatures.signature(item.key).typedefName + " " + item.name + "(" +
               signature.typedefName + " sxir_p)";
    }
    std::string text = "static void " + item.name + "(";
    bool const dispatch = item.kind == CItem::Dispatch;
    std::size_t const inputs = dispatch ? item.operands.size() - 1 : signature.inputs.size();
    if (dispatch) {
        text += signature.typedefName + " sxir_p";
    }
    for (std::size_t i = 0; i < inputs; ++i) {
        text += text.back() == '(' ? "" : ", ";
        text += mSignatures.parameter(dispatch ? item.operands[i] : signature.inputs[i], false, numbered("sxir_a", i),
                                      false);
    }
    if (dispatch) {
        return text + ", " + mSignatures.parameter(item.operands.back(), true, "sxir_r", false) + ")";
    }
    for (std::size_t i = 0; i < signature.outputs.size(); ++i) {
        text += text.back() == '(' ? "" : ", ";
        text += mSignatures.parameter(signature.outputs[i], true, numbered("sxir_r", i), false);
    }
    return text + (text.back() == '(' ? "void)" : ")");
}

std::string CSource::define(unsigned index)
{
    CItem const item = mItems[index];
    switch (item.kind) {
    case CItem::Adapter:
        return defineAdapter(item);
    case CItem::Cast:
        return defineCast(item);
    default:
        return defineDispatch(item);
    }
}

std::string CSource::defineAdapter(CItem const& item)
{
    CSignature const signature = mSignatures.signature(item.key);
    std::string const name = mItems[item.from].name;
    std::string text = comment(name + " run as a function of type " + signature.typedefName + " (" +
                               signature.description + "): its inputs converted to " + name +
                               "'s, its last output converted back") +
                       head(item) + "\n{\n" + unusedParameters(signature.inputs, "sxir_a") +
                       unusedParameters(signature.outputs, "sxir_r");
    std::vector<std::string> operands;
    for (std::size_t i = 0; i < signature.inputs.size(); ++i) {
        operands.push_back(numbered("sxir_a", i));
    }
    std::string body;
    std::size_t const outputs = signature.outputs.size();
    if (outputs == 0 || !callConverted(item.from, signature.inputs, operands, signature.outputs.back(),
                                       numbered("sxir_r", outputs - 1), body)) {
        // The interpreter refuses such a call: a run never gets here.
        body = "    /* " + name + " does not take these inputs or give this output: a call through this function"
               " stops the run */\n";
        for (std::size_t i = 0; i < operands.size(); ++i) {
            body += "    (void)" + operands[i] + ";\n";
        }
        body += outputs == 0 ? "" : zeroed(signature.outputs.back(), numbered("sxir_r", outputs - 1));
    }
    for (std::size_t i = 0; i + 1 < outputs; ++i) {
        body += zeroed(signature.outputs[i], numbered("sxir_r", i));
    }
    return text + body + "}\n";
}

std::string CSource::defineCast(CItem const& item)
{
    std::string const to = mSignatures.signature(item.key).typedefName;
    std::string text = comment("the function of type " + to + " that runs what a function of type " +
                               mSignatures.signature(item.from).typedefName + " runs") +
                       head(item) + "\n{\n";
    for (std::size_t i = 0; i < mItems.size(); ++i) {
        CItem const candidate = mItems[i];
        bool const function = candidate.kind == CItem::Function && candidate.key == item.from &&
                              (candidate.own || candidate.used);
        bool const adapter = candidate.kind == CItem::Adapter && candidate.key == item.from && candidate.used;
        if (function || adapter) {
            unsigned const runs = functionAs(function ? static_cast<unsigned>(i) : candidate.from, item.key);
            use(runs);
            text += "    if (sxir_p == " + candidate.name + ") {\n        return " + mItems[runs].name + ";\n    }\n";
        }
    }
    return text + "    return 0; /* none, or a function from outside this source */\n}\n";
}

std::string CSource::defineDispatch(CItem const& item)
{
    CSignature const signature = mSignatures.signature(item.key);
    std::vector<CShape> const forms(item.operands.begin(), item.operands.end() - 1);
    CShape const& result = item.operands.back();
    std::string text = comment("a call through a function of type " + signature.typedefName +
                               " with operands, or a value, of other forms: converted as the function called "
                               "takes and gives them") +
                       head(item) + "\n{\n" + unusedParameters(forms, "sxir_a");
    std::vector<std::string> operands;
    for (std::size_t i = 0; i < forms.size(); ++i) {
        operands.push_back(numbered("sxir_a", i));
    }
    for (std::size_t i = 0; i < mItems.size(); ++i) {
        CItem const candidate = mItems[i];
        if (candidate.kind != CItem::Adapter || candidate.key != item.key || !candidate.used) {
            continue;
        }
        std::string body;
        if (!callConverted(candidate.from, forms, operands, result, "sxir_r", body)) {
            body = "    /* the function it runs does not take these operands: the call stops the run */\n" +
                   zeroed(result, "sxir_r");
        }
        text += "    if (sxir_p == " + candidate.name + ") {\n";
        for (std::size_t at = 0; at < body.size();) {
            std::size_t const end = body.find('\n', at);
            text += "    " + body.substr(at, end + 1 - at);
            at = end + 1;
        }
        text += "        return;\n    }\n";
    }
    // Any other function it holds has the type's own form.
    std::string body;
    callAndConvert("sxir_p", signature, forms, operands, result, "sxir_r", body);
    return text + body + "}\n";
}

} // namespace detail
} // namespace sxir
