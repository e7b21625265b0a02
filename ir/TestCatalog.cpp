#include "ir/TestCatalog.hpp"

#include <map>

namespace sxir {

/// The catalog behind TestCatalog::get(): builders by name, in byte-wise order.
class TestCatalogImpl final : public TestCatalog {
public:
    Module* createModule(sxu::string const& name, Context const& context) override
    {
        auto const found = mEntries.find(name);
        return found == mEntries.end() ? nullptr : found->second(context);
    }

    bool registerEntry(sxu::string const& name, Builder builder) override
    {
        mEntries.emplace(name, builder);
        return true;
    }

    std::vector<sxu::string> getEntryNames() const override
    {
        std::vector<sxu::string> names;
        names.reserve(mEntries.size());
        for (auto const& entry : mEntries) {
            names.push_back(entry.first);
        }
        return names;
    }

private:
    std::map<sxu::string, Builder, std::less<>> mEntries;
};

TestCatalog::~TestCatalog() = default;

TestCatalog* TestCatalog::get()
{
    static TestCatalogImpl catalog;
    return &catalog;
}

} // namespace sxir
