// The assertion path.
#include "core/kelassert.h"

#include <cstdlib>

#include "kel/hostservices.h"
#include "kel/iptr.h"

void qtxAssertFailed(const char* expression, const char* file, int line)
{
    SPtr<IKelAssertHandlerCB> handler;  // looked up anew for each failure
    if (!handler)
        std::exit(255);
    handler->handleAssert(expression, file, line);
}
