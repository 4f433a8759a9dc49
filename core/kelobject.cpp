// Reference counting of IKelUnknown: through the host once there is one.
#include "kel/kelobject.h"

#include <cstring>

#include "core/serviceprovider.h"

void IKelUnknown::addRef()
{
    if (IKelServiceProvider* provider = kelServiceProvider())
        provider->addRefShared(&count);
    else
        ++count;
}

void IKelUnknown::release()
{
    if (IKelServiceProvider* provider = kelServiceProvider()) {
        if (provider->releaseShared(&count))
            delete this;
        return;
    }
    if (--count != 0)
        return;
    count = -42;  // marks an object that a provider-less release destroyed
    delete this;
}

uint32_t IKelUnknown::refCount()
{
    return static_cast<uint32_t>(count);
}

bool kelSameName(const char* a, const char* b)
{
    return a && b && std::strcmp(a, b) == 0;
}
