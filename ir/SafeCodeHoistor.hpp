// sxir::SafeCodeHoistor: moves an assignment common to both branches of an if in front of it only
// where that keeps every run's results, and leaves no empty if that can go.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"

namespace sxir {

class Module;

/// Stateless: make one, call analyze, drop it. Like CodeHoistor::analyze, but a pair of
/// equivalent assignments, one per branch, moves in front of the if only when that changes no
/// run: the condition neither reads what the assignment writes nor writes what it reads, and
/// no statement before it in either branch reads or writes what it writes or writes what it
/// reads (what each kind of node reads and writes: ir/detail/Effects.hpp). A call may read and
/// write every module variable its callee can reach. Whatever may stop the run with an error
/// (a call, an element whose index may be out of range, ...) keeps its order with whatever else
/// may, and with whatever writes a module variable. Pairs are sought as CodeHoistor seeks them,
/// nested ifs included, and the statement itself moves, not a copy.
///
/// Afterwards no if whose branches are both empty is left, including one emptied only by
/// removing the empty ifs inside it, unless its condition may stop the run: dropping such a
/// condition (a call, an element) would change runs.
class SXIR_API SafeCodeHoistor : public sxu::AllocatorBase {
public:
    /// Hoists in every function of `module` until nothing moves, then removes empty ifs.
    void analyze(Module& module);
};

} // namespace sxir
