"""Thermal cameras and their recordings, with numpy.

    import zocam

    with zocam.open() as camera:
        for frame in camera:
            print(frame.number, frame.temperature.max())   # degrees Celsius
            if frame.number == 10:
                break

    film = zocam.open_recording("film.y4m")
    mean = sum(frame.temperature for frame in film) / len(film)

See docs/python.md of the project.
"""
from __future__ import annotations

import os
from typing import Optional, Union

from . import errors as errors
from ._zocam import Camera, CameraInfo, Frame, Recording, __version__, cameras
from ._zocam import _open, _open_recording
from .errors import (ZocamClosedError, ZocamError, ZocamFileNotFoundError, ZocamMemoryError,
                     ZocamNotFoundError, ZocamOSError, ZocamPermissionError, ZocamTimeoutError,
                     ZocamValueError)
from .recorder import Recorder
from .slices import RecordingSlice
from .telemetry import Telemetry

__all__ = [
    "Camera", "CameraInfo", "Frame", "Recorder", "Recording", "RecordingSlice", "Telemetry",
    "ZocamClosedError", "ZocamError", "ZocamFileNotFoundError", "ZocamMemoryError",
    "ZocamNotFoundError", "ZocamOSError", "ZocamPermissionError", "ZocamTimeoutError",
    "ZocamValueError", "cameras", "open", "open_recording", "__version__",
]

for _type in (Camera, CameraInfo, Frame, Recording):
    _type.__module__ = __name__  # where users find them
cameras.__module__ = __name__


def open(serial_or_node: Union[None, int, str, "os.PathLike[str]"] = None, *,
         high_rate: bool = False, queue: int = 4) -> Camera:
    """Opens a camera by its serial number (an int, or text of one: "42", "0x2a") or its device node
    ("/dev/video0", or a link to it); without either, the only one that is connected.

    high_rate: 25.9 instead of 8.63 frames per second, on models that have it. queue: how many
    frames wait for a loop; of more the oldest are dropped and counted.

    Raises ZocamNotFoundError without such a camera, ZocamPermissionError without the right to use
    it, ZocamValueError when several are connected and none was named.
    """
    which: Union[None, int, str] = None
    if isinstance(serial_or_node, int):
        which = serial_or_node
    elif serial_or_node is not None:
        text = os.fspath(serial_or_node)
        which = os.path.realpath(text) if "/" in text else _serial(text)
    if isinstance(which, int) and not 0 <= which < 2**64:
        raise ValueError(f"{which} is no serial number")
    if queue < 1:
        raise ValueError("a queue has room for at least one frame")
    return _open(which, high_rate, queue)


def _serial(text: str) -> int:
    try:
        return int(text, 16 if text[:2] in ("0x", "0X") else 10)
    except ValueError:
        raise ValueError(f'"{text}" is neither a serial number nor the path of a node') from None


def open_recording(path: Union[str, "os.PathLike[str]"]) -> Recording:
    """Opens a recording.

    Raises ZocamFileNotFoundError, ZocamPermissionError or another ZocamOSError when it cannot be
    read, ZocamError 24 when it is no recording or an empty one.
    """
    return _open_recording(os.fspath(path))
