// KelPath: a wide string with the path rules; named host directories and
// temporary file names.
//
// Canonical form, as normalize() leaves a path:
//   - backslashes only;
//   - no trailing backslash, so a drive root "c:\" reads "c:" and a lone "\"
//     stays;
//   - "//X/rest" rewritten as "X:\rest".
// Since canonical form takes the backslash off a drive root, every path goes
// through forOpen() on its way to a file call.
#pragma once

#include "kel/kelwidestring.h"

class KelPath : public KelWideString {
public:
    KelPath() = default;
    // Copies `text` and brings it into canonical form.
    explicit KelPath(const KelWideString& text);

    // Brings the path into canonical form, in place.
    void normalize();
    // Adds a component; an empty path becomes the name alone. The whole
    // result is normalised.
    KelPath& append(const KelWideString& name);
    // The same with the name widened byte by byte.
    KelPath& append(const char* name);
    // The text to hand to file calls and to Python: a bare drive name gains
    // its root separator, and separators take the platform's native form.
    KelWideString forOpen() const;
    // The text after the last dot of the last component, without the dot;
    // empty when the last component has no dot. Expects canonical form.
    KelWideString extension() const;
};

// `path` when it is absolute, else `path` in the current directory (the
// current directory alone for an empty path).
KelPath kelAbsolutePath(const KelPath& path);

// A named directory of the host ("temp", "macros", "logs"); the shared empty
// string when the host has no IKelDirService. The service is looked up once,
// at the first call, and held until process end.
const KelWideString& kelDirectory(const char* name);
// Drops the held IKelDirService so that the next kelDirectory() looks again.
// For tests whose service dies before the process does.
void kelForgetDirectoryService();

// Sets `name` to a new temporary file name: the host's temporary directory
// and "\kel-<process id>-<counter>-temp" in lower-case hexadecimal. Always
// true; nothing on the file system is checked or created.
bool kelTempFileName(KelWideString& name);
