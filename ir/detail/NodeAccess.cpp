#include "ir/detail/NodeAccess.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Function.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/Equivalence.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/Hashing.hpp"

#include <string_view>

namespace sxir {
namespace detail {

namespace {

/// Takes the first slot of `slots` that still holds a node.
NodeAccess::Part takeFirst(HandleCache* cache, ExpressionData** slots, unsigned long count)
{
    for (unsigned long position = 0; position < count; ++position) {
        if (slots[position] != nullptr) {
            return NodeAccess::Part{true, HandleCache::take(cache, position, slots[position])};
        }
    }
    return NodeAccess::Part{false, nullptr};
}

/// FNV-1a: names are short, and a loop over their bytes costs less than a call of the general string hash.
std::uint64_t hashName(sxu::string const& name)
{
    std::uint64_t value = 0xcbf29ce484222325ull;
    for (char const c : name) {
        value = (value ^ static_cast<unsigned char>(c)) * 0x100000001b3ull;
    }
    return value;
}

Variable const& parameter(FunctionSignature const& signature, unsigned long position)
{
    Scope const& inputs = signature.getScope(FunctionIoScopeType::Input);
    unsigned long const count = inputs.getNumScopeItems();
    Scope const& scope = position < count ? inputs : signature.getScope(FunctionIoScopeType::Output);
    return static_cast<Variable const&>(*scope.getGenericScopeItem(position < count ? position : position - count));
}

unsigned long parameterCount(FunctionSignature const& signature, FunctionIoScopeType::Type kind)
{
    return signature.getScope(kind).getNumScopeItems();
}

} // namespace

NodeAccess::Part NodeAccess::takeNextPart(ExpressionData& node)
{
    switch (node.getExpressionDataType()) {
    case ExpressionDataType::Operator: {
        auto& op = static_cast<Operator&>(node);
        return takeFirst(op.mHandles, op.mOperands, 2);
    }
    case ExpressionDataType::MatrixRef: {
        auto& element = static_cast<MatrixRef&>(node);
        return takeFirst(element.mHandles, element.mParts, 3);
    }
    case ExpressionDataType::SubMatrix: {
        auto& range = static_cast<SubMatrix&>(node);
        return takeFirst(range.mHandles, &range.mExpression, 1);
    }
    case ExpressionDataType::FunctionCall: {
        auto& call = static_cast<FunctionCall&>(node);
        if (call.mSignature) {
            call.mSignature.reset();
            return Part{true, nullptr};
        }
        return takeFirst(call.mHandles, call.mParts.data(), call.mParts.size());
    }
    default:
        return Part{false, nullptr};
    }
}

ExpressionData* NodeAccess::takeExpression(Statement& statement, unsigned long position)
{
    if (statement.getStatementType() == StatementType::Assignment) {
        auto& assignment = static_cast<AssignmentStatement&>(statement);
        return HandleCache::take(assignment.mHandles, position, assignment.mSides[position]);
    }
    auto& ifStatement = static_cast<IfStatement&>(statement);
    return HandleCache::take(ifStatement.mHandles, 0, ifStatement.mCondition);
}

ExpressionData*& NodeAccess::expressionSlot(Statement& statement, unsigned long position)
{
    if (statement.getStatementType() == StatementType::Assignment) {
        return static_cast<AssignmentStatement&>(statement).mSides[position];
    }
    return static_cast<IfStatement&>(statement).mCondition;
}

void NodeAccess::destroyAuxiliaryData(Base& object) noexcept
{
    if ((object.mContext & Base::sHasAuxiliaryData) != 0) {
        object.mContext &= ~Base::sHasAuxiliaryData;
        object.destroyAuxiliaryData();
    }
}

std::uint64_t NodeAccess::referenceHash(sxu::string const& name, Type const& type)
{
    return mixHash(hashName(name), hashOf(type));
}

std::uint64_t NodeAccess::hashField(Function const* function)
{
    std::uint64_t const name = hashName(function->getName());
    return function->hasSignature() ? mixHash(name, hashOf(function->getSignature())) : name;
}

bool NodeAccess::sameField(Variable const* a, Variable const* b, ReferenceRule rule)
{
    return rule == ReferenceRule::Identity
               ? a == b
               : a->getName() == b->getName() && sameTypeStructure(a->getType(), b->getType());
}

bool NodeAccess::sameField(Function const* a, Function const* b, ReferenceRule rule)
{
    if (rule == ReferenceRule::Identity) {
        return a == b;
    }
    if (a->getName() != b->getName() || a->hasSignature() != b->hasSignature()) {
        return false;
    }
    return !a->hasSignature() || sameTypeStructure(a->getSignature(), b->getSignature());
}

bool NodeAccess::sameTypeFields(Type const& a, Type const& b)
{
    TypeId::Type const kind = a.getTypeId();
    if (kind != b.getTypeId()) {
        return false;
    }
    switch (kind) {
    case TypeId::Builtin:
        return static_cast<BuiltinType const&>(a).getType() == static_cast<BuiltinType const&>(b).getType();
    case TypeId::Matrix:
        return a.getDimension() == b.getDimension();
    case TypeId::FunctionSignature: {
        auto const& left = static_cast<FunctionSignature const&>(a);
        auto const& right = static_cast<FunctionSignature const&>(b);
        for (auto const io : {FunctionIoScopeType::Input, FunctionIoScopeType::Output}) {
            if (parameterCount(left, io) != parameterCount(right, io)) {
                return false;
            }
        }
        for (unsigned long i = 0; i < numInnerTypes(a); ++i) {
            if (parameter(left, i).getName() != parameter(right, i).getName()) {
                return false;
            }
        }
        return true;
    }
    }
    return false;
}

std::uint64_t NodeAccess::hashTypeFields(Type const& type)
{
    std::uint64_t value = mixHash(0x7f4a7c15u, type.getTypeId());
    switch (type.getTypeId()) {
    case TypeId::Builtin:
        return mixHash(value, static_cast<BuiltinType const&>(type).getType());
    case TypeId::Matrix:
        return mixHash(mixHash(value, type.getDimension().m()), type.getDimension().n());
    case TypeId::FunctionSignature: {
        auto const& signature = static_cast<FunctionSignature const&>(type);
        value = mixHash(value, parameterCount(signature, FunctionIoScopeType::Input));
        for (unsigned long i = 0; i < numInnerTypes(type); ++i) {
            value = mixHash(value, hashName(parameter(signature, i).getName()));
        }
        return value;
    }
    }
    return value;
}

unsigned long NodeAccess::numInnerTypes(Type const& type)
{
    switch (type.getTypeId()) {
    case TypeId::Matrix:
        return 1;
    case TypeId::FunctionSignature: {
        auto const& signature = static_cast<FunctionSignature const&>(type);
        return parameterCount(signature, FunctionIoScopeType::Input) +
               parameterCount(signature, FunctionIoScopeType::Output);
    }
    default:
        return 0;
    }
}

Type const& NodeAccess::innerType(Type const& type, unsigned long position)
{
    if (type.getTypeId() == TypeId::Matrix) {
        return type.getBaseType();
    }
    return parameter(static_cast<FunctionSignature const&>(type), position).getType();
}

} // namespace detail
} // namespace sxir
