// The console's road into the live interpreter.
#include "host/consolepython.h"

#include "host/hostdatastore.h"
#include "host/scriptcommands.h"
#include "host/scriptrunner.h"
#include "text/utf16text.h"

namespace {

const char kCompletionsState[] = "kelhost/Console Completions";

// Texts reach Python as hex digits of their UTF-8, which no quote, backslash
// or odd byte can break.
std::string hexOf(const std::string& text)
{
    static const char digits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(2 * text.size());
    for (unsigned char c : text) {
        hex += digits[c >> 4];
        hex += digits[c & 15];
    }
    return hex;
}

std::string usageOf(IScriptCommand* command)
{
    auto* prototype = dynamic_cast<HostPrototype*>(command->prototype());
    const char* usage = prototype ? prototype->usage().chars() : nullptr;
    return usage ? usage : "";
}

}  // namespace

ConsolePython::ConsolePython(ScriptRunner& runner, HostDataStore& store) : runner_(runner), store_(store)
{
    store_.declareStringAppState(kCompletionsState, 0, KelWideString(), 0);
}

bool ConsolePython::start(HostCommandList& commands)
{
    std::string usages;
    for (uint32_t i = 0; i < commands.count(); ++i) {
        IScriptCommand* command = commands.item(i);
        const char* name = command->name().chars();
        std::string usage = usageOf(command);
        if (name && !usage.empty())
            usages += std::string(name) + "\t" + usage + "\n";
    }
    started_ = runner_.runText("import kelapp.console as _kelConsole\n"
                               "_kelConsole.start('kelhost', '" + std::string(kCompletionsState) + "', '" +
                               hexOf(usages) + "')\n") == 0;
    return started_;
}

std::vector<std::string> ConsolePython::complete(const std::string& before, const std::string& word)
{
    std::vector<std::string> found;
    if (!started_)
        return found;
    store_.setStringState(kCompletionsState, KelWideString());
    // A bare except names nothing that a session could have rebound.
    runner_.runText("try:\n    _kelConsole.complete('" + hexOf(before) + "', '" + hexOf(word) +
                    "')\nexcept:\n    pass\n");
    const HostAppState* state = store_.state(kCompletionsState);
    std::string text = state ? kelUtf8OfUnits(state->stringValue.chars(), KelLoneSurrogate::replace) : "";
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        if (end > start)
            found.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return found;
}
