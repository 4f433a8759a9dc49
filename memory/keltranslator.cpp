// KelTrivialTranslator and the component's choice of translator: see
// keltranslator.h.
#include "memory/keltranslator.h"

#include "kel/componentid.h"
#include "kel/hostservices.h"
#include "kel/interfacenamelist.h"
#include "kel/iptr.h"

namespace {

// Replaces the first "%n" of `text` by `argument`, n from 1 to 99. A
// one-digit search does not look behind its digit, so "%1" also matches the
// start of "%10". A text without the placeholder stays as it is.
void replacePlaceholder(KelWideString& text, int n, const KelWideString& argument)
{
    if (n < 1 || n > 99)
        return;
    const char16_t* units = text.chars();
    int32_t length = text.length();
    for (int32_t i = 0; i + 1 < length; ++i) {
        if (units[i] != u'%')
            continue;
        int32_t end = -1;
        if (n < 10 && units[i + 1] == u'0' + n)
            end = i + 2;
        else if (n >= 10 && i + 2 < length && units[i + 1] == u'0' + n / 10 && units[i + 2] == u'0' + n % 10)
            end = i + 3;
        if (end >= 0) {
            text = text.replaceRange(i, end, argument);
            return;
        }
    }
}

// The held translator and whether the host's service has been consulted.
struct TranslatorState {
    IPtr<IKelTranslator> held;
    bool bound = false;
};

TranslatorState& translatorState()
{
    static TranslatorState state;
    return state;
}

void bindTranslator(TranslatorState& state)
{
    SPtr<IKelTranslatorService> service;
    if (!service)
        return;
    // Borrowed from the service; holding it adds our reference.
    IKelTranslator* found = service->translatorFor(kelComponentId());
    if (found != state.held.get())
        state.held = found;
    if (!state.held)
        state.held = static_cast<IKelTranslator*>(kelLookupService(IKelTranslator::interfaceName));
    // Set whether or not a translator was found: the service is asked once.
    state.bound = true;
}

// A null argument is one empty argument: only the array's closing null may
// end the list that format() reads.
const KelWideString* present(const KelWideString* argument)
{
    return argument ? argument : &KelWideString::emptyString();
}

}  // namespace

bool KelTrivialTranslator::lookupText(const char* text, KelWideString* result)
{
    *result = KelWideString(text);
    return true;
}

KelWideString KelTrivialTranslator::translateWith(const char* text, const KelWideString* const* args)
{
    KelWideString result;
    lookupText(text, &result);
    result.format(args);
    return result;
}

KelWideString KelTrivialTranslator::translate(const char* text, int count, const KelWideString* args)
{
    KelWideString result;
    lookupText(text, &result);
    for (int n = 1; n <= count; ++n)
        replacePlaceholder(result, n, args[n - 1]);
    return result;
}

KelWideString KelTrivialTranslator::translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                                              const KelWideString* a3, const KelWideString* a4,
                                              const KelWideString* a5, const KelWideString* a6)
{
    const KelWideString* args[] = {present(a1), present(a2), present(a3), present(a4),
                                   present(a5), present(a6), nullptr};
    return translateWith(text, args);
}

KelWideString KelTrivialTranslator::translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                                              const KelWideString* a3, const KelWideString* a4,
                                              const KelWideString* a5)
{
    const KelWideString* args[] = {present(a1), present(a2), present(a3), present(a4), present(a5), nullptr};
    return translateWith(text, args);
}

KelWideString KelTrivialTranslator::translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                                              const KelWideString* a3, const KelWideString* a4)
{
    const KelWideString* args[] = {present(a1), present(a2), present(a3), present(a4), nullptr};
    return translateWith(text, args);
}

KelWideString KelTrivialTranslator::translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                                              const KelWideString* a3)
{
    const KelWideString* args[] = {present(a1), present(a2), present(a3), nullptr};
    return translateWith(text, args);
}

KelWideString KelTrivialTranslator::translate(const char* text, const KelWideString* a1, const KelWideString* a2)
{
    const KelWideString* args[] = {present(a1), present(a2), nullptr};
    return translateWith(text, args);
}

KelWideString KelTrivialTranslator::translate(const char* text, const KelWideString* a1)
{
    const KelWideString* args[] = {present(a1), nullptr};
    return translateWith(text, args);
}

KelWideString KelTrivialTranslator::translate(const char* text)
{
    KelWideString result;
    lookupText(text, &result);
    return result;
}

void KelTrivialTranslator::queryInterface(const char* name, void* out, bool flag)
{
    if (!name) {
        addName("KelTrivialTranslator", 1, kelNameListOf(out));
        addName("IKelTranslator", 0, kelNameListOf(out));
        return;
    }
    kelSetOut(out, nullptr);
    if (kelSameName(name, "KelTrivialTranslator"))
        kelSetOut(out, this);
    else if (kelSameName(name, "IKelTranslator"))
        kelSetOut(out, static_cast<IKelTranslator*>(this));
    else if (kelSameName(name, "IKelUnknown"))
        kelSetOut(out, static_cast<IKelUnknown*>(this));
}

IKelTranslator* kelTranslator()
{
    TranslatorState& state = translatorState();
    if (!state.held || !state.bound)
        bindTranslator(state);
    // Also the answer when a later binding found a service that had no
    // translator to give: callers need one in any case.
    if (!state.held)
        state.held = new KelTrivialTranslator;  // count 0; holding it adds the first reference
    return state.held.get();
}

void kelForgetTranslator()
{
    TranslatorState& state = translatorState();
    state.held.reset();
    state.bound = false;
}

KelWideString* kelTranslate(KelWideString* result, const char* text)
{
    *result = kelTranslator()->translate(text);
    return result;
}

KelWideString* kelTranslate(KelWideString* result, const char* text, const KelWideString* argument)
{
    *result = kelTranslator()->translate(text, argument);
    return result;
}
