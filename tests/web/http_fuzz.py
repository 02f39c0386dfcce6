#!/usr/bin/env python3
"""Throws requests at zocam serve that no browser sends, and looks whether it lives.

Usage: http_fuzz.py ZOCAM_SIM ZOCAM [SECONDS [SEED]]
Each worker takes requests that are right, damages them, and sends them in pieces, several on one
connection, or as WebSocket messages. The server must answer an honest request all the while, and
end with status 0; a sanitizer's report ends it otherwise.
"""
import concurrent.futures
import contextlib
import json
import os
import random
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request

SERIAL = "42"
WORKERS = 8
SOURCE = f"/api/v1/sources/{SERIAL}"
FILM = "/api/v1/sources/film1"
WORDS = [b"..", b"%2e%2e%2f", b"%00", b"%", b"/", b"//", b"?", b"&", b"=", b"\r\n", b"\r\n\r\n",
         b"\0", b"\xff\xfe", b"18446744073709551616", b"-1", b"1e999", b"nan", b"{}", b"[]", b"null",
         b"[" * 400, b"A" * 20000, b'"\\ud800"', b"chunked", b"Content-Length: 99999999999\r\n",
         b"Transfer-Encoding: chunked\r\n", b"Range: bytes=0-\r\n", b"Expect: 100-continue\r\n"]
BODIES = [
    ("PATCH", f"{SOURCE}/settings", {"noiseFilter": 3, "upsideDown": True, "window": False}),
    ("PUT", f"{SOURCE}/spots", [{"name": "a", "x": 3, "y": 4, "width": 5, "height": 6}]),
    ("POST", f"{SOURCE}/recording", {}),
    ("POST", f"{SOURCE}/recording", {"name": "fuzz.y4m"}),
    ("DELETE", f"{SOURCE}/recording", None),
    ("POST", "/api/v1/login", {"token": "word"}),
]
READS = ["/", "/app.js", "/style.css", "/api/v1/sources", SOURCE, f"{SOURCE}/spots", FILM,
         f"{SOURCE}/snapshot.png?palette=iron&gain=manual&range=20:40&scale=2&bar=1&turn=3",
         f"{SOURCE}/snapshot16.png", f"{SOURCE}/snapshot.csv", f"{FILM}/snapshot.png?at=0.5",
         "/api/v1/palettes", "/api/v1/recordings", "/api/v1/recordings/film.y4m",
         "/api/v1/recordings/film.y4m/thumbnail.png", "/api/v1/recordings/..%2fsecret.y4m",
         f"/stream.mjpg?source={SERIAL}&gain=linear"]
SOCKETS = [f"{SOURCE}/frames", f"{FILM}/frames", "/api/v1/recordings/film.y4m/frames"]
WISHES = [{"pause": True}, {"pause": False}, {"seek": 0.3}, {"seek": -1e300}, {"step": 1},
          {"step": -1}, {"speed": 16}, {"speed": 0}, {"pause": "x", "seek": [], "step": 1.5}]


