// What running a statement or evaluating a condition may read, write and do, as far as a pass
// that must keep every run's results needs to know it, and the unions of such footprints.
#pragma once

#include "ir/detail/HoistSearch.hpp"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace sxir {

class Function;
class Statement;
class Variable;

namespace detail {

enum Access : unsigned char { sReads = 1, sWrites = 2 };

/// What a statement or a condition may do, over a run of its function. "Module variables" are
/// the variables the function does not declare itself: those of modules, which outlive the
/// run, and (in a program that refers to another function's variable) any other.
///
/// - A reference to a variable reads it; a constant or a function reference reads nothing;
///   an operator reads what its operands read; an element A(i,j) or a sub-range x(f:l) reads
///   the indexed expression and the indices.
/// - A call reads its function expression and its operands, and may then read and write every
///   module variable its callee can reach: those its callee's body refers to, and so on through
///   the calls in it; through anything but a function reference (a function-typed variable, a
///   call's result), every module variable. A call may stop the run (an error in the callee, its
///   depth).
/// - An assignment to a variable writes it; to an element or a sub-range of a variable, writes
///   it and, for ordering, also reads it (the rest of it is kept). An assignment to anything
///   else may stop the run and may read and write every module variable.
/// - Anything may stop the run with an error except a plain value: a constant of an element
///   type, a reference to a one-element variable of an element type, an element at constant
///   indices inside a variable's matrix, and operators over plain values; an assignment may stop it unless it gives a plain value to a mutable one-element
///   variable, or copies a variable into a mutable variable of as many elements.
/// The variables of a footprint, each once with its Access bits; a few stay in place.
class VariableUses {
public:
    using Use = std::pair<Variable const*, unsigned char>;

    VariableUses() = default;
    VariableUses(VariableUses const& other) { assign(other.begin(), other.end()); }
    VariableUses(VariableUses&&) = default;
    VariableUses& operator=(VariableUses const& other)
    {
        if (this != &other) {
            assign(other.begin(), other.end());
        }
        return *this;
    }
    VariableUses& operator=(VariableUses&&) = default;

    Use const* begin() const { return mHeap != nullptr ? mHeap.get() : mInline; }
    Use const* end() const { return begin() + mCount; }
    void assign(Use const* first, Use const* last)
    {
        mCount = static_cast<std::uint32_t>(last - first);
        mHeap.reset(mCount > sInline ? new Use[mCount] : nullptr);
        std::copy(first, last, mHeap != nullptr ? mHeap.get() : mInline);
    }

private:
    static constexpr std::size_t sInline = 4;
    Use mInline[sInline] = {};
    std::unique_ptr<Use[]> mHeap;
    std::uint32_t mCount = 0;
};

struct Footprint {
    VariableUses variables;
    bool everyModuleVariable = false; // may read and write every module variable
    bool mayStop = false;             // may end the run with an error
    bool touchesModule = false;       // reads or writes a module variable
    bool writesModule = false;        // writes one
};

/// The union of footprints: what a sequence of statements may do. An entry also has room for
/// where, in a false branch, the variable is first read or written (see FirstUses).
struct FootprintUnion {
    struct Entry {
        unsigned char access = 0;
        std::uint64_t epoch = 0;
        BranchKey touched = sNoKey;
        BranchKey written = sNoKey;
    };
    std::unordered_map<Variable const*, Entry> variables;
    bool everyModuleVariable = false;
    bool mayStop = false;
    bool touchesModule = false;
    bool writesModule = false;

