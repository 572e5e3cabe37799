// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/mesh/CoordinateFrame.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>

#include <functional>
#include <memory>
#include <string>

namespace KetSDK::MeshJobs {

// An input that a job turned from its own frame of coordinates into that of the first input.
struct TurnedInput {
    std::string file; // as the caller named it; empty for what was made in memory
    Mesh::CoordinateFrame from;
    Mesh::CoordinateFrame to;
};

// Seconds that were spent on files.
struct FileTimes {
    double read = 0.0;
    double write = 0.0;
};

// What surrounds a job: where its progress is shown, how it is cancelled, how many threads it may use, and
// where its warnings go. A context that was just made shows nothing, is never cancelled, uses all cores and
// drops warnings.
struct KETSDK_MESHJOBS_API Context {
    // Called from the thread that runs the job only; may be null. It also says whether the user cancelled.
    std::shared_ptr<Common::IProgressDelegate> progress;
    // Number of threads to work on; 0 for as many as there are cores. Results are the same for any number.
    int threads = 0;
    // Called with one line for each thing that should make the user doubt a result; may be empty.
    std::function<void(std::string const& message)> warn;
    // Called for each input that was turned; may be empty.
    std::function<void(TurnedInput const& input)> turned;

    // What reading and writing meshes, surfaces, graphs and images takes is added to it; may be null.
    FileTimes* times = nullptr;

    void Warn(std::string const& message) const;
    bool IsCancelled() const;
    // Throws Cancelled when the user cancelled.
    void ThrowIfCancelled() const;
};

} // namespace KetSDK::MeshJobs