def request(rng, host):
    kind = rng.random()
    head = f"Host: {host}\r\n"
    if kind < 0.2:
        head += ("Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                 "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n")
        return f"GET {rng.choice(SOCKETS)} HTTP/1.1\r\n{head}\r\n".encode(), True
    if kind < 0.6:
        method = rng.choice(["GET", "GET", "HEAD", "POST", "OPTIONS"])
        return f"{method} {rng.choice(READS)} HTTP/1.1\r\n{head}\r\n".encode(), False
    method, path, body = rng.choice(BODIES)
    text = "" if body is None else json.dumps(body)
    head += f"Content-Length: {len(text)}\r\nContent-Type: application/json\r\n"
    return f"{method} {path} HTTP/1.1\r\n{head}\r\n{text}".encode(), False


def damage(rng, data):
    data = bytearray(data)
    for _ in range(rng.choice([0, 1, 1, 2, 5])):
        at = rng.randrange(len(data) + 1)
        how = rng.randrange(5)
        if how == 0:
            data[at:at] = rng.choice(WORDS)
        elif how == 1:
            del data[at:at + rng.randrange(1, 20)]
        elif how == 2 and at < len(data):
            data[at] = rng.randrange(256)
        elif how == 3:
            piece = data[at:at + rng.randrange(1, 40)]
            data[at:at] = piece * rng.randrange(1, 6)
        else:
            del data[at:]
    return bytes(data)


def message(rng):
    """A WebSocket message, right or wrong."""
    text = damage(rng, json.dumps(rng.choice(WISHES)).encode())
    first = rng.choice([0x81, 0x81, 0x81, 0x82, 0x01, 0x80, 0x88, 0x89, 0x8a, rng.randrange(256)])
    mask = rng.randbytes(4)
    size = len(text)
    length = bytes([0x80 | size]) if size < 126 else b"\xfe" + min(size, 65535).to_bytes(2, "big")
    if rng.random() < 0.05:
        length = b"\xff" + rng.randbytes(8)
    return bytes([first]) + length + mask + bytes(b ^ mask[i % 4] for i, b in enumerate(text))


def visit(rng, host, port):
    """One connection; what comes back is read and forgotten."""
    with socket.create_connection((host, port), timeout=5) as line:
        for _ in range(rng.choice([1, 1, 3])):
            data, becomes_socket = request(rng, f"{host}:{port}")
            if rng.random() < 0.7:
                data = damage(rng, data)
            cut = rng.randrange(len(data) + 1)
            line.sendall(data[:cut])
            line.sendall(data[cut:])
            if becomes_socket:
                for _ in range(rng.randrange(8)):
                    line.sendall(message(rng))
            line.settimeout(rng.choice([0.01, 0.1, 0.3]))
            if not line.recv(rng.choice([1, 4096, 1 << 20])):
                return


def fuzz(seed, host, port, end):
    rng = random.Random(seed)
    visits = 0
    while time.monotonic() < end:
        try:
            visit(rng, host, port)
        except OSError:
            pass  # refused, closed or slow: as it should be
        visits += 1
    return visits


REFUSED = [  # method, path, body, status
    ("PATCH", f"{SOURCE}/settings", b'{"noiseFilter": 1000}', 400),
    ("PATCH", f"{SOURCE}/settings", b'{"focus": 1}', 400),
    ("PUT", f"{SOURCE}/spots", b'[{"x": 160, "y": 0}]', 400),
    ("PUT", f"{SOURCE}/spots", b'[{"y":0,"x":' + b"[" * 30000 + b"]" * 30000 + b"}]", 400),
    ("PUT", f"{SOURCE}/spots", b" " * 70000, 413),
    ("DELETE", f"{SOURCE}/recording", b"", 409),
    ("GET", f"{SOURCE}/snapshot.png?range=warm", b"", 400),
    ("GET", f"/stream.mjpg?source={SERIAL}&range=40:20", b"", 400),
    ("POST", f"/stream.mjpg?source={SERIAL}", b"", 405),
    ("DELETE", "/api/v1/palettes", b"", 405),
    ("GET", "/api/v1/recordings/..%2fsecret.y4m", b"", 404),
]


def ask(host, port, method, path, body=b"", head=""):
    with socket.create_connection((host, port), timeout=20) as line:
        line.sendall(f"{method} {path} HTTP/1.1\r\nHost: {host}:{port}\r\nConnection: close\r\n{head}"
                     f"Content-Length: {len(body)}\r\n\r\n".encode() + body)
        return int(line.recv(4096).split()[1])


def wait_for_image(host, port):
    end = time.monotonic() + 20
    while ask(host, port, "GET", f"{SOURCE}/snapshot.csv") != 200 and time.monotonic() < end:
        time.sleep(0.2)


def check_refusals(host, port):
    for method, path, body, status in REFUSED:
        got = ask(host, port, method, path, body)
        assert got == status, f"{method} {path} {body[:40]}: {got}, not {status}"
    assert ask(host, port, "GET", "/api/v1/sources", head="Sec-Fetch-Site: cross-site\r\n") == 403


def memory_of(pid):
    with open(f"/proc/{pid}/statm", encoding="ascii") as numbers:
        return int(numbers.read().split()[1]) * os.sysconf("SC_PAGESIZE")


def check_bounds(host, port, pid):
    """What must not grow with what a client sends, nor keep others waiting."""
    with socket.create_connection((host, port), timeout=5) as line:
        line.sendall(f"PUT {SOURCE}/spots HTTP/1.1\r\nHost: {host}:{port}\r\n"
                     "Transfer-Encoding: chunked\r\n\r\n1;".encode())
        sent = 0
        try:
            while sent < 64 << 20:
                sent += line.send(b"a" * 65536)
        except OSError:
            pass
        assert sent < 64 << 20, "a request without end is read without end"
    crowd = [socket.create_connection((host, port), timeout=5) for _ in range(300)]
    answer = crowd[-1].recv(100)
    assert b" 429 " in answer, f"the 300th connection got {answer}"
    for line in crowd:
        line.close()
    wait_for_image(host, port)
    with socket.create_connection((host, port), timeout=5) as line:
        line.sendall((f"GET {FILM}/frames HTTP/1.1\r\nHost: {host}:{port}\r\nUpgrade: websocket\r\n"
                      "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n").encode())
        answer = line.recv(200)
        assert b" 101 " in answer, f"a viewer got {answer}"
        before = memory_of(pid)
        wish = b'{"seek":0,"step":[' + b"0," * 500 + b"0]}"
        wish = b"\x81\xfe" + len(wish).to_bytes(2, "big") + bytes(4) + wish
        line.settimeout(3)
        with contextlib.suppress(TimeoutError):  # held up: as it should be
            for _ in range(60):
                line.sendall(wish * 500)
        asked = time.monotonic()
        assert ask(host, port, "GET", f"{FILM}/snapshot.png") == 200
        waited, grown = time.monotonic() - asked, memory_of(pid) - before
        print(f"flood: an honest request waited {waited:.2f} s, memory grew {grown >> 20} MiB")
        assert waited < 5, "one viewer's wishes keep others waiting"
        assert grown < 32 << 20, "one viewer's wishes are kept without end"


def main():
    sim, zocam = sys.argv[1:3]
    seconds = float(sys.argv[3]) if len(sys.argv) > 3 else 10
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(1 << 32)
    print("seed", seed, flush=True)
    with tempfile.TemporaryDirectory() as top:
        folder = os.path.join(top, "films")
        os.mkdir(folder)
        film = os.path.join(folder, "film.y4m")
        subprocess.run([sim, "-c", "6103", "--", zocam, "record", "-o", film, "--frames", "12"],
                       check=True, capture_output=True)
        secret = os.path.join(top, "secret.y4m")
        os.rename(film, secret)
        with open(secret, "rb") as source, open(film, "wb") as copy:
            copy.write(source.read())
        # What the address sanitizer withholds from reuse is not the server's own growth.
        sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=4"
        server = subprocess.Popen(
            [sim, "-c", f"6103,serial={SERIAL}", "--", zocam, "serve", SERIAL, film, "--listen",
             "127.0.0.1:0", "--recordings", folder], stdout=subprocess.PIPE, text=True,
            start_new_session=True, env=os.environ | {"ASAN_OPTIONS": sanitizer})
        try:
            address = re.search(r"http://([\d.]+):(\d+)/", server.stdout.readline())
            host, port = address[1], int(address[2])
            wait_for_image(host, port)
            check_refusals(host, port)
            check_bounds(host, port, server.pid)
            end = time.monotonic() + seconds
            with concurrent.futures.ThreadPoolExecutor(WORKERS) as pool:
                workers = [pool.submit(fuzz, seed + i, host, port, end) for i in range(WORKERS)]
                asked = 0
                while time.monotonic() < end:
                    with urllib.request.urlopen(f"http://{host}:{port}/api/v1/sources", timeout=20) as answer:
                        assert len(json.load(answer)["sources"]) == 2
                    asked += 1
                    time.sleep(0.1)
                visits = sum(worker.result() for worker in workers)
            with urllib.request.urlopen(f"http://{host}:{port}/api/v1/sources", timeout=20) as answer:
                assert answer.status == 200
            server.send_signal(signal.SIGINT)
            status = server.wait(timeout=30)
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(server.pid, signal.SIGKILL)
        strays = [name for name in os.listdir(top) if name not in ("films", "secret.y4m")]
        assert not strays, f"written outside of the folder: {strays}"
        print(f"{visits} connections, {asked} honest requests answered, exit status {status}")
        sys.exit(status)


main()
