// The reference host's command list and the arguments its commands read.
#include <gtest/gtest.h>

#include <string>

#include "tests/script/scripttesthost.h"

namespace {

TEST(HostCommands, ListFindsByNameAndReplacesInPlace)
{
    auto one = +[](ScriptCall& call) { call.giveInt(1); return true; };
    auto two = +[](ScriptCall& call) { call.giveInt(2); return true; };
    IPtr<HostCommandList> list(new HostCommandList);
    EXPECT_EQ(list->find(KelCString("one", kelBorrow)), nullptr);
    list->add("one", one, "one()");
    list->add(nullptr, one, "");
    for (int i = 0; i < 20; ++i)  // enough to grow the table several times
        list->add(("c" + std::to_string(i)).c_str(), two, "c()");
    list->add("one", two, "one()");
    ASSERT_EQ(list->count(), 22u);
    EXPECT_EQ(list->item(1)->name().chars(), nullptr);
    EXPECT_EQ(list->item(22), nullptr);
    IScriptCommand* found = list->find(KelCString("one", kelBorrow));
    ASSERT_EQ(found, list->item(0));
    IScriptValue* result = nullptr;
    IPtr<IScriptActualArgList> args(scriptTestHost().factory->createArgList(false));
    ASSERT_TRUE(found->execute(args.get(), &result));
    IPtr<IScriptValue> hold(result);
    EXPECT_EQ(kelQuery<IScriptValueInt>(result)->getValue(), 2);
    EXPECT_EQ(list->find(KelCString("c19", kelBorrow)), list->item(21));
    EXPECT_EQ(list->find(KelCString("c2", kelBorrow)), list->item(4));
    for (KelCString missing : {KelCString("c", kelBorrow), KelCString(), KelCString("", kelBorrow)})
        EXPECT_EQ(list->find(missing), nullptr);
}

TEST(HostCommands, ArgumentsAreReadByPositionOrByKeyword)
{
    HostScriptFactory& f = *scriptTestHost().factory;
    IPtr<IScriptActualArgList> positional(f.createArgList(false));
    for (int i = 0; i < 5; ++i)  // past the arguments kept inside the list
        positional->add(f.makeInt(10 + i));
    ScriptCall byPosition(positional.get(), nullptr);
    int32_t n = 0;
    EXPECT_TRUE(byPosition.getInt(4, "e", n));
    EXPECT_EQ(n, 14);
    EXPECT_FALSE(byPosition.getInt(5, "f", n));

    IPtr<IScriptActualArgList> named(f.createArgList(true));
    named->addNamed(KelCString("b", kelBorrow), f.makeDouble(0.5));
    named->addNamed(KelCString("", kelBorrow), f.makeBool(true));
    ScriptCall byKeyword(named.get(), nullptr);
    double d = 0;
    EXPECT_TRUE(byKeyword.getDouble(5, "b", d));
    EXPECT_EQ(d, 0.5);
    EXPECT_TRUE(byKeyword.getInt(0, "", n));
    EXPECT_EQ(n, 1);
    EXPECT_FALSE(byKeyword.getInt(0, "a", n));
    EXPECT_FALSE(byKeyword.getDouble(0, nullptr, d));
}

}  // namespace
