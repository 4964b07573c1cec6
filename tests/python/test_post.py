"""qor.post: averages, profiles and blade-to-blade views on analytic passages (known bin values),
the real SU2 wedge (a theta-dependent field averages to its theta-mean) and the command line."""

import os
import subprocess
import sys

import numpy as np
import pytest

import qor
import qor.post as post
from conftest import annulus, bend, cartesian, su2Nodes
from vtkfiles import grid, multiblock, write

T = qor.TurboTransform


def test_regularGridOnAnnulusGivesBinValuesHonoursWeightsAndMarksEmptyBins(tmp_path):
    t = annulus().build()
    art = annulus().samples(200000).astype(np.float64)
    xyz = cartesian(art)
    nmExact, nsExact, theta = art[:, 0] / 2.0, art[:, 1] - 1.0, art[:, 2]
    ni, nj = 20, 10
    fields = {"linear": 3.0 * nmExact + 2.0 * nsExact,
              # the bin's label, constant inside each bin
              "label": (np.floor(np.clip(nmExact, 0, 1 - 1e-9) * ni)
                        + 0.01 * np.floor(np.clip(nsExact, 0, 1 - 1e-9) * nj)),
              "sign": np.where(theta >= 0, 1.0, -1.0)}
    avg = post.circumferentialAverage(xyz, fields, transform=t, nm=ni, nspan=nj)

    i, j = np.meshgrid(np.arange(ni), np.arange(nj), indexing="ij")
    assert avg.mean.shape == (ni, nj, 3) and (avg.count > 0).all()
    assert np.abs(avg["label"] - (i + 0.01 * j)).max() < 0.01
    # A linear field's bin mean differs from its centre value by at most half a bin each way.
    bound = 3.0 * 0.5 / ni + 2.0 * 0.5 / nj
    assert np.abs(avg["linear"] - (3.0 * avg.nm + 2.0 * avg.nspan)).max() < bound
    np.testing.assert_allclose(avg.nm[:, 0], (np.arange(ni) + 0.5) / ni)
    # Centres placed in the meridional plane by the library's inverse conversion.
    assert np.abs(avg.axial - 2.0 * avg.nm).max() < 1e-4
    assert np.abs(avg.radius - 1.0 - avg.nspan).max() < 1e-4
    tol = 1e-4  # the default tolerance on nm and nspan
    outsideExact = np.count_nonzero((np.abs(nmExact - 0.5) > 0.5 + tol) | (np.abs(nsExact - 0.5) > 0.5 + tol))
    assert abs(avg.outside - outsideExact) <= 3 and avg.count.sum() + avg.outside == len(xyz)
    assert set(avg.outline) == {"hub", "shroud", "inlet", "outlet"}

    # Weights: 2.5 for theta >= 0, 0 below: the weighted mean of sign is exactly 1 everywhere,
    # the weights summed are 2.5 per positive point; unweighted it is near 0.
    w = np.where(theta >= 0, 2.5, 0.0)
    wavg = post.circumferentialAverage(xyz, fields["sign"], transform=t, weights=w, nm=ni, nspan=nj)
    assert np.all(wavg[0] == 1.0) and np.abs(avg["sign"]).max() < 0.2
    np.testing.assert_allclose(wavg.weight, 2.5 * avg.count * (avg["sign"] + 1) / 2, rtol=1e-9)
    # Mass flux: density * |axial velocity| in an annulus, swirl ignored.
    rho, ua = 1.0 + nsExact, np.sin(5 * nmExact)
    u = np.c_[-np.sin(theta) * 7.0, np.cos(theta) * 7.0, ua]  # swirl of 7 plus the axial part
    mf = post.massFluxWeights(xyz[:1000], rho[:1000], u[:1000], area=w[:1000], transform=t)
    np.testing.assert_allclose(mf, rho[:1000] * np.abs(ua[:1000]) * w[:1000], rtol=1e-5, atol=1e-6)

    # Only the first half of the passage: the second half's bins are empty, marked not zero.
    half = post.circumferentialAverage(xyz[art[:, 0] < 1.0], fields["linear"][art[:, 0] < 1.0],
                                       transform=t, nm=ni, nspan=nj, weights=w[art[:, 0] < 1.0] + 1)
    assert np.isfinite(half[0][: ni // 2]).all() and np.isnan(half[0][ni // 2:]).all()
    assert (half.count[ni // 2:] == 0).all() and (half.weight[ni // 2:] == 0).all()

    # Profiles: from the grid, its bins nearest the station; from points, a band around it.
    fromGrid = post.spanwiseProfile(avg, nm=0.52)
    np.testing.assert_array_equal(fromGrid["linear"], avg["linear"][10])
    np.testing.assert_array_equal(fromGrid.count, avg.count[10])
    span = post.spanwiseProfile(xyz, fields["linear"], nm=0.5, band=0.02, bins=nj, transform=t)
    assert np.abs(span[0] - (1.5 + 2.0 * span.coordinate)).max() < 3 * 0.02 + 2.0 * 0.5 / nj
    stream = post.streamwiseProfile(xyz, fields["linear"], nspan=0.25, band=0.02, bins=ni, transform=t)
    assert np.abs(stream[0] - (3.0 * stream.coordinate + 0.5)).max() < 3.0 * 0.5 / ni + 2 * 0.02
    row = post.streamwiseProfile(avg, nspan=0.25)
    np.testing.assert_array_equal(row.mean, avg.mean[:, 2])

    # Blade to blade: the points within the band, at m' = axial / r (constant radius; the library
    # interpolates m' bilinearly between span lines, 1e-4 off 1/r) and their theta.
    b2b = post.bladeToBlade(xyz, fields, nspan=0.5, band=0.01, transform=t)
    inBand = np.flatnonzero((np.abs(nsExact - 0.5) <= 0.01 - 1e-5) & (nmExact >= 0) & (nmExact <= 1))
    assert set(inBand) <= set(b2b.index) and (np.abs(nsExact[b2b.index] - 0.5) <= 0.01 + 1e-5).all()
    assert (np.abs(nmExact[b2b.index] - 0.5) <= 0.5 + 2e-4).all()  # none beyond the inlet or outlet
    np.testing.assert_allclose(b2b.mprime, art[b2b.index, 0] / art[b2b.index, 1], atol=5e-4)
    np.testing.assert_allclose(b2b.theta, theta[b2b.index], atol=1e-6)
    np.testing.assert_array_equal(b2b["label"], fields["label"][b2b.index])

    # The plots are written (looked at by hand: see the README's section).
    for path in (post.plotMeridional(avg, "linear", str(tmp_path / "map.png")),
                 post.plotProfile([span, fromGrid], 0, str(tmp_path / "span.png")),
                 post.plotBladeToBlade(b2b, "linear", str(tmp_path / "b2b.png"))):
        assert os.path.getsize(path) > 10000

    for bad, text in (({"fields": fields["linear"][:-1]}, "fields"),
                      ({"weights": w[:-1]}, "weights"), ({"transform": None}, "coordinates")):
        with pytest.raises(ValueError, match=text):
            post.circumferentialAverage(xyz, **{"fields": fields["linear"], "transform": t, **bad})


def test_meshNodeGridOnBendGivesNodeValuesWithinHalfTheNodeSpacing():
    t = bend().build()
    art = bend().samples(200000, margin=0.0).astype(np.float64)
    rho, phi = np.hypot(art[:, 0], 3.0 - art[:, 1]), np.arctan2(art[:, 0], 3.0 - art[:, 1])
    # Concentric arcs: nm is the angle's fraction, nspan the fraction of the radial gap.
    f = 3.0 * phi / (np.pi / 2) + 2.0 * (1.5 - rho) / 0.5
    avg = post.circumferentialAverage(cartesian(art), f, transform=t, onMesh=True)
    ni, nj = t.getBackgroundMesh().shape[:2]
    assert avg.mean.shape == (ni, nj, 1) and avg.onMesh and (avg.count > 0).all()
    gapNm = np.diff(avg.nm, axis=0).max()
    gapNspan = np.diff(avg.nspan, axis=1).max()
    bound = 3.0 * gapNm / 2 + 2.0 * gapNspan / 2 + 1e-3
    assert np.abs(avg[0] - (3.0 * avg.nm + 2.0 * avg.nspan)).max() < bound
    np.testing.assert_array_equal(avg.axial, t.getBackgroundMesh()[:, :, 0])


def su2():
    # Rectangle z in [-0.15, 0.2], r in [0.25, 0.325] about the z axis (see the data's README).
    return su2Nodes()[1], annulus(-0.15, 0.2, 0.25, 0.325).build()


def test_su2WedgeAveragesAThetaFieldToItsThetaMean():
    nodes, t = su2()
    theta = np.arctan2(nodes[:, 1], nodes[:, 0])  # four planes 88.5 ... 91.5 degrees
    for kwargs in ({"nm": 35, "nspan": 14}, {"onMesh": True}):
        avg = post.circumferentialAverage(nodes, {"theta": theta, "z": nodes[:, 2]},
                                          transform=t, **kwargs)
        filled = avg.count > 0
        assert avg.outside == 0 and avg.count.sum() == len(nodes)  # hub nodes' round-off inside
        assert np.abs(avg["theta"][filled] - np.pi / 2).max() < 1e-9
        assert np.isnan(avg["theta"][~filled]).all()
        # The mesh's nodes are not evenly spaced: within half a bin.
        assert np.abs(avg["z"][filled] - (-0.15 + 0.35 * avg.nm[filled])).max() < 0.35 / 70 + 1e-6


def test_averageCommandOnAnAnnotatedMultiblockFile(tmp_path):
    nodes, t = su2()
    coords = t.convertXYZtoSpace(nodes, [T.nm, T.nspan, T.mprime])
    theta = np.arctan2(nodes[:, 1], nodes[:, 0])
    arrays = {"nm": coords[:, 0], "nspan": coords[:, 1], "mprime": coords[:, 2], "theta": theta,
              "rho": np.full(len(nodes), 1.2), "velocity": np.tile([30.0, -5.0, 100.0], (len(nodes), 1))}
    halves = np.array_split(np.arange(len(nodes)), 2)  # two blocks of points, no cells
    write(multiblock([(f"half{b}", grid(nodes[rows], np.zeros((0, 1), np.int64), 1,
                                        {name: a[rows] for name, a in arrays.items()}))
                      for b, rows in enumerate(halves)]), tmp_path / "wedge.vtm")
    run = lambda *args, file="wedge.vtm": subprocess.run(
        [sys.executable, "-m", "qor", "average", str(tmp_path / file), *args],
        capture_output=True, text=True, timeout=300)
    done = run("--field", "theta", "--field", "velocity:2", "--mass-flux", "rho", "velocity",
               "--nm", "20", "--nspan", "7", "-o", str(tmp_path / "out" / "wedge"))
    assert done.returncode == 0, done.stderr
    table = np.genfromtxt(tmp_path / "out" / "wedge-average.csv", delimiter=",", names=True)
    assert table["count"].sum() == len(nodes)
    filled = table["count"] > 0
    # Mass-flux weights differ in the 7th digit between planes (the radial velocity times the
    # estimated streamwise direction's tiny radial part).
    assert np.abs(table["theta"][filled] - np.pi / 2).max() < 1e-6
    assert np.isnan(table["theta"][~filled]).all()
    # Placed from the points themselves: the centres within half a bin.
    assert np.abs(table["axial"] - (-0.15 + 0.35 * table["nm"])).max() < 0.35 / 40 + 1e-6
    assert np.abs(table["radius"] - (0.25 + 0.075 * table["nspan"])).max() < 0.075 / 14 + 1e-6
    # Mass-flux weights: 1.2 * the axial velocity 100 per point (the passage is axial; the
    # streamwise direction estimated from the bins is axial to 1e-4).
    np.testing.assert_allclose(table["weight"], 120.0 * table["count"], rtol=1e-4)
    for png in ("map-theta", "map-velocity_2", "spanwise", "b2b"):
        assert os.path.getsize(tmp_path / "out" / f"wedge-{png}.png") > 10000

    bad = run("--field", "pressure")
    assert bad.returncode == 2 and "no point array 'pressure'" in bad.stderr
    (tmp_path / "bad.vtu").write_text("not a VTK file")
    bad = run("--field", "theta", file="bad.vtu")
    assert bad.returncode == 2 and bad.stderr.strip().splitlines() == [
        f"python3 -m qor average: VTK cannot read {tmp_path / 'bad.vtu'}"]
