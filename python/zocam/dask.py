"""Recordings as dask arrays: decoded where and when they are needed, by as many processes and
machines as dask has. Needs dask (Debian: python3-dask), and zarr (python3-zarr) for to_zarr().

    import zocam.dask

    stack = zocam.dask.from_recordings(["monday.y4m", "tuesday.y4m"])
    hottest = stack.array.max(axis=(1, 2)).compute()       # degrees Celsius, of every frame
    when = stack.index["time"]

Workers open the files by themselves, by the same paths. See docs/dask.md of the project.
"""
from __future__ import annotations

import os
from dataclasses import dataclass
from importlib import import_module
from typing import (Any, Callable, Dict, Iterable, List, Literal, Mapping, Optional, Tuple,
                    Union)

import numpy as np
from numpy.typing import ArrayLike, DTypeLike, NDArray

from . import Frame, Recording, ZocamError, open_recording
from .warm_up import planner, read_footers

# Not checked: dask's own hints change from one version to the next, and it may not be installed.
da: Any = import_module("dask.array")
_base: Any = import_module("dask.base")
_graph: Any = import_module("dask.highlevelgraph")
_utils: Any = import_module("dask.utils")

__all__ = ["Stack", "from_recordings", "map_frames", "to_npy_stack", "to_zarr"]

Path = Union[str, "os.PathLike[str]"]
Paths = Union[Path, Iterable[Path]]

INDEX_TYPE = np.dtype([("recording", "i4"), ("number", "i8"), ("time", "f8")])
"""Of Stack.index: the recording's place in the list of paths, from 0; the frame's place in the
recording, from 1; its Frame.time in seconds."""

_PROPERTIES = {"noise_filter", "noise_filter_threshold", "undistortion", "circumference_correction",
               "window_correction", "upside_down", "raw_counts", "manual_range", "auto_range"}
_CALLS = {"reference": "set_reference", "reflection_correction": "set_reflection_correction",
          "gain_mask": "set_gain_mask"}
_CANNOT_BE_DECODED = 22


@dataclass(frozen=True)
class Stack:
    """The frames of some recordings, one behind the other."""

    array: Any
    """A lazy dask array; its first axis counts the frames. No chunk spans two recordings."""
    index: NDArray[Any]
    """Which frames they are: an array of INDEX_TYPE, as long as the first axis of array."""


@dataclass(frozen=True)
class _Film:
    """A recording as it was when the array was made, and how to decode it."""

    path: str
    size: int
    mtime_ns: int
    settings: Tuple[Tuple[str, Any], ...]

    def check(self) -> None:
        info = os.stat(self.path)
        if (info.st_size, info.st_mtime_ns) != (self.size, self.mtime_ns):
            raise RuntimeError(f"{self.path} has changed since the array was made from it; "
                               "make the array anew")


@dataclass(frozen=True)
class _Range:
    """Frames of one recording: first to first + count - 1, after the warm-up's."""

    film: _Film
    first: int
    count: int
    warm_up: Tuple[int, ...]


def _temperature(frame: Frame) -> ArrayLike:
    return frame.temperature if frame.has_temperature else np.float32(np.nan)


def _counts(frame: Frame) -> ArrayLike:
    try:
        return frame.counts
    except ZocamError as error:
        if error.status != _CANNOT_BE_DECODED:
            raise
        return np.uint16(0)


def _raw(frame: Frame) -> ArrayLike:
    return frame.raw


