// The host's services that the foundation and the component call, found by
// name through the service provider (SPtr<T> uses T::interfaceName).
//
// Slot order is a contract with the host: each interface lists the
// operations the component calls, in the host's order. The services that
// the foundation can also provide itself (IBucketMemoryPool, IKelTranslator)
// and the script host's interfaces (scripthost.h) have headers of their own.
#pragma once

#include <cstdint>

#include "kel/kelid.h"
#include "kel/kelobject.h"

class KelCString;
class KelWideString;

// Settings and application states.
class IDataStore : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IDataStore";

    virtual void declareAppStateGroup(const char* group) = 0;
    virtual void declareIntAppState(const char* name, int a, int b, int c, int d) = 0;
    virtual void declareStringAppState(const char* name, int maxLength, const KelWideString& initial,
                                       int flags) = 0;
    // Non-zero for true; `defaultValue` when the key is unknown.
    virtual int getBool(const char* key, int defaultValue) = 0;
    // The store keeps the string; an unknown key gives an empty one.
    virtual const KelWideString& getString(const char* key, int flags) = 0;
};

// Named directories of the host: "exe", "macros", "temp", "logs".
class IKelDirService : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelDirService";

    // The service keeps the string; an unknown name gives an empty one.
    virtual const KelWideString& getDirectory(const char* name) = 0;
};

class IKelErrorService : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelErrorService";

    virtual void reportError(const KelWideString& message, int* level, const KelCString& context) = 0;
};

class IKelAssertHandlerCB : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelAssertHandlerCB";

    // The result is the host's; the caller does not look at it.
    virtual int handleAssert(const char* expression, const char* file, int line) = 0;
};

class IKelStrSupport : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelStrSupport";

    // The narrow form of a terminated text of units.
    virtual KelCString toNarrow(const char16_t* units) = 0;
    // Lower-cases a writable terminated buffer in place.
    virtual void lowerInPlace(char16_t* units) = 0;
};

class IKelTranslator;

class IKelTranslatorService : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelTranslatorService";

    // Borrowed: the translator for the component with identity `component`,
    // or null.
    virtual IKelTranslator* translatorFor(const KelID& component) = 0;
};

class IQtxFileMagic : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IQtxFileMagic";

    // A stable 24-bit chunk id for a class name.
    virtual uint32_t getMagic(const char* className) = 0;
};

namespace KelMM {
// The host's memory manager, counting in pages of 24 KiB.
class IKelMManager : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelMManager";

    // Gives memory back; true when a retry of the allocation is worth while.
    virtual bool releasePage() = 0;
    virtual int coreLimit() = 0;
    virtual int swapLimit() = 0;
    virtual int swapNow() = 0;
    virtual int coreNow() = 0;
};
}  // namespace KelMM

class IMemChecker : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IMemChecker";

    virtual bool isActive() = 0;
    // Free and total physical memory, free and total swap, in units of `unit`
    // bytes. 0 on success.
    virtual int getMemoryStatus(long long* freePhysical, long long* totalPhysical, long long* freeSwap,
                                long long* totalSwap, int unit) = 0;
};

// Called around the out-of-memory message so that a renderer can step aside.
class IGfxRenderer : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IGfxRenderer";

    virtual void beforeMessage() = 0;
    virtual void afterMessage() = 0;
};
