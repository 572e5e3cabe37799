// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/Text.h>
#include <host/commands/Commands.h>
#include <host/terminal/Cancellation.h>
#include <host/terminal/HelpFormatter.h>
#include <host/terminal/Output.h>
#include <host/terminal/ProgressBar.h>
#include <host/terminal/UsageError.h>

#include <vtkLogger.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace ketmesh {

namespace {

// All commands, in the order of the help.
constexpr std::unique_ptr<Command> (*Commands[])() = {
    MakeMeshCommand,    MakeInfoCommand,      MakeSaveCommand,    MakeDiffCommand,   MakeSurfacesCommand,
    MakeIsoCommand,     MakeBoundaryCommand,  MakeExplodeCommand, MakeGraphCommand,  MakeQualityCommand,
    MakeCheckCommand,   MakeRepairCommand,    MakeOrientCommand,  MakeGrowCommand,   MakeLayersCommand,
    MakeConvertCommand, MakeLabelCommand,     MakeGroupCommand,   MakeMatchCommand,  MakeRemoveCommand,
    MakeSplitCommand,   MakeMergeCommand,     MakeFrameCommand,   MakeWeldCommand,   MakeCutCommand,
    MakeProjectCommand, MakeMaterialsCommand, MakeColorsCommand,  MakeExportCommand, MakeSolveCommand,
    MakeResultsCommand, MakeViewCommand,
};

// An option without its value would otherwise count as not given.
void RefuseEmptyValues(CLI::App& app) {
    auto const check = [](std::string const& value) {
        return value.empty() ? std::string("a value is missing") : std::string();
    };
    for (CLI::App* const command : app.get_subcommands([](CLI::App*) { return true; }))
        for (CLI::Option* const option : command->get_options())
            if (option->get_expected_min() > 0)
                option->check(CLI::Validator(check, ""));
}

// A message as one line that a terminal can show, whatever it is made of.
std::string OneLine(std::string message) {
    std::ranges::replace(message, '\n', ' ');
    return KetSDK::MeshVTK::Printable(message);
}

// One line on standard error and, for programs, one object on standard output.
int Fail(Command const& command, std::string const& message, int status = Failed) {
    UninterruptedEnd const end;
    std::string const line = OneLine(message);
    std::cerr << "ketmesh: " << line << '\n';
    if (command.IsJson())
        PrintJson(command.ReportError(line));
    return status;
}

// The same where no command runs yet. The parser has stopped before it knew all words.
int FailOfUsage(int argc, char** argv, std::string const& message) {
    std::string const line = OneLine(message);
    std::cerr << "ketmesh: " << line << '\n';
    if (std::any_of(argv, argv + argc, [](char const* word) { return std::string_view(word) == "--json"; }))
        PrintJson({{"error", line}, {"inputs", Json::array()}, {"warnings", Json::array()}});
    return Failed;
}

int RunCommand(Command& command) {
    try {
        int const status = command.Run(std::make_shared<ProgressBar>());
        FinishOutput();
        return status;
    } catch (KetSDK::MeshVTK::Cancelled const&) {
        return Fail(command, "cancelled", WasCancelled);
    } catch (KetSDK::MeshJobs::Cancelled const&) {
        return Fail(command, "cancelled", WasCancelled);
    } catch (std::bad_alloc const&) {
        return Fail(command, "there is not enough memory");
    } catch (std::exception const& e) {
        return Fail(command, e.what());
    }
}

int Main(int argc, char** argv) {
    CLI::App app("Works on volumetric finite-element meshes made from CT images.", "ketmesh");
    app.set_version_flag("--version", "ketmesh " KETMESH_VERSION);
    app.formatter(std::make_shared<HelpFormatter>()); // the commands inherit it
    app.require_subcommand(1);
    app.footer(
        "Results go to standard output, messages to standard error. Exit status: 0 done; 1 bad input,\n"
        "wrong usage or a failed job; 2 done, but a check did not hold; 130 cancelled.\n\n"
        "Examples:\n"
        "  ketmesh info head.vtu\n"
        "  ketmesh surfaces head.vtu -o head.vtp --interfaces\n"
        "  ketmesh quality head.vtu --metric all\n"
        "  ketmesh surfaces --help");
    std::vector<std::unique_ptr<Command>> commands;
    for (auto const make : Commands) {
        commands.push_back(make());
        commands.back()->Declare(app);
    }
    RefuseEmptyValues(app);
    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& request) { // help or version
        int const status = app.exit(request);
        FinishOutput();
        return status;
    } catch (CLI::Error const& e) {
        return FailOfUsage(argc, argv, DescribeUsageError(app, e));
    }
    // Each command declared one subcommand, in the order of the list.
    auto const declared = app.get_subcommands([](CLI::App*) { return true; });
    for (std::size_t i = 0; i < declared.size(); ++i)
        if (declared[i]->parsed())
            return RunCommand(*commands[i]);
    return FailOfUsage(argc, argv, "no command was given (see ketmesh --help)");
}

} // namespace

} // namespace ketmesh

int main(int argc, char** argv) {
    ketmesh::InstallSignalHandlers();
    vtkLogger::SetStderrVerbosity(vtkLogger::VERBOSITY_OFF); // one line is enough, and it is ours
    try {
        return ketmesh::Main(argc, argv);
    } catch (std::bad_alloc const&) {
        std::fputs("ketmesh: there is not enough memory\n", stderr); // without asking for any
        return ketmesh::Failed;
    } catch (std::exception const& e) {
        return ketmesh::FailOfUsage(argc, argv, e.what());
    }
}
