"""Meridional coordinates on every node of a CFD mesh file, read and written through VTK.

``python3 -m qor annotate INPUT OUTPUT [options]`` (``--help`` lists the options) reads a mesh or a
solution, fits the coordinate system to its passage and writes the same data with added point
arrays: one float32 array per space (``nspan``, ``nm``, ...), the int8 array ``location``
(`TurboTransform.location`: 0 inside, 1 beyond the hub, 2 beyond the shroud, 3 before the inlet,
4 after the outlet) and, on request, the unit ``streamwise`` and ``spanwise`` vectors in the
Cartesian frame. Every array of the input is kept.

Inputs, by extension: VTK XML (.vtu, .vts, .vtp, .vtm), legacy VTK (.vtk), CGNS (.cgns, with its
boundary patches) and Plot3D grids (.xyz, .x, .g, .grd). Outputs are VTK XML of the same structure:
a multiblock as .vtm (same block names), an unstructured grid as .vtu, a structured grid as .vts,
polygonal data as .vtp; binary and compressed, written completely or not at all.

The passage comes from curve files (`readPassageDirectory`) or from boundary patches of the input
(`patchNodes`): blocks of a multiblock, CGNS boundary patches or CGNS families. Scripts use
`readMesh`, `passageFromPatches` / `passageFromDirectory`, `buildTransform`, `annotate` and
`writeMesh`; every problem with the input raises `InputError`.
"""

import argparse
import math
import os
import shutil
import sys
import tempfile
import time
import warnings

import numpy as np

from vtkmodules.util.numpy_support import numpy_to_vtk, vtk_to_numpy
from vtkmodules.vtkCommonCore import vtkCommand, vtkLogger, vtkOutputWindow, vtkStringOutputWindow
from vtkmodules.vtkCommonDataModel import (
    vtkCompositeDataSet,
    vtkGenericCell,
    vtkMultiBlockDataSet,
    vtkMultiPieceDataSet,
    vtkPointSet,
    vtkPolyData,
    vtkStructuredGrid,
    vtkUnstructuredGrid,
)
from vtkmodules.vtkIOCGNSReader import vtkCGNSReader
from vtkmodules.vtkIOLegacy import vtkGenericDataObjectReader
from vtkmodules.vtkIOParallel import vtkMultiBlockPLOT3DReader
from vtkmodules.vtkIOXML import (
    vtkXMLMultiBlockDataReader,
    vtkXMLMultiBlockDataWriter,
    vtkXMLPolyDataReader,
    vtkXMLPolyDataWriter,
    vtkXMLStructuredGridReader,
    vtkXMLStructuredGridWriter,
    vtkXMLUnstructuredGridReader,
    vtkXMLUnstructuredGridWriter,
)

from ._qor import AxisFrame, CurveOrientation, InvalidDataError, TurboTransform
from ._qor import Error as LibraryError

T = TurboTransform

DEFAULT_SPACES = ("nspan", "nm", "mprime", "rnm")
PLOT3D = (".xyz", ".x", ".g", ".grd")
READERS = {".vtu": vtkXMLUnstructuredGridReader, ".vts": vtkXMLStructuredGridReader,
           ".vtp": vtkXMLPolyDataReader, ".vtm": vtkXMLMultiBlockDataReader,
           ".vtk": vtkGenericDataObjectReader, ".cgns": vtkCGNSReader}
WRITERS = [(vtkMultiBlockDataSet, ".vtm", vtkXMLMultiBlockDataWriter),
           (vtkUnstructuredGrid, ".vtu", vtkXMLUnstructuredGridWriter),
           (vtkStructuredGrid, ".vts", vtkXMLStructuredGridWriter),
           (vtkPolyData, ".vtp", vtkXMLPolyDataWriter)]


class InputError(ValueError):
    """A problem with the input files or the options: the message is one line for the user."""


class ContradictingCurvesError(InputError, InvalidDataError):
    """Curve files that contradict each other (hub and shroud swapped, two curves reversed): the
    library's `qor.InvalidDataError` from `CurveOrientation.check`, naming the files, and an
    `InputError` of this module."""


# ---- VTK reading and writing ------------------------------------------------------------------

class _Watch:
    """Records the first error a VTK algorithm reports and forwards its progress."""

    def __init__(self, algorithm, progress=None):
        self.message = None
        self.algorithm = algorithm
        algorithm.AddObserver(vtkCommand.ErrorEvent, self._error)
        if progress is not None:
            algorithm.AddObserver(vtkCommand.ProgressEvent,
                                  lambda o, e: progress(o.GetProgress()))

    def _error(self, obj, event, text=None):
        if self.message is None:
            # "ERROR: In file, line N\nvtkClass (0x...): text": keep the text.
            lines = [s for s in str(text or "").splitlines() if s.strip()]
            last = lines[-1] if lines else "error"
            self.message = last.split("): ", 1)[-1].strip()

    _error.CallDataType = 13  # VTK_STRING: the observer receives the message


def _fileKind(path):
    ext = os.path.splitext(path)[1].lower()
    if ext in READERS or ext in PLOT3D:
        return ext
    known = ", ".join(list(READERS) + list(PLOT3D))
    raise InputError(f"{path}: unknown file type '{ext}' (known: {known})")


