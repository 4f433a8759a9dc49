// kelhost's signal dispositions.
#include "host/hostsignals.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace {

// The two names a run of this process may give the error file.
char errorFilePaths[2][4096];

// Async-signal-safe throughout: lstat, fstat, unlink, signal and raise.
bool openHere(const struct stat& file)
{
    struct stat status;
    for (int fd = 0; fd < 1024; ++fd) {
        if (fstat(fd, &status) == 0 && status.st_dev == file.st_dev && status.st_ino == file.st_ino)
            return true;
    }
    return false;
}

void onTerminate(int signalNumber)
{
    kelHostRemoveRunErrorFile();
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}

}  // namespace

void kelHostRemoveRunErrorFile()
{
    struct stat file;
    for (const char* path : errorFilePaths) {
        if (path[0] && lstat(path, &file) == 0 && S_ISREG(file.st_mode) && openHere(file))
            unlink(path);
    }
}

void kelHostInstallSignals(const std::string& macros)
{
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    const std::string names[2] = {macros + "/python_script_errors.log",
                                  macros + "/python_script_errors-" + std::to_string(getpid()) + ".log"};
    for (int i = 0; i < 2; ++i) {
        if (names[i].size() < sizeof errorFilePaths[i])
            std::memcpy(errorFilePaths[i], names[i].c_str(), names[i].size() + 1);
    }
    struct sigaction action = {};
    action.sa_handler = onTerminate;
    sigemptyset(&action.sa_mask);
    for (int signalNumber : {SIGTERM, SIGHUP}) {
        struct sigaction previous;
        // A signal that the caller ignores (nohup) stays ignored.
        if (sigaction(signalNumber, nullptr, &previous) == 0 && previous.sa_handler != SIG_IGN)
            sigaction(signalNumber, &action, nullptr);
    }
}
