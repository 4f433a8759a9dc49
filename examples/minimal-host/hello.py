# The script that minimal-host runs: its two commands are functions of the
# module "kel", which every script sees without an import.
print(kel.greet("world"))
print("2 + 3 =", kel.add(2, 3))
print("a failed command gives None:", kel.add(2, "three"))
