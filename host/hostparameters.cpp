// The host's parameters: factory, document, and the document file.
#include "host/hostparameters.h"

#include <cctype>
#include <random>

#include "host/chunkwalk.h"
#include "host/hostfilemagic.h"
#include "host/kelfilestream.h"
#include "host/kelhost_app.h"
#include "host/kelmemorystream.h"
#include "kel/kelfile.h"
#include "kel/qtxcstring.h"
#include "kel/iparameter.h"

namespace {

HostParameters* theParameters = nullptr;

// The stored class name of the parameter chunk at the stream's position,
// read from its sub-chunk 0; empty when there is none. The stream goes back
// to where it stood.
std::string storedClassName(KelBinaryInput& in)
{
    int64_t start = in.tell();
    std::string name;
    KelChunkReader local(&in);
    if (local.readChunk()) {
        while (!local.atChunkEnd()) {
            local.readChunk();
            KelCString text;
            if (local.good() && local.chunkId() == 0 && readCString(text, &in) && text.chars())
                name = text.chars();
            local.endChunk();
        }
    }
    kelDetachStringReader();
    in.seek(start, true);
    return name;
}

// The end of the chunk at the stream's position, or -1 when its head is
// damaged. The stream goes back to where it stood.
int64_t chunkEnd(KelBinaryInput& in)
{
    int64_t start = in.tell();
    KelChunkReader local(&in);
    if (!local.readChunk())
        return -1;
    int64_t end = in.tell() + local.bytesLeft();
    in.seek(start, true);
    return end;
}

// "damaged chunk at offset N: why", as the chunk walk says it.
std::string damageAt(KelBinaryInput& in, int64_t offset)
{
    return "damaged chunk at offset " + std::to_string(offset) + ": " + kelWhyChunkRejected(in, offset);
}

}  // namespace

HostParameters& HostParameters::install(KelHost& host)
{
    // The component may hold the service until the process ends.
    static HostFileMagic* magic = new HostFileMagic;
    if (!theParameters)
        theParameters = new HostParameters;
    theParameters->host_ = &host;
    host.addService("IQtxFileMagic", magic);
    return *theParameters;
}

HostParameters& HostParameters::installLinked(CreateFunction create)
{
    if (!theParameters)
        theParameters = new HostParameters;
    theParameters->create_ = create;
    return *theParameters;
}

HostParameters* HostParameters::instance()
{
    return theParameters;
}

bool HostParameters::resolveFactory()
{
    if (create_)
        return true;
    if (host_)
        create_ = reinterpret_cast<CreateFunction>(host_->componentSymbol("kelCreateParameter"));
    return create_ != nullptr;
}

IKelUnknown* HostParameters::create(const char* name)
{
    return resolveFactory() ? create_(name) : nullptr;
}

void HostParameters::set(const std::string& name, IKelUnknown* parameter)
{
    document_[name] = parameter;
}

IKelUnknown* HostParameters::get(const std::string& name) const
{
    auto found = document_.find(name);
    return found == document_.end() ? nullptr : found->second.get();
}

std::vector<std::string> HostParameters::names() const
{
    std::vector<std::string> all;
    for (const auto& entry : document_)
        all.push_back(entry.first);
    return all;
}

bool HostParameters::save(const std::string& path, bool wideLengths, std::string& error)
{
    KelFileOutput out(path, wideLengths ? 0 : 1);
    if (!out.isOpen()) {
        error = "cannot create '" + path + "'";
        return false;
    }
    bool saved = true;
    {
        KelChunkWriter writer(&out, false);
        writer.beginChunk(kelChunkRoot, wideLengths ? 1 : 0);
        for (const auto& entry : document_) {
            writer.beginChunk(kelHostDocumentEntry, 0);
            writer.writeCStringChunk(KelCString(entry.first.c_str()));
            IKelPersistable* persistable = kelQuery<IKelPersistable>(entry.second.get());
            saved = persistable && persistable->save(&writer) && saved;
            writer.endChunk();
        }
        writer.endChunk();
        saved = saved && writer.good();
    }
    out.close();
    if (!saved || !out.good())
        error = "cannot write '" + path + "'";
    return saved && out.good();
}

