// The reference host's translators ("IKelTranslatorService"): a translator
// per component identity, each a table of texts. A text missing from the
// table stays as it is, and placeholders are filled in either way.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kel/hostservices.h"
#include "kel/iptr.h"
#include "memory/keltranslator.h"

class HostTranslator : public KelTrivialTranslator {
public:
    // `translation` in UTF-8; it may hold "%1".."%6".
    void addText(const std::string& text, const std::string& translation);

    bool lookupText(const char* text, KelWideString* result) override;
    // True: this translator may change texts.
    bool translatorFlag() override { return true; }

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostTranslator"; }

private:
    std::map<std::string, std::string> texts_;
};

class HostTranslatorService : public IKelTranslatorService {
public:
    // Borrowed: the translator set for `component`, or null.
    IKelTranslator* translatorFor(const KelID& component) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostTranslatorService"; }

    // Holds one reference to `translator`; replaces an earlier one for the
    // same identity, and null takes it away.
    void setTranslator(const KelID& component, IKelTranslator* translator);

private:
    std::vector<std::pair<KelID, IPtr<IKelTranslator>>> translators_;
};
