"""The package's own behaviour: exceptions, argument shapes, copies, object lifetimes and the GIL."""

import copy
import gc
import threading
import time
import weakref

import numpy as np
import pytest

import qor
from conftest import T, annulus, bend

S = qor.TurboTransformSegmenter


@pytest.fixture(scope="module")
def duct():
    return annulus().build()


def test_library_failures_raise_the_class_of_their_branch(duct):
    assert issubclass(qor.InvalidDataError, qor.DataError) and issubclass(qor.DataError, qor.Error)
    assert issubclass(qor.NullPointerError, qor.InternalError)
    assert issubclass(qor.InternalError, qor.Error) and issubclass(qor.Error, Exception)
    with pytest.raises(qor.NullPointerError) as e:
        T().convertARTtoSpace(T.nm, (1, 1.5, 0))
    assert (str(e.value), e.value.className, e.value.functionName, e.value.errorType) == (
        "Null pointer to m_topo.", "TurboTransform", "convertARTtoSpace", 4)
    p = annulus()
    nan = p.hub.copy()
    nan[3, 0] = np.nan
    for call, error, text in (
            (lambda: duct.convertARTtoSpace(9, (1, 1.5, 0)), qor.InternalError,
             r"Space \(9\) not allowed"),
            (lambda: duct.convertARTtoSpaceTNs(T.nspan, np.zeros((5, 3))), qor.InternalError, ""),
            (lambda: T().initializeFromART(nan, *p.curves()[1:], (0, 0, 0), (0, 0, 1)),
             qor.InvalidDataError, ""),
            (lambda: T().initializeFromART(p.hub, p.hub, p.inlet, p.outlet, (0, 0, 0), (0, 0, 1)),
             qor.InternalError, "same"),
            (lambda: S(None, S.mergedSpan), qor.NullPointerError, ""),
            (lambda: T().getBackgroundMeshSize(), qor.NullPointerError, "")):
        with pytest.raises(error, match=text):
            call()


@pytest.mark.parametrize("bad, error, text", [
    (np.zeros((4, 4)), ValueError, r"p must be .* shape \(N, 3\), got an array of shape \(4, 4\)"),
    (np.zeros((2, 3, 3)), ValueError, r"shape \(2, 3, 3\)"),
    (np.zeros(4), ValueError, r"shape \(4,\)"),
    ("abc", TypeError, "p must hold numbers"),
    (np.array([1 + 2j, 0, 0]), TypeError, "complex"),
    (None, TypeError, "p must"),
])
def test_wrongly_shaped_points_are_refused_naming_the_argument(duct, bad, error, text):
    with pytest.raises(error, match=text):
        duct.convertARTtoSpace(T.nm, bad)


def test_every_layout_of_a_list_converts_like_float32(duct):
    pts = annulus().samples(1000)
    ref = duct.convertARTtoSpace(pts, [T.nm, T.nspan])
    assert ref.dtype == np.float32 and ref.shape == (1000, 2)
    readOnly = np.frombuffer(pts.tobytes(), np.float32).reshape(-1, 3)
    for layout in (pts.astype(np.float64), np.asfortranarray(pts), np.repeat(pts, 2, 1)[:, ::2],
                   np.repeat(pts.astype(np.float64), 2, 1)[:, ::2], pts.tolist(), readOnly):
        np.testing.assert_array_equal(duct.convertARTtoSpace(layout, [T.nm, T.nspan]), ref)
    assert duct.convertARTtoSpace(np.zeros((0, 3)), [T.nm]).shape == (0, 1)
    # spaces are class attributes with the library's numbers, and plain numbers are accepted
    assert (int(T.nspan), int(T.nm), int(T.BMfine), int(S.rnm)) == (4, 5, 8000, 2)
    np.testing.assert_array_equal(duct.convertARTtoSpace(pts, [5, 4]), ref)
    with pytest.raises(ValueError, match="spaces holds 9"):
        duct.convertARTtoSpace(pts, [T.nm, 9])
    # exact values of the duct: nm = axial / 2, theta, nspan = radius - 1
    assert duct.convertARTtoSpaceTNs(T.nm, (1, 1.5, 0.3)) == pytest.approx((0.5, 0.3, 0.5), abs=1e-5)


