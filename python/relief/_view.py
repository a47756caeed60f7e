"""relief.view: one call from layers to a self-contained HTML page."""

import os
from typing import Any, Optional, Union

from ._relief import Mesh, Viewer


def view(path: Union[str, os.PathLike], *layers: Any, title: Optional[str] = None) -> str:
    """Writes the layers into one HTML page at path and returns the path.

    Each layer is a Mesh (a shaded surface), a height field (a 2-D array or
    a Raster, a surface coloured by height), or a (name, layer) pair to name
    it in the legend; unnamed layers are called "mesh 1", "height field 2",
    ... by their position. For colour maps, polylines, colours and scales use
    a Viewer directly.
    """
    viewer = Viewer(title) if title is not None else Viewer()
    for number, layer in enumerate(layers, start=1):
        name = None
        if isinstance(layer, tuple) and len(layer) == 2 and isinstance(layer[0], str):
            name, layer = layer
        if isinstance(layer, Mesh):
            viewer.add_mesh(layer, name or f"mesh {number}")
        else:
            # Anything else must read as a height field (ValueError/TypeError otherwise).
            viewer.add_height_field(layer, name or f"height field {number}")
    return os.fspath(viewer.write(path))
