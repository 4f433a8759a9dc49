// KelFdStreambuf: a standard character stream buffer over a file descriptor
// opened by a wide path, and the two thin streams around it, KelIfstream and
// KelOfstream.
//
// One buffer (1024 bytes unless setBuffer installed another) serves as the get
// area or the put area, never both at once. A buffer opened both ways is in a
// reading or a writing phase and has to seek between them. Block reads and
// writes go straight to the descriptor and pass by the buffer; single
// characters and formatted numbers use it. All descriptor calls go through
// platform/platform.h.
#pragma once

#include <istream>
#include <ostream>
#include <streambuf>

class KelWideString;

// The open mode bits of open() and of the stream constructors.
enum : int {
    kelModeIn = 0x01,
    kelModeOut = 0x02,
    kelModeAte = 0x04,
    kelModeApp = 0x08,
    kelModeTrunc = 0x10,
    kelModeBinary = 0x20,
};

// The standard open mode in the bits above.
int kelModeOf(std::ios_base::openmode mode);

class KelFdStreambuf : public std::basic_streambuf<char> {
public:
    // Bits of `state`.
    enum : int {
        stateIn = 1,       // opened for reading
        stateOut = 2,      // opened for writing
        stateReading = 4,  // underflow has run since the last seek
        stateWriting = 8,  // overflow has run since the last seek
    };
    enum : long long { defaultBufferSize = 1024 };

    KelFdStreambuf() = default;
    // Closes (pending output goes out) and deletes an owned buffer.
    ~KelFdStreambuf() override;
    KelFdStreambuf(const KelFdStreambuf&) = delete;
    KelFdStreambuf& operator=(const KelFdStreambuf&) = delete;

    // Opens `path` with the kelMode* bits; this buffer, or null when the file
    // did not open or the buffer is open already (the open file stays).
    KelFdStreambuf* open(const KelWideString& path, int mode);
    // Writes pending output and closes the descriptor; harmless when closed.
    void close();
    bool isOpen() const { return fd != -1; }

    // Installs `newBuffer` of `size` bytes, which the caller keeps owning; an
    // owned buffer is deleted first. Pending output is not written.
    virtual KelFdStreambuf* setBuffer(char* newBuffer, long long size);
    // One read of `count` bytes straight from the descriptor; `targetSize` is
    // not looked at.
    virtual std::streamsize readBlock(char* target, std::streamsize targetSize, std::streamsize count);

    // The fields, in their contract order.
    bool ownsBuffer = false;  // `buffer` came from new[] here
    int fd = -1;
    int state = 0;
    long long bufferSize = 0;
    char* buffer = nullptr;

protected:
    int_type overflow(int_type c) override;
    int_type pbackfail(int_type c) override;
    std::streamsize showmanyc() override;
    int_type underflow() override;
    int_type uflow() override;
    std::streamsize xsgetn(char* target, std::streamsize count) override;
    std::streamsize xsputn(const char* source, std::streamsize count) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir direction, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
    int sync() override;

private:
    // Writes the put area in one call: 0, or -1 with the area unchanged.
    int flushPutArea();
    void emptyAreas();
};

// A narrow input stream over a KelFdStreambuf. A file that does not open
// leaves the stream with its fail and bad bits set.
class KelIfstream : public std::basic_istream<char> {
public:
    explicit KelIfstream(const KelWideString& path, int mode = kelModeIn);
    KelIfstream(const KelWideString& path, std::ios_base::openmode mode) : KelIfstream(path, kelModeOf(mode)) {}

    void close() { buffer_.close(); }
    bool isOpen() const { return buffer_.isOpen(); }
    KelFdStreambuf* rdbuf() { return &buffer_; }

private:
    KelFdStreambuf buffer_;
};

// A narrow output stream over a KelFdStreambuf, the same way.
class KelOfstream : public std::basic_ostream<char> {
public:
    explicit KelOfstream(const KelWideString& path, int mode = kelModeOut);
    KelOfstream(const KelWideString& path, std::ios_base::openmode mode) : KelOfstream(path, kelModeOf(mode)) {}

    void close() { buffer_.close(); }
    bool isOpen() const { return buffer_.isOpen(); }
    KelFdStreambuf* rdbuf() { return &buffer_; }

private:
    KelFdStreambuf buffer_;
};
