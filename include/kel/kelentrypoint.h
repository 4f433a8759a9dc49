// The one function that the component library exports, and its signature as
// the host's loader sees it.
#pragma once

#include <cstdint>

class IKelComponent;

// 1 with a new component object in *component (count 0) and 100 in
// *version; 0 with nothing written when `component` is null.
using KelEntryPointFunction = int32_t (*)(uint32_t* version, IKelComponent** component);

// The symbol name under which the loader finds it.
inline constexpr char kelEntryPointName[] = "EntryPoint";
