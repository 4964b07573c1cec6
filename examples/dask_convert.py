"""Converting a chunked point store on disk with dask, writing the values the same way.

    python3 examples/dask_convert.py machine.qor points.zarr values.zarr [--workers 2]
(points.zarr: (N, 3) Cartesian points chunked along rows; values.zarr: (N, 3) float32 of nm, nspan,
rnm with the same row chunks.) With --workers the work runs on a local cluster of that many worker
processes (one thread each), otherwise on dask's threaded scheduler.
"""

import argparse

import dask.array as da

import qor
import qor.dask

T = qor.TurboTransform


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("transform", help="a transform saved with TurboTransform.save")
    parser.add_argument("points", help="zarr store of (N, 3) Cartesian points")
    parser.add_argument("values", help="zarr store to write (N, 3) float32 nm, nspan, rnm to")
    parser.add_argument("--workers", type=int, default=0, help="local cluster of N processes")
    args = parser.parse_args()

    transform = T.fromFile(args.transform)
    points = da.from_zarr(args.points)
    values = qor.dask.convertXYZtoSpace(transform, points, [T.nm, T.nspan, T.rnm])
    if args.workers:
        from distributed import Client, LocalCluster
        with LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                          host="127.0.0.1", dashboard_address=None) as cluster, Client(cluster):
            values.to_zarr(args.values, overwrite=True)
    else:
        values.to_zarr(args.values, overwrite=True)
    print(f"{points.shape[0]} points in {points.numblocks[0]} chunks -> {args.values}")


if __name__ == "__main__":
    main()
