// The script interpreter interfaces: what the host calls to run scripts and to
// write its recorded commands as script text. Slot orders are a contract with
// the host: never reorder the operations.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "kel/kelobject.h"
#include "kel/kelobjectarray.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"
#include "kel/scripthost.h"

class IScriptInterpreter : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IScriptInterpreter";

    virtual const KelWideString& getLanguageName() = 0;
    // Stores the host's command list (not owned, no reference); may be null.
    virtual void bindCommands(IScriptCommandList* commands) = 0;
    virtual bool canRunFile(const KelWideString& path) = 0;
    virtual const KelWideString& getDefaultExtension() = 0;
    // 0 when the script ran to its end (or nothing ran), -1 on a failure.
    virtual int32_t runFile(const KelWideString& path) = 0;
    virtual int32_t runString(const KelWideString& text) = 0;
    virtual bool writeScript(std::ostream& out, IScript* script) = 0;
};

// The second version of the interpreter interface: the language's reserved
// words, so that the host can keep them out of command names.
class IScriptInterpreterV2 : public virtual IScriptInterpreter {
public:
    static constexpr char interfaceName[] = "IScriptInterpreterV2";

    // Fills `array` from index 1; always true.
    virtual bool getKeywords(KelObjectArray<KelCString>& array) = 0;
};

class IPythonScriptInterpreter : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IPythonScriptInterpreter";

    // Sets sys.argv from `args` (filled from index 1) and runs the file;
    // gives what runFile gives.
    virtual int32_t runFileWithArgs(const KelWideString& path, const KelObjectArray<KelCString>& args) = 0;
};
