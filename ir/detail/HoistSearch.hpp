// The search for assignment pairs to hoist out of if statements, shared by both hoisting passes:
// it finds exactly the pairs that hoisting one pair at a time finds, in near-linear time.
#pragma once

#include "ir/AssignmentStatement.hpp"
#include "ir/IfStatement.hpp"
#include "ir/StatementKindVisitor.hpp"
#include "ir/detail/Hashing.hpp"
#include "ir/detail/Walk.hpp"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace sxir {
namespace detail {

using StatementList = sxu::list<Statement*>;
using ListPosition = StatementList::iterator;

/// The statement as an if statement, or null for an assignment.
struct IfOrNull : StatementKindVisitor<IfOrNull, IfStatement*> {
    static IfStatement* visitAssignment(AssignmentStatement const&) { return nullptr; }
    static IfStatement* visitIf(IfStatement const& statement) { return const_cast<IfStatement*>(&statement); }
};
inline IfStatement* asIf(Statement& statement)
{
    return IfOrNull().visit(statement);
}
inline IfStatement const* asIf(Statement const& statement)
{
    return IfOrNull().visit(statement);
}

inline StatementList& branchList(IfStatement& statement, bool branch)
{
    return statement.getStatements(branch).getStatementList();
}

/// Where a statement stands in a false branch, as a number that grows along the branch.
/// A statement there when the branch is first searched has its index in the high half and
/// all ones in the low half; one that comes out of the nested if at index j later stands
/// just before that if: j, and in the low half how many came out of it before.
using BranchKey = std::uint64_t;
constexpr BranchKey sNoKey = ~BranchKey(0);
inline BranchKey originalKey(std::uint64_t index)
{
    return index << 32 | 0xffffffffu;
}
/// Whether `key` is that of a statement there when the branch was first searched.
inline bool isOriginal(BranchKey key)
{
    return (key & 0xffffffffu) == 0xffffffffu;
}

/// Hoisting out of an if again and again until nothing moves, one pair at a time, where a
/// pair is the first statement t of the true branch (in order) that has a partner in the
/// false branch, and the first such partner e: an equivalent assignment that `Rule`
/// allows to move with t. On the way, nested ifs are searched as they are met: those of
/// the true branch in turn, those of the false branch in order while a t looks past them
/// for its partner; a pair hoisted out of a nested if lands just before it, where it may
/// then pair up in turn. Any one search that hoists something ends there and the next
/// starts over; this search gives the same pairs without starting over:
///
/// - A statement of the true branch that found no partner never will: only hoisting out
///   of the false branch's nested ifs adds statements there, and it looked into all of
///   them; and a nested if that gave nothing never changes again. So the search keeps,
///   per if, a cursor into its true branch, before which everything stays for good. (A
///   rule must not let a pair move later that it refused once.)
/// - The false branch's nested ifs are drained in order, as far as a t needs: a
///   frontier marks the first one that may still give something. Its assignments are
///   indexed by a hash (references by identity, as equivalence compares them) into
///   classes of equivalent statements (equivalence is symmetric and transitive; a
///   statement not equivalent to itself has no partner), each class ordered by position,
///   so that t's partner is its class's first member if that stands before the frontier.
///   Otherwise the frontier if gives its next statement, which may be the partner, until
///   it has nothing more.
/// - Each if keeps that state between the statements it gives, so what the search of an
///   if costs is paid once, not once per pair hoisted.
///
/// The frames of the walk are the ifs being searched, nested as the search goes down;
/// what an if gives goes to the if searching it, or to the caller for the outermost one.
///
/// `Rule` says whether a pair may move and what moves, and hears about everything that
/// stands before a pair, so it can tell:
///   struct IfState;                                   its own part of an if's state
///   void open(IfStatement&, IfState&);                an if is first searched
///   bool mayMove(IfState&, Statement& t, BranchKey, bool cameOut);
///                                                     the pair of t and its partner at that key;
///                                                     `cameOut`: t came out of a nested if
///   Statement* hoisted(Statement& t);                 what goes before the if: a new statement, or t
///   void moved(Statement& t, Statement& partner, bool outermost);
///                                                     the pair left (out of the outermost if
///                                                     searched); the partner (and t, when a new
///                                                     statement moved) is about to be destroyed
///   void kept(IfState&, Statement& t, bool cameOut);  t stays in the true branch for good
///   void trueIfDone(IfState&, IfState& nested);       a nested if of the true branch gives nothing more
///   void falseEntered(IfState&, Statement& e, BranchKey, std::size_t number);
///                                                     an assignment of the false branch, told of in
///                                                     key order before a pair whose partner stands
///                                                     after it is asked about; `number` names it
///   void falseLeft(IfState&, Statement& e, std::size_t number); the partner, told of, leaves
///   void falseIfDone(IfState&, IfState& nested, BranchKey); the same for the false branch
///   void done(IfStatement&, IfState&, ListPosition);  the if gives nothing more; the false branch
///                                                     was searched up to that position
template <class Rule>
class HoistSearch {
public:
    explicit HoistSearch(Rule& rule) : mRule(rule) {}

