// Binary streams over a file.
#include "host/kelfilestream.h"

#include "host/hostpath.h"
#include "platform/platform.h"

namespace {

int openByNativePath(const std::string& path, int flags)
{
    KelWideString wide = kelHostWidePath(path);
    if (wide.isEmpty())
        return -1;
    return kelWOpen(wide.chars(), flags | kelOpenBinary, kelPermOwnerReadWrite);
}

// Reads until `byteCount` bytes arrived or the file ends; a descriptor read may
// deliver less than asked without being at the end.
uint64_t readFully(int fd, uint8_t* target, uint64_t byteCount)
{
    uint64_t done = 0;
    while (done < byteCount) {
        long long got = kelRead(fd, target + done, static_cast<size_t>(byteCount - done));
        if (got <= 0)
            break;
        done += static_cast<uint64_t>(got);
    }
    return done;
}

// Moves the descriptor to `target`; a refused seek leaves the stream failed.
void seekDescriptor(int fd, int64_t target, int64_t& position, bool& failed)
{
    long long now = kelLseeki64(fd, target, kelSeekSet);
    if (now < 0)
        failed = true;
    else
        position = now;
}

}  // namespace

KelFileInput::KelFileInput(const std::string& path, uint32_t presetWidth)
{
    width = presetWidth;
    fd_ = openByNativePath(path, kelOpenReadOnly);
    failed_ = fd_ < 0;
    if (failed_)
        return;
    long long end = kelLseeki64(fd_, 0, kelSeekEnd);
    if (end < 0 || kelLseeki64(fd_, 0, kelSeekSet) != 0) {
        failed_ = true;
        return;
    }
    size = static_cast<uint64_t>(end);
}

KelFileInput::~KelFileInput()
{
    close();
}

uint64_t KelFileInput::read(void* target, uint64_t byteCount)
{
    if (fd_ < 0 || failed_) {
        failed_ = true;
        return 0;
    }
    uint64_t got = readFully(fd_, static_cast<uint8_t*>(target), byteCount);
    position_ += static_cast<int64_t>(got);
    if (got < byteCount)
        failed_ = true;
    return got;
}

void KelFileInput::seek(int64_t position, bool absolute)
{
    if (fd_ >= 0)
        seekDescriptor(fd_, absolute ? position : position_ + position, position_, failed_);
}

void KelFileInput::close()
{
    if (fd_ >= 0)
        kelClose(fd_);
    fd_ = -1;
}

KelFileOutput::KelFileOutput(const std::string& path, int32_t version)
{
    formatVersion = version;
    fd_ = openByNativePath(path, kelOpenWriteOnly | kelOpenCreate | kelOpenTruncate);
    failed_ = fd_ < 0;
}

KelFileOutput::~KelFileOutput()
{
    close();
}

void KelFileOutput::close()
{
    if (fd_ < 0)
        return;
    flush();
    if (kelClose(fd_) != 0)
        failed_ = true;
    fd_ = -1;
}

uint64_t KelFileOutput::write(const void* source, uint64_t byteCount)
{
    if (fd_ < 0 || failed_) {
        failed_ = true;
        return 0;
    }
    long long written = kelWrite(fd_, source, static_cast<size_t>(byteCount));
    if (written < 0 || static_cast<uint64_t>(written) != byteCount) {
        failed_ = true;
        return 0;
    }
    position_ += written;
    return static_cast<uint64_t>(written);
}

void KelFileOutput::seek(int64_t position, bool absolute)
{
    if (fd_ >= 0)
        seekDescriptor(fd_, absolute ? position : position_ + position, position_, failed_);
}
