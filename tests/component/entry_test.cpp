// EntryPoint, the component object, createClass and the initializer.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "component/componentid.h"
#include "component/hostservices.h"
#include "component/interfacenamelist.h"
#include "component/iptr.h"
#include "component/kelclcbinary.h"
#include "component/kelcomponent.h"
#include "component/kelinitializer.h"
#include "tests/support/testprovider.h"
#include "text/kelwidestring.h"
#include "text/qtxcstring.h"

extern "C" int32_t EntryPoint(uint32_t* version, IKelComponent** component);

namespace {
IPtr<IKelComponent> makeComponent()
{
    uint32_t version = 0;
    IKelComponent* component = nullptr;
    EXPECT_EQ(EntryPoint(&version, &component), 1);
    return IPtr<IKelComponent>(component);
}

template <class... Words>
std::string line(const Words&... words)
{
    std::ostringstream out;
    ((out << words << ' '), ...);
    return out.str();
}

// The data store and the error service in one, recording every call.
class RecordingHost : public IDataStore, public IKelErrorService {
public:
    std::vector<std::string> calls;
    bool sharedEmptyGiven = true;
    IKelCompInternal* reenter = nullptr;

    void declareAppStateGroup(const char* group) override { calls.push_back(line("group", group)); }
    void declareIntAppState(const char* name, int a, int b, int c, int d) override
    {
        calls.push_back(line("int", name, a, b, c, d));
    }
    void declareStringAppState(const char* name, int maxLength, const KelWideString& initial, int flags) override
    {
        sharedEmptyGiven = sharedEmptyGiven && &initial == &KelWideString::emptyString();
        calls.push_back(line("string", name, maxLength, flags));
    }
    int getBool(const char*, int defaultValue) override { return defaultValue; }
    const KelWideString& getString(const char*, int) override { return KelWideString::emptyString(); }
    void reportError(const KelWideString& message, int* level, const KelCString& context) override
    {
        calls.push_back(line(message.utf8(), *level, context.isEmpty()));
        if (reenter)
            reenter->runTest(nullptr);
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        kelSetOut(out, nullptr);
        if (kelSameName(name, "IDataStore"))
            kelSetOut(out, static_cast<IDataStore*>(this));
        else if (kelSameName(name, "IKelErrorService"))
            kelSetOut(out, static_cast<IKelErrorService*>(this));
    }
    const char* className() override { return "RecordingHost"; }
};

TEST(EntryPointTest, WritesNothingWithoutAnOutPointerAndVersion100Otherwise)
{
    uint32_t version = 7;
    EXPECT_EQ(EntryPoint(&version, nullptr), 0);
    EXPECT_EQ(version, 7u);

    IKelComponent* component = nullptr;
    IKelComponent* second = nullptr;
    EXPECT_EQ(EntryPoint(&version, &component), 1);
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(version, 100u);
    EXPECT_EQ(component->refCount(), 0u);  // the first reference is the host's
    EXPECT_EQ(EntryPoint(&version, &second), 1);
    EXPECT_NE(second, component);
    IPtr<IKelComponent> holdFirst(component), holdSecond(second);
    EXPECT_EQ(component->refCount(), 1u);
}

TEST(ComponentObjectTest, AnswersItsNamesAndDescribesTheComponent)
{
    IPtr<IKelComponent> component = makeComponent();
    IKelCompInternal* internal = kelQuery<IKelCompInternal>(component.get());
    ASSERT_NE(internal, nullptr);
    EXPECT_EQ(kelQuery<IKelComponent>(internal), component.get());
    EXPECT_EQ(kelQuery<IKelUnknown>(internal), static_cast<IKelUnknown*>(component.get()));
    void* out = &out;
    component->queryInterface("IKelClcBinary", &out, false);
    EXPECT_EQ(out, nullptr);
    KelInterfaceNameList list;  // the component object lists no names
    component->queryInterface(nullptr, &list, false);
    EXPECT_EQ(list.entries->count + list.classStack->count, 0);

    EXPECT_STREQ(component->className(), "KelBaseComponent");
    EXPECT_STREQ(internal->componentName(), "PythonComponent");
    EXPECT_STREQ(internal->buildStamp(), "2011-10-27 13:41");
    EXPECT_STREQ(component->buildStamp(), "2011-10-27 13:41");
    EXPECT_TRUE(internal->alwaysTrue());
    EXPECT_EQ(internal->classCount(), 2u);
    const uint8_t bytes[16] = {0xd5, 0x1c, 0x76, 0x2a, 0xf8, 0x50, 0xbb, 0x49,
                               0xa6, 0x0f, 0x81, 0xa2, 0xca, 0x2a, 0x58, 0x8d};
    EXPECT_EQ(*internal->componentId(), KelID::fromMemoryBytes(bytes));

    IKelClcBinary* binary = component->clcBinary();
    ASSERT_NE(binary, nullptr);
    EXPECT_EQ(binary, component->clcBinary());
    EXPECT_EQ(binary->version(), 1u);
    EXPECT_EQ(binary->length(), 16u);
    EXPECT_EQ(binary->refCount(), 0u);
    EXPECT_EQ(kelQuery<IKelClcBinary>(binary), binary);
}

TEST(CreateClassTest, KindsAndCountsPerIdentity)
{
    IPtr<IKelComponent> component = makeComponent();
    IKelUnknown* sentinel = reinterpret_cast<IKelUnknown*>(0x1234);
    IKelUnknown* out = sentinel;
    EXPECT_EQ(component->createClass(&kelComponentId(), &out), 0u);
    EXPECT_EQ(out, sentinel);

    IKelUnknown* first = nullptr;
    IKelUnknown* second = nullptr;
    EXPECT_EQ(component->createClass(&kelPythonInitializerId(), &first), 1u);
    EXPECT_EQ(component->createClass(&kelPythonInitializerId(), &second), 1u);
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->refCount() + second->refCount(), 0u);
    EXPECT_STREQ(first->className(), "PythonInitializer");
    EXPECT_NE(kelQuery<IKelInitializer>(first), nullptr);
    IPtr<IKelUnknown> dropFirst(first), dropSecond(second);

