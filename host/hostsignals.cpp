// kelhost's signal dispositions.
#include "host/hostsignals.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace {

char errorFilePath[4096];

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
    struct stat file;
    if (errorFilePath[0] && lstat(errorFilePath, &file) == 0 && S_ISREG(file.st_mode) && openHere(file))
        unlink(errorFilePath);
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}

}  // namespace

void kelHostInstallSignals(const std::string& errorFile)
{
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    if (errorFile.size() >= sizeof errorFilePath)
        return;
    std::memcpy(errorFilePath, errorFile.c_str(), errorFile.size() + 1);
    struct sigaction action = {};
    action.sa_handler = onTerminate;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);
}
