// The query by name of the reference host's objects, written once.
#pragma once

#include "kel/interfacenamelist.h"
#include "kel/kelobject.h"

// Answers a query by name for `self`: its class name gives the object, then
// "IKelUnknown", then each interface in I in order. A null name adds nothing:
// the host's objects stay out of the name lists.
template <class... I, class Self>
void hostQueryInterface(Self* self, const char* ownName, const char* name, void* out)
{
    if (!name)
        return;
    kelSetOut(out, nullptr);
    if (kelSameName(name, ownName)) {
        kelSetOut(out, self);
        return;
    }
    if (kelSameName(name, "IKelUnknown")) {
        kelSetOut(out, static_cast<IKelUnknown*>(self));
        return;
    }
    ((kelSameName(name, I::interfaceName) ? (kelSetOut(out, static_cast<I*>(self)), true) : false) || ...);
}
