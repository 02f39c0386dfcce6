"""Which frames a fresh handle must decode before a chunk, so that it then gives the very values of
a run from the recording's first frame on.

Averages keep the last frames' readings in a ring, and sum it slot by slot. A sum of doubles depends
on its order, so a warm-up must put each reading into the slot that it has in the long run: it
begins a whole number of turns after the first reading. What a ring did not hold when it mattered is
left out; that is why a warm-up is short however far into the recording a chunk lies.
"""
from __future__ import annotations

import os
from dataclasses import dataclass
from typing import TYPE_CHECKING, Callable, List

import numpy as np
from numpy.typing import NDArray

if TYPE_CHECKING:
    from . import Recording

_WINDOW_TURN = 16     # frames of the sensor temperature, averaged for the window correction
_REFERENCE_TURN = 10  # frames of what the reference body's sensors and the image of it tell
_MARKER_BYTES = 6
_TIME_BYTES = 8
_WITH_FFC_CHECK = (9, 10)  # revisions whose frames have no temperatures before the first FFC


@dataclass(frozen=True)
class Footers:
    """What the footers and trailers of a recording's frames say, in order."""

    time: NDArray[np.float64]
    """Frame.time."""
    decodable: NDArray[np.bool_]
    """Whether the decoder takes the frame, and with it its readings."""
    holds: NDArray[np.bool_]
    """Model 6120: the frame comes so soon after an FFC that the averages stand still."""


def read_footers(film: Recording, lines: int) -> Footers:
    """Reads the footers, lines of a frame behind its image, without reading any image."""
    height, width = film.shape
    row = 2 * width
    record = _MARKER_BYTES + (height + lines + 1) * row
    skip = _MARKER_BYTES + height * row
    size = lines * row + _TIME_BYTES
    descriptor = os.open(film.path, os.O_RDONLY | os.O_CLOEXEC)
    try:
        first = os.pread(descriptor, 1024, 0).index(b"\n") + 1 + skip
        tails = [os.pread(descriptor, size, first + place * record) for place in range(len(film))]
    finally:
        os.close(descriptor)
    if any(len(tail) < size for tail in tails):
        raise OSError(f"{film.path} has become shorter while it was read; open it anew")
    data = np.frombuffer(b"".join(tails), np.uint8).reshape(len(tails), size)

    def milliseconds(offset: int) -> NDArray[np.uint32]:
        words = np.ascontiguousarray(data[:, offset:offset + 4]).view(">u2").astype(np.uint32)
        return words[:, 0] | words[:, 1] << np.uint32(16)  # less significant word first

    now, ffc = milliseconds(2), milliseconds(60)
    decodable = data[:, 1] == film.telemetry_revision
    if film.telemetry_revision in _WITH_FFC_CHECK:
        decodable &= ffc != 0
    time = np.ascontiguousarray(data[:, -_TIME_BYTES:]).view("<u8")[:, 0] / 1000.0
    return Footers(time, decodable, (now - ffc <= 8999) & (now > 9000))  # differences wrap


def planner(film: Recording, footers: Footers) -> Callable[[int], List[int]]:
    """For a recording and its settings: a function that tells, for a frame number, which frames to
    decode, in which order, before it."""
    decodable = np.flatnonzero(footers.decodable) + 1
    if film.raw_counts:
        return lambda number: []
    if film.reference_columns:
        holds = footers.holds[decodable - 1]
        return lambda number: _of_drift(decodable, holds, _place(decodable, number))
    if film.window_correction == 1:
        return lambda number: _turns(decodable[:_place(decodable, number)].tolist(), _WINDOW_TURN)
    return lambda number: []


def _place(numbers: NDArray[np.int64], number: int) -> int:
    return int(np.searchsorted(numbers, number))


def _turns(readings: List[int], size: int) -> List[int]:
    """The readings without those that the ring has forgotten, in whole turns."""
    return readings[max(0, (len(readings) - size) // size) * size:]


def _of_drift(numbers: NDArray[np.int64], holds: NDArray[np.bool_], before: int) -> List[int]:
    """Model 6120. Each stretch of holding frames begins with taking the baseline, from the averages
    of the image since the stretch before; these start anew there, those of the sensors do not. So
    the last two stretches matter, the rings in front of each, and one turn of the sensors' ring."""
    begins = holds.copy()
    begins[1:] &= ~holds[:-1]
    last: List[int] = np.flatnonzero(begins[:before])[-2:].tolist()
    frames: List[int] = []
    start = 0
    for begin in [*last, before]:
        part = numbers[start:begin]
        frames += _turns(part[~holds[start:begin]].tolist(), _REFERENCE_TURN)
        if begin < before:
            frames.append(int(numbers[begin]))
        start = begin
    return frames
