// The reference host's translators.
#include "host/hosttranslator.h"

#include "host/hostquery.h"

void HostTranslator::addText(const std::string& text, const std::string& translation)
{
    texts_[text] = translation;
}

bool HostTranslator::lookupText(const char* text, KelWideString* result)
{
    auto found = texts_.find(text ? text : "");
    if (found == texts_.end())
        return KelTrivialTranslator::lookupText(text, result);
    *result = KelWideString::fromUtf8(found->second.c_str());
    return true;
}

void HostTranslator::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<>(this, className(), name, out);
    // Then the walk of the base class, for a name only while nothing matched.
    if (!name) {
        KelTrivialTranslator::queryInterface(nullptr, out, false);
        popClass(kelNameListOf(out));
    } else if (!*static_cast<void**>(out)) {
        KelTrivialTranslator::queryInterface(name, out, false);
    }
}

IKelTranslator* HostTranslatorService::translatorFor(const KelID& component)
{
    for (auto& entry : translators_) {
        if (entry.first == component)
            return entry.second.get();
    }
    return nullptr;
}

void HostTranslatorService::setTranslator(const KelID& component, IKelTranslator* translator)
{
    for (auto it = translators_.begin(); it != translators_.end(); ++it) {
        if (it->first == component) {
            translators_.erase(it);
            break;
        }
    }
    if (translator)
        translators_.emplace_back(component, IPtr<IKelTranslator>(translator));
}

void HostTranslatorService::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IKelTranslatorService>(this, "HostTranslatorService", name, out);
}
