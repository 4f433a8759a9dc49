// IKelTranslator: the road of every text that the component shows to a user.
// Texts stand in the code as narrow English texts and pass through a
// translator on their way out, which gives a wide string and fills in the
// numbered placeholders "%1", "%2"...
#pragma once

#include "kel/kelobject.h"
#include "kel/kelwidestring.h"

// The slot order is a contract with the host's translators.
class IKelTranslator : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelTranslator";

    // `count` arguments in an array; placeholder n takes args[n - 1].
    virtual KelWideString translate(const char* text, int count, const KelWideString* args) = 0;
    virtual KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                                    const KelWideString* a3, const KelWideString* a4, const KelWideString* a5,
                                    const KelWideString* a6) = 0;
    virtual KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                                    const KelWideString* a3, const KelWideString* a4,
                                    const KelWideString* a5) = 0;
    virtual KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                                    const KelWideString* a3, const KelWideString* a4) = 0;
    virtual KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2,
                                    const KelWideString* a3) = 0;
    virtual KelWideString translate(const char* text, const KelWideString* a1, const KelWideString* a2) = 0;
    virtual KelWideString translate(const char* text, const KelWideString* a1) = 0;
    // No arguments: a placeholder stays in the text.
    virtual KelWideString translate(const char* text) = 0;
    virtual bool translatorFlag() = 0;
};
