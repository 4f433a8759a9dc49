// Packages for scripts through kelhost as a real process: a virtual
// environment made by Debian's python3 -m venv, the user's folder filled as
// pip install --target fills it, and settings that name no usable
// environment. Whatever the settings, the packages folder stands ahead of the
// system's site-packages and sys.path ends in '.', the "exe" directory and
// its pyscripts.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/host/kelhostrun.h"

namespace {

namespace fs = std::filesystem;

class KelhostPackagesTest : public KelhostTest {
protected:
    // A module of the same name in the current directory, which comes after
    // the packages folder.
    void SetUp() override
    {
        fs::create_directories(dir.file("work"));
        place(dir.file("work"), "kelshadow.py", "where = 'current directory'\n");
    }
    static void place(const std::string& folder, const std::string& name, const std::string& text)
    {
        fs::create_directories(fs::path(folder + "/" + name).parent_path());
        std::ofstream(folder + "/" + name, std::ios::binary) << text;
    }
    KelhostRun inWork(const std::string& arguments, const std::string& environment = "")
    {
        return kelhost(arguments, "", "cd " + shellQuote(dir.file("work")) + " && " + environment);
    }
};

// Checks the order of sys.path and prints where kelshadow came from.
const char kCheckPath[] =
    "import os, sys, kelshadow\n"
    "folder = os.path.dirname(kelshadow.__file__)\n"
    "others = [p for p in sys.path if p.endswith(('site-packages', 'dist-packages')) and p != folder]\n"
    "assert others and all(sys.path.index(p) > sys.path.index(folder) for p in others), sys.path\n"
    "assert sys.path[-3:] == ['.', AppPath, AppPath + '/pyscripts'], sys.path\n"
    "assert sys.path.count(folder) == 1, sys.path\n"
    "print(kelshadow.where)\n";

TEST_F(KelhostPackagesTest, AVirtualEnvironmentsPackagesComeFirst)
{
    const std::string env = dir.file("env 'é");
    ASSERT_EQ(std::system(("/usr/bin/python3 -m venv --without-pip " + shellQuote(env)).c_str()), 0)
        << "Debian's python3-venv is needed";
    const std::string site = env + "/lib/python3.11/site-packages";
    place(site, "kelshadow.py", "where = 'venv'\n");
    // A .pth file is read as Python reads those of site-packages.
    place(site, "extra.pth", dir.file("extra") + "\n");
    place(dir.file("extra"), "kelextra.py", "");
    // The user's folder is not used while an environment is named.
    place(dir.file("data/kelhost/python3.11"), "kelshadow.py", "where = 'user folder'\n");
    const std::string script = write("check.py", std::string(kCheckPath) + "import kelextra\n");
    const std::string data = "XDG_DATA_HOME=" + shellQuote(dir.file("data")) + " ";

    const std::string ways[] = {
        "--python-env " + shellQuote(env),
        "--python-env ../" + shellQuote(fs::path(env).filename().string()),
        "--set " + shellQuote("Advanced/python virtual environment=" + env),
        "--python-env " + shellQuote(env) + " --set 'Advanced/python environment=1'",
    };
    for (const std::string& way : ways) {
        KelhostRun run = inWork(way + " run " + shellQuote(script), data);
        EXPECT_EQ(run.status, 0) << way << "\n" << run.err;
        EXPECT_EQ(run.out, "venv\n") << way;
        EXPECT_EQ(run.err, "") << way;
    }

    // An environment's python3 first on PATH (an activated one) neither
    // chooses the Python nor takes the system's site-packages away.
    const std::string onPath = write("onpath.py", std::string(kCheckPath) +
                                                      "assert sys.prefix == sys.base_prefix, sys.prefix\n"
                                                      "assert 'env' not in sys.executable, sys.executable\n");
    KelhostRun run = inWork("run " + shellQuote(onPath), data + "PATH=" + shellQuote(env) + "/bin:\"$PATH\" ");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "user folder\n");
}

