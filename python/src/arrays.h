// Samples between numpy and the filters. Arguments are read where they lie if that is possible, and
// copied if not; every complaint names its argument.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace binding {

namespace py = pybind11;

[[noreturn]] inline void refuse(const std::string& name, const std::string& why) {
    throw py::value_error(name + ": " + why);
}

[[noreturn]] inline void refuseType(const std::string& name, const std::string& why) {
    throw py::type_error(name + ": " + why);
}

// Optional arguments are null or None if they are not given.
inline bool isGiven(const py::handle& value) { return value && !value.is_none(); }

inline std::string text(const py::handle& object) { return py::str(object).cast<std::string>(); }
inline std::string shapeOf(const py::array& array) { return text(array.attr("shape")); }

// ---- Numbers

inline int32_t toSize(const char* name, const py::handle& value, int64_t least, int64_t most) {
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    if (!index) {
        PyErr_Clear();
        refuseType(name, "an integer is needed, not " + text(py::type::of(value).attr("__name__")));
    }
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
    if (overflow != 0 || number < least || number > most) {
        refuse(name, (overflow > 0   ? "too large"
                      : overflow < 0 ? "negative"
                                     : std::to_string(number)) +
                         ", must be from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return static_cast<int32_t>(number);
}

inline double toNumber(const char* name, const py::handle& value) {
    const double number = PyFloat_AsDouble(value.ptr());
    if (number == -1.0 && PyErr_Occurred() != nullptr) {
        PyErr_Clear();
        refuseType(name, "a number is needed, not " + text(py::type::of(value).attr("__name__")));
    }
    return number;
}

inline bool toFlag(const char* name, const py::handle& value) {
    const int truth = PyObject_IsTrue(value.ptr());
    if (truth < 0) {
        PyErr_Clear();
        refuseType(name, "a truth value is needed");
    }
    return truth != 0;
}

// ---- Arrays

// No array. (The default constructor of py::array makes an empty one, which takes time.)
inline py::array noArray() { return py::reinterpret_steal<py::array>(py::handle()); }

template <class T>
bool isPlain(const py::array& array) { // native elements of type T at aligned addresses
    const py::dtype type = array.dtype();
    return type.num() == py::detail::npy_format_descriptor<T>::value &&
           (type.byteorder() == '=' || type.byteorder() == '|') &&
           (array.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_) != 0;
}

// Along the last axis the elements are adjacent, and rows are whole elements apart.
inline bool hasRows(const py::array& array) {
    const py::ssize_t last = array.ndim() - 1;
    for (py::ssize_t axis = 0; axis < last; ++axis) {
        if (array.strides(axis) % array.itemsize() != 0) {
            return false;
        }
    }
    return last < 0 || array.shape(last) <= 1 || array.strides(last) == array.itemsize();
}

// An argument as an array of type T, cast only where numpy calls that safe.
template <class T>
py::array toArray(const char* name, const py::handle& value) {
    if (py::isinstance<py::array>(value)) {
        auto array = py::reinterpret_borrow<py::array>(value);
        if (isPlain<T>(array)) {
            return array;
        }
    }
    const auto numpy = py::module_::import("numpy");
    py::array array;
    try {
        array = numpy.attr("asarray")(value);
    } catch (py::error_already_set& error) {
        if (error.matches(PyExc_MemoryError)) {
            throw;
        }
        refuse(name, "not an array of numbers");
    }
    const py::dtype type = py::dtype::of<T>();
    if (array.dtype().kind() == 'O') {
        refuseType(name, "an array of numbers is needed, not " +
                             text(py::type::of(value).attr("__name__")));
    }
    if (array.size() > 0 &&
        !numpy.attr("can_cast")(array.dtype(), type, "safe").template cast<bool>()) {
        refuse(name,
               "dtype " + text(array.dtype()) + " cannot be cast to " + text(type) + " safely");
    }
    return numpy.attr("require")(array, type, "A");
}

// The same with adjacent elements along the last axis.
template <class T>
py::array withRows(const py::array& array) {
    return hasRows(array)
               ? array
               : py::array(py::module_::import("numpy").attr("ascontiguousarray")(array));
}

// The rows of an array, one a channel; `shared` if all channels have the same.
template <class T>
class Rows {
  public:
    Rows() = default;
    Rows(py::array array, bool shared) : array_(withRows<T>(array)), shared_(shared) { locate(); }

    std::span<const T> operator[](size_t channel) const {
        return {first_ + static_cast<py::ssize_t>(channel) * step_, length_};
    }
    size_t length() const { return length_; }
    const py::array& array() const { return array_; }
    void copy() {
        array_ = array_.attr("copy")();
        locate();
    }

  private:
    void locate() {
        const py::ssize_t dimensions = array_.ndim();
        first_ = static_cast<const T*>(array_.data());
        length_ = static_cast<size_t>(array_.shape(dimensions - 1));
        step_ = shared_ ? 0 : array_.strides(0) / static_cast<py::ssize_t>(sizeof(T));
    }

    py::array array_ = noArray();
    bool shared_ = true;
    const T* first_ = nullptr;
    size_t length_ = 0;
    py::ssize_t step_ = 0;
};

// The bytes from the first to the last element.
struct Extent {
    uintptr_t begin = 0, end = 0;

    explicit Extent(const py::array& array) {
        begin = end = reinterpret_cast<uintptr_t>(array.data());
        for (py::ssize_t axis = 0; axis < array.ndim(); ++axis) {
            if (array.shape(axis) == 0) {
                end = begin;
                return;
            }
            const py::ssize_t span = (array.shape(axis) - 1) * array.strides(axis);
            (span < 0 ? begin : end) += static_cast<uintptr_t>(span);
        }
        end += static_cast<uintptr_t>(array.itemsize());
    }
    bool meets(const Extent& other) const { return begin < other.end && other.begin < end; }
};

inline bool isSameMemory(const py::array& a, const py::array& b) {
    if (a.data() != b.data() || a.ndim() != b.ndim()) {
        return false;
    }
    for (py::ssize_t axis = 0; axis < a.ndim(); ++axis) {
        if (a.strides(axis) != b.strides(axis)) {
            return false;
        }
    }
    return true; // the shapes are equal
}

// A new array of doubles with the shape of another.
inline py::array newLike(const py::array& like) {
    const auto& numpy = py::detail::npy_api::get();
    PyObject* const array = numpy.PyArray_NewFromDescr_(
        numpy.PyArray_Type_, py::dtype::of<double>().release().ptr(), static_cast<int>(like.ndim()),
        reinterpret_cast<const Py_intptr_t*>(like.shape()), nullptr, nullptr, 0, nullptr);
    if (array == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::array>(array);
}

// A result: a new array, or one of the caller's that is written to.
class Result {
  public:
    Result(const char* name, py::handle out, const py::array& like) {
        if (!isGiven(out)) {
            given_ = work_ = newLike(like);
            isNew_ = true;
        } else {
            if (!py::isinstance<py::array>(out)) {
                refuseType(name,
                           "an array is needed, not " + text(py::type::of(out).attr("__name__")));
            }
            given_ = py::reinterpret_borrow<py::array>(out);
            const py::dtype type = given_.dtype();
            if (type.num() != py::detail::npy_api::NPY_DOUBLE_ || type.byteorder() != '=') {
                refuse(name, "dtype " + text(type) + ", must be float64");
            }
            if (!std::equal(like.shape(), like.shape() + like.ndim(), given_.shape(),
                            given_.shape() + given_.ndim())) {
                refuse(name, "shape " + shapeOf(given_) + ", must be " + shapeOf(like));
            }
            if (!given_.writeable()) {
                refuse(name, "read-only");
            }
            work_ = isPlain<double>(given_) && hasRows(given_) ? given_ : newLike(like);
        }
        first_ = static_cast<double*>(work_.mutable_data());
        length_ = static_cast<size_t>(work_.shape(work_.ndim() - 1));
        step_ = work_.ndim() == 1 ? 0 : work_.strides(0) / static_cast<py::ssize_t>(sizeof(double));
    }

    std::span<double> operator[](size_t channel) {
        return {first_ + static_cast<py::ssize_t>(channel) * step_, length_};
    }

    // Copies an input that the results would overwrite before it is read. The results may lie exactly
    // where the input `allowed` lies.
    void protect(Rows<double>& input, bool allowed) const {
        if (!isNew_ && Extent(work_).meets(Extent(input.array())) &&
            !(allowed && isSameMemory(work_, input.array()))) {
            input.copy();
        }
    }
    void requireApart(const Result& other) const {
        if (!isNew_ && !other.isNew_ && Extent(given_).meets(Extent(other.given_)) &&
            py::module_::import("numpy").attr("shares_memory")(given_, other.given_).cast<bool>()) {
            refuse("out", "the arrays overlap");
        }
    }

    py::array finish() {
        if (work_.ptr() != given_.ptr()) {
            given_[py::ellipsis()] = work_;
        }
        return given_;
    }

  private:
    py::array given_ = noArray(), work_ = noArray();
    bool isNew_ = false;
    double* first_ = nullptr;
    size_t length_ = 0;
    py::ssize_t step_ = 0;
};

} // namespace binding
