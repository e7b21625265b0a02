#include "ir/CodeHoistor.hpp"

#include "ir/AssignmentStatement.hpp"
#include "ir/Function.hpp"
#include "ir/IfStatement.hpp"
#include "ir/Module.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/Hashing.hpp"
#include "ir/detail/Walk.hpp"
#include "util/Assertion.hpp"

#include <memory>
#include <unordered_map>
#include <vector>

namespace sxir {

namespace {

using StatementList = CodeHoistor::StatementList;
using Position = StatementList::iterator;
using detail::Step;

StatementList& branchList(IfStatement& statement, bool branch)
{
    return statement.getStatements(branch).getStatementList();
}

IfStatement* asIf(Statement* statement)
{
    return statement->getStatementType() == StatementType::If ? static_cast<IfStatement*>(statement) : nullptr;
}

bool isAssignment(Statement const* statement)
{
    return statement->getStatementType() == StatementType::Assignment;
}

bool holdsNoIf(StatementList const& list)
{
    for (Statement* statement : list) {
        if (asIf(statement) != nullptr) {
            return false;
        }
    }
    return true;
}

/// What hoisting out of the if at `position` again and again until nothing moves
/// does, for an if whose branches hold no if statements, in time linear in their
/// length. Each hoist takes the first statement of the true branch that has an
/// equivalent in the false branch, and its first such equivalent. A statement that
/// finds none never will, since the false branch only shrinks, so the search goes
/// on after the last one hoisted; an index by structural hash finds the candidates.
void hoistAllFromFlatIf(StatementList& list, Position position)
{
    IfStatement& statement = *asIf(*position);
    StatementList& trueBranch = branchList(statement, true);
    StatementList& falseBranch = branchList(statement, false);
    std::unordered_map<std::uint64_t, std::vector<Position>> index;
    for (Position other = falseBranch.begin(); other != falseBranch.end(); ++other) {
        if (isAssignment(*other)) {
            index[detail::hashOf(**other)].push_back(other);
        }
    }
    for (Position next = trueBranch.begin(); next != trueBranch.end();) {
        Statement* candidate = *next;
        auto const bucket = isAssignment(candidate) ? index.find(detail::hashOf(*candidate)) : index.end();
        if (bucket == index.end()) {
            ++next;
            continue;
        }
        std::vector<Position>& others = bucket->second;
        auto match = others.begin();
        while (match != others.end() && !candidate->isEquivalent(**(*match))) {
            ++match;
        }
        if (match == others.end()) {
            ++next;
            continue;
        }
        std::unique_ptr<Statement> copy(candidate->clone(candidate->getFunction()));
        list.insert(position, copy.get());
        copy.release();
        Statement* other = **match;
        falseBranch.erase(*match);
        others.erase(match);
        next = trueBranch.erase(next);
        Base::destroy(candidate);
        Base::destroy(other);
    }
}

} // namespace

void CodeHoistor::analyze(Module& module)
{
    // Sweeping the body until a sweep moves nothing gives each top-level if its
    // hoists in order until one fails; hoisting out of one if touches neither the
    // branches of another nor the statements the sweeps look at. So each if is
    // drained in turn, and one without nested ifs in a single linear pass.
    Scope& scope = module.getModuleScope();
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        ScopeItem& item = *scope.getGenericScopeItem(i);
        if (item.getScopeItemType() != ScopeItemType::Function) {
            continue;
        }
        StatementList& body = dynamic_cast<Function&>(item).getStatements().getStatementList();
        for (Position position = body.begin(); position != body.end(); ++position) {
            IfStatement* statement = asIf(*position);
            if (statement == nullptr) {
                continue;
            }
            if (holdsNoIf(branchList(*statement, true)) && holdsNoIf(branchList(*statement, false))) {
                hoistAllFromFlatIf(body, position);
            } else {
                while (hoist(body, position)) {
                }
            }
        }
    }
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        ScopeItem& item = *scope.getGenericScopeItem(i);
        if (item.getScopeItemType() == ScopeItemType::Function) {
            eliminateEmptyIfStatements(dynamic_cast<Function&>(item).getStatements().getStatementList());
        }
    }
}

bool CodeHoistor::analyzeFcn(Function& function)
{
    StatementList& body = function.getStatements().getStatementList();
    bool hoisted = false;
    for (Position position = body.begin(); position != body.end(); ++position) {
        // Hoisting inserts before the if statement, so `position` stays valid.
        if (asIf(*position) != nullptr && hoist(body, position)) {
            hoisted = true;
        }
    }
    return hoisted;
}

namespace {

/// The search for one pair to hoist: a frame per if statement searched, nested ifs of
/// either branch searched on the way. A nested search that fails changes nothing and
/// hands back to its parent; one that succeeds ends the whole walk.
struct HoistSearch {
    struct Frame {
        StatementList* list;
        Position position;
        IfStatement* statement;
        Position candidate;  // the current statement of the true branch
        Position match;      // the current statement of the false branch
        bool searchingFalse; // looking through the false branch for the candidate
        bool falseIfsFailed; // every nested if of the false branch was searched in vain
        bool nestedPending;  // a nested search started here, and came back failed
    };

