# A value that has no host form (None, a dict, a tuple) makes the call raise
# TypeError, which a script can catch. The host is told as well: kelhost shows
# the message on standard error. A command that fails gives None.
#
#   kelhost run examples/typeerror.py
try:
    kel.echo({"not": "convertible"})
except TypeError as error:
    print("caught:", error)

result = kel.fail()
print("a failed command gives", result)
