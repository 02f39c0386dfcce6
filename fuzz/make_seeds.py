#!/usr/bin/env python3
"""Writes the starting points in fuzz/corpus: one input for each thing that a fuzzer can do, in the
layout that the comment at the top of the fuzzer tells. Usage: make_seeds.py"""
import os
import struct

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
PRODUCTS = [0x6100, 0x6101, 0x6102, 0x6103, 0x6104, 0x6105, 0x6110, 0x6120, 0x61FF, 0x1234]


def write(fuzzer, name, data):
    folder = os.path.join(FOLDER, fuzzer)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as file:
        file.write(data)


def fold(data):
    """Long runs of one byte become a mark, a count and the byte; see fuzz/input.h."""
    folded = bytearray()
    at = 0
    while at < len(data):
        end = at
        while end < len(data) and data[end] == data[at] and end - at < 0xFFFF:
            end += 1
        if end - at > 8 or data[at] == 0x1B:
            folded += struct.pack("<BHB", 0x1B, end - at, data[at])
        else:
            folded += data[at:end]
        at = end
    return bytes(folded)


def geometry(product):
    """Width, height, footer lines, telemetry revision."""
    if product in (0x6102, 0x6103, 0x6104, 0x6105):
        return 160, 120, 2, 10 if product == 0x6102 else 14
    return 80, 60, 4, 14 if product in (0x6101, 0x6120) else 9


def header(product, style="N"):
    width, height, footer, _ = geometry(product)
    text = f"YUV4MPEG2 W{width} H{height + footer + 1} F259:30 Ip A0:0 C422 X "
    identity = struct.pack("<4H8s8s", 0x7A11, product, 1, 0x100, b"\1\2\3\4\5\6\7\10", b"")
    if style == "N":
        text += f"V00010903 N{identity.hex().upper()} E{'00' * 128}"
    elif style == "S":
        text += f"V00010902 D7A11{product:04X} S0807060504030201"
    else:
        text += f"V00010901 D7A11{product:04X}"
    return text.encode() + b"\n"


def record(product, number, offset, value):
    width, height, footer, revision = geometry(product)
    telemetry = bytearray(2 * width * footer)
    telemetry[1] = revision
    struct.pack_into(">HH", telemetry, 2, 50000, 1)  # time
    struct.pack_into(">H", telemetry, 48, 30000)
    struct.pack_into(">HHHH", telemetry, 58, 29900, 40000, 1, 30500)
    struct.pack_into(">HH", telemetry, 416, 0, 1)
    trailer = struct.pack("<QI8H", offset, number, 2026, 1, 4, 1, 2, 3, 4, 5)
    image = bytes([value]) * (2 * width * height)
    return b"FRAME\n" + image + telemetry + trailer.ljust(2 * width, b"\0")


def steps(*pairs):
    return bytes([len(pairs)]) + b"".join(struct.pack("<BI", *pair) for pair in pairs)


def recordings():
    for product in PRODUCTS:
        for mode in (0, 3):
            walk = steps((0, 1), (3, 116), (0, 21), (5 + 128, 1), (5, 1 | 4 << 4), (0, 22))
            file = header(product)
            for k in range(4):
                file += record(product, k + 1, k * 116, 0x1E + k)
            write("recording", f"{product:04x}_{'played' if mode else 'passive'}",
                  bytes([mode]) + walk + fold(file))
        if product == 0x6101:
            far = steps((0, 1), (3, 0xFFFFFF74), (13, 3), (5 + 128, 1), (5, 1))
            write("recording", "far_seek", bytes([3]) + far + fold(file))
    for style in "SD":
        write("recording", f"header_{style}",
              bytes([0]) + steps((0, 1)) + fold(header(0x6101, style) + record(0x6101, 1, 0, 0x75)))
    data = fold(header(0x6101) + record(0x6101, 1, 0, 0x75) + record(0x6101, 2, 116, 0x76))
    write("recording", "shrinks",
          bytes([0]) + steps((0, 1), (9, 11000), (0, 1), (3, 0), (0, 1)) + data)
    second = len(header(0x6101)) + 6 + 2 * 80 * 64 + 160
    for mode in (0, 1, 3):
        write("recording", f"bad_marker_{mode}",
              bytes([mode]) + steps((10, second), (0, 1), (0, 1), (3, 116), (11, 2000)) + data)
    write("recording", "paced", bytes([1]) + steps((11, 9001), (3, 1), (12, 0)) +
          fold(header(0x6103) + record(0x6103, 1, 0, 0x75) + record(0x6103, 2, 60, 0x76) +
               record(0x6103, 3, 10**15, 0x76)))
    write("recording", "dumped", bytes([0]) + steps((0, 1), (0, 1 | 1 << 14)) + data)
    write("recording", "gains", bytes([0]) + steps((5 + 128 + 64, 1), (5 + 64, 1), (5 + 64, 3), (0, 21), (0, 22)) + data)
    write("recording", "paused", bytes([1]) + steps((7, 0), (8, 0), (5, 1), (12, 1)) + data)


