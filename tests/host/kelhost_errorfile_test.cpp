// The engine's error file through kelhost as a real process: things planted
// under its name, concurrent runs in one directory, a relative macros
// directory with a script that changes the current directory, a file size
// limit, the end of a run by SIGTERM, the private default directory, and
// output that cannot be written.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/host/kelhostrun.h"

namespace {

namespace fs = std::filesystem;

const char kErrorFile[] = "python_script_errors.log";

class KelhostErrorFileTest : public KelhostTest {
protected:
    // Runs a shell line in the test's folder; both streams come back in
    // `out` through a pipe, so a file size limit in the line cannot touch
    // them.
    KelhostRun shell(const std::string& line)
    {
        std::string command = "cd " + shellQuote(dir.path()) + " && K=" + shellQuote(KELHOST_PATH) + " && (" + line +
                              "; echo $? >" + shellQuote(dir.file("status")) + ") 2>&1 </dev/null | cat >out";
        KelhostRun run;
        int done = std::system(("bash -c " + shellQuote(command)).c_str());
        run.status = done == 0 ? std::stoi("0" + readFile(dir.file("status"))) : -1;
        run.out = readFile(dir.file("out"));
        return run;
    }
};

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST_F(KelhostErrorFileTest, NothingPlantedUnderItsNameIsWrittenOrWaitedOn)
{
    std::string target = write("target.txt", "keep");
    std::string planted = dir.file("macros/") + kErrorFile;
    const struct {
        const char* what;
        const char* reason;
    } cases[] = {{"symlink", "it is a symbolic link"}, {"fifo", "it is not a regular file"},
                 {"directory", "Is a directory"}, {"hardlink", "it has other names"},
                 {"another user's file", "it belongs to another user"},
                 {"no macros directory", "No such file or directory"}};
    for (const auto& c : cases) {
        fs::remove_all(dir.file("macros"));
        std::string what = c.what;
        if (what != "no macros directory")
            fs::create_directory(dir.file("macros"));
        if (what == "symlink")
            fs::create_symlink(target, planted);
        else if (what == "fifo")
            ASSERT_EQ(mkfifo(planted.c_str(), 0600), 0);
        else if (what == "directory")
            fs::create_directory(planted);
        else if (what == "hardlink")
            fs::create_hard_link(target, planted);
        else if (what != "no macros directory" &&
                 (!fs::copy_file(target, planted) || chown(planted.c_str(), 65534, 65534) != 0))
            continue;  // another user's file: only a superuser can plant it here
        KelhostRun run = shell("timeout 20 \"$K\" --macros macros exec '1/0'");
        EXPECT_EQ(run.status, 1) << what;
        EXPECT_EQ(run.out, "Python interpreter error:\ncannot write the error file " + planted + " (" + c.reason +
                               "); Python's errors go to the standard error stream\nTraceback (most recent call "
                               "last):\n  File \"<string>\", line 1, in <module>\nZeroDivisionError: division by "
                               "zero\n")
            << what;
        EXPECT_EQ(fs::exists(fs::symlink_status(planted)), what != "no macros directory") << what << ": left alone";
        EXPECT_EQ(readFile(target), "keep") << what;
    }
}

TEST_F(KelhostErrorFileTest, AReadOnlyMacrosDirectoryGivesOneMessage)
{
    // Only another user meets a read-only directory: the superuser writes
    // anywhere.
    if (getuid() != 0 || std::system("command -v setpriv >/dev/null") != 0)
        GTEST_SKIP() << "needs the superuser and setpriv";
    fs::create_directory(dir.file("macros"));
    fs::permissions(dir.path(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(dir.file("macros"), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    KelhostRun run = shell("setpriv --reuid=65534 --regid=65534 --clear-groups \"$K\" --macros macros exec "
                           "'print(\"ran\")'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "Python interpreter error:\ncannot write the error file " + dir.file("macros/") + kErrorFile +
                           " (Permission denied); Python's errors go to the standard error stream\nran\n");
}

TEST_F(KelhostErrorFileTest, ConcurrentFailingRunsEachReportTheirOwnWholeError)
{
    fs::create_directory(dir.file("macros"));
    const int kRuns = 8;
    std::string line = "for i in $(seq " + std::to_string(kRuns) +
                       "); do \"$K\" --macros macros exec \"import time\ntime.sleep(0.02)\nraise "
                       "ValueError('run $i ' + 'x' * 3000)\" 2>err$i & done; wait";
    shell(line);
    for (int i = 1; i <= kRuns; ++i) {
        std::string err = readFile(dir.file("err" + std::to_string(i)));
        EXPECT_EQ(err, "Python interpreter error:\nTraceback (most recent call last):\n  File \"<string>\", line 3, "
                       "in <module>\nValueError: run " + std::to_string(i) + " " + std::string(3000, 'x') + "\n\n")
            << "run " << i;
    }
    EXPECT_TRUE(fs::is_empty(dir.file("macros")));

    // A run inside a run of the same directory (the outer one waits for it)
    // neither waits for the outer run's file nor shares it.
    KelhostRun nested = shell("timeout 30 \"$K\" --macros macros exec 'import subprocess, sys\n"
                              "subprocess.run([\"" KELHOST_PATH "\", \"--macros\", \"macros\", \"exec\", "
                              "\"raise KeyError(\\\"inner\\\")\"])\nraise KeyError(\"outer\")'");
    EXPECT_EQ(nested.status, 1);
    EXPECT_TRUE(contains(nested.out, "in <module>\nKeyError: 'inner'\n\nPython interpreter error:\nTraceback"))
        << nested.out;
    EXPECT_TRUE(contains(nested.out, "line 3, in <module>\nKeyError: 'outer'\n")) << nested.out;
    EXPECT_TRUE(fs::is_empty(dir.file("macros")));
}

TEST_F(KelhostErrorFileTest, ARelativeMacrosDirectoryHoldsWhenTheScriptChangesDirectory)
{
    // In a current directory whose name is no UTF-8 and holds a backslash.
    const std::string here = "here\xff\\";
    fs::create_directories(dir.file(here + "/macros"));
    fs::create_directories(dir.file(here + "/elsewhere/macros"));
    write(here + "/elsewhere/macros/" + kErrorFile, "unrelated");
    KelhostRun run = shell("cd " + shellQuote(here) + " && \"$K\" --macros macros exec 'import os\n"
                           "os.chdir(\"elsewhere\")\nprint(errFileName == os.path.join(os.path.dirname(os.getcwd()), "
                           "\"macros\", \"" + std::string(kErrorFile) + "\"))\n1/0'");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "True\nPython interpreter error:\nTraceback (most recent call last):\n  File \"<string>\", "
                       "line 4, in <module>\nZeroDivisionError: division by zero\n\n");
    EXPECT_TRUE(fs::is_empty(dir.file(here + "/macros")));
    EXPECT_EQ(readFile(dir.file(here + "/elsewhere/macros/" + kErrorFile)), "unrelated");
}

TEST_F(KelhostErrorFileTest, AFileSizeLimitStillShowsTheScriptsTraceback)
{
    fs::create_directory(dir.file("macros"));
    KelhostRun run =
        shell("(ulimit -f 0; exec \"$K\" --macros macros exec 'def f():\n    raise ValueError(\"mine\")\nf()')");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "Python interpreter error:\nTraceback (most recent call last):\n  File \"<string>\", line 3, "
                       "in <module>\n  File \"<string>\", line 2, in f\nValueError: mine\n(the error file could not "
                       "take this text: OSError: [Errno 27] File too large)\n\n");
    EXPECT_TRUE(fs::is_empty(dir.file("macros")));
}

TEST_F(KelhostErrorFileTest, SigtermDuringARunLeavesNoErrorFile)
{
    fs::create_directory(dir.file("macros"));
    std::string file = std::string("macros/") + kErrorFile;
    KelhostRun run = shell("\"$K\" --macros macros exec 'kel.sleep(30)' & pid=$!; n=0; while [ ! -e " + file +
                           " ] && [ $n -lt 200 ]; do sleep 0.05; n=$((n+1)); done; kill -TERM $pid; wait $pid");
    EXPECT_EQ(run.status, 128 + 15);
    EXPECT_TRUE(fs::is_empty(dir.file("macros")));
}

TEST_F(KelhostErrorFileTest, TheDefaultDirectoryIsPrivateToTheUser)
{
    std::string mine = dir.file("kelhost-" + std::to_string(getuid()));
    KelhostRun run = shell("TMPDIR=. \"$K\" exec '1/0'");
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.out, "ZeroDivisionError")) << run.out;
    struct stat status;
    ASSERT_EQ(lstat(mine.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    EXPECT_TRUE(fs::is_empty(mine));
    // Made by somebody else first: refused, nothing runs.
    fs::permissions(mine, fs::perms::all);
    run = shell("TMPDIR=. \"$K\" exec 'print(\"ran\")'");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "kelhost: the private directory './kelhost-" + std::to_string(getuid()) +
                           "' is not safe to use (others may write to it); give --macros and --logs\n");
    fs::remove(mine);
    fs::create_directory_symlink(dir.path(), mine);
    EXPECT_EQ(shell("TMPDIR=. \"$K\" exec 'print(\"ran\")'").status, 2);
}

TEST_F(KelhostErrorFileTest, OutputThatCannotBeWrittenFailsTheRun)
{
    for (const char* mode : {"", "--console "}) {
        KelhostRun full = shell(std::string("\"$K\" --macros . exec ") + mode + "'print(\"hi\")' >/dev/full");
        EXPECT_EQ(full.status, 1) << mode;
        EXPECT_TRUE(contains(full.out, "No space left on device") || contains(full.out, "cannot write")) << full.out;
        KelhostRun pipe = shell(std::string("\"$K\" --macros . exec ") + mode +
                                "'for i in range(100000): print(i)' | head -1 >/dev/null; exit ${PIPESTATUS[0]}");
        EXPECT_EQ(pipe.status, 1) << mode;
    }
    // A writer of the script's own without flush has nothing to lose.
    KelhostRun own = shell("\"$K\" --macros . exec 'import sys\nclass W:\n    def write(self, s): pass\n"
                           "sys.stdout = W()\nprint(1)' >/dev/full");
    EXPECT_EQ(own.status, 0) << own.out;
}

}  // namespace
