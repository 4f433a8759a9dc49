"""The host's application states, as scripts see them.

StringAppState(name).setValue(text) writes the string state `name` through
the host's data store. The host process exports the function that does it;
this module only finds it, so it can be imported only inside the host.
"""

import _ctypes

__all__ = ['StringAppState']

# The host's function is looked up here, so that the import fails outside
# the host; the call through ctypes is built at the first write. Importing
# ctypes costs about as much as a third of Python's own start, and most runs
# never write a state.
try:
    _address = _ctypes.dlsym(_ctypes.dlopen(None), 'kelAppDataSetState')
except OSError:
    raise ImportError('kelapp.appdata works only inside the host application') from None
_setState = None


def _hostSetState():
    global _setState
    if _setState is None:
        import ctypes
        call = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_char_p, ctypes.c_char_p, ctypes.c_int64)
        _setState = call(_address)
    return _setState


class StringAppState:
    """A string application state of the host, known by its name."""

    def __init__(self, name):
        self.name = str(name)
        self._key = self.name.encode('utf-8', 'surrogatepass')

    def setValue(self, text):
        """Sets the state to `text` (anything else is turned into its str).

        Every character reaches the host, lone surrogates included. Gives
        True when the host has a string state of this name; a text longer
        than the host's strings hold raises OverflowError."""
        if not isinstance(text, str):
            text = str(text)
        units = text.encode('utf-16-le', 'surrogatepass')
        done = _hostSetState()(self._key, units, len(units) // 2)
        if done < 0:
            raise OverflowError('a text of %d units is longer than the host '
                                'state %r can hold' % (len(units) // 2, self.name))
        return bool(done)

    def __repr__(self):
        return 'StringAppState(%r)' % self.name
