// Builds against sxir's package only (headers and library found through CMake or pkg-config):
// writes one function and checks its text.
#include "ir/sxir.hpp"

#include <iostream>
#include <memory>

int main()
{
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    auto& real = context->getBuiltinType(sxu::DataTypeId::Real);
    auto* module = context->getGlobalScope().addScopeItem<sxir::Module>("module");
    sxir::FunctionSignature signature(*context);
    signature.addInput("a").setType(sxir::MatrixType(*context, sxu::DataTypeId::Real, sxu::Dimension(2, 2)));
    signature.addOutput("b").setType(real);
    auto* f = module->getModuleScope().addScopeItem<sxir::Function>("f");
    f->setSignature(signature);
    {
        sxir::Expression const a = f->expression("a"), b = f->expression("b");
        *b = a(0, 1L) * 2.0;
    }
    std::string const text = f->asString();
    std::cout << text << '\n';
    return text == "function [real_T b] = f(real_T a[2x2])\n    b=(a(0,1)*2)\nend" ? 0 : 1;
}
