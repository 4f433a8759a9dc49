// The folder of packages that Python's own start-up puts on sys.path, ahead
// of the system's site-packages: the site-packages of the virtual environment
// that the host names (a directory made by `python3 -m venv`), or else the
// host's per-user folder of packages, into which `pip install --target`
// installs.
//
// Only files are looked at here; no Python runs.
#pragma once

#include <string>

#include "memory/kelpath.h"

struct KelSitePackages {
    KelPath folder;       // absolute, canonical; empty when there is none
    std::string problem;  // UTF-8: why the named environment is not used; empty when it is
};

// `environment` is the host's setting "Advanced/python virtual environment"
// and `userFolder` its "Directories/Python Packages Directory" (either may be
// empty or relative to the current directory); `version` is the embedded
// Python's "3.11". A named environment replaces the per-user folder, also
// when it cannot be used: it must be a directory with a pyvenv.cfg and the
// site-packages of this Python version (lib/python3.11/site-packages), and
// when it is not, `problem` says why and there is no folder. The per-user
// folder need not exist.
KelSitePackages kelSitePackages(const KelWideString& environment, const KelWideString& userFolder,
                                const std::string& version);
