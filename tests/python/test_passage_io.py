"""qor.io's curve files on a real machine, as qor-meridional reads them: the header chooses the
frame (Cartesian curves go through the library's AxisFrame), one reversed curve is turned round with
a warning, files that contradict each other are refused naming them (qor.InvalidDataError), also by
python3 -m qor annotate."""

import os
import re
import subprocess
import sys

import numpy as np
import pytest
from conftest import dataFolder

import qor
from qor import io


def test_frames_directions_and_contradictions_like_the_tool(tmp_path):
    source = dataFolder("centrifugal-compressor-lowspeed")
    given = io.passageFromDirectory(source)
    assert [len(c) for c in given.curves] == [287, 287, 2, 2]

    def variant(name, change=None, frame=None):
        """The machine's curves in tmp_path/name: change(curves) reorders them; frame (an
        AxisFrame) writes them as Cartesian x, y, z at theta 0.3."""
        folder = tmp_path / name
        folder.mkdir()
        curves = [np.loadtxt(os.path.join(source, f"{c}.csv"), delimiter=",", skiprows=1)
                  for c in io.CURVES]
        for role, c in zip(io.CURVES, change(curves) if change else curves):
            np.savetxt(folder / f"{role}.csv", frame.toXYZ(np.c_[c, np.full(len(c), 0.3)]) if frame
                       else c, delimiter=",", header="x,y,z" if frame else "axial,radius",
                       comments="", fmt="%.9g")
        return str(folder)

    # Cartesian files about a tilted axis off the origin, recognised by their header, give the
    # same passage; a flag that contradicts the header is refused.
    point, direction = (0.1, -0.2, 0.3), (1.0, 0.5, -0.25)
    xyz = variant("xyz", frame=qor.AxisFrame(point, direction))
    turned = io.passageFromDirectory(xyz, point, direction)
    np.testing.assert_allclose(np.concatenate(turned.curves), np.concatenate(given.curves),
                               atol=2e-6)
    with pytest.raises(io.InputError, match=r"hub.csv:1: the header names Cartesian .* says the "
                                            r"points are meridional"):
        io.passageFromDirectory(xyz, point, direction, xyz=False)

    # One reversed curve: turned round, with a warning naming its file.
    for k, way in ((0, "outlet to inlet"), (2, "shroud to hub")):
        folder = variant(f"reversed-{k}", lambda c: [x[::-1] if j == k else x
                                                     for j, x in enumerate(c)])
        with pytest.warns(UserWarning, match=f"{io.CURVES[k]}.csv: the {io.CURVES[k]} curve runs "
                                             f"{way} while the other curves agree"):
            fixed = io.passageFromDirectory(folder)
        np.testing.assert_array_equal(np.concatenate(fixed.curves), np.concatenate(given.curves))

    # Contradictions: a qor.InvalidDataError (and an io.InputError) naming the files.
    swapped = variant("swapped", lambda c: [c[1], c[0], c[2], c[3]])
    with pytest.raises(qor.InvalidDataError, match=r"hub.csv, .*shroud.csv, .*inlet.csv, "
                                                    r".*outlet.csv: the curve files contradict "
                                                    r"each other \(hub and shroud are swapped"):
        io.passageFromDirectory(swapped)
    with pytest.raises(io.InputError, match="the hub and the shroud run outlet to inlet"):
        io.buildTransform(io.Passage([c[::-1] if k < 2 else c for k, c in enumerate(given.curves)],
                                     None, "both walls reversed"))

    # The command: exit 2 and one line for the swapped files; a warning for the reversed hub.
    mesh = tmp_path / "nodes.vtk"
    mesh.write_text("# vtk DataFile Version 3.0\nnodes\nASCII\nDATASET POLYDATA\n"
                    "POINTS 2 float\n0 0.45 0  0.1 0.5 0\n")
    for folder, status, text in ((swapped, 2, "the curve files contradict each other"),
                                 (str(tmp_path / "reversed-0"), 0, "warning: .*hub.csv: the hub")):
        run = subprocess.run([sys.executable, "-m", "qor", "annotate", str(mesh),
                              str(tmp_path / "out.vtp"), "--passage", folder, "--axis-dir", "x",
                              "--size", "300"], capture_output=True, text=True, timeout=300)
        assert run.returncode == status, run.stderr
        lines = run.stderr.splitlines()
        assert any(re.search(text, s) for s in lines), run.stderr
        if status:
            assert len(lines) == 1, run.stderr
