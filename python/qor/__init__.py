"""qor: a coordinate system fitted to the flow passage of a turbomachine, from numpy.

The classes and operations keep the names of the C++ library libQORCoordTransform::

    import numpy as np
    import qor

    t = qor.TurboTransform()
    t.initializeFromART(hub, shroud, inlet, outlet, (0, 0, 0), (1, 0, 0))
    t.createBackgroundMesh(qor.TurboTransform.nonLinear, 2000)
    values = t.convertARTtoSpace(points, [qor.TurboTransform.nm, qor.TurboTransform.nspan])

Points are (axial, radial, theta in radians) ("ART") or Cartesian (x, y, z). A point is any
sequence of three numbers; a list of points is an array of shape (N, 3), float32 or float64 in any
memory order (a C-ordered float32 array is used without a copy). Results of list operations are
float32 arrays.

`qor.post` (imported on its own: ``import qor.post``) averages flow solutions around the
circumference on these coordinates, draws profiles and blade-to-blade views, and runs
``python3 -m qor average``.

Every failure of the library raises a subclass of `qor.Error`: `DataError` (with
`InvalidDataError`) for bad data, `InternalError` (with `NullPointerError`) for an unsupported call
or state. Wrongly shaped arguments raise `TypeError` or `ValueError` naming the argument.
"""

from ._qor import (
    AxisFrame,
    CurveOrientation,
    DataError,
    Error,
    InternalError,
    InvalidDataError,
    NullPointerError,
    TurboTransform,
    TurboTransformSegmenter,
    __version__,
)

__all__ = [
    "AxisFrame",
    "CurveOrientation",
    "DataError",
    "Error",
    "InternalError",
    "InvalidDataError",
    "NullPointerError",
    "TurboTransform",
    "TurboTransformSegmenter",
    "__version__",
]
