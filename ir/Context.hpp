// sxir::Context: owner of the builtin types and the global scope, and the way to report user errors.
#pragma once

#include "util/Allocate.hpp"
#include "util/DataTypeId.hpp"
#include "util/Export.hpp"
#include "util/String.hpp"

namespace sxir {

class BuiltinType;
class RuntimeEnvironment;
class Scope;

/// Every IR object lives in one context. Create it with create() and delete it
/// after everything made in it; the runtime environment must outlive it.
class SXIR_API Context : public sxu::AllocatorBase {
public:
    using Factory = Context* (*)(RuntimeEnvironment const&);

    Context() = default;
    Context(Context const&) = delete;
    Context& operator=(Context const&) = delete;
    virtual ~Context();

    /// Hands a user error to the runtime environment; unused arguments are empty.
    virtual void reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                             sxu::string const& arg4) const = 0;
    virtual bool isValidIdentifier(sxu::string const& name) const = 0;
    /// The scope in which modules are declared.
    virtual Scope const& getGlobalScope() const = 0;
    virtual Scope& getGlobalScope() = 0;
    /// The one builtin type object of this context for `id`.
    virtual BuiltinType const& getBuiltinType(sxu::DataTypeId::Type id) const = 0;

    /// A number that grows whenever IR of this context changes in a way that may change
    /// what a run computes: a declaration added, a type or signature set, a statement
    /// added, or a list handed out for change, an operand or condition set. The interpreter
    /// prepares functions again once it moved.
    unsigned long getRevision() const { return mRevision; }
    /// Records such a change.
    void noteChange() const { ++mRevision; }

    /// A new context over `env`, owned by the caller.
    static Context* create(RuntimeEnvironment const& env);
    /// Replaces the factory behind create(); returns true so it can initialise a static flag.
    static bool registerFactory(Factory factory);

private:
    static Factory sFactory;
    mutable unsigned long mRevision = 0;
};

} // namespace sxir
