"""relief: SIMD geometry and raster routines for height fields, from numpy.

Height fields are 2-D arrays (rows, cols); 0 means "no data". Every array
argument of a real dtype (bool, integer, float) is converted to float32 as
numpy's astype would; complex, object and string arrays raise TypeError.
Non-contiguous arrays are copied (MemoryError when a copy cannot be
allocated). NaN and infinite heights are read as 0 (no data), as the tool's
file readers do, and so are the masked pixels of a numpy masked array (a
point array with masked entries raises ValueError). Empty arrays, a wrong
number of dimensions or a wrong point width raise ValueError. The library's
work runs without the GIL, so threads can mesh several fields at once.

Functions:
    mesh_from_height_field, rasterize, refine      height field <-> mesh
    delaunay, convex_hull_2d, convex_hull_3d,       point sets and polygons
    triangulate_polygon, fill_polygon
    chamfer, zhang_suen                             masks
    box_mean, minimum, maximum, median              smoothing and rank filters
    view                                            layers -> one HTML page
    load_height_field, save_height_field,           the tool's file formats
    load_mesh, save_mesh
Classes: Mesh, Raster, Refinement, Viewer. Batches of files on Dask: relief.batch.
"""

from ._relief import (
    Mesh,
    Raster,
    Refinement,
    Viewer,
    box_mean,
    chamfer,
    convex_hull_2d,
    convex_hull_3d,
    delaunay,
    fill_polygon,
    load_height_field,
    load_mesh,
    maximum,
    median,
    mesh_from_height_field,
    minimum,
    rasterize,
    refine,
    save_height_field,
    save_mesh,
    triangulate_polygon,
    zhang_suen,
)
from ._view import view

__version__ = "0.1.0"

__all__ = [
    "Mesh",
    "Raster",
    "Refinement",
    "Viewer",
    "box_mean",
    "chamfer",
    "convex_hull_2d",
    "convex_hull_3d",
    "delaunay",
    "fill_polygon",
    "load_height_field",
    "load_mesh",
    "maximum",
    "median",
    "mesh_from_height_field",
    "minimum",
    "rasterize",
    "refine",
    "save_height_field",
    "save_mesh",
    "triangulate_polygon",
    "view",
    "zhang_suen",
]
