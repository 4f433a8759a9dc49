// The assertion path: the one road by which a broken expectation reaches the
// host. Assertions mark broken callers or a broken host, never anything that a
// script or a file can cause.
#pragma once

// Hands the failed condition, the source file (".\qtxrealloc") and the line to
// the host's IKelAssertHandlerCB; ends the process with exit(255) when there
// is no handler. When the handler returns, the failed code goes on.
void qtxAssertFailed(const char* expression, const char* file, int line);

// KEL_ASSERT(condition, ".\\file"): the file text is the source's own name in
// the form the host expects.
#define KEL_ASSERT(condition, file)                  \
    do {                                             \
        if (!(condition))                            \
            qtxAssertFailed(#condition, file, __LINE__); \
    } while (0)
