// sxir::Variable: a named, typed storage location; untyped, it answers as a boolean_T scalar.
#pragma once

#include "ir/ScopeItem.hpp"

#include <cstdint>
#include <memory>

namespace sxir {

class Type;

namespace detail {
struct NodeAccess;
} // namespace detail

class SXIR_API Variable final : public ScopeItemShim<Variable> {
public:
    static constexpr ScopeItemType::Type sScopeItemType = ScopeItemType::Variable;

    Variable(Scope const& parent, sxu::string const& name);
    ~Variable() override;

    /// The variable's own type, or the context's boolean_T type when none was set.
    Type const& getType() const;
    /// Stores a clone of `type`; the caller keeps the argument.
    void setType(Type const& type);
    bool isMutable() const { return mMutable; }
    void setMutable(bool isMutable);

    /// Identity: two distinct variables are never equal.
    bool operator==(Variable const& other) const { return this == &other; }

    /// The type's declaration text around the name ("real_T x").
    sxu::string asString() const override;
    /// A new reference to this variable.
    ExpressionData* createExpressionData() const override;
    /// Copies the type only (into this variable's context); mutability stays as it is.
    void copyIn(Variable const& other);

private:
    friend struct detail::NodeAccess;

    /// Keeps the structural hash of a reference to this variable (of its name and type) up to date.
    void rehash();

    std::unique_ptr<Type> mType;
    bool mMutable = true;
    /// What a reference to this variable hashes by: every reference reads it, and it changes only with the type.
    std::uint64_t mReferenceHash = 0;
};

} // namespace sxir
