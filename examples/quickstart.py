# A straight annular duct (axial 0..4, radius 1..2) and a million points converted at once.
import numpy as np
import qor

T = qor.TurboTransform
k = np.linspace(0, 4, 41)
hub, shroud = np.c_[k, 1 + 0 * k, 0 * k], np.c_[k, 2 + 0 * k, 0 * k]
t = T()
t.initializeFromART(hub, shroud, [[0, 1, 0], [0, 2, 0]], [[4, 1, 0], [4, 2, 0]], (0, 0, 0), (0, 0, 1))
t.createBackgroundMesh(T.nonLinear, 2000)
points = np.random.default_rng(0).uniform([0, 1, -3], [4, 2, 3], (1_000_000, 3))
values = t.convertARTtoSpace(points, [T.nm, T.nspan])  # float32 (N, 2), every core
print("nm at (1, 1.5, 0.3):", round(t.convertARTtoSpace(T.nm, (1, 1.5, 0.3)), 3), "- values", values.shape, values.dtype)
