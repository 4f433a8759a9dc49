// The host's side of the component's parameters: the file magic service, the
// component's parameter factory, and the document, a set of named parameters
// that scripts fill and that is saved to a chunk file.
//
// A document file is a root chunk (version 0 for 4-byte lengths, 1 for 8-byte
// ones) holding one entry chunk per parameter: the entry's name as a string
// chunk, then the parameter chunk that the parameter writes itself.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "kel/iptr.h"
#include "kel/kelid.h"

class KelBinaryInput;
class KelChunkReader;
class KelHost;

class HostParameters {
public:
    // Publishes "IQtxFileMagic" on `host` and remembers the host, whose
    // component makes the parameters once it is loaded. Gives the one object
    // of the process.
    static HostParameters& install(KelHost& host);
    // The same for a program that has the parameter classes linked in rather
    // than loaded (the fuzz target): `create` makes them, as the component's
    // kelCreateParameter does. Publishes no service.
    using CreateFunction = IKelUnknown* (*)(const char*);
    static HostParameters& installLinked(CreateFunction create);
    // Borrowed: the object install made, or null before.
    static HostParameters* instance();

    // A new parameter of the class named `name` (with or without
    // "QTXModelFeature::"), count 0; null without a loaded component or for
    // a name the component does not know.
    IKelUnknown* create(const char* name);

    // Replaces the parameter named `name`; the document holds a reference.
    void set(const std::string& name, IKelUnknown* parameter);
    // Borrowed; null when there is none.
    IKelUnknown* get(const std::string& name) const;
    std::vector<std::string> names() const;
    void clear() { document_.clear(); }

    // False with a one-line `error` when a file cannot be written or read.
    // Load replaces the document only when the whole file was read.
    bool save(const std::string& path, bool wideLengths, std::string& error);
    bool load(const std::string& path, std::string& error);

    // Reads the parameter chunk at the stream's position into a new object
    // of the class its name chunk gives; null when it cannot be loaded. The
    // stream is left at the end of the parameter chunk. The shared string
    // readers are reset first, so a failure is always this chunk's own.
    IPtr<IKelUnknown> loadParameter(KelChunkReader& reader, std::string& className, std::string& error);

    // Makes the component's shared string reader let go of `stream` before
    // the stream is destroyed, so that a later stream at the same address
    // does not inherit its state.
    void releaseStream();

private:
    HostParameters() = default;
    bool resolveFactory();

    KelHost* host_ = nullptr;
    CreateFunction create_ = nullptr;
    std::map<std::string, IPtr<IKelUnknown>> document_;
};

// Parses xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx, with or without braces, in
// either case. False for anything else.
bool kelParseIdentity(const std::string& text, KelID& id);
// A new random identity, marked as random in the usual way (version 4).
KelID kelRandomIdentity();
