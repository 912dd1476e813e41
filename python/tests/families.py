"""All families: how the tests make one, and what it takes."""

from dataclasses import dataclass, field

import numpy as np

import merlo64f


@dataclass(frozen=True)
class Family:
    c_name: str
    cls: type
    arguments: dict = field(default_factory=dict)
    blocks: bool = False
    predicts: bool = False
    most: int = 32
    least: int = 1

    def make(self, order=5, *, channels=None, **changes):
        arguments = {"order": order, **self.arguments, **changes}
        if self.cls is merlo64f.Fir:
            arguments = {"coef": arguments.get("coef", FIR_COEF[: arguments["order"]])}
        return self.cls(**arguments, channels=channels)

    @property
    def adapts(self):
        return hasattr(self.cls, "update")

    def signals(self, x, d):
        return (x,) if self.predicts else (x, d)

    def run(self, f, x, d, **options):
        """y and e as one array; a fixed filter has y alone."""
        if not self.adapts:
            return f.filter(x)[np.newaxis]
        return np.stack(f.update(*self.signals(x, d), **options)[:2])


FIR_COEF = np.zeros(32)
FIR_COEF[:8] = [0.5, -0.25, 1.0, 0.125, -0.75, 0.0625, 0.375, -1.0]
PATHS = {"secCoef": [0.0, 0.75, -0.25], "estCoef": [0.0, 0.5, -0.25, 0.125, 0.0625]}
BLOCK = {"blockLen": 9}

FAMILIES = [
    Family("fir64f", merlo64f.Fir),
    Family("lms64f", merlo64f.Lms, {"mu": 0.05}),
    Family("nlms64f", merlo64f.Nlms, {"mu": 0.02}),
    Family("adjlms64f", merlo64f.AdjLms, {"mu": 0.01, **PATHS}),
    Family("fxlms64f", merlo64f.FxLms, {"mu": 0.01, **PATHS}),
    Family("blms64f", merlo64f.Blms, {"mu": 0.05, **BLOCK}, blocks=True),
    Family("bnlms64f", merlo64f.Bnlms, {"mu": 0.02, **BLOCK}, blocks=True),
    Family("lbpef64f", merlo64f.LbPef, {"mu": 0.01}, predicts=True, most=10),
    Family("lfpef64f", merlo64f.LfPef, {"mu": 0.01}, predicts=True, most=10),
    Family("lmslattice64f", merlo64f.LmsLattice, {"mu": 0.005, "muCoef": 0.02}),
    Family("bfdaf64f", merlo64f.Bfdaf, {"mu": 0.01, **BLOCK}, blocks=True),
    Family("pbfdaf64f", merlo64f.Pbfdaf, {"mu": 0.01, "partitions": 3, **BLOCK}, blocks=True),
    Family("tdlms64f", merlo64f.Tdlms, {"mu": 0.01}, least=3),
    Family("rls64f", merlo64f.Rls, {"lambda_": 0.99, "delta": 0.5}),
    Family("rlslattice64f", merlo64f.RlsLattice, {"lambda_": 0.99}),
    Family("rlslbpef64f", merlo64f.RlsLbPef, {"lambda_": 0.99}, predicts=True, most=10),
    Family("rlslfpef64f", merlo64f.RlsLfPef, {"lambda_": 0.99}, predicts=True, most=10),
]
