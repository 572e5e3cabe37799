#pragma once

#include <KetSDK/Mesh/materials/MMeshNamedScalarMaskPoints.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/Rounding.h>
#include <host/Command.h>
#include <host/terminal/Output.h>

#include <vtkSmartPointer.h>

#include <memory>
#include <string>
#include <vector>

class vtkUnstructuredGrid;

namespace ketmesh {

// The options with which every command reads a volume mesh, and the reading.
class MeshInput {
public:
    struct Loaded {
        std::unique_ptr<MMeshBase> mesh;
        // What the mesh was made of, or what is made of one that was read from a .kmesh file: a cell for each
        // element, a point for each node, and the arrays of the file.
        vtkSmartPointer<vtkUnstructuredGrid> grid;
        // The scalar fields on the nodes that came with a .kmesh file, registered with the mesh.
        std::vector<std::unique_ptr<MMeshNamedScalarMaskPoints>> fields;
        KetSDK::MeshVTK::RoundingReport rounding;
    };

    // Declares the file name, which is required, and the options that go with it; returns the option of the
    // file name.
    CLI::Option* Declare(CLI::App& command);
    // The same options for another file.
    MeshInput WithFile(std::string const& file) const;

    // Reads the mesh. Throws FileError for a file that cannot be used.
    Loaded Load(Progress const& progress) const;
    // The same for a command that works on tetrahedra alone; FileError for other elements.
    Loaded LoadTetrahedra(Progress const& progress) const;
    // Makes a mesh of a grid as Load makes it of one in a file, which is named by nothing that is thrown.
    Loaded MakeMesh(vtkUnstructuredGrid* grid, Progress const& progress) const;

    std::string const& GetFileName() const noexcept { return m_file; }
    KetSDK::MeshVTK::LengthUnit GetUnit() const;
    // What the options accept when coordinates are rounded.
    KetSDK::MeshVTK::RoundingLimits const& GetLimits() const noexcept { return m_limits; }

private:
    Loaded _LoadMeshFile(Progress const& progress) const;
    Loaded _LoadGridFile(Progress const& progress) const;

    std::string m_file;
    std::string m_labels;
    std::string m_unit = "mm";
    KetSDK::MeshVTK::RoundingLimits m_limits;
};

// The box of the mesh's nodes in mm: xmin, ymin, zmin, xmax, ymax, zmax.
Json BoxOf(MMeshBase const& mesh);

} // namespace ketmesh
