"""refine(field, max_error=E): the bound checked pixel by pixel by barycentric interpolation in numpy."""

import numpy as np
import pytest
from conftest import scan

import relief


def interpolate_at_pixels(vertices, faces, shape):
    """Every pixel centre (x = column, y = row) -> heights of the triangles covering it.

    Returns (lowest, highest) interpolated height per pixel (NaN where no triangle covers it).
    """
    rows, cols = shape
    low = np.full(shape, np.inf)
    high = np.full(shape, -np.inf)
    v = vertices.astype(np.float64)
    for a, b, c in faces:
        (x0, y0, z0), (x1, y1, z1), (x2, y2, z2) = v[a], v[b], v[c]
        area = (x1 - x0) * (y2 - y0) - (x2 - x0) * (y1 - y0)
        if area == 0:
            continue
        xa, xb = int(np.floor(min(x0, x1, x2))), int(np.ceil(max(x0, x1, x2)))
        ya, yb = int(np.floor(min(y0, y1, y2))), int(np.ceil(max(y0, y1, y2)))
        xa, ya, xb, yb = max(xa, 0), max(ya, 0), min(xb, cols - 1), min(yb, rows - 1)
        py, px = np.mgrid[ya : yb + 1, xa : xb + 1].astype(np.float64)
        w1 = ((px - x0) * (y2 - y0) - (x2 - x0) * (py - y0)) / area
        w2 = ((x1 - x0) * (py - y0) - (px - x0) * (y1 - y0)) / area
        w0 = 1 - w1 - w2
        inside = (w0 >= -1e-9) & (w1 >= -1e-9) & (w2 >= -1e-9)
        z = w0 * z0 + w1 * z1 + w2 * z2
        window_low, window_high = low[ya : yb + 1, xa : xb + 1], high[ya : yb + 1, xa : xb + 1]
        window_low[inside] = np.minimum(window_low[inside], z[inside])
        window_high[inside] = np.maximum(window_high[inside], z[inside])
    low[np.isinf(low)] = np.nan
    high[np.isinf(high)] = np.nan
    return low, high


def field_with_holes(rng, rows=29, cols=37):
    field = scan(rows, cols, rng) + rng.normal(0, 0.3, (rows, cols)).astype(np.float32) * (scan(rows, cols, rng) > 0)
    field[5, 6] = np.nan  # read as no data
    return field.astype(np.float32)


@pytest.mark.parametrize("max_error", [0.0, 0.4, 2.0])
def test_every_valid_pixel_lies_within_the_bound(max_error, rng):
    field = field_with_holes(rng)
    valid = np.isfinite(field) & (field != 0)
    result = relief.refine(field, max_error=max_error)
    mesh = result.mesh
    vertices, faces = mesh.vertices, mesh.faces
    low, high = interpolate_at_pixels(vertices, faces, field.shape)
    uncovered = valid & np.isnan(low)
    assert not uncovered.any(), f"valid pixels no triangle covers: {np.argwhere(uncovered)[:5].tolist()}"
    worst = np.maximum(np.abs(high - field), np.abs(low - field))[valid]
    slack = 1e-4 * max(1.0, float(np.abs(field[valid]).max()))
    assert worst.max() <= max_error + slack, f"pixel {np.argwhere(valid)[worst.argmax()]} off by {worst.max()}"
    # The figures are the library's; they agree with the independent measure.
    assert result.max_error <= max_error + slack and not result.stopped_by_limit
    assert result.max_error == pytest.approx(worst.max(), abs=slack)
    errors = (low - field)[valid]
    assert result.rms_error == pytest.approx(np.sqrt(np.mean(errors.astype(np.float64) ** 2)), rel=1e-3, abs=1e-5)
    assert result.compared == valid.sum() and result.uncovered == 0 and result.points == len(vertices)
    # Indexed: the mesher's own points, each used, counter-clockwise seen from above, on pixel centres.
    np.testing.assert_array_equal(mesh.triangles, vertices[faces])
    assert np.unique(faces).tolist() == list(range(len(vertices)))
    p0, p1, p2 = (vertices[faces[:, k], :2].astype(np.float64) for k in range(3))
    cross = (p1 - p0)[:, 0] * (p2 - p0)[:, 1] - (p1 - p0)[:, 1] * (p2 - p0)[:, 0]
    assert (cross > 0).all()
    xy = vertices[:, :2].astype(int)
    np.testing.assert_array_equal(vertices[:, :2], xy)
    assert valid[xy[:, 1], xy[:, 0]].any()
    if max_error == 0.0:
        np.testing.assert_allclose(high[valid], field[valid], atol=slack)


def test_limits_scale_and_raster_input(rng):
    field = field_with_holes(rng)
    limited = relief.refine(field, max_error=0.0, max_triangles=40, max_points=1000)
    assert len(limited.mesh) <= 40 and limited.stopped_by_limit and limited.max_error > 0
    assert relief.refine(field, max_error=0.0, max_points=12).points <= 12
    plain = relief.refine(field, max_error=0.5)
    scaled = relief.refine(relief.Raster(field), max_error=0.5, scale=(0.5, 0.25, 2.0))
    np.testing.assert_array_equal(scaled.mesh.faces, plain.mesh.faces)
    np.testing.assert_allclose(scaled.mesh.vertices, plain.mesh.vertices * [0.5, 0.25, 2.0], rtol=1e-6)
    assert scaled.mesh.scale == (0.5, 0.25, 2.0) and scaled.max_error == plain.max_error
    mesh, max_error, rms_error = plain
    assert max_error == plain.max_error and len(mesh) == len(plain.mesh)


def test_argument_errors():
    field = np.ones((9, 9), np.float32)
    for kwargs, match in [
        ({"tolerance": 0.5, "max_error": 0.5}, "either"),
        ({}, "needs"),
        ({"max_error": -1.0}, "max_error"),
        ({"max_error": float("nan")}, "max_error"),
        ({"max_error": 0.5, "max_triangles": 1}, "max_triangles"),
        ({"max_error": 0.5, "max_points": 3}, "max_points"),
        ({"max_error": 0.5, "scale": (1, 1)}, "scale"),
        ({"max_error": 0.5, "passes": 3}, "tolerance mode"),
        ({"tolerance": 0.5, "max_points": 9}, "max_error mode"),
    ]:
        with pytest.raises(ValueError, match=match):
            relief.refine(field, **kwargs)
    line = np.zeros((9, 9), np.float32)
    line[4, :] = 1
    with pytest.raises(ValueError, match="cannot mesh"):
        relief.refine(line, max_error=0.1)
