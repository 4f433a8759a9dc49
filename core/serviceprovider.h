// This module's one pointer to the host's service provider.
#pragma once

#include "kel/ikelserviceprovider.h"

// Borrowed: the process-wide provider of this module, null before
// setServiceProvider.
IKelServiceProvider* kelServiceProvider();
// Stores the provider, overwriting any earlier one; null forgets it.
void kelSetServiceProvider(IKelServiceProvider* provider);
