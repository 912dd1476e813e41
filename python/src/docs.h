// The docstrings that families share.
#pragma once

#include <map>
#include <string>

namespace binding::docs {

inline constexpr const char* kChannels = R"(channels : int, optional
    Makes independent filters with these arguments, one for each row of the 2-D arrays
    (channels, samples) that all methods then take. Without it arrays are 1-D, (samples,).

Raises
------
ValueError
    A size out of its range, or an array of the wrong shape or dtype. The message begins with the
    name of the argument.
TypeError
    An argument of the wrong type.
MemoryError
    Not enough memory.
)";

// The text of a method of fast_call.h begins with its signature. All updates have these paragraphs, after
// those on x and d.
inline const std::string kUpdateArguments = R"(adapt : bool or array_like of bool, default True
    False: only filter, leave the coefficients. An array has an element per sample, (samples,) for
    all channels alike or the shape of x. In families with blockLen it must not change within a
    block.
history : int, optional
    Also return the coefficients after every `history` samples, in families with blockLen a multiple
    of it. Does not change any result.
out : (ndarray, ndarray), optional
    Arrays of dtype float64 and the shape of x to write y and e to. y may be x itself, e may be d
    itself. An input that overlaps otherwise is copied first.
)";
inline const std::string kUpdateReturns =
    R"(coefs : ndarray, (samples // history, taps) or (channels, samples // history, taps)
    Only with `history`.

Notes
-----
x may have any strides, and any dtype that numpy casts to float64 safely. A signal may be passed in
pieces: the results are those of one call, to the bit. In families with blockLen the number of samples
must be a multiple of it. The GIL is released; a filter belongs to one thread at a time, and a call
while another thread is in it raises RuntimeError.
)";

inline const std::string kUpdate = R"(($self, x, d, adapt=True, history=None, out=None)
--

Filter x, form the errors and adapt.

Parameters
----------
x : array_like, (samples,) or (channels, samples)
    Input.
d : array_like, shape of x
    Desired signal, in the unit of y.
)" + kUpdateArguments + R"(
Returns
-------
y : ndarray, shape of x
    Outputs, formed before each update.
e : ndarray, shape of x
    Errors d - y of the same samples; in RlsLattice the a-posteriori errors.
)" + kUpdateReturns;

inline const std::string kUpdateByRule =
    R"(($self, x, d, adapt=True, history=None, out=None, rule='lms')
--

Filter x, form the errors and adapt.

Parameters
----------
x : array_like, (samples,) or (channels, samples)
    Input.
d : array_like, shape of x
    Desired signal, in the unit of y.
)" + kUpdateArguments +
    R"(rule : {'lms', 'sign-error', 'sign-regressor', 'sign-sign'}
    Factors that are replaced by their signs. The sign of 0 is +1.

Returns
-------
y : ndarray, shape of x
    Outputs, formed before each update.
e : ndarray, shape of x
    Errors d - y of the same samples.
)" + kUpdateReturns;

inline const std::string kUpdateThroughPath = R"(($self, x, d, adapt=True, history=None, out=None)
--

Filter x, form the residuals and adapt.

Parameters
----------
x : array_like, (samples,) or (channels, samples)
    Reference.
d : array_like, shape of x
    Disturbance at the error sensor.
)" + kUpdateArguments + R"(
Returns
-------
s : ndarray, shape of x
    What arrives at the error sensor through secCoef, formed before each update.
e : ndarray, shape of x
    Residuals d + s.
)" + kUpdateReturns;

inline const std::string kPredict = R"(($self, x, adapt=True, history=None, out=None)
--

Predict x, form the prediction errors and adapt.

Parameters
----------
x : array_like, (samples,) or (channels, samples)
    Input.
)" + kUpdateArguments + R"(
Returns
-------
y : ndarray, shape of x
    Predictions.
e : ndarray, shape of x
    Prediction errors.
)" + kUpdateReturns;

inline const std::string kFilterOnly = R"(($self, x, out=None)
--

Filter x without adapting.

The sample history follows x, as do running powers, the matrix of Rls, and the energies of the
least-squares lattices.

Parameters
----------
x : array_like, (samples,) or (channels, samples)
    Input; in families with blockLen a multiple of it.
out : ndarray, optional
    Array of dtype float64 and the shape of x to write to.

Returns
-------
ndarray, shape of x
    Outputs; through a secondary path, what arrives at the error sensor.
)";

inline const std::string kFilter = R"(($self, x, out=None)
--

Filter x.

