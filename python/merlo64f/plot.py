"""Pictures of filters at work. Needs matplotlib."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Optional

import numpy as np
from numpy.typing import ArrayLike, NDArray

if TYPE_CHECKING:
    from matplotlib.axes import Axes

__all__ = ["learning_curve", "level"]


def level(e: ArrayLike, window: int = 256) -> NDArray[np.float64]:
    """Level of a signal over time.

    Parameters
    ----------
    e : array_like, (samples,) or (runs, samples)
        Errors; runs are averaged.
    window : int
        Length of the sliding mean, in samples.

    Returns
    -------
    ndarray, (samples,)
        Mean square of the last `window` samples in dB re 1.0; fewer at the start. Silence is -400 dB.
    """
    square = np.atleast_2d(np.asarray(e, dtype=np.float64)) ** 2
    if square.ndim != 2 or square.shape[1] == 0:
        raise ValueError(f"e: shape {np.shape(e)}, must be (samples,) or (runs, samples)")
    if window < 1:
        raise ValueError(f"window: {window}, must be at least 1")
    mean = square.mean(axis=0)
    count = np.minimum(np.arange(1, mean.size + 1), window)
    padded = np.concatenate((np.zeros(window), mean))
    strides = np.lib.stride_tricks.sliding_window_view(padded, window)[1:]
    result: NDArray[np.float64] = 10.0 * np.log10(np.maximum(strides.sum(axis=1) / count, 1e-40))
    return result


def learning_curve(
    e: ArrayLike,
    *,
    rate: Optional[float] = None,
    window: int = 256,
    ax: Optional["Axes"] = None,
    **line: Any,
) -> "Axes":
    """Draw the level of the errors over time.

    Parameters
    ----------
    e : array_like, (samples,) or (runs, samples)
        Errors of a filter, e of update(); runs are averaged.
    rate : float, optional
        Sampling rate in Hz: the axis is in seconds. Otherwise in samples.
    window : int
        Length of the sliding mean, in samples.
    ax : matplotlib.axes.Axes, optional
        Axes to draw on, by default new ones.
    **line
        Arguments of Axes.plot(), such as label.

    Returns
    -------
    matplotlib.axes.Axes

    Raises
    ------
    ImportError
        matplotlib is not installed.
    """
    if ax is None:
        import matplotlib.pyplot as plt

        ax = plt.figure(layout="constrained").add_subplot()
    levels = level(e, window)
    time = np.arange(levels.size) / (1.0 if rate is None else rate)
    ax.plot(time, levels, **line)
    ax.set_xlabel("samples" if rate is None else "time in s")
    ax.set_ylabel("level of the error in dB")
    ax.grid(True, alpha=0.3)
    if "label" in line:
        ax.legend()
    return ax
