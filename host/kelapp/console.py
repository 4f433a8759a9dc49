"""The Python side of the host's interactive console.

The console imports this module once as `_kelConsole`, the one name it
leaves in `__main__`, and calls start(). From then on help() knows the host's
commands, and each Tab asks complete() for the names that may follow; the
answer goes back to the host through one of its application states. Nothing
here raises into the user's session or prints into it.
"""

import builtins
import io
import re
import sys
import types

from kelapp.appdata import StringAppState

__all__ = ['start', 'complete', 'describe']

_host = 'the host'
_usages = {}
_completions = None

# More candidates than anybody reads; the cap keeps a hostile __dir__ from
# flooding the host.
_MAX_CANDIDATES = 10000

# The word being completed is a module name: after `import`, after a comma
# of an import list, or after `from`.
_MODULE_CONTEXT = re.compile(r'\s*(?:from\s+|import\s+(?:[\w.]+\s*(?:as\s+\w+\s*)?,\s*)*)$')


def _text(hexdigits):
    return bytes.fromhex(hexdigits).decode('utf-8', 'surrogateescape')


def start(host, completions, usages):
    """Sets the console up: `host` is the host's name, `completions` the
    string state that takes the candidates, `usages` the hex of UTF-8 lines
    "name<TAB>usage" for the host's commands."""
    global _host, _completions, _usages
    _host = host
    _completions = StringAppState(completions)
    _usages = dict(line.split('\t', 1) for line in _text(usages).splitlines() if '\t' in line)
    python_help = getattr(builtins, 'help', None)
    if not isinstance(python_help, _Help):
        builtins.help = _Help(python_help)


# --- help ------------------------------------------------------------------

_CONVERSIONS = '''\
    Arguments go by position or by keyword; the host receives:
        bool           a bool (tested before int, so True is not 1)
        int            a 32-bit integer: its low 32 bits (2**31 arrives as
                       -2147483648); an int wider than 64 bits is refused
        float          a double
        str            a wide string of UTF-16 units, every character, cut
                       at the first "\\0"
        bytes          a narrow string, the bytes as they are, cut at the
                       first zero byte
        list           a list, converted element by element (nested at
                       most 1000 levels deep)
        anything else  (None, tuple, dict, ...) is refused
    A refused argument raises TypeError("wrong type of argument N for
    {name}()"); a text longer than the host's strings hold raises
    OverflowError.

    The result comes back as:
        a bool            the int 0 or 1
        an integer        int
        a double          float
        a wide string     str
        a narrow string   str, decoded as UTF-8 with surrogateescape
                          (s.encode('utf-8', 'surrogateescape') gives the
                          bytes back)
        a list            list
        nothing           None
    A command that fails gives None too; the host then reports "Error
    executing command {name}".
'''


def _host_command(obj):
    """The command's name when `obj` (or the text "kel.NAME") is a function
    the host published in the module kel, else None."""
    # The host's module is not always an instance of types.ModuleType.
    table = getattr(sys.modules.get('kel'), '__dict__', None)
    if not isinstance(table, dict):
        return None
    if isinstance(obj, str):
        if not obj.startswith('kel.'):
            return None
        name = obj[4:]
        obj = table.get(name)
    elif isinstance(obj, types.BuiltinFunctionType):
        name = obj.__self__
    else:
        return None
    if (isinstance(obj, types.BuiltinFunctionType) and isinstance(name, str)
            and obj.__self__ == name and table.get(name) is obj):
        return name
    return None


def describe(name):
    """What help() shows for the host command `name`."""
    usage = _usages.get(name, name + '(...)')
    call = 'kel.' + usage if name.isidentifier() else 'kel.__dict__[%r]%s' % (name, usage[len(name):])
    return ('Help on host command %s in module kel:\n\n%s\n'
            '    A command of the host %s: it runs in the host, which gives it\n'
            '    no documentation of its own in Python.\n\n' % (name, call, _host)
            + _CONVERSIONS.format(name=name))


class _Help:
    """Python's help(), which also explains the host's commands."""

    def __init__(self, python_help):
        self._python_help = python_help

    def __repr__(self):
        return repr(self._python_help)

    def __call__(self, *args, **kwds):
        if len(args) == 1 and not kwds:
            name = _host_command(args[0])
            if name is not None:
                print(describe(name))
                return None
        if self._python_help is None:
            import pydoc
            self._python_help = pydoc.help
        return self._python_help(*args, **kwds)


# --- completion ------------------------------------------------------------

def complete(before, word):
    """Hands the host the candidates for `word`, typed after `before` (both
    as hex of UTF-8), one a line, through the completions state. Whatever
    goes wrong (a hostile __getattr__, Ctrl-C) gives no candidates."""
    found = []
    stdout, stderr = sys.stdout, sys.stderr
    sys.stdout = sys.stderr = _Discard()
    try:
        found = _candidates(_text(before), _text(word))
    except BaseException:
        found = []
    finally:
        sys.stdout, sys.stderr = stdout, stderr
    _completions.setValue('\n'.join(found[:_MAX_CANDIDATES]))


class _Discard(io.TextIOBase):
    """Where output made while completing goes: nowhere."""

    def write(self, text):
        return len(text)


def _candidates(before, word):
    if _MODULE_CONTEXT.match(before):
        found = _module_names(word)
    elif '.' in word:
        found = _completer().attr_matches(word)
    else:
        found = _completer().global_matches(word)
    return [name for name in found if _fits_a_line(name)]


def _fits_a_line(name):
    # rlcompleter ends some keywords in a blank ("import "); a name with
    # blanks or control characters of its own cannot be typed.
    if not isinstance(name, str):
        return False
    name = name[:-1] if name.endswith(' ') else name
    return name.isprintable() and ' ' not in name


def _completer():
    # rlcompleter binds Tab of Python's own readline module when it can
    # import it; the console's line editing is the host's, so readline stays
    # out while rlcompleter loads.
    if 'rlcompleter' not in sys.modules and 'readline' not in sys.modules:
        sys.modules['readline'] = None
        try:
            import rlcompleter
        finally:
            if sys.modules.get('readline', 0) is None:
                del sys.modules['readline']
    import rlcompleter
    return rlcompleter.Completer(sys.modules['__main__'].__dict__)


def _module_names(word):
    """Modules that `import` could name: top-level ones on sys.path and
    built in, or the submodules of a package that is already imported (no
    module is imported to find them)."""
    import pkgutil
    package, dot, prefix = word.rpartition('.')
    if package:
        path = getattr(sys.modules.get(package), '__path__', None)
        if path is None:
            return []
        names = {module.name for module in pkgutil.iter_modules(path)}
    else:
        names = set(sys.builtin_module_names)
        names.update(module.name for module in pkgutil.iter_modules())
        names.update(name for name in sys.modules if '.' not in name)
    return sorted(package + dot + name for name in names if name.startswith(prefix))
