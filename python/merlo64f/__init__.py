"""Adaptive digital filters in 64-bit floats: the filters of libmerlo64f over numpy arrays."""

from ._filters import *
