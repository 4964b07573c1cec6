"""python3 -m qor annotate end to end: the real SU2 mesh as .vtu and as a .vtm of volume and
patches, CGNS files made by the CGNS tools (plot3d_to_cgns and the CGNS library), Plot3D, legacy
VTK, polygons, and bad input."""

import os
import shutil
import subprocess
import sys

import numpy as np
import pytest
from conftest import su2Nodes
from vtkfiles import arrays, grid, multiblock, write
from vtkmodules.vtkCommonDataModel import vtkStructuredGrid
from vtkmodules.vtkFiltersGeometry import vtkGeometryFilter
from vtkmodules.vtkIOLegacy import vtkUnstructuredGridWriter
from vtkmodules.vtkIOXML import vtkXMLPolyDataWriter

import qor
from qor import io

T = qor.TurboTransform


def annotate(*args):
    run = subprocess.run([sys.executable, "-m", "qor", "annotate", *map(str, args)],
                         capture_output=True, text=True, timeout=300)
    return run.returncode, run.stderr


def su2(tmp_path):
    """The SU2 stage as su2.vtu (hexahedra and a 'pressure' array) and su2.vtm (the volume and the
    HUB, SHROUD, INLET, OUTLET and PERIODIC patches, each patch block holding every node of the
    mesh and only its own faces), with its curve files in four layouts."""
    folder, nodes = su2Nodes()
    hexes = np.loadtxt(os.path.join(folder, "elements.csv"), delimiter=",", skiprows=1,
                       dtype=np.int64)[:, 2:]
    faces = np.loadtxt(os.path.join(folder, "boundary_faces.csv"), delimiter=",", skiprows=1,
                       dtype=str)
    volume = grid(nodes, hexes, 12, {"pressure": nodes[:, 2].copy()})
    write(volume, tmp_path / "su2.vtu")
    patches = [(m, grid(nodes, faces[np.char.startswith(faces[:, 0], m), 2:].astype(np.int64), 9))
               for m in ("HUB", "SHROUD", "INLET", "OUTLET", "PERIODIC")]
    write(multiblock([("fluid", volume)] + patches), tmp_path / "su2.vtm")
    curves = tmp_path / "curves"
    curves.mkdir()
    z, r = np.linspace(-0.15, 0.2, 15), np.linspace(0.25, 0.325, 7)
    (curves / "hub.csv").write_text("axial,radial\n" + "".join(f"{v!r},0.25\n" for v in z))
    (curves / "shroud.txt").write_text("# shroud\n" + "".join(f"{v!r} 0.325 0.5\n" for v in z))
    (curves / "inlet.dat").write_text(f"{len(r)}\n" + "".join(f"-0.15, {v!r}, 0\n" for v in r))
    (curves / "outlet.csv").write_text("curve;radius;axial\n" +
                                       "".join(f"out;{v!r};0.2\n" for v in r))
    return tmp_path


def rectangle(folder, a0, a1, r0, r1):
    """Curve files hub.txt, shroud.txt, inlet.txt and outlet.txt of the passage a0..a1 x r0..r1."""
    folder.mkdir()
    for name, ends in (("hub", (a0, r0, a1, r0)), ("shroud", (a0, r1, a1, r1)),
                       ("inlet", (a0, r0, a0, r1)), ("outlet", (a1, r0, a1, r1))):
        (folder / (name + ".txt")).write_text("{} {}\n{} {}\n".format(*ends))
    return folder


PATCHES = ["--hub", "HUB", "--shroud", "SHROUD", "--inlet", "INLET", "--outlet", "OUTLET"]


@pytest.mark.parametrize("source, passage", [("su2.vtm", "patches"), ("su2.vtm", "curves"),
                                             ("su2.vtu", "curves")])
