// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/Command.h>
#include <host/commands/options/ModelInput.h>
#include <host/commands/options/ModelOutput.h>
#include <host/terminal/Format.h>

#include <ostream>

namespace ketmesh {

namespace {

using KetSDK::MeshJobs::Model;

// Saves a mesh in another kind of file.
class SaveCommand : public Command {
public:
    SaveCommand()
        : Command("save", "Save a volume mesh in another file format",
                  "A .kmesh file holds everything that a mesh has: nodes and elements as they are,\n"
                  "sub-volumes with names and material numbers, materials with colours, volume lists,\n"
                  "scalar fields and the arrays of the .vtu or .vtk file that it was made of. It is\n"
                  "binary, or XML with --text, and carries a checksum over all of it. A .vtu or .vtk file\n"
                  "holds only what other programs understand.\n\n"
                  "Examples:\n"
                  "  ketmesh save head.vtu -o head.kmesh\n"
                  "  ketmesh save head.kmesh -o head.vtu --unit m\n"
                  "  ketmesh save head.vtu -o head.kmesh --text --json") {}

private:
    void DeclareOptions(CLI::App& command) override {
        m_input.Declare(*this, command);
        m_output.Declare(*this, command, "Volume mesh to write")->required();
        command.add_flag("--text", m_text, "Write a .kmesh file as XML text");
    }

    void Work(KetSDK::MeshJobs::Context const& context) override {
        m_output.Open({m_input.GetUnit(), m_text ? MMeshFile::Text : MMeshFile::Binary});
        Model const model = m_input.Read(context);
        m_output.Write(model, context);
        m_elements = static_cast<std::uint64_t>(model.mesh->NumberOfElements());
        m_nodes = static_cast<std::uint64_t>(model.mesh->NumberOfPoints());
        m_bytes = m_output.GetSize();
    }

    Json Report() const override {
        return {{"elements", m_elements}, {"nodes", m_nodes}, {"bytes", m_bytes}, {"encoding", Encoding()}};
    }

    void Print(std::ostream& out) const override {
        out << Printable(m_output.GetFileName()) << ": " << m_elements << " elements, " << m_nodes
            << " nodes, " << FormatBytes(m_bytes) << ", " << Encoding() << '\n';
    }

    bool NamesFiles() const override { return true; }

    char const* Encoding() const { return m_text ? "text" : "binary"; }

    ModelInput m_input;
    ModelOutput m_output;
    bool m_text = false;
    std::uint64_t m_elements = 0;
    std::uint64_t m_nodes = 0;
    std::uint64_t m_bytes = 0;
};

} // namespace

std::unique_ptr<Command> MakeSaveCommand() {
    return std::make_unique<SaveCommand>();
}

} // namespace ketmesh
