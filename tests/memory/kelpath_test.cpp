// KelPath's canonical form, named directories and temporary file names.
#include "memory/kelpath.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <string>

#include "component/hostservices.h"
#include "platform/platform.h"
#include "tests/support/testprovider.h"

namespace {

KelWideString w(const char16_t* units)
{
    KelWideString text;
    text.assign(units);
    return text;
}

std::u16string u(const KelWideString& text)
{
    return text.chars();
}

std::string ascii(const KelWideString& text)
{
    std::u16string units = text.chars();
    return std::string(units.begin(), units.end());
}

std::u16string normalized(const char16_t* text)
{
    return u(KelPath(w(text)));
}

class FakeDirectories : public IKelDirService {
public:
    FakeDirectories() { count = 1; }  // owned by the test
    const KelWideString& getDirectory(const char* name) override
    {
        asked.push_back(name);
        return directories[name];
    }
    void queryInterface(const char* name, void* out, bool) override
    {
        *static_cast<void**>(out) = kelSameName(name, "IKelDirService") ? static_cast<IKelDirService*>(this) : nullptr;
    }
    const char* className() override { return "FakeDirectories"; }
    std::map<std::string, KelWideString> directories;
    std::vector<std::string> asked;
};

class FakeStore : public IDataStore {
public:
    FakeStore() { count = 1; }
    void declareAppStateGroup(const char*) override {}
    void declareIntAppState(const char*, int, int, int, int) override {}
    void declareStringAppState(const char*, int, const KelWideString&, int) override {}
    int getBool(const char*, int defaultValue) override { return defaultValue; }
    const KelWideString& getString(const char* key, int) override { return strings[key]; }
    void queryInterface(const char* name, void* out, bool) override
    {
        *static_cast<void**>(out) = kelSameName(name, "IDataStore") ? static_cast<IDataStore*>(this) : nullptr;
    }
    const char* className() override { return "FakeStore"; }
    std::map<std::string, KelWideString> strings;
};

// Each test starts with no held directory service and leaves none behind.
class KelPathServices : public testing::Test {
protected:
    KelPathServices() { kelForgetDirectoryService(); }
    ~KelPathServices() override { kelForgetDirectoryService(); }
    TestServiceProvider provider;
    FakeDirectories directories;
    FakeStore store;
};

}  // namespace

TEST(KelPath, NormalizeGivesTheCanonicalForm)
{
    EXPECT_EQ(normalized(u"c:/dir/"), u"c:\\dir");
    EXPECT_EQ(normalized(u"//c/dir/file"), u"c:\\dir\\file");
    EXPECT_EQ(normalized(u"//c/"), u"c:");
    EXPECT_EQ(normalized(u"//c"), u"\\\\c");
    EXPECT_EQ(normalized(u"//server"), u"\\\\server");
    EXPECT_EQ(normalized(u"c:\\"), u"c:");
    EXPECT_EQ(normalized(u"c:dir"), u"c:dir");
    EXPECT_EQ(normalized(u"\\"), u"\\");
    EXPECT_EQ(normalized(u"\\\\"), u"\\");
    EXPECT_EQ(normalized(u"a\\\\\\"), u"a");
    EXPECT_EQ(normalized(u""), u"");
    EXPECT_EQ(normalized(u"/home/user/\u00e9t\u00e9/"), u"\\home\\user\\\u00e9t\u00e9");
    // Inner doubled separators are not the canonical form's business.
    EXPECT_EQ(normalized(u"a//b"), u"a\\\\b");

    // Normalising again changes nothing.
    for (const char16_t* text : {u"//c/dir/file", u"c:/", u"\\\\x\\", u"//a//b//", u"/"}) {
        KelPath once(w(text));
        KelPath twice(once);
        twice.normalize();
        EXPECT_EQ(u(once), u(twice)) << ascii(w(text));
    }
}

TEST(KelPath, AppendAddsOneSeparator)
{
    EXPECT_EQ(u(KelPath().append("memory.log")), u"memory.log");
    EXPECT_EQ(u(KelPath().append(w(u"dir/sub/"))), u"dir\\sub");
    EXPECT_EQ(u(KelPath(w(u"c:")).append("memory.log")), u"c:\\memory.log");
    EXPECT_EQ(u(KelPath(w(u"\\")).append("name")), u"\\name");
    EXPECT_EQ(u(KelPath(w(u"c:\\logs")).append(w(u"a/b.txt"))), u"c:\\logs\\a\\b.txt");
    EXPECT_EQ(u(KelPath(w(u"/var")).append("log").append("kel")), u"\\var\\log\\kel");
}

