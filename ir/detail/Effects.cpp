#include "ir/detail/Effects.hpp"

#include "ir/Function.hpp"
#include "ir/Scope.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/NodeMemo.hpp"
#include "ir/detail/Shape.hpp"

#include <functional>
#include <unordered_set>

namespace sxir {
namespace detail {

namespace {

bool declares(Function const& function, Variable const& variable)
{
    return variable.getParentScope().resolveFunction() == &function;
}

/// How many elements a variable holds; 0 for a function-typed one.
unsigned long elementsOf(Variable const& variable)
{
    Type const& type = variable.getType();
    TypeId::Type const kind = type.getTypeId();
    if (kind != TypeId::Matrix) {
        return kind == TypeId::Builtin ? 1 : 0;
    }
    return type.getDimension().m() * type.getDimension().n();
}

/// What the walks of one statement's expressions found; the variables go to storage that is
/// kept from one statement to the next.
struct Gathered {
    explicit Gathered(std::vector<std::pair<Variable const*, unsigned char>>& uses) : variables(uses) {}

    std::vector<std::pair<Variable const*, unsigned char>>& variables;
    std::vector<Function const*> callees;
    bool everyModuleVariable = false;
    bool mayStop = false;
};

template <class T>
void sortUnique(std::vector<T>& values)
{
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
}

} // namespace

/// Walks expressions for what they read and what their calls may do, and tells whether an
/// expression is a plain value. With an analysis, a call counts what its callee can reach;
/// without one, its callee is only listed.
class ExpressionEffects : public ExpressionKindVisitor<ExpressionEffects, unsigned long> {
public:
    ExpressionEffects(EffectAnalysis* analysis, Gathered& out) : mAnalysis(analysis), mOut(out) {}

    /// Walks `node`, each shared node once; null is an unset part. True for a plain value.
    bool walk(ExpressionData const* node)
    {
        mPlain = true;
        mSeen = NodeMemo<bool>();
        if (node == nullptr) {
            mOut.mayStop = true;
            return false;
        }
        walkExpression(*this, *node);
        return mPlain;
    }

    unsigned long enter(ExpressionData const* node, Children const& children)
    {
        if (node == nullptr) {
            mOut.mayStop = true;
            mPlain = false;
            return 0;
        }
        if (isSharedInner(*node, children.count)) {
            if (mSeen.find(node) != nullptr) {
                return 0;
            }
            mSeen.insert(node, nullptr, true);
        }
        return visitKind(children.kind, *node, children);
    }
    void next(ExpressionData const&, Children const&, unsigned long) {}
    bool leave(ExpressionData const&, Children const&) { return true; }

    unsigned long visitConstant(Constant const& node, Children const&)
    {
        // A client's constant class is for its evaluator to make sense of.
        mPlain = mPlain && NodeAccess::forScalar(node, [](auto const&) {});
        return 0;
    }
    unsigned long visitVariableRef(VariableRef const& node, Children const&)
    {
        Variable const& variable = node.getVariable();
        mOut.variables.emplace_back(&variable, sReads);
        mPlain = mPlain && elementsOf(variable) == 1;
        return 0;
    }
    unsigned long visitFunctionRef(FunctionRef const&, Children const&)
    {
        mPlain = false;
        return 0;
    }
    static unsigned long visitOperator(Operator const&, Children const& children) { return children.count; }
    unsigned long visitMatrixRef(MatrixRef const&, Children const& children)
    {
        // An element at constant indices inside a variable's matrix cannot stop a run.
        VariableRef const* matrix = children[0] != nullptr ? VariableRef::asSameClass(*children[0]) : nullptr;
        Shape shape;
        if (matrix == nullptr || !shapeOf(matrix->getVariable().getType(), shape) || shape.function ||
            !isConstantIndex(children[1]) || !isConstantIndex(children[2]) ||
            !isElementInside(constantElement(static_cast<Constant const&>(*children[1])),
                             constantElement(static_cast<Constant const&>(*children[2])), shape.rows, shape.columns)) {
            return notPlain(children);
        }
        mOut.variables.emplace_back(&matrix->getVariable(), sReads);
        return 0;
    }
    unsigned long visitSubMatrix(SubMatrix const&, Children const& children) { return notPlain(children); }
    unsigned long visitCustom(CustomExpressionData const&, Children const& children) { return notPlain(children); }
    unsigned long visitFunctionCall(FunctionCall const&, Children const& children)
    {
        mOut.mayStop = true;
        ExpressionData const* called = children[0];
        FunctionRef const* callee = called != nullptr ? FunctionRef::asSameClass(*called) : nullptr;
        if (callee == nullptr) {
            mOut.everyModuleVariable = true;
        } else if (mAnalysis == nullptr) {
            mOut.callees.push_back(&callee->getFunction());
        } else {
            EffectAnalysis::Reach const& reach = mAnalysis->reachOf(callee->getFunction());
            for (Variable const* variable : reach.variables) {
                mOut.variables.emplace_back(variable, sReads | sWrites);
            }
            mOut.everyModuleVariable = mOut.everyModuleVariable || reach.everyModuleVariable;
        }
        return notPlain(children);
    }

private:
    static bool isConstantIndex(ExpressionData const* index)
    {
        return index != nullptr && index->getExpressionDataType() == ExpressionDataType::Constant &&
               static_cast<Constant const*>(index)->getType() != nullptr;
    }
    unsigned long notPlain(Children const& children)
    {
        mPlain = false;
        return children.count;
    }