IPtr<IKelUnknown> HostParameters::loadParameter(KelChunkReader& reader, std::string& className, std::string& error)
{
    // Both shared string readers start afresh: a parameter before this one
    // may have left them bad for this stream while loading with true, and
    // this parameter must not answer for it.
    kelDetachStringReader();
    releaseStream();
    KelBinaryInput& in = *reader.stream();
    int64_t start = in.tell();
    int64_t end = chunkEnd(in);
    if (end < 0) {
        error = "its head is damaged";
        return IPtr<IKelUnknown>();
    }
    className = storedClassName(in);
    IPtr<IKelUnknown> parameter(create(className.c_str()));
    IKelPersistable* persistable = kelQuery<IKelPersistable>(parameter.get());
    if (!persistable) {
        error = className.empty() ? "it has no class name" : "the component has no parameter class '" + className + "'";
        in.seek(end, true);
        return IPtr<IKelUnknown>();
    }
    in.seek(start, true);
    bool loaded = persistable->load(&reader);
    in.seek(end, true);
    if (!loaded) {
        error = "the " + className + " does not load";
        return IPtr<IKelUnknown>();
    }
    return parameter;
}

void HostParameters::releaseStream()
{
    // Loading a small sound parameter from a stream of static lifetime
    // attaches the component's shared string reader to that stream.
    static std::vector<uint8_t> bytes;
    static KelMemoryInput* idle = nullptr;
    if (!idle) {
        IPtr<IKelUnknown> sample(create("KelIDPar"));
        IKelPersistable* persistable = kelQuery<IKelPersistable>(sample.get());
        if (!persistable)
            return;
        KelMemoryOutput out(1);
        KelChunkWriter writer(&out, false);
        persistable->save(&writer);
        bytes = out.bytes();
        idle = new KelMemoryInput(bytes.data(), bytes.size());
    }
    IPtr<IKelUnknown> scratch(create("KelIDPar"));
    if (IKelPersistable* persistable = kelQuery<IKelPersistable>(scratch.get())) {
        idle->seek(0, true);
        KelChunkReader holder(idle);
        persistable->load(&holder);
    }
}

bool HostParameters::load(const std::string& path, std::string& error)
{
    KelFileInput in(path);
    if (!in.isOpen()) {
        error = "cannot open '" + path + "'";
        return false;
    }
    std::map<std::string, IPtr<IKelUnknown>> loaded;
    kelDetachStringReader();
    KelChunkReader reader(&in);
    if (!reader.readChunk(kelChunkRoot)) {
        // A refused head leaves nothing open; a head of another id stays open.
        error = "'" + path + "' is not a document: " +
                (reader.depth() == 0 ? damageAt(in, 0) : std::string("it does not start with a root chunk"));
    }
    while (error.empty() && !reader.atChunkEnd()) {
        int64_t at = in.tell();
        if (!reader.readChunk()) {
            error = "'" + path + "': " + damageAt(in, at);
            break;
        }
        if (reader.chunkId() == int(kelHostDocumentEntry)) {
            KelCString name;
            kelDetachStringReader();  // the entry before may have left it bad
            readCString(name, &in);
            std::string className, why;
            IPtr<IKelUnknown> parameter = loadParameter(reader, className, why);
            if (!parameter)
                error = "'" + path + "': entry '" + std::string(name.chars() ? name.chars() : "") +
                        "' at offset " + std::to_string(at) + ": " + why;
            loaded[name.chars() ? name.chars() : ""] = parameter;
        }
        reader.endChunk();
    }
    releaseStream();
    kelDetachStringReader();
    if (!error.empty())
        return false;
    document_ = std::move(loaded);
    return true;
}

bool kelParseIdentity(const std::string& text, KelID& id)
{
    std::string hexDigits;
    std::string body = text;
    if (body.size() == 38 && body.front() == '{' && body.back() == '}')
        body = body.substr(1, 36);
    if (body.size() != 36)
        return false;
    for (size_t i = 0; i < body.size(); ++i) {
        bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash != (body[i] == '-'))
            return false;
        if (!dash) {
            if (!std::isxdigit(static_cast<unsigned char>(body[i])))
                return false;
            hexDigits += body[i];
        }
    }
    auto field = [&](size_t at, size_t digits) { return std::stoull(hexDigits.substr(at, digits), nullptr, 16); };
    uint8_t tail[8];
    for (size_t i = 0; i < 8; ++i)
        tail[i] = static_cast<uint8_t>(field(16 + 2 * i, 2));
    id = KelID(static_cast<uint32_t>(field(0, 8)), static_cast<uint16_t>(field(8, 4)),
               static_cast<uint16_t>(field(12, 4)), tail);
    return true;
}

KelID kelRandomIdentity()
{
    static std::mt19937_64 generator{std::random_device{}()};
    uint64_t high = generator(), low = generator();
    uint8_t tail[8];
    for (int i = 0; i < 8; ++i)
        tail[i] = static_cast<uint8_t>(low >> (56 - 8 * i));
    tail[0] = static_cast<uint8_t>((tail[0] & 0x3f) | 0x80);  // the variant of RFC 4122
    return KelID(static_cast<uint32_t>(high >> 32), static_cast<uint16_t>(high >> 16),
                 static_cast<uint16_t>((high & 0x0fff) | 0x4000), tail);
}
