"""Per-frame routines: the transform against numpy, and the chain of frame
routines giving the bits of the whole-record layer (held against C++ in
test_record)."""

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
    # The raw inverse weighs DC by sqrt(2).
    data[0] /= np.sqrt(2)
    numora.dft(data, inverse=True)
    np.testing.assert_allclose(data, x, atol=100 * tol)


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


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_windowing_and_a_weighting_of_each_twin(dtype):
    table = numora.window("blackman", 128)
    x = np.random.default_rng(2).standard_normal(128).astype(dtype)
    frame = x.copy()
    numora.apply_window(frame, table)
    assert frame.tobytes() == (x * table.astype(dtype)).tobytes()
    # A-weighting: 0 dB at 1 kHz, -19.1 dB at 100 Hz, line 0 cleared.
    spectrum = np.ones(2 * 101, dtype)
    numora.weight(spectrum, 10.0, "A")
    assert spectrum[:2].tolist() == [0, 0] and spectrum[20] == spectrum[21]
    assert 20 * np.log10(spectrum[[20, 200]]) == pytest.approx([-19.1, 0.0], abs=0.05)


@pytest.mark.parametrize("dtypes", [(np.float32, np.float32), (np.float64, np.float32), (np.float64, np.float64)])
def test_averaging_modes_on_two_frames(dtypes):
    sdt, adt = dtypes
    a = np.array([1, 0, 2, 0, 0, 3], sdt)  # powers 1, 4, 9
    b = np.array([3, 0, 0, 1, 1, 1], sdt)  # powers 9, 1, 2
    aps = np.zeros(3, adt)
    numora.average(a, aps, 1)
    numora.average(b, aps, 2)
    np.testing.assert_array_equal(aps, [5, 2.5, 5.5])
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
