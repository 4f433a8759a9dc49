// KelFdStreambuf, KelIfstream and KelOfstream: see kelfdstreambuf.h.
#include "memory/kelfdstreambuf.h"

#include <algorithm>

#include "core/kelassert.h"
#include "kel/kelwidestring.h"
#include "platform/platform.h"

namespace {

// The descriptor calls take at most this many bytes at once.
constexpr std::streamsize maxTransfer = 0x7fffffff;

size_t capped(std::streamsize count)
{
    return size_t(std::min(std::max<std::streamsize>(count, 0), maxTransfer));
}

// The _wopen flags for the kelMode* bits.
int openFlagsOf(int mode)
{
    int flags;
    switch (mode & (kelModeIn | kelModeOut)) {
    case kelModeIn | kelModeOut:
        flags = kelOpenReadWrite | kelOpenCreate;
        break;
    case kelModeIn:
        flags = kelOpenReadOnly;
        break;
    case kelModeOut:
        flags = kelOpenWriteOnly | kelOpenCreate;
        break;
    default:
        KEL_ASSERT(0, ".\\kelfdstreambuf");
        flags = kelOpenReadOnly | kelOpenCreate;
        break;
    }
    flags |= (mode & kelModeBinary) ? kelOpenBinary : kelOpenText;
    // A plain `out` truncates; `in`, `ate` and `app` each keep the contents.
    if ((mode & kelModeTrunc) || !(mode & (kelModeIn | kelModeAte | kelModeApp)))
        flags |= kelOpenTruncate;
    if (mode & kelModeApp)
        flags |= kelOpenAppend;
    return flags;
}

}  // namespace

int kelModeOf(std::ios_base::openmode mode)
{
    int bits = 0;
    if (mode & std::ios_base::in)
        bits |= kelModeIn;
    if (mode & std::ios_base::out)
        bits |= kelModeOut;
    if (mode & std::ios_base::ate)
        bits |= kelModeAte;
    if (mode & std::ios_base::app)
        bits |= kelModeApp;
    if (mode & std::ios_base::trunc)
        bits |= kelModeTrunc;
    if (mode & std::ios_base::binary)
        bits |= kelModeBinary;
    return bits;
}

KelFdStreambuf::~KelFdStreambuf()
{
    close();
    if (ownsBuffer)
        delete[] buffer;
    ownsBuffer = false;
    buffer = nullptr;
}

KelFdStreambuf* KelFdStreambuf::open(const KelWideString& path, int mode)
{
    if (fd != -1)
        return nullptr;
    fd = kelWOpen(path.chars(), openFlagsOf(mode), kelPermOwnerReadWrite);
    if (fd == -1)
        return nullptr;
    if (!ownsBuffer && !buffer) {
        buffer = new char[defaultBufferSize];
        bufferSize = defaultBufferSize;
        ownsBuffer = true;
    }
    state = mode & (stateIn | stateOut);
    emptyAreas();
    return this;
}

void KelFdStreambuf::close()
{
    if (fd == -1)
        return;
    if ((state & stateWriting) && !(state & stateReading))
        overflow(traits_type::eof());
    kelClose(fd);
    fd = -1;
}

void KelFdStreambuf::emptyAreas()
{
    setg(buffer, buffer, buffer);
    setp(nullptr, nullptr);
}

int KelFdStreambuf::flushPutArea()
{
    std::streamsize pending = pptr() - pbase();
    if (pending == 0)
        return 0;
    long long written = kelWrite(fd, pbase(), capped(pending));
    if (written != pending)
        return -1;
    setp(pbase(), epptr());
    return 0;
}

KelFdStreambuf::int_type KelFdStreambuf::overflow(int_type c)
{
    const int_type eof = traits_type::eof();
    if (!(state & stateOut) || (state & stateReading))
        return eof;
    state |= stateWriting;
    if (traits_type::eq_int_type(c, eof)) {
        flushPutArea();
        return eof;
    }
    if (pptr() != pbase()) {
        // The area keeps one byte in reserve, so a full buffer goes out whole.
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
        if (flushPutArea() == 0)
            return c;
        // Refused: `c` is taken back and the pending bytes stay, with the put
        // pointer inside the area again, so a caller that clears the state
        // and writes on reaches this function and never the byte past it.
        pbump(-1);
        return eof;
    }
    if (bufferSize > 1) {
        setg(buffer, buffer, buffer);
        setp(buffer, buffer + (bufferSize - 1));
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
        return c;
    }
    char byte = traits_type::to_char_type(c);
    return kelWrite(fd, &byte, 1) == 1 ? c : eof;
}

