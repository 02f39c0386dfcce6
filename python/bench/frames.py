#!/usr/bin/env python3
"""Measures what a frame of a recording costs in Python, beside a C++ program that does the same, in
turns. Prints a table for docs/python.md. Usage: python/bench/frames.py BUILD_FOLDER, with the
package, read_recording and zocam-sim built there."""
import os
import statistics
import subprocess
import sys
import tempfile
import time

ROUNDS = 9
FRAMES = 1500
BUILD = os.path.abspath(sys.argv[1])
sys.path.insert(0, f"{BUILD}/python")
import zocam  # noqa: E402

RECORD = """
import sys, zocam
with zocam.open() as camera, camera.record(sys.argv[1]) as recorder:
    for frame in camera:
        if frame.number >= int(sys.argv[2]):
            break
"""


def per_frame(path, use, decoding=True):
    with zocam.open_recording(path) as film:
        film.decoding = decoding
        start = time.perf_counter()
        count = 0
        for frame in film:
            use(frame)
            count += 1
        return (time.perf_counter() - start) / count * 1e6


def alone(path, use):
    """Of what is done with a frame that has been fetched."""
    with zocam.open_recording(path) as film:
        spent = 0.0
        for frame in film:
            start = time.perf_counter()
            use(frame)
            spent += time.perf_counter() - start
        return spent / len(film) * 1e6


def cpp(path, mode):
    done = subprocess.run([f"{BUILD}/bin/read_recording", path, mode], check=True,
                          capture_output=True, text=True)
    return float(done.stdout.split()[0])


def temperature(frame):
    frame.temperature


MEASURES = {
    "C++: read": lambda path: cpp(path, "raw"),
    "Python: read (decoding off)": lambda path: per_frame(path, lambda frame: None, False),
    "C++: read, decode": lambda path: cpp(path, "image"),
    "Python: read, decode": lambda path: per_frame(path, lambda frame: None),
    "C++: read, decode, copy a float image": lambda path: cpp(path, "copy"),
    "Python: read, decode, frame.temperature": lambda path: per_frame(path, temperature),
    "frame.temperature alone": lambda path: alone(path, temperature),
    'frame.array("counts", copy=False) alone': lambda path: alone(
        path, lambda frame: frame.array("counts", copy=False)),
    'frame.render("iron") alone': lambda path: alone(path, lambda frame: frame.render("iron")),
}


def share(times, mine, theirs):
    """How much of the C++ rate Python reaches, compared within each round."""
    ratios = [b / a for a, b in zip(times[mine], times[theirs])]
    return f"{statistics.median(ratios):.0%}"


def measure_camera(camera):
    with tempfile.TemporaryDirectory() as folder:
        path = f"{folder}/film.y4m"
        subprocess.run([f"{BUILD}/bin/zocam-sim", "--camera", f"{camera},fps=max", "--",
                        sys.executable, "-c", RECORD, path, str(FRAMES)], check=True,
                       env={**os.environ, "PYTHONPATH": f"{BUILD}/python"})
        times = {name: [] for name in MEASURES}
        for _ in range(ROUNDS):
            for name, measure in MEASURES.items():
                times[name].append(measure(path))
    column = {name: f"{statistics.median(values):.1f}" for name, values in times.items()}
    cpp_names = [name for name in MEASURES if name.startswith("C++")]
    python_names = [name for name in MEASURES if name.startswith("Python")]
    for mine, theirs in zip(python_names, cpp_names):
        column[f"share of the C++ rate: {theirs[5:]}"] = share(times, mine, theirs)
    return column


def main():
    columns = [measure_camera(camera) for camera in ("6103", "6101")]
    print("| | 160 x 120 | 80 x 60 |\n|---|--:|--:|")
    for name in columns[0]:
        print("|", name, "|", " | ".join(column[name] for column in columns), "|")


if __name__ == "__main__":
    main()
