"""Whole-record functions against scipy, and bit for bit against the C++ layer."""

import numpy as np
import pytest
import scipy.signal as ss

import numora

FS = 1000.0


def welch_like(kind, frame):
    """scipy's window and the factor relating numora's densities to scipy's."""
    w = numora.window(kind, frame).astype(np.float64)
    return w, np.mean(w**2)


@pytest.mark.parametrize("kind", ["none", "hann", "hamming", "blackman", "harris", "flattop"])
@pytest.mark.parametrize("frame,overlap", [(256, 0.5), (512, 0.75), (128, 0.0)])
def test_psd_is_welch_times_the_window_factor(noise, kind, frame, overlap):
    f, pxx = numora.psd(noise, FS, frame=frame, window=kind, overlap=overlap)
    w, factor = welch_like(kind, frame)
    f2, p2 = ss.welch(noise.astype(np.float64), FS, w, nperseg=frame, noverlap=int(frame * overlap), detrend=False)
    assert len(f) == int(frame / 2.56) + 1
    assert len(numora.psd(noise, FS, frame=frame, full_band=True)[0]) == frame // 2
    np.testing.assert_allclose(f, f2[: len(f)], rtol=1e-6)
    np.testing.assert_allclose(pxx, factor * p2[: len(f)], rtol=2e-5)


def filtered(noise):
    b, a = ss.butter(3, 120.0, fs=FS)
    return b, a, ss.lfilter(b, a, noise.astype(np.float64)).astype(np.float32)


def test_csd_frf_and_coherence_follow_scipy(noise):
    b, a, y = filtered(noise)
    x64, y64 = noise.astype(np.float64), y.astype(np.float64)
    w, factor = welch_like("hann", 512)
    kw = dict(fs=FS, window=w, nperseg=512, noverlap=256, detrend=False)
    f, pxy = numora.csd(noise, y, FS, frame=512)
    n = len(f)
    _, pxy2 = ss.csd(x64, y64, **kw)
    np.testing.assert_allclose(pxy, factor * pxy2[:n], rtol=1e-4, atol=1e-4 * np.max(np.abs(pxy2)))

    f, h1, coh = numora.frf(noise, y, FS, frame=512)
    _, pxx2 = ss.welch(x64, **kw)
    _, coh2 = ss.coherence(x64, y64, **kw)
    np.testing.assert_allclose(h1, pxy2[:n] / pxx2[:n], rtol=1e-4, atol=1e-6)
    np.testing.assert_allclose(coh, coh2[:n], atol=1e-5)
    # H1 of a noise-free linear system is the filter's response, up to the
    # window's leakage where the gain falls fast.
    _, h = ss.freqz(b, a, worN=f, fs=FS)
    band = f < 250
    np.testing.assert_allclose(h1[band], h[band], atol=0.02)
    assert np.all(coh[band][1:] > 0.99)


@pytest.mark.parametrize("shape,f1,f2,btype", [
    ("lowpass", 50.0, None, "lowpass"),
    ("highpass", 200.0, None, "highpass"),
    ("bandpass", 50.0, 150.0, "bandpass"),
    ("bandstop", 80.0, 120.0, "bandstop"),
])
@pytest.mark.parametrize("order", [2, 5])
def test_butterworth_filter_is_scipys_bilinear_design(noise, shape, f1, f2, btype, order):
    flt = numora.Filter("butterworth", shape, order, f1, f2, FS)
    b, a = ss.butter(order, f1 if f2 is None else [f1, f2], btype, fs=FS)
    f = np.linspace(1.0, 490.0, 200)
    _, h = ss.freqz(b, a, worN=f, fs=FS)
    if shape == "bandpass":
        # numora scales a band-pass to unit gain at the arithmetic centre of
        # the band, scipy's bilinear design peaks at the geometric centre.
        h = h / np.abs(ss.freqz(b, a, worN=[(f1 + f2) / 2], fs=FS)[1][0])
    np.testing.assert_allclose(flt.response(f), h, atol=1e-6)
    # The samples it makes follow the same design.
    y = flt.apply(noise)
    if shape != "bandpass":
        np.testing.assert_allclose(y, ss.lfilter(b, a, noise.astype(np.float64)), atol=2e-5)


def test_filter_state_carries_from_one_apply_to_the_next(noise):
    whole = numora.Filter("chebyshev", "bandpass", 4, 40.0, 160.0, FS).apply(noise)
    flt = numora.Filter("chebyshev", "bandpass", 4, 40.0, 160.0, FS)
    pieces = np.concatenate([flt.apply(noise[:3333]), flt.apply(noise[3333:])])
    assert whole.tobytes() == pieces.tobytes()


