// The console's history file.
#include "host/consolehistory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "host/hosttext.h"

namespace {

bool isAbsoluteFolder(const char* path)
{
    return path && path[0] == '/';
}

// An open descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

// Opens `path` without waiting on a FIFO or following anything odd: only a
// regular file is kept. -1 with errno set otherwise.
int openRegular(const std::string& path, int flags)
{
    int fd = open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600);
    if (fd < 0)
        return -1;
    struct stat status;
    if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(fd);
        errno = EINVAL;
        return -1;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

// The lock, tried for a few seconds: a console stopped while it held the
// lock must not hold up the others for good.
bool lockFile(int fd, int operation)
{
    for (int attempt = 0; attempt < 200; ++attempt) {
        if (flock(fd, operation | LOCK_NB) == 0)
            return true;
        if (errno != EWOULDBLOCK && errno != EINTR)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    errno = EWOULDBLOCK;
    return false;
}

bool readAll(int fd, std::string& text)
{
    char buffer[65536];
    for (;;) {
        ssize_t got = read(fd, buffer, sizeof buffer);
        if (got > 0)
            text.append(buffer, static_cast<size_t>(got));
        else if (got == 0)
            return true;
        else if (errno != EINTR)
            return false;
    }
}

bool writeAllAt(int fd, const std::string& text, off_t offset)
{
    size_t done = 0;
    while (done < text.size()) {
        ssize_t put = pwrite(fd, text.data() + done, text.size() - done, offset + static_cast<off_t>(done));
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

// Where the newest `limit` lines of `text` start.
size_t newestLinesStart(const std::string& text, size_t limit)
{
    size_t end = text.size();
    if (end > 0 && text[end - 1] == '\n')
        --end;
    size_t lines = 0;
    while (end > 0) {
        size_t feed = text.rfind('\n', end - 1);
        if (++lines == limit || feed == std::string::npos)
            return feed == std::string::npos ? 0 : feed + 1;
        end = feed;
    }
    return 0;
}

// Makes the folders of `folder` that are missing, for the user alone.
bool makeFolders(const std::string& folder)
{
    for (size_t slash = folder.find('/', 1);; slash = folder.find('/', slash + 1)) {
        std::string part = folder.substr(0, slash);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST)
            return false;
        if (slash == std::string::npos)
            return true;
    }
}

}  // namespace

std::string ConsoleHistoryFile::defaultPath(const char* stateHome, const char* home)
{
    if (isAbsoluteFolder(stateHome))
        return std::string(stateHome) + "/kelhost/history";
    struct stat status;
    if (isAbsoluteFolder(home) && stat(home, &status) == 0 && S_ISDIR(status.st_mode))
        return std::string(home) + "/.local/state/kelhost/history";
    return std::string();
}

ConsoleHistoryFile::ConsoleHistoryFile(std::string path, size_t limit) : path_(std::move(path)), limit_(limit)
{
}

std::vector<std::string> ConsoleHistoryFile::load() const
{
    Descriptor file(openRegular(path_, O_RDONLY));
    std::string text;
    if (file.get() < 0 || !lockFile(file.get(), LOCK_SH) || !readAll(file.get(), text))
        return {};
    return hostNonEmptyLines(text, newestLinesStart(text, limit_));
}

std::string ConsoleHistoryFile::save(const std::vector<std::string>& lines) const
{
    if (lines.empty())
        return std::string();
    size_t slash = path_.rfind('/');
    if (slash != std::string::npos && slash > 0 && !makeFolders(path_.substr(0, slash)))
        return std::strerror(errno);
    Descriptor file(openRegular(path_, O_RDWR | O_CREAT));
    std::string text;
    if (file.get() < 0 || !lockFile(file.get(), LOCK_EX) || !readAll(file.get(), text))
        return std::strerror(errno);
    // A line cut short by a failed write earlier is ended first.
    std::string added = !text.empty() && text.back() != '\n' ? "\n" : "";
    for (const std::string& line : lines)
        added += line + "\n";
    off_t end = static_cast<off_t>(text.size());
    text += added;
    size_t keep = newestLinesStart(text, limit_);
    bool written = keep == 0 ? writeAllAt(file.get(), added, end)
                             : writeAllAt(file.get(), text.substr(keep), 0) &&
                                   ftruncate(file.get(), static_cast<off_t>(text.size() - keep)) == 0;
    return written ? std::string() : std::strerror(errno ? errno : EIO);
}
