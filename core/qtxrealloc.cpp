// Guarded allocation: the common road is one heap call; everything else here
// runs only after the heap has refused.
#include "core/qtxrealloc.h"

#include <climits>
#include <cstdlib>

#include "core/kelassert.h"
#include "kel/hostservices.h"
#include "kel/iptr.h"
#include "kel/kelwidestring.h"

namespace {

// The manager's page; requests are measured against it when deciding how
// often to ask for pages back.
constexpr int kManagerPageBytes = 24576;

// Reduced sizes tried after a refused grow, before the last try at minNewSize.
constexpr int kReducedAttempts = 7;
// The manager is asked from this attempt down: the first halvings are cheap
// and often enough on their own.
constexpr int kAskManagerFrom = 5;

QtxOutOfMemoryHandler* outOfMemoryHandler = nullptr;

void* heapBytes(int elementSize, int count)
{
    return kelHeapAlloc(static_cast<size_t>(static_cast<long long>(elementSize * count)));
}

void* heapResize(void* block, int elementSize, int count)
{
    return kelHeapRealloc(block, static_cast<size_t>(static_cast<long long>(elementSize * count)));
}

void zeroTail(void* block, int fromBytes, int toBytes)
{
    if (toBytes > fromBytes)
        std::memset(static_cast<char*>(block) + fromBytes, 0, static_cast<size_t>(toBytes - fromBytes));
}

// Asks the manager for pages until `allocate` succeeds. An answer of false
// drops the manager for the rest of the caller's work.
template <class Allocate>
void* allocateWithManager(KelMM::IKelMManager*& manager, Allocate allocate)
{
    void* block = nullptr;
    while (manager && !block) {
        if (manager->releasePage())
            block = allocate();
        else
            manager = nullptr;
    }
    return block;
}

// The last resort of a grow: the old contents go to a temporary file, the old
// block is freed, the new one is taken, and the contents come back. The peak
// heap need is the new size alone.
void* spillAndGrow(void* old, int oldBytes, int newBytes, KelMM::IKelMManager* manager)
{
    KelWideString name;
    if (!outOfMemoryHandler || !outOfMemoryHandler->temporaryFileName(name))
        qtxMemoryExhausted(newBytes, -1);
    int fd = kelWOpen(name.chars(), kelOpenBinary | kelOpenReadWrite | kelOpenCreate | kelOpenTemporary,
                      kelPermOwnerReadWrite);
    if (fd == -1)
        qtxMemoryExhausted(newBytes, -1);
    auto giveUp = [&](void* block, int code) {
        kelClose(fd);
        kelWUnlink(name.chars());
        kelHeapFree(block);
        qtxMemoryExhausted(newBytes, code);
    };
    if (kelWrite(fd, old, static_cast<size_t>(oldBytes)) != oldBytes)
        giveUp(nullptr, -2);
    kelHeapFree(old);
    auto allocate = [&] { return kelHeapAlloc(static_cast<size_t>(static_cast<long long>(newBytes))); };
    void* block = allocate();
    if (!block)
        block = allocateWithManager(manager, allocate);
    if (!block)
        giveUp(nullptr, -4);
    if (kelLseeki64(fd, 0, kelSeekSet) == -1)
        giveUp(block, -3);
    if (kelRead(fd, block, static_cast<size_t>(oldBytes)) != oldBytes)
        giveUp(block, -3);
    kelClose(fd);
    kelWUnlink(name.chars());
    zeroTail(block, oldBytes, newBytes);
    return block;
}

// Asks the manager at most about as many times as the growth has pages, with
// one more try after a false answer. False leaves the manager dropped.
void* askManagerAndRetry(KelMM::IKelMManager*& manager, void* block, int elementSize, int trySize, int oldBytes)
{
    int askLimit = (elementSize * trySize - oldBytes) / kManagerPageBytes + 2;
    for (int asked = 0; asked < askLimit && manager; ++asked) {
        if (!manager->releasePage())
            manager = nullptr;
        if (void* grown = heapResize(block, elementSize, trySize))
            return grown;
    }
    return nullptr;
}

}  // namespace

int qtxGrowSize(int size, int need)
{
    if (size >= need)
        return size;
    // Doubling past the largest int would overflow; the largest size then
    // stands in, which covers every need.
    int grown = size < 1 ? 1 : size;
    while (grown < need)
        grown = grown > INT_MAX / 2 ? INT_MAX : grown * 2;
    return grown;
}

KelMM::IKelMManager* qtxMemoryManager()
{
    // Looked up once; a lookup that found nothing is not repeated. The
    // reference is kept until process end.
    static bool looked = false;
    static KelMM::IKelMManager* manager = nullptr;
    if (!looked) {
        looked = true;
        static SPtr<KelMM::IKelMManager> held;
        manager = held.get();
    }
    return manager;
}

int qtxMalloc(void** block, int elementSize, int count)
{
    int bytes = elementSize * count;
    *block = heapBytes(elementSize, count);
    if (*block || bytes == 0)
        return count;
    KelMM::IKelMManager* manager = qtxMemoryManager();
    *block = allocateWithManager(manager, [&] { return heapBytes(elementSize, count); });
    if (!*block)
        qtxMemoryExhausted(bytes, -4);
    return count;
}

int qtxRealloc(void** block, int elementSize, int curSize, int minNewSize, int maxNewSize)
{
    if (curSize == minNewSize)
        return curSize;
    if ((!*block || curSize == 0) && minNewSize > 0)
        return qtxMalloc(block, elementSize, minNewSize);
    if (maxNewSize == -1)
        maxNewSize = minNewSize;
    else
        KEL_ASSERT(maxNewSize >= minNewSize, ".\\qtxrealloc");
    if (maxNewSize < curSize) {
        if (maxNewSize == 0 && *block) {
            kelHeapFree(*block);
            *block = nullptr;
            return 0;
        }
        *block = heapResize(*block, elementSize, maxNewSize);
        return maxNewSize;
    }
    if (minNewSize <= curSize)
        return curSize;
    KEL_ASSERT(minNewSize > curSize && maxNewSize >= minNewSize, ".\\qtxrealloc");

    int oldBytes = elementSize * curSize;
    int trySize = maxNewSize;
    void* grown = heapResize(*block, elementSize, trySize);
    KelMM::IKelMManager* manager = nullptr;
    if (!grown) {
        manager = qtxMemoryManager();
        for (int attempt = kReducedAttempts; attempt >= 0 && trySize > minNewSize && !grown; --attempt) {
            trySize = attempt > 0 ? static_cast<int>((static_cast<unsigned>(trySize) + minNewSize)) >> 1 : minNewSize;
            grown = heapResize(*block, elementSize, trySize);
            if (!grown && attempt <= kAskManagerFrom && manager)
                grown = askManagerAndRetry(manager, *block, elementSize, trySize, oldBytes);
        }
    }
    if (!grown) {
        *block = spillAndGrow(*block, oldBytes, elementSize * minNewSize, manager);
        return minNewSize;
    }
    *block = grown;
    zeroTail(grown, oldBytes, elementSize * trySize);
    return trySize;
}

void qtxMemoryExhausted(long long attemptedBytes, int code)
{
    // The report and the message build strings, and a heap that refuses
    // everything would bring them back here; the second failure ends at once.
    static bool ending = false;
    if (ending)
        std::exit(-1);
    ending = true;
    if (outOfMemoryHandler)
        outOfMemoryHandler->reportExhaustion(attemptedBytes, code);
    std::exit(-1);
}

void qtxSetOutOfMemoryHandler(QtxOutOfMemoryHandler* handler)
{
    outOfMemoryHandler = handler;
}
