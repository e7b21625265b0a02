// Writes the benchmark workload (see ../Workload.hpp) as a person would write it
// in C99: one function `void handwritten_workload(double v[64])` whose statements
// assign the locals v[0..63] in place, in order.
//
// Usage: sxir_bench_write_c STATEMENTS FILE
#include "bench/Workload.hpp"

#include <cstdlib>
#include <fstream>
#include <iostream>

int main(int argc, char** argv)
{
    char* end = nullptr;
    long const size = argc == 3 ? std::strtol(argv[1], &end, 10) : 0;
    if (argc != 3 || *end != '\0' || size <= 0) {
        std::cerr << "usage: " << argv[0] << " STATEMENTS FILE\n";
        return 2;
    }
    std::ofstream out(argv[2]);
    out << "/* The benchmark workload of " << size << " statements, as a person would write it. */\n"
        << "void handwritten_workload(double v[" << bench::kLocals << "]);\n"
        << "\n"
        << "void handwritten_workload(double v[" << bench::kLocals << "])\n"
        << "{\n";
    for (long k = 0; k < size; ++k) {
        bench::Shape const s = bench::shapeOf(static_cast<unsigned long>(k));
        out << "    v[" << s.target << "] = ((v[" << s.a << "] + v[" << s.b << "]) * v[" << s.c << "]) - v[" << s.d
            << "];\n";
    }
    out << "}\n";
    out.close();
    if (!out) {
        std::cerr << argv[0] << ": cannot write " << argv[2] << "\n";
        return 1;
    }
    return 0;
}
