// SPDX-License-Identifier: BSD-3-Clause
// What a command cannot do ends in one line that says why, and leaves nothing. Bad files: KetmeshTest.cpp.
#include "KetmeshProgram.h"

#include <vtkCell.h>
#include <vtkDoubleArray.h>
#include <vtkPoints.h>

#include <sys/resource.h>

namespace {

struct Refusal {
    char const* command;
    char const* reason; // a part of the line
};

constexpr Refusal Refusals[] = {
    {"explode TET4 --shrink 1 -o out/e.vtp", "--shrink"},
    {"explode TET4 --shrink nan -o out/e.vtp", "--shrink"},
    {"explode TET4 --shrink x -o out/e.vtp", "--shrink"},
    {"explode TET4 --shrink 0 --select none -o out/e.vtp", "the cell arrays are"},
    {"explode mixed.vtu --shrink 0 --select zero -o out/e.vtp", "is 0 on every element"},
    {"explode mixed.vtu --shrink 0 --select pairs -o out/e.vtp", "has 2 components instead of one"},
    {"explode TET4 --shrink 0 -o out/e.vtu", ".vtp"},
    {"explode HEX8 --shrink 0.2 -o out/e.vtp", "ketmesh convert"},
    {"graph HEX8 -o out/g.vtp", "ketmesh convert"},
    {"graph TET4 -o out/g.stl", ".vtp"},
    {"boundary HEX8 --colors -o out/b.vtp", "no materials"},
    {"boundary TET4 --colors -o out/b.stl", ".vtp and .ply"},
    {"boundary TET4 --all-faces --interfaces -o out/b.vtp", "--interfaces"},

    {"convert TET4 -o out/c.vtu", "--to is required"},
    {"convert TET4 -o out/c.vtu --to hex8", "--to"},
    {"convert TET4 -o out/c.vtu --to tet10 --split", "goes with --to tet4"},
    {"convert TET4 -o out/c.vtu --to tet4", "nothing to convert"},
    {"convert HEX8 -o out/c.vtu --to tet4 --split", "no quadratic tetrahedra"},
    {"convert TET10 -o out/c.vtu --to tet10", "nothing to convert"},
    {"convert mixed.vtu -o out/c.vtu --to tet10", "convert to tet4 first"},
    {"convert mixed.vtu -o out/c.vtu --to tet4 --split", "leave out --split"},
    {"convert WEDGE6 -o out/c.vtu --to tet4 --split", "no quadratic tetrahedra"},
    {"orient WEDGE6 -o out/c.vtu", "there are no tetrahedra"},

    {"iso TET4 --level 0 --field none", "the cell arrays are"},
    {"iso TET4 --level 0 --field grey -o out/i.vtu", "surfaces are written to"},
    {"iso mixed.vtu --level 0 --field cell", "1000 tetrahedra or more"},

    {"view TET4 -o out/p.html --color nothing", "there are subvolume, "},
    {"view HEX8 -o out/p.html --color Spheres", "1952 hex8"},
    {"view TET4 -o out/p.txt", ".html"},

    {"quality HEX8 --metric Spheres", "1952 hex8"},
    {"quality WEDGE6 --limit Skew<=1", "14 wedge6"},
    {"quality HEX8 --limits abaqus", "none of the limits"},
    {"surfaces TET4 --ascii -o out/s.ply", "--ascii is for .stl"},
    {"surfaces TET4 --ascii --split-surfaces -o out/s.stl", "--ascii"},
    {"quality TET4 --metric Shape", "tet4"},
    {"quality TET4 --metric JacobianDistortion -o out/q.vtu", "JacobianDistortion"},
    {"quality TET4 --metric scaledJacobien", "near it are ScaledJacobian"},
    {"quality TET4 --metric Volume,,Spheres", "\"\""},
    {"quality TET4 --width 1e-9 --metric Volume -o out/q.vtu", "10000"},
    {"quality TET4 --limit Volume>0", "METRIC>=VALUE"},
    {"quality TET4 --limit Volume>=nan", "METRIC>=VALUE"},
    {"quality TET4 --limit Volumes<=1", "near it are Volume"},
    {"quality TET4 --limits ideas", "abaqus, ansys, febio"},
    {"quality TET4 --width nan", "--width"},
    {"quality TET4 --width 0", "--width"},
    {"quality TET4 --partitions 0", "--partitions"},
    {"quality TET4 --max-bound 0", "--max-bound"},
    {"quality TET4 --below inf", "--below"},
    {"quality TET4 --below 0 --above 1", "excludes"},
    {"mesh CT --size 5 -o out/m.vtu", "as grey values have"},
    {"quality TET4 --fail-on -1", "--fail-on"},
    {"quality TET4 --unit m", "--unit m, mm or um"},
    {"quality TET4 --worst 1.5", "--worst"},
    {"quality TET4 --threads 0", "--threads"},
    {"quality TET4 --plot out/q.png", ".svg"},
    {"quality TET4 -o out/q.stl", ".vtu and .vtk"},
    {"quality", "file is required"},
    {"check TET4 --tolerance -1", "--tolerance"},
    {"repair TET4 -o out/r.vtu", "no quadratic tetrahedra"},
    {"repair TET4 -o out/r.vtu --min-ratio 5 --max-ratio 2", "--min-ratio 5"},
    {"repair TET4 -o out/r.vtu --min-alignment 7", "no cosine"},
    {"layers TET4 --layers 0", "--layers"},
    {"grow HEX8 --below 0 -o out/g.vtp", "1952 hex8"},
    {"grow TET4 -o out/g.vtp", "--below or --above"},
    {"grow TET4 --metric all --below 0 -o out/g.vtp", "one metric"},
    {"grow TET4 --below 0 -o out/g.stl", ".vtp"},
    {"grow TET4 --below 0 -o out/g.vtp --surface no.stl", "no.stl"},

    {"group TET4", "--surface"},
    {"match TET4 --surface none.vtp", "none.vtp"},
    {"label TET4 --surface skin.vtp --tolerance 0", "--tolerance"},
    {"match TET4 --surface skin.vtp --tolerance 1e9", "a smaller one is needed"},
    {"project TET4 --surface none.stl --distance 1 -o out/p.vtu", "none.stl: there is no such file"},
    {"project HEX8 --surface skin.vtp --distance 1 -o out/p.vtu", "only tetrahedra can be used here"},
    {"project TET4 --surface skin.vtp --distance 0 -o out/p.vtu", "no positive number"},
    {"project TET4 --surface skin.vtp --distance 1 --min-quality 1.1 -o out/p.vtu", "--min-quality"},
    {"project TET4 --surface skin.vtp --distance 1 --min-quality nan -o out/p.vtu", "--min-quality"},

    {"remove TET4 --name Label~4 -o out/x.vtu",
     "there is no sub-volume \"Label 4\"; the sub-volumes are Label 1, Label 2, Label 3"},
    {"remove WEDGE6 --name Label~1 -o out/x.vtu", "nothing would be left"},
    {"remove TET4 -o out/x.vtu", "--name"},
    {"split TET4 --name label~1 -o out/x.vtu", "no sub-volume \"label 1\""},
    {"merge TET4 missing.vtu -o out/x.vtu", "missing.vtu"},
    {"merge TET4 -o out/x.vtu", "other"},
    {"cut TET4 --normal 0,0,0 --point 0,0,0", "--normal 0,0,0 has no direction"},
    {"cut TET4 --normal 0,1 --point 0,0,0", "2 numbers instead of 3"},
    {"cut TET4 --normal 0,0,1 --point 0,0,80 -o out/x.vtu", ".vtp, .stl, .ply and .obj"},
};

#ifndef KETSDK_SANITIZE // a sanitizer needs more of the address space
TEST_F(Ketmesh, RefusesBeforehandWhatMemoryCannotHold) {
    std::string deck = "*NODE\n1, 0, 1, 0\n2, 0, 0, 1\n", sets;
    for (int i = 3; i <= 20000; ++i) {
        deck += std::to_string(i) + ", " + std::to_string(i) + ", 0, 0\n";
        sets += "*NSET, NSET=S" + std::to_string(i) + "\n1\n";
    }
    Save(Path("sets.inp"), deck + "*ELEMENT, TYPE=C3D4\n1, 3, 4, 1, 2\n" + sets);
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &usual), 0);
    rlimit const small = {1500000000, usual.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &small), 0); // the child inherits it
    ExpectRefused({"info", Path("sets.inp")}, "would become 19998 arrays of all its elements or nodes");
    ExpectRefused({"mesh", Data + "head_labels.nii.gz", "--size", "0.5", "-o", Path("out/m.vtu")},
                  "GB of memory where there are 1.");
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &usual), 0);
}
#endif

} // namespace

