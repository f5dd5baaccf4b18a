#include <string>

#include "python/bindings.h"
#include "recording/error.h"

namespace numora {
namespace python {

py::array CheckedArray(py::handle object, const char* name)
{
    if (!py::isinstance<py::array>(object))
        throw py::type_error(std::string(name) + " must be a numpy array, not " +
                             std::string(py::str(py::type::handle_of(object).attr("__name__"))));
    py::array array = py::reinterpret_borrow<py::array>(object);
    if (array.ndim() != 1)
        throw py::value_error(std::string(name) + " must be one-dimensional, not of " + std::to_string(array.ndim()) +
                              " dimensions");
    if (array.size() == 0)
        throw py::value_error(std::string(name) + " is empty");
    if (!(array.flags() & py::array::c_style))
        throw py::value_error(std::string(name) + " must be contiguous (numpy.ascontiguousarray makes a copy that is)");
    return array;
}

bool IsFloat32(const py::array& array)
{
    return py::isinstance<py::array_t<float>>(array);
}

bool IsFloat64(const py::array& array)
{
    return py::isinstance<py::array_t<double>>(array);
}

py::array_t<float> RecordSamples(py::handle object, const char* name)
{
    py::array array = CheckedArray(object, name);
    if (IsFloat32(array))
        return py::reinterpret_borrow<py::array_t<float>>(array);
    if (IsFloat64(array))
        return py::array_t<float>::ensure(array);
    throw py::type_error(std::string(name) + " must hold float32 or float64 values, not " +
                         std::string(py::str(array.dtype())));
}

py::array WritableArray(py::handle object, const char* name)
{
    py::array array = CheckedArray(object, name);
    if (!array.writeable())
        throw py::value_error(std::string(name) + " is read-only; the result is written into it");
    return array;
}

}  // namespace python
}  // namespace numora

PYBIND11_MODULE(_numora, m)
{
    m.doc() = "Numora's exact routines on numpy arrays: averaged spectra, frequency response,\n"
              "shock response spectra, random drives, recursive filters, integration and\n"
              "engineering units of whole records, and the per-frame routines of the core.";
    pybind11::register_exception_translator([](std::exception_ptr error) {
        try {
            if (error)
                std::rethrow_exception(error);
        } catch (const numora::rec::Error& e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        }
    });
    numora::python::BindFrameRoutines(m);
    numora::python::BindRecordFunctions(m);
}
