// ScriptInterpreter: script files and script text, independent of the language.
#include "script/scriptinterpreter.h"

ScriptInterpreter::ScriptInterpreter(const KelWideString& name)
    : languageName(name), callOpen("("), callClose(")"), statementEnd(";")
{
}

ScriptInterpreter::~ScriptInterpreter() = default;

void ScriptInterpreter::queryInterface(const char* name, void* out, bool flag)
{
    *static_cast<void**>(out) = nullptr;
}

const KelWideString& ScriptInterpreter::getLanguageName()
{
    return languageName;
}

bool ScriptInterpreter::canRunFile(const KelWideString& path)
{
    return false;
}

const KelWideString& ScriptInterpreter::getDefaultExtension()
{
    return extensions.empty() ? KelWideString::emptyString() : extensions.front();
}

int32_t ScriptInterpreter::runFile(const KelWideString& path)
{
    return 0;
}

bool ScriptInterpreter::writeScript(std::ostream& out, IScript* script)
{
    return true;
}

bool ScriptInterpreter::writeCommand(std::ostream& out, IScriptCommand* cmd, IScriptActualArgList* argList)
{
    return true;
}

bool ScriptInterpreter::writeValue(std::ostream& out, IScriptValue* val)
{
    return true;
}
