"""A transform that travels: save and load, pickling, dask (threads and a local cluster of worker
processes) and MPI, each giving the numbers of one in-process call bit for bit."""

import os
import pickle
import shutil
import subprocess
import sys
from pathlib import Path

import dask
import dask.array as da
import numpy as np
import pytest

import qor
import qor.dask
from conftest import T, assertBitwise, bend, cartesian

EXAMPLES = Path(__file__).resolve().parents[2] / "examples"
ALL = list(range(8))


@pytest.fixture(scope="module")
def built():
    return bend().build(), bend().samples(20000)


def test_saved_and_pickled_transforms_convert_like_the_original(built, tmp_path):
    t, pts = built
    ref = t.convertARTtoSpace(pts, ALL, withDirections=True, withStatus=True)
    tns = t.convertARTtoSpaceTNs(T.nm, pts)
    t.save(tmp_path / "t.qor")
    copies = [T.fromFile(tmp_path / "t.qor")] + [
        pickle.loads(pickle.dumps(t, protocol=k)) for k in range(2, pickle.HIGHEST_PROTOCOL + 1)]
    for c in copies:
        for a, b in zip(c.convertARTtoSpace(pts, ALL, withDirections=True, withStatus=True), ref):
            assertBitwise(a, b)
        assertBitwise(c.convertSpaceTNsToART(T.nm, tns[:2000]), t.convertSpaceTNsToART(T.nm, tns[:2000]))
    assert pickle.loads(pickle.dumps(T())).isGeometryInitialized() is False
    # a damaged file names itself and leaves the transform as it was
    data = (tmp_path / "t.qor").read_bytes()
    (tmp_path / "bad.qor").write_bytes(data[:40] + bytes([data[40] ^ 1]) + data[41:])
    c = copies[0]
    for bad in (tmp_path / "bad.qor", tmp_path / "missing.qor"):
        with pytest.raises(qor.InvalidDataError, match=bad.name):
            c.load(bad)
    assertBitwise(c.convertARTtoSpace(pts, ALL), ref[0])


def test_dask_arrays_convert_chunk_by_chunk_with_one_transform(built):
    t, pts = built
    points = da.from_array(pts, chunks=(3000, 3))
    values = qor.dask.convertARTtoSpace(t, points, [T.nm, T.nspan, T.rnm])
    assert values.chunks == (points.chunks[0], (3,)) and values.dtype == np.float32
    # one key holds the transform, whatever the number of chunks
    assert sum(isinstance(v, T) for v in dict(values.__dask_graph__()).values()) == 1
    assertBitwise(values.compute(scheduler="threads"), t.convertARTtoSpace(pts, [T.nm, T.nspan, T.rnm]))
    xyz = cartesian(pts, np.float32)
    assertBitwise(qor.dask.convertXYZtoSpace(t, da.from_array(xyz, chunks=(7000, 1)), [T.nm])
                  .compute(scheduler="threads"), t.convertXYZtoSpace(xyz, [T.nm]))
    with pytest.raises(ValueError, match=r"shape \(N, 3\)"):
        qor.dask.convertARTtoSpace(t, da.zeros((10, 4)), [T.nm])
    with pytest.raises(TypeError, match="transform must be"):
        qor.dask.convertARTtoSpace("t", points, [T.nm])


def test_a_local_cluster_of_two_processes_gives_the_same_numbers(built):
    distributed = pytest.importorskip("distributed")
    t, pts = built
    points = da.from_array(pts, chunks=(2500, 3))
    with dask.config.set({"distributed.comm.timeouts.connect": "60s"}), \
            distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                                     host="127.0.0.1", dashboard_address=None) as cluster, \
            distributed.Client(cluster, timeout="60s") as client:
        values = qor.dask.convertARTtoSpace(t, points, ALL)
        assertBitwise(client.compute(values).result(timeout=300), t.convertARTtoSpace(pts, ALL))
        scattered = client.scatter(t, broadcast=True)
        again = qor.dask.convertARTtoSpace(scattered, points, [T.nspan])
        assertBitwise(client.compute(again).result(timeout=300), t.convertARTtoSpace(pts, [T.nspan]))


def test_the_examples_convert_stores_and_files_like_one_process(built, tmp_path):
    t, pts = built
    t.save(tmp_path / "t.qor")
    # dask: a zarr store of several chunks, Cartesian points
    zarr = pytest.importorskip("zarr")
    xyz = cartesian(pts, np.float32)
    zarr.save_array(str(tmp_path / "points.zarr"), xyz, chunks=(4096, 3))
    subprocess.run([sys.executable, str(EXAMPLES / "dask_convert.py"), str(tmp_path / "t.qor"),
                    str(tmp_path / "points.zarr"), str(tmp_path / "values.zarr")],
                   check=True, timeout=300)
    assertBitwise(np.asarray(zarr.open(str(tmp_path / "values.zarr"))),
                  t.convertXYZtoSpace(xyz, [T.nm, T.nspan, T.rnm]))
    # MPI: two ranks
    mpirun = shutil.which("mpirun")
    assert mpirun, "mpirun is missing: run .ci/install-deps (Debian: openmpi-bin)"
    np.save(tmp_path / "points.npy", pts)
    env = dict(os.environ, OMPI_MCA_btl="self,vader", OMPI_MCA_rmaps_base_oversubscribe="1")
    subprocess.run([mpirun, "-np", "2", "--allow-run-as-root", "--oversubscribe", sys.executable,
                    str(EXAMPLES / "mpi_convert.py"), str(tmp_path / "t.qor"),
                    str(tmp_path / "points.npy"), str(tmp_path / "values.npy")],
                   check=True, timeout=300, env=env)
    assertBitwise(np.load(tmp_path / "values.npy"), t.convertARTtoSpace(pts, [T.nm, T.nspan, T.rnm]))