TEST_F(KelhostPackagesTest, TheUsersFolderTakesWhatPipPutsThere)
{
    // As pip install --target leaves a package: the package and its
    // metadata, under a name that need not be UTF-8.
    const std::string data = dir.file("data '\xe9");
    const std::string folder = data + "/kelhost/python3.11";
    place(folder, "kelshadow.py", "where = 'user folder'\n");
    place(folder, "kelprobe/__init__.py", "");
    place(folder, "kelprobe-1.2.dist-info/METADATA", "Metadata-Version: 2.1\nName: kelprobe\nVersion: 1.2\n");
    const std::string script = write("check.py", std::string(kCheckPath) +
                                                      "import importlib.metadata, kelprobe\n"
                                                      "print(importlib.metadata.version('kelprobe'))\n");
    KelhostRun run = inWork("run " + shellQuote(script), "XDG_DATA_HOME=" + shellQuote(data) + " ");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "user folder\n1.2\n");

    // Without XDG_DATA_HOME, or with a relative one, the folder is under
    // ~/.local/share; a setting names another; a missing one is not made.
    place(dir.file("home/.local/share/kelhost/python3.11"), "kelshadow.py", "where = 'home'\n");
    place(dir.file("set"), "kelshadow.py", "where = 'setting'\n");
    const std::string home = "HOME=" + shellQuote(dir.file("home")) + " ";
    const struct {
        std::string environment, arguments, out;
    } cases[] = {
        {"env -u XDG_DATA_HOME " + home, "", "home\n"},
        {home + "XDG_DATA_HOME=relative ", "", "home\n"},
        {home, "--set " + shellQuote("Directories/Python Packages Directory=" + dir.file("set")) + " ", "setting\n"},
    };
    for (const auto& c : cases) {
        KelhostRun each = inWork(c.arguments + "run " + shellQuote(script), c.environment);
        EXPECT_EQ(each.status, 1) << c.environment << c.arguments;  // kelprobe lives in the other folder
        EXPECT_EQ(each.out, c.out) << c.environment << c.arguments << "\n" << each.err;
    }
    const std::string seeMissing = write("missing.py",
                                         "import sys, kelshadow\n"
                                         "print(kelshadow.where)\n"
                                         "print(sum(p.endswith('/none/kelhost/python3.11') for p in sys.path))\n");
    KelhostRun missing = inWork("run " + shellQuote(seeMissing), "XDG_DATA_HOME=" + shellQuote(dir.file("none")) + " ");
    EXPECT_EQ(missing.status, 0) << missing.err;
    EXPECT_EQ(missing.out, "current directory\n1\n");
    EXPECT_FALSE(fs::exists(dir.file("none")));
}

TEST_F(KelhostPackagesTest, AHostileFolderDoesNotStopTheHost)
{
    // .pth lines run as Python runs them; one that raises, or ends Python,
    // costs its own line and the script still runs.
    const std::string folder = dir.file("data/kelhost/python3.11");
    place(folder, "a.pth", "import sys; sys.exit(3)\n");
    place(folder, "b.pth", "import nonexistentmodule\n");
    KelhostRun run = inWork("exec 'print(1)'", "XDG_DATA_HOME=" + shellQuote(dir.file("data")) + " ");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "1\n");
    EXPECT_NE(run.err.find("SystemExit: 3"), std::string::npos) << run.err;
}

TEST_F(KelhostPackagesTest, AnUnusableEnvironmentIsToldAndPythonStartsWithTheSystemsPaths)
{
    fs::create_directories(dir.file("plain"));
    fs::create_directories(dir.file("env312/lib/python3.12/site-packages"));
    place(dir.file("env312"), "pyvenv.cfg", "home = /usr/bin\nversion = 3.12.1\n");
    place(dir.file("data/kelhost/python3.11"), "kelshadow.py", "where = 'user folder'\n");
    const std::string told = "The Python virtual environment is not used:\n\"";
    const struct {
        std::string directory, problem;
    } cases[] = {
        {dir.file("missing"), dir.file("missing") + "\" is not a directory\n"},
        {dir.file("plain"), dir.file("plain") + "\" is not a virtual environment: it has no pyvenv.cfg\n"},
        {dir.file("env312"), dir.file("env312") + "\" is a virtual environment of Python 3.12, not 3.11\n"},
    };
    const std::string script = write("check.py",
                                     "import sys, kelshadow\n"
                                     "assert sys.path[-3:] == ['.', AppPath, AppPath + '/pyscripts'], sys.path\n"
                                     "assert not [p for p in sys.path if 'kelhost' in p or 'env312' in p], sys.path\n"
                                     "print(kelshadow.where)\n");
    for (const auto& c : cases) {
        for (const char* mode : {"", "--console "}) {
            KelhostRun run = inWork("--python-env " + shellQuote(c.directory) + " run " + mode + shellQuote(script),
                                    "XDG_DATA_HOME=" + shellQuote(dir.file("data")) + " ");
            EXPECT_EQ(run.status, 0) << run.err;
            EXPECT_EQ(run.out, "current directory\n");
            EXPECT_EQ(run.err, told + c.problem);
        }
    }
}

}  // namespace
