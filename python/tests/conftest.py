"""The tests run inside zocam-sim, with the cameras that CAMERAS names (python/CMakeLists.txt plugs
them in), and against the built package."""
import os
import subprocess
import sys

import pytest

import zocam

WIDE, SMALL, REFERENCE, COUNTS = 42, 43, 44, 45  # serial numbers of 6103, 6101, 6120 and 6102


@pytest.fixture
def camera():
    with zocam.open(WIDE) as opened:
        yield opened


def make_recording(path, serial=WIDE, frames=20, high_rate=False):
    with zocam.open(serial, high_rate=high_rate) as source, source.record(path):
        for frame in source:
            if frame.number >= frames:
                break
    return path


@pytest.fixture(scope="session")
def film_paths(tmp_path_factory):
    """One recording of each camera, by serial number."""
    folder = tmp_path_factory.mktemp("films")
    return {serial: make_recording(folder / f"{serial}.y4m", serial)
            for serial in (WIDE, SMALL, REFERENCE, COUNTS)}


@pytest.fixture
def film_path(film_paths):
    return film_paths[WIDE]


@pytest.fixture
def film(film_path):
    with zocam.open_recording(film_path) as opened:
        yield opened


def run_python(code, *arguments, camera=None, timeout=60):
    """Runs a program of its own, with this process's cameras or another one."""
    command = [sys.executable, "-c", code, *map(str, arguments)]
    env = dict(os.environ)
    if camera:
        env.pop("LD_PRELOAD")
        command = [os.environ["ZOCAM_SIM"], "--camera", camera, "--", *command]
    return subprocess.run(command, env=env, timeout=timeout, capture_output=True, text=True)