TEST(KelPath, ForOpenGivesNativeSeparatorsAndDriveRoots)
{
    // This platform's file calls and Python texts take '/'.
    ASSERT_EQ(kelNativeSeparator(), u'/');
    EXPECT_EQ(u(KelPath(w(u"c:\\")).forOpen()), u"c:/");
    EXPECT_EQ(u(KelPath(w(u"c:dir")).forOpen()), u"c:dir");
    EXPECT_EQ(u(KelPath(w(u"\\tmp\\x\\errors.log")).forOpen()), u"/tmp/x/errors.log");
    EXPECT_EQ(u(KelPath(w(u"\\")).forOpen()), u"/");
    EXPECT_EQ(u(KelPath().forOpen()), u"");
    EXPECT_EQ(u(KelPath(w(u"/tmp/\u65e5")).forOpen()), u"/tmp/\u65e5");
}

TEST(KelPath, ExtensionIsTakenFromTheLastComponent)
{
    EXPECT_EQ(u(KelPath(w(u"c:\\dir.d\\file")).extension()), u"");
    EXPECT_EQ(u(KelPath(w(u"file.tar.gz")).extension()), u"gz");
    EXPECT_EQ(u(KelPath(w(u".profile")).extension()), u"profile");
    EXPECT_EQ(u(KelPath(w(u"file.")).extension()), u"");
    EXPECT_EQ(u(KelPath(w(u"c:\\scripts\\Run.PY")).extension()), u"PY");
    EXPECT_EQ(u(KelPath().extension()), u"");
}

TEST_F(KelPathServices, DirectoryServiceIsLookedUpOnce)
{
    // Without the service: the empty string, and the lookup is not repeated.
    EXPECT_TRUE(kelDirectory("macros").isEmpty());
    directories.directories["macros"] = w(u"/home/u/macros");
    provider.add("IKelDirService", &directories);
    int lookups = provider.lookups;
    EXPECT_TRUE(kelDirectory("macros").isEmpty());
    EXPECT_EQ(provider.lookups, lookups);

    kelForgetDirectoryService();
    EXPECT_EQ(u(kelDirectory("macros")), u"/home/u/macros");
    EXPECT_TRUE(kelDirectory("logs").isEmpty());
    EXPECT_EQ(directories.asked, (std::vector<std::string>{"macros", "logs"}));
    EXPECT_EQ(provider.lookups, lookups + 1);
}

TEST_F(KelPathServices, TempFileNameJoinsDirectoryProcessAndCounter)
{
    char pid[16];
    std::snprintf(pid, sizeof pid, "%08x", kelProcessId());
    const std::string name = std::string("kel-") + pid + "-[0-9a-f]{8}-temp";

    // Neither service: the bare name at the root.
    KelWideString result = w(u"old text");
    EXPECT_TRUE(kelTempFileName(result));
    EXPECT_TRUE(std::regex_match(ascii(result), std::regex("\\\\" + name))) << ascii(result);

    // The data store's setting comes as it is, a trailing separator included.
    provider.add("IDataStore", &store);
    store.strings["Directories/Temp Directory"] = w(u"d:\\work\\");
    kelTempFileName(result);
    EXPECT_TRUE(std::regex_match(ascii(result), std::regex("d:\\\\work\\\\\\\\" + name))) << ascii(result);

    // An empty setting falls back to the "temp" directory in its open form.
    store.strings["Directories/Temp Directory"] = KelWideString();
    directories.directories["temp"] = w(u"c:");
    provider.add("IKelDirService", &directories);
    kelForgetDirectoryService();  // the first name found none, and that sticks
    kelTempFileName(result);
    EXPECT_TRUE(std::regex_match(ascii(result), std::regex("c:/\\\\" + name))) << ascii(result);

    // Two names in a row differ.
    KelWideString other;
    kelTempFileName(other);
    EXPECT_NE(u(result), u(other));
}
