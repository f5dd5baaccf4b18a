"""Bad inputs raise TypeError or ValueError with a message naming the fault."""

import ast
import pathlib

import numpy as np
import pytest

import numora

FS = 1000.0
X = np.random.default_rng(1).standard_normal(4096).astype(np.float32)
P = (np.array([20.0, 400.0]), np.array([0.01, 0.01]))


def readonly(a):
    a = a.copy()
    a.flags.writeable = False
    return a


BAD_RECORDS = [
    ([0.0] * 4096, TypeError, "must be a numpy array"),
    (X.astype(np.int32), TypeError, "float32 (or|and) float"),
    (X.astype(np.float16), TypeError, "float32 (or|and) float"),
    (X.astype(np.complex64), TypeError, "float32 (or|and) float"),
    (X.astype(">f4"), TypeError, "float32 (or|and) float"),
    (X.reshape(2, -1), ValueError, "one-dimensional"),
    (X[::2], ValueError, "contiguous"),
    (X[::-1], ValueError, "contiguous"),
    (np.zeros(0, np.float32), ValueError, "empty"),
]

RECORD_FUNCTIONS = [
    lambda x: numora.psd(x, FS, frame=256),
    lambda x: numora.csd(X, x, FS, frame=256),
    lambda x: numora.frf(x, X, FS, frame=256),
    lambda x: numora.srs(x, FS, 10.0, 100.0, 3, 10.0),
    lambda x: numora.Filter("butterworth", "lowpass", 4, 100.0, None, FS).apply(x),
    lambda x: numora.integrate(x, FS),
    lambda x: numora.dft(x),
    lambda x: numora.corr_dft(x),
    lambda x: numora.weight(x, 1.0),
    lambda x: numora.apply_window(x, numora.window("hann", len(X))),
    lambda x: numora.average(x, np.zeros(4, np.float32), 1),
    lambda x: numora.average(np.zeros(2 * len(X), np.float32), x, 1),
]


@pytest.mark.parametrize("call", RECORD_FUNCTIONS)
@pytest.mark.parametrize("bad,error,message", BAD_RECORDS)
def test_every_array_argument_refuses_bad_arrays(call, bad, error, message):
    with pytest.raises(error, match=message):
        call(bad)


# Arguments the bindings check, and one of each kind the layer refuses.
@pytest.mark.parametrize("call,error,message", [
    (lambda: numora.psd(X, FS, frame=1000), ValueError, "1000"),
    (lambda: numora.psd(X, FS, frame=8192), ValueError, "fewer than one frame"),
    (lambda: numora.psd(X, FS, window="kaiser"), ValueError, "unknown window 'kaiser'"),
    (lambda: numora.psd(X, FS, overlap=1.0), ValueError, "overlap"),
    (lambda: numora.csd(X, X[:4000], FS, frame=256), ValueError, "one length"),
    (lambda: numora.srs(X, FS, kind="peak"), ValueError, "unknown SRS kind"),
    (lambda: numora.drive(P[0], P[1][:1], FS, 10.0, frame=512), ValueError, "levels"),
    (lambda: numora.drive(P[0], P[1], FS, 10.0, clip_sigma=-1.0, frame=512), ValueError, "clip_sigma"),
    (lambda: numora.drive(np.array(["a", "b"]), P[1], FS, 10.0), TypeError, "numbers"),
    (lambda: numora.Filter("butterworth", "bandpass", 4, 100.0, None, FS), ValueError, "upper"),
    (lambda: numora.integrate(X, FS, "m/s"), ValueError, "acceleration"),
    (lambda: numora.unit("furlong"), ValueError, "furlong"),
    (lambda: numora.dft(np.zeros(1000, np.float32)), ValueError, "power of two from 2 to 32768"),
    (lambda: numora.dft(np.zeros(65536, np.float32)), ValueError, "power of two from 2 to 32768"),
    (lambda: numora.dft(readonly(X)), ValueError, "read-only"),
    (lambda: numora.weight(np.zeros(7, np.float32), 1.0), ValueError, "even"),
    (lambda: numora.weight(np.zeros(8, np.float32), 1.0, "D"), ValueError, "unknown weighting"),
    (lambda: numora.corr_dft(np.zeros(8, np.float32), "db"), ValueError, "rms or peak"),
    (lambda: numora.window("hann", 8, "energy"), ValueError, "power or amplitude"),
    (lambda: numora.apply_window(X.copy(), numora.window("hann", 8)), ValueError, "4096"),
    (lambda: numora.apply_window(X.copy(), numora.window("hann", 4096).astype(np.float64)), TypeError, "float32"),
    (lambda: numora.average(np.zeros(6, np.float32), np.zeros(4, np.float32), 1), ValueError, "fewer"),
    (lambda: numora.average(np.zeros(8, np.float32), np.zeros(4, np.float64), 1), TypeError, "float32 and float32"),
])
def test_bad_arguments_raise_with_a_clear_message(call, error, message):
    with pytest.raises(error, match=message):
        call()


def test_refused_calls_leave_the_arrays_alone():
    data = X[:1000].copy()
    with pytest.raises(ValueError):
        numora.dft(data)
    assert data.tobytes() == X[:1000].tobytes()


def test_type_stubs_declare_what_the_module_exports():
    stub = pathlib.Path(numora.__file__).with_suffix(".pyi")
    tree = ast.parse(stub.read_text())
    declared = {n.name for n in tree.body if isinstance(n, (ast.FunctionDef, ast.ClassDef))}
    assert declared == set(numora.__all__)
    assert pathlib.Path(numora.__file__).with_name("py.typed").exists()