    EffectAnalysis* mAnalysis;
    Gathered& mOut;
    bool mPlain = true;
    NodeMemo<bool> mSeen;
};

namespace {

/// The footprint of what the walks of a statement of `function` found.
Footprint footprintOf(Function const& function, Gathered& gathered)
{
    Footprint footprint;
    auto& variables = gathered.variables;
    // Each variable once, with the access of all its uses; a few are compared pair by pair.
    auto kept = variables.begin();
    if (variables.size() > 16) {
        std::sort(variables.begin(), variables.end());
        for (auto at = variables.begin(); at != variables.end(); ++at) {
            if (at != variables.begin() && (kept - 1)->first == at->first) {
                (kept - 1)->second |= at->second;
            } else {
                *kept++ = *at;
            }
        }
    } else {
        for (auto at = variables.begin(); at != variables.end(); ++at) {
            auto const same =
                std::find_if(variables.begin(), kept, [at](auto const& use) { return use.first == at->first; });
            if (same != kept) {
                same->second |= at->second;
            } else {
                *kept++ = *at;
            }
        }
    }
    footprint.variables.assign(variables.data(), variables.data() + (kept - variables.begin()));
    variables.clear();
    footprint.everyModuleVariable = gathered.everyModuleVariable;
    footprint.mayStop = gathered.mayStop;
    footprint.touchesModule = footprint.writesModule = gathered.everyModuleVariable;
    for (auto const& [variable, access] : footprint.variables) {
        if (!declares(function, *variable)) {
            footprint.touchesModule = true;
            footprint.writesModule = footprint.writesModule || (access & sWrites) != 0;
        }
    }
    return footprint;
}

/// Every expression of a body, for the variables they refer to and the functions they call.
struct BodyReferences {
    struct Data {};
    ExpressionEffects& effects;

