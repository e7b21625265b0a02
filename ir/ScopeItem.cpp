#include "ir/ScopeItem.hpp"

#include "ir/Expression.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/ScopeItemRegistry.hpp"
#include "util/Assertion.hpp"

#include <cctype>
#include <map>
#include <vector>

namespace sxir {

std::atomic<unsigned long> ScopeItem::smSerialCount{0};

ScopeItem::ScopeItem(Scope const& parent, sxu::string const& name)
    : IrObject(parent.getContext()), mParentScope(&parent), mName(name), mSerial(smSerialCount++)
{}

ScopeItem::~ScopeItem() = default;

namespace {

std::vector<sxu::string> makeTypeWords()
{
    std::vector<sxu::string> words;
    for (char const* word : {"Module", "Variable", "Function"}) {
        sxu::string lower(word);
        for (char& c : lower) {
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        words.push_back(lower);
    }
    return words;
}

} // namespace

sxu::string const& ScopeItem::typeToString(ScopeItemType::Type type)
{
    static std::vector<sxu::string> const words = makeTypeWords();
    SXU_CHECK(type < ScopeItemType::Count, "scope item kind out of range");
    return words[type];
}

ScopeItemType::Type ScopeItem::stringToType(sxu::string const& text)
{
    static std::map<sxu::string, ScopeItemType::Type, std::less<>> const types = [] {
        std::map<sxu::string, ScopeItemType::Type, std::less<>> table;
        for (std::uint32_t i = 0; i < ScopeItemType::Count; ++i) {
            auto const type = static_cast<ScopeItemType::Type>(i);
            table.emplace(typeToString(type), type);
        }
        return table;
    }();
    auto const found = types.find(text);
    return found == types.end() ? ScopeItemType::Unknown : found->second;
}

Expression ScopeItem::operator()(Colon const& range) const
{
    return Expression(*this)(range);
}

Expression ScopeItem::operator()(Expression const& i) const
{
    return Expression(*this)(i);
}

Expression ScopeItem::operator()(Expression const& i, Expression const& j) const
{
    return Expression(*this)(i, j);
}

namespace detail {

ScopeItemRegistry& ScopeItemRegistry::get()
{
    static ScopeItemRegistry registry;
    return registry;
}

bool ScopeItemRegistry::registerCreator(ScopeItemType::Type type, Creator creator)
{
    SXU_CHECK(type < ScopeItemType::Count, "scope item kind out of range");
    mCreators[type] = creator;
    return true;
}

ScopeItem* ScopeItemRegistry::create(ScopeItemType::Type type, Scope const& scope, sxu::string const& name) const
{
    SXU_CHECK(type < ScopeItemType::Count && mCreators[type] != nullptr, "scope item kind out of range");
    return mCreators[type](scope, name);
}

} // namespace detail
} // namespace sxir
