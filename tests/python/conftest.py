"""Shared fixtures of the Python tests, and where the relief package is found."""

import os
import sys
import zlib
from pathlib import Path

import numpy as np
import pytest

_ROOT = Path(__file__).resolve().parents[2]

# RELIEF_PYTHON_DIR (a build tree's python/ folder) wins; otherwise an
# installed relief, else this checkout's build/release/python.
_explicit = os.environ.get("RELIEF_PYTHON_DIR")
if _explicit:
    sys.path.insert(0, _explicit)
else:
    try:
        import relief  # noqa: F401
    except ImportError:
        sys.path.insert(0, str(_ROOT / "build" / "release" / "python"))


@pytest.fixture
def rng(request):
    """A seeded generator; the seed is printed when a test fails."""
    seed = zlib.crc32(request.node.name.encode())
    print(f"seed {seed}")
    return np.random.default_rng(seed)


def scan(rows, cols, rng, holes=True):
    """A synthetic scan: a smooth crown of heights 50..90 inside an ellipse, 0 outside, a few holes."""
    y, x = np.mgrid[0:rows, 0:cols].astype(np.float64)
    cy, cx = (rows - 1) / 2, (cols - 1) / 2
    r2 = ((y - cy) / (0.45 * rows)) ** 2 + ((x - cx) / (0.45 * cols)) ** 2
    field = 50 + 40 * np.clip(1 - r2, 0, 1) + 3 * np.sin(x / 5) * np.cos(y / 7)
    field[r2 > 1] = 0
    if holes:
        for _ in range(3):
            hy, hx = rng.integers(0, rows), rng.integers(0, cols)
            field[max(0, hy - 1) : hy + 2, max(0, hx - 1) : hx + 2] = 0
    return field.astype(np.float32)
