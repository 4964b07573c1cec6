# Velocity components of a CFD solution in the machine's frame: axial, radial and tangential
# (qor.AxisFrame), the meridional velocity along the passage's streamwise direction, and the
# swirl angle. Here the "solution" is a swirling flow in an annular duct about the z axis.
import numpy as np
import qor

T = qor.TurboTransform
k = np.linspace(0, 4, 41)
t = T()
t.initializeFromART(np.c_[k, 1 + 0 * k, 0 * k], np.c_[k, 2 + 0 * k, 0 * k],
                    [[0, 1, 0], [0, 2, 0]], [[4, 1, 0], [4, 2, 0]], (0, 0, 0), (0, 0, 1))
t.createBackgroundMesh(T.nonLinear, 2000)

# Nodes (x, y, z) and velocities (u, v, w) as a solver writes them: 100 m/s along the axis and a
# swirl of 30 m/s in the direction of growing theta.
rng = np.random.default_rng(0)
a, r, theta = rng.uniform(0, 4, 100_000), rng.uniform(1, 2, 100_000), rng.uniform(-np.pi, np.pi, 100_000)
xyz = np.c_[r * np.cos(theta), r * np.sin(theta), a]
velocity = np.c_[-30 * np.sin(theta), 30 * np.cos(theta), np.full_like(a, 100.0)]

frame = qor.AxisFrame(*t.getAxis())
c = frame.vectorToART(xyz, velocity)  # (axial, radial, tangential), float32 (N, 3)
# The unit streamwise direction of the passage at each node, as (axial, radial) components.
_, streamwise, _ = t.convertXYZtoSpace(xyz, [T.nm], withDirections=True)
vm = c[:, 0] * streamwise[:, 0] + c[:, 1] * streamwise[:, 1]
swirl = np.degrees(np.arctan2(c[:, 2], vm))
print(f"axial {c[:, 0].mean():.2f}, radial {np.abs(c[:, 1]).max():.2f}, tangential {c[:, 2].mean():.2f}, "
      f"meridional {vm.mean():.2f} m/s, swirl angle {swirl.mean():.2f} deg")
