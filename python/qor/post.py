"""Post-processing on the passage coordinates: circumferential averages, profiles, blade-to-blade views.

Every function takes point values with their Cartesian points and either a finished
`qor.TurboTransform` (the coordinates are then converted here) or the coordinates already known
(`coordinates=`, e.g. the point arrays ``nm``, ``nspan``, ``mprime`` of an annotated mesh file)::

    import qor, qor.post

    avg = qor.post.circumferentialAverage(points, {"p": p, "T": temp}, transform=t,
                                          weights=volume, nm=100, nspan=50)
    avg["p"]                      # (100, 50) means, NaN where a bin holds no point
    avg.count, avg.weight         # points and weights summed per bin
    prof = qor.post.spanwiseProfile(avg, nm=0.5)
    b2b = qor.post.bladeToBlade(points, temp, transform=t, nspan=0.5, band=0.02)
    qor.post.plotMeridional(avg, "p", "p.png")

Conventions:

- Points are Cartesian (x, y, z) in the units of the passage; the axis is the transform's
  (`getAxis`), or `axis=(point, direction)` when no transform is given (default the z axis
  through the origin, the library's default axis).
- theta is the angle about the axis in radians, as `qor.AxisFrame` measures it: from e1 towards
  e2 = a x e1, where a is the unit axis direction and e1 the global axis following the one a is
  mostly along (z -> x, x -> y, y -> z) made perpendicular to a. For the z axis this is
  atan2(y, x).
- A point belongs to the grid when its normalised coordinates nm and nspan both lie in [0, 1]
  widened by `tolerance` (1e-4; the round-off of nodes on the passage's edges); a point outside
  the passage converts to values beyond that range. The others are counted in `outside` and left
  out. NaN coordinates are outside too. NaN field values are not filtered:
  they make the mean of their bin NaN.
- Weights are one non-negative number per point: none (every point counts 1), an area or a volume
  (the cell volume or face area attached to the point), or a mass flux computed by
  `massFluxWeights` (density * |meridional velocity| * area). Means are sum(w * f) / sum(w).
- Empty bins (no point, or weights summing to 0) have the mean NaN, count 0 and weight 0.
"""

import math
import os
from dataclasses import dataclass, field
from typing import Dict, List, Optional, Sequence, Union

import numpy as np

from ._qor import AxisFrame as _AxisFrame
from ._qor import TurboTransform as _T

__all__ = [
    "Average",
    "BladeToBlade",
    "Profile",
    "averageMain",
    "bladeToBlade",
    "circumferentialAverage",
    "cylindrical",
    "massFluxWeights",
    "plotBladeToBlade",
    "plotMeridional",
    "plotProfile",
    "readPointData",
    "spanwiseProfile",
    "streamwiseProfile",
]


# --------------------------------------------------------------------------------------------
# Results


@dataclass
class Average:
    """Circumferential average on a (ni, nj) grid: i along the passage (nm), j hub to shroud.

    mean:     (ni, nj, k) float64, the mean of each of the k fields per bin (NaN when empty)
    weight:   (ni, nj) float64, weights summed per bin (the count when no weights were given)
    count:    (ni, nj) int64, points per bin
    nm, nspan: (ni, nj) the coordinates of the bins' centres (regular grid) or of the mesh nodes
    axial, radius: (ni, nj) where the centres lie in the meridional plane: from the library when
              a transform was given, otherwise placed from the points themselves (see
              `circumferentialAverage`)
    nmEdges, nspanEdges: bin edges of a regular grid (None on the mesh grid)
    outside:  number of points left out (coordinates outside [0, 1])
    names:    the fields' names; `avg[name]` or `avg[index]` is that field's (ni, nj) mean
    outline:  hub, shroud, inlet and outlet as (K, 2) arrays of (axial, radius), or None
    """
    mean: np.ndarray
    weight: np.ndarray
    count: np.ndarray
    nm: np.ndarray
    nspan: np.ndarray
    axial: Optional[np.ndarray]
    radius: Optional[np.ndarray]
    nmEdges: Optional[np.ndarray]
    nspanEdges: Optional[np.ndarray]
    outside: int
    names: List[str]
    outline: Optional[Dict[str, np.ndarray]] = None
    cornerAxial: Optional[np.ndarray] = field(default=None, repr=False)
    cornerRadius: Optional[np.ndarray] = field(default=None, repr=False)

    @property
    def onMesh(self) -> bool:
        return self.nmEdges is None

    def __getitem__(self, key: Union[int, str]) -> np.ndarray:
        return self.mean[:, :, self._index(key)]

    def _index(self, key):
        if isinstance(key, str):
            if key not in self.names:
                raise KeyError(f"no field named {key!r}; the fields are {self.names}")
            return self.names.index(key)
        return int(key)


@dataclass
class Profile:
    """A profile along `along` ("nspan" or "nm") at the fixed coordinate `station`.

    coordinate: (n,) bin centres (or grid coordinates) along the profile
    mean: (n, k); weight, count: (n,); names as in `Average` (`prof[name]` is (n,))
    source: "grid" (taken from an `Average`) or "points, band b"
    """
    along: str
    station: float
    coordinate: np.ndarray
    mean: np.ndarray
    weight: np.ndarray
    count: np.ndarray
    names: List[str]
    source: str = "points"

    def __getitem__(self, key: Union[int, str]) -> np.ndarray:
        return self.mean[:, Average._index(self, key)]


