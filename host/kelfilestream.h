// Binary streams over a file, through the platform's descriptor calls (so the
// fault-injection table can make their writes and seeks fail).
//
// The position is kept here rather than asked of the OS, because the chunk
// writer asks for it at every chunk head and end.
#pragma once

#include <cstdint>
#include <string>

#include "kel/kelbinarystream.h"

// Reads a whole file. `size` is the file's length when it was opened. A file
// that cannot be opened gives a stream that is bad from the start; a closed
// stream keeps the state it had.
class KelFileInput : public KelBinaryInput {
public:
    // `path` native (any bytes); `presetWidth` 0 lets a root chunk decide the width.
    explicit KelFileInput(const std::string& path, uint32_t presetWidth = 0);
    ~KelFileInput() override;

    uint64_t read(void* target, uint64_t byteCount) override;
    int64_t tell() override { return position_; }
    void seek(int64_t position, bool absolute) override;
    bool good() override { return !failed_; }
    void close() override;

    bool isOpen() const { return fd_ >= 0; }

private:
    int fd_ = -1;
    int64_t position_ = 0;
    bool failed_ = false;
};

// Creates or truncates a file. close() flushes the buffer first, and so does
// the destructor of a stream still open.
class KelFileOutput : public KelBinaryOutput {
public:
    KelFileOutput(const std::string& path, int32_t formatVersion);
    ~KelFileOutput() override;

    void close() override;
    uint64_t write(const void* source, uint64_t byteCount) override;
    int64_t tell() override { return position_; }
    void seek(int64_t position, bool absolute) override;
    bool good() override { return !failed_; }

    bool isOpen() const { return fd_ >= 0; }

private:
    int fd_ = -1;
    int64_t position_ = 0;
    bool failed_ = false;
};
