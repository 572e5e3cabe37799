#include <host/commands/Command.h>

#include <KetSDK/MeshVTK/Text.h>

#include <iostream>
#include <sstream>

namespace ketmesh {

void Command::Declare(CLI::App& app) {
    CLI::App& command = *app.add_subcommand(m_name, m_description);
    command.footer(m_footer);
    DeclareOptions(command);
    command.add_flag("--json", m_json, "Print one JSON object");
}

int Command::Run(Progress const& progress) {
    if (Answer())
        return Done;
    Work(MakeContext(progress));
    if (m_json)
        PrintObject();
    else
        PrintText();
    return Check();
}

KetSDK::MeshJobs::Context Command::MakeContext(Progress const& progress) {
    KetSDK::MeshJobs::Context context;
    context.progress = progress;
    context.warn = [this](std::string const& message) {
        std::cerr << "ketmesh: warning: " << message << '\n';
        m_warnings.push_back(message);
    };
    context.turned = [this](KetSDK::MeshJobs::TurnedInput const& input) { m_turned.push_back(input); };
    return context;
}

void Command::PrintObject() const {
    Json report = Report();
    report["inputs"] = Json::array();
    for (std::string const* const name : m_inputs)
        if (!name->empty())
            report["inputs"].push_back(*name);
    report["warnings"] = m_warnings;
    for (KetSDK::MeshJobs::TurnedInput const& input : m_turned)
        report["turned"].push_back({{"file", input.file},
                                    {"from", KetSDK::Mesh::FrameWord(input.from)},
                                    {"to", KetSDK::Mesh::FrameWord(input.to)}});
    if (m_has_outputs)
        report["files"] = m_files;
    PrintJson(report);
}

void Command::PrintText() const {
    std::ostringstream text;
    Print(text);
    for (KetSDK::MeshJobs::TurnedInput const& input : m_turned)
        text << "\nturned from " << KetSDK::Mesh::FrameWord(input.from) << " into "
             << KetSDK::Mesh::FrameWord(input.to) << ", the frame of the first file: " << input.file << '\n';
    char const* separator = "\n";
    for (std::string const& file : m_files) {
        if (NamesFiles())
            break;
        text << separator << "written: " << KetSDK::MeshVTK::Printable(file) << '\n';
        separator = "";
    }
    PrintLines(text.str());
}

} // namespace ketmesh
