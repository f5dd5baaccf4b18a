"""Numora's exact routines on numpy arrays.

Whole records: psd, csd, frf, srs, drive, Filter, integrate, units, unit.
Per frame (float32 and float64, in place, the bits of the C++ library):
dft, corr_dft, window, apply_window, weight, average.
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
