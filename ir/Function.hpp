// sxir::Function: a function of generated code: signature, three scopes, a body, and the If/Else/End writing stack.
#pragma once

#include "ir/ScopeConfiguration.hpp"
#include "ir/ScopeItem.hpp"
#include "util/Vector.hpp"

#include <memory>

namespace sxir {

class CompoundStatement;
class Expression;
class FunctionSignature;
class Statement;

class SXIR_API Function final : public ScopeItemShim<Function> {
public:
    static constexpr ScopeItemType::Type sScopeItemType = ScopeItemType::Function;

    /// An empty body, no signature and no scopes yet; Scope::addGenericScopeItem adds it to `scope`.
    Function(Scope const& scope, sxu::string const& name);
    ~Function() override;

    /// Copies `signature`, creates the Input, Output and Local scopes with the
    /// parameters (inputs immutable) and writes "out=in" (auto-generated) for each
    /// output named like an input. Call it once, before writing the body.
    void setSignature(FunctionSignature const& signature);
    void initializeFunctionScopes();
    void finalizeFunctionScopes() { mScopesFinalized = true; }
    bool hasSignature() const { return mSignature != nullptr; }
    FunctionSignature const& getSignature() const;

    Scope& getFunctionScope(FunctionScopeType::Type kind);
    Scope const& getFunctionScope(FunctionScopeType::Type kind) const;
    Scope const& getConstFunctionScope(FunctionScopeType::Type kind) const { return getFunctionScope(kind); }

    /// The body.
    CompoundStatement& getStatements() { return *mBody; }
    CompoundStatement const& getStatements() const { return *mBody; }
    /// The list statements are appended to now: the body, or an open branch.
    CompoundStatement& getCurrentStatements() { return *mStack.back().statements; }
    CompoundStatement const& getCurrentStatements() const { return *mStack.back().statements; }
    /// Appends `statement`, which the current list then owns.
    void append(Statement* statement);
    void pushStatements(CompoundStatement& statements, unsigned long popCount);
    /// Removes one entry, or as many as the top entry's pop count when `single` is false.
    void popStatements(bool single);

    /// Appends an if statement and makes its true branch current.
    void If(Expression const& condition);
    /// Makes the false branch of the innermost open if current.
    void Else();
    /// Closes the innermost open if, with or without Else.
    void End();

    /// The declaration `name` as seen from the body (locals, outputs, inputs, then outward), or null.
    ScopeItem const* operator()(sxu::string const& name) const;
    /// A use of the declaration `name` as operator() finds it. When there is none it reports
    /// "sxir:scope:UnknownName"; if the report returns, the int32 constant 0 stands in.
    Expression expression(sxu::string const& name) const;

    /// A new reference to this function.
    ExpressionData* createExpressionData() const override;
    /// Makes this function a copy of `other` in this function's context.
    void copyIn(Function const& other);
    /// "function [outputs] = name(inputs)", the locals, the body, then "end".
    sxu::string asString() const override;

private:
    struct StackEntry {
        CompoundStatement* statements;
        unsigned long popCount;
    };

    std::unique_ptr<FunctionSignature> mSignature;
    std::unique_ptr<Scope> mScopes[FunctionScopeType::Count];
    std::unique_ptr<CompoundStatement> mBody;
    sxu::vector<StackEntry> mStack;
    bool mScopesFinalized = false;
    // What a repeated setSignature replaced: statements written before may still refer to it.
    sxu::vector<FunctionSignature*> mReplacedSignatures;
    sxu::vector<Scope*> mReplacedScopes;
};

} // namespace sxir
