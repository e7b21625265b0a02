// The smallest sxir program: a context, a matrix type, and its printed declaration.
#include "ir/BuiltinType.hpp"
#include "ir/Context.hpp"
#include "ir/MatrixType.hpp"
#include "ir/ThrowingRuntimeEnvironment.hpp"

#include <iostream>
#include <memory>

int main()
{
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));

    sxir::MatrixType const matrix(*context, sxu::DataTypeId::Real, sxu::Dimension(3, 4));
    std::cout << matrix.asString("A") << '\n';
    std::cout << context->getBuiltinType(sxu::DataTypeId::Int32).asString("n") << '\n';
    return 0;
}
