// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/detail/VtkSession.h>

#include <KetSDK/MeshVTK/Error.h>

#include <vtkAlgorithm.h>
#include <vtkCallbackCommand.h>
#include <vtkCommand.h>
#include <vtkErrorCode.h>
#include <vtkObjectFactory.h>
#include <vtkOutputWindow.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <exception>
#include <new>
#include <system_error>

namespace KetSDK::MeshVTK::Detail {

namespace {

constexpr unsigned long long ProgressSteps = 1000;

// What a message says, on one line: VTK puts the place in its own sources first and line ends around.
std::string Condense(std::string const& message) {
    std::size_t const place = message.find("): ");
    std::string text;
    for (char const character : message.substr(place == std::string::npos ? 0 : place + 3)) {
        bool const space = std::isspace(static_cast<unsigned char>(character)) != 0;
        bool const printable = static_cast<unsigned char>(character) >= ' ' && character != 0x7F;
        if (!space && printable)
            text += character;
        else if (!text.empty() && text.back() != ' ')
            text += ' ';
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '.'))
        text.pop_back();
    constexpr std::size_t longest = 200;
    return text.size() > longest ? text.substr(0, longest) + "..." : text;
}

// Of the thread whose session hears VTK. Never destroyed: jobs may still run while the process ends.
std::recursive_timed_mutex& Turn() {
    static auto* const turn = new std::recursive_timed_mutex;
    return *turn;
}

// Nothing is reported meanwhile: the phase has not begun.
std::unique_lock<std::recursive_timed_mutex> TakeTurn(Common::IProgressDelegate const* progress) {
    std::unique_lock turn(Turn(), std::defer_lock);
    while (!turn.try_lock_for(std::chrono::milliseconds(100)))
        if (progress && progress->IsCancelled())
            throw Cancelled();
    return turn;
}

// What the system could not do, which VTK's messages hide; empty for other codes and for none.
std::string SystemReason(unsigned long code) {
    if (code == vtkErrorCode::OutOfDiskSpaceError)
        return "the disk is full";
    if (code == vtkErrorCode::NoError || code >= vtkErrorCode::FirstVTKErrorCode)
        return "";
    return std::generic_category().message(static_cast<int>(code));
}

} // namespace

// Keeps the first error. Some of VTK's readers report what they could not read as a mere warning.
class VtkSession::MessageSink : public vtkOutputWindow {
public:
    static MessageSink* New();
    void DisplayErrorText(char const* text) override {
        if (!m_error.empty())
            return;
        m_error = Condense(text);
        // What a pipeline says of a filter that gave no reason helps nobody.
        if (m_error.empty() || m_error.find("returned failure for request") != std::string::npos)
            m_error = "VTK could not make sense of it";
    }
    void DisplayGenericWarningText(char const* text) override { DisplayWarningText(text); }
    void DisplayWarningText(char const* text) override {
        std::string const message = Condense(text);
        if (message.find("rror") != std::string::npos)
            DisplayErrorText(text);
    }
    void DisplayDebugText(char const*) override {}
    void DisplayText(char const*) override {}

    std::string const& GetError() const noexcept { return m_error; }

private:
    std::string m_error;
};

vtkStandardNewMacro(VtkSession::MessageSink);

VtkSession::VtkSession(std::shared_ptr<Common::IProgressDelegate> const& progress, std::string const& label)
    : m_turn(TakeTurn(progress.get()))
    , m_previous(vtkOutputWindow::GetInstance())
    , m_progress(progress, label, ProgressSteps, true) {
    vtkOutputWindow::SetInstance(m_sink.Get());
}

VtkSession::~VtkSession() {
    vtkOutputWindow::SetInstance(m_previous);
}

void VtkSession::Run(vtkAlgorithm& algorithm, std::string const& purpose) {
    vtkNew<vtkCallbackCommand> on_progress;
    on_progress->SetClientData(&m_progress);
    on_progress->SetCallback([](vtkObject* caller, unsigned long, void* client, void* call_data) {
        auto& progress = *static_cast<Common::IncrementalProgressReporter*>(client);
        double const fraction = std::clamp(*static_cast<double*>(call_data), 0.0, 1.0);
        progress = static_cast<unsigned long long>(fraction * ProgressSteps);
        if (progress.IsCancelled())
            static_cast<vtkAlgorithm*>(caller)->SetAbortExecute(1);
    });
    unsigned long const tag = algorithm.AddObserver(vtkCommand::ProgressEvent, on_progress);
    std::string failure;
    try {
        algorithm.Update();
    } catch (std::bad_alloc const&) {
        failure = "there is not enough memory for what it claims to hold";
    } catch (std::exception const& e) {
        failure = Condense(e.what());
    }
    algorithm.RemoveObserver(tag);
    if (m_progress.IsCancelled())
        throw Cancelled();
    if (!failure.empty())
        throw Error(purpose + ": " + failure);
    unsigned long const code = algorithm.GetErrorCode();
    if (std::string const reason = SystemReason(code); !reason.empty())
        throw Error(purpose + ": " + reason);
    Check(purpose);
    if (code != vtkErrorCode::NoError)
        throw Error(purpose + ": " + Condense(vtkErrorCode::GetStringFromErrorCode(code)));
}

void VtkSession::Check(std::string const& purpose) const {
    if (!m_sink->GetError().empty())
        throw Error(purpose + ": " + m_sink->GetError());
}

} // namespace KetSDK::MeshVTK::Detail
