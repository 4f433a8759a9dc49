// The identity of this component as the host knows it.
#pragma once

#include "component/kelid.h"

// The component's own identity; built on first use.
const KelID& kelComponentId();
