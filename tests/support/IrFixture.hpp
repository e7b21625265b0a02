// A test fixture with a context, a module "module" in it, and helpers to declare functions.
#pragma once

#include "ir/sxir.hpp"
#include "tests/support/Environments.hpp"

#include <gtest/gtest.h>

#include <initializer_list>

namespace sxir_test {

class IrTest : public ::testing::Test {
protected:
    ThrowingEnvironment env;
    ContextPtr context = makeContext(env);
    sxir::Module& module = *context->getGlobalScope().addScopeItem<sxir::Module>("module");

    sxir::BuiltinType const& builtin(sxu::DataTypeId::Type id) const { return context->getBuiltinType(id); }
    sxir::BuiltinType const& real() const { return builtin(sxu::DataTypeId::Real); }

    /// A function in `target` (the fixture's module by default) whose signature has
    /// the given inputs and outputs, all real_T.
    sxir::Function& addFunction(sxu::string const& name, std::initializer_list<char const*> inputs,
                                std::initializer_list<char const*> outputs, sxir::Module* target = nullptr)
    {
        sxir::FunctionSignature signature(*context);
        for (char const* input : inputs) {
            signature.addInput(input).setType(real());
        }
        for (char const* output : outputs) {
            signature.addOutput(output).setType(real());
        }
        sxir::Module& owner = target != nullptr ? *target : module;
        auto* function = owner.getModuleScope().addScopeItem<sxir::Function>(name);
        function->setSignature(signature);
        return *function;
    }

    /// A local variable of `function`, of type real_T unless given.
    sxir::Variable& addLocal(sxir::Function& function, sxu::string const& name, sxir::Type const* type = nullptr)
    {
        auto* local = function.getFunctionScope(sxir::FunctionScopeType::Local).addScopeItem<sxir::Variable>(name);
        local->setType(type != nullptr ? *type : real());
        return *local;
    }

    /// The expression for the declaration `name` as seen from `function`'s body.
    static sxir::Expression use(sxir::Function const& function, sxu::string const& name)
    {
        sxir::ScopeItem const* item = function(name);
        EXPECT_NE(item, nullptr) << name;
        return sxir::Expression(*item);
    }
};

} // namespace sxir_test