def _probeCGNS(path, head):
    """The CGNS library ends the process when it cannot open a file: open it first in a child
    process. @throws InputError with the library's message when that fails."""
    if not (head.startswith(b"\x89HDF\r\n\x1a\n") or b"ADF" in head):
        raise InputError(f"{path}: not a CGNS file (neither HDF5 nor ADF)")
    read, write = os.pipe()
    sys.stderr.flush()
    child = os.fork()
    if child == 0:  # pragma: no cover - runs in the child
        try:
            os.dup2(write, 1)
            os.dup2(write, 2)
            reader = vtkCGNSReader()
            reader.SetFileName(path)
            reader.UpdateInformation()
        finally:
            os._exit(0)
    os.close(write)
    with os.fdopen(read, "rb") as f:
        text = f.read().decode(errors="replace")
    _, status = os.waitpid(child, 0)
    if status != 0:
        lines = [s.strip() for s in text.splitlines() if s.strip()]
        last = lines[-1] if lines else "the CGNS library failed"
        raise InputError(f"{path}: cannot read: {last}")


def readMesh(path, progress=None):
    """Reads a mesh file through VTK's reader for its extension; returns a vtkDataObject (a
    vtkMultiBlockDataSet for .vtm, CGNS and Plot3D, with CGNS boundary patches loaded).
    @throws InputError for a missing, unreadable, empty or unknown file."""
    ext = _fileKind(path)
    try:
        with open(path, "rb") as f:
            head = f.read(32)
    except OSError as e:
        raise InputError(f"{path}: cannot read: {e.strerror}") from None
    if not head:
        raise InputError(f"{path}: the file is empty")
    if ext == ".cgns":
        _probeCGNS(path, head)
    if ext in PLOT3D:
        reader = vtkMultiBlockPLOT3DReader()
        reader.SetXYZFileName(path)
        reader.AutoDetectFormatOn()
    else:
        reader = READERS[ext]()
        reader.SetFileName(path)
    watch = _Watch(reader, progress)
    if ext == ".cgns":
        reader.UpdateInformation()
        reader.EnableAllBases()
        reader.EnableAllFamilies()
        reader.LoadBndPatchOn()
        reader.LoadMeshOn()
    reader.Update()
    data = reader.GetOutputDataObject(0)
    if watch.message is not None:
        raise InputError(f"{path}: cannot read: {watch.message}")
    if data is None or not any(ds.GetNumberOfPoints() > 0 for _, ds in leaves(data)):
        raise InputError(f"{path}: no mesh nodes found")
    return data


def leaves(data, path=()):
    """(path, dataset) of every dataset in a data object, path being the tuple of block names
    (a block without a name is named by its index)."""
    if isinstance(data, (vtkMultiBlockDataSet, vtkMultiPieceDataSet)):
        multi = isinstance(data, vtkMultiBlockDataSet)
        count = data.GetNumberOfBlocks() if multi else data.GetNumberOfPieces()
        for k in range(count):
            child = data.GetBlock(k) if multi else data.GetPiece(k)
            if child is None:
                continue
            name = None
            if data.HasMetaData(k):
                name = data.GetMetaData(k).Get(vtkCompositeDataSet.NAME())
            yield from leaves(child, path + (name or str(k),))
    elif data is not None and data.IsA("vtkDataSet"):
        yield path, data


def _families(data, path=()):
    """{path: CGNS family name} of the blocks that carry one."""
    out = {}
    if isinstance(data, vtkMultiBlockDataSet):
        for k in range(data.GetNumberOfBlocks()):
            child = data.GetBlock(k)
            if child is None:
                continue
            meta = data.GetMetaData(k) if data.HasMetaData(k) else None
            name = meta.Get(vtkCompositeDataSet.NAME()) if meta is not None else None
            sub = path + (name or str(k),)
            if meta is not None and meta.Has(vtkCGNSReader.FAMILY()):
                out[sub] = meta.Get(vtkCGNSReader.FAMILY())
            out.update(_families(child, sub))
    return out


def outputExtension(data):
    """The extension of the VTK XML file that holds this data object ('.vtm', '.vtu', ...)."""
    for cls, ext, _ in WRITERS:
        if isinstance(data, cls):
            return ext
    raise InputError(f"cannot write a {data.GetClassName()} (supported: multiblock, unstructured, "
                     "structured and polygonal data)")


def checkOutput(data, path):
    """@throws InputError unless `path` has the extension of the data and its directory exists."""
    ext = outputExtension(data)
    if os.path.splitext(path)[1].lower() != ext:
        raise InputError(f"{path}: the output of this input must be a {ext} file")
    folder = os.path.dirname(os.path.abspath(path))
    if not os.path.isdir(folder):
        raise InputError(f"{path}: the directory {folder} does not exist")


