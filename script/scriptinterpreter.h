// The language-neutral side of the host's script interpreters.
//
// ScriptInterpreter implements the parts of IScriptInterpreter
// (kel/iscriptinterpreter.h) that do not depend on the language: the file
// extensions, reading a UTF-8 script file into one text, and writing a host
// script object (a list of commands with their actual arguments) as script
// text. A language derives from ScriptInterpreter, appends its extensions and
// changes the spelling settings in its constructor; nothing changes them
// afterwards.
//
// Slot orders are a contract with the host: never reorder the operations.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "kel/iptr.h"
#include "kel/iscriptinterpreter.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"
#include "kel/scripthost.h"

class ScriptInterpreter : public virtual IScriptInterpreter {
public:
    // Writes one statement: prefix, name, arguments, close, statement end.
    virtual bool writeCommand(std::ostream& out, IScriptCommand* cmd, IScriptActualArgList* argList);
    // Writes one argument value; strings are quoted when quoteStrings is set.
    virtual bool writeValue(std::ostream& out, IScriptValue* val);

    const KelWideString& getLanguageName() override;
    bool canRunFile(const KelWideString& path) override;
    const KelWideString& getDefaultExtension() override;
    int32_t runFile(const KelWideString& path) override;
    bool writeScript(std::ostream& out, IScript* script) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "ScriptInterpreter"; }

protected:
    explicit ScriptInterpreter(const KelWideString& languageName);
    ~ScriptInterpreter() override;

    KelWideString languageName;
    IScriptCommandList* commands = nullptr;  // the host's; no reference held
    std::vector<KelWideString> extensions;   // lower case, without the dot; first is the default
    SPtr<IScriptFactory> scriptFactory;       // resolved once, at construction
    KelCString callOpen;
    KelCString callClose;
    KelCString statementEnd;
    bool quoteStrings = true;
    KelCString modulePrefix;
};
