"""Point sets and polygons, checked by invariants and by scipy where it answers the same question."""

import warnings

import numpy as np
import pytest
from scipy.spatial import ConvexHull

import relief


def point_sets(rng):
    """Named adversarial inputs: uniform, clustered, far from the origin, a
    jittered grid (nearly cocircular quadruples)."""
    uniform = rng.uniform(0, 100, (200, 2))
    clustered = np.vstack([rng.normal(c, 2.0, (40, 2)) for c in ((20, 20), (70, 30), (40, 80))])
    far = rng.uniform(0, 50, (120, 2)) + 5000.0
    gy, gx = np.mgrid[0:12, 0:12]
    grid = np.column_stack([gx.ravel(), gy.ravel()]) * 5.0 + rng.uniform(-0.05, 0.05, (144, 2))
    return {"uniform": uniform, "clustered": clustered, "far": far, "grid": grid}


def signed_areas(p, tris):
    a, b, c = p[tris[:, 0]], p[tris[:, 1]], p[tris[:, 2]]
    return 0.5 * ((b[:, 0] - a[:, 0]) * (c[:, 1] - a[:, 1]) - (c[:, 0] - a[:, 0]) * (b[:, 1] - a[:, 1]))


def first_circle_violation(p, tris, slack):
    """The first triangle with an input point strictly inside its circumcircle
    by more than slack, or None."""
    for i, (a, b, c) in enumerate(p[tris]):
        d = 2 * (a[0] * (b[1] - c[1]) + b[0] * (c[1] - a[1]) + c[0] * (a[1] - b[1]))
        ux = ((a @ a) * (b[1] - c[1]) + (b @ b) * (c[1] - a[1]) + (c @ c) * (a[1] - b[1])) / d
        uy = ((a @ a) * (c[0] - b[0]) + (b @ b) * (a[0] - c[0]) + (c @ c) * (b[0] - a[0])) / d
        r = np.hypot(a[0] - ux, a[1] - uy)
        dist = np.hypot(p[:, 0] - ux, p[:, 1] - uy)
        inside = np.nonzero(dist < r - slack)[0]
        if len(inside):
            return f"triangle {i} {tris[i]} holds point {inside[0]}"
    return None


@pytest.mark.parametrize("name", ["uniform", "clustered", "far", "grid"])
def test_delaunay_invariants(name, rng):
    p32 = point_sets(rng)[name].astype(np.float32)
    p = p32.astype(np.float64)
    tris = relief.delaunay(p32)
    assert tris.dtype == np.int32 and tris.shape[1] == 3
    assert (signed_areas(p, tris) > 0).all(), "every triangle counter-clockwise"
    hull = ConvexHull(p)
    assert signed_areas(p, tris).sum() == pytest.approx(hull.volume, rel=1e-6), "the triangles tile the hull"
    assert len(np.unique(tris)) == len(p), "every point is a corner"
    assert len(tris) == 2 * len(p) - 2 - len(hull.vertices)
    # The library's circumcircles are float: allow a few float steps of the coordinates.
    assert first_circle_violation(p, tris, 1e-5 * np.abs(p).max()) is None


def test_delaunay_bad_input():
    with pytest.raises(ValueError, match="one line"):
        relief.delaunay([[0, 0], [1, 1], [2, 2], [5, 5]])
    # The first three points may be collinear; the start triangle is chosen.
    assert len(relief.delaunay([[0, 0], [1, 0], [2, 0], [1, 3]])) == 2
    # Repeated points: only the first occurrence is a corner.
    square = [[0, 0], [10, 0], [0, 10], [10, 10], [5, 5], [5, 5], [10, 0]]
    with warnings.catch_warnings():
        warnings.simplefilter("error")  # repeats are documented, not lost
        assert set(relief.delaunay(square).ravel()) == {0, 1, 2, 3, 4}
    assert sorted(relief.convex_hull_2d(square)) == [0, 2, 3, 6]
    # Beyond a span of 1e12 the float circles overflow: refused, not thinned out.
    with pytest.raises(ValueError, match="span more than 1e12"):
        relief.delaunay([[0, 0], [2e12, 0], [0, 1], [1, 1]])
    assert len(relief.delaunay(np.array([[0, 0], [1, 0], [0, 1], [1, 1]]) * 1e12)) == 2


