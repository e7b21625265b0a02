#include "ir/CodeHoistor.hpp"

#include "ir/AssignmentStatement.hpp"
#include "ir/Function.hpp"
#include "ir/IfStatement.hpp"
#include "ir/Module.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/SmallStack.hpp"
#include "ir/detail/StatementWalk.hpp"
#include "util/Assertion.hpp"
#include "util/ExactType.hpp"

#include <memory>

namespace sxir {

namespace {

using StatementList = CodeHoistor::StatementList;
using Position = StatementList::iterator;

bool isAssignment(Statement const* statement)
{
    return detail::asAssignment(statement) != nullptr;
}

StatementList& branchList(IfStatement& statement, bool branch)
{
    return statement.getStatements(branch).getStatementList();
}

} // namespace

void CodeHoistor::analyze(Module& module)
{
    Scope& scope = module.getModuleScope();
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        ScopeItem& item = *scope.getGenericScopeItem(i);
        if (item.getScopeItemType() == ScopeItemType::Function) {
            Function& function = dynamic_cast<Function&>(item);
            while (analyzeFcn(function)) {
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
        Position candidate;   // the current statement of the true branch
        Position match;       // the current statement of the false branch
        bool searchingFalse;  // looking through the false branch for the candidate
        bool falseIfsFailed;  // every nested if of the false branch was searched in vain
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
        if (detail::asIf(other) != nullptr) {
            // A failed search changes nothing, so a nested if that failed once fails again.
            if (frame.falseIfsFailed || !enter(falseBranch, frame.match)) {
                ++frame.match;
            }
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
        unsigned long branch;  // 0: at a statement, 1 or 2: recursing into its true or false branch
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
