"""Loads a library into a process that runs already, and lets go of it while a thread still has data there.

    load_library.py LIBRARY [FUNCTION]

Two things can go wrong that a linked program does not see: the process keeps little room for thread-local variables of
such a library, and the library's code is needed at the end of the thread, when nobody holds the library any more.
FUNCTION, called with "", makes the data of a thread.
"""
import _ctypes
import ctypes
import sys
import threading

library = ctypes.CDLL(sys.argv[1])
made, released = threading.Event(), threading.Event()


def call():
    for function in functions:
        function(b"")
    made.set()
    released.wait()


functions = [library[name] for name in sys.argv[2:]]
thread = threading.Thread(target=call)
thread.start()
made.wait()
_ctypes.dlclose(library._handle)  # pylint: disable=protected-access
released.set()
thread.join()
