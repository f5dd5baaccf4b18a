"""Numora's exact routines on numpy arrays.

Whole records (float32 read in place, float64 rounded to float32 first):
psd, csd, frf, srs, drive, Filter, integrate, units, unit.
Per frame (float32 and float64 in place, each calling its own C++ twin, so
the bits are the library's): dft, corr_dft, window, apply_window, weight,
average.

Conventions: frequencies in Hz; spectra one-sided, line k at k * fs / frame
with lines 0 to frame / 2.56 (full_band: frame / 2 - 1); windows symmetric and
scaled to unit RMS; cross spectra Y conj(X) with x the reference; phases in
degrees where a name does not say radians. Bad arrays raise TypeError (not a
numpy array, a dtype other than float32/float64) or ValueError (not
one-dimensional, not contiguous, empty, a length the transform refuses), and
every refused option raises ValueError naming it.

Relation to scipy.signal, with w = numora.window(window, frame) passed to scipy:
    psd   Pxx = mean(w**2) * welch(x, fs, w, nperseg=frame, noverlap, detrend=False)
    csd   Pxy = mean(w**2) * csd(x, y, fs, w, ...)
    frf   H1 = csd(x, y) / welch(x); coherence = coherence(x, y)   (factor 1)
    Filter.response   freqz(butter(order, edges, btype, fs=fs))   (factor 1;
          a band-pass is scaled to unit gain at (f1 + f2) / 2)
    srs   peaks of lsim of the oscillator (factor 1)
mean(w**2) is 1 for window="none" and about 1 - 1/frame for hann.
"""

from numora._numora import (
    Filter,
    apply_window,
    average,
    corr_dft,
    csd,
    dft,
    drive,
    frf,
    integrate,
    psd,
    srs,
    unit,
    units,
    weight,
    window,
)

__all__ = [
    "Filter",
    "apply_window",
    "average",
    "corr_dft",
    "csd",
    "dft",
    "drive",
    "frf",
    "integrate",
    "psd",
    "srs",
    "unit",
    "units",
    "weight",
    "window",
]