@dataclass
class BladeToBlade:
    """Points within `band` of the span surface `nspan`, unwrapped to (m', theta).

    mprime, theta: (n,) the library's m' and the angle about the axis (radians, continued around
    the selection's circular mean so that a sector crossing +-pi stays in one piece)
    values: (n, k) field values; index: (n,) indices of the selected points in the input
    """
    nspan: float
    band: float
    mprime: np.ndarray
    theta: np.ndarray
    values: np.ndarray
    index: np.ndarray
    names: List[str]

    def __getitem__(self, key: Union[int, str]) -> np.ndarray:
        return self.values[:, Average._index(self, key)]


# --------------------------------------------------------------------------------------------
# Argument handling


def _fieldsArray(fields, n):
    """(n, k) float array and names from one array (n,), a 2-D array (n, k) or a mapping."""
    if isinstance(fields, dict):
        names = [str(k) for k in fields]
        cols = [np.asarray(v) for v in fields.values()]
        for name, c in zip(names, cols):
            if c.shape != (n,):
                raise ValueError(f"field {name!r} has shape {c.shape}; expected ({n},)")
        if not cols:
            raise ValueError("fields: at least one field is needed")
        return np.stack(cols, axis=1), names
    a = np.asarray(fields)
    if a.ndim == 1:
        a = a[:, None]
    if a.ndim != 2 or a.shape[0] != n:
        raise ValueError(f"fields has shape {np.shape(fields)}; expected ({n},), ({n}, k) or a "
                         "mapping of names to arrays")
    return a, [f"field{i}" for i in range(a.shape[1])] if a.shape[1] > 1 else ["field"]


def _points(points, name="points"):
    if points is None:
        return None
    p = np.asarray(points)
    if p.ndim != 2 or p.shape[1] != 3:
        raise ValueError(f"{name} has shape {p.shape}; expected (N, 3) Cartesian points")
    return p


def _coordinates(points, coordinates, transform, spaces, threads):
    """(N, len(spaces)) float32 coordinates: the caller's, or converted by the transform."""
    if coordinates is not None:
        if isinstance(coordinates, dict):
            missing = [s for s in spaces if s not in coordinates]
            if missing:
                raise ValueError(f"coordinates lacks {missing}")
            cols = [np.asarray(coordinates[s]) for s in spaces]
            n = cols[0].shape
            if any(c.shape != n or c.ndim != 1 for c in cols):
                raise ValueError("coordinates: the arrays must be 1-D of one length")
            return np.stack(cols, axis=1)
        c = np.asarray(coordinates)
        if c.ndim != 2 or c.shape[1] != len(spaces):
            raise ValueError(f"coordinates has shape {c.shape}; expected (N, {len(spaces)}) "
                             f"holding {', '.join(spaces)}")
        return c
    if transform is None or points is None:
        raise ValueError("give either coordinates= or points with transform=")
    return transform.convertXYZtoSpace(points, [getattr(_T, s) for s in spaces], threads=threads)


def _weights(weights, n):
    if weights is None:
        return None
    w = np.asarray(weights, dtype=np.float64)
    if w.shape != (n,):
        raise ValueError(f"weights has shape {w.shape}; expected ({n},)")
    if (w < 0).any():
        raise ValueError("weights must not be negative")
    return w


def _frame(transform, axis):
    """The library's frame of the transform's axis, or of `axis` = (point, direction)."""
    if transform is not None and axis is None:
        point, direction = transform.getAxis()
    else:
        point, direction = axis if axis is not None else ((0.0, 0.0, 0.0), (0.0, 0.0, 1.0))
    point = np.asarray(point, np.float64)
    a = np.asarray(direction, np.float64)
    if a.shape != (3,) or point.shape != (3,) or not np.linalg.norm(a) > 0:
        raise ValueError("axis must be (point, direction) with a non-zero direction")
    return _AxisFrame(tuple(point), tuple(a))


def cylindrical(points, transform=None, axis=None):
    """(axial, radius, theta) of Cartesian points about the transform's axis (or `axis`), float64;
    theta in radians in (-pi, pi] (see the module's conventions)."""
    p = _points(points)
    f = _frame(transform, axis)
    e1, e2 = np.array(f.thetaZero()), np.array(f.thetaQuarter())
    d = p - np.array(f.point(), np.float64)
    x1, x2 = d @ e1, d @ e2
    return d @ np.cross(e1, e2), np.hypot(x1, x2), np.arctan2(x2, x1)


def massFluxWeights(points, density, velocity, area=None, *, transform):
    """Mass-flux weights density * |u_m| * area per point.

    u_m is the velocity's component along the library's streamwise unit direction at the point
    (`getUnitVectorsFromXYZ`, the direction of growing nm in the meridional plane): with the
    axial unit vector a and the radial unit vector e_r through the point,
    u_m = (u . a) * s_axial + (u . e_r) * s_radial (the components of `qor.AxisFrame.vectorToART`,
    in float32). `velocity` is Cartesian (N, 3); `area` the
    area (or volume) attached to each point, 1 when None. The absolute value keeps weights
    non-negative where the flow reverses.
    """
    p = _points(points)
    n = len(p)
    rho = _weights(density, n)
    u = np.asarray(velocity, np.float64)
    if u.shape != (n, 3):
        raise ValueError(f"velocity has shape {u.shape}; expected ({n}, 3)")
    streamwise, _ = transform.getUnitVectorsFromXYZ(p)
    c = _frame(transform, None).vectorToART(p, u).astype(np.float64)  # (axial, radial, tangential)
    um = c[:, 0] * streamwise[:, 0] + c[:, 1] * streamwise[:, 1]
    w = rho * np.abs(um)
    return w if area is None else w * _weights(area, n)