    /// Hoists out of the if at `position` until nothing moves; each statement lands just before it.
    void drain(StatementList& list, ListPosition position)
    {
        Walk walk{*this, false};
        IfState& root = stateOf(*asIf(**position));
        while (!root.done) {
            runWalk(walk, Frame{&root});
            walk.placeBefore(list, position);
        }
    }

    /// One hoist anywhere in the if at `position`, as one search that stops at its first
    /// hoist finds it; true when it found one.
    bool hoistOnce(StatementList& list, ListPosition position)
    {
        Walk walk{*this, true};
        if (!runWalk(walk, Frame{&stateOf(*asIf(**position))})) {
            return true;
        }
        return walk.placeBefore(list, position);
    }

    /// Forgets every if searched so far.
    void clear() { mStates.clear(); }

private:
    /// Where an assignment of a false branch stands.
    struct Member {
        BranchKey key;
        ListPosition position;
        std::size_t number; // among the false branch's assignments, in the order they were indexed
        bool operator>(Member const& other) const { return key > other.key; }
    };
    /// Equivalent assignments of a false branch, the first in the branch on top: a heap whose
    /// top is kept apart, so that a class of one allocates nothing. A class whose last member
    /// left is empty (its top's key is sNoKey) until another class of its hash comes.
    struct Class {
        Member top{sNoKey, ListPosition(), 0};
        std::vector<Member> rest;

        bool empty() const { return top.key == sNoKey; }
        void push(Member member)
        {
            if (empty()) {
                top = member;
                return;
            }
            if (member.key < top.key) {
                std::swap(member, top);
            }
            rest.push_back(member);
            std::push_heap(rest.begin(), rest.end(), std::greater<Member>());
        }
        /// Takes the top away; false when nothing is left.
        bool pop()
        {
            if (rest.empty()) {
                top.key = sNoKey;
                return false;
            }
            std::pop_heap(rest.begin(), rest.end(), std::greater<Member>());
            top = rest.back();
            rest.pop_back();
            return true;
        }
    };

    /// One class per hash: an open-addressed table of hashes and class numbers, so that
    /// finding a class is one probe sequence in one small array; the classes themselves
    /// stand in a vector. Classes are never taken out, only emptied.
    class ClassTable {
    public:
        /// Room for `count` classes without growing.
        void reserve(std::size_t count)
        {
            std::size_t size = 16;
            while (2 * count > size) {
                size *= 2;
            }
            mClasses.reserve(count);
            if (size > mSlots.size()) {
                rehash(size);
            }
        }
        /// The class of `hash`, or null.
        Class* find(std::uint64_t hash)
        {
            Slot const* const slot = mSlots.empty() ? nullptr : &mSlots[probe(hash)];
            return slot != nullptr && slot->number != 0 ? &mClasses[slot->number - 1] : nullptr;
        }
        /// Starts loading where `hash` is looked for, ahead of a lookup: a large table is
        /// mostly out of the cache.
        void prefetch(std::uint64_t hash) const
        {
            if (!mSlots.empty()) {
                __builtin_prefetch(&mSlots[start(hash)]);
            }
        }
        /// The class of `hash`, made empty if there was none.
        Class& at(std::uint64_t hash)
        {
            if (2 * (mClasses.size() + 1) > mSlots.size()) {
                rehash(mSlots.empty() ? 16 : 2 * mSlots.size());
            }
            Slot& slot = mSlots[probe(hash)];
            if (slot.number == 0) {
                mClasses.emplace_back();
                slot = Slot{hash, mClasses.size()};
            }
            return mClasses[slot.number - 1];
        }

    private:
        struct Slot {
            std::uint64_t hash;
            std::size_t number; // of the class, from 1; 0 for a free slot
        };

