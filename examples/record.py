# Recording and replaying: with --record, kelhost keeps every host command
# that the script executes, with its arguments, and writes them as a Python
# script at the end. Running that script executes the same commands again.
#
#   kelhost run --record /tmp/replay.py examples/record.py
#   cat /tmp/replay.py
#   kelhost run /tmp/replay.py
for n in range(3):
    kel.add(n, 10)
kel.echo("na\u00efve \U0001F600")
kel.listOf(True, [1, 2.5])