# --------------------------------------------------------------------------------------------
# Binning


def _binStats(index, nbins, values, weights):
    """Sums per bin by np.bincount: count, weight and the weighted mean of each column. Index
    `nbins` collects the points outside the grid (one extra bin, dropped): cheaper than copying
    the inside points out."""
    count = np.bincount(index, minlength=nbins + 1)[:nbins]
    wsum = (count.astype(np.float64) if weights is None
            else np.bincount(index, weights, nbins + 1)[:nbins])
    k = values.shape[1]
    mean = np.empty((nbins, k))
    with np.errstate(invalid="ignore", divide="ignore"):
        for c in range(k):
            v = values[:, c]
            s = np.bincount(index, v if weights is None else v * weights, nbins + 1)[:nbins]
            mean[:, c] = s / wsum
    mean[wsum == 0] = np.nan
    return mean, wsum, count


def _inside(u, v, tol):
    """u, v in [-tol, 1 + tol] (NaN compares False: outside)."""
    inside = u >= -tol
    inside &= u <= 1 + tol
    inside &= v >= -tol
    inside &= v <= 1 + tol
    return inside


def _regularIndex(u, v, nu, nv, tol):
    """Flattened bin index (u-major) of points with u, v in [-tol, 1 + tol], those within `tol`
    outside [0, 1] going to the edge bins (truncation towards 0 sends small negatives to bin 0);
    nu * nv for the points outside. Returns the mask of the inside points and the index."""
    u, v = np.ascontiguousarray(u), np.ascontiguousarray(v)  # a column of (N, 2) is strided
    inside = _inside(u, v, tol)
    with np.errstate(invalid="ignore"):  # NaN casts to garbage, replaced below
        fu = u * np.asarray(nu, u.dtype)
        np.minimum(fu, nu - 1, out=fu)
        index = fu.astype(np.int64)
        del fu
        if nv > 1:
            index *= nv
            fv = v * np.asarray(nv, v.dtype)
            np.minimum(fv, nv - 1, out=fv)
            index += fv.astype(np.int64)
    if not inside.all():
        index[~inside] = nu * nv
    return inside, index


def _meshNodes(transform):
    """The background mesh's nodes: (ni, nj, 3) (axial, radius, 0), their nm (ni, nj) and the
    nspan of each j line (nj,)."""
    mesh = transform.getBackgroundMesh()
    ni, nj = mesh.shape[:2]
    nodeNm = transform.convertARTtoSpace(_T.nm, mesh.reshape(-1, 3)).astype(np.float64).reshape(ni, nj)
    nodeNm[0, :], nodeNm[-1, :] = 0.0, 1.0
    nodeNm = np.maximum.accumulate(nodeNm, axis=0)  # monotonic along each j line for the search
    return mesh, nodeNm, np.asarray(transform.getNSpanValues(), np.float64)


def _search(edges, keys, lo, hi):
    """np.searchsorted(edges, keys) (the number of edges below each key) for keys in [lo, hi],
    through a table of the answer at the start of small cells of [lo, hi] followed by a few
    vectorised steps: several times faster than a binary search per key on 10^7 keys."""
    gaps = np.diff(edges)
    gaps = gaps[gaps > 0]
    perUnit = 2.0 / gaps.min() if gaps.size else 1024.0
    cells = int(min(max(perUnit * (hi - lo), 1024), 1 << 22))
    scale = cells / (hi - lo)
    table = np.searchsorted(edges, lo + np.arange(cells) / scale).astype(np.int64)
    with np.errstate(invalid="ignore"):
        c = (keys - lo) * scale
        np.clip(c, 0, cells - 1, out=c)
        k = table[c.astype(np.int64)]
    # Each cell holds few edges (two or fewer when the table is fine enough): step over them.
    last = np.append(edges, np.inf)
    while True:
        step = last[k] < keys
        if not step.any():
            return k
        k += step


def _meshIndex(u, v, nodeNm, nodeNspan, tol):
    """Flattened (i, j) index of the mesh node nearest in (nm, nspan): j by the nearest nspan
    line, then i by the nearest nm along that line; ni * nj for the points outside."""
    ni, nj = nodeNm.shape
    u, v = np.ascontiguousarray(u), np.ascontiguousarray(v)
    inside = _inside(u, v, tol)
    u = np.where(inside, u, 0.5).astype(np.float64)  # NaN and far points: anywhere, dropped below
    v = np.where(inside, v, 0.5).astype(np.float64)
    np.clip(u, 0.0, 1.0, out=u)
    np.clip(v, 0.0, 1.0, out=v)
    j = _search(0.5 * (nodeNspan[1:] + nodeNspan[:-1]), v, 0.0, 1.0)
    # Node nm midpoints of every line, offset by 2 j so that one sorted array serves all lines.
    iEdges = (0.5 * (nodeNm[1:, :] + nodeNm[:-1, :]) + 2.0 * np.arange(nj)).T.ravel()
    u += 2.0 * j
    k = _search(iEdges, u, 0.0, 2.0 * nj)
    index = (k - j * (ni - 1)) * nj + j
    index[~inside] = ni * nj
    return inside, index


def _outline(transform):
    curves = {"hub": transform.getConstantSpace(_T.nspanConst, 0.0),
              "shroud": transform.getConstantSpace(_T.nspanConst, 1.0),
              "inlet": transform.getConstantSpace(_T.nmConst, 0.0),
              "outlet": transform.getConstantSpace(_T.nmConst, 1.0)}
    return {k: np.asarray(v[:, :2], np.float64) for k, v in curves.items()}


