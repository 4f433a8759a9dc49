// The parameter interfaces: what a host calls on the persistent value objects
// of its model features. Their slot orders are a contract with the host.
#pragma once

#include "kel/kelid.h"
#include "kel/kelobject.h"

class KelChunkReader;
class KelChunkWriter;

class IKelParameter : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelParameter";

    virtual bool defaultTrue() = 0;
    virtual bool defaultFalse() = 0;
    // Borrowed: the identity of the parameter's class.
    virtual const KelID* typeId() = 0;
    // A new object with the same value; its reference count is 0.
    virtual IKelParameter* clone() = 0;
};

class IKelPersistable : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelPersistable";

    // Both use the given writer or reader only as the holder of its stream.
    virtual bool save(KelChunkWriter* writer) = 0;
    virtual bool load(KelChunkReader* reader) = 0;
    virtual const KelID* typeId() = 0;
};

// Not among the names a parameter answers to in queryInterface: a caller that
// has the concrete class reaches it by a cast.
class IKelEqualComparable : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelEqualComparable";

    // True when `other` is of the same class and holds an equal value.
    virtual bool equals(IKelEqualComparable* other) = 0;
};
