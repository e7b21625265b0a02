#include "ir/detail/CTypes.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Function.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/Scope.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/CElements.hpp"
#include "ir/detail/Walk.hpp"

#include <algorithm>
#include <functional>

namespace sxir {
namespace detail {

namespace {

/// The type of parameter `position`, or null for an item other than a variable, which a
/// reporter that returned let in (it has no value: a parameter of no form).
Type const* parameterType(Scope const& scope, unsigned long position)
{
    auto const* variable = dynamic_cast<Variable const*>(scope.getGenericScopeItem(position));
    return variable != nullptr ? &variable->getType() : nullptr;
}

/// The form of a type that is not a signature.
CShape numberShape(Type const& type)
{
    CShape shape;
    if (type.getTypeId() == TypeId::Builtin) {
        shape.kind = CShape::Scalar;
        shape.type = static_cast<BuiltinType const&>(type).getType();
    } else if (type.getTypeId() == TypeId::Matrix && type.getBaseType().getTypeId() == TypeId::Builtin) {
        shape.kind = CShape::Array;
        shape.type = static_cast<BuiltinType const&>(type.getBaseType()).getType();
        shape.rows = type.getDimension().m();
        shape.columns = type.getDimension().n();
    }
    return shape;
}

void appendForm(std::string& form, CShape const& shape)
{
    static char const kinds[] = {'n', 's', 'a', 'f'};
    form += kinds[shape.kind];
    if (shape.isNumber()) {
        form += static_cast<char>('0' + shape.type);
    }
    if (shape.kind == CShape::Array) {
        form += std::to_string(shape.count());
    } else if (shape.kind == CShape::Function) {
        form += std::to_string(shape.key);
    }
    form += ',';
}

/// Walks the signature types inside a signature's parameters, innermost first, and keys each.
struct KeyWalk {
    struct Frame {
        Type const* type; ///< the signature type keyed, or null for the root
        Scope const* inputs;
        Scope const* outputs;
        unsigned long next; ///< parameters looked at so far, inputs first
    };
    std::unordered_map<Type const*, unsigned> const& known;
    std::function<void(Frame const&)> keyFrame;