def _toART(transform, nmv, nsv):
    """(axial, radius) of grid coordinates by the library's inverse conversion."""
    q = np.c_[nmv.ravel(), np.zeros(nmv.size), nsv.ravel()].astype(np.float32)
    art = transform.convertSpaceTNsToART(_T.nm, q)
    return art[:, 0].astype(np.float64).reshape(nmv.shape), art[:, 1].astype(np.float64).reshape(nmv.shape)


def _fill(c):
    """Fills NaN entries of a (ni, nj) grid of smooth positions by linear inter- and
    extrapolation along j, then along i."""
    c = c.copy()
    for grid in (c, c.T):
        x = np.arange(grid.shape[1])
        for row in grid:
            ok = np.isfinite(row)
            if ok.sum() >= 2 and not ok.all():
                xs, ys = x[ok], row[ok]
                out = np.interp(x, xs, ys)
                lo, hi = x < xs[0], x > xs[-1]
                out[lo] = ys[0] + (x[lo] - xs[0]) * (ys[1] - ys[0]) / (xs[1] - xs[0])
                out[hi] = ys[-1] + (x[hi] - xs[-1]) * (ys[-1] - ys[-2]) / (xs[-1] - xs[-2])
                row[:] = out
    return c


def _corners(c):
    """(ni+1, nj+1) corners of a (ni, nj) grid of cell centres, extrapolated linearly at the ends."""
    e = np.empty((c.shape[0] + 2, c.shape[1] + 2))
    e[1:-1, 1:-1] = c
    e[0, 1:-1], e[-1, 1:-1] = 2 * c[0] - c[1], 2 * c[-1] - c[-2]
    e[:, 0], e[:, -1] = 2 * e[:, 1] - e[:, 2], 2 * e[:, -2] - e[:, -3]
    return 0.25 * (e[1:, 1:] + e[:-1, 1:] + e[1:, :-1] + e[:-1, :-1])


def circumferentialAverage(points, fields, *, transform=None, coordinates=None, weights=None,
                           nm: int = 100, nspan: int = 50, onMesh: bool = False, axis=None,
                           tolerance: float = 1e-4, threads: int = 0) -> Average:
    """Averages point values around the circumference onto a grid of the meridional plane.

    points: (N, 3) Cartesian points (may be None when `coordinates` is given and `transform` is
        given or the bin positions are not wanted)
    fields: one array (N,), an array (N, k) or a mapping name -> (N,)
    transform: a finished `qor.TurboTransform`; converts the points when `coordinates` is None,
        places the grid in the meridional plane and gives the passage outline
    coordinates: (N, 2) normalised (nm, nspan) of the points, or a mapping with "nm", "nspan"
    weights: (N,) non-negative per-point weights (area, volume, `massFluxWeights`), or None
    nm, nspan: the regular grid: nm bins of width 1/nm along the passage, nspan bins hub to shroud
    onMesh: average onto the transform's background-mesh nodes instead: each point goes to the
        node nearest in (nm, nspan) (first the nearest span line, then the nearest nm along it)
    tolerance: points whose nm or nspan lies outside [0, 1] by at most this much (round-off of
        nodes on the hub, shroud, inlet or outlet) count in the edge bins; beyond it they are
        outside
    Returns an `Average`. Without a transform the bin centres are placed at the mean (axial,
    radius) of their points about `axis` (empty bins filled by linear inter/extrapolation of
    their neighbours), and the outline is the edge of that grid: an approximation.
    Raises ValueError for wrongly shaped arguments or a grid of fewer than 1 bin.
    """
    if int(nm) < 1 or int(nspan) < 1:
        raise ValueError(f"the grid needs at least one bin each way; got nm={nm}, nspan={nspan}")
    if onMesh and transform is None:
        raise ValueError("onMesh=True needs the transform")
    points = _points(points)
    coords = _coordinates(points, coordinates, transform, ("nm", "nspan"), threads)
    n = len(coords)
    values, names = _fieldsArray(fields, n)
    w = _weights(weights, n)
    if points is not None and len(points) != n:
        raise ValueError(f"points has {len(points)} rows; the coordinates have {n}")
    u, v = coords[:, 0], coords[:, 1]

    nmEdges = nspanEdges = None
    if onMesh:
        mesh, nodeNm, nodeNspan = _meshNodes(transform)
        ni, nj = nodeNm.shape
        inside, index = _meshIndex(u, v, nodeNm, nodeNspan, tolerance)
        gridNm, gridNspan = nodeNm, np.broadcast_to(nodeNspan, (ni, nj)).copy()
    else:
        ni, nj = int(nm), int(nspan)
        inside, index = _regularIndex(u, v, ni, nj, tolerance)
        nmEdges, nspanEdges = np.linspace(0.0, 1.0, ni + 1), np.linspace(0.0, 1.0, nj + 1)
        gridNm, gridNspan = np.meshgrid(0.5 * (nmEdges[1:] + nmEdges[:-1]),
                                        0.5 * (nspanEdges[1:] + nspanEdges[:-1]), indexing="ij")
    outside = int(n - np.count_nonzero(inside))
    mean, wsum, count = _binStats(index, ni * nj, values, w)

    axial = radius = cornerA = cornerR = outline = None
    if transform is not None:
        outline = _outline(transform)
        if onMesh:
            axial, radius = mesh[:, :, 0].astype(np.float64), mesh[:, :, 1].astype(np.float64)
        else:
            axial, radius = _toART(transform, gridNm, gridNspan)
            cornerA, cornerR = _toART(transform, *np.meshgrid(nmEdges, nspanEdges, indexing="ij"))
    elif points is not None:
        ax, r, _ = cylindrical(points, axis=axis)
        with np.errstate(invalid="ignore", divide="ignore"):
            axial = (np.bincount(index, ax, ni * nj + 1)[:-1] / count).reshape(ni, nj)
            radius = (np.bincount(index, r, ni * nj + 1)[:-1] / count).reshape(ni, nj)
        if np.isfinite(axial).sum() >= 4:
            axial, radius = _fill(axial), _fill(radius)
            cornerA, cornerR = _corners(axial), _corners(radius)
            outline = {"hub": np.c_[cornerA[:, 0], cornerR[:, 0]],
                       "shroud": np.c_[cornerA[:, -1], cornerR[:, -1]],
                       "inlet": np.c_[cornerA[0], cornerR[0]],
                       "outlet": np.c_[cornerA[-1], cornerR[-1]]}
    return Average(mean.reshape(ni, nj, -1), wsum.reshape(ni, nj), count.reshape(ni, nj),
                   gridNm, gridNspan, axial, radius, nmEdges, nspanEdges, outside, names,
                   outline, cornerA, cornerR)