    Visit enterStatement(Statement const& statement, Data&)
    {
        for (unsigned long i = 0; i < statement.getNumExpressions(); ++i) {
            effects.walk(statement.getExpressionNode(i));
        }
        return Visit::Enter;
    }
    static Visit enterList(Statement const&, unsigned long, Data&, Data&) { return Visit::Enter; }
    static void leaveList(Statement const&, unsigned long, Data&) {}
    static bool leaveStatement(Statement const&, Data&) { return true; }
};

/// What `function`'s body refers to without declaring it, and the functions it calls.
EffectAnalysis::Reach bodyReferences(Function const& function)
{
    std::vector<std::pair<Variable const*, unsigned char>> used;
    Gathered gathered(used);
    ExpressionEffects effects(nullptr, gathered);
    BodyReferences pass{effects};
    StatementWalker<BodyReferences>::walkList(pass, function.getStatements(), {});
    EffectAnalysis::Reach direct;
    for (auto const& used : gathered.variables) {
        if (!declares(function, *used.first)) {
            direct.variables.push_back(used.first);
        }
    }
    sortUnique(direct.variables);
    direct.callees = std::move(gathered.callees);
    sortUnique(direct.callees);
    direct.everyModuleVariable = gathered.everyModuleVariable;
    return direct;
}

} // namespace

Footprint EffectAnalysis::ofAssignment(Statement const& statement)
{
    Gathered gathered(mUses);
    ExpressionEffects effects(this, gathered);
    // Through elements and sub-ranges to what is written; their indices are read.
    ExpressionData const* target = statement.getExpressionNode(AssignmentStatement::LHS);
    bool part = false;
    for (; target != nullptr; part = true) {
        Children const children = NodeAccess::childrenOf(*target);
        if (children.kind != ExpressionDataType::MatrixRef && children.kind != ExpressionDataType::SubMatrix) {
            break;
        }
        for (unsigned long i = 1; i < children.count; ++i) {
            effects.walk(children[i]);
        }
        target = children[0];
    }
    VariableRef const* written = target != nullptr ? VariableRef::asSameClass(*target) : nullptr;
    if (written != nullptr) {
        gathered.variables.emplace_back(&written->getVariable(), part ? sReads | sWrites : sWrites);
    } else {
        gathered.everyModuleVariable = gathered.mayStop = true;
        effects.walk(target);
    }
    ExpressionData const* value = statement.getExpressionNode(AssignmentStatement::RHS);
    bool const plain = effects.walk(value);
    bool fits = false;
    if (written != nullptr && !part && written->getVariable().isMutable()) {
        unsigned long const elements = elementsOf(written->getVariable());
        VariableRef const* copied = value != nullptr ? VariableRef::asSameClass(*value) : nullptr;
        fits = (elements == 1 && plain) ||
               (elements != 0 && copied != nullptr && elementsOf(copied->getVariable()) == elements);
    }
    gathered.mayStop = gathered.mayStop || !fits;
    return footprintOf(statement.getFunction(), gathered);
}

Footprint EffectAnalysis::ofCondition(Statement const& statement)
{
    Gathered gathered(mUses);
    ExpressionEffects effects(this, gathered);
    gathered.mayStop = !effects.walk(statement.getExpressionNode(0)) || gathered.mayStop;
    return footprintOf(statement.getFunction(), gathered);
}

EffectAnalysis::Reach const& EffectAnalysis::directOf(Function const& function)
{
    auto found = mDirect.find(&function);
    if (found == mDirect.end()) {
        found = mDirect.emplace(&function, bodyReferences(function)).first;
    }
    return found->second;
}

EffectAnalysis::Reach const& EffectAnalysis::reachOf(Function const& callee)
{
    auto const found = mReach.find(&callee);
    if (found != mReach.end()) {
        return found->second;
    }
    // Every function the callee may call, however deep, once.
    Reach reach;
    std::vector<Function const*> pending{&callee};
    std::unordered_set<Function const*> seen{&callee};
    while (!pending.empty()) {
        Reach const& direct = directOf(*pending.back());
        pending.pop_back();
        reach.variables.insert(reach.variables.end(), direct.variables.begin(), direct.variables.end());
        reach.everyModuleVariable = reach.everyModuleVariable || direct.everyModuleVariable;
        for (Function const* next : direct.callees) {
            if (seen.insert(next).second) {
                pending.push_back(next);
            }
        }
    }
    sortUnique(reach.variables);
    return mReach.emplace(&callee, std::move(reach)).first->second;
}

bool EffectAnalysis::reachChanged()
{
    bool changed = false;
    for (auto const& [function, direct] : mDirect) {
        Reach const now = bodyReferences(*function);
        changed = changed || now.variables != direct.variables || now.callees != direct.callees ||
                  now.everyModuleVariable != direct.everyModuleVariable;
    }
    mDirect.clear();
    mReach.clear();
    return changed;
}

void FootprintUnion::add(Footprint const& footprint)
{
    for (auto const& [variable, access] : footprint.variables) {
        variables[variable].access |= access;
    }
    everyModuleVariable = everyModuleVariable || footprint.everyModuleVariable;
    mayStop = mayStop || footprint.mayStop;
    touchesModule = touchesModule || footprint.touchesModule;
    writesModule = writesModule || footprint.writesModule;
}

void FootprintUnion::merge(FootprintUnion&& other)
{
    if (other.variables.size() > variables.size()) {
        variables.swap(other.variables);
    }
    for (auto const& [variable, entry] : other.variables) {
        variables[variable].access |= entry.access;
    }
    everyModuleVariable = everyModuleVariable || other.everyModuleVariable;
    mayStop = mayStop || other.mayStop;
    touchesModule = touchesModule || other.touchesModule;
    writesModule = writesModule || other.writesModule;
    other.clear();
}

bool conflicts(Footprint const& footprint, FootprintUnion const& other)
{
    for (auto const& [variable, access] : footprint.variables) {
        auto const found = other.variables.find(variable);
        if (found != other.variables.end() &&
            (((access & sWrites) != 0 && found->second.access != 0) || (found->second.access & sWrites) != 0)) {
            return true;
        }
    }
    return (footprint.everyModuleVariable && other.touchesModule) ||
           (other.everyModuleVariable && footprint.touchesModule) ||
           (footprint.mayStop && (other.mayStop || other.writesModule)) || (other.mayStop && footprint.writesModule);
}

BranchKey FirstUses::first(Queue& queue)
{
    while (queue.head < queue.uses.size() && !mAlive[queue.uses[queue.head].assignment]) {
        ++queue.head;
    }
    return queue.head < queue.uses.size() ? queue.uses[queue.head].key : sNoKey;
}

void FirstUses::addAssignment(Footprint const& footprint, BranchKey key, std::size_t number)
{
    if (number >= mAlive.size()) {
        mAlive.resize(number + 1);
    }
    mAlive[number] = true;
    bool const original = isOriginal(key);
    Use const use{key, number};
    auto const add = [original, use](Runs& runs) { (original ? runs.original : runs.movedIn).uses.push_back(use); };
    for (auto const& [variable, access] : footprint.variables) {
        Uses& uses = mAssignments[variable];
        add(uses.touched);
        if ((access & sWrites) != 0) {
            add(uses.written);
        }
    }
    bool const flags[Flags] = {footprint.everyModuleVariable, footprint.mayStop, footprint.touchesModule,
                               footprint.writesModule};
    for (int flag = 0; flag < Flags; ++flag) {
        if (flags[flag]) {
            add(mFlagUses[flag]);
        }
    }
}

std::pair<BranchKey, BranchKey> FirstUses::firstOfIfs(FootprintUnion::Entry const& entry) const
{
    if (entry.epoch == mIfsEpoch) {
        return {entry.touched, entry.written};
    }
    return {mIfsBase, (entry.access & sWrites) != 0 ? mIfsBase : sNoKey};
}

void FirstUses::addIf(FootprintUnion&& effect, BranchKey key)
{
    bool const flags[Flags] = {effect.everyModuleVariable, effect.mayStop, effect.touchesModule, effect.writesModule};
    for (int flag = 0; flag < Flags; ++flag) {
        if (flags[flag] && mIfFlags[flag] == sNoKey) {
            mIfFlags[flag] = key;
        }
    }
    auto& mine = mIfs.variables;
    auto& theirs = effect.variables;
    if (theirs.size() <= mine.size()) {
        for (auto const& [variable, entry] : theirs) {
            auto const [at, added] = mine.try_emplace(variable);
            auto const [touched, written] = added ? std::make_pair(key, sNoKey) : firstOfIfs(at->second);
            bool const writes = (entry.access & sWrites) != 0;
            at->second = {static_cast<unsigned char>(at->second.access | entry.access), mIfsEpoch, touched,
                          written == sNoKey && writes ? key : written};
        }
    } else {
        // The larger map becomes the union, whose entries all read as first used at `key`
        // under a new epoch; the old entries go in with what they knew.
        mine.swap(theirs);
        std::uint64_t const oldEpoch = mIfsEpoch;
        BranchKey const oldBase = mIfsBase;
        mIfsEpoch = ++mEpochs;
        mIfsBase = key;
        for (auto const& [variable, entry] : theirs) {
            BranchKey touched = oldBase, written = (entry.access & sWrites) != 0 ? oldBase : sNoKey;
            if (entry.epoch == oldEpoch) {
                touched = entry.touched;
                written = entry.written;
            }
            auto const [at, added] = mine.try_emplace(variable);
            bool const writesNow = !added && (at->second.access & sWrites) != 0;
            at->second = {static_cast<unsigned char>(at->second.access | entry.access), mIfsEpoch, touched,
                          written == sNoKey && writesNow ? key : written};
        }
    }
    effect.variables.clear();
    mIfs.everyModuleVariable = mIfs.everyModuleVariable || effect.everyModuleVariable;
    mIfs.mayStop = mIfs.mayStop || effect.mayStop;
    mIfs.touchesModule = mIfs.touchesModule || effect.touchesModule;
    mIfs.writesModule = mIfs.writesModule || effect.writesModule;
}

bool FirstUses::conflictsBefore(Footprint const& footprint, BranchKey key)
{
    for (auto const& [variable, access] : footprint.variables) {
        bool const writes = (access & sWrites) != 0;
        auto const assignments = mAssignments.find(variable);
        if (assignments != mAssignments.end() &&
            ((writes && first(assignments->second.touched) < key) || first(assignments->second.written) < key)) {
            return true;
        }
        auto const ifs = mIfs.variables.find(variable);
        if (ifs != mIfs.variables.end()) {
            auto const [touched, written] = firstOfIfs(ifs->second);
            if ((writes && touched < key) || written < key) {
                return true;
            }
        }
    }
    return (footprint.everyModuleVariable && firstFlag(TouchesModule) < key) ||
           (footprint.touchesModule && firstFlag(EveryModuleVariable) < key) ||
           (footprint.mayStop && (firstFlag(MayStop) < key || firstFlag(WritesModule) < key)) ||
           (footprint.writesModule && firstFlag(MayStop) < key);
}

FootprintUnion FirstUses::takeIfs()
{
    FootprintUnion ifs = std::move(mIfs);
    mIfs.clear();
    mIfsBase = sNoKey;
    std::fill(std::begin(mIfFlags), std::end(mIfFlags), sNoKey);
    return ifs;
}

} // namespace detail
} // namespace sxir
