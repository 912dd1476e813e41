from typing import Any, Literal, Optional, Sequence, Tuple, Union, overload

import numpy as np
from numpy.typing import ArrayLike, NDArray
from typing_extensions import Self

_Array = NDArray[np.float64]
_Mask = Union[bool, np.bool_, NDArray[np.bool_], Sequence[bool], Sequence[Sequence[bool]]]
_Out = Optional[Tuple[_Array, _Array]]
_Rule = Literal["lms", "sign-error", "sign-regressor", "sign-sign"]
_Sizes = Optional[int]

__version__: str

# A number of the record: a float or int, or an array with channels. Takes a number, or one a channel.
class _Number:
    def __get__(self, instance: object, owner: Any) -> Any: ...
    def __set__(self, instance: object, value: ArrayLike) -> None: ...

# An array of the record. Takes what numpy broadcasts to its shape.
class _Values:
    def __get__(self, instance: object, owner: Any) -> _Array: ...
    def __set__(self, instance: object, value: ArrayLike) -> None: ...

# What all filters have. Numbers of a filter with channels are arrays, (channels,).
class _Filter:
    @property
    def order(self) -> int: ...
    @property
    def channels(self) -> Optional[int]: ...
    @property
    def buffers(self) -> dict[str, _Array]: ...
    @property
    def record(self) -> Any: ...
    @classmethod
    def from_record(cls, record: dict[str, Any]) -> Self: ...
    coef: _Values
    delayLine: _Values
    def filter(self, x: ArrayLike, out: Optional[_Array] = ...) -> _Array: ...
    def get_coef(self, start: int = ..., count: Optional[int] = ..., reversed: bool = ...) -> _Array: ...
    def copy(self) -> Self: ...
    def __copy__(self) -> Self: ...
    def __deepcopy__(self, memo: Any, /) -> Self: ...
    def __getitem__(self, channel: int, /) -> Self: ...
    def __getstate__(self) -> object: ...
    def __setstate__(self, state: object, /) -> None: ...

class _Coefs(_Filter):
    def set_coef(self, values: ArrayLike, start: int = ..., reversed: bool = ...) -> int: ...

class _DelayLine(_Filter):
    def get_delay_line(
        self, start: int = ..., count: Optional[int] = ..., reversed: bool = ...
    ) -> _Array: ...
    def set_delay_line(self, values: ArrayLike, start: int = ..., reversed: bool = ...) -> int: ...

class _Reset(_Filter):
    def reset(self) -> None: ...

class _ResetDelayLine(_Filter):
    def reset_delay_line(self) -> None: ...

class _Resize(_Filter):
    def resize(self, order: int) -> None: ...

class _Blocks(_Filter):
    @property
    def blockLen(self) -> int: ...

class _ResizeBlocks(_Blocks):
    def resize(self, order: int, blockLen: _Sizes = ...) -> None: ...

class _Step(_Filter):
    mu: _Number

class _Err(_Filter):
    err: _Number

class _Update(_Filter):
    @overload
    def update(
        self, x: ArrayLike, d: ArrayLike, adapt: _Mask = ..., history: None = ..., out: _Out = ...
    ) -> Tuple[_Array, _Array]: ...
    @overload
    def update(
        self, x: ArrayLike, d: ArrayLike, adapt: _Mask = ..., *, history: int, out: _Out = ...
    ) -> Tuple[_Array, _Array, _Array]: ...

class _UpdateByRule(_Filter):
    @overload
    def update(
        self,
        x: ArrayLike,
        d: ArrayLike,
        adapt: _Mask = ...,
        history: None = ...,
        out: _Out = ...,
        rule: _Rule = ...,
    ) -> Tuple[_Array, _Array]: ...
    @overload
    def update(
        self,
        x: ArrayLike,
        d: ArrayLike,
        adapt: _Mask = ...,
        *,
        history: int,
        out: _Out = ...,
        rule: _Rule = ...,
    ) -> Tuple[_Array, _Array, _Array]: ...

class _Predict(_Filter):
    @overload
    def update(
        self, x: ArrayLike, adapt: _Mask = ..., history: None = ..., out: _Out = ...
    ) -> Tuple[_Array, _Array]: ...
    @overload
    def update(
        self, x: ArrayLike, adapt: _Mask = ..., *, history: int, out: _Out = ...
    ) -> Tuple[_Array, _Array, _Array]: ...

class _FilterRegressors(_Filter):
    def filter_regressors(self, X: ArrayLike, out: Optional[_Array] = ...) -> _Array: ...

class _Regressors(_FilterRegressors):
    def update_regressors(
        self, X: ArrayLike, d: ArrayLike, out: _Out = ...
    ) -> Tuple[_Array, _Array]: ...

class _Ring(_DelayLine, _ResetDelayLine):
    head: _Number

class _Gradient(_Step, _Coefs, _Ring, _Reset): ...

class _SecondaryPath(_Gradient, _Err, _Update, _Resize):
    def __init__(
        self,
        order: int,
        mu: float,
        secCoef: ArrayLike,
        estCoef: ArrayLike,
        *,
        channels: Optional[int] = ...,
    ) -> None: ...
    @property
    def secLen(self) -> int: ...
    @property
    def estLen(self) -> int: ...
    @property
    def refLen(self) -> int: ...
    power: _Number
    secCoef: _Values
    estCoef: _Values
    outLine: _Values
    outHead: _Number

