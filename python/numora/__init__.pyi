from typing import Any, Dict, List, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

_Record = Union[npt.NDArray[np.float32], npt.NDArray[np.float64]]
_F32 = npt.NDArray[np.float32]
_F64 = npt.NDArray[np.float64]
_C64 = npt.NDArray[np.complex64]
_C128 = npt.NDArray[np.complex128]

# Whole records. Samples are float32 (read in place) or float64 (rounded to
# float32 first); frequencies in Hz.

def psd(
    x: _Record,
    fs: float,
    frame: int = 4096,
    window: str = "hann",
    overlap: float = 0.5,
    average: str = "linear",
    exp_frames: int = 8,
    full_band: bool = False,
) -> Tuple[_F64, _F32]: ...
def csd(
    x: _Record,
    y: _Record,
    fs: float,
    frame: int = 4096,
    window: str = "hann",
    overlap: float = 0.5,
    average: str = "linear",
    exp_frames: int = 8,
    full_band: bool = False,
) -> Tuple[_F64, _C64]: ...
def frf(
    x: _Record,
    y: _Record,
    fs: float,
    frame: int = 4096,
    window: str = "hann",
    overlap: float = 0.5,
    average: str = "linear",
    exp_frames: int = 8,
    full_band: bool = False,
) -> Tuple[_F64, _C64, _F32]: ...
def srs(
    x: _Record,
    fs: float,
    fmin: float = 10.0,
    fmax: float = 10000.0,
    bands_per_octave: int = 12,
    q: float = 10.0,
    kind: str = "maximax",
    filter: str = "iso",
    series: str = "ansi",
    response: str = "absolute",
) -> Tuple[_F32, _F32]: ...
def drive(
    profile_f: npt.ArrayLike,
    profile_level: npt.ArrayLike,
    fs: float,
    seconds: float,
    clip_sigma: Optional[float] = None,
    seed: int = 1,
    frame: int = 8192,
) -> _F32: ...

class Filter:
    def __init__(
        self,
        characteristic: str,
        shape: str,
        order: int,
        f1: float,
        f2: Optional[float],
        fs: float,
        ripple_db: float = -1.0,
        direct_form: bool = False,
    ) -> None: ...
    def apply(self, x: _Record) -> _F32: ...
    def response(self, f: npt.NDArray[Any]) -> _C128: ...
    @property
    def f1(self) -> float: ...
    @property
    def f2(self) -> float: ...

def integrate(
    acc: _Record, fs: float, units: str = "g", english: bool = False, block_seconds: float = 1.0
) -> Tuple[_F32, _F32]: ...
def units() -> List[Dict[str, Any]]: ...
def unit(text: str) -> Dict[str, Any]: ...

# Per frame, in place; float32 and float64 call the library's own twins.

def dft(data: _Record, inverse: bool = False) -> None: ...
def corr_dft(spectrum: _Record, scaling: str = "rms") -> None: ...
def window(kind: str, size: int, scale: str = "power") -> _F32: ...
def apply_window(frame: _Record, table: _F32) -> None: ...
def weight(spectrum: _Record, df: float, curve: str = "A") -> None: ...
def average(
    spectrum: _Record,
    aps: _Record,
    frame_number: int,
    mode: str = "linear",
    exp_frames: int = 8,
    held: float = 0.0,
) -> float: ...

__all__: List[str]
