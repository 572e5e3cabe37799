#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/MeshJobs/MeshJobsExport.h>

#include <functional>
#include <memory>
#include <string>

namespace KetSDK::MeshJobs {

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

    void Warn(std::string const& message) const;
    bool IsCancelled() const;
    // Throws Cancelled when the user cancelled.
    void ThrowIfCancelled() const;
};

} // namespace KetSDK::MeshJobs
