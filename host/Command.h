#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <memory>

namespace ketmesh {

// Exit status of the program.
enum ExitStatus : int {
    Done = 0,
    Failed = 1,      // bad input, wrong usage or a failed job
    CheckFailed = 2, // done, but a check that the caller asked for did not hold
    WasCancelled = 130,
};

using Progress = std::shared_ptr<KetSDK::Common::IProgressDelegate>;

// One subcommand. It declares its options, which CLI11 fills in, and then runs once.
class Command {
public:
    virtual ~Command() = default;
    // Declares the subcommand and its options in the application's command line.
    virtual void Declare(CLI::App& app) = 0;
    // Does the work and prints results to standard output; returns an exit status. Throws FileError or
    // another exception for what failed, KetSDK::MeshVTK::Cancelled when the user cancelled.
    virtual int Run(Progress const& progress) = 0;
};

// The commands, each in the source file of its name.
std::unique_ptr<Command> MakeInfoCommand();
std::unique_ptr<Command> MakeSaveCommand();
std::unique_ptr<Command> MakeDiffCommand();
std::unique_ptr<Command> MakeSurfacesCommand();
std::unique_ptr<Command> MakeIsoCommand();
std::unique_ptr<Command> MakeQualityCommand();
std::unique_ptr<Command> MakeCheckCommand();
std::unique_ptr<Command> MakeRepairCommand();
std::unique_ptr<Command> MakeOrientCommand();
std::unique_ptr<Command> MakeGrowCommand();
std::unique_ptr<Command> MakeLayersCommand();
std::unique_ptr<Command> MakeConvertCommand();
std::unique_ptr<Command> MakeBoundaryCommand();
std::unique_ptr<Command> MakeExplodeCommand();
std::unique_ptr<Command> MakeGraphCommand();
std::unique_ptr<Command> MakeLabelCommand();
std::unique_ptr<Command> MakeGroupCommand();
std::unique_ptr<Command> MakeMatchCommand();
std::unique_ptr<Command> MakeRemoveCommand();
std::unique_ptr<Command> MakeSplitCommand();
std::unique_ptr<Command> MakeMergeCommand();
std::unique_ptr<Command> MakeCutCommand();
std::unique_ptr<Command> MakeProjectCommand();
std::unique_ptr<Command> MakeMaterialsCommand();
std::unique_ptr<Command> MakeColorsCommand();

} // namespace ketmesh
