#!/usr/bin/env python3
"""Measures what a program costs that makes a rainbow picture of each frame of one virtual camera:
its share of a core, and its resident memory above that of an empty process. Writes JSON.
Usage: streaming.py BIN, the folder of stream_load and zocam-sim.

The virtual camera runs inside the program that it is plugged into, so each stream is measured with
its frames dropped as well; and a recording of it is played, at its pace, without a virtual camera.
"""
import json
import os
import subprocess
import sys
import tempfile

SECONDS = 6
CAMERAS = {
    "0x6101, 80 x 60, at its high rate": "6101",
    "0x6103, 160 x 120, at the same rate (three times its own)": "6103,fps=25.9",
}


def resident_kib_of_an_empty_process():
    with subprocess.Popen(["sleep", "1"]) as process:
        lines = ""
        while "sleep" not in lines:  # until the child has become the program
            with open(f"/proc/{process.pid}/status") as file:
                lines = file.read()
        try:
            process.wait(0.5)
        except subprocess.TimeoutExpired:
            with open(f"/proc/{process.pid}/status") as file:
                lines = file.read()
    return int(lines.split("VmRSS:")[1].split()[0])


def start(command):
    return subprocess.Popen(command, stdout=subprocess.PIPE, text=True)


def result(process):
    output, _ = process.communicate(timeout=60)
    if process.returncode != 0:
        sys.exit(f"streaming: {' '.join(process.args)}: status {process.returncode}")
    return json.loads(output)


def main():
    folder = sys.argv[1]
    load = os.path.join(folder, "stream_load")
    with tempfile.TemporaryDirectory() as temporary:
        def simulated(camera, seconds, what, *file):
            return start([os.path.join(folder, "zocam-sim"), "--camera", camera, "--", load,
                          "/dev/video0", str(seconds), what, *file])

        def recording(camera):
            return os.path.join(temporary, f"{camera}.y4m")

        # All at once: each of them takes little of a core.
        for process in [simulated(c, SECONDS + 1, "drop", recording(c)) for c in CAMERAS.values()]:
            result(process)
        running = {
            name: {
                "dropped": simulated(camera, SECONDS, "drop"),
                "pictures": simulated(camera, SECONDS, "rainbow"),
                "played": start([load, recording(camera), str(SECONDS), "rainbow"]),
            } for name, camera in CAMERAS.items()
        }
        loads = {name: {what: result(process) for what, process in runs.items()}
                 for name, runs in running.items()}
    empty = resident_kib_of_an_empty_process()
    json.dump({"emptyKiB": empty, "loads": loads}, sys.stdout, indent=1)


if __name__ == "__main__":
    main()
