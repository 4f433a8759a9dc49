// The sub-commands of kelhost.
//
// Each part of the host adds its sub-commands in a file of its own, through
// a function of this form, listed here and called by kelAddSubcommands:
//
//     void addXyzCommands(CLI::App& app, KelHostOptions& options);
//
// The function adds its sub-commands to `app` (and, if it needs them,
// options of its own). A sub-command's callback stores what it will do in
// options.action, which runs on the started host and gives the exit status;
// setups that must happen before the component loads go into
// options.setups, and a sub-command that works without the component sets
// options.needsComponent to false.
#pragma once

#include <CLI/CLI.hpp>

#include "host/kelhost_app.h"

// kelhost info: the component's name, build stamp, version and classes.
void addInfoCommands(CLI::App& app, KelHostOptions& options);
// kelhost run, exec, console: Python through the component.
void addScriptCommands(CLI::App& app, KelHostOptions& options);

// kelhost chunks, params: the chunk tree and the parameters of a file.
void addChunkCommands(CLI::App& app, KelHostOptions& options);

inline void kelAddSubcommands(CLI::App& app, KelHostOptions& options)
{
    addInfoCommands(app, options);
    addChunkCommands(app, options);
    addScriptCommands(app, options);
}