        std::size_t start(std::uint64_t hash) const
        {
            return static_cast<std::size_t>(hash ^ (hash >> 29)) & (mSlots.size() - 1);
        }
        /// The slot of `hash`, or the free one where it would go.
        std::size_t probe(std::uint64_t hash) const
        {
            std::size_t at = start(hash);
            while (mSlots[at].number != 0 && mSlots[at].hash != hash) {
                at = (at + 1) & (mSlots.size() - 1);
            }
            return at;
        }
        void rehash(std::size_t size)
        {
            std::vector<Slot> old(size, Slot{0, 0});
            old.swap(mSlots);
            for (Slot const& slot : old) {
                if (slot.number != 0) {
                    mSlots[probe(slot.hash)] = slot;
                }
            }
        }

        std::vector<Slot> mSlots;
        std::vector<Class> mClasses;
    };

    struct IfState {
        IfStatement* statement = nullptr;
        ListPosition cursor;  // the first statement of the true branch that may still move or give
        bool done = false;    // nothing more comes out
        bool indexed = false; // the false branch is indexed
        bool waitingForTrue = false;
        bool waitingForFalse = false;
        ListPosition frontier; // the first nested if of the false branch that may still give
        std::uint64_t frontierIndex = 0;
        std::uint64_t movedIn = 0; // statements that came out of the frontier so far
        // The false branch's assignments the rule is not told of yet, in key order: those
        // there when it was indexed, then those that came out of its nested ifs.
        std::vector<Member> untold[2];
        std::size_t nextUntold[2] = {0, 0};
        std::vector<unsigned char> told; // per assignment: Untold, Told, or Gone before it was told
        // The classes by hash: the first of a hash, then any other (not equivalent to it).
        ClassTable index;
        std::unordered_multimap<std::uint64_t, Class> collisions;
        // The hashes of the statement at the cursor and of the one after it, worked out ahead.
        Statement const* hashed = nullptr;
        std::uint64_t hash = 0;
        Statement const* nextHashed = nullptr;
        std::uint64_t nextHash = 0;
        Statement const* cameOut = nullptr; // the last statement that came out of a nested if to the cursor
        typename Rule::IfState rule;

        BranchKey frontierKey() const { return originalKey(frontierIndex); }
    };

    struct Frame {
        IfState* state;
    };

    /// A pair on its way out: taken out of its branches only once what moves is in place,
    /// so that a failure to place it leaves both branches as they were.
    struct Pending {
        IfState* from = nullptr;
        Class* partners = nullptr;
        std::uint64_t hash = 0; // of the pair
        Statement* out = nullptr;
        bool fresh = false; // `out` is a new statement, owned until it is placed
    };

    struct Walk {
        using Frame = HoistSearch::Frame;
        HoistSearch& search;
        bool single; // stop at the first hoist
        Pending pending;

        Walk(HoistSearch& owner, bool once) : search(owner), single(once) {}
        Walk(Walk const&) = delete;
        Walk& operator=(Walk const&) = delete;
        ~Walk()
        {
            if (pending.fresh) {
                Base::destroy(pending.out);
            }
        }

        Step step(Frame& frame, Frame& child) { return search.step(*frame.state, child, *this); }

        /// Puts the statement that came out just before `position` in `list`; false when none did.
        bool placeBefore(StatementList& list, ListPosition position)
        {
            if (pending.out == nullptr) {
                return false;
            }
            list.insert(position, pending.out);
            search.completeHoist(pending, true);
            return true;
        }
        /// The same, with where it landed.
        ListPosition placeAt(StatementList& list, ListPosition position)
        {
            ListPosition const placed = list.insert(position, pending.out);
            search.completeHoist(pending, false);
            return placed;
        }
    };

    IfState& stateOf(IfStatement& statement)
    {
        IfState& state = mStates[&statement];
        if (state.statement == nullptr) {
            state.statement = &statement;
            state.cursor = branchList(statement, true).begin();
            mRule.open(statement, state.rule);
        }
        return state;
    }

