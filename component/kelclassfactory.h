// The class registry: which classes the host can create, by identity.
//
// Each creatable class has a static KelItemFactory entry that registers itself
// while the library loads. KelDefaultClassFactory keeps the entries in one
// process-wide KelHashTable and serves the host's createClass and the
// enumeration of the classes.
#pragma once

#include <cstdint>

#include "kel/kelhashtable.h"
#include "kel/kelid.h"
#include "kel/kelobject.h"

class KelItemFactory;

class IKelClassFactory {
public:
    virtual ~IKelClassFactory() = default;
    virtual uint32_t createClass(const KelID* id, IKelUnknown** out) = 0;
    virtual uint32_t classCount() = 0;
    virtual bool firstClass(KelID* out) = 0;
    virtual bool nextClass(KelID* out) = 0;
    virtual const char* classNameOf(const KelID* id) = 0;
};

// One creatable class. `name` is not owned; `extra` is handed back by
// itemExtra and read by nobody here.
//
// Entries are static objects: constructing one copies the identity and enters
// the entry in the registry. They are never taken out again, so an entry must
// live as long as the process.
class KelItemFactory {
public:
    const char* name;
    void* extra;
    KelID id;

    KelItemFactory(const char* itemName, const KelID& itemId);
    KelItemFactory(const KelItemFactory&) = delete;
    KelItemFactory& operator=(const KelItemFactory&) = delete;
    virtual ~KelItemFactory() = default;
    // A pointer to the IKelUnknown base of an object of the class; *kind
    // tells whether it is new (1) or the shared one (2).
    virtual IKelUnknown* create(uint32_t* kind) = 0;
    virtual const char* itemName() { return name; }
    virtual void* itemExtra() { return extra; }
};

// Each create makes a new T with a count of 0: the first reference is the
// caller's.
template <class T>
class KelTClassItemFactory : public KelItemFactory {
public:
    using KelItemFactory::KelItemFactory;
    IKelUnknown* create(uint32_t* kind) override
    {
        *kind = 1;
        return static_cast<IKelUnknown*>(new T());
    }
};

// One T for the whole process, made on the first create. The entry keeps one
// reference for good, so the object outlives every holder of the host's.
template <class T>
class KelSingletonTClassItemFactory : public KelItemFactory {
public:
    T* instance = nullptr;  // cleared after the entry has registered

    using KelItemFactory::KelItemFactory;
    IKelUnknown* create(uint32_t* kind) override
    {
        if (!instance) {
            instance = new T();
            static_cast<IKelUnknown*>(instance)->addRef();
        }
        *kind = 2;
        return static_cast<IKelUnknown*>(instance);
    }
};

class KelDefaultClassFactory : public IKelClassFactory {
public:
    using Table = KelHashTable<KelID, KelItemFactory*, KelID::HashFunc>;

    // The registry, made with its table on the first call; it depends on no
    // other static, so any static initialiser may call it.
    static KelDefaultClassFactory* instance();

    // A later item with the same identity replaces the earlier one.
    void registerItem(KelItemFactory* item);

    uint32_t createClass(const KelID* id, IKelUnknown** out) override;
    uint32_t classCount() override;
    bool firstClass(KelID* out) override;
    bool nextClass(KelID* out) override;
    const char* classNameOf(const KelID* id) override;

    // The process-wide table; for inspection.
    static Table& table();
};