# --------------------------------------------------------------------------------------------
# Profiles


def _profileFromGrid(avg: Average, along, station):
    if along == "nspan":  # spanwise profile at nm = station: per j line, the nearest i
        pick = np.argmin(np.abs(avg.nm - station), axis=0)
        cols = np.arange(avg.nm.shape[1])
        at = (pick, cols)
        coordinate = avg.nspan[at]
    else:
        pick = np.argmin(np.abs(avg.nspan - station), axis=1)
        rows = np.arange(avg.nm.shape[0])
        at = (rows, pick)
        coordinate = avg.nm[at]
    return Profile(along, float(station), coordinate, avg.mean[at], avg.weight[at], avg.count[at],
                   list(avg.names), "grid")


def _profile(along, source, fields, station, bins, band, transform, coordinates, weights,
             tolerance, threads):
    if isinstance(source, Average):
        return _profileFromGrid(source, along, station)
    if not 0.0 <= station <= 1.0:
        raise ValueError(f"the station must lie in [0, 1]; got {station}")
    if not band > 0:
        raise ValueError(f"band must be positive; got {band}")
    points = _points(source)
    coords = _coordinates(points, coordinates, transform, ("nm", "nspan"), threads)
    n = len(coords)
    values, names = _fieldsArray(fields, n)
    w = _weights(weights, n)
    fixed, free = (coords[:, 0], coords[:, 1]) if along == "nspan" else (coords[:, 1], coords[:, 0])
    # The band is cut in the fixed coordinate; the profile bins run over [0, 1] in the other.
    near = (np.abs(fixed - station) <= band) & (fixed >= -tolerance) & (fixed <= 1 + tolerance)
    inside, index = _regularIndex(free, np.zeros_like(free), bins, 1, tolerance)
    index[~near] = bins
    mean, wsum, count = _binStats(index, bins, values, w)
    edges = np.linspace(0.0, 1.0, bins + 1)
    return Profile(along, float(station), 0.5 * (edges[1:] + edges[:-1]), mean, wsum, count, names,
                   f"points, band {band:.3g}")


def spanwiseProfile(source, fields=None, *, nm: float, bins: int = 50, band: float = 0.01,
                    transform=None, coordinates=None, weights=None, tolerance=1e-4,
                    threads=0) -> Profile:
    """Spanwise profile (hub to shroud) at the streamwise station `nm` in [0, 1].

    From an `Average`: for every span line of the grid, the bin (or node) nearest to `nm`.
    From points (Cartesian (N, 3), with `fields` and the transform or `coordinates` as in
    `circumferentialAverage`): the points with |nm - station| <= `band` (and inside the passage),
    averaged in `bins` regular nspan bins (weights honoured, empty bins NaN).
    """
    return _profile("nspan", source, fields, nm, bins, band, transform, coordinates, weights,
                    tolerance, threads)


def streamwiseProfile(source, fields=None, *, nspan: float, bins: int = 100, band: float = 0.01,
                      transform=None, coordinates=None, weights=None, tolerance=1e-4,
                      threads=0) -> Profile:
    """Streamwise profile (inlet to outlet, in nm) at the span `nspan` in [0, 1]; as
    `spanwiseProfile` with the roles of nm and nspan exchanged."""
    return _profile("nm", source, fields, nspan, bins, band, transform, coordinates, weights,
                    tolerance, threads)


# --------------------------------------------------------------------------------------------
# Blade to blade


