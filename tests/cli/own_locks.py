"""Machine-wide locks of a test's own, so that tests on one machine do not wait for each other's serial lines."""

import ctypes
import os

CLONE_NEWIPC = 0x08000000


def take_own_locks():
    """Gives the calling thread, and each program that it starts, other locks than the rest of the machine has.

    Without the rights for this the locks stay shared, and tests only take longer. Wine has its own locks.
    """
    if "ULIX_UNDER_WINE" not in os.environ:
        ctypes.CDLL(None).unshare(CLONE_NEWIPC)
