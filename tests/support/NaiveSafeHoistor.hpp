// The behaviour-preserving hoisting pass written the plain way, one search per hoist with every
// footprint worked out again where it is needed, for the tests to compare the library's pass
// against. It knows the nodes of the random bodies (tests/support/RandomBodies.hpp): scalar
// variables, constants, operators and calls of functions by name. Small inputs only.
#pragma once

#include "ir/sxir.hpp"

#include <set>

namespace sxir_test {

struct NaiveSafeHoistor {
    using List = sxu::list<sxir::Statement*>;
    using Variables = std::set<sxir::Variable const*>;

    /// What a statement or a condition reads and writes, and whether it may stop the run.
    struct Footprint {
        Variables reads, writes;
        bool stops = false;
    };

    static bool isIf(sxir::Statement const* statement)
    {
        return statement->getStatementType() == sxir::StatementType::If;
    }
    static sxir::IfStatement& asIf(sxir::Statement* statement) { return static_cast<sxir::IfStatement&>(*statement); }
    static List& branch(sxir::Statement* statement, bool which)
    {
        return asIf(statement).getStatements(which).getStatementList();
    }
    static bool declares(sxir::Function const& function, sxir::Variable const* variable)
    {
        return variable->getParentScope().resolveFunction() == &function;
    }

    /// The variables `function`'s body refers to without declaring them, through its calls too.
    static void reach(sxir::Function const& function, Variables& out, std::set<sxir::Function const*>& seen)
    {
        if (!seen.insert(&function).second) {
            return;
        }
        Footprint inside;
        addList(function.getStatements().getStatementList(), inside, seen);
        for (Variables const* used : {&inside.reads, &inside.writes}) {
            for (sxir::Variable const* variable : *used) {
                if (!declares(function, variable)) {
                    out.insert(variable);
                }
            }
        }
    }
    static void addList(List const& list, Footprint& out, std::set<sxir::Function const*>& seen)
    {
        for (sxir::Statement const* statement : list) {
            for (unsigned long i = 0; i < statement->getNumExpressions(); ++i) {
                add(*statement->getExpressionNode(i), out, seen);
            }
            for (unsigned long i = 0; i < statement->getNumStatementLists(); ++i) {
                addList(statement->getStatementList(i).getStatementList(), out, seen);
            }
        }
    }
    static void add(sxir::ExpressionData const& node, Footprint& out, std::set<sxir::Function const*>& seen)
    {
        if (auto const* reference = dynamic_cast<sxir::VariableRef const*>(&node)) {
            out.reads.insert(&reference->getVariable());
        } else if (auto const* operation = dynamic_cast<sxir::Operator const*>(&node)) {
            for (unsigned long i = 0; i < operation->getNumOperands(); ++i) {
                add(*operation->getOperand(i).getData(), out, seen);
            }
        } else if (auto const* call = dynamic_cast<sxir::FunctionCall const*>(&node)) {
            out.stops = true;
            for (unsigned long i = 0; i < call->getNumOperands(); ++i) {
                add(*call->getOperand(i)->getData(), out, seen);
            }
            Variables reached;
            reach(dynamic_cast<sxir::FunctionRef const&>(*call->getFunction().getData()).getFunction(), reached, seen);
            out.reads.insert(reached.begin(), reached.end());
            out.writes.insert(reached.begin(), reached.end());
        }
    }
    static Footprint condition(sxir::Statement* statement)
    {
        Footprint footprint;
        std::set<sxir::Function const*> seen;
        add(*statement->getExpressionNode(0), footprint, seen);
        return footprint;
    }
    /// An if that the removal of empty ifs takes away.
    static bool goes(sxir::Statement* statement)
    {
        for (bool which : {true, false}) {
            for (sxir::Statement* inner : branch(statement, which)) {
                if (!isIf(inner) || !goes(inner)) {
                    return false;
                }
            }
        }
        return !condition(statement).stops;
    }
    static Footprint footprintOf(sxir::Statement* statement)
    {
        Footprint footprint;
        std::set<sxir::Function const*> seen;
        if (!isIf(statement)) {
            footprint.writes.insert(
                &dynamic_cast<sxir::VariableRef const&>(*statement->getExpressionNode(0)).getVariable());
            add(*statement->getExpressionNode(1), footprint, seen);
        } else if (!goes(statement)) {
            footprint = condition(statement);
            for (bool which : {true, false}) {
                for (sxir::Statement* inner : branch(statement, which)) {
                    Footprint const part = footprintOf(inner);
                    footprint.reads.insert(part.reads.begin(), part.reads.end());
                    footprint.writes.insert(part.writes.begin(), part.writes.end());
                    footprint.stops = footprint.stops || part.stops;
                }
            }
        }
        return footprint;
    }
    static bool conflict(Footprint const& a, Footprint const& b, sxir::Function const& function)
    {
        auto const meet = [](Variables const& x, Variables const& y) {
            for (sxir::Variable const* variable : x) {
                if (y.count(variable) != 0) {
                    return true;
                }
            }
            return false;
        };
        auto const writesModule = [&function](Footprint const& footprint) {
            for (sxir::Variable const* variable : footprint.writes) {
                if (!declares(function, variable)) {
                    return true;
                }
            }
            return false;
        };
        return meet(a.writes, b.reads) || meet(a.writes, b.writes) || meet(a.reads, b.writes) ||
               (a.stops && (b.stops || writesModule(b))) || (b.stops && writesModule(a));
    }

