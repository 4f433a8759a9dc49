// The reference host's services, in-process.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "core/bucketpool.h"
#include "core/kelassert.h"
#include "core/serviceprovider.h"
#include "host/hostdatastore.h"
#include "host/hostdirservice.h"
#include "host/hostfilemagic.h"
#include "host/hostmemory.h"
#include "host/hostprovider.h"
#include "host/hostreporting.h"
#include "host/hoststrsupport.h"
#include "host/hosttranslator.h"
#include "host/kelhost_app.h"
#include "host/scriptcommands.h"
#include "host/scriptvalues.h"
#include "kel/componentid.h"
#include "kel/hostservices.h"
#include "kel/interfacenamelist.h"
#include "kel/iptr.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"
#include "memory/keltranslator.h"
#include "tests/support/testprovider.h"

namespace {

struct ListedName {
    std::string name;
    int isClass;
    std::string owner;
};

std::vector<ListedName> namesOf(const KelInterfaceNameList& list)
{
    std::vector<ListedName> names;
    for (int i = 1; i <= list.entries->count; ++i) {
        const KelInterfaceNameEntry& entry = list.entries->data[i];
        names.push_back({entry.name.chars(), entry.isClass, entry.ownerClass.chars() ? entry.ownerClass.chars() : ""});
    }
    return names;
}

bool operator==(const ListedName& a, const ListedName& b)
{
    return a.name == b.name && a.isClass == b.isClass && a.owner == b.owner;
}

std::ostream& operator<<(std::ostream& out, const ListedName& entry)
{
    return out << entry.name << (entry.isClass ? " (class" : " (interface") << ", owner '" << entry.owner << "')";
}

// What a host object answers: its class name gives the object itself,
// "IKelUnknown" and each of the interfaces I their base, any other name null;
// a null name lists the class and the interfaces, and leaves the class on the
// class stack.
template <class... I, class T>
void expectAnswersForItself(T* object, const char* className)
{
    SCOPED_TRACE(className);
    void* out = nullptr;
    object->queryInterface(className, &out, false);
    EXPECT_EQ(out, static_cast<void*>(object));
    object->queryInterface(IKelUnknown::interfaceName, &out, false);
    EXPECT_EQ(out, static_cast<void*>(static_cast<IKelUnknown*>(object)));
    const std::pair<const char*, void*> bases[] = {{I::interfaceName, static_cast<I*>(object)}...};
    for (auto [name, base] : bases) {
        object->queryInterface(name, &out, false);
        EXPECT_EQ(out, base) << name;
    }
    for (const char* unknown : {"INothing", "", "IKelUnknow", "IKelUnknownX"}) {
        out = object;
        object->queryInterface(unknown, &out, false);
        EXPECT_EQ(out, nullptr) << "'" << unknown << "'";
    }

    KelInterfaceNameList list;
    object->queryInterface(nullptr, &list, false);
    std::vector<ListedName> expected{{className, 1, ""}};
    (expected.push_back({I::interfaceName, 0, className}), ...);
    EXPECT_EQ(namesOf(list), expected);
    ASSERT_EQ(list.classStack->count, 1);
    EXPECT_STREQ(list.classStack->data[1].chars(), className);
}

bool noCommand(ScriptCall&)
{
    return true;
}

TEST(HostQueryTest, EveryHostObjectAnswersItsNamesAndListsThemForANullName)
{
    HostServiceProvider provider;
    expectAnswersForItself<IKelServiceProvider>(&provider, "HostServiceProvider");
    HostDataStore store;
    expectAnswersForItself<IDataStore>(&store, "HostDataStore");
    HostDirService directories;
    expectAnswersForItself<IKelDirService>(&directories, "HostDirService");
    HostFileMagic magic;
    expectAnswersForItself<IQtxFileMagic>(&magic, "HostFileMagic");
    HostMemChecker checker;
    expectAnswersForItself<IMemChecker>(&checker, "HostMemChecker");
    HostMemoryManager manager;
    expectAnswersForItself<KelMM::IKelMManager>(&manager, "HostMemoryManager");
    HostErrorService errors;
    expectAnswersForItself<IKelErrorService>(&errors, "HostErrorService");
    HostAssertHandler asserts;
    expectAnswersForItself<IKelAssertHandlerCB>(&asserts, "HostAssertHandler");
    HostStrSupport strings;
    expectAnswersForItself<IKelStrSupport>(&strings, "HostStrSupport");
    HostTranslatorService translators;
    expectAnswersForItself<IKelTranslatorService>(&translators, "HostTranslatorService");

    IPtr<HostScriptFactory> factory(new HostScriptFactory);
    expectAnswersForItself<IScriptFactory>(factory.get(), "HostScriptFactory");
    IPtr<HostBoolValue> boolValue(new HostBoolValue(true));
    expectAnswersForItself<IScriptValueBool, IScriptValue>(boolValue.get(), "HostBoolValue");
    IPtr<HostIntValue> intValue(new HostIntValue(1));
    expectAnswersForItself<IScriptValueInt, IScriptValue>(intValue.get(), "HostIntValue");
    IPtr<HostDoubleValue> doubleValue(new HostDoubleValue(1));
    expectAnswersForItself<IScriptValueDouble, IScriptValue>(doubleValue.get(), "HostDoubleValue");
    IPtr<HostStringValue> stringValue(new HostStringValue(KelCString("s")));
    expectAnswersForItself<IScriptValueString, IScriptValue>(stringValue.get(), "HostStringValue");
    IPtr<HostUnicodeValue> unicodeValue(new HostUnicodeValue(KelWideString("u")));
    expectAnswersForItself<IScriptValueUnicodeString, IScriptValue>(unicodeValue.get(), "HostUnicodeValue");
    IPtr<HostListValue> listValue(new HostListValue);
    expectAnswersForItself<IScriptValueList, IScriptValue>(listValue.get(), "HostListValue");
    IPtr<HostArgList> args(new HostArgList(false));
    args->add(intValue.get());
    expectAnswersForItself<IScriptActualArgList>(args.get(), "HostArgList");
    expectAnswersForItself<IScriptActualArg>(dynamic_cast<HostActualArg*>(args->item(0)), "HostActualArg");

    IPtr<HostCommand> command(new HostCommand("c", noCommand, "c()"));
    expectAnswersForItself<IScriptCommand>(command.get(), "HostCommand");
    expectAnswersForItself<IScriptPrototype>(dynamic_cast<HostPrototype*>(command->prototype()), "HostPrototype");
    IPtr<HostCommandList> commands(new HostCommandList);
    expectAnswersForItself<IScriptCommandList>(commands.get(), "HostCommandList");
    IPtr<HostScript> script(new HostScript);
    expectAnswersForItself<IScript>(script.get(), "HostScript");
    IPtr<HostScriptEngine> engine(new HostScriptEngine);
    expectAnswersForItself<IScriptEngine>(engine.get(), "HostScriptEngine");
}

TEST(HostQueryTest, TheTranslatorAnswersForItsBaseClassToo)
{
    HostTranslator translator;
    void* out = nullptr;
    translator.queryInterface("HostTranslator", &out, false);
    EXPECT_EQ(out, static_cast<void*>(&translator));
    translator.queryInterface("KelTrivialTranslator", &out, false);
    EXPECT_EQ(out, static_cast<void*>(static_cast<KelTrivialTranslator*>(&translator)));
    translator.queryInterface("IKelTranslator", &out, false);
    EXPECT_EQ(out, static_cast<void*>(static_cast<IKelTranslator*>(&translator)));
    translator.queryInterface("IKelUnknown", &out, false);
    EXPECT_EQ(out, static_cast<void*>(static_cast<IKelUnknown*>(&translator)));
    translator.queryInterface("INothing", &out, false);
    EXPECT_EQ(out, nullptr);

    // The walk enters the base class and leaves it again.
    KelInterfaceNameList list;
    translator.queryInterface(nullptr, &list, false);
    EXPECT_EQ(namesOf(list), (std::vector<ListedName>{{"HostTranslator", 1, ""},
                                                     {"KelTrivialTranslator", 1, "HostTranslator"},
                                                     {"IKelTranslator", 0, "KelTrivialTranslator"}}));
    ASSERT_EQ(list.classStack->count, 1);
    EXPECT_STREQ(list.classStack->data[1].chars(), "HostTranslator");
}

TEST(HostProviderTest, LooksUpTheNamedBaseAndCountsAtomically)
{
    HostServiceProvider* provider = new HostServiceProvider();
    provider->addRef();
    HostDirService* directories = new HostDirService();
    provider->addService("IKelDirService", directories);
    EXPECT_EQ(directories->refCount(), 1u);

    void* out = nullptr;
    EXPECT_EQ(provider->lookupService(KelCString("IKelDirService", kelBorrow), &out), 1);
    EXPECT_EQ(out, static_cast<IKelDirService*>(directories));
    // Unknown, null, or published under a name the object does not answer to.
    provider->addService("IDataStore", directories);
    for (KelCString name : {KelCString("IDataStore", kelBorrow), KelCString("INothing", kelBorrow), KelCString()}) {
        void* untouched = &out;
        EXPECT_EQ(provider->lookupService(name, &untouched), 0);
        EXPECT_EQ(untouched, &out);
    }

    int32_t count = 0;
    provider->addRefShared(&count);
    provider->addRefShared(&count);
    EXPECT_FALSE(provider->releaseShared(&count));
    EXPECT_TRUE(provider->releaseShared(&count));
    EXPECT_EQ(provider->testValue(), 'K');
    provider->release();  // takes the directory service with it
}

TEST(HostDataStoreTest, SettingsReadAsBooleansAndTexts)
{
    HostDataStore store;
    const std::pair<const char*, int> cases[] = {{"1", 1}, {"true", 1}, {"yes", 1}, {"on", 1}, {"0", 0},
                                                 {"false", 0}, {"no", 0}, {"off", 0}, {"maybe", 5}};
    for (auto [text, value] : cases) {
        store.setSetting("Scripting/ShowScriptingConsole", text);
        EXPECT_EQ(store.getBool("Scripting/ShowScriptingConsole", 5), value) << text;
    }
    EXPECT_EQ(store.getBool("Unknown", 3), 3);
    store.setSetting("Directories/Temp Directory", "/tmp/t\xc3\xa9mp");
    EXPECT_EQ(std::u16string(store.getString("Directories/Temp Directory", 0).chars()), u"/tmp/t\u00e9mp");
    EXPECT_EQ(&store.getString("Unknown", 0), &KelWideString::emptyString());
}

TEST(HostDataStoreTest, StatesRefuseTheWrongTypeAndUndeclaredNames)
{
    HostDataStore store;
    store.declareStringAppState("S", 8, KelWideString::emptyString(), 0);
    store.declareIntAppState("I", 1, 0, 1, 0);
    EXPECT_TRUE(store.setIntState("I", 0));
    EXPECT_EQ(store.state("I")->intValue, 0);
    EXPECT_FALSE(store.setIntState("S", 3));
    EXPECT_FALSE(store.setStringState("I", KelWideString("x")));
    EXPECT_FALSE(store.setStringState("Nothing", KelWideString("x")));
    EXPECT_EQ(store.state("Nothing"), nullptr);
}

TEST(HostStrSupportTest, NarrowsToUtf8AndLowersAsciiAndLatin1)
{
    HostStrSupport support;
    EXPECT_STREQ(support.toNarrow(u"\u00e9\u20ac\U0001F600").chars(), "\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80");
    const char16_t lone[] = {u'a', 0xd800, u'b', 0};
    EXPECT_STREQ(support.toNarrow(lone).chars(), "a\xef\xbf\xbd" "b");
    EXPECT_EQ(support.toNarrow(nullptr).chars(), nullptr);

    char16_t text[] = u"ABCxyz\u00c0\u00d7\u00de\u00df\u0100[";
    support.lowerInPlace(text);
    EXPECT_EQ(std::u16string(text), u"abcxyz\u00e0\u00d7\u00fe\u00df\u0100[");
    support.lowerInPlace(nullptr);
}

TEST(HostMemoryTest, TheManagerGivesBackItsCachedPagesOnlyOnce)
{
    HostMemoryManager manager(10, 3);
    EXPECT_EQ(manager.coreNow(), 3);
    for (bool released : {true, true, true, false})
        EXPECT_EQ(manager.releasePage(), released);
    EXPECT_EQ(manager.coreNow(), 0);
    EXPECT_EQ(manager.releaseCalls(), 4);

    HostMemChecker checker;
    long long freePhysical = -1, totalPhysical = -1, freeSwap = -1, totalSwap = -1;
    EXPECT_EQ(checker.getMemoryStatus(&freePhysical, &totalPhysical, &freeSwap, &totalSwap, 1024), 0);
    EXPECT_GT(totalPhysical, 0);
    EXPECT_LE(freePhysical, totalPhysical);
    EXPECT_LE(freeSwap, totalSwap);
    EXPECT_EQ(checker.getMemoryStatus(&freePhysical, &totalPhysical, &freeSwap, &totalSwap, 0), -1);
}

TEST(KelHostTest, StartsTheComponentWithTheHostsServicesAndReportsWhatGoesWrong)
{
    TempDir macros;
    KelHostOptions options;
    options.component = KEL_COMPONENT_PATH;
    options.macrosDir = macros.path();
    options.logsDir = macros.file("logs");
    options.tempDir = macros.file("temp");
    options.settings["Memory/UseErrorService"] = "1";
    KelHost host(options);
    EXPECT_EQ(host.directories().directory("macros"), macros.path());
    // The component reads these two from the data store.
    for (const char* name : {"logs", "temp"}) {
        std::string key = std::string("Directories/") + (name[0] == 'l' ? "Logs" : "Temp") + " Directory";
        EXPECT_EQ(host.directories().directory(name), macros.file(name));
        EXPECT_EQ(std::string(host.dataStore().getString(key.c_str(), 0).utf8()), macros.file(name));
    }
    EXPECT_EQ(host.directories().directory("exe"), host.componentPath().substr(0, host.componentPath().rfind('/')));
    EXPECT_EQ(host.dataStore().getBool("Memory/UseErrorService", 0), 1);
    ASSERT_TRUE(host.start()) << host.error();
    EXPECT_EQ(host.dataStore().groups(), std::vector<std::string>{"Python"});
    EXPECT_EQ(host.dataStore().stateOrder(),
              (std::vector<std::string>{"Python/Output String", "Python/Error String", "Python/Redirect Output"}));
    EXPECT_EQ(host.dataStore().state("Python/Redirect Output")->intValue, 1);
    // The component holds the host's first reference on itself.
    EXPECT_EQ(host.component()->refCount(), 1u);
    // The pool that modules move their strings to.
    void* published = nullptr;
    host.provider().lookupService(KelCString("IBucketMemoryPool", kelBorrow), &published);
    EXPECT_EQ(published, static_cast<IBucketMemoryPool*>(&host.pool()));

    host.componentTranslator().addText("Disk full", "Platte voll: %1");
    KelWideString argument("C");
    EXPECT_EQ(std::string(host.componentTranslator().translate("Disk full", &argument).utf8()), "Platte voll: C");
    EXPECT_EQ(host.translators().translatorFor(kelComponentId()),
              static_cast<IKelTranslator*>(&host.componentTranslator()));

    std::ostringstream out, errorOut;
    host.assertHandler().setStream(&out);
    qtxAssertFailed("start >= 0", ".\\qtxcstring", 42);
    EXPECT_EQ(out.str(), "assertion failed: start >= 0 in .\\qtxcstring, line 42\n");
    ASSERT_EQ(host.assertHandler().failures().size(), 1u);
    EXPECT_EQ(host.assertHandler().failures()[0].line, 42);
    host.errors().setStream(&errorOut);
    SPtr<IKelErrorService> errors;
    ASSERT_TRUE(errors);
    int level = 3;
    errors->reportError(KelWideString("disk \xe9"), &level, KelCString("ctx"));
    EXPECT_EQ(errorOut.str(), "error: disk \xc3\xa9\n");
    EXPECT_EQ(host.errors().reports()[0].level, 3);
    EXPECT_EQ(host.errors().reports()[0].context, "ctx");
}
TEST(HostReportingTest, EachServiceKeepsOnlyTheLatestReports)
{
    IPtr<HostScriptEngine> engine(new HostScriptEngine);
    engine->quiet = true;
    HostErrorService errors;
    errors.setStream(nullptr);
    HostAssertHandler asserts;
    asserts.setStream(nullptr);
    for (int i = 0; i < 1000; ++i) {
        engine->reportError(KelWideString(std::to_string(i).c_str()), 0);
        errors.reportError(KelWideString(std::to_string(i).c_str()), nullptr, KelCString());
        asserts.handleAssert("x", "f", i);
    }
    const std::string first = std::to_string(1000 - kHostKeptReports);
    ASSERT_EQ(engine->messages().size(), kHostKeptReports);
    EXPECT_EQ(engine->messages().front(), first);
    EXPECT_EQ(engine->messages().back(), "999");
    ASSERT_EQ(errors.reports().size(), kHostKeptReports);
    EXPECT_EQ(errors.reports().front().message, first);
    ASSERT_EQ(asserts.failures().size(), kHostKeptReports);
    EXPECT_EQ(asserts.failures().back().line, 999);
}
}  // namespace
