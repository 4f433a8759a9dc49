// The script command sets of the host.
//
// Each part of the host adds its script commands in a file of its own,
// through a function of this form, listed here and called by
// kelAddCommandSets when the host's command list is built:
//
//     void addXyzCommands(HostCommandList& commands);
//
// See host/scriptcommands.h for how a command is written.
#pragma once

#include "host/scriptcommands.h"

// echo, add, concat, listOf, fail, version, sleep, nop, typeName.
void addBasicCommands(HostCommandList& commands);

// newIdentity, set/getIdentity, set/getIdentities, parameterNames,
// saveDocument, loadDocument: the document of parameters.
void addParameterCommands(HostCommandList& commands);

inline void kelAddCommandSets(HostCommandList& commands)
{
    addBasicCommands(commands);
    addParameterCommands(commands);
}
