// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/SurfaceModel.h>

#include <pybind11/pybind11.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace ketmesh {

namespace py = pybind11;
namespace Jobs = KetSDK::MeshJobs;

// A model as Python holds it. Jobs run without the interpreter lock, so threads can meet at one model: each
// job holds its lock.
struct SharedModel {
    explicit SharedModel(Jobs::Model&& m)
        : model(std::move(m)) {}

    Jobs::Model model;
    std::mutex lock;
};
using ModelHandle = std::shared_ptr<SharedModel>;

// Surfaces do not change once they are made.
struct SharedSurface {
    explicit SharedSurface(Jobs::SurfaceModel&& s)
        : surface(std::move(s)) {}

    Jobs::SurfaceModel surface;
};
using SurfaceHandle = std::shared_ptr<SharedSurface>;

inline ModelHandle Share(Jobs::Model&& model) {
    return std::make_shared<SharedModel>(std::move(model));
}
inline SurfaceHandle Share(Jobs::SurfaceModel&& surface) {
    return std::make_shared<SharedSurface>(std::move(surface));
}

// Makes MeshError, MeshFileError and MeshWarning, and turns the errors of jobs into them.
void AddErrors(py::module_& module);
// How many threads jobs work on, and how long they took.
void AddThreads(py::module_& module);

// Seconds that the jobs of this process took: reading and writing files, and everything else. Those of jobs
// that run at the same time add up.
struct JobTimes {
    double read = 0.0;
    double work = 0.0;
    double write = 0.0;
};

// What surrounds a job that Python calls: Ctrl-C cancels it, its warnings become Python's, and its time is
// kept.
class Call {
public:
    // Threads that the job works on; 0 for those of set_threads. Throws Error for a number that cannot be
    // meant.
    explicit Call(int threads = 0);
    ~Call();
    Call(Call const&) = delete;
    Call& operator=(Call const&) = delete;

    // Runs the work without the interpreter lock. Throws what the work throws, and KeyboardInterrupt for a
    // job that Ctrl-C has cancelled.
    template <typename Work>
    auto Run(Work const& work) {
        return Guarded([&] {
            py::gil_scoped_release const released;
            return work(std::as_const(m_context));
        });
    }
    // The same with a model that no other thread works on meanwhile.
    template <typename Work>
    auto Run(SharedModel& model, Work const& work) {
        return Guarded([&] {
            py::gil_scoped_release const released;
            std::scoped_lock const lock(model.lock);
            return work(model.model, std::as_const(m_context));
        });
    }

    // The same with two models, which may be one.
    template <typename Work>
    auto Run(SharedModel& a, SharedModel& b, Work const& work) {
        if (&a == &b)
            return Run(a, [&](Jobs::Model& model, Jobs::Context const& context) {
                return work(model, model, context);
            });
        return Guarded([&] {
            py::gil_scoped_release const released;
            std::scoped_lock const lock(a.lock, b.lock);
            return work(a.model, b.model, std::as_const(m_context));
        });
    }

private:
    template <typename Step>
    auto Guarded(Step const& step) {
        try {
            auto result = step();
            ThrowInterrupt(); // it came too late to cancel the job
            GiveWarnings();
            return result;
        } catch (KetSDK::MeshJobs::Error const&) {
            ThrowInterrupt();
            GiveWarnings();
            throw;
        }
    }
    // With the interpreter lock.
    void GiveWarnings() const;
    void ThrowInterrupt() const;

    Jobs::Context m_context;
    Jobs::FileTimes m_times;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::vector<std::string> m_warnings;
};

} // namespace ketmesh
