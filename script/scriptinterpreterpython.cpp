// ScriptInterpreterPython: start-up of the embedded interpreter.
#include "script/scriptinterpreterpython.h"

ScriptInterpreterPython* ScriptInterpreterPython::instance_ = nullptr;

ScriptInterpreterPython::ScriptInterpreterPython() : ScriptInterpreter(KelWideString("Python"))
{
    instance_ = this;
}

ScriptInterpreterPython::~ScriptInterpreterPython()
{
    instance_ = nullptr;
}

void ScriptInterpreterPython::queryInterface(const char* name, void* out, bool flag)
{
    ScriptInterpreter::queryInterface(name, out, flag);
}

void ScriptInterpreterPython::bindCommands(IScriptCommandList* list)
{
    commands = list;
}

int32_t ScriptInterpreterPython::runFile(const KelWideString& path)
{
    return 0;
}

int32_t ScriptInterpreterPython::runString(const KelWideString& text)
{
    return 0;
}

bool ScriptInterpreterPython::writeScript(std::ostream& out, IScript* script)
{
    return ScriptInterpreter::writeScript(out, script);
}

bool ScriptInterpreterPython::writeValue(std::ostream& out, IScriptValue* val)
{
    return ScriptInterpreter::writeValue(out, val);
}

bool ScriptInterpreterPython::getKeywords(KelObjectArray<KelCString>& array)
{
    return true;
}

int32_t ScriptInterpreterPython::runFileWithArgs(const KelWideString& path, const KelObjectArray<KelCString>& args)
{
    return runFile(path);
}
