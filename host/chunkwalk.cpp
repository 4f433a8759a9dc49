// The chunk walk behind `kelhost chunks` and `kelhost params`.
#include "host/chunkwalk.h"

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <vector>

#include "host/hostfilemagic.h"
#include "kel/kelfile.h"

namespace {

// What the payload of an open chunk holds, which decides how its children
// are named.
enum class Context { Chunks, Parameter };

constexpr size_t shownStringBytes = 60;
constexpr int maxIndent = 32;

std::string hex(uint64_t value, int digits)
{
    char text[32];
    std::snprintf(text, sizeof text, "%0*llx", digits, static_cast<unsigned long long>(value));
    return text;
}

class Walker {
public:
    Walker(KelBinaryInput& in, KelChunkView& view, uint32_t parameterId)
        : in_(in), view_(view), parameterId_(parameterId), reader_(&in)
    {
        // A well-formed stream costs at most two steps per head's worth of
        // bytes: heads and string bytes do not overlap, and each head is looked
        // at once more by its parent's tiling check. Twice that leaves room
        // for chunks that reach past their parent.
        budget_ = 4 * (in.size / 8) + 16;
    }

    KelChunkWalkResult run();

private:
    uint64_t headSize() const { return in_.width == 64 ? 12 : 8; }
    bool next();
    void openChunk(int64_t start);
    std::string label(uint32_t id, bool& nested, Context& context);
    std::string unknownPayload(bool& nested);
    std::string readIdentityText();
    std::string readStringText();
    bool tilesExactly(int64_t from, int64_t end);
    void fail(int64_t offset, const std::string& why);

    KelBinaryInput& in_;
    KelChunkView& view_;
    uint32_t parameterId_;
    KelChunkReader reader_;
    std::vector<Context> contexts_;  // one per open chunk
    uint64_t budget_;
    uint64_t spent_ = 0;
    KelChunkWalkResult result_;
};

KelChunkWalkResult Walker::run()
{
    while (!result_.damaged && next()) {
    }
    return result_;
}

// One step: leaves a finished chunk or opens the next one. False at the end.
bool Walker::next()
{
    if (reader_.depth() > 0 && reader_.atChunkEnd()) {
        reader_.endChunk();
        contexts_.pop_back();
        return true;
    }
    int64_t start = in_.tell();
    if (reader_.depth() == 0 && (start < 0 || static_cast<uint64_t>(start) >= in_.size))
        return false;
    if (++spent_ > budget_) {
        fail(start, "the chunks overlap more than a stream of this size can hold; walk stopped");
        return false;
    }
    ++result_.chunks;
    if (!reader_.readChunk()) {
        fail(start, kelWhyChunkRejected(in_, start));
        return false;
    }
    openChunk(start);
    return true;
}

void Walker::openChunk(int64_t start)
{
    uint32_t id = static_cast<uint32_t>(reader_.chunkId());
    uint64_t length = static_cast<uint64_t>(reader_.bytesLeft() + (in_.tell() - start));
    int indent = std::min(reader_.depth() - 1, maxIndent);
    std::ostringstream line;
    line << std::setw(10) << start << "  " << std::string(2 * indent, ' ') << hex(id, 6) << " v"
         << reader_.chunkVersion() << " len " << length;
    bool nested = false;
    Context context = Context::Chunks;
    std::string text = label(id, nested, context);
    if (!text.empty())
        line << "  " << text;
    view_.chunk(line.str());
    if (nested && context == Context::Parameter) {
        int64_t at = in_.tell();
        view_.parameter(start);
        in_.seek(at, true);
    }
    if (nested)
        contexts_.push_back(context);
    else
        reader_.endChunk();
}

std::string Walker::label(uint32_t id, bool& nested, Context& context)
{
    Context parent = contexts_.empty() ? Context::Chunks : contexts_.back();
    if (id == kelChunkRoot) {
        nested = true;
        return in_.width == 64 ? "root, 8-byte lengths" : "root, 4-byte lengths";
    }
    if (id == parameterId_ || id == kelChunkOldParameter) {
        nested = true;
        context = Context::Parameter;
        return id == parameterId_ ? "parameter" : "parameter, older form";
    }
    if (id == kelChunkString) {
        // A view that loads the chunk's parameter reads the string whole.
        spent_ += static_cast<uint64_t>(reader_.bytesLeft()) / headSize();
        return "string " + readStringText();
    }
    if (id == kelChunkID)
        return "identity " + readIdentityText();
    if (id == kelChunkKeyed) {
        std::string key = kelIdentityText(*reader_.chunkKey());
        return "keyed by " + key + unknownPayload(nested);
    }
    if (id == kelHostDocumentEntry) {
        nested = true;
        return "document entry";
    }
    if (parent == Context::Parameter) {
        switch (id) {
        case 0:
            nested = true;
            return "name";
        case 128:
            return "type " + readIdentityText();
        case 256:
            nested = true;
            return "value";
        case 257: {
            nested = true;
            uint32_t count = 0;
            if (reader_.bytesLeft() < 4 || !in_.read32(&count, 1))
                return "values, no count";
            return "values, count " + std::to_string(static_cast<int32_t>(count));
        }
        default:
            break;
        }
    }
    std::string payload = unknownPayload(nested);
    return payload.empty() ? payload : payload.substr(2);
}

// Nested when the rest of the payload is whole chunks exactly.
std::string Walker::unknownPayload(bool& nested)
{
    int64_t left = reader_.bytesLeft();
    if (left <= 0)
        return "";
    int64_t from = in_.tell();
    if (tilesExactly(from, from + left)) {
        nested = true;
        return "";
    }
    return ", " + std::to_string(left) + " bytes of data";
}

bool Walker::tilesExactly(int64_t from, int64_t end)
{
    uint64_t head = headSize();
    int64_t position = from;
    bool whole = true;
    while (whole && position < end && ++spent_ <= budget_) {
        uint32_t word = 0;
        uint64_t length = 0;
        uint32_t shortLength = 0;
        bool read = static_cast<uint64_t>(end - position) >= head && in_.read32(&word, 1) &&
                    (head == 12 ? in_.read64(&length, 1) : in_.read32(&shortLength, 1));
        if (head == 8)
            length = shortLength;
        whole = read && length >= head && length <= static_cast<uint64_t>(end - position);
        position += static_cast<int64_t>(length);
        if (whole)
            in_.seek(position, true);
    }
    in_.seek(from, true);
    return whole;
}

std::string Walker::readIdentityText()
{
    KelID id;
    if (reader_.bytesLeft() < 16 || !readID(id, &in_))
        return "(cut short)";
    return kelIdentityText(id);
}

std::string Walker::readStringText()
{
    int64_t left = reader_.bytesLeft();
    size_t shown = static_cast<size_t>(std::min<int64_t>(left, shownStringBytes));
    char bytes[shownStringBytes];
    shown = static_cast<size_t>(in_.readRaw(bytes, shown));
    std::string text = "\"";
    for (size_t i = 0; i < shown; ++i) {
        unsigned char c = static_cast<unsigned char>(bytes[i]);
        if (c == '"' || c == '\\')
            text += std::string("\\") + static_cast<char>(c);
        else if (c >= 0x20 && c < 0x7f)
            text += static_cast<char>(c);
        else
            text += "\\x" + hex(c, 2);
    }
    text += left > static_cast<int64_t>(shown) ? "\"... (" + std::to_string(left) + " bytes)" : "\"";
    return text;
}

}  // namespace