    Step step(IfState& state, Frame& child, Walk& walk)
    {
        StatementList& whenTrue = branchList(*state.statement, true);
        StatementList& whenFalse = branchList(*state.statement, false);
        if (state.waitingForTrue || state.waitingForFalse) {
            bool const fromTrue = state.waitingForTrue;
            state.waitingForTrue = state.waitingForFalse = false;
            if (walk.pending.out != nullptr) {
                // A statement that moved itself keeps its hash; a new one is hashed afresh
                // (it refers to what its names name where it is now).
                bool const known = !walk.pending.fresh;
                std::uint64_t const hash = walk.pending.hash;
                if (fromTrue) {
                    state.cursor = walk.placeAt(whenTrue, state.cursor);
                    state.cameOut = *state.cursor;
                    if (known) {
                        state.hashed = *state.cursor;
                        state.hash = hash;
                    }
                } else {
                    BranchKey const key = state.frontierIndex << 32 | state.movedIn++;
                    ListPosition const at = walk.placeAt(whenFalse, state.frontier);
                    enter(state, at, key, known ? hash : mHashes.of(**at));
                }
                if (walk.single) {
                    return Step::Stop;
                }
            } else if (fromTrue) {
                mRule.trueIfDone(state.rule, stateOf(*asIf(**state.cursor)).rule);
                ++state.cursor;
            } else {
                mRule.falseIfDone(state.rule, stateOf(*asIf(**state.frontier)).rule, state.frontierKey());
                advanceFrontier(state, whenFalse);
            }
        }
        for (; state.cursor != whenTrue.end(); ++state.cursor) {
            Statement& candidate = **state.cursor;
            if (IfStatement* nested = asIf(candidate)) {
                IfState& inner = stateOf(*nested);
                if (!inner.done) {
                    state.waitingForTrue = true;
                    child = Frame{&inner};
                    return Step::Descend;
                }
                mRule.trueIfDone(state.rule, inner.rule);
                continue;
            }
            if (!state.indexed) {
                index(state, whenFalse);
            }
            for (;;) {
                Class* partners = find(state, candidate);
                if (partners != nullptr &&
                    (state.frontier == whenFalse.end() || partners->top.key < state.frontierKey())) {
                    tellBefore(state, partners->top.key);
                    if (!mRule.mayMove(state.rule, candidate, partners->top.key, &candidate == state.cameOut)) {
                        break;
                    }
                    Statement* out = mRule.hoisted(candidate);
                    walk.pending = Pending{&state, partners, state.hash, out, out != &candidate};
                    return Step::Finish;
                }
                if (state.frontier == whenFalse.end()) {
                    break;
                }
                IfState& inner = stateOf(*asIf(**state.frontier));
                if (!inner.done) {
                    state.waitingForFalse = true;
                    child = Frame{&inner};
                    return Step::Descend;
                }
                mRule.falseIfDone(state.rule, inner.rule, state.frontierKey());
                advanceFrontier(state, whenFalse);
            }
            mRule.kept(state.rule, candidate, &candidate == state.cameOut);
        }
        state.done = true;
        mRule.done(*state.statement, state.rule, state.indexed ? state.frontier : whenFalse.begin());
        return Step::Finish;
    }

    /// Takes the pair that came out of its branches, now that what moves is in place.
    void completeHoist(Pending& pending, bool outermost)
    {
        IfState& state = *pending.from;
        Member const partner = pending.partners->top;
        if (!pending.partners->pop()) {
            emptied(state, pending.hash, pending.partners);
        }
        Statement* candidate = *state.cursor;
        state.hashed = nullptr;
        Statement* other = *partner.position;
        bool const fresh = pending.fresh;
        pending = Pending();
        state.cursor = branchList(*state.statement, true).erase(state.cursor);
        branchList(*state.statement, false).erase(partner.position);
        if (state.told[partner.number] == Told) {
            mRule.falseLeft(state.rule, *other, partner.number);
        }
        state.told[partner.number] = Gone;
        mRule.moved(*candidate, *other, outermost);
        if (fresh) {
            Base::destroy(candidate);
        }
        Base::destroy(other);
    }

    void index(IfState& state, StatementList& whenFalse)
    {
        state.indexed = true;
        state.frontier = whenFalse.end();
        struct Entry {
            ListPosition at;
            BranchKey key;
            std::uint64_t hash;
        };
        std::vector<Entry> entries;
        std::uint64_t position = 0;
        for (ListPosition at = whenFalse.begin(); at != whenFalse.end(); ++at, ++position) {
            if (asIf(**at) == nullptr) {
                entries.push_back(Entry{at, originalKey(position), mHashes.of(**at)});
            } else if (state.frontier == whenFalse.end()) {
                state.frontier = at;
                state.frontierIndex = position;
            }
        }
        state.index.reserve(entries.size());
        std::size_t const ahead = 8;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (i + ahead < entries.size()) {
                state.index.prefetch(entries[i + ahead].hash);
            }
            enter(state, entries[i].at, entries[i].key, entries[i].hash);
        }
    }

