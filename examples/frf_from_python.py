"""Frequency response of a filter measured from white noise with numora.frf,
beside the response of the filter's design.

Run with the module on the path, e.g. PYTHONPATH=build/python python3 examples/frf_from_python.py
"""

import numpy as np

import numora

fs = 10240.0
x = np.random.default_rng(1).standard_normal(int(20 * fs)).astype(np.float32)
lowpass = numora.Filter("butterworth", "lowpass", 4, 1000.0, None, fs)
y = lowpass.apply(x)

f, h1, coherence = numora.frf(x, y, fs, frame=2048)
design = lowpass.response(f)
for k in (50, 200, 400, 600):
    print(f"{f[k]:7.1f} Hz  measured {abs(h1[k]):.4f} at {np.angle(h1[k], deg=True):7.1f} deg"
          f"  designed {abs(design[k]):.4f} at {np.angle(design[k], deg=True):7.1f} deg"
          f"  coherence {coherence[k]:.4f}")