def writeMesh(data, path, progress=None):
    """Writes `data` as binary, compressed VTK XML to `path`, whose extension must match
    (`outputExtension`). The file (for .vtm also its directory of pieces, named after the file) is
    written under a temporary name and moved in place only when complete: on failure nothing is
    left behind and an existing output is untouched.
    @throws InputError for a mismatching extension, OSError when writing fails."""
    checkOutput(data, path)
    folder = os.path.dirname(os.path.abspath(path))
    stem, name = os.path.splitext(os.path.basename(path))[0], os.path.basename(path)
    scratch = tempfile.mkdtemp(prefix="." + stem + ".", dir=folder)
    try:
        writer = next(w for cls, _, w in WRITERS if isinstance(data, cls))()
        watch = _Watch(writer, progress)
        writer.SetFileName(os.path.join(scratch, name))
        writer.SetInputData(data)
        writer.SetDataModeToAppended()
        writer.EncodeAppendedDataOff()
        writer.SetCompressorTypeToLZ4()
        if not writer.Write() or watch.message is not None:
            raise OSError(f"{path}: write failed: {watch.message or 'error'}")
        pieces = os.path.join(scratch, stem)
        target = os.path.join(folder, stem)
        if os.path.isdir(pieces):
            if os.path.lexists(target):
                if not os.path.isdir(target) or os.path.islink(target):
                    raise OSError(f"{target}: exists and is not the piece directory of {name}")
                os.rename(target, os.path.join(scratch, ".previous"))
            os.rename(pieces, target)
        os.replace(os.path.join(scratch, name), os.path.join(folder, name))
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


# ---- passage ----------------------------------------------------------------------------------

def unitAxis(axisDirection):
    u = np.asarray(axisDirection, np.float64)
    n = float(np.linalg.norm(u))
    if not n > 1e-20 or not math.isfinite(n):
        raise InputError("the axis direction must be a non-zero vector")
    return u / n


def axisFrame(axisPoint, axisDirection):
    """The library's `AxisFrame` of the axis; `InputError` for a zero or non-finite direction."""
    return AxisFrame(tuple(map(float, axisPoint)), tuple(map(float, unitAxis(axisDirection))))


def toAxialRadial(xyz, axisPoint, axisDirection):
    """(axial, radial, 0) float32 (N, 3) of Cartesian points about the axis: the library's
    `AxisFrame`, whose axial and radial are those of the transform's own Cartesian conversions."""
    frame = axisFrame(axisPoint, axisDirection)
    art = frame.toART(np.asarray(xyz).reshape(-1, 3), threads=0)
    art[:, 2] = 0
    return art


# Column names of a header, compared without case: x and y columns make a Cartesian file, a radial
# column a meridional one (as in qor-meridional).
_ART_NAMES = (("axial", "a", "ax", "x", "z"), ("radial", "radius", "r", "rad"), ("theta", "th", "t"))
_XYZ_NAMES = (("x",), ("y",), ("z",))
_FRAME_TEXT = {True: "Cartesian (x, y, z)", False: "meridional (axial, radial)"}


def _number(s):
    try:
        v = float(s)
    except ValueError:
        return None
    return v


def readCurveFile(path, xyz=None, withFrame=False):
    """Reads a curve file of qor-meridional into float64 (N, 3). Accepted layouts, recognised
    from the content: the library's point list (a first line holding the count, then three
    numbers a line, blanks or commas between them); CSV (comma or semicolon) or whitespace
    columns, with or without a header. Lines starting with '#' are comments and blank lines are
    skipped. A header names the columns and with them the frame (names are case-blind, other
    columns are ignored): x and y (and z) columns are Cartesian; a radial column (radial, radius,
    r or rad) is meridional, with the axial column axial, a, ax, x or z and theta theta, th or t.
    Without such a header the two or three numeric columns are taken in order (a missing third is
    0), as Cartesian with `xyz` True, else meridional. `xyz` True or False that contradicts the
    header is an error; None (the default) lets the header decide. With `withFrame`, returns
    (points, isCartesian, framedByHeader).
    @throws InputError naming the file and line of the problem."""
    try:
        with open(path, encoding="utf-8-sig") as f:
            raw = f.read().splitlines()
    except (OSError, UnicodeDecodeError) as e:
        raise InputError(f"{path}: cannot read: {getattr(e, 'strerror', None) or e}") from None
    lines = [(k + 1, s.strip()) for k, s in enumerate(raw)
             if s.strip() and not s.strip().startswith("#")]
    if not lines:
        raise InputError(f"{path}: no points found (the file is empty)")

    def fail(line, text):
        raise InputError(f"{path}:{line}: {text}")

    cartesian, framed = bool(xyz), False
    first = lines[0][1]
    if first.lstrip("+-").isdigit():  # the library's point list
        count = int(first)
        rows = [(n, s.replace(",", " ").split()) for n, s in lines[1:]]
        if len(rows) != count:
            fail(lines[0][0], f"the count line says {count} points, the file holds {len(rows)}")
        columns, width, header = (0, 1, 2), 3, False
    else:
        sep = "," if "," in first else (";" if ";" in first else None)
        split = (lambda s: [f.strip().strip('"') for f in s.split(sep)]) if sep else str.split
        rows = [(n, split(s)) for n, s in lines]
        header = all(_number(f) is None for f in rows[0][1])
        names = [f.lower() for f in rows[0][1]] if header else []
        if header and "x" in names and "y" in names:
            framed, named = True, True
        elif header and any(n in names for n in _ART_NAMES[1]):
            framed, named = True, False
        if framed:
            if xyz is not None and named != bool(xyz):
                fail(lines[0][0], f"the header names {_FRAME_TEXT[named]} columns, but "
                     f"{'--xyz' if xyz else 'xyz=False'} says the points are "
                     f"{'Cartesian' if xyz else 'meridional'}")
            cartesian = named
        columns = [next((names.index(n) for n in alias if n in names), -1)
                   for alias in (_XYZ_NAMES if cartesian else _ART_NAMES)]
        if header:
            rows = rows[1:]
            if (columns[0] < 0) != (columns[1] < 0):
                fail(lines[0][0], "the header names only one of the " +
                     ("x and y" if cartesian else "axial and radial") + " columns")
        if not rows:
            fail(lines[0][0], "a header line but no points")
        width = len(names) if header else len(rows[0][1])
        if columns[0] < 0 or columns[1] < 0:
            numeric = [k for k, f in enumerate(rows[0][1]) if _number(f) is not None]
            if not 2 <= len(numeric) <= 3:
                fail(rows[0][0], f"expected 2 or 3 numeric columns, found {len(numeric)}")
            columns = numeric + [-1] * (3 - len(numeric))
    out = np.zeros((len(rows), 3))
    for k, (n, fields) in enumerate(rows):
        if len(fields) != width:
            fail(n, f"expected {width} columns, found {len(fields)}")
        for c, col in enumerate(columns):
            v = _number(fields[col]) if col >= 0 else 0.0
            if v is None or not math.isfinite(v):
                fail(n, f"column {col + 1} is not a finite number: '{fields[col]}'")
            out[k, c] = v
    if not cartesian and (out[:, 1] < 0).any():
        fail(rows[int(np.argmax(out[:, 1] < 0))][0], "negative radius")
    if len(out) < 2:
        fail(rows[0][0], "a curve needs at least 2 points")
    return (out, cartesian, framed) if withFrame else out


