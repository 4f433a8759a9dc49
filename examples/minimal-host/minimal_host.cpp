// minimal-host: the shortest host of the kel scripting component.
//
// It loads the installed component, serves the services a host must serve,
// publishes two commands (kel.greet and kel.add), runs a script file and a
// text, and prints every error the component hands it. The steps of main()
// are the order the component relies on. Usage: minimal-host SCRIPT.py
#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "kel/componentid.h"
#include "kel/hostservices.h"
#include "kel/ikelserviceprovider.h"
#include "kel/iptr.h"
#include "kel/iscriptinterpreter.h"
#include "kel/kelcomponent.h"
#include "kel/kelentrypoint.h"
#include "kel/kelexport.h"
#include "kel/kelinitializer.h"
#include "kel/platform/platform.h"

namespace {

// Every object crossing to the component answers queryInterface by name for
// its interfaces (a borrowed pointer); a null name asks for the names of
// all of them, which host objects need not give.
template <class... I>
struct Object : I... {
    void queryInterface(const char* name, void* out, bool) override
    {
        if (!name)
            return;
        void*& found = *static_cast<void**>(out);
        found = kelSameName(name, "IKelUnknown") ? static_cast<IKelUnknown*>(this) : nullptr;
        ((kelSameName(name, I::interfaceName) ? (found = static_cast<I*>(this), true) : false) || ...);
    }
    const char* className() override { return "MinimalHostObject"; }
};

// Script values. A value's type token is the address of a static of its
// class; only this host's factory looks at it. A text may arrive borrowed
// from Python, so a value keeps a copy of its own.
template <class T>
T own(T v) { return v; }
KelCString own(const KelCString& text) { return KelCString(text.chars()); }
KelWideString own(const KelWideString& text) { KelWideString copy; copy.assign(text.chars()); return copy; }

template <class View, class T, class Arg = T>
struct Value final : Object<IScriptValue, View> {
    static inline const char token = 0;
    T value;
    explicit Value(Arg v) : value(own(v)) {}
    void setValue(Arg v) override { value = own(v); }
    T getValue() override { return value; }
    ScriptTypeToken type() override { return &token; }
    void write(std::ostream& out) override { out << value; }  // used by recordings only
};
using Bool = Value<IScriptValueBool, bool>;
using Int = Value<IScriptValueInt, int32_t>;
using Double = Value<IScriptValueDouble, double>;
using Bytes = Value<IScriptValueString, KelCString, const KelCString&>;
using Text = Value<IScriptValueUnicodeString, KelWideString, const KelWideString&>;

struct List final : Object<IScriptValueList> {
    static inline const char token = 0;
    std::vector<IPtr<IScriptValue>> items;  // the list holds a reference on each
    uint32_t count() override { return static_cast<uint32_t>(items.size()); }
    void append(IScriptValue* value) override { items.emplace_back(value); }
    IScriptValue* item(uint32_t i) override { return i < items.size() ? items[i].get() : nullptr; }
    ScriptTypeToken type() override { return &token; }
    void write(std::ostream& out) override { out << "[]"; }
    void queryInterface(const char* name, void* out, bool flag) override  // a list is a value too
    {
        Object::queryInterface(name, out, flag);
        if (kelSameName(name, IScriptValue::interfaceName))
            *static_cast<void**>(out) = static_cast<IScriptValue*>(this);
    }
};

// The arguments of one command call; positional ones have a null name.
struct Argument final : Object<IScriptActualArg> {
    KelCString key;
    IPtr<IScriptValue> held;
    IScriptValue* value() override { return held.get(); }
    const KelCString& name() override { return key; }
};

struct Arguments final : Object<IScriptActualArgList> {
    std::vector<IPtr<Argument>> items;
    void addNamed(const KelCString& name, IScriptValue* value) override { add(value); items.back()->key = name; }
    void add(IScriptValue* value) override { items.emplace_back(new Argument())->held = value; }
    uint32_t count() override { return static_cast<uint32_t>(items.size()); }
    IScriptActualArg* item(uint32_t i) override { return i < items.size() ? items[i].get() : nullptr; }
};

// The component turns Python values into these and back. Without a factory
// no script can run: it is required in practice, though looked up late.
struct Factory final : Object<IScriptFactory> {
    IScriptActualArgList* createArgList(bool) override { return new Arguments(); }  // count 0
    IScriptValue* makeBool(bool v) override { return new Bool(v); }
    IScriptValue* makeInt(int32_t v) override { return new Int(v); }
    IScriptValue* makeDouble(double v) override { return new Double(v); }
    IScriptValue* makeString(const KelCString& v) override { return new Bytes(v); }
    IScriptValue* makeUnicodeString(const KelWideString& v) override { return new Text(v); }
    IScriptValue* makeList() override { return new List(); }
    bool isBool(ScriptTypeToken t) override { return t == &Bool::token; }
    bool isInt(ScriptTypeToken t) override { return t == &Int::token; }
    bool isDouble(ScriptTypeToken t) override { return t == &Double::token; }
    bool isString(ScriptTypeToken t) override { return t == &Bytes::token; }
    bool isUnicodeString(ScriptTypeToken t) override { return t == &Text::token; }
    bool isList(ScriptTypeToken t) override { return t == &List::token; }
};

// A command scripts call as kel.<name>. `run` gives the result (count 0) or
// null for a failure, which the component reports and the script sees as None.
// The component calls only commands that have formal arguments, whatever
// they hold.
struct Prototype final : Object<IScriptPrototype> {};
struct Command final : Object<IScriptCommand> {
    KelCString commandName;
    Prototype formal;
    std::function<IScriptValue*(IScriptActualArgList*)> run;
    Command(const char* name, std::function<IScriptValue*(IScriptActualArgList*)> body)
        : commandName(name), run(std::move(body)) {}
    const KelCString& name() override { return commandName; }
    IScriptPrototype* prototype() override { return &formal; }  // borrowed
    bool execute(IScriptActualArgList* args, IScriptValue** result) override { return (*result = run(args)); }
};

struct Commands final : Object<IScriptCommandList> {
    std::vector<IPtr<Command>> items;
    uint32_t count() override { return static_cast<uint32_t>(items.size()); }
    IScriptCommand* find(const KelCString& name) override
    {
        auto found = std::find_if(items.begin(), items.end(), [&](auto& c) { return c->commandName == name; });
        return found == items.end() ? nullptr : found->get();
    }
    IScriptCommand* item(uint32_t i) override { return i < items.size() ? items[i].get() : nullptr; }
};

// Required: the component declares its application states here at start-up
// and reads settings. This host keeps none, so every key is unknown.
struct DataStore final : Object<IDataStore> {
    void declareAppStateGroup(const char*) override {}
    void declareIntAppState(const char*, int, int, int, int) override {}
    void declareStringAppState(const char*, int, const KelWideString&, int) override {}
    int getBool(const char*, int defaultValue) override { return defaultValue; }
    const KelWideString& getString(const char*, int) override { return KelWideString::emptyString(); }
};

// Required: "exe" holds the host's Python package kelapp, "macros" the error
// file of a run; "temp" and "logs" serve the out-of-memory report.
struct Directories final : Object<IKelDirService> {
    std::map<std::string, KelWideString> folders;
    const KelWideString& getDirectory(const char* name) override { return folders[name]; }
};

// Required, though asked only when memory runs out (for the report), and
// when the host stores the component's parameters (a chunk id per class).
struct MemoryAndMagic final : Object<IMemChecker, IQtxFileMagic> {
    bool isActive() override { return false; }
    int getMemoryStatus(long long*, long long*, long long*, long long*, int) override { return -1; }
    uint32_t getMagic(const char* className) override { return std::hash<std::string>()(className) & 0xFFFFFF; }
};

// Optional: the road by which a failed script reaches the user.
struct Engine final : Object<IScriptEngine> {
    void reportError(const KelWideString& message, int32_t) override { std::printf("[host] error: %s\n", message.utf8()); }
};

// Finds services by name and does the reference counting of the component's
// objects. The component starts no thread, so plain arithmetic will do.
struct Provider final : Object<IKelServiceProvider> {
    std::map<std::string, IPtr<IKelUnknown>> services;
    int lookupService(const KelCString& name, void** out) override
    {
        auto found = name.chars() ? services.find(name.chars()) : services.end();
        void* base = nullptr;
        if (found != services.end())
            found->second->queryInterface(name.chars(), &base, false);
        return base ? (*out = base, 1) : 0;
    }
    int testValue() override { return 0; }
    void addRefShared(int32_t* count) override { ++*count; }
    bool releaseShared(int32_t* count) override { return --*count == 0; }
};

KelWideString widePath(const char* native)  // the component's path form
{
    std::u16string units(std::strlen(native) + 1, u'\0');
    kelWidePath(native, units.data(), units.size());
    return own(KelWideString(units.c_str(), kelBorrow));
}

IScriptValue* argument(IScriptActualArgList* args, uint32_t i)  // borrowed; null when missing
{
    IScriptActualArg* arg = i < args->count() ? args->item(i) : nullptr;
    return arg ? arg->value() : nullptr;
}

}  // namespace