Parameters
----------
x : array_like, (samples,) or (channels, samples)
    Input.
out : ndarray, optional
    Array of dtype float64 and the shape of x to write to; may be x itself.

Returns
-------
ndarray, shape of x
    Outputs, in the unit of x times that of coef.
)";

inline constexpr const char* kUpdateRegressors =
    R"(Adapt on regressors from anywhere instead of a delay line.

Parameters
----------
X : array_like, (samples, order) or (channels, samples, order)
    A row for each sample of d. It replaces the delay line; column k belongs to coef[k]. Tdlms takes
    rows of fftLen elements. Nlms takes the power of column 0.
d : array_like, (samples,) or (channels, samples)
    Desired signal.
out : (ndarray, ndarray), optional
    Arrays of dtype float64 and the shape of d to write y and e to.
rule : {'lms', 'sign-error', 'sign-regressor', 'sign-sign'}
    Lms only: factors that are replaced by their signs.

Returns
-------
y, e : ndarray, shape of d
    Outputs and errors d - y, formed before each update.
)";

inline constexpr const char* kFilterRegressors = R"(Filter regressors without adapting.

Parameters
----------
X : array_like, (samples, order) or (channels, samples, order)
    As in update_regressors; in Fir a row of samples for each output.
out : ndarray, optional
    Array of dtype float64 to write to.

Returns
-------
ndarray, (samples,) or (channels, samples)
    Outputs.
)";

inline constexpr const char* kGetter = R"(Copy elements of a vector, as the accessor of C does.

In the transform families reading coef rounds the spectrum, as in C; the property coef does not.

Parameters
----------
start : int
    Index of the first element. In a ring line element 0 is the newest sample.
count : int, optional
    Number of elements; a range past the end is shortened.
reversed : bool
    Return the elements in reverse order.

Returns
-------
ndarray, (count,) or (channels, count)
)";

inline constexpr const char* kSetter = R"(Replace elements of a vector, as the accessor of C does.

Parameters
----------
values : array_like, (count,) or (channels, count)
    New elements; those past the end of the vector are ignored.
start : int
    Index of the first element.
reversed : bool
    The values are in reverse order.

Returns
-------
int
    Number of elements replaced in each channel.
)";

inline constexpr const char* kReset =
    "Set the coefficients to 0; in the least-squares lattices, restore all start values.";
inline constexpr const char* kResetDelayLine = "Set the sample history to 0.";
inline constexpr const char* kCopy =
    "Return a filter in the same state that shares nothing with this one.";
inline constexpr const char* kChannel = "One channel as a filter for 1-D arrays. It shares its "
                                        "state with this filter; its sizes are fixed.";
inline constexpr const char* kResize =
    R"(Change the sizes; keep parameters, the first coefficients and the newest samples.

Sizes that are not given stay. Arrays taken from the filter before keep their old values and no longer
belong to it. `err` has no value until the next update. A failure changes nothing.
)";
inline constexpr const char* kBuffers =
    R"(dict of str to ndarray: the arrays of the C record as they lie in memory.

Without channels they read and write in place. The transform families hold packed spectra in coef, and
ring lines begin at their positions.
)";
inline constexpr const char* kRecord =
    R"(dict: the C record, every number and a copy of every array by its name in C.

With channels a list of records. The transform families add their table, fftTwiddles.
)";
inline constexpr const char* kFromRecord =
    R"(Make a filter of a C record, such as one from the log of a device.

Parameters
----------
record : dict
    Every number and array of the record by its name in C, as in the property record. fftTwiddles may
    be left out: then the table is computed.

Returns
-------
filter
    In the state of the record, without channels.

Raises
------
ValueError
    A number or array is missing, out of range or of the wrong length.
)";
inline constexpr const char* kTwiddles =
    R"(ndarray: the twiddle factors of the transform, FFT_TWIDDLES_LEN(n) elements of C.

A copy, which cannot be written to. Assign those of another host to get its bits; copies and pickles
have them too. A resize to a longer transform than n computes them again.
)";
inline constexpr const char* kTaps =
    R"(ndarray, (taps,): coefficients in the time domain, coef[0] for the newest sample.

A copy, which cannot be written to; assign to the property. Reading does not change the filter.
)";
inline constexpr const char* kRing = R"(ndarray: the newest samples, newest first.

A copy, which cannot be written to; assign to the property.
)";

