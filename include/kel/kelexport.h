// Marks a function that the loader of the host finds by name.
#pragma once

#define KEL_EXPORT extern "C" __attribute__((visibility("default")))
