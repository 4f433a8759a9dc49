// The component's translator: the host's IKelTranslator (kel/ikeltranslator.h)
// once the host offers one, and until then KelTrivialTranslator, which keeps
// the texts as they are and still fills in the placeholders, so callers need
// no second road.
#pragma once

#include "kel/ikeltranslator.h"
#include "kel/kelwidestring.h"

// Keeps texts as they are (widened byte by byte) and fills in placeholders.
// New objects start at count 0.
class KelTrivialTranslator : public IKelTranslator {
public:
    KelWideString translate(const char* text, int count, const KelWideString* args) override;
    KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                            const KelWideString* a3, const KelWideString* a4, const KelWideString* a5,
                            const KelWideString* a6) override;
    KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                            const KelWideString* a3, const KelWideString* a4, const KelWideString* a5) override;
    KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                            const KelWideString* a3, const KelWideString* a4) override;
    KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                            const KelWideString* a3) override;
    KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2) override;
    KelWideString translate(const char* text, const KelWideString* a1) override;
    KelWideString translate(const char* text) override;
    // False: this translator changes no text.
    bool translatorFlag() override { return false; }

    // The one step a derived translator replaces: sets *result to the text
    // in the target language. Here the widened text; always true.
    virtual bool lookupText(const char* text, KelWideString* result);

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "KelTrivialTranslator"; }

private:
    // The forms with one to six arguments: `args` holds the pointers and a
    // closing null.
    KelWideString translateWith(const char* text, const KelWideString* const* args);
};

// Borrowed: the component's translator. The host's, through
// IKelTranslatorService, once the host offers one; until then a
// KelTrivialTranslator, and each call looks for the service again.
IKelTranslator* kelTranslator();
// Drops the held translator and forgets that the service was consulted. For
// tests whose services die before the process does.
void kelForgetTranslator();

// Sets *result to `text` through the component's translator; gives `result`.
KelWideString* kelTranslate(KelWideString* result, const char* text);
// The same with `argument` for "%1".
KelWideString* kelTranslate(KelWideString* result, const char* text, const KelWideString* argument);
