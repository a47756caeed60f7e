"""Viewer and view(): self-contained pages naming their layers."""

import numpy as np
import pytest
from conftest import scan

import relief


def test_viewer_page_holds_every_layer(tmp_path, rng):
    field = scan(24, 30, rng)
    result = relief.refine(field, max_error=0.5)
    viewer = relief.Viewer(title="crown check", triangle_limit=5000)
    assert viewer.add_mesh(result.mesh, "adaptive mesh", colour=0x3366CC) == 0
    assert viewer.add_height_field(field, "scan surface", scale=(0.1, 0.1, 0.01)) == 1
    error = np.abs(relief.box_mean(field, 1) - field)
    assert viewer.add_colour_map(error, "error map", ramp=(0.0, 0.5), z=-1.0) == 2
    assert viewer.add_polyline([[0, 0, 50], [10, 0, 60], [10, 10, 55]], "margin line", closed=True) == 3
    viewer.set_visible(2, False)
    assert len(viewer) == 4 and viewer.title == "crown check" and viewer.triangle_limit == 5000
    page = viewer.to_html()
    for name in ("crown check", "adaptive mesh", "scan surface", "error map", "margin line"):
        assert name in page
    path = tmp_path / "page.html"
    assert viewer.write(path) == path
    assert path.read_text() == page and "src=\"http" not in page  # nothing fetched from the network
    viewer.clear()
    assert len(viewer) == 0 and "empty" in viewer.to_html()


def test_view_names_layers_and_reports_errors(tmp_path, rng):
    field = scan(20, 20, rng)
    mesh = relief.mesh_from_height_field(field)
    path = relief.view(tmp_path / "v.html", ("the mesh", mesh), field, relief.Raster(field), title="quick look")
    page = open(path).read()
    for name in ("the mesh", "height field 2", "height field 3", "quick look"):
        assert name in page
    with pytest.raises(OSError):
        relief.view(tmp_path / "no" / "such" / "folder.html", mesh)
    assert not (tmp_path / "no").exists()
    viewer = relief.Viewer()
    with pytest.raises(ValueError, match="colour"):
        viewer.add_mesh(mesh, "m", colour=0x1000000)
    with pytest.raises(ValueError, match="points"):
        viewer.add_polyline(np.zeros((4, 4)), "bad")
    with pytest.raises(ValueError, match="ramp"):
        viewer.add_colour_map(field, "bad", ramp=(1.0, 1.0))
    with pytest.raises(IndexError):
        viewer.set_visible(0, True)
    with pytest.raises(ValueError):
        relief.view(tmp_path / "x.html", np.zeros(5))
