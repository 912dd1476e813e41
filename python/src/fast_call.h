// Methods that are called often, by the fast convention of CPython: a call costs about half of one
// through pybind11, most of all with keywords.
#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <new>
#include <stdexcept>
#include <string>

namespace binding {

namespace py = pybind11;

// The parameters of a method: `required` ones first, then those that are null unless given.
template <size_t n>
struct Signature {
    const char* method;
    std::array<const char*, n> names;
    size_t required;

    // Sorts the arguments of a call; raises TypeError as Python does.
    std::array<PyObject*, n> bind(PyObject* const* arguments, Py_ssize_t positional,
                                  PyObject* keywords) const {
        std::array<PyObject*, n> bound{};
        if (positional > static_cast<Py_ssize_t>(n)) {
            refuse("takes at most " + std::to_string(n) + " arguments");
        }
        std::copy_n(arguments, positional, bound.begin());
        const Py_ssize_t named = keywords == nullptr ? 0 : PyTuple_GET_SIZE(keywords);
        for (Py_ssize_t i = 0; i < named; ++i) {
            PyObject* const name = PyTuple_GET_ITEM(keywords, i);
            const size_t k = find(name);
            if (bound[k] != nullptr) {
                refuse("got several values for argument '" + std::string(names[k]) + "'");
            }
            bound[k] = arguments[positional + i];
        }
        for (size_t k = 0; k < required; ++k) {
            if (bound[k] == nullptr) {
                refuse("missing the argument '" + std::string(names[k]) + "'");
            }
        }
        return bound;
    }

  private:
    size_t find(PyObject* name) const {
        for (size_t k = 0; k < n; ++k) {
            if (PyUnicode_CompareWithASCIIString(name, names[k]) == 0) {
                return k;
            }
        }
        refuse("got an unexpected argument '" + py::str(name).cast<std::string>() + "'");
    }
    [[noreturn]] void refuse(const std::string& why) const {
        throw py::type_error(std::string(method) + "() " + why);
    }
};

// The C++ object behind `self`, which is an instance of its class.
template <class T>
T& selfOf(PyObject* self) {
    auto* const instance = reinterpret_cast<py::detail::instance*>(self);
    T* const object = instance->simple_layout ? static_cast<T*>(instance->simple_value_holder[0])
                                              : py::cast<T*>(py::handle(self));
    if (object == nullptr) {
        throw py::type_error("__init__() was not called");
    }
    return *object;
}

// Runs `call` and turns what it throws into a Python exception.
template <class Call>
PyObject* guarded(Call call) {
    try {
        return call().release().ptr();
    } catch (py::error_already_set& error) {
        error.restore();
    } catch (const py::builtin_exception& error) {
        error.set_error();
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    } catch (const std::invalid_argument& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
    }
    return nullptr;
}

using FastCall = PyObject* (*)(PyObject*, PyObject* const*, Py_ssize_t, PyObject*);

// Adds a method with its text, whose first line is the signature. Both live as long as the class.
inline void defineFast(py::handle type, const char* name, FastCall call, const std::string& text) {
    auto* const doc = new std::string(name + text);
    auto* const method =
        new PyMethodDef{name, reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(call)),
                        METH_FASTCALL | METH_KEYWORDS, doc->c_str()};
    const auto descriptor = py::reinterpret_steal<py::object>(
        PyDescr_NewMethod(reinterpret_cast<PyTypeObject*>(type.ptr()), method));
    if (!descriptor) {
        throw py::error_already_set();
    }
    type.attr(name) = descriptor;
}

// The GIL is released while it exists. (py::gil_scoped_release also looks after threads that were made
// by C++.)
class WithoutGil {
  public:
    WithoutGil() : thread_(PyEval_SaveThread()) {}
    ~WithoutGil() { PyEval_RestoreThread(thread_); }
    WithoutGil(const WithoutGil&) = delete;

  private:
    PyThreadState* thread_;
};

} // namespace binding
