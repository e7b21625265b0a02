// Builds against the installed headers and library only; prints one declaration.
#include "ir/sxir.hpp"

#include <iostream>
#include <memory>

int main()
{
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::MatrixType const matrix(*context, sxu::DataTypeId::Real, sxu::Dimension(2, 2));
    std::string const text = matrix.asString("M");
    std::cout << text << '\n';
    return text == "real_T M[2x2]" ? 0 : 1;
}
