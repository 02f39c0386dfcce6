"""The basics of the zocam command: python3 -m zocam list, info, snapshot, export, record."""
from __future__ import annotations

import argparse
import os
import struct
import sys
import time
import zlib
from typing import Any, List, Optional, Union

import numpy as np
from numpy.typing import NDArray

import zocam

Source = Union["zocam.Camera", "zocam.Recording"]


def png(picture: NDArray[np.uint8]) -> bytes:
    """The bytes of a PNG file of a (height, width, 3) picture."""
    height, width, _ = picture.shape

    def chunk(kind: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + kind + data + struct.pack(
            ">I", zlib.crc32(kind + data))

    rows = np.zeros((height, 1 + 3 * width), np.uint8)  # each begins with its filter, none
    rows[:, 1:] = picture.reshape(height, 3 * width)
    return (b"\x89PNG\r\n\x1a\n"
            + chunk(b"IHDR", struct.pack(">2I5B", width, height, 8, 2, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(rows.tobytes())) + chunk(b"IEND", b""))


def open_source(name: Optional[str]) -> Source:
    """A recording if there is a file of that name, else a camera."""
    if name is not None and os.path.isfile(name):
        return zocam.open_recording(name)
    return zocam.open(name)


def first_picture(source: Source) -> zocam.Frame:
    """The first frame with temperatures."""
    for frame in source:
        if frame.has_temperature:
            return frame
    raise SystemExit("zocam: no frame has temperatures")


def list_cameras(_: argparse.Namespace) -> None:
    found = zocam.cameras()
    for info in found:
        print(f"{info.node}  {info.product_id:04x}  {info.serial}  "
              f"{info.width} x {info.height}  {info.name}")
    if not found:
        raise SystemExit("zocam: no camera is connected")


def show_info(options: argparse.Namespace) -> None:
    with open_source(options.source) as source:
        print(f"product             {source.product_id:04x}  {source.name}".rstrip())
        print(f"serial number       {source.serial}")
        print(f"firmware            {source.firmware:#06x}")
        print(f"picture             {source.width} x {source.height} pixels")
        print(f"telemetry revision  {source.telemetry_revision}")
        if isinstance(source, zocam.Recording):
            print(f"frames              {len(source)}")
            print(f"length              {source.duration:.3f} s")
            print(f"frame rate          {source.frame_rate:.2f} frames/s")


def take_snapshot(options: argparse.Namespace) -> None:
    with open_source(options.source) as source:
        frame = first_picture(source)
    if options.output.endswith(".npy"):
        np.save(options.output, frame.temperature)
        return
    gain: Any = options.gain or ("manual" if options.range else "nonlinear")
    with open(options.output, "wb") as file:
        file.write(png(frame.render(options.palette, gain, options.range)))


def export_recording(options: argparse.Namespace) -> None:
    with zocam.open_recording(options.recording) as film:
        numbers = range(1, len(film) + 1, options.step)
        out = np.lib.format.open_memmap(  # type: ignore[no-untyped-call]
            options.output, "w+", np.dtype(np.float32), (len(numbers), *film.shape))
        for number, frame in enumerate(film):
            if number % options.step == 0:
                out[number // options.step] = frame.temperature if frame.has_temperature else np.nan
        out.flush()
        print(f"{len(numbers)} frames of {film.width} x {film.height} to {options.output}")


def record(options: argparse.Namespace) -> None:
    with zocam.open(options.source, high_rate=options.high_rate) as camera:
        with camera.record(options.output) as recorder:
            end = time.monotonic() + options.seconds
            try:
                for _ in camera:
                    recorder.check()
                    if time.monotonic() >= end:
                        break
            except KeyboardInterrupt:
                pass
    with zocam.open_recording(options.output) as film:
        print(f"{len(film)} frames, {film.duration:.1f} s to {options.output}")


def parser() -> argparse.ArgumentParser:
    top = argparse.ArgumentParser("python3 -m zocam", description=__doc__)
    top.add_argument("--version", action="version", version=zocam.__version__)
    commands: Any = top.add_subparsers(required=True, metavar="COMMAND")

    def command(name: str, action: Any, text: str) -> argparse.ArgumentParser:
        added: argparse.ArgumentParser = commands.add_parser(name, help=text, description=text)
        added.set_defaults(action=action)
        return added

    command("list", list_cameras, "the cameras that are connected")
    source = "serial number or node of a camera, or a recording; may be left out for the only camera"
    info = command("info", show_info, "what there is to know of a camera or recording")
    info.add_argument("source", nargs="?", help=source)
    snapshot = command("snapshot", take_snapshot, "one frame as a PNG picture or a NumPy array")
    snapshot.add_argument("source", nargs="?", help=source)
    snapshot.add_argument("-o", "--output", required=True, metavar="FILE",
                          help="FILE.png, or FILE.npy for degrees Celsius")
    snapshot.add_argument("--palette", choices=["iron", "rainbow", "grey"], default="iron")
    snapshot.add_argument("--gain", choices=["nonlinear", "linear", "manual"])
    snapshot.add_argument("--range", nargs=2, type=float, metavar=("LOW", "HIGH"),
                          help="in degrees Celsius")
    export = command("export", export_recording,
                     "a recording as a NumPy array (frames, height, width) of degrees Celsius")
    export.add_argument("recording")
    export.add_argument("-o", "--output", required=True, metavar="FILE.npy")
    export.add_argument("--step", type=int, default=1, metavar="N", help="every N-th frame")
    make = command("record", record, "records a camera")
    make.add_argument("source", nargs="?", help="serial number or node of the camera")
    make.add_argument("-o", "--output", required=True, metavar="FILE")
    make.add_argument("--seconds", type=float, default=float("inf"), help="default: until Ctrl-C")
    make.add_argument("--high-rate", action="store_true", help="25.9 frames per second")
    return top


def main(arguments: Optional[List[str]] = None) -> int:
    options = parser().parse_args(arguments)
    try:
        options.action(options)
    except (zocam.ZocamError, OSError, ValueError) as error:
        print(f"zocam: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