class _Transform(_Step, _Coefs, _Reset, _ResetDelayLine):
    @property
    def fftLen(self) -> int: ...
    @property
    def bins(self) -> int: ...
    invScale: _Number
    powerAvg: _Values
    fftTwiddles: _Values

class _BlockTransform(_Transform, _Blocks, _Update):
    @property
    def overlap(self) -> int: ...
    @property
    def coefTail(self) -> int: ...
    constrained: bool
    powerGain: _Number
    outBuf: _Values

class _Parcor(_Filter):
    parcor: _Values
    def get_parcor(
        self, start: int = ..., count: Optional[int] = ..., reversed: bool = ...
    ) -> _Array: ...
    def set_parcor(self, values: ArrayLike, start: int = ..., reversed: bool = ...) -> int: ...

class _GradientLattice(_Step, _Err, _Coefs, _Parcor, _DelayLine, _Reset, _Resize):
    power: _Values
    backErr: _Values

class _GradientPredictor(_GradientLattice, _Predict):
    def __init__(self, order: int, mu: float, *, channels: Optional[int] = ...) -> None: ...
    updateCoef: bool

class _LeastSquaresLattice(_Err, _DelayLine, _Reset, _Resize):
    def __init__(self, order: int, lambda_: float, *, channels: Optional[int] = ...) -> None: ...
    lambda_: _Number
    fwdParcor: _Values
    bwdParcor: _Values
    fwdEnergy: _Values
    bwdEnergy: _Values
    crossCorr: _Values
    prevGamma: _Values
    def get_forward_parcors(
        self, start: int = ..., count: Optional[int] = ..., reversed: bool = ...
    ) -> _Array: ...
    def get_backward_parcors(
        self, start: int = ..., count: Optional[int] = ..., reversed: bool = ...
    ) -> _Array: ...

class _LeastSquaresPredictor(_LeastSquaresLattice, _Predict):
    updateCoef: bool

class Fir(_Coefs, _Ring, _Resize, _FilterRegressors):
    def __init__(self, coef: ArrayLike, *, channels: Optional[int] = ...) -> None: ...

class Lms(_Gradient, _Err, _UpdateByRule, _FilterRegressors, _Resize):
    def __init__(self, order: int, mu: float, *, channels: Optional[int] = ...) -> None: ...
    def update_regressors(
        self, X: ArrayLike, d: ArrayLike, out: _Out = ..., rule: _Rule = ...
    ) -> Tuple[_Array, _Array]: ...

class Nlms(_Gradient, _Err, _Update, _Regressors, _Resize):
    def __init__(self, order: int, mu: float, *, channels: Optional[int] = ...) -> None: ...
    power: _Number

class FxLms(_SecondaryPath):
    fxLine: _Values
    fxHead: _Number

class AdjLms(_SecondaryPath):
    errLine: _Values
    errHead: _Number

class Blms(_Gradient, _ResizeBlocks, _UpdateByRule):
    def __init__(
        self, order: int, blockLen: int, mu: float, *, channels: Optional[int] = ...
    ) -> None: ...

class Bnlms(_Gradient, _ResizeBlocks, _Update):
    def __init__(
        self, order: int, blockLen: int, mu: float, *, channels: Optional[int] = ...
    ) -> None: ...
    power: _Number

class Bfdaf(_BlockTransform, _ResizeBlocks):
    def __init__(
        self,
        order: int,
        blockLen: int,
        mu: float,
        constrained: bool = ...,
        *,
        channels: Optional[int] = ...,
    ) -> None: ...
    frame: _Values
    powerInst: _Values

class Pbfdaf(_BlockTransform):
    def __init__(
        self,
        order: int,
        blockLen: int,
        partitions: int,
        mu: float,
        constrained: bool = ...,
        *,
        channels: Optional[int] = ...,
    ) -> None: ...
    def resize(self, order: int, blockLen: _Sizes = ..., partitions: _Sizes = ...) -> None: ...
    @property
    def partitions(self) -> int: ...
    @property
    def specLen(self) -> int: ...
    ring: _Values
    ringPos: _Number
    scratch: _Values

class Tdlms(_Transform, _Err, _Update, _Regressors, _Ring, _Resize):
    def __init__(self, order: int, mu: float, *, channels: Optional[int] = ...) -> None: ...
    frame: _Values
    powerInst: _Values

class LmsLattice(_GradientLattice, _Update):
    def __init__(
        self, order: int, mu: float, muCoef: float, *, channels: Optional[int] = ...
    ) -> None: ...
    muCoef: _Number
    adaptParcor: bool

class LfPef(_GradientPredictor): ...

class LbPef(_GradientPredictor):
    inLine: _Values
    inHead: _Number

class Rls(_Err, _Coefs, _DelayLine, _Reset, _ResetDelayLine, _Update, _Regressors, _Resize):
    def __init__(
        self, order: int, lambda_: float, delta: float, *, channels: Optional[int] = ...
    ) -> None: ...
    lambda_: _Number
    invLambda: _Number
    gain: _Values
    invCorr: _Values

class RlsLattice(_LeastSquaresLattice, _Update):
    jointCorr: _Values

class RlsLfPef(_LeastSquaresPredictor): ...

class RlsLbPef(_LeastSquaresPredictor):
    inLine: _Values
    inHead: _Number