KelFdStreambuf::int_type KelFdStreambuf::underflow()
{
    const int_type eof = traits_type::eof();
    if (!(state & stateIn) || (state & stateWriting))
        return eof;
    state |= stateReading;
    if (gptr() < egptr())
        return traits_type::to_int_type(*gptr());
    std::streamsize got = xsgetn(buffer, std::streamsize(bufferSize));
    if (got <= 0)
        return eof;
    setg(buffer, buffer, buffer + got);
    setp(nullptr, nullptr);
    return traits_type::to_int_type(*gptr());
}

KelFdStreambuf::int_type KelFdStreambuf::uflow()
{
    // Called only with an empty get area: one byte straight from the file.
    if (!(state & stateIn) || (state & stateWriting))
        return traits_type::eof();
    char byte;
    if (kelRead(fd, &byte, 1) != 1)
        return traits_type::eof();
    return traits_type::to_int_type(byte);
}

KelFdStreambuf::int_type KelFdStreambuf::pbackfail(int_type c)
{
    const int_type eof = traits_type::eof();
    if (!(state & stateIn))
        return eof;
    int_type result;
    if (gptr() > eback()) {
        gbump(-1);
        result = traits_type::to_int_type(*gptr());
    } else {
        off_type position = seekoff(-1, std::ios_base::cur, std::ios_base::in);
        result = position == off_type(-1) ? eof : underflow();
    }
    if (!traits_type::eq_int_type(c, eof) && !traits_type::eq_int_type(c, result))
        return eof;
    return result;
}

std::streamsize KelFdStreambuf::showmanyc()
{
    return (state & stateReading) ? std::streamsize(egptr() - gptr()) : -1;
}

std::streamsize KelFdStreambuf::xsgetn(char* target, std::streamsize count)
{
    return readBlock(target, count, count);
}

std::streamsize KelFdStreambuf::readBlock(char* target, std::streamsize targetSize, std::streamsize count)
{
    // A read error counts as nothing read: a stream buffer has no negative
    // counts.
    long long got = kelRead(fd, target, capped(count));
    return got < 0 ? 0 : std::streamsize(got);
}

std::streamsize KelFdStreambuf::xsputn(const char* source, std::streamsize count)
{
    // Pending bytes first, so the order on the file stays the order written.
    flushPutArea();
    long long written = kelWrite(fd, source, capped(count));
    return written < 0 ? 0 : std::streamsize(written);
}

KelFdStreambuf::pos_type KelFdStreambuf::seekoff(off_type offset, std::ios_base::seekdir direction,
                                                 std::ios_base::openmode which)
{
    if (fd == -1)
        return pos_type(off_type(-1));
    if (state & stateWriting)
        flushPutArea();
    emptyAreas();
    state &= ~(stateReading | stateWriting);
    int origin = kelSeekSet;
    if (direction == std::ios_base::cur)
        origin = kelSeekCur;
    else if (direction == std::ios_base::end)
        origin = kelSeekEnd;
    return pos_type(off_type(kelLseeki64(fd, offset, origin)));
}

KelFdStreambuf::pos_type KelFdStreambuf::seekpos(pos_type position, std::ios_base::openmode which)
{
    return seekoff(off_type(position), std::ios_base::beg, which);
}

int KelFdStreambuf::sync()
{
    return flushPutArea() == 0 ? 0 : -1;
}

KelFdStreambuf* KelFdStreambuf::setBuffer(char* newBuffer, long long size)
{
    if (ownsBuffer) {
        delete[] buffer;
        ownsBuffer = false;
    }
    buffer = newBuffer;
    bufferSize = size;
    emptyAreas();
    return this;
}

KelIfstream::KelIfstream(const KelWideString& path, int mode) : std::basic_istream<char>(nullptr)
{
    init(&buffer_);
    if (!buffer_.open(path, mode))
        setstate(std::ios_base::failbit | std::ios_base::badbit);
}

KelOfstream::KelOfstream(const KelWideString& path, int mode) : std::basic_ostream<char>(nullptr)
{
    init(&buffer_);
    if (!buffer_.open(path, mode))
        setstate(std::ios_base::failbit | std::ios_base::badbit);
}
