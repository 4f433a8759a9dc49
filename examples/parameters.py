# Identity parameters: the host's document holds named identities (KelIDPar)
# and identity lists (KelIDsPar). Saving writes the document as a chunk file;
# `kelhost chunks FILE` shows its tree and `kelhost params FILE` its contents.
#
#   kelhost run examples/parameters.py /tmp/document.kel
#   kelhost chunks /tmp/document.kel
import sys

path = sys.argv[1] if len(sys.argv) > 1 else "document.kel"
owner = kel.newIdentity()
kel.setIdentity("owner", owner)
kel.setIdentities("members", [owner, kel.newIdentity(), kel.newIdentity()])
kel.saveDocument(path)

kel.setIdentity("owner", kel.newIdentity())   # changed in memory only
kel.loadDocument(path)                        # and back from the file
assert kel.getIdentity("owner") == owner
print("saved and loaded", kel.parameterNames(), "in", path)
print("owner:", owner)
