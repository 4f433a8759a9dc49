// Which folder of packages the host's settings put ahead of the system's
// site-packages, on real directories: a virtual environment is used only when
// it is one of this Python's, and a named one replaces the per-user folder
// even when it cannot be used.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "host/hostpath.h"
#include "script/sitepackages.h"
#include "tests/support/testprovider.h"

namespace {

namespace fs = std::filesystem;

// A directory laid out as `python3 -m venv` lays one out for `version`.
std::string makeEnvironment(const TempDir& dir, const std::string& name, const std::string& version)
{
    fs::create_directories(dir.file(name + "/lib/python" + version + "/site-packages"));
    std::ofstream(dir.file(name + "/pyvenv.cfg")) << "home = /usr/bin\ninclude-system-site-packages = false\n"
                                                  << " version = " << version << ".2\r\n";
    return dir.file(name);
}

struct Outcome {
    std::string folder;  // native
    std::string problem;
};

Outcome sitePackages(const std::string& environment, const std::string& userFolder)
{
    KelSitePackages found = kelSitePackages(kelHostWidePath(environment), kelHostWidePath(userFolder), "3.11");
    return {found.folder.isEmpty() ? std::string() : kelHostNativePath(found.folder), found.problem};
}

TEST(SitePackagesTest, AnEnvironmentOfThisPythonReplacesTheUserFolder)
{
    TempDir dir;
    const std::string good = makeEnvironment(dir, "venv", "3.11");
    const std::string user = dir.file("user");
    const struct {
        std::string environment, userFolder;
        Outcome expected;
    } cases[] = {
        {"", "", {"", ""}},
        {"", user, {user, ""}},  // need not exist
        {good, user, {good + "/lib/python3.11/site-packages", ""}},
        {good + "/", "", {good + "/lib/python3.11/site-packages", ""}},
    };
    for (const auto& c : cases) {
        Outcome found = sitePackages(c.environment, c.userFolder);
        EXPECT_EQ(found.folder, c.expected.folder) << c.environment << " | " << c.userFolder;
        EXPECT_EQ(found.problem, c.expected.problem) << c.environment << " | " << c.userFolder;
    }

    // Relative names are taken in the current directory.
    const fs::path before = fs::current_path();
    fs::current_path(dir.path());
    Outcome relativeEnvironment = sitePackages("venv", "");
    Outcome relativeUser = sitePackages("", "sub/user");
    fs::current_path(before);
    EXPECT_EQ(relativeEnvironment.folder, good + "/lib/python3.11/site-packages");
    EXPECT_EQ(relativeUser.folder, dir.file("sub/user"));
}

TEST(SitePackagesTest, AnUnusableEnvironmentSaysWhyAndGivesNoFolder)
{
    TempDir dir;
    const std::string other = makeEnvironment(dir, "venv312", "3.12");
    fs::create_directories(dir.file("plain"));
    std::ofstream(dir.file("file")) << "x";
    fs::create_directories(dir.file("fifo"));
    ASSERT_EQ(::mkfifo(dir.file("fifo/pyvenv.cfg").c_str(), 0600), 0);  // must not be waited on
    fs::create_directories(dir.file("bare"));
    std::ofstream(dir.file("bare/pyvenv.cfg")) << "home = /usr/bin\n";
    const struct {
        std::string environment, problem;
    } cases[] = {
        {dir.file("missing"), "\"" + dir.file("missing") + "\" is not a directory"},
        {dir.file("file"), "\"" + dir.file("file") + "\" is not a directory"},
        {dir.file("plain"), "\"" + dir.file("plain") + "\" is not a virtual environment: it has no pyvenv.cfg"},
        {dir.file("fifo"), "\"" + dir.file("fifo") + "\" is not a virtual environment: it has no pyvenv.cfg"},
        {other, "\"" + other + "\" is a virtual environment of Python 3.12, not 3.11"},
        {dir.file("bare"),
         "\"" + dir.file("bare") + "\" has no \"" + dir.file("bare") + "/lib/python3.11/site-packages\""},
    };
    for (const auto& c : cases) {
        Outcome found = sitePackages(c.environment, dir.file("user"));
        EXPECT_EQ(found.folder, "") << c.environment;
        EXPECT_EQ(found.problem, c.problem);
    }
}

}  // namespace
