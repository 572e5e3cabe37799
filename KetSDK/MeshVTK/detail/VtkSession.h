// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>

#include <vtkNew.h>
#include <vtkSmartPointer.h>

#include <memory>
#include <mutex>
#include <string>

class vtkAlgorithm;
class vtkCallbackCommand;
class vtkOutputWindow;

namespace KetSDK::MeshVTK::Detail {

// Runs VTK algorithms so that nothing of what they say is lost or printed. While a session lives, VTK's
// messages are collected instead of shown, and the progress of the algorithms goes to a delegate, which can
// abort them. VTK's log is left as the program has set it up. VTK has one place for its messages, so there is
// one session at a time in a process: that of another thread waits.
class VtkSession {
public:
    // Begins a progress phase; the delegate may be null. Throws Cancelled when the user cancels while it
    // waits for the session of another thread.
    VtkSession(std::shared_ptr<Common::IProgressDelegate> const& progress, std::string const& label);
    VtkSession(VtkSession const&) = delete;
    VtkSession& operator=(VtkSession const&) = delete;
    // VTK's messages go where they went before.
    ~VtkSession();

    // Updates the algorithm. Throws Error, with `purpose` ("cannot read it") and what VTK said, when VTK
    // reported an error or an exception came out of it; throws Cancelled when the user cancelled.
    void Run(vtkAlgorithm& algorithm, std::string const& purpose);
    // Throws Error when VTK reported an error since the session began.
    void Check(std::string const& purpose) const;

private:
    class MessageSink;

    std::unique_lock<std::recursive_timed_mutex> m_turn;
    vtkNew<MessageSink> m_sink;
    vtkSmartPointer<vtkOutputWindow> m_previous;
    Common::IncrementalProgressReporter m_progress;
};

} // namespace KetSDK::MeshVTK::Detail
