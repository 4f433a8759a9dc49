// KelPath's canonical form, named directories and temporary file names.
#include "memory/kelpath.h"

#include <gtest/gtest.h>

#include <regex>

#include "tests/memory/memoryfakes.h"

namespace {

std::string ascii(const KelWideString& text)
{
    std::u16string all = text.chars();
    return std::string(all.begin(), all.end());
}

class FakeDirectories : public FakeService<IKelDirService> {
public:
    const KelWideString& getDirectory(const char* name) override
    {
        asked.push_back(name);
        return directories[name];
    }
    std::map<std::string, KelWideString> directories;
    std::vector<std::string> asked;
};

// Each test starts with no held directory service and leaves none behind.
class KelPathServices : public testing::Test {
protected:
    KelPathServices() { kelForgetDirectoryService(); }
    ~KelPathServices() override { kelForgetDirectoryService(); }
    TestServiceProvider provider;
    FakeDirectories directories;
    FakeDataStore store;
};

}  // namespace

TEST(KelPath, CanonicalFormAppendAndExtension)
{
    struct {
        const char16_t *text, *canonical;
    } forms[] = {
        {u"c:/dir/", u"c:\\dir"}, {u"//c/dir/file", u"c:\\dir\\file"}, {u"//c/", u"c:"}, {u"//c", u"\\\\c"},
        {u"//server", u"\\\\server"}, {u"c:\\", u"c:"}, {u"c:dir", u"c:dir"}, {u"\\", u"\\"}, {u"\\\\", u"\\"},
        {u"a\\\\\\", u"a"}, {u"", u""}, {u"/home/\u00e9t\u00e9/", u"\\home\\\u00e9t\u00e9"},
        {u"a//b", u"a\\\\b"},  // inner doubled separators are not the canonical form's business
    };
    for (auto form : forms)
        EXPECT_EQ(units(KelPath(wide(form.text))), form.canonical) << ascii(wide(form.text));

    // Append adds one separator.
    EXPECT_EQ(units(KelPath().append("memory.log")), u"memory.log");
    EXPECT_EQ(units(KelPath().append(wide(u"dir/sub/"))), u"dir\\sub");
    EXPECT_EQ(units(KelPath(wide(u"c:")).append("memory.log")), u"c:\\memory.log");
    EXPECT_EQ(units(KelPath(wide(u"\\")).append("name")), u"\\name");

    // The extension comes from the last component.
    for (auto form : {std::pair(u"c:\\dir.d\\file", u""), {u"file.tar.gz", u"gz"}, {u".profile", u"profile"},
                      {u"file.", u""}, {u"c:\\scripts\\Run.PY", u"PY"}, {u"", u""}})
        EXPECT_EQ(units(KelPath(wide(form.first)).extension()), form.second) << ascii(wide(form.first));
}

TEST(KelPath, ForOpenGivesNativeSeparatorsAndDriveRoots)
{
    // File calls and Python texts take the native separator: '/' on POSIX,
    // where a backslash is a name character, and '\' on Windows.
    auto native = [](std::u16string text) {
        for (char16_t& unit : text)
            if (unit == u'\\')
                unit = kelNativeSeparator();
        return text;
    };
    for (auto form : {std::pair(u"c:\\", u"c:\\"), {u"c:dir", u"c:dir"}, {u"\\tmp\\x\\errors.log", u"\\tmp\\x\\errors.log"},
                      {u"\\", u"\\"}, {u"", u""}, {u"/tmp/\u65e5", u"\\tmp\\\u65e5"}})
        EXPECT_EQ(units(KelPath(wide(form.first)).forOpen()), native(form.second)) << ascii(wide(form.first));
}

TEST(KelPath, AbsolutePathsStayAndRelativeOnesJoinTheCurrentDirectory)
{
    const KelPath current = kelAbsolutePath(KelPath());
    EXPECT_TRUE(kelIsAbsolutePath(current.chars())) << ascii(current);
    EXPECT_EQ(units(kelAbsolutePath(current)), units(current));
    EXPECT_EQ(units(kelAbsolutePath(KelPath(wide(u"sub/file")))), units(current) + u"\\sub\\file");
}

TEST_F(KelPathServices, DirectoryServiceIsLookedUpOnce)
{
    // Without the service: the empty string, and the lookup is not repeated.
    EXPECT_TRUE(kelDirectory("macros").isEmpty());
    directories.directories["macros"] = wide(u"/home/u/macros");
    provider.add("IKelDirService", &directories);
    int lookups = provider.lookups;
    EXPECT_TRUE(kelDirectory("macros").isEmpty());
    EXPECT_EQ(provider.lookups, lookups);

    kelForgetDirectoryService();
    EXPECT_EQ(units(kelDirectory("macros")), u"/home/u/macros");
    EXPECT_TRUE(kelDirectory("logs").isEmpty());
    EXPECT_EQ(directories.asked, (std::vector<std::string>{"macros", "logs"}));
    EXPECT_EQ(provider.lookups, lookups + 1);
}

TEST_F(KelPathServices, TempFileNameJoinsDirectoryProcessAndCounter)
{
    char pid[16];
    std::snprintf(pid, sizeof pid, "%08x", kelProcessId());
    const std::string name = std::string("kel-") + pid + "-[0-9a-f]{8}-temp";
    auto matches = [&](const KelWideString& result, const std::string& directory) {
        return std::regex_match(ascii(result), std::regex(directory + name));
    };

    // Neither service: the bare name at the root.
    KelWideString result = wide(u"old text");
    EXPECT_TRUE(kelTempFileName(result));
    EXPECT_TRUE(matches(result, "\\\\")) << ascii(result);
    // The data store's setting comes as it is, a trailing separator included.
    provider.add("IDataStore", &store);
    store.strings["Directories/Temp Directory"] = wide(u"d:\\work\\");
    kelTempFileName(result);
    EXPECT_TRUE(matches(result, "d:\\\\work\\\\\\\\")) << ascii(result);
    // An empty setting falls back to the "temp" directory in its open form.
    store.strings["Directories/Temp Directory"] = KelWideString();
    directories.directories["temp"] = wide(u"c:");
    provider.add("IKelDirService", &directories);
    kelForgetDirectoryService();  // the first name found none, and that sticks
    kelTempFileName(result);
    EXPECT_TRUE(matches(result, kelNativeSeparator() == u'/' ? "c:/\\\\" : "c:\\\\\\\\")) << ascii(result);

    KelWideString other;
    kelTempFileName(other);
    EXPECT_NE(units(result), units(other)) << "two names in a row differ";
}
