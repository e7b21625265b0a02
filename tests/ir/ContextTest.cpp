#include "ir/BuiltinType.hpp"
#include "ir/Context.hpp"
#include "ir/ContextImpl.hpp"
#include "ir/ErrorId.hpp"
#include "tests/support/Environments.hpp"

#include <gtest/gtest.h>

namespace {

using sxir_test::makeContext;
using sxir_test::RecordingEnvironment;

TEST(Context, HasOneBuiltinTypePerDataTypeForItsWholeLife)
{
    RecordingEnvironment env;
    auto context = makeContext(env);
    for (int id = 0; id < 5; ++id) {
        auto const type = static_cast<sxu::DataTypeId::Type>(id);
        sxir::BuiltinType const& builtin = context->getBuiltinType(type);
        EXPECT_EQ(builtin.getType(), type);
        EXPECT_EQ(&builtin.getContext(), context.get());
        EXPECT_EQ(&context->getBuiltinType(type), &builtin);
    }
    auto other = makeContext(env);
    EXPECT_NE(&other->getBuiltinType(sxu::DataTypeId::Real), &context->getBuiltinType(sxu::DataTypeId::Real));
}

TEST(Context, ForwardsReportsAndIdentifierQuestionsToTheEnvironment)
{
    RecordingEnvironment env;
    auto context = makeContext(env);
    context->reportError(sxir::ErrorId::DuplicateScopeItemNames, "x", "", "c", "");
    ASSERT_EQ(env.reports().size(), 1u);
    EXPECT_EQ(env.reports()[0].id, "sxir:scope:DuplicateScopeItemNames");
    EXPECT_EQ(env.reports()[0].arguments, (std::array<std::string, 4>{"x", "", "c", ""}));
    EXPECT_TRUE(context->isValidIdentifier("abc_1"));
    EXPECT_FALSE(context->isValidIdentifier("1abc"));
}

TEST(Context, ErrorIdentifiersAreExact)
{
    EXPECT_STREQ(sxir::ErrorId::InvalidLValue, "sxir:expression:InvalidLValue");
    EXPECT_STREQ(sxir::ErrorId::InvalidIdentifier, "sxir:scope:InvalidIdentifier");
    EXPECT_STREQ(sxir::ErrorId::IndexOutOfRange, "sxir:expression:IndexOutOfRange");
    EXPECT_STREQ(sxir::ErrorId::CannotResolveFunction, "sxir:expression:CannotResolveFunction");
    EXPECT_STREQ(sxir::ErrorId::DuplicateScopeItemNames, "sxir:scope:DuplicateScopeItemNames");
    EXPECT_STREQ(sxir::ErrorId::InvalidScopeItemType, "sxir:scope:InvalidScopeItemType");
}

sxir::RuntimeEnvironment const* sFactoryArgument = nullptr;

sxir::Context* recordingFactory(sxir::RuntimeEnvironment const& env)
{
    sFactoryArgument = &env;
    return nullptr;
}

TEST(Context, CreateGoesThroughTheLastRegisteredFactory)
{
    RecordingEnvironment env;
    EXPECT_TRUE(sxir::Context::registerFactory(&recordingFactory));
    EXPECT_EQ(sxir::Context::create(env), nullptr);
    EXPECT_EQ(sFactoryArgument, &env);
    EXPECT_TRUE(sxir::Context::registerFactory(&sxir::ContextImpl::create));
    auto context = makeContext(env);
    EXPECT_NE(context, nullptr);
}

} // namespace
