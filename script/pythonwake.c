/* The evaluation loop's breaker flag, reached through the interpreter's
   internal layout (built as the interpreter's own code is, hence C). */
#define Py_BUILD_CORE 1
#include <Python.h>
#include <internal/pycore_runtime.h>
#include <internal/pycore_interp.h>

#include "script/pythonwake.h"

/* Written once on Python's thread before any request can come (a request
   needs a run, which the start-up precedes); read from any thread. */
static PyInterpreterState* wakeable = NULL;

int kelPythonPrepareWake(void)
{
    PyInterpreterState* main = _PyRuntime.interpreters.main;
    /* Fields on either side of the flag hold what the public calls say. */
    if (!main || main != PyInterpreterState_Main() || main->runtime != &_PyRuntime ||
        main->id != PyInterpreterState_GetID(main) || main->modules != PyImport_GetModuleDict())
        return 0;
    wakeable = main;
    return 1;
}

void kelPythonWakeEvalLoop(void)
{
    PyInterpreterState* main = wakeable;
    if (main)
        _Py_atomic_store(&main->ceval.eval_breaker, 1);  /* after the trip PyErr_SetInterrupt made */
}