def bladeToBlade(points, fields, *, nspan: float, band: float = 0.01, transform=None,
                 coordinates=None, axis=None, tolerance=1e-4, threads=0) -> BladeToBlade:
    """The points within `band` of the span surface `nspan` (|nspan_p - nspan| <= band),
    unwrapped to (m', theta): m' the library's `mprime` (dimensionless, ds / r summed from the
    inlet along the span line), theta the angle about the axis, so that angles in the (m', theta)
    plane are those on the surface of revolution.

    points: Cartesian (N, 3); coordinates: (N, 2) (nspan, mprime), (N, 3) (nspan, mprime, nm) or
    a mapping with those names, else all three converted by the transform. When nm is known,
    points with nm outside [0, 1] (beyond the inlet or the outlet) are left out. theta comes
    from the points about the transform's axis or `axis`.
    """
    if not 0.0 <= nspan <= 1.0:
        raise ValueError(f"nspan must lie in [0, 1]; got {nspan}")
    if not band > 0:
        raise ValueError(f"band must be positive; got {band}")
    points = _points(points)
    spaces = ("nspan", "mprime", "nm")
    if isinstance(coordinates, dict) and "nm" not in coordinates:
        spaces = spaces[:2]
    elif coordinates is not None and not isinstance(coordinates, dict):
        spaces = spaces[:np.shape(coordinates)[-1]] if np.ndim(coordinates) == 2 else spaces
    coords = _coordinates(points, coordinates, transform, spaces, threads)
    values, names = _fieldsArray(fields, len(coords))
    if len(points) != len(coords):
        raise ValueError(f"points has {len(points)} rows; the coordinates have {len(coords)}")
    near = np.abs(coords[:, 0] - nspan) <= band
    if coords.shape[1] == 3:  # beyond the inlet or the outlet: not on the span surface
        near &= (coords[:, 2] >= -tolerance) & (coords[:, 2] <= 1 + tolerance)
    index = np.flatnonzero(near)
    _, _, theta = cylindrical(points[index], transform=transform, axis=axis)
    if len(theta):
        centre = math.atan2(np.sin(theta).mean(), np.cos(theta).mean())
        theta = np.mod(theta - centre + np.pi, 2 * np.pi) - np.pi + centre
    return BladeToBlade(float(nspan), float(band), coords[index, 1].astype(np.float64), theta,
                        values[index], index, names)


# --------------------------------------------------------------------------------------------
# Plots (matplotlib, written to PNG without a display)


def _pyplot():
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    return plt


def plotMeridional(avg: Average, key: Union[int, str] = 0, path: str = "meridional.png",
                   levels: int = 12, title: Optional[str] = None):
    """Meridional map of one averaged field in the (axial, radius) plane with the passage
    outline: filled bins (regular grid) or filled contours (mesh nodes), iso-lines, a colour bar;
    empty bins are left white. Needs the positions (a transform or points)."""
    if avg.axial is None:
        raise ValueError("the average has no positions in the meridional plane: give the "
                         "transform or the points")
    plt = _pyplot()
    values = np.ma.masked_invalid(avg[key])
    fig, ax = plt.subplots(figsize=(8, 5))
    if avg.cornerAxial is not None:
        mesh = ax.pcolormesh(avg.cornerAxial, avg.cornerRadius, values, shading="flat",
                             cmap="viridis")
    else:
        mesh = ax.contourf(avg.axial, avg.radius, values, levels=levels, cmap="viridis")
    data = values.compressed()
    # Iso-lines only for a field that varies beyond round-off.
    if data.size > 3 and np.ptp(data) > 1e-6 * np.abs(data).max():
        lines = ax.contour(avg.axial, avg.radius, values, levels=levels, colors="k",
                           linewidths=0.5)
        ax.clabel(lines, fontsize=7, fmt="%.3g")
    if avg.outline:
        for curve in avg.outline.values():
            ax.plot(curve[:, 0], curve[:, 1], "k-", linewidth=1.5)
    name = avg.names[avg._index(key)]
    fig.colorbar(mesh, ax=ax, label=name, shrink=0.8)
    ax.set_xlabel("axial")
    ax.set_ylabel("radius")
    ax.set_aspect("equal")
    ax.set_title(title or f"circumferential average of {name}")
    fig.tight_layout()
    fig.savefig(path, dpi=120)
    plt.close(fig)
    return path


def plotProfile(profiles: Union[Profile, Sequence[Profile]], key: Union[int, str] = 0,
                path: str = "profile.png", title: Optional[str] = None):
    """One or several profiles of one field: spanwise profiles with span upwards, streamwise ones
    with nm to the right; empty bins are gaps."""
    plt = _pyplot()
    profiles = [profiles] if isinstance(profiles, Profile) else list(profiles)
    fig, ax = plt.subplots(figsize=(5, 5) if profiles[0].along == "nspan" else (7, 4))
    for p in profiles:
        label = f"{'nm' if p.along == 'nspan' else 'nspan'} = {p.station:.3g} ({p.source})"
        if p.along == "nspan":
            ax.plot(p[key], p.coordinate, "o-", markersize=3, label=label)
        else:
            ax.plot(p.coordinate, p[key], "o-", markersize=3, label=label)
    name = profiles[0].names[Average._index(profiles[0], key)]
    from matplotlib.ticker import MaxNLocator
    (ax.xaxis if profiles[0].along == "nspan" else ax.yaxis).set_major_locator(MaxNLocator(5))
    if profiles[0].along == "nspan":
        ax.set_xlabel(name)
        ax.set_ylabel("nspan (hub 0, shroud 1)")
    else:
        ax.set_xlabel("nm (inlet 0, outlet 1)")
        ax.set_ylabel(name)
    ax.grid(True, alpha=0.3)
    ax.legend()
    ax.set_title(title or f"{'spanwise' if profiles[0].along == 'nspan' else 'streamwise'} "
                          f"profile of {name}")
    fig.tight_layout()
    fig.savefig(path, dpi=120)
    plt.close(fig)
    return path


