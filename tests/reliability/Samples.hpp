// The catalog's sample names and their golden texts, for the reliability tests.
#pragma once

#include "ir/TestCatalog.hpp"

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace sxir_test {

inline std::vector<std::string> sampleNames()
{
    std::vector<sxu::string> const names = sxir::TestCatalog::get()->getEntryNames();
    return std::vector<std::string>(names.begin(), names.end());
}

/// The text of sample `name` as kept in tests/golden; empty when the file is missing.
inline std::string goldenText(std::string const& name)
{
    std::ifstream in(std::string(SXIR_GOLDEN_DIR) + "/" + name + ".txt", std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline std::vector<std::string> goldenTexts(std::vector<std::string> const& names)
{
    std::vector<std::string> texts;
    for (std::string const& name : names) {
        texts.push_back(goldenText(name));
    }
    return texts;
}

} // namespace sxir_test
