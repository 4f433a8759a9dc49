// The reference host's command list.
#include <gtest/gtest.h>

#include <string>

#include "tests/script/scripttesthost.h"

namespace {

TEST(HostCommands, ListFindsByNameAndReplacesInPlace)
{
    auto one = +[](ScriptCall& call) { call.giveInt(1); return true; };
    auto two = +[](ScriptCall& call) { call.giveInt(2); return true; };
    IPtr<HostCommandList> list(new HostCommandList);
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
    // A replaced command's text goes with it: the name stays found through
    // the text of the command that took its place.
    list->add("c5", one, "c()");
    list->add("c5", two, "c()");
    ASSERT_EQ(list->count(), 22u);
    EXPECT_EQ(list->find(KelCString(std::string("c5").c_str(), kelBorrow)), list->item(7));
    for (KelCString missing : {KelCString("c", kelBorrow), KelCString(), KelCString("", kelBorrow)})
        EXPECT_EQ(list->find(missing), nullptr);
}

}  // namespace
