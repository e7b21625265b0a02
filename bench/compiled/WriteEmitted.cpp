// Writes the benchmark workload (see ../Workload.hpp) as sxir's C back end emits it: the
// function `emitted_body(const real_T x[64], real_T y[64])` of module "emitted", whose 64
// real_T locals v0..v63 start from x, run the statements and end in y, and an adapter
// `void emitted_workload(double v[64])` that runs it on v in place, as compiled_bench calls
// each variant.
//
// Usage: sxir_bench_write_emitted STATEMENTS DIRECTORY
//   writes DIRECTORY/emitted.h, DIRECTORY/emitted.c and DIRECTORY/emitted_adapter.c
#include "bench/Workload.hpp"

#include "ir/sxir.hpp"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

bool write(std::string const& path, std::string const& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    if (!out) {
        std::cerr << "sxir_bench_write_emitted: cannot write " << path << "\n";
    }
    return static_cast<bool>(out);
}

} // namespace

int main(int argc, char** argv)
{
    char* end = nullptr;
    long const size = argc == 3 ? std::strtol(argv[1], &end, 10) : 0;
    if (argc != 3 || *end != '\0' || size <= 0) {
        std::cerr << "usage: " << argv[0] << " STATEMENTS DIRECTORY\n";
        return 2;
    }
    sxir::ThrowingRuntimeEnvironment env;
    std::unique_ptr<sxir::Context> context(sxir::Context::create(env));
    sxir::MatrixType const vector(*context, sxu::DataTypeId::Real, sxu::Dimension(bench::kLocals, 1));
    sxir::FunctionSignature signature(*context);
    signature.addInput("x").setType(vector);
    signature.addOutput("y").setType(vector);
    auto* module = context->getGlobalScope().addScopeItem<sxir::Module>("emitted");
    auto* function = module->getModuleScope().addScopeItem<sxir::Function>("emitted_body");
    function->setSignature(signature);
    sxir::Scope& locals = function->getFunctionScope(sxir::FunctionScopeType::Local);
    std::vector<sxir::Expression> v;
    for (unsigned i = 0; i < bench::kLocals; ++i) {
        auto* local = locals.addScopeItem<sxir::Variable>(bench::localName(i));
        local->setType(context->getBuiltinType(sxu::DataTypeId::Real));
        v.emplace_back(*local);
    }
    sxir::Expression const x = function->expression("x"), y = function->expression("y");
    for (unsigned i = 0; i < bench::kLocals; ++i) {
        *v[i] = x(static_cast<int>(i));
    }
    for (long k = 0; k < size; ++k) {
        bench::Shape const s = bench::shapeOf(static_cast<unsigned long>(k));
        *v[s.target] = ((v[s.a] + v[s.b]) * v[s.c]) - v[s.d];
    }
    for (unsigned i = 0; i < bench::kLocals; ++i) {
        *y(static_cast<int>(i)) = v[i];
    }
    sxir::CCode const code = sxir::CEmitter().emit(*module);
    std::string const directory = argv[2];
    std::string const adapter =
        "/* The emitted workload in the benchmark's convention: the locals v[0..63] in place. */\n"
        "#include \"emitted.h\"\n"
        "\n"
        "#include <string.h>\n"
        "\n"
        "void emitted_workload(double v[64]);\n"
        "\n"
        "void emitted_workload(double v[64])\n"
        "{\n"
        "    double y[64];\n"
        "    emitted_body(v, y);\n"
        "    memcpy(v, y, sizeof y);\n"
        "}\n";
    bool const written = write(directory + "/emitted.h", code.header) && write(directory + "/emitted.c", code.source) &&
                         write(directory + "/emitted_adapter.c", adapter);
    return written ? 0 : 1;
}