    /// The first assignment of the true branch with an equivalent one in the false branch, and
    /// the first such one, moved before the if when nothing before either of them, nor the
    /// condition, conflicts with it; nested ifs searched where they stand.
    static bool hoist(List& list, List::iterator position)
    {
        List& whenTrue = branch(*position, true);
        List& whenFalse = branch(*position, false);
        sxir::Function const& function = (*position)->getFunction();
        for (auto t = whenTrue.begin(); t != whenTrue.end(); ++t) {
            if (isIf(*t)) {
                if (hoist(whenTrue, t)) {
                    return true;
                }
                continue;
            }
            for (auto e = whenFalse.begin(); e != whenFalse.end(); ++e) {
                if (isIf(*e)) {
                    if (hoist(whenFalse, e)) {
                        return true;
                    }
                    continue;
                }
                if (!(*t)->isEquivalent(**e)) {
                    continue;
                }
                Footprint const moving = footprintOf(*t);
                bool free = !conflict(moving, condition(*position), function);
                for (auto before = whenTrue.begin(); free && before != t; ++before) {
                    free = !conflict(moving, footprintOf(*before), function);
                }
                for (auto before = whenFalse.begin(); free && before != e; ++before) {
                    free = !conflict(moving, footprintOf(*before), function);
                }
                if (!free) {
                    break;
                }
                (*t)->setAutoGenerated(false);
                list.insert(position, *t);
                sxir::Base::destroy(*e);
                whenTrue.erase(t);
                whenFalse.erase(e);
                return true;
            }
        }
        return false;
    }

    static void removeEmptyIfs(List& list)
    {
        for (auto position = list.begin(); position != list.end();) {
            if (isIf(*position)) {
                removeEmptyIfs(branch(*position, true));
                removeEmptyIfs(branch(*position, false));
                if (asIf(*position).isEmpty() && !condition(*position).stops) {
                    sxir::Base::destroy(*position);
                    position = list.erase(position);
                    continue;
                }
            }
            ++position;
        }
    }

    static void analyze(sxir::Module& module)
    {
        sxir::Scope& scope = module.getModuleScope();
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            if (auto* function = dynamic_cast<sxir::Function*>(scope.getGenericScopeItem(i))) {
                List& body = function->getStatements().getStatementList();
                for (bool more = true; more;) {
                    more = false;
                    for (auto position = body.begin(); position != body.end(); ++position) {
                        more = (isIf(*position) && hoist(body, position)) || more;
                    }
                }
                removeEmptyIfs(body);
            }
        }
    }
};

} // namespace sxir_test
