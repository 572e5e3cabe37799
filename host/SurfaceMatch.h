#pragma once

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>
#include <host/Command.h>
#include <host/MeshInput.h>
#include <host/SurfaceInput.h>
#include <host/Threads.h>
#include <host/terminal/Warnings.h>

#include <memory>
#include <string>

class MStlBase;

namespace ketmesh {

// The options with which a command reads a surface and holds it against a mesh, and the doing.
class SurfaceMatch {
public:
    // Declares --surface, --tolerance and --threads; returns the option of the surface's file name.
    CLI::Option* Declare(CLI::App& command);

    bool IsGiven() const noexcept { return m_surface.IsGiven(); }
    std::string const& GetFileName() const noexcept { return m_surface.GetFileName(); }
    double GetTolerance() const noexcept { return m_tolerance; } // mm

    // Reads the surface, which is in the unit of the mesh; without a file name it is empty. Throws FileError.
    std::unique_ptr<MStlBase> Load(MeshInput const& mesh, Progress const& progress) const;
    // Finds the triangles on the faces of a mesh, which holds the mapper from then on. Warns of a tolerance
    // that is larger than the triangles.
    void Map(MStlBase& stl, MMeshBase& mesh, Warnings& warnings, Progress const& progress);
    // Warns when no triangle lies on any face.
    void WarnWhenApart(MStlBase const& stl, MMeshBase const& mesh, MeshInput const& input,
                       Warnings& warnings) const;

private:
    SurfaceInput m_surface;
    double m_tolerance = 0.001;
    Threads m_threads;
};

} // namespace ketmesh