    Step step(Frame& frame, Frame& child)
    {
        unsigned long const inputs = frame.inputs->getNumScopeItems();
        while (frame.next < inputs + frame.outputs->getNumScopeItems()) {
            unsigned long const position = frame.next++;
            Type const* type = position < inputs ? parameterType(*frame.inputs, position)
                                                 : parameterType(*frame.outputs, position - inputs);
            if (type != nullptr && type->getTypeId() == TypeId::FunctionSignature && known.count(type) == 0) {
                auto const& signature = static_cast<FunctionSignature const&>(*type);
                child = Frame{type, &signature.getScope(FunctionIoScopeType::Input),
                              &signature.getScope(FunctionIoScopeType::Output), 0};
                return Step::Descend;
            }
        }
        return Step::Finish;
    }
    void finish(Frame const& frame) { keyFrame(frame); }
};

} // namespace

CSignatures::CSignatures() : mSignatures(1) {}

CShape CSignatures::shapeOfKnown(Type const& type) const
{
    if (type.getTypeId() != TypeId::FunctionSignature) {
        return numberShape(type);
    }
    CShape shape;
    shape.kind = CShape::Function;
    shape.key = mByType.at(&type);
    return shape;
}

unsigned CSignatures::keyOfScopes(Scope const& inputs, Scope const& outputs, std::string const& description)
{
    unsigned rootKey = 0;
    auto const keyFrame = [this, &rootKey, &description](KeyWalk::Frame const& frame) {
        CSignature signature;
        for (Scope const* scope : {frame.inputs, frame.outputs}) {
            std::vector<CShape>& list = scope == frame.inputs ? signature.inputs : signature.outputs;
            for (unsigned long i = 0; i < scope->getNumScopeItems(); ++i) {
                Type const* type = parameterType(*scope, i);
                list.push_back(type != nullptr ? shapeOfKnown(*type) : CShape());
            }
        }
        signature.description = frame.type != nullptr ? frame.type->asString("") : description;
        unsigned const key = registerKey(std::move(signature));
        if (frame.type != nullptr) {
            mByType.emplace(frame.type, key);
        } else {
            rootKey = key;
        }
    };
    KeyWalk walk{mByType, keyFrame};
    runWalk(walk, KeyWalk::Frame{nullptr, &inputs, &outputs, 0});
    return rootKey;
}

unsigned CSignatures::registerKey(CSignature signature)
{
    std::string form;
    for (CShape const& shape : signature.inputs) {
        appendForm(form, shape);
    }
    form += '|';
    for (CShape const& shape : signature.outputs) {
        appendForm(form, shape);
    }
    auto const found = mByForm.find(form);
    if (found != mByForm.end()) {
        return found->second;
    }
    unsigned const key = static_cast<unsigned>(mSignatures.size());
    signature.typedefName = "sxir_fn_" + std::to_string(key);
    for (bool const header : {false, true}) {
        std::string& text = header ? signature.inlineParameters : signature.parameters;
        for (std::size_t i = 0; i < signature.inputs.size() + signature.outputs.size(); ++i) {
            bool const output = i >= signature.inputs.size();
            CShape const& shape = output ? signature.outputs[i - signature.inputs.size()] : signature.inputs[i];
            text += i == 0 ? "" : ", ";
            text += parameter(shape, output, "", header);
        }
        if (text.empty()) {
            text = "void";
        }
    }
    mSignatures.push_back(std::move(signature));
    mByForm.emplace(std::move(form), key);
    return key;
}

CShape CSignatures::shapeOf(Type const& type)
{
    if (type.getTypeId() == TypeId::FunctionSignature && mByType.count(&type) == 0) {
        auto const& signature = static_cast<FunctionSignature const&>(type);
        mByType.emplace(&type, keyOfScopes(signature.getScope(FunctionIoScopeType::Input),
                                           signature.getScope(FunctionIoScopeType::Output), type.asString("")));
    }
    return shapeOfKnown(type);
}

unsigned CSignatures::keyOf(Function const& function)
{
    return keyOfScopes(function.getFunctionScope(FunctionScopeType::Input),
                       function.getFunctionScope(FunctionScopeType::Output),
                       function.getSignature().asString(""));
}

std::string CSignatures::typedefs() const
{
    mNamed.resize(mSignatures.size());
    // A key's parameters name only smaller keys.
    for (std::size_t key = mSignatures.size(); key-- > 1;) {
        for (auto const* list : {&mSignatures[key].inputs, &mSignatures[key].outputs}) {
            for (CShape const& shape : *list) {
                if (mNamed[key] && shape.kind == CShape::Function) {
                    mNamed[shape.key] = true;
                }
            }
        }
    }
    std::string text;
    for (std::size_t key = 1; key < mSignatures.size(); ++key) {
        CSignature const& signature = mSignatures[key];
        if (!mNamed[key]) {
            continue;
        }
        text += "/* " + signature.description + " */\n";
        text += "typedef void (*" + signature.typedefName + ")(" + signature.parameters + ");\n";
    }
    return text;
}

std::string CSignatures::parameter(CShape const& shape, bool output, std::string const& name, bool header) const
{
    std::string const type = shape.isNumber() ? cTypeName(shape.type) : "";
    std::string const spaced = name.empty() ? "" : " " + name;
    switch (shape.kind) {
    case CShape::None:
        return (output ? "void *" : "const void *") + name;
    case CShape::Scalar:
        return output ? type + " *" + name : type + spaced;
    case CShape::Array: {
        std::string const size = name.empty() || shape.count() == 0 ? "" : "[" + std::to_string(shape.count()) + "]";
        std::string const declarator = name.empty() || shape.count() == 0 ? " *" + name : spaced + size;
        return (output ? type : "const " + type) + declarator;
    }
    case CShape::Function:
        if (!header) {
            named(shape.key);
        }
        if (header) {
            return std::string(output ? "void (**" : "void (*") + name + ")(" + mSignatures[shape.key].inlineParameters +
                   ")";
        }
        return mSignatures[shape.key].typedefName + (output ? " *" + name : spaced);
    }
    return std::string();
}

std::string CSignatures::object(CShape const& shape, std::string const& name) const
{
    switch (shape.kind) {
    case CShape::Scalar:
        return std::string(cTypeName(shape.type)) + " " + name;
    case CShape::Array:
        return std::string(cTypeName(shape.type)) + " " + name + "[" + std::to_string(std::max(shape.count(), 1ul)) +
               "]";
    case CShape::Function:
        named(shape.key);
        return mSignatures[shape.key].typedefName + " " + name;
    case CShape::None:
        break;
    }
    return std::string();
}

} // namespace detail
} // namespace sxir
