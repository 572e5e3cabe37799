// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/commands/Command.h>

#include <memory>

namespace ketmesh {

// The commands, each in the source file of its name.
std::unique_ptr<Command> MakeMeshCommand();
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
std::unique_ptr<Command> MakeWeldCommand();
std::unique_ptr<Command> MakeFrameCommand();
std::unique_ptr<Command> MakeCutCommand();
std::unique_ptr<Command> MakeProjectCommand();
std::unique_ptr<Command> MakeMaterialsCommand();
std::unique_ptr<Command> MakeColorsCommand();
std::unique_ptr<Command> MakeExportCommand();
std::unique_ptr<Command> MakeSolveCommand();
std::unique_ptr<Command> MakeResultsCommand();
std::unique_ptr<Command> MakeViewCommand();

} // namespace ketmesh
