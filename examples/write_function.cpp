// Writing functions: a module with two functions, where one calls the other from both branches of an if.
#include "ir/sxir.hpp"

#include <iostream>
#include <memory>

namespace {

/// Declares `name` in `module` with one real_T input and one real_T output.
sxir::Function& addFunction(sxir::Module& module, char const* name, char const* input, char const* output)
{
    sxir::Context const& context = module.getContext();
    sxir::BuiltinType const& real = context.getBuiltinType(sxu::DataTypeId::Real);
    sxir::FunctionSignature signature(context);
    signature.addInput(input).setType(real);
    signature.addOutput(output).setType(real);
    sxir::Function& function = *module.getModuleScope().addScopeItem<sxir::Function>(name);
    function.setSignature(signature);
    return function;
}

} // namespace

int main()
{
    // The environment decides which names are valid and receives every error
    // report; this one throws each report as an sxir::ReportedError.
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::Module& module = *context->getGlobalScope().addScopeItem<sxir::Module>("module");

    sxir::Function& scale = addFunction(module, "scale", "x", "y");
    {
        // A function looks names up from its body; a misspelt name is reported.
        sxir::Expression x = scale.expression("x");
        sxir::Expression y = scale.expression("y");
        // `*y = ...` appends an assignment to the function; `y = ...` would only rebind the handle.
        *y = x * 2.5;
    }

    sxir::Function& clampScale = addFunction(module, "clamp_scale", "x", "y");
    {
        sxir::Expression x = clampScale.expression("x");
        sxir::Expression y = clampScale.expression("y");
        // "scale" is not declared in clamp_scale; the lookup finds it in the module.
        sxir::Expression callee = clampScale.expression("scale");
        clampScale.If(x > 10.0);
        *y = (callee << 10.0);
        clampScale.Else();
        *y = (callee << x);
        clampScale.End();
    }
    // Expressions are released above, before the context that made them is deleted.

    std::cout << module.asString() << '\n';
    return 0;
}