def plotBladeToBlade(b2b: BladeToBlade, key: Union[int, str] = 0, path: str = "b2b.png",
                     title: Optional[str] = None):
    """Blade-to-blade scatter: m' to the right, theta (degrees) upwards, coloured by the field.
    The scales are equal in radians (a conformal view, angles as on the surface) unless that would
    make the plot ten times wider than high or the reverse; the title then says so."""
    plt = _pyplot()
    fig, ax = plt.subplots(figsize=(8, 5))
    sc = ax.scatter(b2b.mprime, np.degrees(b2b.theta), c=b2b[key], s=6, cmap="viridis")
    name = b2b.names[Average._index(b2b, key)]
    fig.colorbar(sc, ax=ax, label=name, shrink=0.8)
    ax.set_xlabel("m' (from the inlet)")
    ax.set_ylabel("theta (degrees)")
    conformal = False
    if len(b2b.theta) > 1 and np.ptp(b2b.theta) > 0 and np.ptp(b2b.mprime) > 0:
        ratio = np.ptp(b2b.theta) / np.ptp(b2b.mprime)
        if 0.1 <= ratio <= 10:
            ax.set_aspect(np.pi / 180)  # one radian of theta as long as one unit of m'
            conformal = True
    ax.set_title(title or f"{name} at nspan = {b2b.nspan:.3g} +- {b2b.band:.3g} "
                          f"({len(b2b.theta)} points)" + ("" if conformal else ", scales not equal"))
    fig.tight_layout()
    fig.savefig(path, dpi=120)
    plt.close(fig)
    return path


# --------------------------------------------------------------------------------------------
# Annotated mesh files and the command line


def readPointData(path: str):
    """Points (N, 3) and point arrays {name: (N,) or (N, c)} of a VTK file, read with VTK's own
    readers (XML .vtu/.vts/.vtp/.vtr/.vti/.vtm and legacy .vtk); a multiblock file contributes
    every leaf block, concatenated in order; an array missing from some block is dropped.
    Raises FileNotFoundError, or ValueError when VTK cannot read the file."""
    if not os.path.isfile(path):
        raise FileNotFoundError(f"no such file: {path}")
    from vtkmodules.util.numpy_support import vtk_to_numpy
    from vtkmodules.vtkCommonDataModel import vtkDataObjectTreeIterator, vtkDataSet, vtkMultiBlockDataSet
    if path.endswith(".vtk"):
        from vtkmodules.vtkIOLegacy import vtkGenericDataObjectReader as Reader
    else:
        from vtkmodules.vtkIOXML import vtkXMLGenericDataObjectReader as Reader
    from vtkmodules.vtkCommonCore import vtkLogger
    reader = Reader()
    reader.SetFileName(path)
    # VTK's own log lines would precede our one-line message on stderr.
    vtkLogger.SetStderrVerbosity(vtkLogger.VERBOSITY_OFF)
    try:
        reader.Update()
        data = reader.GetOutput()  # after a failure this runs the pipeline again
    finally:
        vtkLogger.SetStderrVerbosity(vtkLogger.VERBOSITY_WARNING)
    if data is None:
        raise ValueError(f"VTK cannot read {path}")
    blocks = []
    if isinstance(data, vtkMultiBlockDataSet) or data.IsA("vtkDataObjectTree"):
        it = vtkDataObjectTreeIterator()
        it.SetDataSet(data)
        it.VisitOnlyLeavesOn()
        it.SkipEmptyNodesOn()
        it.InitTraversal()
        while not it.IsDoneWithTraversal():
            leaf = it.GetCurrentDataObject()
            if isinstance(leaf, vtkDataSet) and leaf.GetNumberOfPoints():
                blocks.append(leaf)
            it.GoToNextItem()
    elif isinstance(data, vtkDataSet):
        blocks.append(data)
    if not blocks:
        raise ValueError(f"{path} holds no points")
    points, arrays = [], []
    for b in blocks:
        n = b.GetNumberOfPoints()
        points.append(np.array([b.GetPoint(k) for k in range(n)]) if b.GetPoints() is None
                      else vtk_to_numpy(b.GetPoints().GetData()).astype(np.float64))
        pd = b.GetPointData()
        arrays.append({pd.GetArrayName(k): vtk_to_numpy(pd.GetArray(k))
                       for k in range(pd.GetNumberOfArrays()) if pd.GetArray(k) is not None})
    names = [k for k in arrays[0] if all(k in a for a in arrays)]
    return (np.concatenate(points),
            {k: np.concatenate([a[k] for a in arrays]) for k in names})


def _parser():
    import argparse
    p = argparse.ArgumentParser(
        prog="python3 -m qor average",
        description="Circumferential averages of a mesh file annotated by `python3 -m qor "
                    "annotate` (point arrays nm, nspan, mprime): a table of the averaged grid "
                    "and PNG plots (meridional map, spanwise profile, blade-to-blade view).")
    p.add_argument("input", help="annotated VTK file (.vtu, .vts, .vtm, ...)")
    p.add_argument("--field", action="append", required=True,
                   help="point array to average (repeat for several; NAME:c takes component c)")
    p.add_argument("--weight", help="point array of weights (area, volume, mass flux)")
    p.add_argument("--mass-flux", nargs=2, metavar=("DENSITY", "VELOCITY"),
                   help="weights density * |meridional velocity| from these point arrays (the "
                        "velocity Cartesian, 3 components), times --weight if given; the "
                        "meridional direction is taken as the mean direction of growing nm "
                        "of the file's own points")
    p.add_argument("--nm", type=int, default=100, help="bins along the passage (100)")
    p.add_argument("--nspan", type=int, default=50, help="bins hub to shroud (50)")
    p.add_argument("--axis", nargs=6, type=float, metavar=("PX", "PY", "PZ", "DX", "DY", "DZ"),
                   default=(0, 0, 0, 0, 0, 1), help="axis point and direction (default z axis)")
    p.add_argument("--station", type=float, default=0.5, help="nm of the spanwise profile (0.5)")
    p.add_argument("--span", type=float, default=0.5, help="nspan of the blade-to-blade view (0.5)")
    p.add_argument("--band", type=float, default=0.02, help="half width of the blade-to-blade "
                   "band in nspan (0.02)")
    p.add_argument("--output", "-o", default=None,
                   help="prefix of the files written (default: the input without extension)")
    p.add_argument("--no-plots", action="store_true", help="write only the table")
    return p


