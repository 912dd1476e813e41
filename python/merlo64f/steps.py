"""Step sizes: bounds estimated from a signal, and conversions from the textbook's parameters."""

from __future__ import annotations

import numpy as np
from numpy.typing import ArrayLike, NDArray

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
    """Estimate the largest step size at which Lms and Blms converge in the mean square on x.

    A tenth of it is a safe start.

    Parameters
    ----------
    x : array_like, (samples,)
        Input of the filter, typical in level and colour, of more than `order` samples.
    order : int
        Number of taps.

    Returns
    -------
    float
        The mu with ``sum(mu * l / (2 - 2 * mu * l)) == 1`` over the eigenvalues l of the
        correlation matrix of x, in the unit of 1 / x**2. For white x of power s it is
        ``2 / ((order + 2) * s)``.

    Raises
    ------
    ValueError
        x is silent, too short or not 1-D.

    References
    ----------
    Feuer and Weinstein 1985, Convergence analysis of LMS filters with uncorrelated Gaussian data.
    """
    return _limit(_signal(x, order), order)


def nlms_limit(x: ArrayLike, order: int) -> float:
    """Estimate the largest step size at which Nlms and Bnlms converge on x.

    As lms_limit for x divided by the root of the running power that the filter divides its step by. The
    estimate holds for the colour of x and for its usual changes of level; sudden rises after silence
    need a smaller step. A tenth of it is a safe start.

    Parameters
    ----------
    x : array_like, (samples,)
        Input of the filter, of more than `order` samples.
    order : int
        Number of taps.

    Returns
    -------
    float
        Step size; about ``2 / (order + 2)`` for white x of steady level.

    Raises
    ------
    ValueError
        x is silent, too short or not 1-D.
    """
    samples = _signal(x, order)
    running = _running_power(samples)
    floor = 1e-6 * float(np.mean(samples**2))  # silence takes no part
    return _limit(samples / np.sqrt(np.maximum(running, floor)), order)


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


def _signal(x: ArrayLike, order: int = 0) -> NDArray[np.float64]:
    samples = np.asarray(x, dtype=np.float64)
    if samples.ndim != 1 or samples.size <= order:
        raise ValueError(f"x: shape {samples.shape}, must be 1-D with more than {order} samples")
    if not np.any(samples):
        raise ValueError("x: silent")
    return samples


def _limit(x: NDArray[np.float64], order: int) -> float:
    if order < 1:
        raise ValueError(f"order: {order}, must be at least 1")
    lags = np.array([x[k:] @ x[: x.size - k] for k in range(order)]) / x.size
    index = np.arange(order)
    eigenvalues = np.maximum(np.linalg.eigvalsh(lags[np.abs(index[:, None] - index)]), 0.0)
    low, high = 0.0, 1.0 / float(eigenvalues[-1])
    for _ in range(60):  # the sum grows with mu, from 0 to infinity
        mu = 0.5 * (low + high)
        if np.sum(mu * eigenvalues / (2.0 - 2.0 * mu * eigenvalues)) < 1.0:
            low = mu
        else:
            high = mu
    return low


def _running_power(x: NDArray[np.float64]) -> NDArray[np.float64]:
    """0.99 * power + 0.01 * x**2, from the mean square on, in stretches of matrix products."""
    stretch = 256
    decay = 0.99 ** np.arange(1, stretch + 1)
    lag = np.arange(stretch)
    weights = np.tril(0.01 * 0.99 ** np.abs(lag[:, None] - lag))
    result = np.empty_like(x)
    last = float(np.mean(x**2))
    for i in range(0, x.size, stretch):
        square = x[i : i + stretch] ** 2
        n = square.size
        result[i : i + n] = weights[:n, :n] @ square + decay[:n] * last
        last = float(result[i + n - 1])
    return result