@pytest.mark.parametrize("offset", [(0.0, 0.0), (2e5, 1e5)])
def test_delaunay_warns_of_lost_points(offset):
    # A long line of points with one apex each side: the fans' float
    # circumcircles lose points near the line's end, which must be said.
    line = np.column_stack([np.arange(1500) * 2.0, np.zeros(1500)])
    p = np.vstack([line, [[1500.0, 50.0], [1500.0, -50.0]]]) + offset
    with pytest.warns(RuntimeWarning, match=r"delaunay: (\d+) of 1502 points are in no triangle") as record:
        tris = relief.delaunay(p)
    lost = int(str(record[0].message).split()[1])
    assert lost == len(p) - len(np.unique(tris)) > 0


@pytest.mark.parametrize("name", ["uniform", "clustered", "far"])
def test_hull_2d_contains_every_point(name, rng):
    p32 = point_sets(rng)[name].astype(np.float32)
    p = p32.astype(np.float64)
    h = relief.convex_hull_2d(p32)
    ring = p[h]
    edges = np.roll(ring, -1, axis=0) - ring
    # Every point lies left of (or on) every edge of the counter-clockwise ring.
    rel = p[None, :, :] - ring[:, None, :]
    cross = edges[:, None, 0] * rel[:, :, 1] - edges[:, None, 1] * rel[:, :, 0]
    assert (cross >= -1e-3).all()
    assert p[h[0], 1] == p[:, 1].min(), "the ring starts at the lowest point"
    assert set(h) == set(ConvexHull(p).vertices)


def test_hull_2d_small_inputs():
    assert list(relief.convex_hull_2d([[3, 4]])) == [0]
    assert list(relief.convex_hull_2d([[0, 0], [1, 1], [2, 2], [3, 3]])) == [0, 3], "collinear: the two ends"
    assert sorted(relief.convex_hull_2d([[0, 0], [4, 0], [2, 1], [4, 4], [0, 4], [2, 2]])) == [0, 1, 3, 4]


def test_hull_3d_contains_every_point(rng):
    # Tenths are exact on the hull's integer grid, so scipy sees the same points.
    p = np.round(rng.normal(0, 30, (300, 3)), 1).astype(np.float32)
    faces = relief.convex_hull_3d(p)
    q = p.astype(np.float64)
    a, b, c = q[faces[:, 0]], q[faces[:, 1]], q[faces[:, 2]]
    n = np.cross(b - a, c - a)
    # Outward faces: no point lies beyond any face plane.
    beyond = np.einsum("fk,fpk->fp", n, q[None, :, :] - a[:, None, :])
    assert (beyond <= 1e-6 * np.abs(n).max()).all()
    assert set(np.unique(faces)) == set(ConvexHull(q).vertices)
    assert len(faces) == 2 * len(np.unique(faces)) - 4, "a closed triangulated convex surface"


def test_hull_3d_degenerate_input():
    square = [[0, 0, 0], [10, 0, 0], [10, 10, 0], [0, 10, 0], [5, 5, 0]]
    with pytest.raises(ValueError, match="plane"):
        relief.convex_hull_3d(square)
    with pytest.raises(ValueError, match="four distinct"):
        relief.convex_hull_3d([[0, 0, 0], [0.01, 0, 0], [1, 0, 0], [0, 1, 0]])


def star_polygon(rng, n):
    angles = np.sort(rng.uniform(0, 2 * np.pi, n))
    radii = rng.uniform(20, 50, n)
    return np.column_stack([radii * np.cos(angles), radii * np.sin(angles)]) + 60


@pytest.mark.parametrize("n", [3, 4, 5, 7, 17, 31, 129])
@pytest.mark.parametrize("clockwise", [False, True])
def test_polygon_triangulation_tiles_the_polygon(n, clockwise, rng):
    poly = star_polygon(rng, n)
    if clockwise:
        poly = poly[::-1]
    poly32 = poly.astype(np.float32)
    tris = relief.triangulate_polygon(poly32)
    assert tris.shape == (n - 2, 3)
    q = poly32.astype(np.float64)
    area = 0.5 * np.sum(q[:, 0] * np.roll(q[:, 1], -1) - np.roll(q[:, 0], -1) * q[:, 1])
    parts = signed_areas(q, tris)
    assert (parts > 0).all(), "triangles come out counter-clockwise"
    assert parts.sum() == pytest.approx(abs(area), rel=1e-6)