def test_su2_mesh_exact_coordinates_at_every_node(tmp_path, source, passage):
    folder = su2(tmp_path)
    out = folder / ("out" + os.path.splitext(source)[1])
    options = PATCHES if passage == "patches" else ["--passage", folder / "curves"]
    status, err = annotate(folder / source, out, *options, "--directions", "--threads", 2)
    assert status == 0, err
    assert "outside the passage" in err and "background mesh" in err and "write" in err
    before = [(p, ds.GetClassName()) for p, ds in io.leaves(io.readMesh(str(folder / source)))]
    result = list(io.leaves(io.readMesh(str(out))))
    assert [(p, ds.GetClassName()) for p, ds in result] == before
    for path, ds in result:
        x = io.points(ds).astype(np.float64)
        r, z = np.hypot(x[:, 0], x[:, 1]), x[:, 2]
        a = arrays(ds)
        assert {"nspan", "nm", "mprime", "rnm", "location", "streamwise", "spanwise"} <= set(a)
        assert a["location"].dtype == np.int8 and a["nspan"].dtype == np.float32
        np.testing.assert_allclose(a["nspan"], (r - 0.25) / 0.075, atol=2e-5, rtol=0)
        np.testing.assert_allclose(a["nm"], (z + 0.15) / 0.35, atol=2e-5, rtol=0)
        np.testing.assert_allclose(a["mprime"], (z + 0.15) / r, atol=2e-4, rtol=0)
        interior = (np.abs(a["nspan"] - 0.5) < 0.49) & (np.abs(a["nm"] - 0.5) < 0.49)
        assert interior.any() and (a["location"][interior] == T.location.inside).all()
        assert set(np.unique(a["location"])) <= {0, 1, 2, 3, 4}
        np.testing.assert_allclose(a["streamwise"], np.tile([0, 0, 1], (len(x), 1)), atol=1e-3)
        np.testing.assert_allclose(a["spanwise"], np.c_[x[:, :2] / r[:, None], 0 * r], atol=1e-3)
        if path in [(), ("fluid",)]:
            np.testing.assert_array_equal(a["pressure"], x[:, 2])


ADD_BC = r"""
#include <stdio.h>
#include <stdlib.h>
#include <cgnslib.h>
/* addbc FILE ZONE NAME FAMILY i0 j0 k0 i1 j1 k1 [...]: family-specified BC_t patches on a
   structured zone (VTK reads family-specified patches) */
int main(int argc, char** argv) {
  int fn, bc, fam;
  if (cg_open(argv[1], CG_MODE_MODIFY, &fn)) { fprintf(stderr, "%s\n", cg_get_error()); return 1; }
  for (int a = 3; a + 7 < argc; a += 8) {
    cgsize_t r[6];
    for (int k = 0; k < 6; ++k) r[k] = atol(argv[a + 2 + k]);
    if (cg_boco_write(fn, 1, atoi(argv[2]), argv[a], FamilySpecified, PointRange, 2, r, &bc) ||
        cg_goto(fn, 1, "Zone_t", atoi(argv[2]), "ZoneBC_t", 1, "BC_t", bc, "end") ||
        cg_famname_write(argv[a + 1]) || cg_family_write(fn, 1, argv[a + 1], &fam)) {
      fprintf(stderr, "%s\n", cg_get_error()); return 1; }
  }
  return cg_close(fn) ? 1 : 0;
}
"""

# Two blade rows of an annular duct about the axis through (1, 2, 3) along x: axial 0..1 and
# 1..2.5, radius 1..1.5, a 10-degree sector; (ni, nj, nk) nodes, i axial, j radial, k theta.
ROWS = [((0.0, 1.0), (9, 5, 4)), ((1.0, 2.5), (13, 5, 4))]
AXIS = ["--axis-point", "1,2,3", "--axis-dir", "x"]


def plot3d(path):
    blocks = []
    for (a0, a1), (ni, nj, nk) in ROWS:
        th, r, a = np.meshgrid(np.radians(np.linspace(0, 10, nk)), np.linspace(1, 1.5, nj),
                               np.linspace(a0, a1, ni), indexing="ij")
        blocks.append(np.concatenate([(1 + a).ravel(), (2 + r * np.cos(th)).ravel(),
                                      (3 + r * np.sin(th)).ravel()]))
    with open(path, "wb") as f:
        np.array([len(ROWS)] + [n for _, dims in ROWS for n in dims], np.int32).tofile(f)
        np.concatenate(blocks).tofile(f)


def exact(ds):
    x = io.points(ds).astype(np.float64)
    return np.hypot(x[:, 1] - 2, x[:, 2] - 3) / 0.5 - 2, (x[:, 0] - 1) / 2.5


