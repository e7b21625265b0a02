#include "ir/Function.hpp"

#include "ir/CompoundStatement.hpp"
#include "ir/Context.hpp"
#include "ir/ErrorId.hpp"
#include "ir/Expression.hpp"
#include "ir/FunctionRef.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/IfStatement.hpp"
#include "ir/Scope.hpp"
#include "ir/ScopeItemVisitor.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/ScopeItemRegistry.hpp"
#include "util/Assertion.hpp"

namespace sxir {

namespace {

bool const sRegistered = detail::ScopeItemRegistry::get().registerCreator(
    ScopeItemType::Function, &detail::ScopeItemRegistry::createItem<Function>);

/// Makes every input variable immutable.
class SetupInputAsImmutable : public ScopeItemVisitor<Variable> {
public:
    void visit(Variable& variable) override { variable.setMutable(false); }
};

/// Writes "out=in", auto-generated, for every output named like an input.
class InitializeOutputWithInput : public ConstScopeItemVisitor<Variable> {
public:
    explicit InitializeOutputWithInput(Scope const& inputs) : mInputs(inputs) {}

    void visit(Variable const& output) override
    {
        if (auto const* input = dynamic_cast<Variable const*>(mInputs.lookupGenericScopeItem(output.getName()))) {
            Expression(output).assign(Expression(*input), true);
        }
    }

private:
    Scope const& mInputs;
};

// The signature scope each function scope is filled from; Local has none.
unsigned long const sNoSignatureScope = ~0ul;
unsigned long const sSignatureScopeOf[FunctionScopeType::Count] = {FunctionIoScopeType::Input,
                                                                   FunctionIoScopeType::Output, sNoSignatureScope};

/// Moves what `owned` holds to the end of `replaced`.
template <class T>
void keepReplaced(sxu::vector<T*>& replaced, std::unique_ptr<T>& owned)
{
    if (owned) {
        replaced.reserveMore(1);
        replaced.push_back(owned.release());
    }
}

} // namespace

Function::Function(Scope const& scope, sxu::string const& name)
    : ScopeItemShim(scope, name), mBody(new CompoundStatement(*this))
{
    mStack.push_back(StackEntry{mBody.get(), 1});
}

Function::~Function()
{
    mSignature.reset();
    mBody.reset();
    for (auto& scope : mScopes) {
        scope.reset();
    }
    for (FunctionSignature* signature : mReplacedSignatures) {
        Base::destroy(signature);
    }
    for (Scope* scope : mReplacedScopes) {
        Base::destroy(scope);
    }
}

void Function::setSignature(FunctionSignature const& signature)
{
    getContext().noteChange();
    initializeFunctionScopes();
    keepReplaced(mReplacedSignatures, mSignature);
    mSignature.reset(new FunctionSignature(signature));
    for (unsigned long kind = 0; kind < FunctionScopeType::Count; ++kind) {
        if (sSignatureScopeOf[kind] != sNoSignatureScope) {
            mScopes[kind]->copyIn(signature.getScope(static_cast<FunctionIoScopeType::Type>(sSignatureScopeOf[kind])));
        }
    }
    SetupInputAsImmutable immutable;
    mScopes[FunctionScopeType::Input]->visitItems(immutable);
    finalizeFunctionScopes();
    InitializeOutputWithInput initialize(*mScopes[FunctionScopeType::Input]);
    static_cast<Scope const&>(*mScopes[FunctionScopeType::Output]).visitItems(initialize);
}

void Function::initializeFunctionScopes()
{
    for (unsigned long kind = 0; kind < FunctionScopeType::Count; ++kind) {
        std::unique_ptr<ScopeConfiguration> configuration(
            new FunctionScopeConfiguration(getContext(), *this, static_cast<FunctionScopeType::Type>(kind)));
        std::unique_ptr<Scope> scope = Scope::createOwning(std::move(configuration));
        keepReplaced(mReplacedScopes, mScopes[kind]);
        mScopes[kind] = std::move(scope);
    }
}

FunctionSignature const& Function::getSignature() const
{
    SXU_CHECK(mSignature != nullptr, "the function has no signature before setSignature");
    return *mSignature;
}

Scope& Function::getFunctionScope(FunctionScopeType::Type kind)
{
    SXU_CHECK(kind < FunctionScopeType::Count, "function scope kind out of range");
    SXU_CHECK(mScopes[kind] != nullptr, "function scopes used before setSignature");
    return *mScopes[kind];
}

Scope const& Function::getFunctionScope(FunctionScopeType::Type kind) const
{
    return const_cast<Function*>(this)->getFunctionScope(kind);
}

void Function::append(Statement* statement)
{
    getCurrentStatements().appendStatement(statement);
}

void Function::pushStatements(CompoundStatement& statements, unsigned long popCount)
{
    mStack.push_back(StackEntry{&statements, popCount});
}

void Function::popStatements(bool single)
{
    unsigned long const count = single ? 1 : mStack.back().popCount;
    SXU_CHECK(count < mStack.size(), "Else or End without an open if");
    // The body's entry always stays, so unbalanced calls never leave the function without a list.
    for (unsigned long i = 0; i < count && mStack.size() > 1; ++i) {
        mStack.pop_back();
    }
}

void Function::If(Expression const& condition)
{
    std::unique_ptr<IfStatement> statement(new IfStatement(*this));
    statement->setExpression(condition);
    IfStatement& added = *statement;
    mStack.reserveMore(2);
    append(statement.release());
    pushStatements(added.getStatements(false), 1);
    pushStatements(added.getStatements(true), 2);
}

void Function::Else()
{
    SXU_CHECK(mStack.back().popCount == 2, "Else outside the true branch of an if");
    popStatements(true);
}

void Function::End()
{
    popStatements(false);
}

ScopeItem const* Function::operator()(sxu::string const& name) const
{
    Scope const* locals = mScopes[FunctionScopeType::Local].get();
    return (locals != nullptr ? *locals : getParentScope()).resolveGenericScopeItem(name);
}

Expression Function::expression(sxu::string const& name) const
{
    if (ScopeItem const* item = (*this)(name)) {
        return Expression(*item);
    }
    sxu::string const none;
    getContext().reportError(ErrorId::UnknownName, name, none, none, none);
    return Expression(getContext());
}

ExpressionData* Function::createExpressionData() const
{
    return new FunctionRef(*this);
}

void Function::copyIn(Function const& other)
{
    if (other.mSignature) {
        FunctionSignature const signature(getContext(), *other.mSignature);
        setSignature(signature);
        getFunctionScope(FunctionScopeType::Local).copyIn(other.getFunctionScope(FunctionScopeType::Local));
    }
    mBody->copyIn(*other.mBody);
}

sxu::string Function::asString() const
{
    auto const scopeText = [this](FunctionScopeType::Type kind, char const* separator) {
        Scope const* scope = mScopes[kind].get();
        return scope == nullptr ? sxu::string() : scope->asString(separator);
    };
    sxu::string text = "function ";
    sxu::string const outputs = scopeText(FunctionScopeType::Output, ", ");
    if (!outputs.empty()) {
        text += '[';
        text += outputs;
        text += "] = ";
    }
    text += getName();
    sxu::string const inputs = scopeText(FunctionScopeType::Input, ", ");
    if (!inputs.empty()) {
        text += '(';
        text += inputs;
        text += ')';
    }
    text += '\n';
    sxu::string const locals = scopeText(FunctionScopeType::Local, "\n\t");
    if (!locals.empty()) {
        text += "    ";
        text += locals;
        text += '\n';
    }
    detail::printStatements(*mBody, text);
    text += "end";
    return text;
}

} // namespace sxir
