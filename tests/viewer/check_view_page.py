#!/usr/bin/env python3
"""The viewer in a real browser: `relief demo` writes view.html, headless
Chromium opens it, and the page must report itself ready without a script
error, within the time budget, with a canvas that is not blank and a crown
that covers the middle of the picture. An all-no-data field must give a page
that says "empty", and an unreadable input exit 2 with no page written.

Usage: check_view_page.py RELIEF_EXECUTABLE [--keep DIR]
Prints one line per check and 'N passed, N failed' at the end."""

import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import zlib

BACKGROUND = (0x1D, 0x20, 0x25)
WIDTH, HEIGHT = 1000, 750
READY_BUDGET_MS = 3000


def chromium():
    for name in ("chromium", "chromium-browser", "google-chrome"):
        path = shutil.which(name)
        if path:
            return path
    return None


def browser(args, page, profile):
    flags = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--enable-unsafe-swiftshader", "--use-angle=swiftshader", "--hide-scrollbars",
             "--window-size=%d,%d" % (WIDTH, HEIGHT), "--user-data-dir=" + profile]
    result = subprocess.run([chromium()] + flags + args + ["file://" + os.path.abspath(page)],
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=120)
    return result.stdout.decode("utf-8", "replace")


def body_attributes(dom):
    match = re.search(r"<body([^>]*)>", dom)
    return dict(re.findall(r'data-([a-z-]+)="([^"]*)"', match.group(1))) if match else {}


def read_png(path):
    """RGB(A) 8-bit non-interlaced PNG -> (width, height, channels, rows of bytes)."""
    with open(path, "rb") as f:
        data = f.read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
    pos, idat = 8, b""
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        chunk = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", chunk)
            assert depth == 8 and colour in (2, 6) and interlace == 0, "unexpected PNG kind"
            channels = 3 if colour == 2 else 4
        elif kind == b"IDAT":
            idat += chunk
        pos += 12 + length
    raw = zlib.decompress(idat)
    stride = width * channels
    rows, previous = [], bytearray(stride)
    for y in range(height):
        kind, line = raw[y * (stride + 1)], bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            a = line[i - channels] if i >= channels else 0
            b = previous[i]
            c = previous[i - channels] if i >= channels else 0
            if kind == 1:
                line[i] = (line[i] + a) & 255
            elif kind == 2:
                line[i] = (line[i] + b) & 255
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(line)
        previous = line
    return width, height, channels, rows


def foreground_fraction(png, box):
    width, height, channels, rows = png
    x0, y0, x1, y1 = box
    hits = total = 0
    for y in range(y0, y1, 2):
        row = rows[y]
        for x in range(x0, x1, 2):
            px = row[x * channels:x * channels + 3]
            total += 1
            hits += any(abs(px[k] - BACKGROUND[k]) > 12 for k in range(3))
    return hits / max(total, 1)


def main():
    if len(sys.argv) < 2:
        print(__doc__)
        return 2
    relief = os.path.abspath(sys.argv[1])
    if not chromium():
        print("chromium not found: install Debian's chromium package")
        print("0 passed, 1 failed")
        return 1
    work = tempfile.mkdtemp(prefix="relief-view-")
    results = []

    def check(name, ok, detail=""):
        results.append(ok)
        print("%s %s%s" % ("ok  " if ok else "FAIL", name, (": " + detail) if detail else ""))

    try:
        demo = os.path.join(work, "demo")
        subprocess.run([relief, "-q", "demo", "--out", demo], check=True)
        page = os.path.join(demo, "view.html")
        check("demo writes view.html", os.path.isfile(page))

        started = time.time()
        attrs = body_attributes(browser(["--dump-dom"], page, os.path.join(work, "profile-a")))
        check("page reports ready without a script error", attrs.get("status") == "ready",
              "status %r, error %r" % (attrs.get("status"), attrs.get("error")))
        ready = int(attrs.get("ready-ms", "999999"))
        check("page interactive within %d ms" % READY_BUDGET_MS, ready <= READY_BUDGET_MS,
              "ready after %d ms (%d triangles; browser run %.1f s)" %
              (ready, int(attrs.get("triangles", "0")), time.time() - started))

        shot = os.path.join(work, "demo.png")
        browser(["--screenshot=" + shot], page, os.path.join(work, "profile-b"))
        png = read_png(shot)
        whole = foreground_fraction(png, (0, 0, png[0], png[1]))
        middle = foreground_fraction(png, (png[0] * 2 // 5, png[1] * 2 // 5, png[0] * 3 // 5, png[1] * 3 // 5))
        check("canvas is not blank", whole > 0.05, "%.1f %% of the picture drawn" % (100 * whole))
        check("the crown covers the middle of the view", middle > 0.9, "%.1f %% of the middle" % (100 * middle))

        empty_field = os.path.join(work, "empty.npy")
        with open(empty_field, "wb") as f:  # a 4 x 3 float32 field of zeros: no data at all
            header = "{'descr': '<f4', 'fortran_order': False, 'shape': (3, 4), }"
            header += " " * (63 - len(header)) + "\n"
            f.write(b"\x93NUMPY\x01\x00" + struct.pack("<H", len(header)) + header.encode() + bytes(48))
        empty_page = os.path.join(work, "empty.html")
        code = subprocess.run([relief, "-q", "view", empty_field, "-o", empty_page]).returncode
        attrs = body_attributes(browser(["--dump-dom"], empty_page, os.path.join(work, "profile-c")))
        check("an all-no-data field gives a page that says empty",
              code == 0 and attrs.get("status") == "ready" and attrs.get("empty") == "1", "exit %d, %r" % (code, attrs))

        bad = os.path.join(work, "bad.ply")
        with open(bad, "wb") as f:
            f.write(b"ply\nformat binary_little_endian 1.0\nelement vertex 99\n")
        bad_page = os.path.join(work, "bad.html")
        run = subprocess.run([relief, "view", bad, "-o", bad_page], stderr=subprocess.PIPE)
        message = run.stderr.decode().strip()
        check("an unreadable input exits 2, names it on one line and writes no page",
              run.returncode == 2 and "bad.ply" in message and "\n" not in message and not os.path.exists(bad_page),
              "exit %d, %r" % (run.returncode, message))
    finally:
        if "--keep" in sys.argv:
            print("kept", work)
        else:
            shutil.rmtree(work, ignore_errors=True)
    passed = sum(results)
    print("%d passed, %d failed" % (passed, len(results) - passed))
    return 0 if passed == len(results) else 1


if __name__ == "__main__":
    sys.exit(main())
