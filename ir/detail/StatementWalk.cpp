#include "ir/detail/StatementWalk.hpp"

#include "ir/AssignmentStatement.hpp"
#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/SmallStack.hpp"
#include "ir/detail/TextSink.hpp"

#include <memory>

namespace sxir {
namespace detail {

namespace {
using ConstPosition = sxu::list<Statement*>::const_iterator;
} // namespace

void StatementWalk::printList(CompoundStatement const& list, sxu::string& out)
{
    TextSink sink(out);
    print(&list, nullptr, sink);
}

void StatementWalk::printIf(IfStatement const& statement, sxu::string& out)
{
    TextSink sink(out);
    print(nullptr, &statement, sink);
}

void StatementWalk::print(CompoundStatement const* list, IfStatement const* root, TextSink& out)
{
    // A frame is a statement list being printed, and the if statement and branch it belongs to.
    struct Frame {
        ConstPosition next;
        ConstPosition end;
        IfStatement const* owner;
        unsigned long branch;
    };
    SmallStack<Frame> stack;
    auto const openBranch = [&stack](IfStatement const& owner, unsigned long branch) {
        sxu::list<Statement*> const& statements =
            owner.getStatements(IfStatement::indexToBranch(branch)).getStatementList();
        stack.push(Frame{statements.begin(), statements.end(), &owner, branch});
    };
    auto const openIf = [&](IfStatement const& statement) {
        out.append(std::string_view("if "));
        appendExpression(out, statement.getExpression());
        out.append('\n');
        openBranch(statement, 0);
    };
    if (root != nullptr) {
        openIf(*root);
    } else {
        stack.push(Frame{list->getStatementList().begin(), list->getStatementList().end(), nullptr, 0});
    }
    while (!stack.empty()) {
        Frame& frame = stack.top();
        if (frame.next == frame.end) {
            Frame const done = stack.pop();
            if (done.owner == nullptr) {
                continue;
            }
            if (done.branch == 0 && !done.owner->getStatements(false).getStatementList().empty()) {
                out.append(std::string_view("else\n"));
                openBranch(*done.owner, 1);
                continue;
            }
            out.append(std::string_view("end\n"));
            // An if statement within a list ends with the list's own line end: an empty line.
            if (done.owner != root) {
                out.append('\n');
            }
            continue;
        }
        Statement const* statement = *frame.next++;
        out.append(std::string_view("    "));
        if (IfStatement const* nested = asIf(statement)) {
            openIf(*nested);
            continue;
        }
        if (AssignmentStatement const* assignment = asAssignment(statement)) {
            ExpressionWalk::print(assignment->getNode(AssignmentStatement::LHS), out);
            out.append('=');
            ExpressionWalk::print(assignment->getNode(AssignmentStatement::RHS), out);
        } else {
            out.append(statement->asString());
        }
        out.append('\n');
    }
}

bool StatementWalk::equivalentIfs(IfStatement const& a, IfStatement const& b)
{
    // Branches are compared pair by pair, in order, and the first pair that differs ends the walk.
    struct Pair {
        Statement const* left;
        Statement const* right;
    };
    SmallStack<Pair> stack;
    stack.push(Pair{&a, &b});
    while (!stack.empty()) {
        Pair const pair = stack.pop();
        IfStatement const* left = asIf(pair.left);
        if (left == nullptr) {
            if (!pair.left->isEquivalent(*pair.right)) {
                return false;
            }
            continue;
        }
        IfStatement const* right = asIf(pair.right);
        if (right == nullptr) {
            return false;
        }
        for (bool const branch : {true, false}) {
            if (left->getStatements(branch).getStatementList().size() !=
                right->getStatements(branch).getStatementList().size()) {
                return false;
            }
        }
        if (!left->getExpression().isEquivalent(right->getExpression())) {
            return false;
        }
        for (bool const branch : {false, true}) {
            auto const& lefts = left->getStatements(branch).getStatementList();
            auto const& rights = right->getStatements(branch).getStatementList();
            for (auto l = lefts.rbegin(), r = rights.rbegin(); l != lefts.rend(); ++l, ++r) {
                stack.push(Pair{*l, *r});
            }
        }
    }
    return true;
}

void StatementWalk::copyInto(CompoundStatement& target, CompoundStatement const& source)
{
    // The copies are made into a list of their own and moved over at the end: the
    // source is never walked while it grows, even when the target is the source or
    // one of its branches, and a failure leaves the target as it was.
    struct Frame {
        ConstPosition next;
        ConstPosition end;
        CompoundStatement* target;
    };
    Function const& function = target.getFunction();
    CompoundStatement copies(function);
    SmallStack<Frame> stack;
    stack.push(Frame{source.getStatementList().begin(), source.getStatementList().end(), &copies});
    while (!stack.empty()) {
        Frame& frame = stack.top();
        if (frame.next == frame.end) {
            stack.pop();
            continue;
        }
        Statement const* statement = *frame.next++;
        if (statement->isAutoGenerated()) {
            continue;
        }
        CompoundStatement& list = *frame.target;
        IfStatement const* nested = asIf(statement);
        if (nested == nullptr) {
            list.appendStatement(statement->clone(function));
            continue;
        }
        // The copy joins its list before its branches are filled, so nothing is left unowned.
        std::unique_ptr<IfStatement> copy(new IfStatement(function));
        copy->setExpression(nested->getExpression().clone(function));
        IfStatement& added = *copy;
        list.appendStatement(copy.release());
        for (bool const branch : {false, true}) {
            sxu::list<Statement*> const& statements = nested->getStatements(branch).getStatementList();
            stack.push(Frame{statements.begin(), statements.end(), &added.getStatements(branch)});
        }
    }
    target.getStatementList().splice(target.getStatementList().end(), copies.getStatementList());
}

void StatementWalk::destroyAll(sxu::list<Statement*>& statements) noexcept
{
    // The branches of an if statement move to the front of the queue before it is
    // destroyed, so it dies with empty branches and the order stays depth first.
    sxu::list<Statement*> pending;
    pending.splice(pending.begin(), statements);
    while (!pending.empty()) {
        Statement* statement = pending.front();
        pending.pop_front();
        if (IfStatement* nested = asIf(statement)) {
            pending.splice(pending.begin(), nested->getStatements(false).getStatementList());
            pending.splice(pending.begin(), nested->getStatements(true).getStatementList());
        }
        Base::destroy(statement);
    }
}

} // namespace detail
} // namespace sxir
