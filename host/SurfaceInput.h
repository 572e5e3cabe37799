#pragma once

#include <host/Command.h>
#include <host/MeshInput.h>

#include <memory>
#include <string>

class MStlBase;

namespace ketmesh {

// The option with which a command reads a surface beside its mesh, and the reading.
class SurfaceInput {
public:
    // Declares --surface; returns its option.
    CLI::Option* Declare(CLI::App& command);

    bool IsGiven() const noexcept { return !m_file.empty(); }
    std::string const& GetFileName() const noexcept { return m_file; }

    // Reads the surface, which is in the unit of the mesh; without a file name it is empty. Throws FileError.
    std::unique_ptr<MStlBase> Load(MeshInput const& mesh, Progress const& progress) const;

private:
    std::string m_file;
};

} // namespace ketmesh