def from_recordings(paths: Paths, what: Literal["temperature", "counts", "raw"] = "temperature", *,
                    settings: Optional[Mapping[str, Any]] = None,
                    chunks: Union[int, str] = "32 MiB") -> Stack:
    """One lazy array over all frames of one or more recordings, in the order of paths.

    what: "temperature" is (frames, height, width) float32 in degrees Celsius; "counts" uint16 as
    Frame.counts, "raw" as Frame.raw. Frames that cannot be decoded, as before a camera's first
    flat-field correction, are NaN in temperatures and 0 in counts.
    settings: properties of zocam.Recording that decoding obeys, e.g. {"window_correction": 1};
    also "reference", "reflection_correction" and "gain_mask", what the functions set_... take.
    chunks: how much one task decodes, as bytes ("32 MiB") or as a number of frames.

    Values are those of a loop over each recording with these settings, bit for bit, whatever the
    chunks are. Reads the frames' footers at once and everything else when it is computed.

    Raises ZocamError as open_recording(), for files that have no frames, too; ValueError, which
    names the file, when a recording's images have another shape than those of the first one. When a
    file has changed since, computing raises RuntimeError; ZocamError 24 at damaged records.
    """
    settings = dict(settings or {})
    if what not in ("temperature", "counts", "raw"):
        raise ValueError(f'"{what}" is none of "temperature", "counts" and "raw"')
    if what == "temperature" and settings.get("raw_counts"):
        raise ValueError('with the setting raw_counts there are no temperatures: ask for "counts"')
    function, dtype = {"temperature": (_temperature, np.float32), "counts": (_counts, np.uint16),
                       "raw": (_raw, np.uint16)}[what]
    return _stack(paths, function, settings, chunks, dtype,
                  None if what == "raw" else _image_shape, decoding=what != "raw")


def map_frames(function: Callable[[Frame], ArrayLike], paths: Paths, *,
               dtype: Optional[DTypeLike] = None, shape: Optional[Tuple[int, ...]] = None,
               settings: Optional[Mapping[str, Any]] = None,
               chunks: Union[int, str] = "32 MiB") -> Stack:
    """Calls a function with every frame (zocam.Frame) of some recordings, and stacks the results.

    function: gives a number or array of always the same shape for a frame: a mean, a picture
    (lambda frame: frame.render("iron")), telemetry. Workers call it, perhaps more than once.
    dtype, shape: of one result; what is not given is found by a call with the first frame.
    settings, chunks, order, errors: as from_recordings(). Chunks in bytes count
    what is larger, a result or a raw frame. Frames that cannot be decoded are passed, too.
    """
    def given(film: Recording, of_result: Tuple[int, ...] = shape or ()) -> Tuple[int, ...]:
        return of_result

    return _stack(paths, function, dict(settings or {}), chunks, dtype,
                  None if shape is None else given)


def _stack(paths: Paths, function: Callable[[Frame], ArrayLike], settings: Dict[str, Any],
           chunks: Union[int, str], dtype: Optional[DTypeLike],
           shape_of: Optional[Callable[[Recording], Tuple[int, ...]]],
           decoding: bool = True) -> Stack:
    names = [os.path.abspath(os.fspath(path)) for path in _listed(paths)]
    if not names:
        raise ValueError("no recordings were named")
    unknown = set(settings) - _PROPERTIES - set(_CALLS)
    if unknown:
        raise ValueError(f"unknown settings {sorted(unknown)}; there are "
                         f"{sorted(_PROPERTIES | set(_CALLS))}")
    stated = (("decoding", decoding), *settings.items())
    ranges: List[_Range] = []
    indices = []
    first_shape: Tuple[int, int] = (0, 0)
    for place, path in enumerate(names):
        with open_recording(path) as film:
            info = os.stat(path)
            source = _Film(path, info.st_size, info.st_mtime_ns, stated)
            if place == 0:
                first_shape = film.shape
                _apply(film, stated)
                if shape_of is None or dtype is None:
                    sample = np.asarray(function(film[1]), dtype)
                    kind, shape = sample.dtype, sample.shape
                else:
                    kind, shape = np.dtype(dtype), ()
                if shape_of is not None:
                    shape = shape_of(film)
                size = _frames_per_chunk(chunks, max(kind.itemsize * int(np.prod(shape)),
                                                     film[1].raw.nbytes))
            elif film.shape != first_shape:
                raise ValueError(f"{path}: its images have {_text(film.shape)} pixels, those of "
                                 f"{names[0]} {_text(first_shape)}; one array cannot hold both")
            film.decoding = False
            lines = film[1].raw.shape[0] - film.height
            footers = read_footers(film, lines)
            _apply(film, stated)
            before = planner(film, footers)
            count = len(footers.time)
            ranges += [_Range(source, first, min(size, count + 1 - first),
                              tuple(before(first)) if decoding else ())
                       for first in range(1, count + 1, size)]
            source.check()
        index = np.empty(count, INDEX_TYPE)
        index["recording"] = place
        index["number"] = np.arange(1, count + 1)
        index["time"] = footers.time
        indices.append(index)
    return Stack(_array(ranges, function, kind, shape), np.concatenate(indices))


