// ScriptRunner: running scripts through the component for kelhost.
#include "host/scriptrunner.h"

#include <fstream>

#include "component/componentid.h"
#include "component/kelobjectarray.h"
#include "host/hostdatastore.h"
#include "host/hostscripting.h"
#include "host/kelhost_app.h"
#include "script/scriptinterpreterpython.h"

ScriptRunner::ScriptRunner(KelHost& host, const ScriptRunOptions& options, std::ostream& out, std::ostream& err)
    : host_(host), options_(options), out_(out), err_(err)
{
}

bool ScriptRunner::start()
{
    HostScripting& scripting = HostScripting::install(host_);
    HostDataStore& store = host_.dataStore();
    if (options_.console)
        store.setSetting("Scripting/ShowScriptingConsole", "1");
    if (options_.debug)
        store.setSetting("Advanced/python debug", "1");
    // With the console on, Python's output arrives piece by piece as the two
    // states change; show each piece at once.
    store.setListener([this](const HostAppState& state) {
        if (state.name == "Python/Output String")
            out_ << hostUtf8OfUnits(state.stringValue) << std::flush;
        else if (state.name == "Python/Error String")
            err_ << hostUtf8OfUnits(state.stringValue) << std::flush;
    });
    IKelUnknown* object = host_.createClass(kelScriptInterpreterPythonId());
    interpreter_ = kelQuery<IScriptInterpreter>(object);
    python_ = kelQuery<IPythonScriptInterpreter>(object);
    if (!interpreter_ || !python_) {
        err_ << "kelhost: component '" << host_.componentPath() << "' has no Python interpreter" << std::endl;
        return false;
    }
    interpreter_->bindCommands(scripting.commands());
    if (!options_.recordPath.empty())
        scripting.startRecording();
    return true;
}

int32_t ScriptRunner::runFile(const std::string& path, const std::vector<std::string>& args)
{
    // sys.argv as Python's own command line has it: the script, then its
    // arguments.
    KelObjectArray<KelCString> argv;
    argv.push(KelCString(path.c_str()));
    for (const std::string& arg : args)
        argv.push(KelCString(arg.c_str()));
    return python_->runFileWithArgs(hostUnitsOfUtf8(path), argv);
}

int32_t ScriptRunner::runText(const std::string& text)
{
    return interpreter_->runString(hostUnitsOfUtf8(text));
}

bool ScriptRunner::finish()
{
    if (options_.recordPath.empty() || !interpreter_)
        return true;
    HostScripting& scripting = HostScripting::install(host_);
    scripting.stopRecording();
    std::ofstream file(options_.recordPath, std::ios::binary | std::ios::trunc);
    if (file && scripting.recording())
        interpreter_->writeScript(file, scripting.recording());
    file.close();
    if (!file) {
        err_ << "kelhost: cannot write the recording to '" << options_.recordPath << "'" << std::endl;
        return false;
    }
    return true;
}

int scriptExitStatus(int32_t status)
{
    return status == 0 ? 0 : 1;
}

KelWideString hostUnitsOfUtf8(const std::string& text)
{
    std::u16string units;
    const auto* p = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* end = p + text.size();
    while (p < end) {
        unsigned char lead = *p;
        int length = lead < 0x80 ? 1 : (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 0;
        uint32_t c = length == 1 ? lead : length ? lead & (0xFF >> (length + 1)) : 0;
        bool valid = length > 0 && end - p >= length;
        for (int i = 1; valid && i < length; ++i) {
            valid = (p[i] & 0xC0) == 0x80;
            c = (c << 6) | (p[i] & 0x3F);
        }
        static const uint32_t shortest[] = {0, 0, 0x80, 0x800, 0x10000};
        if (valid && length > 1)
            valid = c >= shortest[length] && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
        if (!valid) {
            units += u'\xFFFD';
            ++p;
            continue;
        }
        p += length;
        if (c >= 0x10000) {
            units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            units += static_cast<char16_t>(c);
        }
    }
    KelWideString result;
    if (!units.empty())
        result.assign(units.c_str());
    return result;
}

std::string hostUtf8OfUnits(const KelWideString& text)
{
    std::string out;
    for (const char16_t* u = text.chars(); *u; ++u) {
        uint32_t c = *u;
        if (c >= 0xD800 && c <= 0xDBFF && u[1] >= 0xDC00 && u[1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (u[1] - 0xDC00);
            ++u;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}
