// The console's road into the live interpreter.
#include "host/consolepython.h"

#include "host/hostdatastore.h"
#include "host/hosttext.h"
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
    if (!started_)
        return {};
    store_.setStringState(kCompletionsState, KelWideString());
    // A bare except names nothing that a session could have rebound.
    runner_.runText("try:\n    _kelConsole.complete('" + hexOf(before) + "', '" + hexOf(word) +
                    "')\nexcept:\n    pass\n");
    const HostAppState* state = store_.state(kCompletionsState);
    return hostNonEmptyLines(state ? kelUtf8OfUnits(state->stringValue.chars(), KelLoneSurrogate::replace) : "");
}
