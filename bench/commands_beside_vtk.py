#!/usr/bin/python3
# SPDX-License-Identifier: BSD-3-Clause
"""Times whole commands of `ketmesh` beside scripts that do the same job with VTK, from a .vtu file to a file, each in a
process of its own. On one core it takes the seconds of the processor, on all cores those of the clock. All
are run in turn, forwards and backwards; the first round warms up, and of the others the medians count.

Needs Debian's python3-vtk9 for the scripts.
"""
import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time

# For each job the words of the command, and how a script makes `filter` of `grid`, ending in what it writes.
JOBS = {
    "outer surface": ("surfaces {mesh} -o {out}.vtp", """
from vtkmodules.vtkFiltersGeometry import vtkGeometryFilter
filter = vtkGeometryFilter(input=grid)
""", ".vtp"),
    "quality of every element": ("quality {mesh} --metric ScaledJacobian -o {out}.vtu", """
from vtkmodules.vtkFiltersVerdict import vtkMeshQuality
filter = vtkMeshQuality(input=grid)
filter.SetTetQualityMeasureToScaledJacobian()
""", ".vtu"),
    "plane section": ("cut {mesh} --normal 0.31,-0.47,0.83 --point {point} -o {out}.vtp", """
from vtkmodules.vtkCommonDataModel import vtkPlane
from vtkmodules.vtkFiltersCore import vtkCutter
plane = vtkPlane()
plane.SetNormal(0.31, -0.47, 0.83)
plane.SetOrigin({point})
filter = vtkCutter(input=grid)
filter.SetCutFunction(plane)
""", ".vtp"),
    "linear to quadratic": ("convert {mesh} --to tet10 -o {out}.vtu", """
from vtkmodules.vtkFiltersGeometry import vtkLinearToQuadraticCellsFilter
filter = vtkLinearToQuadraticCellsFilter(input=grid)
""", ".vtu"),
    "connected regions": ("label {mesh} -o {out}.vtu", """
from vtkmodules.vtkFiltersCore import vtkConnectivityFilter
filter = vtkConnectivityFilter(input=grid)
filter.SetExtractionModeToAllRegions()
filter.ColorRegionsOn()
""", ".vtu"),
}

# Files as ketmesh writes them, which is VTK's fastest way too: raw and not compressed.
READ = """
from vtkmodules.vtkIOXML import vtkXMLPolyDataWriter, vtkXMLUnstructuredGridReader, vtkXMLUnstructuredGridWriter
reader = vtkXMLUnstructuredGridReader()
reader.SetFileName({mesh!r})
reader.Update()
grid = reader.GetOutput()
"""
WRITE = """
writer = {writer}()
writer.SetFileName({path!r})
writer.SetInputConnection(filter.GetOutputPort())
writer.SetDataModeToAppended()
writer.EncodeAppendedDataOff()
writer.SetCompressorTypeToNone()
assert writer.Write() == 1
"""
WRITERS = {".vtp": "vtkXMLPolyDataWriter", ".vtu": "vtkXMLUnstructuredGridWriter"}


def script(body, ending, names):
    body = body.replace("(input=grid)", "()\nfilter.SetInputData(grid)").replace("{point}", names["point"])
    return READ.format(**names) + body + WRITE.format(writer=WRITERS[ending], path=names["out"] + ending)


def seconds_of(command, one_core):
    """Runs a process; its seconds on the processor, or by the clock when it may use all cores."""
    begin = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, env=dict(os.environ, VTK_SMP_BACKEND_IN_USE="TBB"),
                               preexec_fn=lambda: one_core and os.sched_setaffinity(0, {min(os.sched_getaffinity(0))}))
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        sys.exit(f"failed: {' '.join(command[:2])}")
    return usage.ru_utime + usage.ru_stime if one_core else time.perf_counter() - begin


def middle_of(mesh):
    """The middle of the box around the mesh, and the number of elements."""
    text = READ.format(mesh=mesh) + "print(','.join(str(x) for x in grid.GetCenter()), grid.GetNumberOfCells())"
    return subprocess.run([sys.executable, "-c", text], check=True, capture_output=True, text=True).stdout.split()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("mesh", help="linear tetrahedra, .vtu, millimetres")
    parser.add_argument("--ketmesh", default="ketmesh", help="the program")
    parser.add_argument("--rounds", type=int, default=5)
    options = parser.parse_args()
    if options.rounds < 2:
        parser.error("--rounds: at least 2 are needed for a spread")
    point, elements = middle_of(options.mesh)
    print(f"{elements} elements; seconds, and by how much of the median the middle half differs\n")
    print("| job | ketmesh, one core | VTK | ratio | ketmesh, all cores | VTK | ratio |")
    print("|---|---|---|---|---|---|---|")
    with tempfile.TemporaryDirectory() as folder:
        names = {"mesh": options.mesh, "point": point, "out": os.path.join(folder, "out")}
        for job, (words, body, ending) in JOBS.items():
            ours = [options.ketmesh] + [word.format(**names) for word in words.split()]
            vtk = [sys.executable, "-c", script(body, ending, names)]
            ways = [(ours + ["--threads", "1"], True), (vtk, True), (ours, False), (vtk, False)]
            times = [[] for _ in ways]
            for number in range(options.rounds + 1):
                order = range(len(ways)) if number % 2 == 0 else reversed(range(len(ways)))
                for i in order:
                    seconds = seconds_of(*ways[i])
                    if number > 0:
                        times[i].append(seconds)
            medians = [statistics.median(t) for t in times]

            def told(i):
                low, _, high = statistics.quantiles(times[i], n=4)
                return f"{medians[i]:.2f} ({100 * (high - low) / medians[i]:.0f} %)"

            print(f"| {job} | {told(0)} | {told(1)} | {medians[1] / medians[0]:.1f} |"
                  f" {told(2)} | {told(3)} | {medians[3] / medians[2]:.1f} |", flush=True)


if __name__ == "__main__":
    main()
