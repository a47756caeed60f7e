"""Type stub of relief._relief, the compiled half of the relief package."""

import pathlib
from os import PathLike
from typing import Iterator, Literal, Optional, Sequence, Tuple, Union, overload

import numpy as np
import numpy.typing as npt

# Any real dtype converts to float32; complex, object and strings raise TypeError.
ArrayLike = npt.ArrayLike
FieldLike = Union[npt.ArrayLike, "Raster"]
Path = Union[str, PathLike]
F32 = npt.NDArray[np.float32]
I32 = npt.NDArray[np.int32]

class Mesh:
    """A triangle soup; every view is a new array."""

    def __init__(self, triangles: ArrayLike, scale: Sequence[float] = (1.0, 1.0, 1.0)) -> None:
        """From float corners of shape (m, 3, 3) or (m, 9)."""
    def __len__(self) -> int: ...
    @property
    def triangles(self) -> F32:
        """(m, 3, 3) corners."""
    @property
    def vertices(self) -> F32:
        """(k, 3) distinct corners (exact comparison), in order of first appearance."""
    @property
    def faces(self) -> I32:
        """(m, 3) indices into vertices."""
    @property
    def normals(self) -> F32:
        """(m, 3) unit normals (P1 - P0) x (P2 - P0)."""
    @property
    def bounds(self) -> F32:
        """(2, 3) minimum and maximum corner; NaN when empty."""
    @property
    def scale(self) -> Tuple[float, float, float]: ...

class Raster:
    """A height field in the library's register layout (converted once)."""

    def __init__(self, field: ArrayLike) -> None: ...
    def to_numpy(self) -> F32: ...
    def __array__(self, dtype: object = ...) -> F32: ...
    @property
    def shape(self) -> Tuple[int, int]: ...

class Refinement:
    """refine's result; unpacks as (mesh, max_error, rms_error)."""

    mesh: Mesh
    max_error: float
    rms_error: float
    points: int
    compared: int
    uncovered: int
    stopped_by_limit: bool
    def __iter__(self) -> Iterator[Union[Mesh, float]]: ...

def mesh_from_height_field(
    field: FieldLike,
    threshold: float = 0.0,
    above: bool = True,
    scale: Sequence[float] = (1.0, 1.0, 1.0),
    step: int = 1,
) -> Mesh:
    """Two triangles per 2 x 2 cell of valid pixels; corner (x sx, y sy, v sz), factors > 0; step 1 .. 4096."""

def rasterize(mesh: Mesh, resolution: Optional[float] = None, mode: Literal["max", "min"] = "max") -> F32:
    """Scan conversion over mesh.bounds; cell (c, r) at bounds[0, :2] + (c, r) * resolution."""

@overload
def refine(
    field: FieldLike,
    tolerance: float,
    *,
    min_height: Optional[float] = None,
    passes: Optional[int] = None,
    seed_spacing: Optional[int] = None,
    threads: Optional[int] = None,
) -> Refinement:
    """Adaptive mesh by Delaunay refinement (defaults 2.0, 12, 32, 1 thread), with its max and RMS error against the field."""
@overload
def refine(
    field: FieldLike,
    *,
    max_error: float,
    max_triangles: Optional[int] = None,
    max_points: Optional[int] = None,
    scale: Optional[Sequence[float]] = None,
) -> Refinement:
    """Error-bounded mesh: no valid pixel farther than max_error from it; indexed (the mesher's points)."""

def delaunay(points: ArrayLike) -> I32:
    """(n, 2) points -> (m, 3) counter-clockwise triangles as indices; RuntimeWarning if points end in none."""

def convex_hull_2d(points: ArrayLike) -> I32:
    """(n, 2) points -> (h,) hull corner indices, counter-clockwise from the lowest point."""

def convex_hull_3d(points: ArrayLike) -> I32:
    """(n, 3) points (quantised to tenths) -> (f, 3) outward counter-clockwise faces as indices."""

def triangulate_polygon(points: ArrayLike) -> I32:
    """(n, 2) simple polygon -> (m - 2, 3) triangles as indices, m its distinct corners
    (consecutive equal points, such as a closing point, count once)."""

def fill_polygon(points: ArrayLike, shape: Tuple[int, int], value: float = 1.0) -> F32:
    """Pixels inside the polygon (x = column, y = row) set to value."""

def chamfer(mask: ArrayLike) -> F32:
    """3-4 chamfer distance to the nonzero pixels (3 per straight step)."""

def zhang_suen(mask: ArrayLike, threshold: float = 0.0) -> F32:
    """Skeleton (1.0 on 0.0) of the pixels above threshold."""

MaskLike = Union[npt.NDArray[np.bool_], npt.NDArray[np.uint8], npt.NDArray[np.int8]]

def box_mean(field: FieldLike, radius: int = 1, zero_is_no_data: bool = True) -> F32:
    """Mean of the (2 radius + 1)^2 window clipped to the field; 0 = no data keeps 0 and takes no part."""
def median(field: FieldLike, radius: int = 1, zero_is_no_data: bool = True) -> F32:
    """Median of the clipped window (the lower middle value of an even count)."""
@overload
def minimum(field: MaskLike, radius: int = 1, zero_is_no_data: Optional[bool] = None) -> npt.NDArray[np.generic]:
    """Byte masks keep their dtype: an erosion by a square, 0 an ordinary value."""
@overload
def minimum(field: FieldLike, radius: int = 1, zero_is_no_data: Optional[bool] = None) -> F32:
    """Smallest value of the clipped window (no data as box_mean)."""
@overload
def maximum(field: MaskLike, radius: int = 1, zero_is_no_data: Optional[bool] = None) -> npt.NDArray[np.generic]:
    """Byte masks keep their dtype: a dilation by a square, 0 an ordinary value."""
@overload
def maximum(field: FieldLike, radius: int = 1, zero_is_no_data: Optional[bool] = None) -> F32:
    """Largest value of the clipped window (no data as box_mean)."""

class Viewer:
    """Layers written as one self-contained HTML page; every add_... returns the layer's index."""

    title: str
    def __init__(self, title: str = "relief viewer", triangle_limit: int = 2000000) -> None: ...
    @property
    def triangle_limit(self) -> int: ...
    def add_mesh(self, mesh: Mesh, name: str = "mesh", colour: Optional[int] = None) -> int: ...
    def add_height_field(
        self,
        field: FieldLike,
        name: str = "height field",
        colour: Optional[int] = None,
        scale: Sequence[float] = (1.0, 1.0, 1.0),
    ) -> int: ...
    def add_colour_map(
        self,
        values: FieldLike,
        name: str = "colour map",
        zero_is_no_data: bool = True,
        scale: Sequence[float] = (1.0, 1.0),
        z: float = 0.0,
        ramp: Optional[Tuple[float, float]] = None,
    ) -> int: ...
    def add_polyline(self, points: ArrayLike, name: str = "polyline", colour: Optional[int] = None, closed: bool = False) -> int:
        """(n, 3) points, or (n, 2) at z = 0."""
    def set_visible(self, layer: int, visible: bool) -> None: ...
    def __len__(self) -> int: ...
    def clear(self) -> None: ...
    def to_html(self) -> str: ...
    def write(self, path: Path) -> pathlib.Path:
        """OSError when the page cannot be written (nothing is left behind)."""

def load_height_field(path: Path) -> F32: ...
def save_height_field(path: Path, field: ArrayLike, png_scale: float = 0.0) -> str: ...
def load_mesh(path: Path) -> Mesh: ...
def save_mesh(path: Path, mesh: Mesh) -> int: ...
