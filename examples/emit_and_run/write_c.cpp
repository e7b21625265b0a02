// Builds a small numerical function with sxir, emits its module as C into a directory, and writes
// what the interpreter computes for the inputs the C driver uses, so that the two can be compared.
//
// Usage: write_c DIRECTORY   (writes DIRECTORY/filters.h, DIRECTORY/filters.c, DIRECTORY/expected.txt)
#include "ir/sxir.hpp"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: write_c DIRECTORY\n";
        return 2;
    }
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    auto& real = context->getBuiltinType(sxu::DataTypeId::Real);
    sxir::MatrixType const signal(*context, sxu::DataTypeId::Real, sxu::Dimension(6, 1));
    sxir::MatrixType const smoothed(*context, sxu::DataTypeId::Real, sxu::Dimension(4, 1));
    auto* module = context->getGlobalScope().addScopeItem<sxir::Module>("filters");

    // clamp(v, limit): v held inside [-limit, limit].
    sxir::FunctionSignature clampSignature(*context);
    clampSignature.addInput("v").setType(real);
    clampSignature.addInput("limit").setType(real);
    clampSignature.addOutput("c").setType(real);
    auto* clamp = module->getModuleScope().addScopeItem<sxir::Function>("clamp");
    clamp->setSignature(clampSignature);
    {
        sxir::Expression const v = clamp->expression("v"), limit = clamp->expression("limit");
        sxir::Expression const c = clamp->expression("c");
        *c = v;
        clamp->If(v > limit);
        *c = limit;
        clamp->End();
        clamp->If(v < -limit);
        *c = -limit;
        clamp->End();
    }

    // smooth(x, w): y(i) = clamp(w*x(i) + (1-w)/2*(x(i+1) + x(i+2)), 1) for i = 0..3, and the
    // root mean square of y.
    sxir::FunctionSignature smoothSignature(*context);
    smoothSignature.addInput("x").setType(signal);
    smoothSignature.addInput("w").setType(real);
    smoothSignature.addOutput("y").setType(smoothed);
    smoothSignature.addOutput("rms").setType(real);
    auto* smooth = module->getModuleScope().addScopeItem<sxir::Function>("smooth");
    smooth->setSignature(smoothSignature);
    {
        sxir::Expression const x = smooth->expression("x"), w = smooth->expression("w");
        sxir::Expression const y = smooth->expression("y"), rms = smooth->expression("rms");
        sxir::Expression const side = (1.0 - w) / 2.0;
        sxir::Expression squares(*context, 0.0);
        for (int i = 0; i < 4; ++i) {
            *y(i) = smooth->expression("clamp") << (w * x(i) + side * (x(i + 1) + x(i + 2))) << 1.0;
            squares = squares + y(i) * y(i);
        }
        *rms = sxir::sqrt(squares / 4.0);
    }

    sxir::CCode const code = sxir::CEmitter().emit(*module);
    std::string const directory = argv[1];
    std::ofstream(directory + "/filters.h") << code.header;
    std::ofstream(directory + "/filters.c") << code.source;

    // What the interpreter computes for the inputs driver.c passes, as the driver prints it.
    sxir::Interpreter interpreter(*context);
    std::vector<sxir::Value> const outputs =
        interpreter.run(*smooth, {sxir::Value(sxu::DataTypeId::Real, sxu::Dimension(6, 1), {0.5, 2.0, -0.25, 0.75, -3.0, 1.5}),
                                  sxir::Value(sxu::DataTypeId::Real, 0.6)});
    std::ofstream expected(directory + "/expected.txt");
    char line[64];
    for (double const element : outputs[0].getElements()) {
        std::snprintf(line, sizeof line, "y %.17g\n", element);
        expected << line;
    }
    std::snprintf(line, sizeof line, "rms %.17g\n", outputs[1].getElement(0));
    expected << line;
    std::cout << module->asString() << '\n';
    return expected ? 0 : 1;
}
