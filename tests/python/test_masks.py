"""Chamfer distances against scipy.ndimage, and the thinning's invariants."""

import numpy as np
import pytest
from scipy import ndimage

import relief


def interior(shape):
    """Pixels outside the frame the chamfer clears: 4 columns left, 5 right,
    the first register row (4 rows) and the last two register rows."""
    rows, cols = shape
    keep = np.zeros(shape, bool)
    last = 4 * (((rows >> 2) + 1) - 2)
    keep[4:last, 4 : cols - 5] = True
    return keep


@pytest.mark.parametrize("shape", [(17, 31), (40, 40), (33, 50)])
def test_chamfer_single_source_against_scipy(shape, rng):
    mask = np.zeros(shape, bool)
    sy, sx = int(rng.integers(6, shape[0] - 8)), int(rng.integers(6, shape[1] - 8))
    mask[sy, sx] = True
    d = relief.chamfer(mask)
    keep = interior(shape)
    chess = ndimage.distance_transform_cdt(~mask, metric="chessboard").astype(np.float64)
    taxi = ndimage.distance_transform_cdt(~mask, metric="taxicab").astype(np.float64)
    # On the source's row and column every metric agrees: 3 per step.
    line = np.zeros(shape, bool)
    line[sy, :] = line[:, sx] = True
    np.testing.assert_array_equal(d[keep & line], 3 * taxi[keep & line])
    # Any chain of 3-4 steps is at least 3 per chessboard step and 2 per taxicab step.
    assert (d[keep] >= np.maximum(3 * chess[keep], 2 * taxi[keep]) - 1e-6).all()
    assert (d[~keep] == 0).all()


def test_chamfer_many_sources_bounds(rng):
    shape = (64, 72)
    mask = rng.random(shape) < 0.01
    d = relief.chamfer(mask.astype(np.uint8))
    keep = interior(shape)
    chess = ndimage.distance_transform_cdt(~mask, metric="chessboard")
    taxi = ndimage.distance_transform_cdt(~mask, metric="taxicab")
    assert (d[keep & mask] == 0).all()
    assert (d[keep] >= np.maximum(3 * chess[keep], 2 * taxi[keep])).all()
    # Where the nearest source is straight along a row or column, it is found.
    straight = keep & (chess == taxi)
    assert (d[straight] <= 3 * taxi[straight] + 1e-6).all()


def test_chamfer_without_sources_keeps_unknown():
    d = relief.chamfer(np.zeros((20, 20), np.float32))
    assert np.allclose(d[interior(d.shape)], 99999.9)


@pytest.mark.parametrize("shape", [(24, 40), (31, 17)])
def test_thinning_invariants(shape, rng):
    mask = np.zeros(shape, np.float32)
    mask[4:-4, 3:-3] = 1
    mask[rng.random(shape) < 0.03] = 0
    skeleton = relief.zhang_suen(mask)
    assert set(np.unique(skeleton)) <= {0.0, 1.0}
    s = skeleton > 0
    assert (s <= (mask > 0)).all(), "the skeleton lies inside the shape"
    assert s.sum() > 0 and s.sum() < 0.5 * (mask > 0).sum()
    assert not (s[0].any() or s[-1].any() or s[:, 0].any() or s[:, -1].any())
    # Thinning keeps the shape in one piece.
    eight = np.ones((3, 3), bool)
    assert ndimage.label(mask > 0, eight)[1] == 1
    assert ndimage.label(s, eight)[1] == 1


def test_thinning_keeps_a_line_and_its_ends():
    mask = np.zeros((12, 20), np.float32)
    mask[6, 3:17] = 5.0
    skeleton = relief.zhang_suen(mask, threshold=1.0)
    np.testing.assert_array_equal(skeleton, (mask > 1).astype(np.float32))
    assert not relief.zhang_suen(mask, threshold=5.0).any()
    assert not relief.zhang_suen(np.ones((2, 9), np.float32)).any()
