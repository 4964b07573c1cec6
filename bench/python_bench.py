#!/usr/bin/python3
"""Cost of the Python layer: the package's multi-space list conversion against the same C++ list
call on the same passage and points, and two Python threads converting on two copies at once.

    cmake --workflow --preset release
    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_bench.py build/release/bench/ListCallTimer

The bend of the C++ benchmarks (300 points per wall), background meshes of 2 000 and 200 000 nodes,
1 000 000 random points inside the passage, three spaces (nm, nspan, rnm), best of 5 calls.
"""

import copy
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import numpy as np

import qor

T = qor.TurboTransform
SPACES = [T.nm, T.nspan, T.rnm]


def bend(n=300, rc=3.0, rhoHub=1.5, rhoShroud=1.0):
    th = np.linspace(0.0, np.pi / 2, n)
    arc = lambda rho: np.c_[rho * np.sin(th), rc - rho * np.cos(th), 0 * th]
    f = np.linspace(0, 1, 11)[:, None]
    end = lambda t: (np.array([rhoHub * np.sin(t), rc - rhoHub * np.cos(t), 0]) * (1 - f)
                     + np.array([rhoShroud * np.sin(t), rc - rhoShroud * np.cos(t), 0]) * f)
    curves = [arc(rhoHub), arc(rhoShroud), end(0.0), end(np.pi / 2)]
    rng = np.random.default_rng(7)
    theta, rho = rng.uniform(0, np.pi / 2, 1_000_000), rng.uniform(rhoShroud, rhoHub, 1_000_000)
    points = np.c_[rho * np.sin(theta), rc - rho * np.cos(theta), rng.uniform(-1, 1, 1_000_000)]
    return [c.astype(np.float32) for c in curves], points.astype(np.float32)


def best(f, repeats=5):
    times = []
    for _ in range(repeats):
        t0 = time.perf_counter()
        f()
        times.append(time.perf_counter() - t0)
    return min(times)


def main(timer):
    curves, points = bend()
    for size in (2000, 200000):
        with tempfile.TemporaryDirectory() as d:
            for name, c in zip(("hub", "shroud", "inlet", "outlet"), curves):
                c.tofile(Path(d) / (name + ".f32"))
            points.tofile(Path(d) / "points.f32")
            (Path(d) / "setup.txt").write_text(f"size {size}\n")
            out = subprocess.run([timer, d, "5"], check=True, capture_output=True, text=True).stdout
        cpp = {line.split()[0]: float(line.split()[-1]) for line in out.splitlines()}
        t = T()
        t.initializeFromART(*curves, (0, 0, 0), (0, 0, 1))
        t.createBackgroundMesh(T.nonLinear, size)
        py = best(lambda: t.convertARTtoSpace(points, SPACES, threads=1))
        print(f"{size:>6} nodes: python {py:.3f} s ({len(points) / py / 1e6:.2f} M points/s), " +
              ", ".join(f"C++ {k} {v:.3f} s ({100 * (py / v - 1):+.1f} %)" for k, v in cpp.items()))
        twins = [copy.copy(t), copy.copy(t)]
        def both():
            ths = [threading.Thread(target=lambda c=c: c.convertARTtoSpace(points, SPACES, threads=1))
                   for c in twins]
            [th.start() for th in ths]
            [th.join() for th in ths]
        two = best(both, 3)
        print(f"        two Python threads on two copies: {two:.3f} s for twice the work "
              f"({two / py:.2f} x the time of one)")


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "build/release/bench/ListCallTimer")