CURVES = ("hub", "shroud", "inlet", "outlet")


def orientCurves(curves, names=None):
    """The four ordered (axial, radial, theta) curves checked against each other by the library's
    `CurveOrientation` (hub and shroud start at the inlet's ends, inlet and outlet on the hub):
    returns the list with the one curve that runs the wrong way reversed, warning (`UserWarning`)
    that it did so, or that the curves do not meet at the passage corners.
    @throws ContradictingCurvesError (a `qor.InvalidDataError`) naming the curves (`names`, e.g.
    their files) when they contradict each other."""
    try:
        found = CurveOrientation.check(*curves, names=list(names or []))
    except InvalidDataError as e:
        error = ContradictingCurvesError(str(e))
        for attr in ("className", "functionName", "errorType", "message", "description"):
            setattr(error, attr, getattr(e, attr))
        raise error from None
    if found.message:
        warnings.warn(found.message, stacklevel=3)
    return [c[::-1].copy() if r else c for c, r in zip(curves, found.reverse)]


def passageFromDirectory(folder, axisPoint=(0, 0, 0), axisDirection=(0, 0, 1), xyz=None):
    """The four curves (ordered: hub and shroud inlet to outlet, inlet and outlet hub to shroud)
    as (axial, radial, 0) float32 arrays, from the files hub, shroud, inlet and outlet (.csv, .txt,
    .dat or no extension) of `folder`. The frame follows `readCurveFile`: the files whose header
    names a frame must agree with each other (and with `xyz` when given) and the others follow
    them; Cartesian curves are taken to (axial, radial) about the axis. The curves are then checked
    against each other (`orientCurves`: one reversed curve is turned round with a warning, files
    that contradict each other raise `ContradictingCurvesError`). Returns a `Passage`."""
    if not os.path.isdir(folder):
        raise InputError(f"{folder}: not a directory (option --passage)")
    paths = []
    for name in CURVES:
        path = next((os.path.join(folder, name + e) for e in (".csv", ".txt", ".dat", "")
                     if os.path.isfile(os.path.join(folder, name + e))), None)
        if path is None:
            raise InputError(f"{folder}: no {name}.csv (expected hub, shroud, inlet and outlet "
                             "files)")
        paths.append(path)
    read = [readCurveFile(p, xyz, withFrame=True) for p in paths]
    named = [k for k, r in enumerate(read) if r[2]]
    for k in named:
        if read[k][1] != read[named[0]][1]:
            c, a = (k, named[0]) if read[k][1] else (named[0], k)
            raise InputError(f"{paths[c]} and {paths[a]} disagree: the header of the first names "
                             "Cartesian (x, y, z) columns, the second's meridional (axial, radial) "
                             "ones")
    cartesian = read[named[0]][1] if named else bool(xyz)
    curves = []
    for path, (c, isXyz, _) in zip(paths, read):
        if isXyz != cartesian:
            c = readCurveFile(path, cartesian)
        curves.append(toAxialRadial(c, axisPoint, axisDirection) if cartesian else
                      np.c_[c[:, :2], np.zeros(len(c))].astype(np.float32))
    return Passage(orientCurves(curves, paths), None, folder, paths)


class Passage:
    """Four curves in (axial, radial, 0); `starts` None for ordered curves, else the start index of
    each unordered cloud; `names` what messages call the curves (their files, or None)."""

    def __init__(self, curves, starts, description, names=None):
        self.curves, self.starts, self.description = curves, starts, description
        self.names = names  # what messages call the curves (their files), None: hub, shroud, ...


def patchNames(data):
    """The block names and CGNS families a patch name may refer to."""
    names = {p[-1] for p, _ in leaves(data) if p}
    return sorted(names), sorted(set(_families(data).values()))


