# Calling the host's commands: every command of the host is a function of the
# module "kel". Arguments go by position or by keyword, and results come back
# as Python values.
#
#   kelhost run examples/commands.py
import sys

print("host version:", kel.version())
print("2 + 3 =", kel.add(2, 3))
print("by keyword:", kel.concat(a="tea", b="pot"))
print("a list:", kel.listOf(1, 2.5, "three", [4]))
print("every character survives:", kel.echo("caf\u00e9 \U0001F600"))
print("script arguments:", sys.argv[1:])
