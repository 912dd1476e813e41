"""Adaptive digital filters in 64-bit floats: the filters of libmerlo64f over numpy arrays.

=============  ==========================================================================
Job            Class
=============  ==========================================================================
fixed          Fir
transversal    Lms, Nlms; over blocks Blms, Bnlms
coloured x     Tdlms, Bfdaf, LmsLattice, Rls, RlsLattice
long response  Pbfdaf
noise control  FxLms, AdjLms
prediction     LfPef, LbPef, RlsLfPef, RlsLbPef
=============  ==========================================================================

Every filter has the same methods: ``y, e = f.update(x, d)`` adapts (predictors take x alone),
``y = f.filter(x)`` does not. Results have the same bits as those of the C library, however a signal is
divided into calls.
"""

from . import steps
from ._filters import (
    AdjLms,
    Bfdaf,
    Blms,
    Bnlms,
    Fir,
    FxLms,
    LbPef,
    LfPef,
    Lms,
    LmsLattice,
    Nlms,
    Pbfdaf,
    Rls,
    RlsLattice,
    RlsLbPef,
    RlsLfPef,
    Tdlms,
    __version__,
)

__all__ = [
    "AdjLms",
    "Bfdaf",
    "Blms",
    "Bnlms",
    "Fir",
    "FxLms",
    "LbPef",
    "LfPef",
    "Lms",
    "LmsLattice",
    "Nlms",
    "Pbfdaf",
    "Rls",
    "RlsLattice",
    "RlsLbPef",
    "RlsLfPef",
    "Tdlms",
    "steps",
]
