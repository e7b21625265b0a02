#include "ir/StructuralHash.hpp"

#include "ir/Expression.hpp"
#include "ir/Function.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/Equivalence.hpp"
#include "ir/detail/Hashing.hpp"

namespace sxir {

std::uint64_t structuralHash(Expression const& expression)
{
    return detail::hashOf(*expression.getData());
}

std::uint64_t structuralHash(Statement const& statement)
{
    return detail::hashOf(statement);
}

std::uint64_t structuralHash(Type const& type)
{
    return detail::hashOf(type);
}

namespace {

/// The same names with types of the same structure, in the same order.
bool sameDeclarations(Scope const& a, Scope const& b)
{
    if (a.getNumScopeItems() != b.getNumScopeItems()) {
        return false;
    }
    for (unsigned long i = 0; i < a.getNumScopeItems(); ++i) {
        auto const* left = dynamic_cast<Variable const*>(a.getGenericScopeItem(i));
        auto const* right = dynamic_cast<Variable const*>(b.getGenericScopeItem(i));
        if (left == nullptr || right == nullptr || left->getName() != right->getName() ||
            !detail::sameTypeStructure(left->getType(), right->getType())) {
            return false;
        }
    }
    return true;
}

} // namespace

bool sameStructure(Function const& a, Function const& b)
{
    if (a.hasSignature() != b.hasSignature()) {
        return false;
    }
    if (a.hasSignature()) {
        for (auto const kind : {FunctionScopeType::Input, FunctionScopeType::Output, FunctionScopeType::Local}) {
            if (!sameDeclarations(a.getFunctionScope(kind), b.getFunctionScope(kind))) {
                return false;
            }
        }
    }
    auto const& left = a.getStatements().getStatementList();
    auto const& right = b.getStatements().getStatementList();
    if (left.size() != right.size()) {
        return false;
    }
    for (auto l = left.begin(), r = right.begin(); l != left.end(); ++l, ++r) {
        if (!detail::equivalentStatements(**l, **r, detail::ReferenceRule::ByName)) {
            return false;
        }
    }
    return true;
}

} // namespace sxir
