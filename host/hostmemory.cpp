// The reference host's memory services.
#include "host/hostmemory.h"

#include <cstdlib>

#include "host/hostquery.h"
#include "platform/platform.h"

int HostMemChecker::getMemoryStatus(long long* freePhysical, long long* totalPhysical, long long* freeSwap,
                                    long long* totalSwap, int unit)
{
    unsigned long long figures[4];
    if (unit <= 0 || !kelMemoryStatus(&figures[0], &figures[1], &figures[2], &figures[3]))
        return -1;
    long long* outs[4] = {freePhysical, totalPhysical, freeSwap, totalSwap};
    for (int i = 0; i < 4; ++i) {
        if (outs[i])
            *outs[i] = static_cast<long long>(figures[i] / static_cast<unsigned long long>(unit));
    }
    return 0;
}

void HostMemChecker::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<IMemChecker>(this, "HostMemChecker", name, out);
}

HostMemoryManager::HostMemoryManager(int budget, int cachedPages) : budget_(budget)
{
    for (int i = 0; i < cachedPages && i < budget; ++i) {
        if (void* page = std::malloc(pageBytes))
            pages_.push_back(page);
    }
}

HostMemoryManager::~HostMemoryManager()
{
    for (void* page : pages_)
        std::free(page);
}

bool HostMemoryManager::releasePage()
{
    ++releaseCalls_;
    if (pages_.empty())
        return false;
    std::free(pages_.back());
    pages_.pop_back();
    return true;
}

void HostMemoryManager::queryInterface(const char* name, void* out, bool flag)
{
    hostQueryInterface<KelMM::IKelMManager>(this, "HostMemoryManager", name, out);
}
