import os
import subprocess

import numpy as np
import pytest


@pytest.fixture(scope="session")
def noise():
    """Ten seconds of white noise at 1000 Hz, float32."""
    return np.random.default_rng(7).standard_normal(10000).astype(np.float32)


@pytest.fixture
def cpp_result(tmp_path):
    """Runs the C++ helper on float32 samples and returns its raw output bytes."""

    helper = os.environ.get("NUMORA_RECORD_DUMP")
    if helper is None:
        pytest.skip("NUMORA_RECORD_DUMP names the C++ helper; CTest sets it")

    def run(samples, what):
        source, target = tmp_path / "in.f32", tmp_path / "out.bin"
        np.asarray(samples, np.float32).tofile(source)
        subprocess.run([helper, source, target, what], check=True)
        return target.read_bytes()

    return run
