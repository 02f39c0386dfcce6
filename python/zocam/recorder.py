"""A recording being made."""
from __future__ import annotations

import os
from types import TracebackType
from typing import TYPE_CHECKING, Optional, Type, Union

if TYPE_CHECKING:
    from . import Camera


class Recorder:
    """What Camera.record() returns; recording until stop(), or the end of a `with` block. Stopping
    or closing the camera ends it, too."""

    def __init__(self, camera: Camera, path: Union[str, os.PathLike[str]]) -> None:
        self._camera: Optional[Camera] = camera
        self._path = os.fspath(path)
        camera._start_recording(self._path)

    @property
    def path(self) -> str:
        """Where the file is."""
        return self._path

    def check(self) -> None:
        """Raises ZocamOSError once a frame could not be written, as on a full disk."""
        if self._camera is not None:
            self._camera._check_recording()

    def stop(self) -> None:
        """Ends the file. Raises ZocamOSError when a frame or the end could not be written; the
        file has ended then, too. Does nothing twice."""
        camera, self._camera = self._camera, None
        if camera is not None and not camera.closed:
            camera._stop_recording()

    def __enter__(self) -> Recorder:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.stop()
