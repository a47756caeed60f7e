"""Array arguments: conversion into the register layout and back, dtype and shape rules."""

import numpy as np
import pytest

import relief

ODD_SHAPES = [(1, 1), (1, 7), (2, 3), (3, 5), (4, 4), (5, 7), (8, 17), (17, 31), (31, 2), (129, 3)]


@pytest.mark.parametrize("shape", ODD_SHAPES)
def test_raster_round_trip_is_exact(shape, rng):
    a = rng.normal(100, 30, shape).astype(np.float32)
    a[rng.random(shape) < 0.2] = 0
    back = relief.Raster(a).to_numpy()
    assert back.dtype == np.float32 and back.shape == shape
    np.testing.assert_array_equal(back, a)
    np.testing.assert_array_equal(np.asarray(relief.Raster(a)), a)


@pytest.mark.parametrize("dtype", [np.float64, np.float16, np.int16, np.int64, np.uint8, np.uint16, bool])
def test_real_dtypes_convert_like_astype(dtype, rng):
    a = (rng.random((9, 13)) * 200).astype(dtype)
    np.testing.assert_array_equal(relief.Raster(a).to_numpy(), a.astype(np.float32))
    # The same rule holds for every height field argument.
    m = relief.mesh_from_height_field(a)
    np.testing.assert_array_equal(m.triangles, relief.mesh_from_height_field(a.astype(np.float32)).triangles)


@pytest.mark.parametrize(
    "bad", [np.zeros((4, 4), np.complex64), np.array([["a", "b"], ["c", "d"]]), np.empty((3, 3), object)]
)
def test_other_dtypes_raise_type_error_naming_float32(bad):
    for call in (relief.Raster, relief.mesh_from_height_field, relief.chamfer, lambda f: relief.refine(f, 1.0)):
        with pytest.raises(TypeError, match="float32"):
            call(bad)


@pytest.mark.parametrize("shape", [(5,), (2, 3, 4), ()])
def test_wrong_number_of_dimensions(shape):
    for call in (relief.Raster, relief.mesh_from_height_field, relief.zhang_suen):
        with pytest.raises(ValueError, match="2-D"):
            call(np.ones(shape, np.float32))


@pytest.mark.parametrize("shape", [(0, 5), (5, 0), (0, 0)])
def test_empty_fields_raise(shape):
    empty = np.zeros(shape, np.float32)
    calls = [
        relief.Raster,
        relief.mesh_from_height_field,
        relief.chamfer,
        relief.zhang_suen,
        lambda f: relief.refine(f, 0.5),
        lambda f: relief.save_height_field("unused.npy", f),
    ]
    for call in calls:
        with pytest.raises(ValueError, match="empty"):
            call(empty)


def test_too_many_rows():
    with pytest.raises(ValueError, match="31999"):
        relief.Raster(np.zeros((32000, 1), np.float32))
    with pytest.raises(MemoryError):  # a float32 copy of 4 PiB
        relief.Raster(np.broadcast_to(np.float64(1), (1 << 40, 1 << 10)))


def test_non_contiguous_views_equal_their_copies(rng):
    base = rng.normal(60, 10, (40, 60)).astype(np.float32)
    for view in (base[::2, ::3], base.T, np.asfortranarray(base), base[5:30, 7:50]):
        assert not view.flags.c_contiguous or view.base is not None
        copy = np.ascontiguousarray(view)
        np.testing.assert_array_equal(relief.Raster(view).to_numpy(), copy)
        np.testing.assert_array_equal(
            relief.mesh_from_height_field(view).triangles, relief.mesh_from_height_field(copy).triangles
        )


def test_non_finite_heights_read_as_no_data(rng):
    field = rng.normal(60, 5, (12, 15)).astype(np.float32)
    holes = field.copy()
    holes[3, 4], holes[7, 9], holes[10, 1] = np.nan, np.inf, -np.inf
    zeros = np.where(np.isfinite(holes), holes, 0).astype(np.float32)
    np.testing.assert_array_equal(relief.Raster(holes).to_numpy(), zeros)
    np.testing.assert_array_equal(
        relief.mesh_from_height_field(holes).triangles, relief.mesh_from_height_field(zeros).triangles
    )


def test_masked_pixels_read_as_no_data(rng):
    # An elevation model read with its no-data mask: the values under the
    # mask are fill values, not heights.
    field = rng.normal(60, 5, (12, 15)).astype(np.float32)
    field[2:5, 3:9] = -9999
    masked = np.ma.masked_equal(field.astype(np.int32), -9999)
    zeros = np.where(field == -9999, 0, field.astype(np.int32)).astype(np.float32)
    np.testing.assert_array_equal(relief.Raster(masked).to_numpy(), zeros)
    np.testing.assert_array_equal(
        relief.mesh_from_height_field(masked).triangles, relief.mesh_from_height_field(zeros).triangles
    )
    np.testing.assert_array_equal(relief.Raster(np.ma.masked_array(field)).to_numpy(), field)  # nothing masked


@pytest.mark.parametrize(
    "call, width",
    [
        (relief.delaunay, 2),
        (relief.convex_hull_2d, 2),
        (relief.convex_hull_3d, 3),
        (relief.triangulate_polygon, 2),
        (lambda p: relief.fill_polygon(p, (10, 10)), 2),
    ],
)
def test_point_arrays(call, width):
    with pytest.raises(ValueError, match=f"\\(n, {width}\\)"):
        call(np.zeros((5, width + 1), np.float32))
    with pytest.raises(ValueError, match="at least"):
        call(np.zeros((0, width), np.float32))
    good = np.array([[0, 0, 0], [10, 0, 1], [0, 10, 2], [3, 3, 9], [7, 1, 4]], np.float32)[:, :width]
    bad = good.copy()
    bad[1, 0] = np.nan
    with pytest.raises(ValueError, match="finite"):
        call(bad)
    with pytest.raises(ValueError, match="point 1 is NaN, infinite or masked"):
        call(np.ma.masked_greater(good, 9))
    with pytest.raises(TypeError, match="float32"):
        call(good.astype(np.complex64))
