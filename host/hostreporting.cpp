// The reference host's error service and assertion handler.
#include "host/hostreporting.h"

#include <iostream>

#include "host/hostquery.h"
#include "host/hosttext.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"

void HostErrorService::reportError(const KelWideString& message, int* level, const KelCString& context)
{
    Report report{hostUtf8(message), level ? *level : 0, context.chars() ? context.chars() : ""};
    std::ostream* out = streamSet_ ? out_ : &std::cerr;
    if (out)
        *out << "error: " << report.message << std::endl;
    hostKeepLatest(reports_, std::move(report));
}

void HostErrorService::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IKelErrorService>(this, "HostErrorService", name, out);
}

int HostAssertHandler::handleAssert(const char* expression, const char* file, int line)
{
    Failure failure{expression ? expression : "", file ? file : "", line};
    std::ostream* out = streamSet_ ? out_ : &std::cerr;
    if (out)
        *out << "assertion failed: " << failure.expression << " in " << failure.file << ", line " << line
             << std::endl;
    hostKeepLatest(failures_, std::move(failure));
    return 0;
}

void HostAssertHandler::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IKelAssertHandlerCB>(this, "HostAssertHandler", name, out);
}
