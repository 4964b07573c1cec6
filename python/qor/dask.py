"""Conversions of dask arrays of points, chunk by chunk, on any dask scheduler.

    import dask.array as da
    import qor, qor.dask

    points = da.from_zarr("points.zarr")           # (N, 3), chunked along rows
    values = qor.dask.convertXYZtoSpace(t, points, [qor.TurboTransform.nm, qor.TurboTransform.nspan])
    values.to_zarr("values.zarr")                  # (N, 2) float32, the same row chunks

The transform enters the task graph once, as one key that every chunk's task depends on: a
distributed scheduler ships it to each worker once (pickled through the library's save format), not
once per chunk. A `distributed.Future` of a transform scattered beforehand
(`client.scatter(t, broadcast=True)`) or a `dask.delayed` one are accepted as well. Each task
converts its chunk on one thread (`threads=1`): dask's workers provide the parallelism.
"""

import numpy as np

import dask
import dask.array as da
from dask.sizeof import sizeof

from ._qor import TurboTransform

__all__ = ["convertARTtoSpace", "convertXYZtoSpace"]


@sizeof.register(TurboTransform)
def _sizeofTransform(t):
    # Nodes (12 bytes), eight double fields and the search structures (about 95 bytes) per node,
    # plus the curves: close to the size of the saved state, without saving it.
    try:
        ni, nj = t.getBackgroundMeshSize()
    except Exception:
        ni = nj = 0
    return 200_000 + ni * nj * (12 + 64 + 95)


def _convertBlock(block, transform, spaces, xyz):
    points = np.ascontiguousarray(block, dtype=np.float32)
    convert = transform.convertXYZtoSpace if xyz else transform.convertARTtoSpace
    return convert(points, spaces, threads=1)


def _convert(transform, points, spaces, xyz):
    name = "convertXYZtoSpace" if xyz else "convertARTtoSpace"
    points = da.asarray(points)
    if points.ndim != 2 or points.shape[1] != 3:
        raise ValueError(f"points must be a dask array of shape (N, 3), got shape {points.shape}")
    if points.dtype.kind not in "fiub":
        raise TypeError(f"points must hold numbers, got dtype {points.dtype}")
    if isinstance(spaces, (str, bytes)):
        raise TypeError("spaces must be a list of TurboTransform.space values")
    spaces = [TurboTransform.space(int(s)) for s in spaces]
    if not spaces:
        raise ValueError("spaces must name at least one space")
    if isinstance(transform, TurboTransform):
        transform = dask.delayed(transform, pure=False, traverse=False)
    elif not hasattr(transform, "key"):  # a Delayed or a distributed Future carries a key
        raise TypeError(f"{name}: transform must be a qor.TurboTransform, a dask.delayed or a "
                        f"distributed.Future of one, got {type(transform).__name__}")
    points = points.rechunk({1: 3})  # whole points in every chunk; rows keep their chunks
    return da.map_blocks(_convertBlock, points, transform, spaces, xyz, dtype=np.float32,
                         chunks=(points.chunks[0], (len(spaces),)), name="qor-" + name,
                         meta=np.empty((0, len(spaces)), np.float32))


def convertARTtoSpace(transform, points, spaces):
    """Values of `spaces` at (axial, radial, theta) points of a dask array (N, 3) chunked along
    rows: a dask array (N, len(spaces)) float32 with the same row chunks, bit for bit what
    `transform.convertARTtoSpace(points, spaces)` gives in one process."""
    return _convert(transform, points, spaces, xyz=False)


def convertXYZtoSpace(transform, points, spaces):
    """As convertARTtoSpace for Cartesian (x, y, z) points."""
    return _convert(transform, points, spaces, xyz=True)