    /// A frame for the if statement at `at`, or false when there is nothing to search.
    static bool open(StatementList& owner, Position at, Frame& frame)
    {
        IfStatement* statement = asIf(*at);
        if (statement == nullptr || branchList(*statement, true).empty()) {
            return false;
        }
        frame = Frame{&owner, at, statement, branchList(*statement, true).begin(), Position(), false, false, false};
        return true;
    }

    Step step(Frame& frame, Frame& child)
    {
        StatementList& trueBranch = branchList(*frame.statement, true);
        StatementList& falseBranch = branchList(*frame.statement, false);
        if (frame.nestedPending) {
            frame.nestedPending = false;
            ++(frame.searchingFalse ? frame.match : frame.candidate);
        }
        for (;;) {
            if (!frame.searchingFalse) {
                if (frame.candidate == trueBranch.end()) {
                    return Step::Finish;
                }
                Statement* candidate = *frame.candidate;
                if (asIf(candidate) != nullptr) {
                    if (open(trueBranch, frame.candidate, child)) {
                        frame.nestedPending = true;
                        return Step::Descend;
                    }
                    ++frame.candidate;
                } else if (isAssignment(candidate)) {
                    frame.searchingFalse = true;
                    frame.match = falseBranch.begin();
                } else {
                    ++frame.candidate;
                }
                continue;
            }
            if (frame.match == falseBranch.end()) {
                frame.searchingFalse = false;
                frame.falseIfsFailed = true;
                ++frame.candidate;
                continue;
            }
            Statement* other = *frame.match;
            if (asIf(other) != nullptr) {
                // A failed search changes nothing, so a nested if that failed once fails again.
                if (!frame.falseIfsFailed && open(falseBranch, frame.match, child)) {
                    frame.nestedPending = true;
                    return Step::Descend;
                }
                ++frame.match;
                continue;
            }
            Statement* candidate = *frame.candidate;
            if (!isAssignment(other) || !candidate->isEquivalent(*other)) {
                ++frame.match;
                continue;
            }
            std::unique_ptr<Statement> copy(candidate->clone(candidate->getFunction()));
            frame.list->insert(frame.position, copy.get());
            copy.release();
            trueBranch.erase(frame.candidate);
            falseBranch.erase(frame.match);
            Base::destroy(candidate);
            Base::destroy(other);
            return Step::Stop;
        }
    }
};

} // namespace

bool CodeHoistor::hoist(StatementList& list, Position position)
{
    SXU_CHECK(asIf(*position) != nullptr, "hoisting out of a statement that is not an if statement");
    HoistSearch search;
    HoistSearch::Frame root;
    // The walk stops exactly when a pair was hoisted.
    return HoistSearch::open(list, position, root) && !detail::runWalk(search, root);
}

namespace {

/// Removes empty ifs from a list and below. A frame walks one list. `removed` is the
/// walk's flag: once it is set, the walk examines an if statement again after recursing
/// into it, and so removes an if emptied by that recursion; it moves on once a
/// recursion removes nothing. A finished frame hands back whether it removed anything.
struct EmptyIfRemoval {
    struct Frame {
        StatementList* list;
        Position position;
        bool removed;
        bool removedAny;
        unsigned long branch; // 0: at a statement, 1 or 2: back from its true or false branch
        bool childRemoved;
    };
    bool childResult = false;

    static Frame open(StatementList& list) { return Frame{&list, list.begin(), false, false, 0, false}; }

    Step step(Frame& frame, Frame& child)
    {
        for (;;) {
            if (frame.branch != 0) {
                frame.childRemoved = frame.childRemoved || childResult;
                frame.removedAny = frame.removedAny || childResult;
                if (frame.branch == 1) {
                    frame.branch = 2;
                    child = open(branchList(*asIf(*frame.position), false));
                    return Step::Descend;
                }
                frame.branch = 0;
                if (!(frame.removed && frame.childRemoved)) {
                    ++frame.position;
                }
                continue;
            }
            if (frame.position == frame.list->end()) {
                return Step::Finish;
            }
            IfStatement* current = asIf(*frame.position);
            if (current == nullptr) {
                ++frame.position;
                continue;
            }
            if (current->isEmpty()) {
                Base::destroy(current);
                frame.position = frame.list->erase(frame.position);
                frame.removedAny = true;
                if (frame.position != frame.list->end()) {
                    frame.removed = true;
                }
                continue;
            }
            frame.branch = 1;
            frame.childRemoved = false;
            child = open(branchList(*current, true));
            return Step::Descend;
        }
    }
    void finish(Frame const& frame) { childResult = frame.removedAny; }
};

} // namespace

void CodeHoistor::eliminateEmptyIfStatements(StatementList& list)
{
    EmptyIfRemoval removal;
    detail::runWalk(removal, EmptyIfRemoval::open(list));
}

} // namespace sxir
