"""Height field -> mesh -> height field, the adaptive mesh, and files."""

import pickle

import numpy as np
import pytest
from conftest import scan

import relief


def reference_mesh(field, threshold=0.0, above=True, step=1):
    """A plain rebuild of the cell rule: four valid corners give two triangles
    split on the (x, y)-(x+1, y+1) diagonal, three valid corners one."""
    rows, cols = field.shape
    ys, xs = range(0, rows - step, step), range(0, cols - step, step)
    valid = field > threshold if above else field < threshold
    tris = []
    for y in ys:
        for x in xs:
            x1, y1 = x + step, y + step
            p = {
                "00": (x, y, field[y, x]),
                "01": (x, y1, field[y1, x]),
                "10": (x1, y, field[y, x1]),
                "11": (x1, y1, field[y1, x1]),
            }
            m0 = valid[y, x] | (valid[y1, x] << 1)
            m1 = valid[y, x1] | (valid[y1, x1] << 1)
            cases = {
                (3, 3): [("00", "11", "01"), ("00", "10", "11")],
                (3, 1): [("00", "10", "01")],
                (3, 2): [("00", "11", "01")],
                (1, 3): [("00", "10", "11")],
                (2, 3): [("10", "11", "01")],
            }
            for t in cases.get((int(m0), int(m1)), []):
                tris.append([p[k] for k in t])
    return np.array(tris, np.float32).reshape(-1, 3, 3)


def sorted_triangles(t):
    flat = t.reshape(len(t), 9)
    return flat[np.lexsort(flat.T[::-1])]


@pytest.mark.parametrize("shape", [(2, 2), (3, 5), (4, 4), (7, 9), (8, 17), (17, 31)])
@pytest.mark.parametrize("threshold, above", [(0.0, True), (55.0, True), (70.0, False)])
@pytest.mark.filterwarnings("ignore:mesh_from_height_field. empty mesh")  # a tiny field may hold no cell
def test_mesh_matches_cell_rule(shape, threshold, above, rng):
    field = scan(*shape, rng) if min(shape) > 4 else rng.uniform(40, 90, shape).astype(np.float32)
    field[rng.random(shape) < 0.15] = 0
    mesh = relief.mesh_from_height_field(field, threshold, above)
    expected = reference_mesh(field, threshold, above)
    assert len(mesh) == len(expected)
    np.testing.assert_array_equal(sorted_triangles(mesh.triangles), sorted_triangles(expected))


@pytest.mark.parametrize("step", [2, 3])
def test_subsampled_mesh_matches_cell_rule(step, rng):
    field = scan(23, 29, rng)
    mesh = relief.mesh_from_height_field(field, step=step)
    np.testing.assert_array_equal(
        sorted_triangles(mesh.triangles), sorted_triangles(reference_mesh(field, step=step))
    )


def test_views_agree(rng):
    field = scan(33, 41, rng)
    mesh = relief.mesh_from_height_field(field, scale=(0.5, 0.25, 2.0))
    t = mesh.triangles
    # Scaled as the tool scales: x sx, y sy, z sz on the unit-scale corners.
    unit = relief.mesh_from_height_field(field).triangles
    np.testing.assert_array_equal(t, unit * np.float32([0.5, 0.25, 2.0]))
    v, f = mesh.vertices, mesh.faces
    np.testing.assert_array_equal(v[f], t)
    assert len(np.unique(v, axis=0)) == len(v), "indexed vertices must be distinct"
    assert f.dtype == np.int32 and f.max() == len(v) - 1
    v[:], f[:] = 0, 0  # the caller's own copies
    np.testing.assert_array_equal(mesh.vertices[mesh.faces], t)
    n = np.cross(t[:, 1] - t[:, 0], t[:, 2] - t[:, 0]).astype(np.float64)
    n /= np.linalg.norm(n, axis=1, keepdims=True)
    np.testing.assert_allclose(mesh.normals, n, atol=1e-6)
    np.testing.assert_array_equal(mesh.bounds, [t.reshape(-1, 3).min(0), t.reshape(-1, 3).max(0)])
    assert mesh.scale == (0.5, 0.25, 2.0)


def test_empty_mesh_and_mesh_from_arrays(rng):
    empty = relief.mesh_from_height_field(np.zeros((6, 6), np.float32))
    assert len(empty) == 0 and np.isnan(empty.bounds).all() and empty.faces.shape == (0, 3)
    with pytest.raises(ValueError, match="empty"):
        relief.rasterize(empty, 1.0)
    below = np.full((5, 5), -30.0, np.float32)  # an elevation model under sea level
    with pytest.warns(RuntimeWarning, match=r"empty mesh; 25 pixel\(s\) hold heights from -30 to -30 .*lower threshold"):
        assert len(relief.mesh_from_height_field(below)) == 0
    assert len(relief.mesh_from_height_field(below, threshold=-100)) == 32
    for call in (relief.mesh_from_height_field, relief.zhang_suen):  # NaN used to give an empty result
        with pytest.raises(ValueError, match="threshold"):
            call(np.ones((4, 4)), threshold=float("nan"))
    t = rng.uniform(0, 10, (20, 3, 3)).astype(np.float32)
    m = relief.Mesh(t)
    np.testing.assert_array_equal(m.triangles, t)
    np.testing.assert_array_equal(relief.Mesh(t.reshape(20, 9)).triangles, t)
    np.testing.assert_array_equal(pickle.loads(pickle.dumps(m)).triangles, t)
    with pytest.raises(ValueError, match="shape"):
        relief.Mesh(np.zeros((4, 3), np.float32))