TEST_F(Ketmesh, WhatCannotBeDoneEndsInOneLine) {
    auto const curved = ReadGrid("head_small_tet10.vtu");
    vtkIdType const corners[] = {0, 1, 2, 3};
    vtkNew<vtkUnstructuredGrid> mixed;
    mixed->SetPoints(curved->GetPoints());
    mixed->InsertNextCell(VTK_TETRA, 4, corners);
    mixed->InsertNextCell(VTK_QUADRATIC_TETRA, curved->GetCell(0)->GetPointIds());
    vtkNew<vtkDoubleArray> cell;
    cell->SetName("cell");
    cell->InsertNextValue(0.0);
    cell->InsertNextValue(1.0);
    mixed->GetCellData()->AddArray(cell);
    for (auto const& [name, components] : {std::pair("zero", 1), std::pair("pairs", 2)}) {
        vtkNew<vtkDoubleArray> zeros;
        zeros->SetName(name);
        zeros->SetNumberOfComponents(components);
        zeros->SetNumberOfTuples(2);
        zeros->Fill(0.0);
        mixed->GetCellData()->AddArray(zeros);
    }
    WriteGrid(Path("mixed.vtu"), *mixed);
    RunJson({"surfaces", Head, "-o", Path("skin.vtp")});
    for (Refusal const& refusal : Refusals)
        ExpectRefused(Words(refusal.command), refusal.reason);
    EXPECT_EQ(RunJson(Words("convert mixed.vtu -o out/c.vtu --to tet4"))["elements_after"], 2);
}
