"""What calls raise: ZocamError and its more telling kinds."""
from __future__ import annotations

import errno as _errno
import os
from typing import Type

NAMES = {
    1: "INTERNAL_ERROR", 2: "NO_MEMORY", 3: "DEVICE_NOT_FOUND", 4: "DEVICE_NOT_READY",
    5: "DEVICE_UNSUPPORTED", 6: "NOT_ENOUGH_SIZE", 7: "NOT_YET", 10: "FIRMWARE_ERROR",
    11: "SENSOR_ERROR", 13: "V4L2_ERROR", 20: "NULL_POINTER", 21: "INVALID_VALUE",
    22: "INVALID_STATE", 23: "FILE_IO_ERROR", 24: "INVALID_FILE_FORMAT", 25: "END_OF_FILE",
    26: "MODEL_UNSUPPORTED",
}
"""Names of the library's statuses."""


class ZocamError(Exception):
    """A failed operation. str() tells what failed, on what, and why."""

    status: int = 0
    """The library's status, e.g. 22."""
    name: str = ""
    """Its name, e.g. "INVALID_STATE"."""
    reason: str = ""
    """Why, alone, e.g. "Permission denied"."""
    host_errno: int = 0
    """The errno of the system call that failed, 0 when the failure was another one."""

    def __str__(self) -> str:
        return str(self.args[0]) if self.args else ""


class ZocamOSError(ZocamError, OSError):
    """The operating system refused something; errno and strerror tell what."""


class ZocamPermissionError(ZocamOSError, PermissionError):
    """The user may not do that."""


class ZocamFileNotFoundError(ZocamOSError, FileNotFoundError):
    """There is no such file."""


class ZocamNotFoundError(ZocamError, LookupError):
    """There is no such camera."""


class ZocamTimeoutError(ZocamError, TimeoutError):
    """No frame came in time."""


class ZocamClosedError(ZocamError, ValueError):
    """The source was closed, or its camera has vanished."""


class ZocamValueError(ZocamError, ValueError):
    """An argument is out of its range."""


class ZocamMemoryError(ZocamError, MemoryError):
    """There was not enough memory."""


_BY_STATUS = {2: ZocamMemoryError, 3: ZocamNotFoundError, 4: ZocamClosedError,
              7: ZocamTimeoutError, 21: ZocamValueError}
_BY_ERRNO = {_errno.EACCES: ZocamPermissionError, _errno.EPERM: ZocamPermissionError,
             _errno.ENOENT: ZocamFileNotFoundError}


def of_status(status: int, message: str, reason: str, host_errno: int) -> ZocamError:
    """The exception for a status of the library."""
    kind: Type[ZocamError] = _BY_STATUS.get(status, ZocamError)
    if status in (13, 23) and host_errno:
        kind = _BY_ERRNO.get(host_errno, ZocamOSError)
    error = kind(message)
    error.status = status
    error.name = NAMES.get(status, "UNKNOWN")
    error.reason = reason
    error.host_errno = host_errno
    if isinstance(error, OSError) and host_errno:
        error.errno = host_errno
        error.strerror = os.strerror(host_errno)
    return error
