// The hoisting pass written the plain way, one search per hoist and recursion into nested ifs,
// for the tests to compare the library's pass against. Small inputs only.
#pragma once

#include "ir/sxir.hpp"

namespace sxir_test {

struct LiteralHoistor {
    using List = sxu::list<sxir::Statement*>;

    static bool isIf(sxir::Statement const* statement)
    {
        return statement->getStatementType() == sxir::StatementType::If;
    }
    static List& branch(sxir::Statement* statement, bool which)
    {
        return static_cast<sxir::IfStatement*>(statement)->getStatements(which).getStatementList();
    }

    /// The first assignment of the true branch with an equivalent one in the false branch, and
    /// the first such one, moved before the if as a copy; nested ifs searched where they stand.
    static bool hoist(List& list, List::iterator position)
    {
        List& whenTrue = branch(*position, true);
        List& whenFalse = branch(*position, false);
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
                } else if ((*t)->isEquivalent(**e)) {
                    list.insert(position, (*t)->clone((*t)->getFunction()));
                    sxir::Base::destroy(*t);
                    sxir::Base::destroy(*e);
                    whenTrue.erase(t);
                    whenFalse.erase(e);
                    return true;
                }
            }
        }
        return false;
    }

    static bool analyzeFcn(sxir::Function& function)
    {
        List& body = function.getStatements().getStatementList();
        bool hoisted = false;
        for (auto position = body.begin(); position != body.end(); ++position) {
            if (isIf(*position) && hoist(body, position)) {
                hoisted = true;
            }
        }
        return hoisted;
    }

    /// The removal walk with its flag, moving on where it would stay without changing anything;
    /// true when it removed something here or below.
    static bool eliminateEmptyIfStatements(List& list)
    {
        bool removed = false, any = false;
        for (auto position = list.begin(); position != list.end();) {
            if (!isIf(*position)) {
                ++position;
                continue;
            }
            auto* statement = static_cast<sxir::IfStatement*>(*position);
            if (statement->isEmpty()) {
                sxir::Base::destroy(statement);
                position = list.erase(position);
                any = true;
                if (position == list.end()) {
                    return any;
                }
                removed = true;
                continue;
            }
            // Both branches, whatever the first gives.
            bool const inTrue = eliminateEmptyIfStatements(branch(statement, true));
            bool const inner = eliminateEmptyIfStatements(branch(statement, false)) || inTrue;
            any = any || inner;
            if (!(removed && inner)) {
                ++position;
            }
        }
        return any;
    }

    static void analyze(sxir::Module& module)
    {
        sxir::Scope& scope = module.getModuleScope();
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            if (auto* function = dynamic_cast<sxir::Function*>(scope.getGenericScopeItem(i))) {
                while (analyzeFcn(*function)) {
                }
            }
        }
        for (unsigned long i = 0; i < scope.getNumScopeItems(); ++i) {
            if (auto* function = dynamic_cast<sxir::Function*>(scope.getGenericScopeItem(i))) {
                eliminateEmptyIfStatements(function->getStatements().getStatementList());
            }
        }
    }
};

} // namespace sxir_test