def test_cgns_patches_families_several_zones_and_plot3d_stay_structured(tmp_path):
    cc = shutil.which("cc") or shutil.which("gcc")
    if cc is None:
        pytest.skip("no C compiler for the CGNS fixture")
    subprocess.run([cc, "-x", "c", "-", "-o", tmp_path / "addbc", "-lcgns"], input=ADD_BC,
                   text=True, check=True)
    plot3d(tmp_path / "rows.xyz")
    subprocess.run(["plot3d_to_cgns", "-d", tmp_path / "rows.xyz", tmp_path / "rows.cgns"],
                   check=True, capture_output=True)
    (n1, j1, k1), (n2, j2, k2) = (dims for _, dims in ROWS)
    for zone, ni, extra in ((1, n1, ["INLET", "INFLOW", 1, 1, 1, 1, j1, k1]),
                            (2, n2, ["OUTLET", "OUTFLOW", n2, 1, 1, n2, j2, k2])):
        subprocess.run(list(map(str, [tmp_path / "addbc", tmp_path / "rows.cgns", zone,
                                      "HUB", "WALL", 1, 1, 1, ni, 1, k1,
                                      "SHROUD", "CASING", 1, j1, 1, ni, j1, k1, *extra])),
                       check=True)
    out = tmp_path / "rows.vtm"
    # HUB names a patch of each zone; OUTFLOW and casing (no case) name CGNS families.
    status, err = annotate(tmp_path / "rows.cgns", out, "--hub", "HUB", "--shroud", "casing",
                           "--inlet", "INLET", "--outlet", "OUTFLOW", *AXIS, "--size", 500)
    assert status == 0, err
    blocks = list(io.leaves(io.readMesh(str(out))))
    assert {("Base", "Zone1", "Internal"), ("Base", "Zone2", "Patches", "OUTLET")} <= {
        p for p, _ in blocks}
    assert len(blocks) == 2 + 3 + 3
    for path, ds in blocks:
        assert isinstance(ds, vtkStructuredGrid), path
        span, nm = exact(ds)
        a = arrays(ds)
        np.testing.assert_allclose(a["nspan"], span, atol=2e-5, rtol=0)
        np.testing.assert_allclose(a["nm"], nm, atol=2e-5, rtol=0)
        assert (a["location"] == T.location.inside).mean() > 0.3
        assert ("ispatch" in [ds.GetFieldData().GetArrayName(k)
                              for k in range(ds.GetFieldData().GetNumberOfArrays())])

    # The Plot3D grid itself with a shorter passage (axial 0.5 .. 2) from curve files: two
    # structured blocks out, the nodes before and after the passage marked.
    curves = rectangle(tmp_path / "curves", 0.5, 2, 1, 1.5)
    status, err = annotate(tmp_path / "rows.xyz", tmp_path / "p3d.vtm", "--passage", curves, *AXIS,
                           "--spaces", "nm,nspan")
    assert status == 0, err
    blocks = list(io.leaves(io.readMesh(str(tmp_path / "p3d.vtm"))))
    assert [ds.GetDimensions() for _, ds in blocks] == [dims for _, dims in ROWS]
    for _, ds in blocks:
        span, nm = exact(ds)
        a = arrays(ds)
        assert set(a) == {"nm", "nspan", "location"}
        np.testing.assert_allclose(a["nspan"], span, atol=2e-5, rtol=0)
        axial = nm * 2.5
        np.testing.assert_allclose(a["nm"], (axial - 0.5) / 1.5, atol=2e-5, rtol=0)
        clear = ((np.abs(axial - 0.5) > 1e-3) & (np.abs(axial - 2) > 1e-3)
                 & (np.abs(span - 0.5) < 0.49))
        expected = np.where(axial < 0.5, T.location.beforeInlet,
                            np.where(axial > 2, T.location.afterOutlet, T.location.inside))
        np.testing.assert_array_equal(a["location"][clear], expected[clear].astype(np.int8))


