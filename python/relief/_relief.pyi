"""Type stub of relief._relief, the compiled half of the relief package."""

from os import PathLike
from typing import Iterator, Literal, Optional, Sequence, Tuple, Union

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
    def __iter__(self) -> Iterator[Union[Mesh, float]]: ...

def mesh_from_height_field(
    field: FieldLike,
    threshold: float = 0.0,
    above: bool = True,
    scale: Sequence[float] = (1.0, 1.0, 1.0),
    step: int = 1,
) -> Mesh:
    """Two triangles per 2 x 2 cell of valid pixels; corner (x sx, y sy, v sz)."""

def rasterize(mesh: Mesh, resolution: Optional[float] = None, mode: Literal["max", "min"] = "max") -> F32:
    """Scan conversion over mesh.bounds; cell (c, r) at bounds[0, :2] + (c, r) * resolution."""

def refine(
    field: FieldLike,
    tolerance: float,
    *,
    min_height: float = 2.0,
    passes: int = 12,
    seed_spacing: int = 32,
) -> Refinement:
    """Adaptive mesh by Delaunay refinement, with its max and RMS error against the field."""

def delaunay(points: ArrayLike) -> I32:
    """(n, 2) points -> (m, 3) counter-clockwise triangles as indices."""

def convex_hull_2d(points: ArrayLike) -> I32:
    """(n, 2) points -> (h,) hull corner indices, counter-clockwise from the lowest point."""

def convex_hull_3d(points: ArrayLike) -> I32:
    """(n, 3) points (quantised to 0.1) -> (f, 3) outward counter-clockwise faces as indices."""

def triangulate_polygon(points: ArrayLike) -> I32:
    """(n, 2) simple polygon -> (n - 2, 3) triangles as indices."""

def fill_polygon(points: ArrayLike, shape: Tuple[int, int], value: float = 1.0) -> F32:
    """Pixels inside the polygon (x = column, y = row) set to value."""

def chamfer(mask: ArrayLike) -> F32:
    """3-4 chamfer distance to the nonzero pixels (3 per straight step)."""

def zhang_suen(mask: ArrayLike, threshold: float = 0.0) -> F32:
    """Skeleton (1.0 on 0.0) of the pixels above threshold."""

def load_height_field(path: Path) -> F32: ...
def save_height_field(path: Path, field: ArrayLike, png_scale: float = 0.0) -> str: ...
def load_mesh(path: Path) -> Mesh: ...
def save_mesh(path: Path, mesh: Mesh) -> int: ...
