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
    return context;
}

void Command::PrintObject() const {
    Json report = Report();
    report["inputs"] = Json::array();
    for (std::string const* const name : m_inputs)
        if (!name->empty())
            report["inputs"].push_back(*name);
    report["warnings"] = m_warnings;
    if (m_has_outputs)
        report["files"] = m_files;
    PrintJson(report);
}

void Command::PrintText() const {
    std::ostringstream text;
    Print(text);
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
