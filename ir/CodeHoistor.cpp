#include "ir/CodeHoistor.hpp"

#include "ir/AssignmentStatement.hpp"
#include "ir/Function.hpp"
#include "ir/IfStatement.hpp"
#include "ir/Module.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/HoistSearch.hpp"
#include "util/Assertion.hpp"

namespace sxir {

namespace {

using StatementList = CodeHoistor::StatementList;
using Position = StatementList::iterator;
using detail::asIf;
using detail::branchList;
using detail::Step;

/// Pairs as the pass defines them: any two equivalent assignments, one per branch.
/// What moves is a copy of the true branch's statement; the pair is destroyed.
struct EquivalentPairs {
    struct IfState {};
    static void open(IfStatement&, IfState&) {}
    static bool mayMove(IfState&, Statement&, detail::BranchKey, bool) { return true; }
    static Statement* hoisted(Statement& statement) { return statement.clone(statement.getFunction()); }
    static void moved(Statement&, Statement&, bool) {}
    static void kept(IfState&, Statement&, bool) {}
    static void trueIfDone(IfState&, IfState&) {}
    static void falseEntered(IfState&, Statement&, detail::BranchKey, std::size_t) {}
    static void falseLeft(IfState&, Statement&, std::size_t) {}
    static void falseIfDone(IfState&, IfState&, detail::BranchKey) {}
    static void done(IfStatement&, IfState&, Position) {}
};

} // namespace

void CodeHoistor::analyze(Module& module)
{
    // Sweeping the body until a sweep moves nothing gives each top-level if its
    // hoists in order until one fails; hoisting out of one if touches neither the
    // branches of another nor the statements the sweeps look at. So each if is
    // drained in turn.
    Scope& scope = module.getModuleScope();
    EquivalentPairs rule;
    detail::HoistSearch<EquivalentPairs> search(rule);
    for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
        ScopeItem& item = *scope.getGenericScopeItem(i);
        if (item.getScopeItemType() != ScopeItemType::Function) {
            continue;
        }
        StatementList& body = dynamic_cast<Function&>(item).getStatements().getStatementList();
        for (Position position = body.begin(); position != body.end(); ++position) {
            if (asIf(**position) != nullptr) {
                search.drain(body, position);
            }
        }
        search.clear();
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
        if (asIf(**position) != nullptr && hoist(body, position)) {
            hoisted = true;
        }
    }
    return hoisted;
}

bool CodeHoistor::hoist(StatementList& list, Position position)
{
    SXU_CHECK(asIf(**position) != nullptr, "hoisting out of a statement that is not an if statement");
    EquivalentPairs rule;
    detail::HoistSearch<EquivalentPairs> search(rule);
    return search.hoistOnce(list, position);
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
                    child = open(branchList(*asIf(**frame.position), false));
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
            IfStatement* current = asIf(**frame.position);
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
