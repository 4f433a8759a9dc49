// ScriptInterpreter: extensions, script files and script text, independent of
// the language.
#include "script/scriptinterpreter.h"

#include <ostream>
#include <string>

#include "core/kelassert.h"
#include "kel/interfacenamelist.h"
#include "memory/kelpath.h"
#include "platform/platform.h"
#include "text/utf16text.h"

namespace {

const char kSourceFile[] = ".\\scriptinterpreter";

void appendBytes(void* context, const char* bytes, size_t length)
{
    static_cast<std::string*>(context)->append(bytes, length);
}

// The text of a script file: a byte order mark dropped, CR LF turned into
// LF, decoded by the one UTF-8 codec (a bad byte is U+FFFD, as for a script
// text given directly). A zero byte, which would end the text early and run
// only a part of the script, becomes U+FFFD like any other character the
// text cannot carry.
KelWideString scriptText(const std::string& bytes)
{
    size_t start = bytes.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;
    std::string source;
    source.reserve(bytes.size() - start);
    for (size_t i = start; i < bytes.size(); ++i) {
        if (bytes[i] == '\0')
            source += "\xef\xbf\xbd";
        else if (bytes[i] != '\r' || i + 1 == bytes.size() || bytes[i + 1] != '\n')
            source += bytes[i];
    }
    return kelUnitsOfUtf8(source, KelBadByte::replace);
}

}  // namespace

ScriptInterpreter::ScriptInterpreter(const KelWideString& name)
    : languageName(name), callOpen("("), callClose(")"), statementEnd(";")
{
}

ScriptInterpreter::~ScriptInterpreter() = default;

void ScriptInterpreter::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        KelInterfaceNameList* list = kelNameListOf(out);
        addName("ScriptInterpreter", 1, list);
        addName("IScriptInterpreter", 0, list);
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "ScriptInterpreter"))
        kelSetOut(out, static_cast<ScriptInterpreter*>(this));
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
    else if (kelSameName(name, "IScriptInterpreter"))
        kelSetOut(out, static_cast<IScriptInterpreter*>(this));
}

const KelWideString& ScriptInterpreter::getLanguageName()
{
    return languageName;
}

const KelWideString& ScriptInterpreter::getDefaultExtension()
{
    return extensions.empty() ? KelWideString::emptyString() : extensions.front();
}

bool ScriptInterpreter::canRunFile(const KelWideString& path)
{
    // Without the host's IKelStrSupport toLower leaves the case alone, so an
    // extension in capitals then fails here.
    KelWideString extension = KelPath(path).extension().toLower();
    for (const KelWideString& known : extensions) {
        if (known.equals(extension))
            return true;
    }
    return false;
}

int32_t ScriptInterpreter::runFile(const KelWideString& path)
{
    if (!scriptFactory)
        return 0;
    // A read error ends the text like the end of the file.
    std::string bytes;
    kelReadFile(path.chars(), appendBytes, &bytes);
    KelWideString text = scriptText(bytes);
    if (text.isEmpty())
        return 0;
    return runString(text);
}

bool ScriptInterpreter::writeScript(std::ostream& out, IScript* script)
{
    KEL_ASSERT(script, kSourceFile);
    if (!script)
        return false;
    bool result = true;
    uint32_t count = script->count();
    for (uint32_t i = 0; i < count; ++i) {
        result = writeCommand(out, script->command(i), script->arguments(i)) && result;
        out << std::endl;
    }
    return result;
}

bool ScriptInterpreter::writeCommand(std::ostream& out, IScriptCommand* cmd, IScriptActualArgList* argList)
{
    KEL_ASSERT(cmd && argList, kSourceFile);
    if (!cmd || !argList)
        return false;
    if (!modulePrefix.isEmpty())
        out << modulePrefix << ".";
    out << cmd->name();
    if (callOpen.isEmpty())
        out << " ";
    else
        out << callOpen;
    bool result = true;
    uint32_t count = argList->count();
    for (uint32_t i = 0; i < count; ++i) {
        IScriptActualArg* arg = argList->item(i);
        result = writeValue(out, arg ? arg->value() : nullptr) && result;
        if (i + 1 < count)
            out << ", ";
    }
    out << callClose << statementEnd;
    return result;
}

bool ScriptInterpreter::writeValue(std::ostream& out, IScriptValue* val)
{
    KEL_ASSERT(val, kSourceFile);
    if (!val)
        return false;
    auto type = val->type();
    if (quoteStrings && scriptFactory->isString(type)) {
        auto* sv = kelQuery<IScriptValueString>(val);
        KEL_ASSERT(sv, kSourceFile);
        if (!sv)
            return false;
        KelCString text = sv->getValue();
        text.replaceAll("\\", "\\\\");
        out << '"' << text << '"';
    } else if (quoteStrings && scriptFactory->isUnicodeString(type)) {
        auto* sv = kelQuery<IScriptValueUnicodeString>(val);
        KEL_ASSERT(sv, kSourceFile);
        if (!sv)
            return false;
        KelWideString text = sv->getValue();
        text.replaceAll(KelWideString(u"\\", kelBorrow), KelWideString(u"\\\\", kelBorrow));
        out << '"' << text.narrow() << '"';
    } else {
        val->write(out);
    }
    return true;
}