def test_bad_input_one_line_exit_2_nothing_written(tmp_path):
    # An annular duct 0..2 x 1..2 about z: a volume of quads and its four edge patches.
    a, r = np.meshgrid(np.linspace(0, 2, 9), np.linspace(1, 2, 5), indexing="ij")
    nodes = np.c_[0 * a.ravel(), r.ravel(), a.ravel()]
    ids = np.arange(a.size).reshape(a.shape)
    quads = np.c_[ids[:-1, :-1].ravel(), ids[1:, :-1].ravel(), ids[1:, 1:].ravel(),
                  ids[:-1, 1:].ravel()]
    edge = lambda e: grid(nodes, np.c_[e[:-1], e[1:]], 3)
    write(multiblock([("duct", grid(nodes, quads, 9)), ("HUB", edge(ids[:, 0])),
                      ("SHROUD", edge(ids[:, -1])), ("INLET", edge(ids[0])),
                      ("OUTLET", edge(ids[-1])), ("EMPTY", grid(nodes, quads[:0], 9))]),
          tmp_path / "duct.vtm")
    # Good runs: patches of a .vtm; legacy .vtk to .vtu and polygons .vtp to .vtp with curve files.
    write(grid(nodes, quads, 9), tmp_path / "duct.vtk", vtkUnstructuredGridWriter)
    surface = vtkGeometryFilter()
    surface.SetInputData(grid(nodes, quads, 9))
    surface.Update()
    write(surface.GetOutput(), tmp_path / "duct.vtp", vtkXMLPolyDataWriter)
    curves = ["--passage", rectangle(tmp_path / "curves", 0, 2, 1, 2)]
    for source, target, options, kind in (
            ("duct.vtm", "good.vtm", PATCHES, "vtkUnstructuredGrid"),
            ("duct.vtk", "good.vtu", curves, "vtkUnstructuredGrid"),
            ("duct.vtp", "good.vtp", curves, "vtkPolyData")):
        status, err = annotate(tmp_path / source, tmp_path / target, *options)
        assert status == 0, err
        out = next(ds for _, ds in io.leaves(io.readMesh(str(tmp_path / target))))
        assert out.GetClassName() == kind
        np.testing.assert_allclose(arrays(out)["nspan"], np.hypot(*io.points(out)[:, :2].T) - 1,
                                   atol=2e-5)
    (tmp_path / "junk.vtu").write_text("not a mesh")
    (tmp_path / "junk.cgns").write_bytes(b"junk\0\1\2")
    (tmp_path / "broken.cgns").write_bytes(b"\x89HDF\r\n\x1a\n" + bytes(100))  # CGNS exits on it
    (tmp_path / "mesh.stl").write_text("solid")
    folding = PATCHES[:2] + ["--shroud", "INLET", "--inlet", "SHROUD"] + PATCHES[6:]
    cases = [
        (["missing.vtu", "out.vtu", "--passage", "."], "missing.vtu"),
        (["junk.vtu", "out.vtu", "--passage", "."], "cannot read"),
        (["junk.cgns", "out.vtm", *PATCHES], "not a CGNS file"),
        (["broken.cgns", "out.vtm", *PATCHES], "broken.cgns: cannot read: cgio_file_open"),
        (["mesh.stl", "out.vtu", *PATCHES], "unknown file type"),
        (["duct.vtm", "out.vtm", *PATCHES[:2], "--shroud", "CASING", *PATCHES[4:]],
         "no patch named 'CASING'; the input has: EMPTY, HUB, INLET, OUTLET, SHROUD, duct"),
        (["duct.vtm", "out.vtm", *PATCHES[:6], "--outlet", "EMPTY"], "patch 'EMPTY' has no faces"),
        (["duct.vtm", "out.vtm", *PATCHES, "--axis-point", "0,1.2,0"], "mesh folds"),
        (["duct.vtm", "out.vtm", *PATCHES, "--axis-dir", "0,1,1"], "mesh folds"),
        (["duct.vtm", "out.vtm", *PATCHES, "--axis-dir", "x"], "has no area"),
        (["duct.vtm", "out.vtm", *folding], "Hub and shroud curves seem to be the same"),
        (["duct.vtm", "out.vtu", *PATCHES], "must be a .vtm file"),
        (["duct.vtm", "out.vtm", *PATCHES, "--spaces", "nm,speed"], "unknown space 'speed'"),
        (["duct.vtm", "out.vtm", *PATCHES[:6]], "--outlet"),
    ]
    listing = sorted(os.listdir(tmp_path))
    for args, message in cases:
        status, err = annotate(tmp_path / args[0], tmp_path / args[1], *args[2:])
        assert (status, len(err.strip().splitlines())) == (2, 1), (args, err)
        assert message in err, (args, err)
        assert sorted(os.listdir(tmp_path)) == listing, args
