"""The package gives the C++ library's numbers bit for bit, for the same input, on the analytic
passages (the C++ side is the reference program run on the same files)."""

import copy

import numpy as np
import pytest

import qor
from conftest import T, annulus, assertBitwise, bend, runReference

ALL = list(range(8))
S = qor.TurboTransformSegmenter


def compare(tmp_path, passage, frame, method):
    pts = passage.samples(3000)
    if frame == "xyz":
        # Cartesian input: the meridional curves placed at angle 0.7 about an axis along x
        # through (0.5, -1, 2), the points at angles of their own.
        axisPoint, axisDirection = np.array([0.5, -1.0, 2.0]), np.array([1.0, 0.0, 0.0])
        def toXYZ(art, phi):
            return np.c_[axisPoint[0] + art[:, 0], axisPoint[1] + art[:, 1] * np.cos(phi),
                         axisPoint[2] + art[:, 1] * np.sin(phi)].astype(np.float32)
        passage = copy.copy(passage)
        passage.hub, passage.shroud, passage.inlet, passage.outlet = (
            toXYZ(c, 0.7) for c in passage.curves())
        passage.axisPoint, passage.axisDirection = tuple(axisPoint), tuple(axisDirection)
        pts = toXYZ(pts, pts[:, 2])
    ref = runReference(tmp_path, passage, pts, frame=frame, method=method)
    t = T()
    if frame == "xyz":
        t.initializeFromXYZ(*passage.curves(), passage.axisPoint, passage.axisDirection)
        convert = t.convertXYZtoSpace
    else:
        t.initializeFromART(*passage.curves(), passage.axisPoint, passage.axisDirection)
        convert = t.convertARTtoSpace
    assert t.createBackgroundMesh(method, 2000) == ref("folded.i32", 1, np.int32)[0]

    ni, nj = t.getBackgroundMeshSize()
    assertBitwise(t.getBackgroundMesh().reshape(-1, 3), ref("mesh.f32"))
    assert ni * nj == len(ref("mesh.f32"))
    assertBitwise(t.getNSpanValues(), ref("nspanvalues.f64", 1, np.float64))

    values, streamwise, spanwise = convert(pts, ALL, withDirections=True)
    assertBitwise(values, ref("forward.f32", 8))
    assertBitwise(streamwise, ref("streamwise.f32"))
    assertBitwise(spanwise, ref("spanwise.f32"))
    assertBitwise(convert(T.nspan, pts), ref("nspan.f32", 1))
    # one point at a time gives the list's numbers
    for k in range(0, len(pts), 250):
        assert np.float32(convert(T.nm, tuple(pts[k]))) == values[k, T.nm]

    if frame == "art":
        tns = t.convertARTtoSpaceTNs(T.nm, pts)
        assertBitwise(tns, ref("tns.f32"))
        back = np.array([t.convertSpaceTNsToART(T.nm, tuple(p)) for p in tns], np.float32)
        assertBitwise(back, ref("inverse.f32"))
        assertBitwise(t.convertSpaceTNsToART(T.nm, tns), ref("inverse_array.f32"))
    assertBitwise(t.getConstantSpace(T.nspanConst, 0.5), ref("const_nspan.f32"))
    assertBitwise(t.getConstantSpace(T.nmConst, 0.5), ref("const_nm.f32"))
    return t, pts, ref


@pytest.mark.parametrize("method", [T.linear, T.nonLinear])
@pytest.mark.parametrize("frame", ["art", "xyz"])
@pytest.mark.parametrize("make", [annulus, bend])
def test_analytic_passages_match_the_library(tmp_path, make, frame, method):
    compare(tmp_path, make(), frame, method)


@pytest.mark.parametrize("make", [annulus, bend])
def test_segments_match_the_library(tmp_path, make):
    passage = make()
    pts = passage.samples(2000)
    uv = np.random.default_rng(5).uniform(0, 1, (500, 3)).astype(np.float32)
    ref = runReference(tmp_path, passage, pts, uv=uv)
    seg = S(passage.build(), S.mergedSpan)
    seg.setInternalBoundaries(passage.boundaries, True)
    assert seg.getLastSegmentID() == len(passage.boundaries)
    for s in range(seg.getLastSegmentID() + 1):
        assertBitwise(seg.convertARTtoSpaceNspan(s, S.mprime, pts), ref(f"segment{s}.f32"))
    assertBitwise(seg.convertSpaceNspanToART(0, S.mprime, uv), ref("segment_inverse.f32"))
    u = seg.convertARTtoSpaceNspan(1, S.mprime, tuple(pts[3]))
    assert np.float32(u[0]) == ref("segment1.f32")[3, 0]
