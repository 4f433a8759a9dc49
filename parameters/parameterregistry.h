// The parameter registry: the parameter classes enter themselves by their
// full name ("QTXModelFeature::KelIDPar") while the library loads, so that a
// host can make a parameter from a class name.
#pragma once

#include <new>

#include "kel/kelexport.h"
#include "kel/kelhashtable.h"
#include "kel/qtxcstring.h"
#include "parameters/parameter.h"

// The base of all entries. Its constructor registers the entry; a second
// entry with the same key replaces the first. Entries are never removed and
// the table is never freed.
template <class Base, class Key, class Hash>
class KelClassItemFactory {
public:
    using Table = KelHashTable<Key, KelClassItemFactory*, Hash>;

    explicit KelClassItemFactory(Key key)
    {
        if (!table_)
            table_ = new (std::nothrow) Table(17);  // buckets come with the first entry
        if (table_)
            *table_->findOrInsert(key) = this;
    }
    virtual ~KelClassItemFactory() = default;
    KelClassItemFactory(const KelClassItemFactory&) = delete;
    KelClassItemFactory& operator=(const KelClassItemFactory&) = delete;

    // A new object with reference count 0, or null when allocation failed.
    virtual Base* create() = 0;

    // Borrowed: the process-wide table, null before the first registration.
    static Table* table() { return table_; }

private:
    // Zero-initialised before any constructor runs, so registration works from
    // any static initialiser.
    static inline Table* table_ = nullptr;
};

template <class Base, class T, class Key, class Hash>
class KelClassItemFactoryImpl : public KelClassItemFactory<Base, Key, Hash> {
public:
    explicit KelClassItemFactoryImpl(Key key) : KelClassItemFactory<Base, Key, Hash>(key) {}
    Base* create() override
    {
        T* object = new (std::nothrow) T();
        return object ? static_cast<Base*>(object) : nullptr;
    }
};

using KelParameterFactory = KelClassItemFactory<QTXModelFeature::Parameter, KelCString, KelCString::HashFunc>;

// Makes the parameter class named `name`: first the name as given
// ("QTXModelFeature::KelIDPar"), then with the namespace put in front
// ("KelIDPar"). Gives the new object's IKelUnknown base with a reference
// count of 0, or null for a null or unknown name.
KEL_EXPORT IKelUnknown* kelCreateParameter(const char* name);
