#!/usr/bin/python3
"""Scale-out: 8 000 000 points converted with qor.dask on a local cluster of two worker processes
(one thread each) against one in-process call on one thread.

    cmake --workflow --preset release
    PYTHONPATH=build/release/python /usr/bin/python3 bench/dask_bench.py

The bend of the C++ benchmarks with a 200 000-node background mesh, three spaces, chunks of
500 000 points. Two workflows: points in the client's memory (the cluster time includes shipping
the transform to the workers, the points to them and the values back), and points in a zarr store
on disk converted into another store (the workers read and write their own chunks; in process: read
the store, convert on one thread, write the store).
"""

import tempfile
import time
from pathlib import Path

import dask.array as da
import numpy as np
import zarr
from distributed import Client, LocalCluster

import qor
import qor.dask
from python_bench import SPACES, T, bend


def main():
    curves, _ = bend()
    t = T()
    t.initializeFromART(*curves, (0, 0, 0), (0, 0, 1))
    t.createBackgroundMesh(T.nonLinear, 200000)
    rng = np.random.default_rng(3)
    n = 8_000_000
    theta, rho = rng.uniform(0, np.pi / 2, n), rng.uniform(1.0, 1.5, n)
    pts = np.c_[rho * np.sin(theta), 3 - rho * np.cos(theta), rng.uniform(-1, 1, n)].astype(np.float32)

    t0 = time.perf_counter()
    ref = t.convertARTtoSpace(pts, SPACES, threads=1)
    one = time.perf_counter() - t0
    print(f"in process, one thread:          {one:6.2f} s ({n / one / 1e6:.2f} M points/s)")

    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, host="127.0.0.1",
                      dashboard_address=None) as cluster, Client(cluster) as client:
        points = da.from_array(pts, chunks=(500_000, 3))
        for run in ("first", "second"):
            t0 = time.perf_counter()
            values = client.compute(qor.dask.convertARTtoSpace(t, points, SPACES)).result()
            took = time.perf_counter() - t0
            assert np.array_equal(values, ref)
            print(f"local cluster, 2 x 1 thread ({run}): {took:6.2f} s ({n / took / 1e6:.2f} M points/s, "
                  f"{one / took:.2f} x one thread)")

        with tempfile.TemporaryDirectory() as d:
            store, out = str(Path(d) / "points.zarr"), str(Path(d) / "values.zarr")
            zarr.save_array(store, pts, chunks=(500_000, 3))
            t0 = time.perf_counter()
            values = t.convertARTtoSpace(zarr.load(store), SPACES, threads=1)
            zarr.save_array(out, values, chunks=(500_000, 3))
            local = time.perf_counter() - t0
            print(f"zarr to zarr, in process, one thread: {local:6.2f} s")
            for run in ("first", "second"):
                t0 = time.perf_counter()
                qor.dask.convertARTtoSpace(t, da.from_zarr(store), SPACES).to_zarr(out, overwrite=True)
                took = time.perf_counter() - t0
                assert np.array_equal(zarr.load(out), ref)
                print(f"zarr to zarr, local cluster ({run}):  {took:6.2f} s ({local / took:.2f} x in process)")


if __name__ == "__main__":
    main()
