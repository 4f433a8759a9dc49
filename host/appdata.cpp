// The host end of the Python package kelapp.appdata.
//
// The package is plain Python shipped in the "exe" directory. It reaches the
// host process through ctypes and this one exported C function, so the host
// needs no Python of its own and the package works with whichever interpreter
// the component embeds. Every program that links the host library exports
// the symbol (see host/CMakeLists.txt).
#include <cstdint>
#include <string>

#include "host/hostdatastore.h"
#include "kel/iptr.h"
#include "kel/kelexport.h"
#include "kel/kelwidestring.h"

// Sets the string application state `name` (UTF-8) to `count` UTF-16 units at
// `units`, cut at the first zero unit. 1 when the state changed; 0 when there
// is no host data store or no string state of that name; -1 for a text longer
// than the host's strings hold, which is refused before any string holds it.
KEL_EXPORT int32_t kelAppDataSetState(const char* name, const char16_t* units, int64_t count)
{
    if (count > KelWideString::maxLength)
        return -1;
    auto* store = static_cast<IDataStore*>(kelLookupService(IDataStore::interfaceName));
    void* found = nullptr;
    if (store)
        store->queryInterface("HostDataStore", &found, false);
    if (!found || !name || count < 0 || (count > 0 && !units))
        return 0;
    std::u16string buffer(units, units + static_cast<size_t>(count));
    KelWideString text;
    text.assign(buffer.c_str());  // an own copy: the store keeps what it is given
    return static_cast<HostDataStore*>(found)->setStringState(name, text) ? 1 : 0;
}
