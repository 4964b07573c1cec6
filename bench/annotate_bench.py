#!/usr/bin/python3
"""End-to-end cost of `python3 -m qor annotate` on a 5 000 000-node structured grid of the demo
compressor, per phase, beside the library's list conversion alone on the same nodes.

    cmake --workflow --preset release
    PYTHONPATH=build/release/python /usr/bin/python3 bench/annotate_bench.py \\
        build/release/apps/qor-meridional [--directions] [--keep DIR]

The grid: the demo passage (qor-meridional demo) meshed 250 (inlet to outlet) x 100 (hub to
shroud) x 200 (over a 30-degree sector) by straight hub-to-shroud lines at equal arc-length
fractions, written as binary (raw appended, uncompressed) .vts with one extra point array.
The command runs as a separate process with its defaults (every core, the four default spaces,
a 2 000-node background mesh); its own report gives the seconds per phase.
"""

import os
import subprocess
import sys
import tempfile
import time

import numpy as np
from vtkmodules.util.numpy_support import numpy_to_vtk
from vtkmodules.vtkCommonCore import vtkPoints
from vtkmodules.vtkCommonDataModel import vtkStructuredGrid
from vtkmodules.vtkIOXML import vtkXMLStructuredGridWriter

from qor import io

NI, NJ, NK = 250, 100, 200


def resample(curve, n):
    s = np.r_[0, np.cumsum(np.linalg.norm(np.diff(curve, axis=0), axis=1))]
    f = np.linspace(0, s[-1], n)
    return np.c_[np.interp(f, s, curve[:, 0]), np.interp(f, s, curve[:, 1])]


def demoGrid(passage, path):
    p = io.passageFromDirectory(passage)
    hub, shroud = resample(p.curves[0][:, :2], NI), resample(p.curves[1][:, :2], NI)
    f = np.linspace(0, 1, NJ)[None, :, None]
    ar = hub[:, None, :] * (1 - f) + shroud[:, None, :] * f            # (NI, NJ, 2)
    th = np.radians(np.linspace(0, 30, NK))
    # VTK order: i fastest, then j, then k.
    a = np.broadcast_to(ar[:, :, 0].T[None], (NK, NJ, NI))
    r = ar[:, :, 1].T[None]
    xyz = np.stack([r * np.cos(th)[:, None, None], r * np.sin(th)[:, None, None], a], axis=-1)
    g = vtkStructuredGrid()
    g.SetDimensions(NI, NJ, NK)
    pts = vtkPoints()
    pts.SetData(numpy_to_vtk(xyz.reshape(-1, 3).astype(np.float32), deep=1))
    g.SetPoints(pts)
    pressure = numpy_to_vtk(np.ascontiguousarray(xyz[..., 2].ravel(), np.float32), deep=1)
    pressure.SetName("pressure")
    g.GetPointData().AddArray(pressure)
    w = vtkXMLStructuredGridWriter()
    w.SetFileName(path)
    w.SetInputData(g)
    w.SetDataModeToAppended()
    w.EncodeAppendedDataOff()
    w.SetCompressorTypeToNone()
    assert w.Write()
    return g


def main():
    meridional = sys.argv[1]
    directions = ["--directions"] if "--directions" in sys.argv else []
    keep = sys.argv[sys.argv.index("--keep") + 1] if "--keep" in sys.argv else None
    folder = keep or tempfile.mkdtemp(prefix="qor-annotate-bench-")
    subprocess.run([meridional, "demo", "--output-dir", os.path.join(folder, "demo")], check=True,
                   capture_output=True)
    passage = os.path.join(folder, "demo", "passage")
    source, target = os.path.join(folder, "demo.vts"), os.path.join(folder, "annotated.vts")
    t0 = time.perf_counter()
    grid = demoGrid(passage, source)
    print(f"grid {NI} x {NJ} x {NK} = {NI * NJ * NK} nodes written in "
          f"{time.perf_counter() - t0:.1f} s "
          f"({os.path.getsize(source) / 1e6:.0f} MB)")

    t0 = time.perf_counter()
    run = subprocess.run([sys.executable, "-m", "qor", "annotate", source, target, "--passage",
                          passage, *directions], capture_output=True, text=True)
    wall = time.perf_counter() - t0
    print(run.stderr.rstrip())
    assert run.returncode == 0
    print(f"end to end (process, imports included): {wall:.2f} s; output "
          f"{os.path.getsize(target) / 1e6:.0f} MB")

    # The library's list conversion alone on the same nodes, the same spaces and statuses.
    t = io.buildTransform(io.passageFromDirectory(passage))
    xyz = io.points(grid)
    spaces = io.spaceIds(io.DEFAULT_SPACES)
    t0 = time.perf_counter()
    t.convertXYZtoSpace(xyz, spaces, withDirections=bool(directions), withStatus=True)
    print(f"library list conversion alone: {time.perf_counter() - t0:.2f} s")


if __name__ == "__main__":
    main()