def zorcs():
    for index, product in enumerate(PRODUCTS):
        width, height, _, _ = geometry(product)
        image = b"ZORC\0\0" + struct.pack("<H", product)
        image += bytes([index * 25]) * (2 * width * height)
        write("zorc", f"{product:04x}", struct.pack("<BH", index, 30000) + fold(image))
    write("zorc", "short", struct.pack("<BH", 1, 30000) + b"ZORC\0\0\1\x61" + fold(bytes(100)))


# What a frame's telemetry says: places as in kTelemetry of frames_fuzzer.cc, and words.
STEADY = [(0, 50000), (1, 1), (3, 30000), (4, 30500), (5, 29900), (6, 40000), (7, 1), (8, 30500),
          (11, 1)]
STARTUP = [(0, 4000), (3, 30000), (4, 30500), (5, 29900), (6, 3000), (8, 30500)]
JUST_CALIBRATED = [(0, 50000), (1, 1), (4, 30500), (6, 49000), (7, 1), (11, 1)]
LATE = [(1, 8), (3, 30000), (4, 30500), (5, 29000), (7, 7), (11, 1)]


def frame(product, settings, telemetry, number):
    data = b"\1" + struct.pack("<I", settings | 50 << 9)
    data += struct.pack("<HBH", 8000 if geometry(product)[3] < 14 else 29000, 9, number)
    data += bytes([len(telemetry)]) + b"".join(struct.pack("<BH", *patch) for patch in telemetry)
    return data + b"\1" + bytes([21 + number, 1, 32 + number, 0])


def frames():
    for index, product in enumerate(PRODUCTS):
        for settings in (0x003, 0x1F5, 0x6F):
            data = bytes([index, 1])
            data += frame(product, settings, STEADY, 0) + frame(product, settings, STARTUP, 1)
            write("frames", f"{product:04x}_{settings:x}", data)
    drift = b"".join(frame(0x6120, 3, telemetry, 0) for telemetry in (STEADY, JUST_CALIBRATED, LATE))
    write("frames", "6120_drift", bytes([7, 2]) + drift)


def sysfs(vendor, product, name):
    data = b""
    for text in (vendor, product, name):
        data += b"\0" + struct.pack("<H", len(text)) + text
    return data


IDENTITY = b"\0\0" + struct.pack("<4H16s", 0x7A11, 0x6103, 1, 0x123, b"")


def identities():
    camera = sysfs(b"7a11\n", b"6103\n", b"Camera\n")
    write("identity", "enumerate", b"\0\3\0" + camera + b"\0" + IDENTITY + camera + b"\0" + IDENTITY)
    write("identity", "by_path", b"\1/dev/video0\n" + b"\0" + camera + b"\0" + IDENTITY)
    write("identity", "old_firmware",
          b"\1/dev/video12\n" + b"\0" + camera + b"\0\0\0" + struct.pack("<4H", 0x7A11, 0x6101, 1, 1))
    write("identity", "attributes", b"\2\0\0\0\0" + sysfs(b"0x7A11\n", b" 61ff", b"N" * 70) + b"7a11\n")


def commands():
    done, busy, firmware, sensor = b"\0\0", b"\1\1", b"\1\7", b"\2\xf9"
    for kind in range(8):
        for name, state in (("done", done), ("busy", busy + b"\0\0\0" + done),
                            ("firmware", firmware), ("sensor", sensor)):
            arguments = b"\2\1\0\2\0" if kind in (1, 2, 3) else b"\1\0\2\0"
            # sent, then an answer
            write("commands", f"{kind}_{name}",
                  b"\1\0" + bytes([kind]) + arguments + b"\0\0\0" + b"\0\0" + state + b"\5\0\6\0" * 9)
    write("commands", "long", b"\1\0\1\x10\x01\xff\0\0" + b"\0\0\0" + b"\0\0\0\0" + bytes(range(40)))


def pictures():
    for kind in (0, 1):
        for depth in (3, 4):
            size = bytes([1, 7, 1, 5])
            rest = bytes([depth, 1, 2, 1]) if kind == 0 else bytes([1, depth - 3, 1, 0, 0, 1])
            write("pictures", f"{'expand' if kind else 'magnify'}{depth}",
                  bytes([kind]) + size + rest + struct.pack("<H", 6) + b"pixels")
    write("pictures", "palette", bytes([2]) + struct.pack("<I", 21))


def stages():
    for stage in range(12):
        for width, height in ((79, 9), (160, 3)):
            data = bytes([stage, width, height]) + struct.pack("<HBIB", 7300, 9, 1, 0)
            write("stages", f"{stage}_{width}", data + bytes(range(1, 60)))


def allocations():
    for mode in (0, 1, 4, 5):
        for index in (1, 2, 3, 7):
            data = bytes([mode, 6 + index, index])
            write("allocation", f"{mode}_{index}",
                  data + bytes([0, 1, 3, 1, 9, 15, 21, 3, 11, 4, 5, 6, 7, 1, 1, 7, 20]))
    write("allocation", "undistortion", bytes([2, 200, 3, 0, 1, 2, 1]))


for make in (recordings, zorcs, frames, identities, commands, pictures, stages, allocations):
    make()