    void advanceFrontier(IfState& state, StatementList& whenFalse)
    {
        state.movedIn = 0;
        do {
            ++state.frontier;
            ++state.frontierIndex;
        } while (state.frontier != whenFalse.end() && asIf(**state.frontier) == nullptr);
    }

    /// Indexes the assignment at `at` of the false branch, whose hash is `hash`.
    void enter(IfState& state, ListPosition at, BranchKey key, std::uint64_t hash)
    {
        Statement& statement = **at;
        Member const member{key, at, state.told.size()};
        state.told.push_back(Untold);
        state.untold[isOriginal(key) ? 0 : 1].push_back(member);
        Class& first = state.index.at(hash);
        if (first.empty() || statement.isEquivalent(**first.top.position)) {
            first.push(member);
            return;
        }
        // Another class of the same hash; unless the statement is not even equivalent to
        // itself (a NaN in it), and so to nothing, since equivalence is symmetric and transitive.
        if (!statement.isEquivalent(statement)) {
            return;
        }
        auto const others = state.collisions.equal_range(hash);
        for (auto other = others.first; other != others.second; ++other) {
            if (statement.isEquivalent(**other->second.top.position)) {
                other->second.push(member);
                return;
            }
        }
        state.collisions.emplace(hash, Class())->second.push(member);
    }

    /// Hashes the statement after the cursor, if it is an assignment, and starts loading
    /// where its class is looked for, while the cursor's is looked at.
    void hashAhead(IfState& state)
    {
        auto const next = std::next(state.cursor);
        if (next == branchList(*state.statement, true).end() || asIf(**next) != nullptr) {
            return;
        }
        state.nextHash = mHashes.of(**next);
        state.nextHashed = *next;
        state.index.prefetch(state.nextHash);
    }

    enum Telling : unsigned char { Untold, Told, Gone };

    /// Tells the rule of the false branch's assignments before `key` it was not told of.
    void tellBefore(IfState& state, BranchKey key)
    {
        for (;;) {
            Member const* next[2] = {nullptr, nullptr};
            for (int run = 0; run < 2; ++run) {
                std::vector<Member> const& members = state.untold[run];
                std::size_t& at = state.nextUntold[run];
                while (at < members.size() && state.told[members[at].number] == Gone) {
                    ++at;
                }
                next[run] = at < members.size() ? &members[at] : nullptr;
            }
            int const run = next[1] == nullptr || (next[0] != nullptr && next[0]->key < next[1]->key) ? 0 : 1;
            if (next[run] == nullptr || next[run]->key >= key) {
                return;
            }
            state.told[next[run]->number] = Told;
            ++state.nextUntold[run];
            mRule.falseEntered(state.rule, **next[run]->position, next[run]->key, next[run]->number);
        }
    }

    /// The class of the false branch's assignments equivalent to `candidate`, or null.
    Class* find(IfState& state, Statement& candidate)
    {
        if (state.hashed != &candidate) {
            state.hash = state.nextHashed == &candidate ? state.nextHash : mHashes.of(candidate);
            state.hashed = &candidate;
            hashAhead(state);
        }
        Class* const first = state.index.find(state.hash);
        if (first == nullptr || first->empty()) {
            return nullptr;
        }
        if (candidate.isEquivalent(**first->top.position)) {
            return first;
        }
        auto const others = state.collisions.equal_range(state.hash);
        for (auto other = others.first; other != others.second; ++other) {
            if (candidate.isEquivalent(**other->second.top.position)) {
                return &other->second;
            }
        }
        return nullptr;
    }

    /// An emptied class of the table takes in another class of its hash, if there is one: a
    /// class is found through its top, and the table's is looked at first.
    static void emptied(IfState& state, std::uint64_t hash, Class* members)
    {
        auto const others = state.collisions.equal_range(hash);
        if (others.first == others.second) {
            return;
        }
        Class* const first = state.index.find(hash);
        if (members == first) {
            *first = std::move(others.first->second);
            state.collisions.erase(others.first);
            return;
        }
        for (auto other = others.first; other != others.second; ++other) {
            if (&other->second == members) {
                state.collisions.erase(other);
                return;
            }
        }
    }

    Rule& mRule;
    std::unordered_map<IfStatement const*, IfState> mStates;
    // What the index goes by: equivalent statements hash alike, and references hash by
    // identity, as equivalence compares them.
    StatementHashes mHashes{ReferenceRule::Identity};
};

} // namespace detail
} // namespace sxir
