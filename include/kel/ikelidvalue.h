// The values of the two identity parameters, KelIDPar and KelIDsPar, as a
// host reads and sets them. Slot orders are a contract with the host.
#pragma once

#include "kel/kelid.h"
#include "kel/kelobject.h"
#include "kel/kelobjectarray.h"

class IKelIDValue : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelIDValue";

    // Borrowed: the value stays owned by the object.
    virtual const KelID& getValue() = 0;
    virtual void setValue(const KelID& value) = 0;
};

class IKelIDsValue : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelIDsValue";

    // Borrowed: the list stays owned by the object. Identities stand at
    // indices 1 to count.
    virtual const KelObjectArray<KelID>& getValue() = 0;
    // Replaces the list by a copy, in an array of exactly count + 1 elements.
    virtual void setValue(const KelObjectArray<KelID>& other) = 0;
};