    void add(Footprint const& footprint);
    /// Takes in `other`, which is left empty: the smaller of the two is walked.
    void merge(FootprintUnion&& other);
    void clear() { *this = FootprintUnion(); }
};

/// Whether running `footprint` and what `other` stands for in the other order may change
/// a run: one writes what the other reads or writes, one may touch every module variable and
/// the other touches one, or one may stop the run and the other may too or writes a module
/// variable (a stopped run leaves module variables as they were when it stopped).
bool conflicts(Footprint const& footprint, FootprintUnion const& other);

/// Where the assignments and the nested ifs of a false branch first read or write each
/// variable, by branch key, so that "does anything before the statement at key k conflict with
/// this footprint" costs the footprint's size. Assignments come in two runs of growing keys
/// (those there when the branch is indexed, in its order, then those that come out of its
/// nested ifs) and may leave (with their pair); nested ifs, once done, stay, and are done in
/// the order of their keys.
class FirstUses {
public:
    explicit FirstUses(std::uint64_t& epochs) : mEpochs(epochs), mIfsEpoch(++epochs) {}

    /// Adds the assignment `number` (no two alike).
    void addAssignment(Footprint const& footprint, BranchKey key, std::size_t number);
    void removeAssignment(std::size_t number) { mAlive[number] = false; }
    /// Takes in what a done nested if may do, at a key past every one taken in before.
    void addIf(FootprintUnion&& effect, BranchKey key);
    /// Whether anything before `key` conflicts with `footprint`.
    bool conflictsBefore(Footprint const& footprint, BranchKey key);
    /// What the done nested ifs may do, all together; they are forgotten.
    FootprintUnion takeIfs();

private:
    struct Use {
        BranchKey key;
        std::size_t assignment;
    };
    /// Uses in the order of their keys; those of assignments that left go from the front.
    struct Queue {
        std::vector<Use> uses;
        std::size_t head = 0;
    };
    /// The two runs of one kind of use.
    struct Runs {
        Queue original;
        Queue movedIn;
    };
    struct Uses {
        Runs touched;
        Runs written;
    };
    enum Flag { EveryModuleVariable, MayStop, TouchesModule, WritesModule, Flags };

    BranchKey first(Queue& queue);
    BranchKey first(Runs& runs) { return std::min(first(runs.original), first(runs.movedIn)); }
    /// When the done ifs first touch and write the variable of `entry`.
    std::pair<BranchKey, BranchKey> firstOfIfs(FootprintUnion::Entry const& entry) const;
    BranchKey firstFlag(Flag flag) { return std::min(first(mFlagUses[flag]), mIfFlags[flag]); }

    std::uint64_t& mEpochs;
    std::vector<bool> mAlive; // by assignment number
    std::unordered_map<Variable const*, Uses> mAssignments;
    Runs mFlagUses[Flags];
    // The done ifs: an entry whose epoch is not mIfsEpoch was first used by the if at mIfsBase.
    FootprintUnion mIfs;
    std::uint64_t mIfsEpoch;
    BranchKey mIfsBase = sNoKey;
    BranchKey mIfFlags[Flags] = {sNoKey, sNoKey, sNoKey, sNoKey};
};

/// Footprints of the statements of one module's functions, with what each callee can reach
/// worked out once.
class EffectAnalysis {
public:
    /// What the assignment `statement` may do.
    Footprint ofAssignment(Statement const& statement);
    /// What evaluating the condition of the if statement `statement` may do.
    Footprint ofCondition(Statement const& statement);
    /// Whether what some callee can reach differs from what it could when it was worked out,
    /// since its body changed; everything worked out is forgotten either way.
    bool reachChanged();

    struct Reach {
        std::vector<Variable const*> variables; // sorted
        std::vector<Function const*> callees;
        bool everyModuleVariable = false;
    };

private:
    friend class ExpressionEffects;
    Reach const& reachOf(Function const& callee);
    Reach const& directOf(Function const& function);

    std::vector<std::pair<Variable const*, unsigned char>> mUses; // of the statement at hand
    std::unordered_map<Function const*, Reach> mDirect;           // what a function's own body refers to and calls
    std::unordered_map<Function const*, Reach> mReach;            // the same through its callees, without callees
};

} // namespace detail
} // namespace sxir
