"""The C interface by way of ctypes: what the package's results are compared with."""
import ctypes
import os

import numpy as np

TEMP16 = 1
_library = ctypes.CDLL(os.environ["ZOCAM_LIBRARY"])
for _name in ("ZoLib_GetFrameWidth", "ZoLib_GetFrameHeight", "ZoLib_GetFooterLines"):
    getattr(_library, _name).restype = ctypes.c_uint16


class Film:
    """A recording that is decoded frame by frame, in order."""

    def __init__(self, path):
        self.dev = ctypes.c_void_p()
        assert _library.ZoLib_FileReadPassiveSetup(ctypes.byref(self.dev), bytes(path)) == 0
        assert _library.ZoLib_CaptureStart(self.dev) == 0
        self.width = _library.ZoLib_GetFrameWidth(self.dev)
        self.height = _library.ZoLib_GetFrameHeight(self.dev)
        lines = self.height + _library.ZoLib_GetFooterLines(self.dev)
        self.raw = ctypes.create_string_buffer(2 * self.width * lines)

    def call(self, name, *arguments):
        return getattr(_library, name)(self.dev, *arguments)

    def next(self):
        assert self.call("ZoLib_FinishDecode") == 0
        assert self.call("ZoLib_FileReadPassiveNext", self.raw, len(self.raw)) == 0
        return not self.call("ZoLib_GetFileReadEOF")

    def image(self, kind, depth, code):
        shape = (self.height, self.width, depth) if depth > 1 else (self.height, self.width)
        out = np.empty(shape, kind)
        status = self.call("ZoLib_Decode", self.raw, out.ctypes.data_as(ctypes.c_void_p),
                           out.nbytes, 0, code)
        return out if status == 0 else None

    def close(self):
        _library.ZoLib_Release(self.dev)
