// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/persistence/MMeshArray.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>
#include <KetSDK/MeshVTK/RoundingReport.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KetSDK::MeshJobs {

// A volume mesh with all that belongs to it: what jobs work on. Lengths are in mm.
struct KETSDK_MESHJOBS_API Model {
    // The file that it was read from, as the caller named it; empty for a model that was made in memory.
    std::string file;
    // Never null in a model that a job is given or gives. A job that is given a constant model leaves the
    // mesh as it is but for what it computes on demand: neighbour information, masks that it adds.
    std::unique_ptr<MMeshBase> mesh;
    // Scalar fields on the nodes, registered with the mesh.
    std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> fields;
    // Arrays that came along and that the mesh does not hold itself, in the order of the file.
    std::vector<MMeshArray> arrays;
    // Where x and y point in the body; nothing for a model that does not say. Jobs hand it on to what they
    // make, and turn a second input that says another frame into it.
    std::optional<Mesh::CoordinateFrame> frame;
    // Whether it was the caller who said the frame: then jobs do not doubt it where a second input says none.
    bool frame_is_given = false;
    // What rounding to integer coordinates did when the model was read.
    MeshVTK::RoundingReport rounding;
};

// Puts an array among the others, in place of one with the same name at the same place.
KETSDK_MESHJOBS_API void SetArray(std::vector<MMeshArray>& arrays, MMeshArray array);
// The array of that name at that place; null when there is none.
KETSDK_MESHJOBS_API MMeshArray const* FindArray(std::vector<MMeshArray> const& arrays,
                                                std::wstring const& name, MMeshArray::Place place);

// A kind of element as reports name it, and how many there are.
struct KindCount {
    char const* name; // "tet4", "tet10", "hex8", "wedge6"
    unsigned int nodes;
    std::uint64_t elements;
};
// All kinds in the order above, those without elements too.
KETSDK_MESHJOBS_API std::vector<KindCount> CountKinds(MMeshBase const& mesh);
// How many elements are ten-node tetrahedra, which several jobs take by their corners.
KETSDK_MESHJOBS_API std::uint64_t CountTenNodeTetrahedra(MMeshBase const& mesh);

// How many elements are hexahedra or wedges, which several jobs take as what they are and others cut into
// tetrahedra.
KETSDK_MESHJOBS_API std::uint64_t CountSolids(MMeshBase const& mesh);

// What a job made of the hexahedra and wedges of a model.
struct SolidsReport {
    std::uint64_t elements = 0;
    std::uint64_t tetrahedra = 0; // that they were cut into; 0 where they were taken as they are
};

// Throws FileError unless all elements are tetrahedra; it says what else there is and what to do.
KETSDK_MESHJOBS_API void RequireTetrahedra(Model const& model);

// A sub-volume as reports tell of it.
struct SubVolumeReport {
    int number;
    std::string name; // UTF-8
    std::uint64_t elements;
    double volume; // mm3, signed
};
// The sub-volumes of a mesh in their order.
KETSDK_MESHJOBS_API std::vector<SubVolumeReport> ReportSubVolumes(MMeshBase const& mesh);

// The sub-volumes with these names, all where several have one, in the order of the mesh. Throws FileError
// for a name that none has.
KETSDK_MESHJOBS_API std::vector<MMeshSubVolume*> FindSubVolumes(Model const& model,
                                                                std::vector<std::string> const& names);

// The box of the mesh's nodes in mm: xmin, ymin, zmin, xmax, ymax, zmax.
KETSDK_MESHJOBS_API std::array<double, 6> BoxOf(MMeshBase const& mesh);

} // namespace KetSDK::MeshJobs