def half_sine_response(x, fn, q, fs):
    """Absolute acceleration of the oscillator, by lsim with linear interpolation."""
    wn, z = 2 * np.pi * fn, 1 / (2 * q)
    t = np.arange(len(x)) / fs
    _, y, _ = ss.lsim(([2 * z * wn, wn * wn], [1, 2 * z * wn, wn * wn]), x.astype(np.float64), t)
    return y


@pytest.mark.parametrize("filt,rtol", [("iso", 2e-4), ("impulse", 0.08)])
def test_half_sine_srs_matches_the_oscillator(filt, rtol):
    fs, width = 20000.0, 0.011
    t = np.arange(int(0.25 * fs)) / fs
    x = np.where(t < width, 100.0 * np.sin(np.pi * t / width), 0.0).astype(np.float32)
    f = numora.srs(x, fs, 20.0, 2000.0, 3, 10.0, filter=filt)[0]
    ref = [half_sine_response(x, fn, 10.0, fs) for fn in f.astype(np.float64)]
    assert len(f) == 22
    for kind, peak in [("maximax", lambda y: np.max(np.abs(y))), ("max-pos", np.max), ("max-neg", lambda y: -np.min(y))]:
        values = numora.srs(x, fs, 20.0, 2000.0, 3, 10.0, kind=kind, filter=filt)[1]
        np.testing.assert_allclose(values, [peak(y) for y in ref], rtol=rtol, atol=1e-3)


def test_drive_follows_its_profile_and_repeats_with_its_seed():
    fs, frame = 2048.0, 1024
    pf, level = np.array([20.0, 80.0, 400.0, 700.0]), np.array([0.01, 0.04, 0.04, 0.005])
    x = numora.drive(pf, level, fs, 60.0, seed=3, frame=frame)
    assert len(x) == int(60.0 * fs)
    assert x.tobytes() == numora.drive(pf, level, fs, 60.0, seed=3, frame=frame).tobytes()
    assert x.tobytes() != numora.drive(pf, level, fs, 60.0, seed=4, frame=frame).tobytes()
    f, p = ss.welch(x.astype(np.float64), fs, "hann", nperseg=frame, detrend=False)
    inside = (f > 30) & (f < 650)
    db = 10 * np.log10(p[inside] / np.exp(np.interp(np.log(f[inside]), np.log(pf), np.log(level))))
    assert np.max(np.abs(db)) < 3.0 and abs(np.mean(db)) < 0.3
    clipped = numora.drive(pf, level, fs, 10.0, clip_sigma=2.0, seed=3, frame=frame)
    assert np.max(np.abs(clipped)) < np.max(np.abs(x)) * 0.8


@pytest.mark.parametrize("f0", [20.0, 100.0])
def test_integrate_a_sine_to_velocity_and_displacement(f0):
    fs, w = 2000.0, 2 * np.pi * f0
    acc = np.sin(w * np.arange(int(4 * fs)) / fs).astype(np.float32)  # 1 g peak

    def amplitudes(*args, **kw):
        return [np.sqrt(2) * np.std(z[int(fs):].astype(np.float64)) for z in numora.integrate(*args, **kw)]

    # m/s and mm, within the few per cent the drift filter's ripple takes.
    v, d = amplitudes(acc, fs, "g")
    assert (v, d) == pytest.approx((9.80665 / w, 9806.65 / w**2), rel=0.04)
    assert amplitudes(acc * np.float32(9.80665), fs, "m/s²") == pytest.approx((v, d), rel=1e-4)
    assert amplitudes(acc, fs, "g", english=True) == pytest.approx((v / 0.0254, d / 25.4), rel=1e-4)


def test_units_table_and_lookup():
    rows = numora.units()
    assert {"name", "quantity", "si_unit", "factor", "offset", "type"} <= set(rows[0])
    g = numora.unit("g")
    assert g["factor"] == pytest.approx(9.80665) and g["si_unit"] == "m/s²"
    assert numora.unit("in/s")["factor"] == pytest.approx(0.0254)


@pytest.mark.parametrize("what", ["psd", "frf", "srs"])
def test_results_are_the_bits_of_the_cpp_layer(noise, cpp_result, what):
    kw = dict(frame=256, window="hamming", overlap=0.75)
    if what == "psd":
        ours = numora.psd(noise, FS, **kw)[1].tobytes()
    elif what == "frf":
        x, y = noise[:5000], noise[5000:]
        _, h, coh = numora.frf(x, y, FS, **kw)
        ours = h.real.tobytes() + h.imag.tobytes() + coh.tobytes()
    else:
        ours = numora.srs(noise, FS, 5.0, 400.0, 6, 10.0)[1].tobytes()
    assert ours == cpp_result(noise, what)


def test_float64_records_are_rounded_to_float32_first(noise):
    a = numora.psd(noise.astype(np.float64), FS, frame=256)[1]
    assert a.tobytes() == numora.psd(noise, FS, frame=256)[1].tobytes()