    IKelUnknown* interpreter = nullptr;
    IKelUnknown* again = nullptr;
    EXPECT_EQ(component->createClass(&kelScriptInterpreterPythonId(), &interpreter), 2u);
    EXPECT_EQ(component->createClass(&kelScriptInterpreterPythonId(), &again), 2u);
    EXPECT_EQ(again, interpreter);
    EXPECT_EQ(interpreter->refCount(), 1u);  // the entry keeps one reference; the caller gets none
    EXPECT_STREQ(interpreter->className(), "ScriptInterpreterPython");
}

TEST(PythonInitializerTest, DeclaresTheApplicationStatesInOrder)
{
    TestServiceProvider provider;
    RecordingHost host;
    host.addRef();
    provider.add("IDataStore", &host);
    IPtr<IKelComponent> component = makeComponent();
    IKelUnknown* object = nullptr;
    component->createClass(&kelPythonInitializerId(), &object);
    IPtr<IKelUnknown> hold(object);
    kelQuery<IKelInitializer>(object)->initialize();
    EXPECT_EQ(host.calls, (std::vector<std::string>{"group Python ", "string Python/Output String 1024 0 ",
                                                    "string Python/Error String 1024 0 ",
                                                    "int Python/Redirect Output 1 0 1 0 "}));
    EXPECT_TRUE(host.sharedEmptyGiven);
    EXPECT_EQ(host.refCount(), 1u);  // the initializer's SPtr let go again
}

TEST(RunTestTest, ReportsTheTestValueOnceEvenWhenAReportReenters)
{
    TestServiceProvider provider;
    provider.testValueResult = 0x1241;  // the low byte, 'A', is what counts
    RecordingHost host;
    host.addRef();
    IPtr<IKelComponent> component = makeComponent();
    IKelCompInternal* internal = kelQuery<IKelCompInternal>(component.get());
    internal->runTest(nullptr);  // no error service: both reports skipped
    provider.add("IKelErrorService", &host);
    host.reenter = internal;
    internal->runTest(nullptr);
    EXPECT_EQ(host.calls, (std::vector<std::string>{"Unable to get test service 1 1 ", "A 1 1 "}));
    host.reenter = nullptr;  // the flag was cleared again afterwards
    internal->runTest(nullptr);
    EXPECT_EQ(host.calls.size(), 4u);
}
}  // namespace
