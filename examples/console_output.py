# With the scripting console on, Python's output and errors go to the host's
# application states "Python/Output String" and "Python/Error String" while
# the script runs; kelhost shows each piece as it arrives.
#
#   kelhost run --console examples/console_output.py
import sys

for step in range(3):
    print("step", step)
    kel.sleep(0.2)
sys.stderr.write("a line on the error stream\n")
raise RuntimeError("shown live, not as a message afterwards")
