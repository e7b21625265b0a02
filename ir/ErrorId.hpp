// sxir::ErrorId: the identifiers of the errors a client can cause, as passed to reportError.
#pragma once

namespace sxir {

struct ErrorId {
    /// Defined for clients; the library itself never raises it.
    static constexpr char const* InvalidLValue = "sxir:expression:InvalidLValue";
    /// A scope refused a name that the runtime environment does not accept; arg1 is the name.
    static constexpr char const* InvalidIdentifier = "sxir:scope:InvalidIdentifier";
    /// Defined for clients; the library itself never raises it.
    static constexpr char const* IndexOutOfRange = "sxir:expression:IndexOutOfRange";
    /// An assignment whose sides both belong to no function; no arguments.
    static constexpr char const* CannotResolveFunction = "sxir:expression:CannotResolveFunction";
    /// A scope already declares the name; arg1 is the name.
    static constexpr char const* DuplicateScopeItemNames = "sxir:scope:DuplicateScopeItemNames";
    /// A scope does not accept the item kind; arg1 is the kind ("module", "variable", "function").
    static constexpr char const* InvalidScopeItemType = "sxir:scope:InvalidScopeItemType";
    /// Function::expression found no declaration of the name; arg1 is the name.
    static constexpr char const* UnknownName = "sxir:scope:UnknownName";
    /// A long, long long or unsigned long long constant outside its data type's range; arg1 is the value in decimal.
    static constexpr char const* ConstantOutOfRange = "sxir:expression:ConstantOutOfRange";
};

} // namespace sxir
