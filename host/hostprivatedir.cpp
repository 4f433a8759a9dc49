// kelhost's private directory: the default for the macros and logs
// directories, where the engine's error file and the memory report live.
// The shared temporary directory would let other users plant a link or a
// FIFO under their fixed names, or read them.
#include "host/kelhost_app.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

std::string kelHostPrivateDirectory(const std::string& temp, std::string& error)
{
    std::string path = temp + "/kelhost-" + std::to_string(getuid());
    if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        error = "cannot make the private directory '" + path + "': " + std::strerror(errno);
        return std::string();
    }
    // Somebody may have made it first: it must be ours and nobody else's.
    struct stat status;
    const char* wrong = nullptr;
    if (lstat(path.c_str(), &status) != 0)
        wrong = std::strerror(errno);
    else if (!S_ISDIR(status.st_mode))
        wrong = "it is not a directory";
    else if (status.st_uid != getuid())
        wrong = "it belongs to another user";
    else if (status.st_mode & (S_IWGRP | S_IWOTH))
        wrong = "others may write to it";
    if (wrong) {
        error = "the private directory '" + path + "' is not safe to use (" + wrong + "); give --macros and --logs";
        return std::string();
    }
    return path;
}