def test_round_trip_never_lowers_max_and_never_raises_min(rng):
    field = scan(64, 80, rng, holes=False)
    mesh = relief.mesh_from_height_field(field)
    lo = mesh.bounds[0]
    for mode, sign in (("max", 1), ("min", -1)):
        back = relief.rasterize(mesh, 1.0, mode=mode)
        # Cell (c, r) lies at bounds[0, :2] + (c, r): pixel (c + x0, r + y0).
        x0, y0 = int(lo[0]), int(lo[1])
        assert back.shape == (int(mesh.bounds[1, 1] - lo[1] + 0.5), int(mesh.bounds[1, 0] - lo[0] + 0.5))
        window = field[y0 : y0 + back.shape[0], x0 : x0 + back.shape[1]]
        both = (back != 0) & (window != 0)
        assert both.sum() > 0.8 * (window != 0).sum()
        # Away from the rim (pixels whose 3 x 3 neighbourhood holds data, not on
        # the raster's outermost ring, which takes only its neighbours' crosses):
        # keeping the maximum never lowers a height, the minimum never raises one.
        inner = both.copy()
        for dy in (-1, 0, 1):
            for dx in (-1, 0, 1):
                inner &= np.roll(window, (dy, dx), (0, 1)) != 0
        inner[0, :] = inner[-1, :] = inner[:, 0] = inner[:, -1] = False
        both = inner
        assert (sign * (back[both] - window[both]) >= -1e-4).all()
        # Neither rises above (below) the mesh's own extremes.
        assert (back[both] <= mesh.bounds[1, 2]).all() and (back[both] >= mesh.bounds[0, 2]).all()
    with pytest.raises(ValueError, match="mode"):
        relief.rasterize(mesh, 1.0, mode="mean")
    with pytest.raises(ValueError, match="resolution"):
        relief.rasterize(mesh, -1.0)
    for not_a_number in (lambda: relief.rasterize(mesh, "fine"), lambda: relief.Mesh(mesh.triangles, (1, None, 1))):
        with pytest.raises(TypeError):
            not_a_number()


def interpolate(triangles, shape):
    """Linear interpolation of every triangle at the pixel centres it covers."""
    out = np.zeros(shape)
    for t in triangles.astype(np.float64):
        (x0, y0, z0), (x1, y1, z1), (x2, y2, z2) = t
        area = (x1 - x0) * (y2 - y0) - (x2 - x0) * (y1 - y0)
        if area == 0:
            continue
        xs = np.arange(max(0, int(np.ceil(t[:, 0].min()))), min(shape[1] - 1, int(np.floor(t[:, 0].max()))) + 1)
        ys = np.arange(max(0, int(np.ceil(t[:, 1].min()))), min(shape[0] - 1, int(np.floor(t[:, 1].max()))) + 1)
        X, Y = np.meshgrid(xs, ys)
        b1 = ((X - x0) * (y2 - y0) - (x2 - x0) * (Y - y0)) / area
        b2 = ((x1 - x0) * (Y - y0) - (X - x0) * (y1 - y0)) / area
        b0 = 1 - b1 - b2
        inside = (b0 >= -1e-9) & (b1 >= -1e-9) & (b2 >= -1e-9)
        out[Y[inside], X[inside]] = (b0 * z0 + b1 * z1 + b2 * z2)[inside]
    return out


def test_refine_reports_its_own_error(rng):
    field = scan(48, 56, rng)
    result = relief.refine(field, 1.0, seed_spacing=8)
    mesh, max_error, rms_error = result
    assert len(mesh) > 0 and result.points >= 3
    surface = interpolate(mesh.triangles, field.shape)
    both = (surface != 0) & (field != 0)
    d = surface[both] - field[both]
    assert result.compared == both.sum()
    assert max_error == pytest.approx(np.abs(d).max(), abs=1e-4)
    assert rms_error == pytest.approx(np.sqrt((d**2).mean()), abs=1e-4)
    # Every triangle has its corners on valid pixels.
    corners = mesh.triangles.reshape(-1, 3)
    assert (corners[:, 2] != 0).all()
    # A smaller tolerance never needs fewer triangles here.
    assert len(relief.refine(field, 0.25, seed_spacing=8).mesh) >= len(mesh)
    # A Raster gives the same result.
    np.testing.assert_array_equal(relief.refine(relief.Raster(field), 1.0, seed_spacing=8).mesh.triangles, mesh.triangles)
    # Pickled (as Dask sends results), a Raster and a Refinement keep everything.
    raster, back = pickle.loads(pickle.dumps((relief.Raster(field), result)))
    np.testing.assert_array_equal(raster.to_numpy(), field)
    np.testing.assert_array_equal(back.mesh.triangles, mesh.triangles)
    assert (back.max_error, back.rms_error, back.points, back.compared) == (max_error, rms_error, result.points, both.sum())


