// C identifiers for IR names: what C reserves, and tables that hand out names unique within a C scope.
#pragma once

#include <string>
#include <string_view>
#include <unordered_set>

namespace sxir {
namespace detail {

/// Whether C code that includes <stdint.h>, <math.h> and <string.h> cannot use `name` for an
/// object or a function of its own: a keyword (C99 to C23), a name or macro those headers may
/// declare (POSIX extensions included), a name reserved to the implementation (a leading
/// underscore, a trailing "_t"), the element typedefs, `main`, and the "sxir_"/"SXIR_" prefix
/// that the emitted helpers, types and macros use.
bool isReservedInC(std::string_view name);

/// `name` made a C identifier: characters other than letters, digits and '_' become '_', and
/// a name that is empty or starts with a digit or '_' gets a letter in front.
std::string cIdentifier(std::string_view name);

/// The names taken in one C scope; a function's table also avoids the names of file scope, so
/// that nothing of the function hides what the file declares.
class CNameTable {
public:
    explicit CNameTable(CNameTable const* enclosing = nullptr) : mEnclosing(enclosing) {}

    /// Whether `name` is a valid C identifier that C leaves free and that neither this table
    /// nor the enclosing one (nor `alsoAvoid`) took.
    bool isFree(std::string const& name, CNameTable const* alsoAvoid = nullptr) const;
    /// Takes `name`, which must be free.
    void take(std::string const& name) { mTaken.insert(name); }
    /// `wanted` as a C identifier if that is free, else that identifier followed by "_1",
    /// "_2", ...: the first free one. The result is taken.
    std::string claim(std::string_view wanted, CNameTable const* alsoAvoid = nullptr);
    /// `stem` followed by the first number from `next` on that makes a free name; the result
    /// is taken and `next` moves past it.
    std::string claimNumbered(std::string_view stem, unsigned long& next);
    /// Gives a name back.
    void release(std::string const& name) { mTaken.erase(name); }

private:
    bool taken(std::string const& name) const
    {
        return mTaken.count(name) != 0 || (mEnclosing != nullptr && mEnclosing->taken(name));
    }

    CNameTable const* mEnclosing;
    std::unordered_set<std::string> mTaken;
};

} // namespace detail
} // namespace sxir
