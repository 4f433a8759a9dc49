// The memory report, the out-of-memory message and the memory status query.
#include "memory/memoryreport.h"

#include <iomanip>

#include "core/qtxrealloc.h"
#include "kel/hostservices.h"
#include "kel/iptr.h"
#include "kel/kelwidestring.h"
#include "kel/qtxcstring.h"
#include "memory/kelfdstreambuf.h"
#include "memory/kelpath.h"
#include "memory/keltranslator.h"
#include "platform/platform.h"

namespace {

// The manager counts in pages of 24 KiB.
constexpr int kManagerPageKib = 24;

template <class Number>
void writeRow(KelOfstream& out, const char* label, Number value, const char* suffix)
{
    out << label << std::setw(7) << value << suffix << std::endl;
}

int pagesInKib(int pages)
{
    // 32-bit arithmetic, wrapping as the host's figures do.
    return static_cast<int>(static_cast<unsigned>(pages) * kManagerPageKib);
}

void writeManagerRows(KelOfstream& out)
{
    KelMM::IKelMManager* manager = qtxMemoryManager();
    if (!manager) {
        out << "kelmm not available" << std::endl;
        return;
    }
    writeRow(out, "kelmm core now:   ", pagesInKib(manager->coreNow()), "k");
    writeRow(out, "kelmm core limit: ", pagesInKib(manager->coreLimit()), "k");
    writeRow(out, "kelmm swap now:   ", pagesInKib(manager->swapNow()), "k");
    writeRow(out, "kelmm swap limit: ", pagesInKib(manager->swapLimit()), "k");
}

// Looks up the renderer anew and lets it step back in, also when the message
// left by an exception.
class RendererStepAside {
public:
    RendererStepAside()
    {
        SPtr<IGfxRenderer> renderer;
        if (renderer)
            renderer->beforeMessage();
    }
    ~RendererStepAside()
    {
        SPtr<IGfxRenderer> renderer;
        if (renderer)
            renderer->afterMessage();
    }
    RendererStepAside(const RendererStepAside&) = delete;
    RendererStepAside& operator=(const RendererStepAside&) = delete;
};

}  // namespace

void qtxWriteMemoryReport(unsigned long long attemptedBytes)
{
    SPtr<IDataStore> store;
    KelPath path(store ? store->getString("Directories/Logs Directory", 0) : KelWideString::emptyString());
    path.append("memory.log");

    // Left at 0 when the status query fails.
    long long freeKib = 0, totalKib = 0, swapFreeKib = 0, swapTotalKib = 0;
    qtxMemoryStatus(&freeKib, &totalKib, &swapFreeKib, &swapTotalKib, 1024);

    KelOfstream out(path.forOpen(), kelModeOut | kelModeTrunc);
    if (attemptedBytes != 0) {
        writeRow(out, "attempted:        ", attemptedBytes, "b");
        out << std::endl;
    }
    writeRow(out, "system free:      ", freeKib, "k");
    writeRow(out, "system total:     ", totalKib, "k");
    writeRow(out, "swap free:        ", swapFreeKib, "k");
    writeRow(out, "swap total:       ", swapTotalKib, "k");
    out << std::endl;
    writeManagerRows(out);
    out << std::endl;
    out.close();
}

bool qtxOutOfMemory(int code)
{
    IPtr<IKelErrorService> errorService;
    {
        SPtr<IDataStore> store;
        if (store && store->getBool("Memory/UseErrorService", 0) != 0) {
            SPtr<IKelErrorService> service;
            if (!service)
                return false;
            errorService = service.get();
        }
    }
    if (code < -5 || code >= 0)
        return false;

    KelWideString message;
    kelTranslate(&message,
                 "While running this function, you have run out of memory.\n"
                 "The application will close. After restarting, please read\n"
                 "the online help about \"Memory Optimization\".");
    RendererStepAside aside;
    if (errorService) {
        int level = 1;
        errorService->reportError(message, &level, KelCString());
    } else {
        kelShowOutOfMemoryMessage(message.chars(), u"Out of Memory");
    }
    return false;
}

int qtxMemoryStatus(long long* freeKib, long long* totalKib, long long* swapFreeKib, long long* swapTotalKib,
                    int unit)
{
    // Held until process end once found; looked up again while missing.
    static SPtr<IMemChecker> checker;
    if (!checker)
        checker.resolve();
    if (checker && checker->isActive())
        return checker->getMemoryStatus(freeKib, totalKib, swapFreeKib, swapTotalKib, 1024);

    unsigned long long freePhysical, totalPhysical, freeSwap, totalSwap;
    if (!kelMemoryStatus(&freePhysical, &totalPhysical, &freeSwap, &totalSwap))
        return -1;
    *freeKib = static_cast<long long>(freePhysical) / 1024;
    *totalKib = static_cast<long long>(totalPhysical) / 1024;
    *swapFreeKib = static_cast<long long>(freeSwap) / 1024;
    *swapTotalKib = static_cast<long long>(totalSwap) / 1024;
    return 0;
}

namespace {

// The foundation's handler for guarded allocation (see core/qtxrealloc.h).
class ReportingHandler final : public QtxOutOfMemoryHandler {
public:
    bool temporaryFileName(KelWideString& name) override { return kelTempFileName(name); }
    void reportExhaustion(long long attemptedBytes, int code) override
    {
        qtxWriteMemoryReport(static_cast<unsigned long long>(attemptedBytes));
        qtxOutOfMemory(code);
    }
};

// Installed ahead of every static initialiser of default priority in the
// module, among them the first strings, which may already need the handler.
struct Installer {
    Installer()
    {
        static ReportingHandler handler;
        qtxSetOutOfMemoryHandler(&handler);
    }
};
__attribute__((init_priority(101))) Installer installer;

}  // namespace

// Named in the foundation's link options, so that every module that links the
// foundation links this file, and with it the installer above.
extern "C" void kelOutOfMemoryHandlerLink() {}
