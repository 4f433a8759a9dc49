// The identities that the component and the host agree on.
#pragma once

#include "kel/kelid.h"

// The component's own identity; built on first use.
const KelID& kelComponentId();
// The identities of the two creatable classes of the component.
const KelID& kelScriptInterpreterPythonId();
const KelID& kelPythonInitializerId();
