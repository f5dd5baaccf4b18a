#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <vector>

// Shared pieces of the Python bindings: the checks every array argument
// passes, and the conversion of results to numpy arrays. The bindings only
// convert; every calculation is the layer's or the core's.

namespace numora {
namespace python {

namespace py = pybind11;

// A one-dimensional, C-contiguous, non-empty numpy array. Raises TypeError
// for anything that is not a numpy array, ValueError for the other faults;
// the messages name the argument.
py::array CheckedArray(py::handle object, const char* name);

// Whether an array holds native float32 or float64 values.
bool IsFloat32(const py::array& array);
bool IsFloat64(const py::array& array);

// Samples of a record: a checked float32 array as it stands, or a float64
// array rounded to float32 (the precision the layer works in). Raises
// TypeError for any other dtype.
py::array_t<float> RecordSamples(py::handle object, const char* name);

// A checked array the core may write to; raises ValueError when it is
// read-only.
py::array WritableArray(py::handle object, const char* name);

// A new numpy array holding a copy of the values.
template <typename T>
py::array_t<T> ToNumpy(const std::vector<T>& values)
{
    py::array_t<T> out(static_cast<py::ssize_t>(values.size()));
    T* target = out.mutable_data();
    for (std::size_t i = 0; i < values.size(); ++i)
        target[i] = values[i];
    return out;
}

void BindFrameRoutines(py::module_& m);
void BindRecordFunctions(py::module_& m);

}  // namespace python
}  // namespace numora
