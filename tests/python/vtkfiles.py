"""VTK data sets for the tests of the command line: unstructured grids from numpy arrays, named
multiblocks, and the point arrays of what the commands wrote."""

import numpy as np
from vtkmodules.util.numpy_support import numpy_to_vtk, numpy_to_vtkIdTypeArray, vtk_to_numpy
from vtkmodules.vtkCommonCore import vtkPoints
from vtkmodules.vtkCommonDataModel import (vtkCellArray, vtkCompositeDataSet, vtkMultiBlockDataSet,
                                           vtkUnstructuredGrid)
from vtkmodules.vtkIOXML import vtkXMLMultiBlockDataWriter, vtkXMLUnstructuredGridWriter


def grid(nodes, cells, vtkType, arrays={}):
    """The nodes, cells of one VTK type (rows of node ids) and point arrays."""
    g = vtkUnstructuredGrid()
    p = vtkPoints()
    p.SetData(numpy_to_vtk(np.ascontiguousarray(nodes), deep=1))
    g.SetPoints(p)
    ca = vtkCellArray()
    ca.SetData(numpy_to_vtkIdTypeArray(np.arange(0, cells.size + 1, cells.shape[1]), deep=1),
               numpy_to_vtkIdTypeArray(np.ascontiguousarray(cells.ravel()), deep=1))
    g.SetCells(vtkType, ca)
    for name, a in arrays.items():
        v = numpy_to_vtk(np.ascontiguousarray(a), deep=1)
        v.SetName(name)
        g.GetPointData().AddArray(v)
    return g


def write(data, path, writer=None):
    """Written by `writer` (a VTK writer class), by default the XML writer of the data's type."""
    w = (writer or (vtkXMLMultiBlockDataWriter if isinstance(data, vtkMultiBlockDataSet)
                    else vtkXMLUnstructuredGridWriter))()
    w.SetFileName(str(path))
    w.SetInputData(data)
    assert w.Write()


def multiblock(blocks):
    mb = vtkMultiBlockDataSet()
    for k, (name, b) in enumerate(blocks):
        mb.SetBlock(k, b)
        mb.GetMetaData(k).Set(vtkCompositeDataSet.NAME(), name)
    return mb


def arrays(ds):
    pd = ds.GetPointData()
    return {pd.GetArrayName(k): vtk_to_numpy(pd.GetArray(k)) for k in range(pd.GetNumberOfArrays())}
