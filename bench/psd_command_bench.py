#!/usr/bin/python3
"""numora psd against scipy.signal.welch on the same recording.

Writes a 4-channel, 51.2 kHz recording of random noise (float WAV, 10 minutes
by default), then times, in the same run and on the same file, with the file
in the page cache:

- numora psd REC --channel all --frame 4096 --window hann --overlap 50 -o CSV
- Python reading the file with soundfile and scipy.signal.welch on all
  channels with the same frames: a symmetric Hann window (the library's
  windows are symmetric), 50 % overlap, no detrending, density scaling.

Wall time and peak memory (max RSS of the process) are the best of a few
runs each. The two spectra are compared line by line: they differ by the
known factor of the window normalisation (docs/conventions.md), and the
script reports how closely the rest agrees.

Needs Debian's python3-numpy, python3-scipy, python3-soundfile and time (GNU
time, for the peak memory).

    /usr/bin/python3 bench/psd_command_bench.py --numora build/tools/numora
"""

import argparse
import os
import subprocess
import sys
import tempfile
import time

import numpy as np

FRAME = 4096
RATE = 51200
CHANNELS = 4


def generate(path, minutes):
    import soundfile

    rng = np.random.default_rng(1)
    frames = int(minutes * 60 * RATE)
    with soundfile.SoundFile(path, "w", samplerate=RATE, channels=CHANNELS, subtype="FLOAT", format="WAV") as f:
        for start in range(0, frames, RATE):
            n = min(RATE, frames - start)
            f.write((rng.standard_normal((n, CHANNELS)) * [1.0, 2.0, 0.5, 3.0]).astype(np.float32))


def scipy_worker(path, out):
    """Runs in a process of its own, so that its peak memory is its own."""
    import scipy.signal
    import soundfile

    x, rate = soundfile.read(path, dtype="float32")
    window = scipy.signal.windows.hann(FRAME, sym=True)
    f, psd = scipy.signal.welch(x, rate, window=window, nperseg=FRAME, noverlap=FRAME // 2, detrend=False,
                                scaling="density", axis=0)
    np.save(out, psd)


def measure(command, repeats):
    """Best wall time and peak memory of a few runs. GNU time measures the
    memory: a child forked from this Python process would count the memory
    of the copy it starts as."""
    best = None
    with tempfile.NamedTemporaryFile("r") as report:
        for _ in range(repeats):
            start = time.perf_counter()
            subprocess.run(["/usr/bin/time", "-f", "%M", "-o", report.name] + command, stdout=subprocess.DEVNULL,
                           check=True)
            wall = time.perf_counter() - start
            report.seek(0)
            run = (wall, int(report.read().split()[-1]) / 1024.0)
            best = run if best is None else (min(best[0], run[0]), min(best[1], run[1]))
    return best


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--numora", default="build/tools/numora", help="the numora command")
    parser.add_argument("--dir", default=None, help="folder for the recording (default: a temporary one)")
    parser.add_argument("--minutes", type=float, default=10.0, help="length of the recording")
    parser.add_argument("--repeats", type=int, default=3, help="runs of each, the best counts")
    parser.add_argument("--scipy-worker", nargs=2, metavar=("REC", "OUT"), help=argparse.SUPPRESS)
    args = parser.parse_args()
    if args.scipy_worker:
        scipy_worker(*args.scipy_worker)
        return

    folder = args.dir or tempfile.mkdtemp(prefix="numora-bench-")
    rec = os.path.join(folder, "bench.wav")
    if not os.path.exists(rec):
        print(f"writing {rec}: {args.minutes:g} min, {CHANNELS} channels, {RATE} Hz", flush=True)
        generate(rec, args.minutes)
    csv = os.path.join(folder, "numora_psd.csv")
    npy = os.path.join(folder, "scipy_psd.npy")
    subprocess.run(["cat", rec], stdout=subprocess.DEVNULL, check=True)  # into the page cache

    numora = measure([args.numora, "psd", rec, "--channel", "all", "--frame", str(FRAME), "--window", "hann",
                      "--overlap", "50", "--full-band", "-o", csv], args.repeats)
    theirs_run = measure([sys.executable, os.path.abspath(__file__), "--scipy-worker", rec, npy], args.repeats)

    ours = np.loadtxt(csv, delimiter=",", skiprows=1)[:, 1:]
    theirs = np.load(npy)
    # Window normalisation: the library's power-scaled Hann table is the
    # symmetric window h times 1.63299, so its PSD is scipy's times
    # 1.63299^2 * sum(h^2) / N; scipy's one-sided arrays also hold the
    # Nyquist bin, which the library's spectra leave out.
    import scipy.signal

    h = scipy.signal.windows.hann(FRAME, sym=True)
    factor = 1.63299 ** 2 * np.sum(h * h) / FRAME
    lines = slice(1, FRAME // 2)
    ratio = ours[lines] / (theirs[lines] * factor)
    size = os.path.getsize(rec) / 2 ** 20
    print()
    print(f"recording: {args.minutes:g} min, {CHANNELS} channels, {RATE} Hz, float WAV of {size:.0f} MiB")
    print("| | wall time (s) | peak memory (MiB) |")
    print("|---|---:|---:|")
    print(f"| `numora psd` | {numora[0]:.2f} | {numora[1]:.1f} |")
    print(f"| soundfile + `scipy.signal.welch` | {theirs_run[0]:.2f} | {theirs_run[1]:.1f} |")
    print(f"| ratio numora / scipy | {numora[0] / theirs_run[0]:.2f} | {numora[1] / theirs_run[1]:.3f} |")
    print()
    print(f"PSD agreement over lines 1 to {FRAME // 2 - 1} of {CHANNELS} channels, after the window factor "
          f"{factor:.6f}: largest relative difference {np.max(np.abs(ratio - 1.0)):.2e}")


if __name__ == "__main__":
    main()
