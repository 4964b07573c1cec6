"""Shared fixtures of the Python tests: analytic passages and the SU2 mesh under QOR_DATA_DIR."""

import os
from dataclasses import dataclass, field

import numpy as np
import pytest

import qor

T = qor.TurboTransform


@dataclass
class Passage:
    hub: np.ndarray
    shroud: np.ndarray
    inlet: np.ndarray
    outlet: np.ndarray
    axisPoint: tuple = (0.0, 0.0, 0.0)
    axisDirection: tuple = (0.0, 0.0, 1.0)
    boundaries: list = field(default_factory=list)

    def curves(self):
        return self.hub, self.shroud, self.inlet, self.outlet

    def build(self, method=T.nonLinear, size=2000):
        t = T()
        t.initializeFromART(*self.curves(), self.axisPoint, self.axisDirection)
        t.createBackgroundMesh(method, size)
        return t

    def samples(self, n, seed=1, margin=0.1):
        """n points in the bounding box grown by `margin` of its size; theta in [-1, 1]."""
        pts = np.concatenate(self.curves())[:, :2]
        lo, hi = pts.min(axis=0), pts.max(axis=0)
        pad = margin * (hi - lo).max()
        rng = np.random.default_rng(seed)
        ar = rng.uniform(lo - pad, hi + pad, (n, 2))
        return np.c_[ar, rng.uniform(-1, 1, n)].astype(np.float32)


def line(a0, r0, a1, r1, n):
    f = np.linspace(0.0, 1.0, n)
    return np.c_[a0 + f * (a1 - a0), r0 + f * (r1 - r0), np.zeros(n)].astype(np.float32)


def annulus(a0=0.0, a1=2.0, r1=1.0, r2=2.0):
    """Annular duct: nm = (axial - a0) / (a1 - a0) and nspan = (radius - r1) / (r2 - r1) exactly."""
    return Passage(line(a0, r1, a1, r1, 41), line(a0, r2, a1, r2, 41),
                   line(a0, r1, a0, r2, 11), line(a1, r1, a1, r2, 11),
                   boundaries=[line(a0 + 0.7, r1, a0 + 0.8, r2, 5),
                               line(a0 + 1.4, r1, a0 + 1.3, r2, 7)])


def bend(rc=3.0, rhoHub=1.5, rhoShroud=1.0):
    """90-degree bend from axial to radial, the meridional passage of a centrifugal impeller."""
    th = np.linspace(0.0, np.pi / 2, 121)
    arc = lambda rho: np.c_[rho * np.sin(th), rc - rho * np.cos(th), 0 * th].astype(np.float32)
    at = lambda t, rho: (rho * np.sin(t), rc - rho * np.cos(t))
    return Passage(arc(rhoHub), arc(rhoShroud),
                   line(*at(0, rhoHub), *at(0, rhoShroud), 11),
                   line(*at(np.pi / 2, rhoHub), *at(np.pi / 2, rhoShroud), 11),
                   boundaries=[line(*at(0.6, rhoHub), *at(0.5, rhoShroud), 9)])


def dataFolder(name):
    """The folder `name` of the real machines under QOR_DATA_DIR; the test is skipped without it."""
    data = os.environ.get("QOR_DATA_DIR", "")
    if not data or not os.path.isdir(os.path.join(data, name)):
        pytest.skip("QOR_DATA_DIR does not hold " + name)
    return os.path.join(data, name)


def su2Nodes():
    """The folder of the SU2 wedge mesh and its nodes (x, y, z)."""
    folder = dataFolder("su2-axial-stage-bfm-mesh")
    return folder, np.loadtxt(os.path.join(folder, "nodes.csv"), delimiter=",", skiprows=1)[:, 1:]


def cartesian(art, dtype=np.float64):
    """(axial, radius, theta) about the z axis to (x, y, z)."""
    a = np.asarray(art, np.float64)
    return np.c_[a[:, 1] * np.cos(a[:, 2]), a[:, 1] * np.sin(a[:, 2]), a[:, 0]].astype(dtype)


def assertBitwise(actual, expected):
    """Equal bit for bit (NaN included), same shape and dtype."""
    actual, expected = np.ascontiguousarray(actual), np.ascontiguousarray(expected)
    assert actual.shape == expected.shape and actual.dtype == expected.dtype
    bits = f"u{actual.itemsize}"
    np.testing.assert_array_equal(actual.view(bits), expected.view(bits))
