// EntryPoint, the component object, createClass and the initializer.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "component/kelclcbinary.h"
#include "kel/componentid.h"
#include "kel/hostservices.h"
#include "kel/interfacenamelist.h"
#include "kel/iptr.h"
#include "kel/kelcomponent.h"
#include "kel/kelinitializer.h"
#include "kel/kelwidestring.h"
#include "tests/support/testprovider.h"

extern "C" int32_t EntryPoint(uint32_t* version, IKelComponent** component);

namespace {
IPtr<IKelComponent> makeComponent()
{
    uint32_t version = 0;
    IKelComponent* component = nullptr;
    EXPECT_EQ(EntryPoint(&version, &component), 1);
    return IPtr<IKelComponent>(component);
}

struct RecordingHost : IDataStore, IKelErrorService {
    std::ostringstream calls;  // "words;" per call
    bool sharedEmptyGiven = true;
    IKelCompInternal* reenter = nullptr;

    void declareAppStateGroup(const char* group) override { calls << "group " << group << ";"; }
    void declareIntAppState(const char* name, int a, int b, int c, int d) override
    {
        calls << "int " << name << ' ' << a << ' ' << b << ' ' << c << ' ' << d << ";";
    }
    void declareStringAppState(const char* name, int maxLength, const KelWideString& initial, int flags) override
    {
        sharedEmptyGiven = sharedEmptyGiven && &initial == &KelWideString::emptyString();
        calls << "string " << name << ' ' << maxLength << ' ' << flags << ";";
    }
    int getBool(const char*, int value) override { return value; }
    const KelWideString& getString(const char*, int) override { return KelWideString::emptyString(); }
    void reportError(const KelWideString& message, int* level, const KelCString& context) override
    {
        calls << message.utf8() << ' ' << *level << ' ' << context.isEmpty() << ";";
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

TEST(EntryPointTest, WritesNothingWithoutAnOutPointerAndGivesTheComponentObject)
{
    uint32_t version = 7;
    EXPECT_EQ(EntryPoint(&version, nullptr), 0);
    EXPECT_EQ(version, 7u);
    IKelComponent *raw = nullptr, *second = nullptr;
    EXPECT_EQ(EntryPoint(&version, &raw), 1);
    ASSERT_NE(raw, nullptr);
    EXPECT_EQ(version, 100u);
    EXPECT_EQ(raw->refCount(), 0u);  // the first reference is the host's
    EXPECT_EQ(EntryPoint(&version, &second), 1);
    EXPECT_NE(second, raw);
    IPtr<IKelComponent> component(raw), holdSecond(second);

    EXPECT_EQ(kelQuery<IKelComponent>(kelQuery<IKelCompInternal>(raw)), raw);
    void* out = &out;
    raw->queryInterface("IKelClcBinary", &out, false);
    EXPECT_EQ(out, nullptr);
    KelInterfaceNameList list;  // the component object lists no names
    raw->queryInterface(nullptr, &list, false);
    EXPECT_EQ(list.entries->count + list.classStack->count, 0);

    IKelClcBinary* binary = raw->clcBinary();
    ASSERT_NE(binary, nullptr);
    EXPECT_EQ(binary, raw->clcBinary());
    EXPECT_EQ(binary->version(), 1u);
    EXPECT_EQ(binary->length(), 16u);
    EXPECT_EQ(binary->refCount(), 0u);
}

TEST(CreateClassTest, KindsAndCountsPerIdentity)
{
    IPtr<IKelComponent> component = makeComponent();
    IKelUnknown* sentinel = reinterpret_cast<IKelUnknown*>(0x1234);
    IKelUnknown* out = sentinel;
    EXPECT_EQ(component->createClass(&kelComponentId(), &out), 0u);
    EXPECT_EQ(out, sentinel);

    IKelUnknown *first = nullptr, *second = nullptr;
    EXPECT_EQ(component->createClass(&kelPythonInitializerId(), &first), 1u);
    EXPECT_EQ(component->createClass(&kelPythonInitializerId(), &second), 1u);
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->refCount() + second->refCount(), 0u);
    IPtr<IKelUnknown> dropFirst(first), dropSecond(second);

    IKelUnknown *interpreter = nullptr, *again = nullptr;
    EXPECT_EQ(component->createClass(&kelScriptInterpreterPythonId(), &interpreter), 2u);
    EXPECT_EQ(component->createClass(&kelScriptInterpreterPythonId(), &again), 2u);
    EXPECT_EQ(again, interpreter);
    EXPECT_EQ(interpreter->refCount(), 1u);  // the entry keeps one reference; the caller gets none
}

class HostedComponentTest : public testing::Test {
protected:
    HostedComponentTest() { host.addRef(); }
    TestServiceProvider provider;
    RecordingHost host;
    IPtr<IKelComponent> component = makeComponent();
};

TEST_F(HostedComponentTest, TheInitializerDeclaresTheApplicationStatesInOrder)
{
    provider.add("IDataStore", &host);
    IKelUnknown* object = nullptr;
    component->createClass(&kelPythonInitializerId(), &object);
    IPtr<IKelUnknown> hold(object);
    kelQuery<IKelInitializer>(object)->initialize();
    EXPECT_EQ(host.calls.str(), "group Python;string Python/Output String 1024 0;string Python/Error String 1024 0;"
                                "int Python/Redirect Output 1 0 1 0;");
    EXPECT_TRUE(host.sharedEmptyGiven);
    EXPECT_EQ(host.refCount(), 1u);  // the initializer's SPtr let go again
}

TEST_F(HostedComponentTest, RunTestReportsTheTestValueOnceEvenWhenAReportReenters)
{
    provider.testValueResult = 0x1241;  // the low byte, 'A', is what counts
    IKelCompInternal* internal = kelQuery<IKelCompInternal>(component.get());
    internal->runTest(nullptr);  // no error service: both reports skipped
    provider.add("IKelErrorService", &host);
    host.reenter = internal;
    internal->runTest(nullptr);
    const std::string once = "Unable to get test service 1 1;A 1 1;";
    EXPECT_EQ(host.calls.str(), once);
    host.reenter = nullptr;  // the flag was cleared again afterwards
    internal->runTest(nullptr);
    EXPECT_EQ(host.calls.str(), once + once);
}
}  // namespace
