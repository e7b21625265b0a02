// sxir::CodeHoistor: moves assignments common to both branches of an if in front of it, then drops empty ifs.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"
#include "util/List.hpp"

namespace sxir {

class Function;
class Module;
class Statement;

/// Stateless: make one, call analyze, drop it. The pass compares statements by
/// equivalence only; it does not look at data flow.
class SXIR_API CodeHoistor : public sxu::AllocatorBase {
public:
    using StatementList = sxu::list<Statement*>;

    /// Hoists in every function of `module` until nothing moves, then removes empty ifs.
    void analyze(Module& module);
    /// One sweep over the top level of the function's body; true when something moved.
    bool analyzeFcn(Function& function);
    /// Hoists at most one assignment out of the if statement at `position`, to just
    /// before it; true when it did.
    bool hoist(StatementList& list, StatementList::iterator position);
    /// Removes empty if statements from `list` and, recursively, from the branches in it.
    void eliminateEmptyIfStatements(StatementList& list);
};

} // namespace sxir
