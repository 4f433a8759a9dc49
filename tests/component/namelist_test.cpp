// Interface name lists and the array they are built from.
#include <gtest/gtest.h>

#include <string>

#include "component/kelclassfactory.h"
#include "component/kelclcbinary.h"
#include "component/pythoninitializer.h"
#include "kel/componentid.h"
#include "kel/interfacenamelist.h"
#include "kel/kelobjectarray.h"
#include "kel/qtxcstring.h"

namespace {
// "name/isClass/owner" for each entry, then "|" and the class stack.
std::string describe(const KelInterfaceNameList& list)
{
    std::string out;
    for (int i = 1; i <= list.entries->count; ++i) {
        const KelInterfaceNameEntry& e = (*list.entries)[i];
        out += std::string(e.name.chars()) + "/" + std::to_string(e.isClass) + "/" +
               (e.ownerClass.chars() ? e.ownerClass.chars() : "") + " ";
    }
    out += "|";
    for (int i = 1; i <= list.classStack->count; ++i)
        out += std::string(" ") + (*list.classStack)[i].chars();
    return out;
}

TEST(KelObjectArrayTest, GrowsByDoublingAndKeepsIndexZeroFree)
{
    KelObjectArray<KelCString> array(2);
    EXPECT_EQ(array.size, 3);
    for (const char* name : {"a", "b", "c", "d"})
        array.push(KelCString(name));
    EXPECT_EQ(array.size, 6);  // 3 doubled once covers index 4
    EXPECT_EQ(array[0].chars(), nullptr);

    KelObjectArray<KelCString> copy(array);  // elements own their copies
    EXPECT_NE(copy[2].chars(), array[2].chars());
    EXPECT_STREQ(copy[2].chars(), "b");

    KelCString last;
    array.pop(last);
    EXPECT_STREQ(last.chars(), "d");
    EXPECT_STREQ(array.top().chars(), "c");
    array.grow(2, -1);  // exactly the need, fewer than before; the count stays
    EXPECT_EQ(array.size, 2);
    EXPECT_EQ(array.count, 3);
    array.count = 2;
    array.top() = KelCString("grown");  // top grows when count is outside
    EXPECT_EQ(array.size, 4);
    EXPECT_STREQ(array[2].chars(), "grown");
}

TEST(InterfaceNameListTest, RecordsOwnersAndPopsClasses)
{
    KelInterfaceNameList list;
    addName("Outer", 1, &list);
    addName("IOuter", 0, &list);
    addName("Inner", 1, &list);
    addName("IInner", 0, &list);
    popClass(&list);
    addName("ILate", 0, &list);
    EXPECT_EQ(describe(list), "Outer/1/ IOuter/0/Outer Inner/1/Outer IInner/0/Inner ILate/0/Outer | Outer");
    popClass(&list);
    popClass(&list);  // an empty stack stays empty
    EXPECT_EQ(list.classStack->count, 0);

    KelInterfaceNameList unstopped;  // a stop set without buckets stops nothing
    addName("IStop", 0, &unstopped);
    EXPECT_EQ(unstopped.entries->count, 1);
}

TEST(InterfaceNameListTest, AStopNameDropsEverythingForGood)
{
    KelInterfaceNameList list;
    addName("Outer", 1, &list);
    list.addStopName("IStop");
    addName("IStop", 0, &list);
    EXPECT_TRUE(list.stopped);
    EXPECT_EQ(describe(list), "|");
    addName("Other", 1, &list);
    popClass(&list);
    EXPECT_EQ(describe(list), "|");
}

TEST(InterfaceNameListTest, ClassesOfTheComponentListThemselves)
{
    IKelUnknown* interpreter = nullptr;
    ASSERT_EQ(KelDefaultClassFactory::instance()->createClass(&kelScriptInterpreterPythonId(), &interpreter), 2u);
    PythonInitializer initializer;
    const struct { IKelUnknown* object; const char* names; } cases[] = {
        {&initializer, "PythonInitializer/1/ IKelInitializer/0/PythonInitializer | PythonInitializer"},
        {KelClcBinary::instance(), "KelClcBinary/1/ IKelClcBinary/0/KelClcBinary | KelClcBinary"},
        {interpreter, "ScriptInterpreterPython/1/ IScriptInterpreterV2/0/ScriptInterpreterPython "
                      "IPythonScriptInterpreter/0/ScriptInterpreterPython ScriptInterpreter/1/ScriptInterpreterPython "
                      "IScriptInterpreter/0/ScriptInterpreter | ScriptInterpreterPython"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.object->className());
        KelInterfaceNameList list;
        c.object->queryInterface(nullptr, &list, false);
        EXPECT_EQ(describe(list), c.names);
    }
}
}  // namespace