def test_statuses_of_the_list_forms(duct):
    """Statuses say which side; the thread counts are the library's (its own tests compare them)."""
    pts = annulus().samples(9000, margin=0.3)
    with pytest.raises(ValueError, match="threads must be 0"):
        duct.convertARTtoSpace(pts, [T.nm], threads=-1)
    values, status = duct.convertARTtoSpace(pts, [T.nm, T.nspan], withStatus=True)
    assert status.dtype == np.int8
    np.testing.assert_array_equal(status, duct.locationStatus(pts))
    # the duct: axial 0..2, radius 1..2; a corner point goes to the side it is furthest out of
    cases = {(1, 1.5): T.inside, (1, 1): T.inside, (2, 2): T.inside, (1, 0.9): T.beyondHub,
             (1, 2.1): T.beyondShroud, (-0.1, 1.5): T.beforeInlet, (2.1, 1.5): T.afterOutlet,
             (-0.5, 2.1): T.beforeInlet, (2.1, 0.5): T.beyondHub}
    for (a, r), where in cases.items():
        assert duct.locationStatus((a, r, 0.3)) == where, (a, r)
    inside = status == T.inside
    assert ((values[inside] >= 0) & (values[inside] <= 1)).all() and 0 < inside.mean() < 1


def test_a_copy_is_independent_of_its_source():
    t = bend().build()
    pts = bend().samples(500)
    before = t.convertARTtoSpace(pts, list(range(8)))
    for c in (copy.copy(t), copy.deepcopy(t)):
        np.testing.assert_array_equal(c.convertARTtoSpace(pts, list(range(8))), before)
        c.createBackgroundMesh(T.linear, 500)
        assert c.getBackgroundMeshSize() != t.getBackgroundMeshSize()
    np.testing.assert_array_equal(t.convertARTtoSpace(pts, list(range(8))), before)


def test_a_segmenter_keeps_its_transform_alive():
    p = annulus()
    t = p.build()
    alive = weakref.ref(t)
    seg = S(t, S.mergedSpan)
    seg.setInternalBoundaries(p.boundaries, [True, True])
    del t
    gc.collect()  # the last Python reference to the transform is gone
    assert alive() is not None
    u = seg.convertARTtoSpaceNspan(1, S.nm, (1.05, 1.5, 0))
    assert u == pytest.approx((0.5, 0.5, 0.0), abs=1e-3)
    twin = copy.copy(seg)
    del seg
    gc.collect()
    assert alive() is not None and twin.convertARTtoSpaceNspan(1, S.nm, (1.05, 1.5, 0)) == u
    assert isinstance(twin.getTurboTransform(), T)
    back = twin.convertSpaceNspanToART(1, S.nm, np.array([u], np.float32))
    assert back[0, :2] == pytest.approx((1.05, 1.5), abs=2e-3)


def test_list_conversions_release_the_gil():
    """While one thread converts a long list, another keeps running Python code."""
    t = bend().build()
    pts = np.tile(bend().samples(50000), (4, 1))

    def spin(stop, before=lambda: None):
        ticks, start = 0, time.perf_counter()
        before()
        while not stop():
            ticks += 1
        return ticks / (time.perf_counter() - start)

    alone = spin(lambda s=time.perf_counter() + 0.2: time.perf_counter() > s)
    done = threading.Event()
    worker = threading.Thread(
        target=lambda: (t.convertARTtoSpace(pts, [T.nm, T.nspan, T.rnm], threads=1), done.set()))
    during = spin(done.is_set, worker.start)
    worker.join()
    # Holding the GIL for the call would leave this thread a few switch intervals of a call that
    # takes over a second in a debug build: a rate near 0 instead of near its own.
    assert during > 0.25 * alone, (during, alone)


def test_axis_frame_vector_components_one_pair_or_lists_of_equal_length():
    f = qor.AxisFrame((1, 2, 3), (2, 0, 0))  # along x: radial +y at the first point, +z at the second
    pts = np.array([[0.5, 4.0, 3.0], [2.0, 2.0, 5.0]])
    v = np.array([[1.0, 2.0, 3.0], [1.0, 2.0, 3.0]])
    c = f.vectorToART(pts, v)  # tangential = x cross radial: +z, then -y
    np.testing.assert_allclose(c, [[1, 2, 3], [1, 3, -2]], atol=1e-6)
    np.testing.assert_allclose(f.vectorToXYZ(pts, c, threads=2), v, atol=1e-6)
    assert f.vectorToART(pts[1], v[1]) == tuple(c[1])
    with pytest.raises(ValueError, match=r"same number of rows \(2 and 1\)"):
        f.vectorToART(pts, v[:1])
    with pytest.raises(ValueError, match="both be one point"):
        f.vectorToXYZ(pts[0], c)