def _column(arrays, field, path):
    name, _, comp = field.partition(":")
    if name not in arrays:
        raise ValueError(f"{path} has no point array {name!r}; it has {sorted(arrays)}")
    a = arrays[name]
    if a.ndim == 2:
        if not comp:
            if a.shape[1] != 1:
                raise ValueError(f"point array {name!r} has {a.shape[1]} components: "
                                 f"name one as {name}:0 ... {name}:{a.shape[1] - 1}")
            comp = "0"
        a = a[:, int(comp)]
    return np.asarray(a, np.float64)


def _fileMassFlux(points, nm, nspan, density, velocity, axis, bins):
    """density * |u_m| for a file without its transform: the streamwise direction at a point is
    that of its bin's row of centres (centred differences of the bins' mean (axial, radius)
    along nm), an estimate as good as the grid resolves the passage."""
    coords = np.c_[nm, nspan]
    avg = circumferentialAverage(points, np.zeros(len(points)), coordinates=coords,
                                 nm=bins[0], nspan=bins[1], axis=axis)
    if avg.axial is None or not np.isfinite(avg.axial).all():
        raise ValueError("too few points in the passage to find its streamwise direction")
    dA, dR = np.gradient(avg.axial, axis=0), np.gradient(avg.radius, axis=0)
    length = np.hypot(dA, dR)
    length[length == 0] = 1.0
    sA, sR = (dA / length).ravel(), (dR / length).ravel()
    inside, index = _regularIndex(coords[:, 0], coords[:, 1], bins[0], bins[1], 1e-4)
    index = np.where(inside, index, 0)
    c = _frame(None, axis).vectorToART(points, velocity).astype(np.float64)
    um = c[:, 0] * sA[index] + c[:, 1] * sR[index]
    return np.asarray(density, np.float64) * np.abs(um)


def averageMain(argv) -> int:
    """`python3 -m qor average`: returns the exit status (0 done, 2 bad arguments or input)."""
    import sys
    args = _parser().parse_args(argv)
    try:
        points, arrays = readPointData(args.input)
        for need in ("nm", "nspan"):
            if need not in arrays:
                raise ValueError(f"{args.input} has no point array {need!r}: annotate it first "
                                 "with `python3 -m qor annotate`")
        fields = {f: _column(arrays, f, args.input) for f in args.field}
        weights = _column(arrays, args.weight, args.input) if args.weight else None
        axis = (tuple(args.axis[:3]), tuple(args.axis[3:]))
        if args.mass_flux:
            rho = _column(arrays, args.mass_flux[0], args.input)
            if args.mass_flux[1] not in arrays or arrays[args.mass_flux[1]].shape[1:] != (3,):
                raise ValueError(f"velocity {args.mass_flux[1]!r} must be a 3-component point "
                                 f"array of {args.input}")
            w = _fileMassFlux(points, arrays["nm"], arrays["nspan"], rho,
                              arrays[args.mass_flux[1]], axis, (args.nm, args.nspan))
            weights = w if weights is None else w * weights
        coords = {"nm": arrays["nm"], "nspan": arrays["nspan"]}
        avg = circumferentialAverage(points, fields, coordinates=coords, weights=weights,
                                     nm=args.nm, nspan=args.nspan, axis=axis)
    except (ValueError, OSError) as e:
        print(f"python3 -m qor average: {e}", file=sys.stderr)
        return 2
    prefix = args.output or os.path.splitext(args.input)[0]
    folder = os.path.dirname(prefix)
    if folder:
        os.makedirs(folder, exist_ok=True)
    table = np.column_stack([avg.nm.ravel(), avg.nspan.ravel(), avg.axial.ravel(),
                             avg.radius.ravel(), avg.count.ravel(), avg.weight.ravel(),
                             avg.mean.reshape(-1, len(avg.names))])
    header = ",".join(["nm", "nspan", "axial", "radius", "count", "weight"] + avg.names)
    np.savetxt(prefix + "-average.csv", table, delimiter=",", header=header, comments="",
               fmt="%.17g")
    written = [prefix + "-average.csv"]
    print(f"{len(points)} points, {avg.outside} outside the passage, "
          f"{int((avg.count == 0).sum())} of {avg.count.size} bins empty")
    if not args.no_plots:
        for k, name in enumerate(avg.names):
            safe = name.replace(":", "_")
            written.append(plotMeridional(avg, k, f"{prefix}-map-{safe}.png"))
        prof = spanwiseProfile(points, fields, nm=args.station, bins=args.nspan,
                               band=0.5 / args.nm, coordinates=coords, weights=weights)
        written.append(plotProfile(prof, 0, f"{prefix}-spanwise.png"))
        if "mprime" in arrays:
            b2b = bladeToBlade(points, fields, nspan=args.span, band=args.band, axis=axis,
                               coordinates={"nspan": arrays["nspan"], "mprime": arrays["mprime"]})
            written.append(plotBladeToBlade(b2b, 0, f"{prefix}-b2b.png"))
        else:
            print("no point array 'mprime': no blade-to-blade view")
    for w in written:
        print("wrote", w)
    return 0