// A field or array of a record. The units are those of the signals that the family takes.
inline const char* ofField(const std::string& name) {
    static const std::map<std::string, const char*> texts = {
        {"adaptParcor", "bool: updates adapt parcor. True at first."},
        {"backErr", "ndarray: backward errors of the newest sample, one for each stage."},
        {"bins", "int: bins of a spectrum, fftLen / 2 + 1."},
        {"blockLen", "int: block length; all calls take a multiple of it."},
        {"bwdEnergy", "ndarray, (order,): energy of the backward error of each stage."},
        {"bwdParcor", "ndarray, (order,): backward reflection coefficients."},
        {"coef", "ndarray, (order,): coefficients; coef[0] belongs to the newest sample, or to the "
                 "first stage of a lattice. Reads and writes in place, except with channels."},
        {"coefTail", "int: positions behind the taps, fftLen - order."},
        {"constrained", "bool: the coefficients are reduced to `order` taps after every update."},
        {"crossCorr",
         "ndarray, (order,): correlation of the forward and the delayed backward error."},
        {"delayLine",
         "ndarray: what the filter keeps of the past: samples, newest first in Rls, oldest "
         "first in Bfdaf and Pbfdaf; in the lattices the backward errors."},
        {"err", "float: error of the last sample that was adapted on."},
        {"errHead", "int: position in errLine that the next residual overwrites."},
        {"errLine", "ndarray, (estLen,): ring of past residuals."},
        {"estCoef",
         "ndarray, (estLen,): estimate of the secondary path, estCoef[0] for the newest "
         "sample. The filter's own copy; reads and writes in place, except with channels."},
        {"estLen", "int: length of estCoef."},
        {"fftLen", "int: length of the transform."},
        {"frame", "ndarray, (fftLen,): the last frame; its spectrum after an update."},
        {"fwdEnergy", "ndarray, (order,): energy of the forward error of each stage."},
        {"fwdParcor", "ndarray, (order,): forward reflection coefficients."},
        {"fxHead", "int: position of the newest sample in fxLine."},
        {"fxLine", "ndarray, (order,): ring of past filtered references."},
        {"gain", "ndarray, (order,): P * x of the last call."},
        {"head", "int: position in the ring line that the next sample overwrites."},
        {"inHead", "int: position of the newest sample in inLine."},
        {"inLine", "ndarray, (order + 1,): ring of the newest samples."},
        {"invCorr", "ndarray, (order * (order + 1) / 2,): lower triangle of P by rows."},
        {"invLambda", "float: 1 / lambda_, which assigning lambda_ sets too."},
        {"invScale", "float: 2 / fftLen."},
        {"jointCorr", "ndarray, (order,): correlation of the joint and the backward error."},
        {"lambda", "float: forgetting factor; memory of about 1 / (1 - lambda_) samples."},
        {"mu",
         "float: step size, read at every update. With channels an array; one number sets all."},
        {"muCoef", "float: step size of coef, read at every update."},
        {"order", "int: number of taps or stages; of a part in Pbfdaf."},
        {"outBuf", "ndarray, (fftLen,): work array."},
        {"outHead", "int: position in outLine that the next output overwrites."},
        {"outLine", "ndarray, (secLen,): ring of past outputs before the secondary path."},
        {"overlap", "int: samples of history in a frame, fftLen - blockLen."},
        {"parcor", "ndarray, (order,): reflection coefficients; parcor[i - 1] is that of stage i."},
        {"partitions", "int: number of parts of the response."},
        {"power",
         "float, or ndarray in the lattices: running power that the step is divided by. 1.0 at "
         "first."},
        {"powerAvg", "ndarray, (bins,): running power of each bin. 1.0 at first."},
        {"powerGain", "float: weight of a new power spectrum in powerAvg."},
        {"powerInst", "ndarray, (bins,): power spectrum of the last frame."},
        {"prevGamma", "ndarray, (order,): conversion factors of the previous sample."},
        {"refLen", "int: length of the reference line."},
        {"ring", "ndarray, (specLen,): spectra of the newest frames."},
        {"ringPos", "int: place of the next frame in ring, in pairs of elements."},
        {"scratch", "ndarray, (fftLen,): work array."},
        {"secCoef",
         "ndarray, (secLen,): secondary path, secCoef[0] for the newest sample. The filter's "
         "own copy; reads and writes in place, except with channels."},
        {"secLen", "int: length of secCoef."},
        {"specLen", "int: fftLen * partitions."},
        {"updateCoef", "bool: updates compute coef. True at first."},
    };
    return texts.at(name);
}

} // namespace binding::docs
