#include "ir/AuxiliaryData.hpp"
#include "ir/IrObject.hpp"
#include "ir/MatrixType.hpp"
#include "tests/support/Environments.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using sxir_test::makeContext;
using sxir_test::RecordingEnvironment;

struct Tracked {
    Tracked(std::vector<std::string>& log, std::string name) : log(log), name(std::move(name)) {}
    virtual ~Tracked() { log.push_back(name); }
    std::vector<std::string>& log;
    std::string name;
};

TEST(Base, DestroysAuxiliaryDataFirstAttachedFirst)
{
    RecordingEnvironment env;
    auto context = makeContext(env);
    std::vector<std::string> log;
    auto* object = new sxir::IrObject(*context);
    object->attachGenericAuxiliaryData(new sxir::AuxiliaryData<Tracked>(new Tracked(log, "first")));
    object->attachGenericAuxiliaryData(nullptr);
    object->attachGenericAuxiliaryData(new sxir::AuxiliaryData<Tracked>(new Tracked(log, "second")));
    EXPECT_TRUE(log.empty());
    sxir::Base::destroy(object);
    EXPECT_EQ(log, (std::vector<std::string>{"first", "second"}));
}

TEST(IrObject, RemembersTheContextOfTheLastObjectBuilt)
{
    RecordingEnvironment env;
    auto first = makeContext(env);
    auto second = makeContext(env);
    {
        sxir::IrObject inFirst(*first);
        EXPECT_EQ(sxir::IrObject::getLastContext(), first.get());
        sxir::IrObject inSecond(*second);
        EXPECT_EQ(sxir::IrObject::getLastContext(), second.get());
    }
    EXPECT_EQ(sxir::IrObject::getLastContext(), second.get());
    // Types are context-bound but not tree nodes: they leave the record alone.
    sxir::MatrixType matrix(*first, sxu::DataTypeId::Real, sxu::Dimension(2, 2));
    EXPECT_EQ(sxir::IrObject::getLastContext(), second.get());
    EXPECT_EQ(&matrix.getContext(), first.get());
}

} // namespace
