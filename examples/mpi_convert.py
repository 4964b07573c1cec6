"""Converting a point file with MPI: rank 0 loads a saved transform and broadcasts it, every rank
converts its share of the points, rank 0 gathers the values and writes them.

    mpirun -np 4 python3 examples/mpi_convert.py machine.qor points.npy values.npy
(points.npy: (N, 3) (axial, radial, theta); values.npy: (N, 3) float32 of nm, nspan, rnm)
"""

import sys

import numpy as np
from mpi4py import MPI

import qor

T = qor.TurboTransform
SPACES = [T.nm, T.nspan, T.rnm]


def main(transformFile, pointFile, valueFile):
    comm = MPI.COMM_WORLD
    rank, size = comm.Get_rank(), comm.Get_size()
    # Rank 0 reads the transform once; the others receive it (pickled through the save format).
    transform = comm.bcast(T.fromFile(transformFile) if rank == 0 else None, root=0)
    points = np.load(pointFile, mmap_mode="r")  # every rank reads only its own rows
    bounds = np.linspace(0, len(points), size + 1).astype(np.int64)
    mine = transform.convertARTtoSpace(np.asarray(points[bounds[rank]:bounds[rank + 1]]), SPACES,
                                       threads=1)
    counts = (np.diff(bounds) * len(SPACES)).tolist()
    values = np.empty((len(points), len(SPACES)), np.float32) if rank == 0 else None
    comm.Gatherv(mine, [values, counts, None, MPI.FLOAT] if rank == 0 else None, root=0)
    if rank == 0:
        np.save(valueFile, values)
        print(f"{len(points)} points converted on {size} ranks -> {valueFile}")


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit("usage: mpirun -np N python3 mpi_convert.py TRANSFORM.qor POINTS.npy VALUES.npy")
    main(*sys.argv[1:])
