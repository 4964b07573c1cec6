"""The package's list forms give the numbers of its one-point forms bit for bit (each bound to the
library's own call), in both frames, on the analytic passages; a transform set up from Cartesian
curves has the mesh of one set up from the same curves in (axial, radial, theta)."""

import numpy as np
import pytest

import qor
from conftest import T, annulus, assertBitwise, bend

ALL = list(range(8))
S = qor.TurboTransformSegmenter


def each(call, rows):
    """call(row) for every row (a triplet), as float32."""
    return np.array([call(tuple(q)) for q in rows], np.float32)


@pytest.mark.parametrize("method", [T.linear, T.nonLinear])
@pytest.mark.parametrize("make", [annulus, bend])
def test_lists_give_the_one_point_numbers_in_both_frames(make, method):
    passage = make()
    pts = passage.samples(3000)
    t = passage.build(method)
    # Cartesian input: the meridional curves placed at angle 0.7 about an axis along x through
    # (0.5, -1, 2), the points at angles of their own.
    toXYZ = lambda art, phi: np.c_[0.5 + art[:, 0], -1 + art[:, 1] * np.cos(phi),
                                   2 + art[:, 1] * np.sin(phi)].astype(np.float32)
    x = T()
    x.initializeFromXYZ(*(toXYZ(c, 0.7) for c in passage.curves()), (0.5, -1, 2), (1, 0, 0))
    assert x.createBackgroundMesh(method, 2000) == 0
    mesh = t.getBackgroundMesh()
    np.testing.assert_allclose(x.getBackgroundMesh(), mesh, atol=1e-5, rtol=0)
    ni, nj = t.getBackgroundMeshSize()
    assert mesh.shape == (ni, nj, 3) and mesh.dtype == np.float32
    other = passage.build(T.linear if method == T.nonLinear else T.nonLinear)
    assert other.getBackgroundMeshSize() != (ni, nj)  # the method reaches the library
    spans = t.getNSpanValues()
    assert spans.dtype == np.float64 and len(spans) == nj and (np.diff(spans) > 0).all()

    few = slice(None, None, -50)  # every 50th point, the last one included
    xyz = toXYZ(pts, pts[:, 2])
    byFrame = [(t.convertARTtoSpace, t.getUnitVectorsFromART, pts),
               (x.convertXYZtoSpace, x.getUnitVectorsFromXYZ, xyz)]
    for convert, unitVectors, p in byFrame:
        values, streamwise, spanwise = convert(p, ALL, withDirections=True)
        assertBitwise(values[few], each(lambda q: [convert(s, q) for s in ALL], p[few]))
        assertBitwise(convert(T.nspan, p), values[:, T.nspan])
        for a, b in zip((streamwise, spanwise), unitVectors(p)):
            assertBitwise(a, b)
    status = t.locationStatus(pts)
    inside = status == T.inside
    np.testing.assert_allclose(x.convertXYZtoSpace(xyz, ALL)[inside],
                               t.convertARTtoSpace(pts, ALL)[inside], atol=1e-4, rtol=0)
    assertBitwise(status[few], np.array([t.locationStatus(tuple(q)) for q in pts[few]], np.int8))

    tns = t.convertARTtoSpaceTNs(T.nm, pts)
    assertBitwise(tns[few], each(lambda q: t.convertARTtoSpaceTNs(T.nm, q), pts[few]))
    # the list inverse is the library's array form: the one-point path within float rounding
    np.testing.assert_allclose(t.convertSpaceTNsToART(T.nm, tns)[few],
                               each(lambda q: t.convertSpaceTNsToART(T.nm, q), tns[few]),
                               atol=2e-6, rtol=0)
    for const, space, n in ((T.nspanConst, T.nspan, ni), (T.nmConst, T.nm, nj)):
        line = t.getConstantSpace(const, 0.5)
        assert len(line) == n
        np.testing.assert_allclose(t.convertARTtoSpace(space, line), 0.5, atol=1e-5)


@pytest.mark.parametrize("make", [annulus, bend])
def test_segment_lists_give_the_one_point_numbers(make):
    passage = make()
    pts = passage.samples(2000)
    uv = np.random.default_rng(5).uniform(0, 1, (500, 3)).astype(np.float32)
    seg = S(passage.build(), S.mergedSpan)
    seg.setInternalBoundaries(passage.boundaries, True)
    assert seg.getLastSegmentID() == len(passage.boundaries)
    for s in range(seg.getLastSegmentID() + 1):
        assertBitwise(seg.convertARTtoSpaceNspan(s, S.mprime, pts)[::20],
                      each(lambda q: seg.convertARTtoSpaceNspan(s, S.mprime, q), pts[::20]))
        assertBitwise(seg.convertSpaceNspanToART(s, S.mprime, uv),
                      each(lambda q: seg.convertSpaceNspanToART(s, S.mprime, q), uv))