def _array(ranges: List[_Range], function: Callable[[Frame], ArrayLike], kind: np.dtype[Any],
           shape: Tuple[int, ...]) -> Any:
    name = "zocam-" + _base.tokenize(ranges, function, kind, shape)
    rest = (0,) * len(shape)
    tasks = {(name, i, *rest): (_decode, part, function, kind, shape)
             for i, part in enumerate(ranges)}
    sizes = (tuple(part.count for part in ranges), *((size,) for size in shape))
    return da.Array(_graph.HighLevelGraph.from_collections(name, tasks), name, sizes, dtype=kind)


def _decode(part: _Range, function: Callable[[Frame], ArrayLike], kind: np.dtype[Any],
            shape: Tuple[int, ...]) -> NDArray[Any]:
    """What a worker does: a task of its own, that may be done again anywhere."""
    part.film.check()
    out = np.empty((part.count, *shape), kind)
    with open_recording(part.film.path) as film:
        _apply(film, part.film.settings)
        for number in part.warm_up:
            film[number]
        for place in range(part.count):
            frame = film[part.first + place]
            result = np.asarray(function(frame))
            if result.shape not in (shape, ()):  # one number stands for a whole image
                raise ValueError(f"{part.film.path}, frame {part.first + place}: the result's "
                                 f"shape is {result.shape}, not {shape}")
            out[place] = result
    part.film.check()
    return out


def _apply(film: Recording, settings: Iterable[Tuple[str, Any]]) -> None:
    for name, value in settings:
        if name in _CALLS:
            getattr(film, _CALLS[name])(value)
        else:
            setattr(film, name, value)


def _image_shape(film: Recording) -> Tuple[int, ...]:
    return film.shape


def _listed(paths: Paths) -> List[Path]:
    return [paths] if isinstance(paths, (str, os.PathLike)) else list(paths)


def _text(shape: Tuple[int, int]) -> str:
    return f"{shape[1]} x {shape[0]}"


def _frames_per_chunk(chunks: Union[int, str], frame_bytes: int) -> int:
    if isinstance(chunks, str):
        return max(1, int(_utils.parse_bytes(chunks)) // max(frame_bytes, 1))
    if chunks < 1:
        raise ValueError("a chunk has at least one frame")
    return chunks


def to_npy_stack(stack: Stack, folder: Path) -> None:
    """Computes a stack into a new folder: 0.npy, 1.npy and so on, one for each chunk, which
    dask.array.from_npy_stack() reads again, and at last index.npy: without it the folder is not
    complete. Workers write the files themselves.

    Raises FileExistsError when the folder has something in it."""
    name = os.path.abspath(os.fspath(folder))
    if os.path.isdir(name) and os.listdir(name):
        raise FileExistsError(f"{name} is not empty; name a new folder")
    da.to_npy_stack(name, stack.array, axis=0)
    np.save(os.path.join(name, "index.npy"), stack.index)


def to_zarr(stack: Stack, folder: Path, *, frames_per_chunk: Optional[int] = None) -> None:
    """Computes a stack into a new Zarr group: the array "frames", and "recording", "number" and
    "time" of the index, which come last: without them it is not complete. Workers write the chunks
    themselves.

    frames_per_chunk: of the file's chunks, which are all alike; as the first chunk of the stack
    when it is not given. Raises FileExistsError when the folder has something in it."""
    import zarr  # type: ignore[import]

    name = os.path.abspath(os.fspath(folder))
    if os.path.isdir(name) and os.listdir(name):
        raise FileExistsError(f"{name} is not empty; name a new folder")
    size = frames_per_chunk or stack.array.chunks[0][0]
    group = zarr.open_group(name, mode="w")
    stack.array.rechunk({0: size}).to_zarr(name, component="frames")
    for field in stack.index.dtype.names or ():
        group.create_dataset(field, data=stack.index[field])
