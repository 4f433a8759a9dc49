// Script commands for the component's parameters and the host's document:
//
//   newIdentity()                 a new random identity as text
//   setIdentity(name, id)         the document's KelIDPar `name` holds `id`
//   getIdentity(name)             its identity as text
//   setIdentities(name, [ids])    the document's KelIDsPar `name` holds the list
//   getIdentities(name)           its identities as a list of texts
//   parameterNames()              the names in the document, sorted
//   saveDocument(path, wide=0)    writes the document; wide: 8-byte lengths
//   loadDocument(path)            replaces the document with the file's
//
// Paths are Python's texts of native names, as open() takes them, so any file
// a script can name opens. Identities are texts of the form
// xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx. A command fails (the user hears of it
// through the script engine) on a malformed identity, an unknown name, or a
// file that cannot be written or read; a failed file also leaves its reason
// in the engine's messages.
#include "host/chunkwalk.h"
#include "host/commandsets.h"
#include "host/hostparameters.h"
#include "host/hostpath.h"
#include "kel/ikelidvalue.h"
#include "text/utf16text.h"

namespace {

bool readName(ScriptCall& call, std::string& name)
{
    KelWideString text;
    if (!call.getText(0, "name", text) || text.isEmpty())
        return false;
    name = text.utf8();
    return true;
}

bool readIdentity(IScriptValue* value, KelID& id)
{
    KelWideString text;
    return ScriptCall::readText(value, text) && kelParseIdentity(text.utf8(), id);
}

void giveIdentity(ScriptCall& call, const KelID& id)
{
    call.giveText(KelWideString::fromUtf8(kelIdentityText(id).c_str()));
}

// The document's parameter `name` as T, made anew when it is missing or of
// another class and `make` is true.
template <class T>
T* documentValue(const std::string& name, const char* className, bool make)
{
    HostParameters* parameters = HostParameters::instance();
    if (!parameters)
        return nullptr;
    if (T* value = kelQuery<T>(parameters->get(name)))
        return value;
    if (!make)
        return nullptr;
    IKelUnknown* made = parameters->create(className);
    if (!made)
        return nullptr;
    parameters->set(name, made);
    return kelQuery<T>(made);
}

bool newIdentity(ScriptCall& call)
{
    giveIdentity(call, kelRandomIdentity());
    return true;
}

bool setIdentity(ScriptCall& call)
{
    std::string name;
    KelID id;
    if (!readName(call, name) || !readIdentity(call.arg(1, "id"), id))
        return false;
    IKelIDValue* value = documentValue<IKelIDValue>(name, "KelIDPar", true);
    if (!value)
        return false;
    value->setValue(id);
    return true;
}

bool getIdentity(ScriptCall& call)
{
    std::string name;
    IKelIDValue* value = readName(call, name) ? documentValue<IKelIDValue>(name, "KelIDPar", false) : nullptr;
    if (!value)
        return false;
    giveIdentity(call, value->getValue());
    return true;
}

bool setIdentities(ScriptCall& call)
{
    std::string name;
    IScriptValueList* list = kelQuery<IScriptValueList>(call.arg(1, "ids"));
    if (!readName(call, name) || !list)
        return false;
    KelObjectArray<KelID> ids(static_cast<int32_t>(list->count()));
    for (uint32_t i = 0; i < list->count(); ++i) {
        KelID id;
        if (!readIdentity(list->item(i), id))
            return false;
        ids.push(id);
    }
    IKelIDsValue* value = documentValue<IKelIDsValue>(name, "KelIDsPar", true);
    if (!value)
        return false;
    value->setValue(ids);
    return true;
}

bool getIdentities(ScriptCall& call)
{
    std::string name;
    IKelIDsValue* value = readName(call, name) ? documentValue<IKelIDsValue>(name, "KelIDsPar", false) : nullptr;
    if (!value)
        return false;
    const KelObjectArray<KelID>& ids = value->getValue();
    HostListValue* list = new HostListValue;
    for (int32_t i = 1; i <= ids.count; ++i)
        list->append(new HostUnicodeValue(KelWideString::fromUtf8(kelIdentityText(ids[i]).c_str())));
    call.give(list);
    return true;
}

bool parameterNames(ScriptCall& call)
{
    HostParameters* parameters = HostParameters::instance();
    HostListValue* list = new HostListValue;
    if (parameters)
        for (const std::string& name : parameters->names())
            list->append(new HostUnicodeValue(KelWideString::fromUtf8(name.c_str())));
    call.give(list);
    return true;
}

// Tells the user why a file failed, beside the command's own failure.
bool fileFailed(const std::string& error)
{
    // The message names a native path, which need not be UTF-8.
    if (IScriptEngine* engine = SPtr<IScriptEngine>().get())
        engine->reportError(kelUnitsOfUtf8(error, KelBadByte::replace), 0);
    return false;
}

bool saveDocument(ScriptCall& call)
{
    KelWideString path;
    int32_t wide = 0;
    HostParameters* parameters = HostParameters::instance();
    if (!parameters || !call.getText(0, "path", path))
        return false;
    if (call.arg(1, "wide") && !call.getInt(1, "wide", wide))
        return false;
    std::string error;
    if (!parameters->save(kelHostNativePath(kelHostScriptPath(path)), wide != 0, error))
        return fileFailed(error);
    call.giveInt(static_cast<int32_t>(parameters->names().size()));
    return true;
}

bool loadDocument(ScriptCall& call)
{
    KelWideString path;
    HostParameters* parameters = HostParameters::instance();
    if (!parameters || !call.getText(0, "path", path))
        return false;
    std::string error;
    if (!parameters->load(kelHostNativePath(kelHostScriptPath(path)), error))
        return fileFailed(error);
    call.giveInt(static_cast<int32_t>(parameters->names().size()));
    return true;
}

}  // namespace

void addParameterCommands(HostCommandList& commands)
{
    commands.add("newIdentity", newIdentity, "newIdentity()");
    commands.add("setIdentity", setIdentity, "setIdentity(name, id)");
    commands.add("getIdentity", getIdentity, "getIdentity(name)");
    commands.add("setIdentities", setIdentities, "setIdentities(name, ids)");
    commands.add("getIdentities", getIdentities, "getIdentities(name)");
    commands.add("parameterNames", parameterNames, "parameterNames()");
    commands.add("saveDocument", saveDocument, "saveDocument(path, wide=0)");
    commands.add("loadDocument", loadDocument, "loadDocument(path)");
}
