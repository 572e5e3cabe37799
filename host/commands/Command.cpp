// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/Command.h>

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshVTK/OutputTransaction.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/Format.h>
#include <host/terminal/PeakMemory.h>
#include <host/terminal/Table.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <sstream>

namespace ketmesh {

void Command::Declare(CLI::App& app) {
    CLI::App& command = *app.add_subcommand(m_name, m_description);
    command.footer(m_footer);
    DeclareOptions(command);
    command.add_option("--threads", m_threads, "Number of threads to work on (default: one for each core)")
        ->check(CLI::Range(1, 1024));
    command.add_flag("--timing", m_timing, "Report how long it took and how much memory");
    command.add_flag("--all-rows", m_all_rows, "Print all rows of tables, not 100 at most");
    command.add_flag("--json", m_json, "Print the report as one JSON object");
}

int Command::Run(Progress const& progress) {
    m_start = std::chrono::steady_clock::now();
    if (Answer()) {
        if (m_timing && !m_json)
            std::cout << TimingText();
        return Done;
    }
    KetSDK::MeshVTK::OutputTransaction files; // all appear together, and not before there is a report
    if (m_json)
        m_cancelled = JsonText(ReportError("cancelled"));
    SetTextOfCancelled(m_cancelled.c_str());
    Work(MakeContext(progress));
    std::string const text = m_json ? ObjectText() : Text();
    {
        UninterruptedEnd const end;
        if (IsCancelled()) // in a last step that does not listen
            throw KetSDK::MeshJobs::Cancelled();
        files.Commit();
    }
    if (m_json)
        std::cout << text;
    else
        PrintLines(text);
    return Check();
}

KetSDK::MeshJobs::Context Command::MakeContext(Progress const& progress) {
    KetSDK::MeshJobs::Context context;
    context.progress = progress;
    context.threads = m_threads;
    context.times = &m_times;
    context.warn = [this](std::string const& message) {
        std::cerr << "ketmesh: warning: " << message << '\n';
        m_warnings.push_back(message);
    };
    context.turned = [this](KetSDK::MeshJobs::TurnedInput const& input) { m_turned.push_back(input); };
    return context;
}

Json Command::ReportError(std::string const& line) const {
    Json report = {{"error", line}};
    AddSurroundings(report);
    return report;
}

void Command::PrintAnswer(Json answer) const {
    AddSurroundings(answer);
    AddTiming(answer);
    PrintJson(answer);
}

void Command::AddSurroundings(Json& report) const {
    report["inputs"] = Json::array();
    for (std::string const* const name : m_inputs)
        if (!name->empty())
            report["inputs"].push_back(*name);
    report["warnings"] = m_warnings;
}

double Command::SecondsOfWork() const {
    std::chrono::duration<double> const all = std::chrono::steady_clock::now() - m_start;
    return std::max(0.0, all.count() - m_times.read - m_times.write);
}

void Command::AddTiming(Json& report) const {
    if (!m_timing)
        return;
    report["seconds"] = {{"read", m_times.read}, {"work", SecondsOfWork()}, {"write", m_times.write}};
    report["peak_memory"] = PeakMemory();
}

std::string Command::TimingText() const {
    return "\ntime: " + FormatGeneral(m_times.read, 3) + " s reading, " + FormatGeneral(SecondsOfWork(), 3) +
           " s working, " + FormatGeneral(m_times.write, 3) +
           " s writing; memory: " + FormatBytes(PeakMemory()) + " at most\n";
}

std::string Command::ObjectText() const {
    Json report = Report();
    AddSurroundings(report);
    for (KetSDK::MeshJobs::TurnedInput const& input : m_turned)
        report["turned"].push_back({{"file", input.file},
                                    {"from", KetSDK::Mesh::FrameWord(input.from)},
                                    {"to", KetSDK::Mesh::FrameWord(input.to)}});
    if (m_has_outputs)
        report["files"] = m_files;
    AddTiming(report);
    return JsonText(report);
}

std::string Command::Text() const {
    std::ostringstream out;
    if (m_all_rows)
        Table::ShowAllRows(out);
    Print(out);
    for (KetSDK::MeshJobs::TurnedInput const& input : m_turned)
        out << "\nturned from " << KetSDK::Mesh::FrameWord(input.from) << " into "
            << KetSDK::Mesh::FrameWord(input.to) << ", the frame of the first file: " << input.file << '\n';
    char const* separator = "\n";
    for (std::size_t i = 0; !NamesFiles() && i < m_files.size(); ++i) {
        out << separator << "written: " << Printable(m_files[i]) << '\n';
        separator = "";
    }
    if (m_timing)
        out << TimingText();
    return out.str();
}

} // namespace ketmesh