// The reader has put the stream back at the head; look at it again to say why.
std::string kelWhyChunkRejected(KelBinaryInput& in, int64_t start)
{
    uint64_t head = in.width == 64 ? 12 : 8;
    uint64_t available = in.size > static_cast<uint64_t>(start) ? in.size - static_cast<uint64_t>(start) : 0;
    if (available < head)
        return "the stream ends inside its head";
    if (!in.good())
        return "the stream failed";
    uint32_t word = 0, shortLength = 0;
    uint64_t length = 0;
    in.read32(&word, 1);
    if (head == 12)
        in.read64(&length, 1);
    else if (in.read32(&shortLength, 1))
        length = shortLength;
    in.seek(start, true);
    std::string id = "chunk " + hex(word >> 8, 6);
    if (length < head)
        return id + ": length " + std::to_string(length) + " is shorter than its head";
    if (length > available)
        return id + ": length " + std::to_string(length) + " reaches past the end of the stream (" +
               std::to_string(available) + " bytes left)";
    if ((word >> 8) == kelChunkKeyed)
        return id + ": its identity is cut short";
    return id + ": the stream failed";
}

namespace {

void Walker::fail(int64_t offset, const std::string& why)
{
    result_.damaged = true;
    result_.damage = "damaged chunk at offset " + std::to_string(offset) + ": " + why;
    view_.damaged(result_.damage);
}

class TreeView : public KelChunkView {
public:
    explicit TreeView(std::ostream& out) : out_(out) {}
    void chunk(const std::string& line) override { out_ << line << '\n'; }
    void damaged(const std::string& damage) override { out_ << damage << '\n'; }

private:
    std::ostream& out_;
};

}  // namespace

KelChunkWalkResult kelWalkChunks(KelBinaryInput& in, KelChunkView& view, uint32_t parameterId)
{
    return Walker(in, view, parameterId).run();
}

KelChunkWalkResult kelWalkChunks(KelBinaryInput& in, std::ostream& out, uint32_t parameterId)
{
    TreeView view(out);
    return kelWalkChunks(in, view, parameterId);
}

std::string kelIdentityText(const KelID& id)
{
    char text[40];
    const uint8_t* d = id.data4;
    std::snprintf(text, sizeof text, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", id.data1, id.data2,
                  id.data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
    return text;
}
