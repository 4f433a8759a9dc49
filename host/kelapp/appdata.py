"""The host's application states, as scripts see them.

StringAppState(name).setValue(text) writes the string state `name` through
the host's data store. The host process exports the function that does it;
this module only finds it, so it can be imported only inside the host.
"""

import ctypes

__all__ = ['StringAppState']

try:
    _setState = ctypes.CDLL(None).kelAppDataSetState
except AttributeError:
    raise ImportError('kelapp.appdata works only inside the host application') from None
_setState.argtypes = [ctypes.c_char_p, ctypes.c_char_p, ctypes.c_int64]
_setState.restype = ctypes.c_int32


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
        done = _setState(self._key, units, len(units) // 2)
        if done < 0:
            raise OverflowError('a text of %d units is longer than the host '
                                'state %r can hold' % (len(units) // 2, self.name))
        return bool(done)

    def __repr__(self):
        return 'StringAppState(%r)' % self.name