def _cellDimensions(types):
    dims = np.zeros(256, np.int8)
    cell = vtkGenericCell()
    for t in np.unique(types):
        cell.SetCellType(int(t))
        dims[t] = cell.GetCellDimension()
    return dims[types]


def faceNodes(ds):
    """Ids of the nodes of the faces (2-D cells; for a 2-D mesh the edges) of a dataset: a patch
    block may carry more points than its faces use."""
    if isinstance(ds, vtkUnstructuredGrid):
        if ds.GetNumberOfCells() == 0:
            return np.zeros(0, np.int64)
        cells = ds.GetCells()
        conn = vtk_to_numpy(cells.GetConnectivityArray())
        sizes = np.diff(vtk_to_numpy(cells.GetOffsetsArray()))
        dims = _cellDimensions(vtk_to_numpy(ds.GetCellTypesArray()))
        keep = dims == 2 if (dims == 2).any() else dims == 1
        return np.unique(conn[np.repeat(keep, sizes)])
    if isinstance(ds, vtkPolyData):
        sets = [ds.GetPolys(), ds.GetStrips()]
        if all(s.GetNumberOfCells() == 0 for s in sets):
            sets = [ds.GetLines()]
        ids = [vtk_to_numpy(s.GetConnectivityArray()) for s in sets if s.GetNumberOfCells() > 0]
        return np.unique(np.concatenate(ids)) if ids else np.zeros(0, np.int64)
    if isinstance(ds, vtkStructuredGrid) and ds.GetDataDimension() in (1, 2):
        return np.arange(ds.GetNumberOfPoints())
    return np.zeros(0, np.int64)


def points(ds):
    """The node coordinates of a dataset as a numpy (N, 3) view (float32 or float64)."""
    if not isinstance(ds, vtkPointSet):
        raise InputError(f"cannot annotate a {ds.GetClassName()} (a dataset with explicit nodes "
                         "is needed)")
    if ds.GetPoints() is None:
        return np.zeros((0, 3), np.float32)
    return vtk_to_numpy(ds.GetPoints().GetData()).reshape(-1, 3)


def patchNodes(data, name):
    """Cartesian coordinates (N, 3) of the nodes of the faces of every block named `name` (or whose
    path is `name`, or whose CGNS family is `name`; compared without case when nothing matches
    exactly). @throws InputError when no block matches (listing the names that exist) or the
    blocks have no faces."""
    families = _families(data)

    def matches(path, fold):
        f = (lambda s: s.lower()) if fold else (lambda s: s)
        fam = [v for p, v in families.items() if path[:len(p)] == p]
        return bool(path) and (f(path[-1]) == f(name) or f("/".join(path)) == f(name)
                               or any(f(v) == f(name) for v in fam))

    blocks = [(p, ds) for p, ds in leaves(data) if matches(p, False)]
    if not blocks:
        blocks = [(p, ds) for p, ds in leaves(data) if matches(p, True)]
    if not blocks:
        names, fams = patchNames(data)
        listed = ", ".join(names[:40]) + (", ..." if len(names) > 40 else "")
        more = f"; families: {', '.join(fams)}" if fams else ""
        raise InputError(f"no patch named '{name}'; the input has: "
                         f"{listed or '(no named blocks)'}{more}")
    clouds = []
    for p, ds in blocks:
        ids = faceNodes(ds)
        if len(ids):
            clouds.append(points(ds)[ids])
    if not clouds:
        raise InputError(f"patch '{name}' has no faces")
    return np.concatenate(clouds)


