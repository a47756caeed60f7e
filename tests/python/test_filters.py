"""box_mean, minimum, maximum, median against a naive window loop in numpy (clipped windows, 0 = no data)."""

import numpy as np
import pytest

import relief


def naive(field, radius, reduce, zero_is_no_data):
    """Each pixel over its window clipped to the field; no-data pixels keep 0 and take no part."""
    rows, cols = field.shape
    out = np.empty_like(field)
    for y in range(rows):
        for x in range(cols):
            if zero_is_no_data and field[y, x] == 0:
                out[y, x] = 0
                continue
            window = field[max(0, y - radius) : y + radius + 1, max(0, x - radius) : x + radius + 1].ravel()
            if zero_is_no_data:
                window = window[window != 0]
            out[y, x] = reduce(window)
    return out


def lower_median(values):
    return np.sort(values)[(len(values) - 1) // 2]


REDUCERS = {
    "box_mean": lambda w: np.mean(w.astype(np.float64)),
    "minimum": np.min,
    "maximum": np.max,
    "median": lower_median,
}


def holey_field(rng, rows, cols):
    field = rng.uniform(1, 100, (rows, cols)).astype(np.float32)
    field[rng.random((rows, cols)) < 0.25] = 0
    field[rng.random((rows, cols)) < 0.05] = -rng.uniform(1, 5)  # negative heights are data too
    return field


@pytest.mark.parametrize("name", sorted(REDUCERS))
@pytest.mark.parametrize("shape,radius", [((1, 1), 1), ((2, 7), 1), ((5, 3), 2), ((17, 31), 1), ((13, 9), 3),
                                          ((7, 5), 40)])
@pytest.mark.parametrize("zero_is_no_data", [True, False])
def test_filters_match_a_naive_window(name, shape, radius, zero_is_no_data, rng):
    field = holey_field(rng, *shape)
    got = getattr(relief, name)(field, radius, zero_is_no_data=zero_is_no_data)
    want = naive(field, radius, REDUCERS[name], zero_is_no_data)
    assert got.dtype == np.float32 and got.shape == field.shape
    if name == "box_mean":
        np.testing.assert_allclose(got, want, rtol=2e-6, atol=1e-5)
    else:
        np.testing.assert_array_equal(got, want)


def test_radius_zero_copies_and_raster_input(rng):
    field = holey_field(rng, 6, 9)
    for name in REDUCERS:
        np.testing.assert_array_equal(getattr(relief, name)(field, 0), field)
    np.testing.assert_array_equal(relief.median(relief.Raster(field), 2), relief.median(field, 2))
    nan = field.copy()
    nan[2, 3] = np.nan  # read as no data
    zeroed = field.copy()
    zeroed[2, 3] = 0
    np.testing.assert_array_equal(relief.maximum(nan, 1), relief.maximum(zeroed, 1))
    with pytest.raises(ValueError, match="radius"):
        relief.box_mean(field, -1)


@pytest.mark.parametrize("dtype", [np.bool_, np.uint8, np.int8])
@pytest.mark.parametrize("shape,radius", [((1, 3), 1), ((16, 5), 1), ((37, 11), 2), ((33, 4), 20)])
def test_masks_keep_their_dtype(dtype, shape, radius, rng):
    if dtype == np.bool_:
        mask = rng.random(shape) < 0.4
    else:
        info = np.iinfo(dtype)
        mask = rng.integers(info.min, info.max, shape, endpoint=True).astype(dtype)
    for name, reduce in (("minimum", np.min), ("maximum", np.max)):
        got = getattr(relief, name)(mask, radius)
        assert got.dtype == mask.dtype
        np.testing.assert_array_equal(got, naive(mask, radius, reduce, False), err_msg=name)
    with pytest.raises(ValueError, match="no-data"):
        relief.minimum(mask, 1, zero_is_no_data=True)
    # Other integer dtypes are height fields (float32, 0 = no data by default).
    assert relief.maximum(mask.astype(np.int16), radius).dtype == np.float32
