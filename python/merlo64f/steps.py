"""Step sizes: bounds estimated from a signal, and conversions from the textbook's parameters."""

from __future__ import annotations

from typing import Callable, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._filters import Lms, Nlms

__all__ = [
    "bfdaf_mu",
    "lattice_mu",
    "lms_limit",
    "lms_mu",
    "memory_lambda",
    "nlms_limit",
    "nlms_mu",
    "power",
    "rls_delta",
    "rls_lambda",
    "tdlms_mu",
]


def power(x: ArrayLike) -> float:
    """Mean square of a signal.

    Parameters
    ----------
    x : array_like
        Samples.
    """
    samples = _signal(x)
    return float(np.mean(samples**2))


def lms_limit(x: ArrayLike, order: int) -> float:
    """Estimate the largest step size at which Lms and Blms are stable on x. A tenth is a safe start.

    Runs the filter on x with d = 0 from coefficients of norm 1 and finds the largest mu at which they
    decay, and never exceed a norm of 10 on the way. So colour and changes of level are counted.

    Parameters
    ----------
    x : array_like, (samples,)
        Input of the filter, typical in level and colour: some thousand samples.
    order : int
        Number of taps.

    Returns
    -------
    float
        Step size, in the unit of 1 / x**2. For white Gaussian x of power s it is near
        ``2 / ((order + 2) * s)``.

    Raises
    ------
    ValueError
        x is silent, not finite, too short or not 1-D; order is out of range.
    """
    samples = _signal(x, order)
    return _limit(lambda: Lms(order, 0.0, channels=_STARTS), samples, 2.0 / power(samples))


def nlms_limit(x: ArrayLike, order: int) -> float:
    """Estimate the largest step size at which Nlms and Bnlms are stable on x. A tenth is a safe start.

    As lms_limit, with a running power that starts at the mean square of x. Sudden rises of level in x
    lower the result.

    Parameters
    ----------
    x : array_like, (samples,)
        Input of the filter, typical in colour and changes of level: some thousand samples.
    order : int
        Number of taps.

    Returns
    -------
    float
        Step size; near ``2 / (order + 2)`` for white Gaussian x.

    Raises
    ------
    ValueError
        x is silent, not finite, too short or not 1-D; order is out of range.
    """
    samples = _signal(x, order)
    level = power(samples)

    def make() -> Nlms:
        f = Nlms(order, 0.0, channels=_STARTS)
        f.power = level
        return f

    return _limit(make, samples, 2.0)


# ---- Parameters of other texts and packages


def lms_mu(step: float) -> float:
    """mu of Lms and Blms for an update written ``w += 2 * step * e * x``: twice the step."""
    return 2.0 * step


def nlms_mu(step: float, order: int) -> float:
    """mu of Nlms and Bnlms for the textbook's step over the energy of the line, 0 < step < 2.

    These families divide by the smoothed power of one sample, which is about `order` times smaller.

    Parameters
    ----------
    step : float
        Step size of the textbook; 0.2 is a safe start.
    order : int
        Number of taps.

    Returns
    -------
    float
        ``step / order``.
    """
    return step / order


def tdlms_mu(step: float, fft_len: int) -> float:
    """mu of Tdlms for a step over the power of an orthonormal transform: ``step / fft_len``."""
    return step / fft_len


def bfdaf_mu(step: float, block_len: int) -> float:
    """mu of Bfdaf and Pbfdaf for a step over the power of the spectrum: ``step / block_len``."""
    return step / block_len


def lattice_mu(step: float) -> float:
    """mu of the gradient lattices for a power whose weights add up to 1: half the step."""
    return 0.5 * step


def rls_lambda(forgetting: float) -> float:
    """lambda_ of Rls for the textbook's forgetting factor: ``1 / (2 - forgetting)``, equal for 1.

    Raises
    ------
    ValueError
        forgetting is not above 0 and at most 1.
    """
    if not 0.0 < forgetting <= 1.0:
        raise ValueError(f"forgetting: {forgetting}, must be above 0 and at most 1")
    return 1.0 / (2.0 - forgetting)


def rls_delta(regularisation: float) -> float:
    """delta of Rls for the textbook's ``P(0) = I / regularisation``: its inverse.

    Parameters
    ----------
    regularisation : float
        In the unit of x**2, 1 or more; for a smaller one multiply x and d by a power of two.

    Raises
    ------
    ValueError
        regularisation is not above 0.
    """
    if not regularisation > 0.0:
        raise ValueError(f"regularisation: {regularisation}, must be above 0")
    return 1.0 / regularisation


def memory_lambda(memory: float) -> float:
    """lambda_ of the least-squares families for a memory in samples: ``1 - 1 / memory``.

    Parameters
    ----------
    memory : float
        Samples after which the weight of an error has fallen to 37 %; more than 1.

    Raises
    ------
    ValueError
        memory is not more than 1.
    """
    if not memory > 1.0:
        raise ValueError(f"memory: {memory}, must be more than 1")
    return 1.0 - 1.0 / memory


_STARTS = 4  # vectors of coefficients that are followed
_LARGEST_NORM = 10.0


def _signal(x: ArrayLike, order: int = 0) -> NDArray[np.float64]:
    samples = np.asarray(x, dtype=np.float64)
    if samples.ndim != 1 or samples.size <= order:
        raise ValueError(f"x: shape {samples.shape}, must be 1-D with more than {order} samples")
    if not np.any(samples) or not np.all(np.isfinite(samples)):
        raise ValueError("x: silent or not finite")
    return samples


def _limit(make: Callable[[], Union[Lms, Nlms]], x: NDArray[np.float64], high: float) -> float:
    order = make().order
    starts = np.random.default_rng(1).standard_normal((_STARTS, order))
    starts /= np.linalg.norm(starts, axis=1, keepdims=True)
    inputs = np.broadcast_to(x, (_STARTS, x.size)).copy()
    silence = np.zeros_like(inputs)

    def is_stable(mu: float) -> bool:
        f = make()
        f.mu = mu
        f.coef = starts
        with np.errstate(all="ignore"):
            norms = np.linalg.norm(f.update(inputs, silence, history=order)[2], axis=2)
        return bool(np.all(norms <= _LARGEST_NORM) and np.all(norms[:, -1] <= 1.0 + 1e-9))

    low = high
    while not is_stable(low):
        low, high = 0.5 * low, low
    for _ in range(6):
        middle = float(np.sqrt(low * high))
        low, high = (middle, high) if is_stable(middle) else (low, middle)
    return low
