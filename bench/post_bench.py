#!/usr/bin/python3
"""Speed of qor.post: circumferential averages of 10 000 000 points, beyond the conversion.

    cmake --workflow --preset release
    PYTHONPATH=build/release/python /usr/bin/python3 bench/post_bench.py [N]

The points' (nm, nspan) are given (float32, as the library's conversions return them, 2 % of them
outside [0, 1]), so the times are those of the binning alone; the conversion of the same number of
Cartesian points on the bend of the C++ benchmarks (background mesh of 2 000 nodes, all cores) is
timed once for comparison. Best of 5 calls.
"""

import sys
import time

import numpy as np

import qor
import qor.post as post
from python_bench import bend as benchBend, best

T = qor.TurboTransform


def bend():
    """The bend of the C++ benchmarks with its 2 000-node background mesh."""
    curves, _ = benchBend()
    t = T()
    t.initializeFromART(*curves, (0, 0, 0), (0, 0, 1))
    t.createBackgroundMesh(T.nonLinear, 2000)
    return t


def main(n):
    rng = np.random.default_rng(3)
    coords = rng.uniform(-0.01, 1.01, (n, 2)).astype(np.float32)
    field = rng.standard_normal(n).astype(np.float32)
    fields3 = rng.standard_normal((n, 3))
    weights = rng.uniform(0.5, 2.0, n)
    t = bend()
    print(f"{n} points onto a 100 x 50 grid (best of 5):")
    cases = [
        ("one float32 field", lambda: post.circumferentialAverage(None, field, coordinates=coords)),
        ("one field, weights", lambda: post.circumferentialAverage(None, field, coordinates=coords,
                                                                  weights=weights)),
        ("three float64 fields", lambda: post.circumferentialAverage(None, fields3,
                                                                    coordinates=coords)),
        ("one field onto the mesh nodes", lambda: post.circumferentialAverage(
            None, field, coordinates=coords, transform=t, onMesh=True)),
    ]
    for name, f in cases:
        print(f"  {name:<32} {best(f):7.3f} s")

    # The conversion, for comparison: Cartesian points inside the bend.
    phi, rho = rng.uniform(0, np.pi / 2, n), rng.uniform(1.0, 1.5, n)
    a, r, th = rho * np.sin(phi), 3.0 - rho * np.cos(phi), rng.uniform(-np.pi, np.pi, n)
    xyz = np.c_[r * np.cos(th), r * np.sin(th), a].astype(np.float32)
    t0 = time.perf_counter()
    t.convertXYZtoSpace(xyz, [T.nm, T.nspan], threads=0)
    print(f"  conversion to (nm, nspan), once  {time.perf_counter() - t0:7.3f} s")


if __name__ == "__main__":
    main(int(sys.argv[1]) if len(sys.argv) > 1 else 10_000_000)
