"""relief: SIMD geometry and raster routines for height fields, from numpy.

Height fields are 2-D arrays (rows, cols); 0 means "no data". Every array
argument of a real dtype (bool, integer, float) is converted to float32 as
numpy's astype would; complex, object and string arrays raise TypeError.
Non-contiguous arrays are copied. NaN and infinite heights are read as 0
(no data), as the tool's file readers do. Empty arrays, a wrong number of
dimensions or a wrong point width raise ValueError. The library's work runs
without the GIL, so threads can mesh several fields at once.

Functions:
    mesh_from_height_field, rasterize, refine      height field <-> mesh
    delaunay, convex_hull_2d, convex_hull_3d,       point sets and polygons
    triangulate_polygon, fill_polygon
    chamfer, zhang_suen                             masks
    load_height_field, save_height_field,           the tool's file formats
    load_mesh, save_mesh
Classes: Mesh, Raster, Refinement. Batches of files on Dask: relief.batch.

Not yet available (the library classes are still being written): the raster
smoothing filters (box, minimum, maximum, median) and an error-bounded
refine(field, max_error=...).
"""

from ._relief import (
    Mesh,
    Raster,
    Refinement,
    chamfer,
    convex_hull_2d,
    convex_hull_3d,
    delaunay,
    fill_polygon,
    load_height_field,
    load_mesh,
    mesh_from_height_field,
    rasterize,
    refine,
    save_height_field,
    save_mesh,
    triangulate_polygon,
    zhang_suen,
)

__version__ = "0.1.0"

__all__ = [
    "Mesh",
    "Raster",
    "Refinement",
    "chamfer",
    "convex_hull_2d",
    "convex_hull_3d",
    "delaunay",
    "fill_polygon",
    "load_height_field",
    "load_mesh",
    "mesh_from_height_field",
    "rasterize",
    "refine",
    "save_height_field",
    "save_mesh",
    "triangulate_polygon",
    "zhang_suen",
]