def test_refine_bad_input():
    line = np.zeros((10, 10), np.float32)
    line[4, :] = 5
    with pytest.raises(ValueError, match="nothing to triangulate"):
        relief.refine(line, 0.5)
    with pytest.raises(ValueError, match="tolerance"):
        relief.refine(np.ones((10, 10), np.float32), 0.0)
    with pytest.raises(ValueError, match="threads"):
        relief.refine(np.ones((10, 10), np.float32), 0.5, threads=0)


@pytest.mark.parametrize(
    "kwargs, message",
    [
        ({"scale": (0, 1, 1)}, "scale: must be a positive number"),
        ({"scale": (1, -1, 1)}, "scale: must be a positive number"),
        ({"scale": (1, 1, 3e38)}, "scale z .* overflow the float range"),  # used to give corners of inf
        ({"step": 0}, r"step: must be 1 \.\. 4096"),
        ({"step": 2**31 - 1}, r"step: must be 1 \.\. 4096"),  # used to overflow the band size
    ],
)
def test_mesh_arguments_are_checked_like_the_tool(kwargs, message):
    field = np.full((6, 6), 2.0, np.float32)
    with pytest.raises(ValueError, match=message):
        relief.mesh_from_height_field(field, **kwargs)
    if "scale" in kwargs:
        with pytest.raises(ValueError, match=message):
            relief.refine(field, max_error=1, **kwargs)


def test_refine_tiles_on_threads():
    # Wider than one tile (2048 pixels): three tiles, refined one or three at once.
    x = np.arange(4200, dtype=np.float32)
    field = np.repeat((50 + 3 * np.sin(x / 5))[None, :], 16, axis=0)
    one, three = relief.refine(field, 1.0), relief.refine(field, 1.0, threads=3)
    np.testing.assert_array_equal(three.mesh.triangles, one.mesh.triangles)


@pytest.mark.parametrize("ext", [".npy", ".tif", ".rsm", ".png"])
def test_height_field_files(ext, tmp_path, rng):
    field = scan(21, 34, rng)
    path = tmp_path / f"scan{ext}"
    relief.save_height_field(path, field)
    back = relief.load_height_field(path)
    if ext == ".png":  # 16-bit steps of max / 65535
        np.testing.assert_allclose(back, field, atol=field.max() / 65535)
    else:
        np.testing.assert_array_equal(back, field)


@pytest.mark.parametrize("ext", [".ply", ".stl", ".rmesh"])
def test_mesh_files(ext, tmp_path, rng):
    mesh = relief.mesh_from_height_field(scan(19, 23, rng), scale=(0.5, 0.5, 1.0))
    path = tmp_path / f"mesh{ext}"
    assert relief.save_mesh(path, mesh) == len(mesh)
    back = relief.load_mesh(path)
    np.testing.assert_array_equal(back.triangles, mesh.triangles)
    if ext == ".rmesh":
        assert back.scale == (0.5, 0.5, 1.0)


def test_file_errors(tmp_path):
    with pytest.raises(FileNotFoundError):
        relief.load_height_field(tmp_path / "missing.npy")
    with pytest.raises(FileNotFoundError):
        relief.load_mesh(tmp_path / "missing.ply")
    with pytest.raises(IsADirectoryError, match="is a folder"):
        relief.load_mesh(tmp_path)
    corrupt = tmp_path / "corrupt.npy"
    corrupt.write_bytes(b"\x93NUMPY garbage")
    with pytest.raises(ValueError, match="corrupt.npy"):
        relief.load_height_field(corrupt)
    broken = tmp_path / "broken.stl"
    broken.write_bytes(b"\0" * 84 + b"\1" * 10)
    with pytest.raises(ValueError, match="broken.stl"):
        relief.load_mesh(broken)
    with pytest.raises(FileNotFoundError, match="cannot create output"):
        relief.save_height_field(tmp_path / "no" / "field.npy", np.ones((3, 3), np.float32))
    with pytest.raises(ValueError, match="extension"):
        relief.save_height_field(tmp_path / "field.xyz", np.ones((3, 3), np.float32))
    with pytest.raises(ValueError, match="9 heights are negative .* write .tif or .npy"):  # were written as no data
        relief.save_height_field(tmp_path / "below.png", np.full((3, 3), -20, np.float32))
