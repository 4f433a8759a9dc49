// The error file of a run in file mode.
#include "script/scripterrorfile.h"

#include "platform/platform.h"
#include "script/commandbridge.h"
#include "text/utf16text.h"

namespace {

// What the outermost run set up, shared with the runs nested in it.
struct OuterRun {
    int depth = 0;
    int lock = -1;
    bool told = false;    // a failure to open was told to the user
    bool opened = false;  // the file is this run's to remove
    KelPath directory;
    KelPath file;
};

OuterRun& outerRun()
{
    static auto* run = new OuterRun;
    return *run;
}

void tellUser(const KelPath& file, const char* reason)
{
    std::string path = kelUtf8OfUnits(file.forOpen().chars(), KelLoneSurrogate::replace);
    reportToUser("Python interpreter error:\n%1", "cannot write the error file " + path + " (" + reason +
                                                       "); Python's errors go to the standard error stream");
}

const char kFileName[] = "python_script_errors";

KelPath fileIn(const KelPath& directory, bool shared)
{
    std::string name = kFileName;
    if (!shared)
        name += "-" + std::to_string(kelProcessId());
    KelPath file = directory;
    file.append((name + ".log").c_str());
    return file;
}

}  // namespace

ScriptErrorFile::ScriptErrorFile()
{
    OuterRun& run = outerRun();
    if (run.depth++ > 0)
        return;
    run.told = false;
    run.opened = false;
    run.directory = kelAbsolutePath(KelPath(kelDirectory("macros")));
    run.lock = kelLockDirectory(run.directory.forOpen().chars());
    run.file = fileIn(run.directory, run.lock != -2);
}

KelPath ScriptErrorFile::currentPath()
{
    if (outerRun().depth > 0)
        return outerRun().file;
    return fileIn(kelAbsolutePath(KelPath(kelDirectory("macros"))), true);
}

ScriptErrorFile::~ScriptErrorFile()
{
    OuterRun& run = outerRun();
    if (--run.depth > 0)
        return;
    kelUnlockDirectory(run.lock);
    run.lock = -1;
}

const KelPath& ScriptErrorFile::path() const
{
    return outerRun().file;
}

int ScriptErrorFile::open()
{
    OuterRun& run = outerRun();
    char reason[256];
    int fd = kelOpenOwnFile(run.file.forOpen().chars(), true, reason, sizeof reason);
    run.opened = run.opened || fd >= 0;
    if (fd < 0 && !run.told) {
        run.told = true;
        tellUser(run.file, reason);
    }
    return fd;
}

// A script can write gigabytes there: the message shows the head of the
// file, which is the most a user reads and always fits the host's strings.
std::string ScriptErrorFile::read() const
{
    const size_t kShownBytes = 1 << 20;
    std::string bytes;
    char reason[256];
    int fd = kelOpenOwnFile(path().forOpen().chars(), false, reason, sizeof reason);
    if (fd < 0)
        return bytes;
    bytes.resize(kShownBytes + 1);
    size_t size = 0;
    long long got;
    while (size < bytes.size() && (got = kelRead(fd, &bytes[size], bytes.size() - size)) > 0)
        size += static_cast<size_t>(got);
    kelClose(fd);
    bytes.resize(size < kShownBytes ? size : kShownBytes);
    if (size > kShownBytes)
        bytes += "\n...";
    return bytes;
}

void ScriptErrorFile::remove() const
{
    // Whatever stands under the name when the run could not open it is
    // somebody else's.
    if (outerRun().opened)
        kelWUnlink(path().forOpen().chars());
}
