#include "ir/CodeHoistor.hpp"

#include "ir/AssignmentStatement.hpp"
#include "ir/Function.hpp"
#include "ir/IfStatement.hpp"
#include "ir/Module.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/SmallStack.hpp"
#include "ir/detail/StatementWalk.hpp"
#include "util/Assertion.hpp"

#include <memory>
#include <unordered_map>
#include <vector>

namespace sxir {

namespace {

using StatementList = CodeHoistor::StatementList;
using Position = StatementList::iterator;

StatementList& branchList(IfStatement& statement, bool branch)
{
    return statement.getStatements(branch).getStatementList();
}

bool holdsNoIf(StatementList const& list)
{
    for (Statement const* statement : list) {
        if (detail::asIf(statement) != nullptr) {
            return false;
        }
    }
    return true;
}

std::size_t hashOf(AssignmentStatement const& assignment)
{
    std::size_t const left = detail::ExpressionWalk::hash(assignment.getNode(AssignmentStatement::LHS));
    return left * 0x9e3779b97f4a7c15ull ^ detail::ExpressionWalk::hash(assignment.getNode(AssignmentStatement::RHS));
}

/// What hoisting out of the if at `position` again and again until nothing moves
/// does, for an if whose branches hold no if statements, in time linear in their
/// length. Each hoist takes the first statement of the true branch that has an
/// equivalent in the false branch, and its first such equivalent. A statement that
/// finds none never will, since the false branch only shrinks, so the search goes
/// on after the last one hoisted; an index by structural hash finds the candidates.
void hoistAllFromFlatIf(StatementList& list, Position position)
{
    IfStatement& statement = *detail::asIf(*position);
    StatementList& trueBranch = branchList(statement, true);
    StatementList& falseBranch = branchList(statement, false);
    std::unordered_map<std::size_t, std::vector<Position>> index;
    for (Position other = falseBranch.begin(); other != falseBranch.end(); ++other) {
        if (AssignmentStatement const* assignment = detail::asAssignment(*other)) {
            index[hashOf(*assignment)].push_back(other);
        }
    }
    for (Position next = trueBranch.begin(); next != trueBranch.end();) {
        Statement* candidate = *next;
        AssignmentStatement const* assignment = detail::asAssignment(candidate);
        auto const bucket = assignment == nullptr ? index.end() : index.find(hashOf(*assignment));
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
            IfStatement* statement = detail::asIf(*position);
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
        if (detail::asIf(*position) != nullptr && hoist(body, position)) {
            hoisted = true;
        }
    }
    return hoisted;
}

bool CodeHoistor::hoist(StatementList& list, Position position)
{
    // The search recurses into nested ifs of either branch; it runs on an explicit
    // stack of frames, one per if statement being searched. A nested search that
    // fails changes nothing, and one that succeeds ends the whole search.
    struct Frame {
        StatementList* list;
        Position position;
        IfStatement* statement;
        Position candidate;  // the current statement of the true branch
        Position match;      // the current statement of the false branch
        bool searchingFalse; // looking through the false branch for the candidate
        bool falseIfsFailed; // every nested if of the false branch was searched in vain
    };
    detail::SmallStack<Frame> stack;
    auto const enter = [&stack](StatementList& owner, Position at) {
        IfStatement* statement = detail::asIf(*at);
        if (statement == nullptr) {
            return false;
        }
        StatementList& trueBranch = branchList(*statement, true);
        if (trueBranch.empty()) {
            return false;
        }
        stack.push(Frame{&owner, at, statement, trueBranch.begin(), Position(), false, false});
        return true;
    };
    SXU_CHECK(detail::asIf(*position) != nullptr, "hoisting out of a statement that is not an if statement");
    if (!enter(list, position)) {
        return false;
    }
    bool nestedFailed = false;
    while (!stack.empty()) {
        Frame& frame = stack.top();
        StatementList& trueBranch = branchList(*frame.statement, true);
        StatementList& falseBranch = branchList(*frame.statement, false);
        if (nestedFailed) {
            nestedFailed = false;
            ++(frame.searchingFalse ? frame.match : frame.candidate);
        }
        if (!frame.searchingFalse) {
            if (frame.candidate == trueBranch.end()) {
                stack.pop();
                nestedFailed = true;
                continue;
            }
            Statement* candidate = *frame.candidate;
            if (detail::asIf(candidate) != nullptr) {
                if (!enter(trueBranch, frame.candidate)) {
                    ++frame.candidate;
                }
            } else if (detail::asAssignment(candidate) != nullptr) {
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
        if (detail::asIf(other) != nullptr) {
            // A failed search changes nothing, so a nested if that failed once fails again.
            if (frame.falseIfsFailed || !enter(falseBranch, frame.match)) {
                ++frame.match;
            }
            continue;
        }
        Statement* candidate = *frame.candidate;
        if (detail::asAssignment(other) == nullptr || !candidate->isEquivalent(*other)) {
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
        return true;
    }
    return false;
}

namespace {

/// Removes empty ifs from `list` and below; true when it removed anything at any depth.
bool eliminateEmptyIfs(StatementList& list)
{
    // One frame per list being walked. `removed` is the walk's flag: once it is set,
    // the walk examines an if statement again after recursing into it, and so
    // removes an if emptied by that recursion; it moves on once a recursion
    // removes nothing.
    struct Frame {
        StatementList* list;
        Position position;
        bool removed;
        bool removedAny;
        unsigned long branch; // 0: at a statement, 1 or 2: recursing into its true or false branch
        bool childRemoved;
    };
    detail::SmallStack<Frame> stack;
    stack.push(Frame{&list, list.begin(), false, false, 0, false});
    bool childResult = false;
    bool returning = false;
    while (!stack.empty()) {
        Frame& frame = stack.top();
        if (returning) {
            returning = false;
            frame.childRemoved = frame.childRemoved || childResult;
            frame.removedAny = frame.removedAny || childResult;
            IfStatement& current = *detail::asIf(*frame.position);
            if (frame.branch == 1) {
                frame.branch = 2;
                StatementList& falseBranch = branchList(current, false);
                stack.push(Frame{&falseBranch, falseBranch.begin(), false, false, 0, false});
                continue;
            }
            frame.branch = 0;
            if (!(frame.removed && frame.childRemoved)) {
                ++frame.position;
            }
            continue;
        }
        if (frame.position == frame.list->end()) {
            childResult = frame.removedAny;
            stack.pop();
            returning = true;
            continue;
        }
        IfStatement* current = detail::asIf(*frame.position);
        if (current == nullptr) {
            ++frame.position;
            continue;
        }
        if (current->isEmpty()) {
            Base::destroy(current);
            frame.position = frame.list->erase(frame.position);
            frame.removedAny = true;
            if (frame.position == frame.list->end()) {
                continue;
            }
            frame.removed = true;
            continue;
        }
        frame.branch = 1;
        frame.childRemoved = false;
        StatementList& trueBranch = branchList(*current, true);
        stack.push(Frame{&trueBranch, trueBranch.begin(), false, false, 0, false});
    }
    return childResult;
}

} // namespace

void CodeHoistor::eliminateEmptyIfStatements(StatementList& list)
{
    eliminateEmptyIfs(list);
}

} // namespace sxir
