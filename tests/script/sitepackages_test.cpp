// The folder of packages that the settings name, for the cases the kelhost
// tests do not reach: odd files under the environment's names, a
// pyvenv.cfg without a version, names relative to the current directory.
// (tests/host/kelhost_packages_test.cpp runs real environments.)
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "host/hostpath.h"
#include "script/sitepackages.h"
#include "tests/support/testprovider.h"

namespace {

namespace fs = std::filesystem;

struct Outcome {
    std::string folder;  // native
    std::string problem;
};

Outcome sitePackages(const std::string& environment, const std::string& userFolder)
{
    KelSitePackages found = kelSitePackages(kelHostWidePath(environment), kelHostWidePath(userFolder), "3.11");
    return {found.folder.isEmpty() ? std::string() : kelHostNativePath(found.folder), found.problem};
}

TEST(SitePackagesTest, OddEnvironmentsAreRefusedAndRelativeNamesTakenInTheCurrentDirectory)
{
    TempDir dir;
    fs::create_directories(dir.file("venv/lib/python3.11/site-packages"));
    std::ofstream(dir.file("venv/pyvenv.cfg")) << "home = /usr/bin\n";
    std::ofstream(dir.file("file")) << "x";
    fs::create_directories(dir.file("fifo"));
    ASSERT_EQ(::mkfifo(dir.file("fifo/pyvenv.cfg").c_str(), 0600), 0);  // never opened, so never waited on
    fs::create_directories(dir.file("bare"));
    std::ofstream(dir.file("bare/pyvenv.cfg")) << "version_info = 3.11.4.final.0\n";
    const std::string site = "/lib/python3.11/site-packages";
    const struct {
        std::string environment, userFolder;
        Outcome expected;
    } cases[] = {
        {"venv/", "user", {dir.file("venv") + site, ""}},
        {"", "sub/user", {dir.file("sub/user"), ""}},  // need not exist
        {"file", "user", {"", "\"" + dir.file("file") + "\" is not a directory"}},
        {"fifo", "user", {"", "\"" + dir.file("fifo") + "\" is not a virtual environment: it has no pyvenv.cfg"}},
        {"bare", "user", {"", "\"" + dir.file("bare") + "\" has no \"" + dir.file("bare") + site + "\""}},
    };
    const fs::path before = fs::current_path();
    fs::current_path(dir.path());
    for (const auto& c : cases) {
        Outcome found = sitePackages(c.environment, c.userFolder);
        EXPECT_EQ(found.folder, c.expected.folder) << c.environment << " | " << c.userFolder;
        EXPECT_EQ(found.problem, c.expected.problem) << c.environment << " | " << c.userFolder;
    }
    fs::current_path(before);
}

}  // namespace
