// The reference host's memory services: the memory checker ("IMemChecker")
// and the paged memory manager ("IKelMManager").
//
// The manager keeps a small budget of real pages of 24 KiB as a cache that
// it gives back, one page per releasePage, when an allocation of the
// component runs short.
#pragma once

#include <vector>

#include "kel/hostservices.h"

class HostMemChecker : public IMemChecker {
public:
    bool isActive() override { return active_; }
    // The kernel's figures in units of `unit` bytes; 0 on success, -1 when
    // they cannot be read or the unit is not positive.
    int getMemoryStatus(long long* freePhysical, long long* totalPhysical, long long* freeSwap,
                        long long* totalSwap, int unit) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostMemChecker"; }

    void setActive(bool active) { active_ = active; }

private:
    bool active_ = true;
};

class HostMemoryManager : public KelMM::IKelMManager {
public:
    static constexpr int pageBytes = 24576;

    // Takes `cachedPages` real pages, all of which count against `budget`.
    explicit HostMemoryManager(int budget = 64, int cachedPages = 4);
    ~HostMemoryManager() override;

    // Frees one cached page; false when there is none left to give.
    bool releasePage() override;
    int coreLimit() override { return budget_; }
    int swapLimit() override { return 0; }
    int swapNow() override { return 0; }
    int coreNow() override { return static_cast<int>(pages_.size()); }

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostMemoryManager"; }

    int releaseCalls() const { return releaseCalls_; }

private:
    std::vector<void*> pages_;
    int budget_;
    int releaseCalls_ = 0;
};
