// The twelve sample modules of the test catalog, registered at load time.
#include "ir/BuiltinType.hpp"
#include "ir/Colon.hpp"
#include "ir/Context.hpp"
#include "ir/Expression.hpp"
#include "ir/Function.hpp"
#include "ir/FunctionCall.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/MatrixType.hpp"
#include "ir/Module.hpp"
#include "ir/Scope.hpp"
#include "ir/TestCatalog.hpp"
#include "ir/Variable.hpp"

#include <initializer_list>
#include <utility>

namespace sxir {

namespace {

using Parameter = std::pair<char const*, Type const*>;

/// Adds the module "module" every sample is built in.
Module& addModule(Context const& context)
{
    // Builders receive the context as const; the global scope is still theirs to extend.
    Scope& global = const_cast<Context&>(context).getGlobalScope();
    return dynamic_cast<Module&>(*global.addGenericScopeItem(ScopeItemType::Module, "module"));
}

Type const& real(Context const& context)
{
    return context.getBuiltinType(sxu::DataTypeId::Real);
}

Type const& int32(Context const& context)
{
    return context.getBuiltinType(sxu::DataTypeId::Int32);
}

MatrixType column(Context const& context, unsigned long rows)
{
    return MatrixType(context, sxu::DataTypeId::Real, sxu::Dimension(rows, 1));
}

FunctionSignature makeSignature(Context const& context, std::initializer_list<Parameter> inputs,
                                std::initializer_list<Parameter> outputs)
{
    FunctionSignature signature(context);
    for (Parameter const& input : inputs) {
        signature.addInput(input.first).setType(*input.second);
    }
    for (Parameter const& output : outputs) {
        signature.addOutput(output.first).setType(*output.second);
    }
    return signature;
}

Function& addFunction(Module& module, char const* name, FunctionSignature const& signature, bool exported)
{
    auto& function =
        dynamic_cast<Function&>(*module.getModuleScope().addGenericScopeItem(ScopeItemType::Function, name));
    function.setSignature(signature);
    function.setExported(exported);
    return function;
}

void addLocal(Function& function, char const* name, Type const& type)
{
    function.getFunctionScope(FunctionScopeType::Local).addScopeItem<Variable>(name)->setType(type);
}

Expression use(Function const& function, char const* name)
{
    return function.expression(name);
}

Function& addTimesTwo(Module& module, Context const& context, bool exported)
{
    Function& f = addFunction(module, "times_two",
                              makeSignature(context, {{"a", &real(context)}}, {{"b", &real(context)}}), exported);
    *use(f, "b") = use(f, "a") * Expression(context, 2.0);
    return f;
}

Function& addNonNativeOperator(Module& module, Context const& context)
{
    Function& f =
        addFunction(module, "f", makeSignature(context, {{"a", &real(context)}}, {{"b", &real(context)}}), true);
    Expression const a = use(f, "a");
    *use(f, "b") = sin(a) * cos(a) + Expression(context, 4.0);
    return f;
}

FunctionSignature pickSignature(Context const& context, Type const& output)
{
    MatrixType const input = column(context, 6);
    return makeSignature(context,
                         {{"a", &input}, {"i1", &int32(context)}, {"i2", &int32(context)}, {"i3", &int32(context)}},
                         {{"b", &output}});
}

Function& addSumPick3(Module& module, Context const& context, char const* name, bool exported)
{
    Function& f = addFunction(module, name, pickSignature(context, real(context)), exported);
    addLocal(f, "c", column(context, 3));
    Expression const a = use(f, "a");
    Expression const c = use(f, "c");
    char const* const indices[] = {"i1", "i2", "i3"};
    for (int i = 0; i < 3; ++i) {
        *c(Expression(context, i)) = a(use(f, indices[i]));
    }
    *use(f, "b") = c(Expression(context, 0)) + c(Expression(context, 1)) + c(Expression(context, 2));
    return f;
}

Function& addSumPick3Into2(Module& module, Context const& context, char const* name, bool exported)
{
    Function& f = addFunction(module, name, pickSignature(context, column(context, 2)), exported);
    addLocal(f, "c", column(context, 2));
    Expression const a = use(f, "a");
    Expression const b = use(f, "b");
    Expression const c = use(f, "c");
    Expression const first(context, 0);
    Expression const second(context, 1);
    *c(first) = a(use(f, "i1"));
    *c(second) = a(use(f, "i2"));
    *b(first) = c(first) + c(second);
    *c(first) = a(use(f, "i2"));
    *c(second) = a(use(f, "i3"));
    *b(second) = c(first) + c(second);
    return f;
}

/// b = callee(operands...), the operands taken by name in `f` and appended one by one.
void assignCall(Function& f, Expression const& callee, std::initializer_list<char const*> operands)
{
    FunctionCallBuilder call(callee);
    for (char const* name : operands) {
        call << use(f, name);
    }
    *use(f, "b") = Expression(call);
}

/// The local "c" of `f` holds a reference to `callee`; b = c(operands...).
void assignCallThroughHandle(Function& f, Function const& callee, std::initializer_list<char const*> operands)
{
    addLocal(f, "c", callee.getSignature());
    Expression const c = use(f, "c");
    *c = use(f, callee.getName().c_str());
    assignCall(f, c, operands);
}

void fillTimesTwo(Module& module, Context const& context)
{
    addTimesTwo(module, context, true);
}

void fillCallTimesTwo(Module& module, Context const& context)
{
    addTimesTwo(module, context, false);
    Function& f = addFunction(module, "call_times_two",
                              makeSignature(context, {{"a", &real(context)}}, {{"b", &real(context)}}), true);
    *use(f, "b") = (use(f, "times_two") << use(f, "a"));
}

void fillCallTimesTwoFunctionHandle(Module& module, Context const& context)
{
    Function const& timesTwo = addTimesTwo(module, context, false);
    Function& f = addFunction(module, "call_times_two",
                              makeSignature(context, {{"a", &real(context)}}, {{"b", &real(context)}}), true);
    assignCallThroughHandle(f, timesTwo, {"a"});
}

void fillNonNativeOperator(Module& module, Context const& context)
{
    addNonNativeOperator(module, context);
}

void fillCallNonNativeOperator(Module& module, Context const& context)
{
    Function const& f = addNonNativeOperator(module, context);
    Function& ff = addFunction(module, "ff", f.getSignature(), true);
    *use(ff, "b") = (use(ff, "f") << use(ff, "a"));
}

void fillSum3Vector(Module& module, Context const& context)
{
    MatrixType const vector = column(context, 3);
    Function& f = addFunction(module, "f", makeSignature(context, {{"a", &vector}}, {{"b", &real(context)}}), true);
    Expression const a = use(f, "a");
    *use(f, "b") = a(Expression(context, 0)) + a(Expression(context, 1)) + a(Expression(context, 2));
}

void fillSumPick3(Module& module, Context const& context)
{
    addSumPick3(module, context, "f", true);
}

void fillCallSumPick3(Module& module, Context const& context)
{
    Function const& actual = addSumPick3(module, context, "actual_function", false);
    Function& f = addFunction(module, "f", actual.getSignature(), true);
    assignCall(f, use(f, "actual_function"), {"a", "i1", "i2", "i3"});
}

void fillHandleCallSumPick3(Module& module, Context const& context)
{
    Function const& actual = addSumPick3(module, context, "actual_function", false);
    assignCallThroughHandle(addFunction(module, "f", actual.getSignature(), true), actual, {"a", "i1", "i2", "i3"});
}

void fillSumPick3Into2(Module& module, Context const& context)
{
    addSumPick3Into2(module, context, "f", true);
}

void fillSumPick3Into4(Module& module, Context const& context)
{
    addSumPick3Into2(module, context, "f1", false);
    Function& f = addFunction(module, "f", pickSignature(context, column(context, 4)), true);
    Expression const b = use(f, "b");
    Expression const f1 = use(f, "f1");
    Expression const a = use(f, "a");
    Expression const i1 = use(f, "i1");
    Expression const i2 = use(f, "i2");
    Expression const i3 = use(f, "i3");
    *b(Colon(0, 2)) = (f1 << a << i1 << i2 << i3);
    *b(Colon(2, 4)) = (f1 << a << i3 << i2 << i1);
}

void fillTimes2Or3(Module& module, Context const& context)
{
    Function& f = addFunction(module, "times_2_or_3",
                              makeSignature(context, {{"a", &real(context)}}, {{"b", &real(context)}}), true);
    Expression const a = use(f, "a");
    Expression const b = use(f, "b");
    f.If(a > Expression(context, 0.0));
    *b = a * Expression(context, 2.0);
    f.Else();
    *b = a * Expression(context, 3.0);
    f.End();
}

/// A builder: the module "module" in the context's global scope, filled by Fill.
template <void (*Fill)(Module&, Context const&)>
Module* build(Context const& context)
{
    Module& module = addModule(context);
    Fill(module, context);
    return &module;
}

struct Sample {
    char const* name;
    TestCatalog::Builder builder;
};

// In registration order.
Sample const sSamples[] = {
    {"times_two", &build<&fillTimesTwo>},
    {"call_times_two", &build<&fillCallTimesTwo>},
    {"call_times_two_function_handle", &build<&fillCallTimesTwoFunctionHandle>},
    {"non_native_operator", &build<&fillNonNativeOperator>},
    {"call_non_native_operator", &build<&fillCallNonNativeOperator>},
    {"sum_3_vector", &build<&fillSum3Vector>},
    {"sum_pick_3", &build<&fillSumPick3>},
    {"call_sum_pick_3", &build<&fillCallSumPick3>},
    {"handle_call_sum_pick_3", &build<&fillHandleCallSumPick3>},
    {"sum_pick_3_into_2", &build<&fillSumPick3Into2>},
    {"sum_pick_3_into_4", &build<&fillSumPick3Into4>},
    {"times_2_or_3", &build<&fillTimes2Or3>},
};

bool registerSamples()
{
    bool registered = true;
    for (Sample const& sample : sSamples) {
        registered = TestCatalog::get()->registerEntry(sample.name, sample.builder) && registered;
    }
    return registered;
}

bool const sSamplesRegistered = registerSamples();

} // namespace

} // namespace sxir