def _nearestTo(cloud, other):
    """Index of the point of `cloud` nearest to the set `other` (both (N, 2)): the closest pair of
    two subsamples, refined by alternating exact nearest-point searches."""
    a = cloud[::max(1, len(cloud) // 800)].astype(np.float64)
    b = other[::max(1, len(other) // 800)].astype(np.float64)
    d = ((a[:, None, :] - b[None, :, :]) ** 2).sum(axis=2)
    q = b[np.unravel_index(int(d.argmin()), d.shape)[1]]
    for _ in range(4):
        i = int(((cloud - q) ** 2).sum(axis=1).argmin())
        q = other[int(((other - cloud[i]) ** 2).sum(axis=1).argmin())]
    return int(((cloud - q) ** 2).sum(axis=1).argmin())


def passageFromPatches(data, names, axisPoint=(0, 0, 0), axisDirection=(0, 0, 1)):
    """The passage from the boundary patches named hub, shroud, inlet, outlet in `names`: the
    nodes of each patch's faces taken to (axial, radial) about the axis, without repeats, as
    unordered clouds; each starts at the point nearest to the neighbouring curve (hub and shroud
    at the inlet, inlet and outlet at the hub). Returns a `Passage`."""
    clouds = []
    for role in CURVES:
        ar = toAxialRadial(patchNodes(data, names[role]), axisPoint, axisDirection)
        ar = np.unique(ar, axis=0)
        if len(ar) < 2:
            raise InputError(f"patch '{names[role]}' ({role}) has fewer than 2 distinct points")
        clouds.append(ar)
    hub, shroud, inlet, outlet = (c[:, :2] for c in clouds)
    starts = [_nearestTo(hub, inlet), _nearestTo(shroud, inlet), _nearestTo(inlet, hub),
              _nearestTo(outlet, hub)]
    text = ", ".join(f"{names[r]} ({len(c)} points)" for r, c in zip(CURVES, clouds))
    return Passage(clouds, starts, "patches " + text)


# ---- transform and annotation -----------------------------------------------------------------

def buildTransform(passage, axisPoint=(0, 0, 0), axisDirection=(0, 0, 1), method=T.nonLinear,
                   size=2000, levels=None, curvePoints=None, threads=0, exactWalls=True,
                   closedForm=True):
    """A TurboTransform with its background mesh for the passage, with exact walls by default (points
    on the hub and shroud convert to nspan 0 and 1; `exactWalls=False` keeps the mesh's chords) and
    closed-form smoothing (`closedForm=False` for the class's default, the same mesh up to float
    rounding).
    Ordered curves are checked against each other first (`orientCurves`: a reversed curve is used
    turned round, with a warning).
    @throws InputError when the library rejects the passage or the mesh folds (usually a wrong
    axis); ContradictingCurvesError (an InputError and a qor.InvalidDataError) for curves that
    contradict each other."""
    t = T()
    t.setExactWalls(exactWalls)
    if curvePoints is not None:
        t.setCurveOptimizedSize(curvePoints)
    if levels is not None:
        t.setNumberOfLevelsforBM(levels)
    t.setNumberOfThreadsForBM(threads)
    t.setClosedFormSmoothingForBM(closedForm)
    starts = passage.starts or [-1] * 4
    curves = passage.curves if passage.starts else orientCurves(passage.curves, passage.names)
    try:
        t.initializeFromART(*curves, tuple(map(float, axisPoint)),
                            tuple(map(float, unitAxis(axisDirection))), *starts)
        folded = t.createBackgroundMesh(method, size)
    except LibraryError as e:
        raise InputError(f"the passage is not usable: {e.message or e}") from None
    if folded:
        raise InputError("the background mesh folds: the curves do not bound a passage about this "
                         "axis (check --axis-point and --axis-dir)")
    s = meshSummary(t)
    if not s["area"] > 1e-6 * float(((s["hi"] - s["lo"]) ** 2).sum()):
        raise InputError("the passage has no area in the meridional plane of this axis (check "
                         "--axis-point and --axis-dir)")
    return t


def meshSummary(t):
    """Lengths of the four sides, extent and quality of the background mesh, as a dict."""
    m = t.getBackgroundMesh()[:, :, :2].astype(np.float64)
    length = lambda c: float(np.linalg.norm(np.diff(c, axis=0), axis=1).sum())
    a, b, c, d = m[:-1, :-1], m[1:, :-1], m[1:, 1:], m[:-1, 1:]
    e, f = 0.5 * ((b + c) - (a + d)), 0.5 * ((d + c) - (a + b))
    cross = e[..., 0] * f[..., 1] - e[..., 1] * f[..., 0]

    def angle(p, q, r):
        u, v = q - p, r - p
        lengths = np.linalg.norm(u, axis=-1) * np.linalg.norm(v, axis=-1)
        cos = (u * v).sum(-1) / np.maximum(lengths, 1e-300)
        return np.degrees(np.arccos(np.clip(cos, -1, 1)))

    edges = np.stack([np.linalg.norm(q - p, axis=-1) for p, q in ((a, b), (b, c), (c, d), (d, a))])
    with np.errstate(divide="ignore"):
        ratio = float((edges.max(0) / edges.min(0)).max())
    return dict(ni=m.shape[0], nj=m.shape[1], area=float(np.abs(cross).sum()),
                hub=length(m[:, 0]), shroud=length(m[:, -1]), inlet=length(m[0]),
                outlet=length(m[-1]), inverted=int(min((cross >= 0).sum(), (cross < 0).sum())),
                minAngle=float(min(angle(a, b, d).min(), angle(b, c, a).min(), angle(c, d, b).min(),
                                   angle(d, a, c).min())),
                maxRatio=ratio, lo=m.reshape(-1, 2).min(0), hi=m.reshape(-1, 2).max(0))


def spaceIds(names):
    """The TurboTransform.space of each name. @throws InputError for an unknown name."""
    ids = []
    for n in names:
        s = getattr(T, n, None)
        if not isinstance(s, T.space):
            known = ", ".join(k for k in dir(T) if isinstance(getattr(T, k), T.space))
            raise InputError(f"unknown space '{n}' (known: {known})")
        ids.append(s)
    return ids


def _setArray(ds, name, values):
    a = numpy_to_vtk(np.ascontiguousarray(values), deep=0)  # keeps a reference to the numpy array
    a.SetName(name)
    pd = ds.GetPointData()
    pd.RemoveArray(name)
    pd.AddArray(a)


def annotate(data, t, spaces=DEFAULT_SPACES, directions=False, threads=0, axisPoint=(0, 0, 0),
             axisDirection=(0, 0, 1), progress=None, chunk=1 << 20):
    """Adds to every dataset of `data` the point arrays named after `spaces`, `location` (int8) and,
    with `directions`, the unit `streamwise` and `spanwise` vectors in (x, y, z). Existing arrays of
    the same names are replaced. Returns (nodes, nodes outside the passage, seconds spent in the
    library's conversions)."""
    ids = spaceIds(spaces)
    frame = axisFrame(axisPoint, axisDirection)
    blocks = [(ds, points(ds)) for _, ds in leaves(data)]
    total = sum(len(p) for _, p in blocks)
    done = outside = 0
    inLibrary = 0.0
    for ds, xyz in blocks:
        n = len(xyz)
        values = np.empty((n, len(ids)), np.float32)
        status = np.empty(n, np.int8)
        sw = np.empty((n, 3), np.float32) if directions else None
        sp = np.empty((n, 3), np.float32) if directions else None
        for s in range(0, n, chunk):
            part = xyz[s:s + chunk]
            start = time.perf_counter()
            out = t.convertXYZtoSpace(part, ids, withDirections=directions, threads=threads,
                                      withStatus=True)
            inLibrary += time.perf_counter() - start
            values[s:s + len(part)], status[s:s + len(part)] = out[0], out[-1]
            if directions:  # (axial, radial, 0) components to Cartesian vectors at the nodes
                sw[s:s + len(part)] = frame.vectorToXYZ(part, out[1], threads=threads)
                sp[s:s + len(part)] = frame.vectorToXYZ(part, out[2], threads=threads)
            done += len(part)
            if progress is not None:
                progress(done / max(total, 1))
        for k, name in enumerate(spaces):
            _setArray(ds, name, values[:, k])
        _setArray(ds, "location", status)
        if directions:
            _setArray(ds, "streamwise", sw)
            _setArray(ds, "spanwise", sp)
        outside += int(np.count_nonzero(status != int(T.location.inside)))
    return total, outside, inLibrary


# ---- command line -----------------------------------------------------------------------------

class _Phases:
    """Times the phases; shows the progress of a phase running longer than a second when stderr
    is a terminal."""

    def __init__(self, out=sys.stderr):
        self.out, self.times, self.tty = out, [], out.isatty()
        self.name, self.start, self.shown = None, 0.0, False

    def begin(self, name):
        self.name, self.start, self.shown = name, time.perf_counter(), False

    def progress(self, fraction):
        if self.tty and time.perf_counter() - self.start > 1.0:
            self.out.write(f"\r{self.name}: {100 * min(fraction, 1):3.0f} %")
            self.out.flush()
            self.shown = True

    def end(self):
        if self.shown:
            self.out.write("\r" + " " * (len(self.name) + 8) + "\r")
        self.times.append((self.name, time.perf_counter() - self.start))


def _triplet(text, option):
    try:
        v = tuple(float(s) for s in text.split(","))
    except ValueError:
        v = ()
    if len(v) != 3 or not all(map(math.isfinite, v)):
        raise InputError(f"option {option}: expected three numbers x,y,z, got '{text}'")
    return v


def _parser():
    class Parser(argparse.ArgumentParser):
        def error(self, message):
            raise InputError(message)

    p = Parser(prog="python3 -m qor annotate",
               description="Adds meridional coordinates to every node of a CFD mesh file.")
    p.add_argument("input",
                   help="mesh file: .vtu .vts .vtp .vtm .vtk .cgns or Plot3D .xyz/.x/.g/.grd")
    p.add_argument("output", help="VTK XML file of the same structure (.vtm .vtu .vts .vtp)")
    p.add_argument("--spaces", default=",".join(DEFAULT_SPACES),
                   help="point arrays to add, comma-separated (default nspan,nm,mprime,rnm)")
    p.add_argument("--directions", action="store_true",
                   help="add the unit streamwise and spanwise vectors (x, y, z)")
    p.add_argument("--passage", metavar="DIR",
                   help="directory of hub, shroud, inlet, outlet curve files")
    p.add_argument("--xyz", action="store_true", help="curve files hold Cartesian x, y, z columns")
    for role in CURVES:
        p.add_argument("--" + role, metavar="NAME",
                       help=f"{role} boundary patch (block or CGNS family)")
    p.add_argument("--axis-point", default="0,0,0",
                   help="a point of the machine axis (default 0,0,0)")
    p.add_argument("--axis-dir", default="z",
                   help="axis direction: x, y, z or three numbers (default z)")
    p.add_argument("--method", choices=("linear", "nonlinear"), default="nonlinear",
                   help="background-mesh method (default nonlinear)")
    p.add_argument("--size", default="2000",
                   help="mesh nodes 16..500000 or coarse|medium|fine|veryfine (default 2000)")
    p.add_argument("--levels", type=int, help="smoothing levels of the nonlinear mesh, 1..6")
    p.add_argument("--curve-points", type=int, help="points kept per boundary curve, 10..100000")
    p.add_argument("--threads", type=int, default=0, help="threads, 0 = every core (default)")
    p.add_argument("--chord-walls", action="store_true",
                   help="the library's default walls: the mesh's straight wall edges (chords), up to "
                        "about 4e-3 off nspan 0 and 1 on curved walls; by default points on the "
                        "given hub and shroud convert to nspan 0 and 1 exactly")
    return p


def _options(argv):
    a = _parser().parse_args(argv)
    named = {r: getattr(a, r) for r in CURVES if getattr(a, r) is not None}
    if a.passage and named:
        raise InputError("give either --passage or the four patches --hub --shroud --inlet "
                         "--outlet")
    if not a.passage and len(named) != 4:
        missing = [r for r in CURVES if r not in named]
        raise InputError("no passage: give --passage DIR or the patches " +
                         " ".join("--" + r for r in missing))
    a.axisPoint = _triplet(a.axis_point, "--axis-point")
    axes = {"x": (1.0, 0.0, 0.0), "y": (0.0, 1.0, 0.0), "z": (0.0, 0.0, 1.0)}
    a.axisDirection = axes.get(a.axis_dir.lower()) or _triplet(a.axis_dir, "--axis-dir")
    unitAxis(a.axisDirection)
    a.spaceList = [s.strip() for s in a.spaces.split(",") if s.strip()]
    spaceIds(a.spaceList)
    sizes = {"coarse": T.BMcoarse, "medium": T.BMmedium, "fine": T.BMfine, "veryfine": T.BMveryFine}
    if a.size in sizes:
        a.meshSize = int(sizes[a.size])
    elif a.size.isdigit() and 16 <= int(a.size) <= 500000:
        a.meshSize = int(a.size)
    else:
        raise InputError("option --size: expected 16..500000 or coarse|medium|fine|veryfine, "
                         f"got '{a.size}'")
    for value, lo, hi, name in ((a.levels, 1, 6, "--levels"),
                                (a.curve_points, 10, 100000, "--curve-points"),
                                (a.threads, 0, 4096, "--threads")):
        if value is not None and not lo <= value <= hi:
            raise InputError(f"option {name}: expected {lo}..{hi}, got {value}")
    a.patches = named
    return a


def _setUp(argv, phases):
    """Options, input mesh, passage and transform of annotateMain. @throws InputError"""
    a = _options(argv)
    phases.begin("read")
    data = readMesh(a.input, phases.progress)
    checkOutput(data, a.output)
    for _, ds in leaves(data):
        points(ds)
    phases.end()
    phases.begin("passage")
    if a.passage:
        passage = passageFromDirectory(a.passage, a.axisPoint, a.axisDirection,
                                       True if a.xyz else None)
    else:
        if not isinstance(data, vtkMultiBlockDataSet):
            raise InputError(f"{a.input}: a single dataset has no boundary patches: use "
                             "--passage or a multiblock / CGNS input")
        try:
            passage = passageFromPatches(data, a.patches, a.axisPoint, a.axisDirection)
        except InputError as e:
            if a.input.lower().endswith(".cgns") and str(e).startswith("no patch named"):
                raise InputError(f"{e} (VTK's CGNS reader loads family-specified boundary "
                                 "conditions only)") from None
            raise
    phases.end()
    phases.begin("mesh")
    t = buildTransform(passage, a.axisPoint, a.axisDirection,
                       T.linear if a.method == "linear" else T.nonLinear, a.meshSize,
                       a.levels, a.curve_points, a.threads, exactWalls=not a.chord_walls)
    phases.end()
    return a, data, passage, t


def annotateMain(argv):
    """``python3 -m qor annotate``: returns 0, 2 for bad input (one line on stderr, nothing
    written) or 1 when writing fails."""
    err = sys.stderr
    # VTK's own messages go to a string instead of the terminal: errors reach us through observers.
    vtkOutputWindow.SetInstance(vtkStringOutputWindow())
    vtkLogger.SetStderrVerbosity(vtkLogger.VERBOSITY_OFF)
    if any(h in argv for h in ("-h", "--help")):
        _parser().print_help()
        return 0
    phases = _Phases(err)
    with warnings.catch_warnings(record=True) as noted:
        warnings.simplefilter("always")
        try:
            a, data, passage, t = _setUp(argv, phases)
        except InputError as e:
            print(f"qor annotate: {e}", file=err)
            return 2
    for w in noted:
        print(f"qor annotate: warning: {w.message}", file=err)
    s = meshSummary(t)
    print(f"passage: {passage.description}\n"
          f"  lengths: hub {s['hub']:.6g}, shroud {s['shroud']:.6g}, inlet {s['inlet']:.6g}, "
          f"outlet {s['outlet']:.6g}; axial {s['lo'][0]:.6g} .. {s['hi'][0]:.6g}, "
          f"radial {s['lo'][1]:.6g} .. {s['hi'][1]:.6g}\n"
          f"  background mesh: {s['ni']} x {s['nj']} nodes ({a.method}, {a.meshSize} requested), "
          f"{s['inverted']} inverted cells, min angle {s['minAngle']:.1f} deg, "
          f"max edge ratio {s['maxRatio']:.1f}", file=err)
    phases.begin("coordinates")
    total, outside, inLibrary = annotate(data, t, a.spaceList, a.directions, a.threads,
                                         a.axisPoint, a.axisDirection, phases.progress)
    phases.end()
    phases.times[-1:] = [("coordinates (library)", inLibrary),
                         ("arrays", phases.times[-1][1] - inLibrary)]
    share = 100.0 * outside / max(total, 1)
    print(f"nodes outside the passage: {outside} of {total} ({share:.2f} %)",
          file=err)
    phases.begin("write")
    try:
        writeMesh(data, a.output, phases.progress)
    except (InputError, OSError) as e:
        print(f"qor annotate: {e}", file=err)
        return 1
    phases.end()
    print("time: " + ", ".join(f"{n} {s:.2f} s" for n, s in phases.times) +
          f", total {sum(s for _, s in phases.times):.2f} s", file=err)
    return 0
