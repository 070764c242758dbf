# Registers the printers from the source tree for every program, as the installed auto-load
# script does for the programs that load the library.
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
import zo_kel_printers  # noqa: E402

zo_kel_printers.register()
