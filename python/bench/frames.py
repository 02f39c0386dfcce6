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
    "frame.array(copy=False) again": lambda path: alone(
        path, lambda frame: frame.array("counts", copy=False)),
    'frame.render("iron")': lambda path: alone(path, lambda frame: frame.render("iron")),
}


def main():
    for camera, size in (("6103", "160 x 120"), ("6101", "80 x 60")):
        with tempfile.TemporaryDirectory() as folder:
            path = f"{folder}/film.y4m"
            subprocess.run([f"{BUILD}/bin/zocam-sim", "--camera", f"{camera},fps=max", "--",
                            sys.executable, "-c", RECORD, path, str(FRAMES)], check=True,
                           env={**os.environ, "PYTHONPATH": f"{BUILD}/python"})
            times = {name: [] for name in MEASURES}
            for _ in range(ROUNDS):
                for name, measure in MEASURES.items():
                    times[name].append(measure(path))
            middle = {name: statistics.median(values) for name, values in times.items()}
            print(f"\n{camera}, {size}: microseconds per frame, median of {ROUNDS} rounds\n")
            for name, value in middle.items():
                print(f"| {name} | {value:.1f} |")
            for done in ("read", "read, decode"):
                mine = next(v for k, v in times.items() if k.startswith(f"Python: {done}")
                            and k.count(",") == done.count(","))
                theirs = times[f"C++: {done}"]
                share = statistics.median(b / a for a, b in zip(mine, theirs))
                print(f"Python reaches {share:.0%} of the C++ rate: {done}")


if __name__ == "__main__":
    main()
