// sxir::ErrorId: the identifiers of the errors a client can cause, as passed to reportError.
#pragma once

namespace sxir {

struct ErrorId {
    /// Defined for clients; the library itself never raises it.
    static constexpr char const* InvalidLValue = "sxir:expression:InvalidLValue";
    /// A scope refused a name that the runtime environment does not accept; arg1 is the name.
    static constexpr char const* InvalidIdentifier = "sxir:scope:InvalidIdentifier";
    /// A run selected an element or a sub-range outside its matrix: arg1 the selection,
    /// arg2 the indices, arg3 the matrix's dimension and type, arg4 the function.
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

    // What a run of the interpreter reports. arg4 is the function running when it happened.

    /// Interpreter::run was given the wrong number of inputs, an empty value, a value of another
    /// element count, or a function where a number belongs (or the reverse); also a call whose
    /// operand count differs from its callee's inputs. arg1 the function or call, arg2 and arg3 what
    /// was expected and what was given.
    static constexpr char const* EvalInvalidArguments = "sxir:eval:InvalidArguments";
    /// An operand, a condition, an assigned value or a call operand whose shape does not fit:
    /// arg1 the expression or statement, arg2 what fits, arg3 what it is.
    static constexpr char const* EvalDimensionMismatch = "sxir:eval:DimensionMismatch";
    /// An unset call operand or assignment side, or a call through a variable that holds no
    /// function: arg1 the expression or statement, arg2 which part.
    static constexpr char const* EvalUnsetOperand = "sxir:eval:UnsetOperand";
    /// Calls nested deeper than the interpreter's limit: arg1 the function called, arg2 the limit.
    static constexpr char const* EvalCallDepthExceeded = "sxir:eval:CallDepthExceeded";
    /// Something that has no value: a client node without an evaluator, a variable of another
    /// function, a function of another context: arg1 the expression, arg2 why.
    static constexpr char const* EvalNotEvaluable = "sxir:eval:NotEvaluable";
    /// An assignment to something that is not assignable storage (an input, a constant, an
    /// operator, a call, a function): arg1 the left side.
    static constexpr char const* EvalNotAssignable = "sxir:eval:NotAssignable";

    // What Verifier::verify finds: the id of a Diagnostic, returned with a path and a message and never
    // passed to reportError.

    /// An assignment to what is not storage: an input, a constant, an operator, a call, a function.
    static constexpr char const* VerifyNotAssignable = "sxir:verify:NotAssignable";
    /// An unset call operand or assignment side.
    static constexpr char const* VerifyUnsetOperand = "sxir:verify:UnsetOperand";
    /// A reference to a variable or function that the function cannot reach by name (one of another
    /// function or of another context, or one another declaration hides), or to a variable without storage.
    static constexpr char const* VerifyForeignVariable = "sxir:verify:ForeignVariable";
    /// A value whose shape does not fit where it stands: a matrix or function operand of an operator, an
    /// assigned value or call operand of another element count or signature, a call of what is not a
    /// function, a function where a number belongs or the reverse, a non-scalar index or condition.
    static constexpr char const* VerifyTypeMismatch = "sxir:verify:TypeMismatch";
    /// A constant index, or a sub-range, outside the matrix's declared dimension.
    static constexpr char const* VerifyIndexOutOfRange = "sxir:verify:IndexOutOfRange";
    /// A call with another number of operands than what it calls has inputs.
    static constexpr char const* VerifyOperandCount = "sxir:verify:OperandCount";
    /// A call of a function without a signature or without an output, which gives no value.
    static constexpr char const* VerifyNotCallable = "sxir:verify:NotCallable";
    /// An if statement that Function::If opened and End never closed.
    static constexpr char const* VerifyOpenIf = "sxir:verify:OpenIf";
    /// A variable of a type no value has: a matrix of matrices or of functions.
    static constexpr char const* VerifyNoValueType = "sxir:verify:NoValueType";
    /// A client node (or client constant) without a type, or of a type no value has.
    static constexpr char const* VerifyUntypedNode = "sxir:verify:UntypedNode";
};

} // namespace sxir
