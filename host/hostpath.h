// Paths as kelhost meets them and their canonical wide form, by the rule of
// platform/platform.h: native names (the command line, std::filesystem) and
// the paths that scripts give, which are Python's texts of native names.
#pragma once

#include <string>

#include "kel/kelwidestring.h"

// The canonical wide form of a native path; any bytes open the same file.
KelWideString kelHostWidePath(const std::string& native);
// The native form of a canonical wide path.
std::string kelHostNativePath(const KelWideString& path);
// The canonical wide form of a path that a script gives: a native name in
// Python's text, where a byte outside UTF-8 stands as U+DC80-U+DCFF and a
// backslash is part of a name wherever the native separator is '/'.
KelWideString kelHostScriptPath(const KelWideString& text);
