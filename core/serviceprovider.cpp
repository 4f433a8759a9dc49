// This module's service provider and the lookup by name.
#include "core/serviceprovider.h"

#include "kel/iptr.h"
#include "kel/qtxcstring.h"

namespace {
IKelServiceProvider* theProvider = nullptr;
}

IKelServiceProvider* kelServiceProvider()
{
    return theProvider;
}

void kelSetServiceProvider(IKelServiceProvider* provider)
{
    theProvider = provider;
}

void* kelLookupService(const char* name)
{
    void* out = nullptr;
    if (theProvider)
        theProvider->lookupService(KelCString(name, kelBorrow), &out);
    return out;
}
