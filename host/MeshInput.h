#pragma once

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/LengthUnit.h>
#include <KetSDK/MeshVTK/Rounding.h>
#include <host/Command.h>
#include <host/Output.h>

#include <vtkSmartPointer.h>

#include <memory>
#include <string>

class vtkUnstructuredGrid;

namespace ketmesh {

// The options with which every command reads a volume mesh, and the reading.
class MeshInput {
public:
    struct Loaded {
        std::unique_ptr<MMeshBase> mesh;
        // What the mesh was made of, a cell for each element and a point for each node.
        vtkSmartPointer<vtkUnstructuredGrid> grid;
        KetSDK::MeshVTK::RoundingReport rounding;
    };

    // Declares the file name, which is required, and the options that go with it; returns the option of the
    // file name.
    CLI::Option* Declare(CLI::App& command);
    // Reads the mesh. Throws FileError for a file that cannot be used.
    Loaded Load(Progress const& progress) const;
    // The same for a command that works on tetrahedra alone; FileError for other elements.
    Loaded LoadTetrahedra(Progress const& progress) const;

    std::string const& GetFileName() const noexcept { return m_file; }
    KetSDK::MeshVTK::LengthUnit GetUnit() const;

private:
    std::string m_file;
    std::string m_labels;
    std::string m_unit = "mm";
    KetSDK::MeshVTK::RoundingLimits m_limits;
};

// The box of the mesh's nodes in mm: xmin, ymin, zmin, xmax, ymax, zmax.
Json BoxOf(MMeshBase const& mesh);

} // namespace ketmesh
