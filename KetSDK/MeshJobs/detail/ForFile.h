// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshVTK/Error.h>

#include <chrono>
#include <string>

namespace KetSDK::MeshJobs::Detail {

// Runs a step that works on a file, and makes the errors of the libraries below those of the jobs: with
// the name of the file before the message.
template <typename Step>
auto ForFile(std::string const& file, Step const& step) {
    try {
        return step();
    } catch (MeshVTK::Cancelled const&) {
        throw Cancelled();
    } catch (MeshSolver::Cancelled const&) {
        throw Cancelled();
    } catch (MeshVTK::Error const& e) {
        throw FileError(file, e.what());
    } catch (MeshSolver::Error const& e) {
        throw FileError(file, e.what());
    }
}

// Adds the seconds of its life to the times of a context.
class FileTime {
public:
    FileTime(Context const& context, double FileTimes::*sum)
        : m_times(context.times)
        , m_sum(sum) {}
    FileTime(FileTime const&) = delete;
    FileTime& operator=(FileTime const&) = delete;
    ~FileTime() {
        if (m_times)
            m_times->*m_sum += std::chrono::duration<double>(Clock::now() - m_start).count();
    }

private:
    using Clock = std::chrono::steady_clock;

    FileTimes* m_times;
    double FileTimes::*m_sum;
    Clock::time_point m_start = Clock::now();
};

// The same for a step that reads the file, or writes it, the time of which counts.
template <typename Step>
auto ReadingFile(std::string const& file, Context const& context, Step const& step) {
    FileTime const time(context, &FileTimes::read);
    return ForFile(file, step);
}
template <typename Step>
auto WritingFile(std::string const& file, Context const& context, Step const& step) {
    FileTime const time(context, &FileTimes::write);
    return ForFile(file, step);
}

} // namespace KetSDK::MeshJobs::Detail
