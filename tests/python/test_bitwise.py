"""The package gives the C++ library's numbers bit for bit, for the same input, on the analytic
passages (the C++ side is the reference program run on the same files)."""

import numpy as np
import pytest

import qor
from conftest import T, annulus, assertBitwise, bend, runReference

ALL = list(range(8))
S = qor.TurboTransformSegmenter


@pytest.mark.parametrize("method", [T.linear, T.nonLinear])
@pytest.mark.parametrize("frame", ["art", "xyz"])
@pytest.mark.parametrize("make", [annulus, bend])
def test_analytic_passages_match_the_library(tmp_path, make, frame, method):
    passage = make()
    pts = passage.samples(3000)
    xyz = frame == "xyz"
    if xyz:
        # Cartesian input: the meridional curves placed at angle 0.7 about an axis along x
        # through (0.5, -1, 2), the points at angles of their own.
        toXYZ = lambda art, phi: np.c_[0.5 + art[:, 0], -1 + art[:, 1] * np.cos(phi),
                                       2 + art[:, 1] * np.sin(phi)].astype(np.float32)
        passage.hub, passage.shroud, passage.inlet, passage.outlet = (
            toXYZ(c, 0.7) for c in passage.curves())
        passage.axisPoint, passage.axisDirection = (0.5, -1.0, 2.0), (1.0, 0.0, 0.0)
        pts = toXYZ(pts, pts[:, 2])
    ref = runReference(tmp_path, passage, pts, frame=frame, method=method)
    t = T()
    (t.initializeFromXYZ if xyz else t.initializeFromART)(*passage.curves(), passage.axisPoint,
                                                          passage.axisDirection)
    convert = t.convertXYZtoSpace if xyz else t.convertARTtoSpace
    assert t.createBackgroundMesh(method, 2000) == ref("folded.i32", 1, np.int32)[0]
    assertBitwise(t.getBackgroundMesh().reshape(-1, 3), ref("mesh.f32"))
    assert np.prod(t.getBackgroundMeshSize()) == len(ref("mesh.f32"))
    assertBitwise(t.getNSpanValues(), ref("nspanvalues.f64", 1, np.float64))

    values, streamwise, spanwise = convert(pts, ALL, withDirections=True)
    assertBitwise(values, ref("forward.f32", len(pts)).T)
    assertBitwise(streamwise, ref("streamwise.f32"))
    assertBitwise(spanwise, ref("spanwise.f32"))
    assertBitwise(convert(T.nspan, pts), ref("nspan.f32", 1))
    # one point at a time gives the list's numbers
    for k in range(0, len(pts), 250):
        assert np.float32(convert(T.nm, tuple(pts[k]))) == values[k, T.nm]

    if not xyz:
        tns = t.convertARTtoSpaceTNs(T.nm, pts)
        assertBitwise(tns, ref("tns.f32"))
        back = np.array([t.convertSpaceTNsToART(T.nm, tuple(p)) for p in tns], np.float32)
        assertBitwise(back, ref("inverse.f32"))
        assertBitwise(t.convertSpaceTNsToART(T.nm, tns), ref("inverse_array.f32"))
    assertBitwise(t.getConstantSpace(T.nspanConst, 0.5), ref("const_nspan.f32"))
    assertBitwise(t.getConstantSpace(T.nmConst, 0.5), ref("const_nm.f32"))


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
