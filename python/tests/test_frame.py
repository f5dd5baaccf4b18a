"""Per-frame routines: the transform against numpy, and the chain of frame
routines giving the bits of the whole-record layer."""

import numpy as np
import pytest

import numora


@pytest.mark.parametrize("dtype,size", [(np.float32, 8), (np.float32, 4096), (np.float64, 2), (np.float64, 65536)])
def test_forward_transform_is_rfft_over_n_packed(dtype, size):
    x = np.random.default_rng(size).standard_normal(size).astype(dtype)
    data = x.copy()
    numora.dft(data)
    ref = np.fft.rfft(x.astype(np.float64)) / size
    tol = 1e-6 if dtype == np.float32 else 1e-14
    assert data[0] == pytest.approx(ref[0].real, abs=tol)
    assert data[1] == pytest.approx(ref[-1].real, abs=tol)
    np.testing.assert_allclose(data[2::2] + 1j * data[3::2], ref[1:-1], atol=tol)


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_inverse_transform_follows_its_raw_formula(dtype):
    n = 64
    data = np.random.default_rng(3).standard_normal(n).astype(dtype)
    lines = data[2::2].astype(np.float64) + 1j * data[3::2]
    k, t = np.arange(1, n // 2), np.arange(n)
    ref = (np.sqrt(2) * data[0] + (-1.0) ** t * data[1]
           + 2 * np.real(lines[None, :] * np.exp(2j * np.pi * np.outer(t, k) / n)).sum(axis=1))
    numora.dft(data, inverse=True)
    np.testing.assert_allclose(data, ref, atol=1e-5 if dtype == np.float32 else 1e-12)


@pytest.mark.parametrize("what,dtype", [("dft", np.float32), ("dft_d", np.float64)])
def test_transform_is_the_bits_of_the_cpp_library(cpp_result, what, dtype):
    x = np.random.default_rng(5).standard_normal(1024).astype(np.float32)
    data = x.astype(dtype)
    numora.dft(data)
    assert data.tobytes() == cpp_result(x, what)


@pytest.mark.parametrize("scaling,factor", [("rms", np.sqrt(0.5)), ("peak", 1.0)])
def test_line_scaling_reads_a_sines_amplitude(scaling, factor):
    n, line = 256, 10
    data = (3.0 * np.cos(2 * np.pi * line * np.arange(n) / n) + 0.5).astype(np.float32)
    numora.dft(data)
    numora.corr_dft(data, scaling)
    assert data[1] == 0.0 and data[0] == pytest.approx(0.5, abs=1e-6)
    assert np.hypot(data[2 * line], data[2 * line + 1]) == pytest.approx(3.0 * factor, rel=1e-6)


def test_windows_are_symmetric_tables_scaled_by_their_continuous_factor():
    np.testing.assert_allclose(numora.window("hann", 64), np.hanning(64) * np.sqrt(8 / 3), rtol=1e-5, atol=1e-7)
    np.testing.assert_allclose(numora.window("hann", 64, "amplitude"), np.hanning(64) * 2, rtol=1e-6, atol=1e-7)
    assert np.all(numora.window("none", 5) == 1.0)


def test_window_application_rounds_as_each_twin_does():
    table = numora.window("blackman", 128)
    x = np.random.default_rng(2).standard_normal(128)
    f32, f64 = x.astype(np.float32), x.copy()
    numora.apply_window(f32, table)
    numora.apply_window(f64, table)
    assert f32.tobytes() == (x.astype(np.float32) * table).tobytes()
    assert f64.tobytes() == (x * table.astype(np.float64)).tobytes()


def test_a_weighting_follows_the_standard_curve():
    df, lines = 10.0, 1024
    spectrum = np.ones(2 * lines)
    numora.weight(spectrum, df, "A")
    f = np.arange(1, lines) * df
    f2 = f * f
    ra = 12194.0**2 * f2 * f2 / ((f2 + 20.6**2) * np.sqrt((f2 + 107.7**2) * (f2 + 737.9**2)) * (f2 + 12194.0**2))
    assert spectrum[0] == 0.0 and spectrum[1] == 0.0
    np.testing.assert_allclose(20 * np.log10(spectrum[2::2]), 20 * np.log10(ra) + 2.0, atol=0.02)
    np.testing.assert_array_equal(spectrum[2::2], spectrum[3::2])


@pytest.mark.parametrize("dtypes", [(np.float32, np.float32), (np.float64, np.float32), (np.float64, np.float64)])
def test_averaging_modes_on_two_frames(dtypes):
    sdt, adt = dtypes
    a = np.array([1, 0, 2, 0, 0, 3], sdt)  # powers 1, 4, 9
    b = np.array([3, 0, 0, 1, 1, 1], sdt)  # powers 9, 1, 2
    aps = np.zeros(3, adt)
    numora.average(a, aps, 1)
    numora.average(b, aps, 2)
    np.testing.assert_array_equal(aps, [5, 2.5, 5.5])
    numora.average(a, aps, 1, "peak-hold")
    numora.average(b, aps, 2, "peak-hold")
    np.testing.assert_array_equal(aps, [9, 4, 9])
    # The whole-frame holds score lines 0 to len(aps) - 2: b (9 + 1) beats a (1 + 4).
    held = numora.average(a, aps, 1, "max-power")
    assert held == 5.0
    held = numora.average(b, aps, 2, "max-power", held=held)
    assert held == 10.0
    np.testing.assert_array_equal(aps, [9, 1, 2])


def test_frame_chain_gives_the_bits_of_psd():
    fs, n, hop = 1000.0, 256, 64
    x = np.random.default_rng(9).standard_normal(3000).astype(np.float32)
    table = numora.window("hamming", n)
    f, pxx = numora.psd(x, fs, frame=n, window="hamming", overlap=0.75)
    aps = np.zeros(len(f), np.float32)
    for k, start in enumerate(range(0, len(x) - n + 1, hop)):
        frame = x[start:start + n].copy()
        numora.apply_window(frame, table)
        numora.dft(frame)
        numora.corr_dft(frame, "rms")
        numora.average(frame, aps, k + 1)
    df = np.float32(fs / n)
    assert (aps / df).tobytes() == pxx.tobytes()
