"""The segmenter's exact boundaries and segment choice through the package: the option's switch,
given boundary points at u = 0 and 1, the segment of a point for a triplet, a list and every
thread count, and the fast list inverse."""

import copy

import numpy as np
import pytest

import qor
from conftest import annulus

S = qor.TurboTransformSegmenter


def test_exact_boundaries_and_the_segment_of_points():
    passage = annulus()
    seg = S(passage.build(), S.backgroundMeshSpan)
    assert not seg.getExactBoundaries()
    seg.setExactBoundaries(True)
    assert seg.getExactBoundaries() and copy.copy(seg).getExactBoundaries()
    seg.setInternalBoundaries(passage.boundaries, True)
    for b, given in enumerate(passage.boundaries, start=1):
        assert np.abs(seg.convertARTtoSpaceNspan(b, S.mprime, given)[:, 0]).max() < 1e-3
        assert np.abs(seg.convertARTtoSpaceNspan(b - 1, S.mprime, given)[:, 0] - 1).max() < 1e-3

    pts = passage.samples(9000)
    many = seg.findSegment(pts, threads=1)
    assert many.dtype == np.int32 and set(np.unique(many)) == {-1, 0, 1, 2}
    assert [seg.findSegment(tuple(p)) for p in pts[:300]] == list(many[:300])
    assert np.array_equal(seg.findSegment(pts, threads=0), many)
    assert np.array_equal(seg.findSegment(pts, tolerance=10.0) >= 0, np.ones(len(pts), bool))
    with pytest.raises(qor.InvalidDataError, match="Tolerance"):
        seg.findSegment(pts, tolerance=-1.0)

    # The fast list inverse: the one-point results within float rounding.
    uv = np.random.default_rng(3).uniform(0, 1, (5000, 3)).astype(np.float32)
    exact = seg.convertSpaceNspanToART(1, S.m, uv)
    seg.setFastArrayInverse(True)
    assert seg.getFastArrayInverse() and copy.copy(seg).getFastArrayInverse()
    fast = seg.convertSpaceNspanToART(1, S.m, uv)
    assert 0 < np.abs(fast - exact).max() < 1e-6
    assert seg.convertSpaceNspanToART(1, S.m, tuple(uv[7])) == tuple(exact[7])