// kelapp.appdata, installed beside the component, finds this function in the
// host program by name; the component's console mode sends Python's output
// through it. This host runs in file mode (output goes to stdout), so it has
// no such state to set.
KEL_EXPORT int32_t kelAppDataSetState(const char*, const char16_t*, int64_t) { return 0; }

int main(int argc, char** argv)
{
    if (argc != 2)
        return std::fprintf(stderr, "usage: minimal-host SCRIPT.py\n"), 2;

    // 1. Load the component and take its object; EntryPoint gives it at count 0.
    void* library = dlopen(KEL_COMPONENT, RTLD_NOW | RTLD_LOCAL);
    auto entry = library ? reinterpret_cast<KelEntryPointFunction>(dlsym(library, kelEntryPointName)) : nullptr;
    IKelComponent* made = nullptr;
    uint32_t version = 0;
    if (!entry || !entry(&version, &made))
        return std::fprintf(stderr, "cannot load %s: %s\n", KEL_COMPONENT, library ? "no entry" : dlerror()), 2;
    IPtr<IKelComponent> component(made);

    // 2. Serve the services. The provider lives as long as the process: the
    // component keeps references to services in statics until it ends.
    auto* provider = new Provider();
    provider->addRef();
    auto* folders = new Directories();
    auto* memoryAndMagic = new MemoryAndMagic();
    std::string componentDir = std::string(KEL_COMPONENT).substr(0, std::string(KEL_COMPONENT).rfind('/'));
    char macros[] = "/tmp/minimal-host-XXXXXX";  // a private folder for the error file
    if (!mkdtemp(macros))
        return std::perror("mkdtemp"), 2;
    for (auto [name, path] : {std::pair{"exe", componentDir.c_str()}, {"macros", macros}, {"temp", "/tmp"},
                              {"logs", macros}})
        folders->folders[name] = widePath(path);
    for (auto [name, service] : std::initializer_list<std::pair<const char*, IKelUnknown*>>{
             {"IDataStore", new DataStore()}, {"IKelDirService", folders}, {"IMemChecker", memoryAndMagic},
             {"IQtxFileMagic", memoryAndMagic}, {"IScriptFactory", new Factory()}})
        provider->services[name] = service;  // takes a reference
    component->setServiceProvider(provider);

    // 3. The initializer declares the component's application states.
    IKelUnknown* object = nullptr;
    component->createClass(&kelPythonInitializerId(), &object);
    IPtr<IKelUnknown> initializer(object);
    kelQuery<IKelInitializer>(object)->initialize();

    // 4. The interpreter starts Python. It is the component's shared object,
    // which the component keeps alive: no reference of ours is needed.
    component->createClass(&kelScriptInterpreterPythonId(), &object);
    IScriptInterpreter* python = kelQuery<IScriptInterpreter>(object);

    // 5. Publish two commands: kel.greet(name) and kel.add(a, b).
    auto* commands = new Commands();
    IPtr<Commands> keep(commands);  // bindCommands takes no reference
    commands->items.emplace_back(new Command("greet", [](IScriptActualArgList* args) -> IScriptValue* {
        auto* name = kelQuery<IScriptValueUnicodeString>(argument(args, 0));
        KelWideString text = KelWideString::fromUtf8("Hello, ");
        return name ? (text.append(name->getValue()), new Text(text)) : nullptr;
    }));
    commands->items.emplace_back(new Command("add", [](IScriptActualArgList* args) -> IScriptValue* {
        auto* a = kelQuery<IScriptValueInt>(argument(args, 0));
        auto* b = kelQuery<IScriptValueInt>(argument(args, 1));
        return a && b ? new Int(a->getValue() + b->getValue()) : nullptr;
    }));
    python->bindCommands(commands);

    // 6. Run. Optional services are looked up when they are needed: without
    // IScriptEngine a failure still gives -1, but no message reaches the host.
    int32_t status = python->runString(KelWideString::fromUtf8("1 / 0\n"));
    std::printf("[host] without IScriptEngine: status %d, no message\n", status);
    provider->services["IScriptEngine"] = new Engine();
    char script[PATH_MAX];
    status = realpath(argv[1], script) ? python->runFile(widePath(script)) : -1;
    std::printf("[host] script file: status %d\n", status);
    status = python->runString(KelWideString::fromUtf8("print(kel.greet('text'))\nraise ValueError('from a text')\n"));
    std::printf("[host] text: status %d\n", status);
    rmdir(macros);  // each run removes its error file
    return 0;
}