@pytest.mark.parametrize("repeats", [["closing"], ["doubled"], ["closing", "doubled", "tripled"]])
def test_polygon_triangulation_counts_repeated_corners_once(repeats, rng):
    # Outlines from files often close on their first point or double a corner.
    poly = star_polygon(rng, 12).astype(np.float32)
    rows, dropped = list(range(12)), []
    if "doubled" in repeats:
        rows.insert(6, 5)
    if "tripled" in repeats:
        rows[9:9] = [8, 8]
    if "closing" in repeats:
        rows.append(0)
    dropped = [i for i in range(1, len(rows)) if rows[i] == rows[i - 1]] + ([len(rows) - 1] if rows[-1] == 0 else [])
    tris = relief.triangulate_polygon(poly[rows])
    assert tris.shape == (10, 3)
    assert not np.isin(tris, dropped).any(), "a triangle uses a repeat, not the first of its run"
    q = poly.astype(np.float64)
    area = 0.5 * np.sum(q[:, 0] * np.roll(q[:, 1], -1) - np.roll(q[:, 0], -1) * q[:, 1])
    assert signed_areas(poly[rows].astype(np.float64), tris).sum() == pytest.approx(area, rel=1e-6)
    with pytest.raises(ValueError, match="fewer than 3 distinct corners"):
        relief.triangulate_polygon(np.float32([[1, 1], [1, 1], [2, 2], [2, 2], [1, 1]]))


@pytest.mark.parametrize("scale", [1e-3, 1.0, 1e3])
def test_polygon_triangulation_does_not_depend_on_units(scale):
    # A dense lobed outline with radial dropouts, as a scanned margin line in
    # millimetres has it (points 1.6 microns apart): simple, but its doubled
    # areas lie far below the clipper's absolute tolerance unless scaled.
    rng = np.random.default_rng(7)
    n = 20000
    a = 2 * np.pi * np.arange(n) / n
    r = 5 + 0.8 * np.sin(3 * a) + 0.3 * np.sin(11 * a) + rng.normal(0, 2e-4, n)
    r -= np.where(rng.random(n) < 0.02, rng.uniform(0, 0.5, n), 0)
    poly = (scale * np.column_stack([r * np.cos(a), r * np.sin(a)]) + 7 * scale).astype(np.float32)
    tris = relief.triangulate_polygon(poly)
    assert tris.shape == (n - 2, 3)
    q = poly.astype(np.float64)
    area = 0.5 * np.sum(q[:, 0] * np.roll(q[:, 1], -1) - np.roll(q[:, 0], -1) * q[:, 1])
    assert signed_areas(q, tris).sum() == pytest.approx(area, rel=1e-6)


def crossing_reference(poly, shape):
    """Even-odd test at every pixel centre: an edge counts when it straddles x
    half-open and passes strictly above the point (ray toward +y)."""
    rows, cols = shape
    Y, X = np.mgrid[0:rows, 0:cols].astype(np.float64)
    inside = np.zeros(shape, bool)
    n = len(poly)
    for i in range(n):
        cur, prev = poly[i], poly[i - 1]
        a, b = (cur, prev) if cur[0] <= prev[0] else (prev, cur)
        straddle = ((cur[0] < X) & (X <= prev[0])) | ((prev[0] < X) & (X <= cur[0]))
        above = (b[1] - a[1]) * (X - a[0]) > (b[0] - a[0]) * (Y - a[1])
        inside ^= straddle & above
    lo, hi = poly.min(0), poly.max(0)
    return inside & (X >= lo[0]) & (X <= hi[0]) & (Y >= lo[1]) & (Y <= hi[1])


def test_fill_polygon_matches_crossing_reference(rng):
    for _ in range(5):
        poly = (star_polygon(rng, int(rng.integers(5, 40))) * 0.8).astype(np.float32)
        shape = (120, 110)
        filled = relief.fill_polygon(poly, shape, value=2.5)
        expected = crossing_reference(poly.astype(np.float64), shape)
        np.testing.assert_array_equal(filled, np.where(expected, 2.5, 0).astype(np.float32))
