// SPDX-License-Identifier: BSD-3-Clause
#include "Record.h"
#include "Run.h"

// What the package `ketmesh` is made of: the jobs on handles of meshes. Its classes and their documentation
// are in Python.
PYBIND11_MODULE(_core, module) {
    module.doc() = "The jobs of KetSDK.Mesh on handles of meshes; the package ketmesh is made for people.";
    ketmesh::AddErrors(module);
    ketmesh::AddThreads(module);
    ketmesh::AddTables(module);
    ketmesh::AddReports(module);
    ketmesh::AddModels(module);
    ketmesh::AddImages(module);
    ketmesh::AddJobs(module);
    ketmesh::AddSolverJobs(module);
}
