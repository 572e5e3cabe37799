// SPDX-License-Identifier: BSD-3-Clause
#include "Run.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <string>

namespace ketmesh {

namespace {

// Asks Python, now and then, whether a signal has come. It is called on the thread that called the job.
class SignalWatch : public KetSDK::Common::IProgressDelegate {
public:
    void Begin(std::string const&, bool) override {}
    void Advance(double) override {}
    void End() override {}
    bool IsCancelled() const override {
        auto const now = std::chrono::steady_clock::now();
        if (!m_interrupted && now - m_last >= std::chrono::milliseconds(50)) {
            m_last = now;
            py::gil_scoped_acquire const acquired;
            m_interrupted = PyErr_CheckSignals() != 0; // the exception stays set for ThrowInterrupt
        }
        return m_interrupted;
    }

private:
    mutable bool m_interrupted = false;
    mutable std::chrono::steady_clock::time_point m_last = std::chrono::steady_clock::now();
};

// Of jobs that are not told another number; 0 stands for all cores.
std::atomic<int> usual_threads = 0;

void RequireThreads(int threads) {
    if (threads < 0 || threads > 1024)
        throw Jobs::Error("the number of threads is 1 to 1024, or 0 for all cores, not " +
                          std::to_string(threads));
}

std::mutex times_lock;
JobTimes all_times; // under the lock

// How far up the caller is who is no code of this package: warnings are about what it does.
int LevelOfCaller() {
    int level = 1;
    py::object frame = py::module_::import("sys").attr("_getframe")();
    while (!frame.is_none()) {
        auto const globals = py::dict(frame.attr("f_globals"));
        std::string const name = globals.contains("__name__") ? py::str(globals["__name__"]) : "";
        if (name != "ketmesh" && !name.starts_with("ketmesh."))
            return level;
        frame = frame.attr("f_back");
        ++level;
    }
    return 1;
}

// Never freed: they live as long as the interpreter.
PyObject* mesh_warning = nullptr;
PyObject* mesh_error = nullptr;
PyObject* file_error = nullptr;

PyObject* MakeClass(py::module_& module, char const* name, py::object const& bases, char const* doc) {
    std::string const qualified = std::string("ketmesh.") + name;
    PyObject* const made = PyErr_NewExceptionWithDoc(qualified.c_str(), doc, bases.ptr(), nullptr);
    if (!made)
        throw py::error_already_set();
    module.add_object(name, made);
    return made;
}

} // namespace

void AddErrors(py::module_& module) {
    mesh_error =
        MakeClass(module, "MeshError", py::reinterpret_borrow<py::object>(PyExc_RuntimeError),
                  "Input that a job cannot use, or a job that failed; the text is one line that says why.");
    file_error =
        MakeClass(module, "MeshFileError",
                  py::make_tuple(py::handle(mesh_error), py::reinterpret_borrow<py::object>(PyExc_OSError)),
                  "A MeshError that concerns a file or what was read from it.");
    mesh_warning = MakeClass(module, "MeshWarning", py::reinterpret_borrow<py::object>(PyExc_UserWarning),
                             "Something that should make the user doubt a result.");
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown)
                std::rethrow_exception(thrown);
        } catch (Jobs::FileError const& e) {
            PyErr_SetString(e.GetFile().empty() ? mesh_error : file_error, e.what());
        } catch (Jobs::Error const& e) {
            PyErr_SetString(mesh_error, e.what());
        }
    });
}

void AddThreads(py::module_& module) {
    module.def(
        "set_threads",
        [](int threads) {
            RequireThreads(threads);
            usual_threads = threads;
        },
        py::arg("threads"));
    module.def("times", [] {
        std::scoped_lock const lock(times_lock);
        return std::array{all_times.read, all_times.work, all_times.write};
    });
}

Call::Call(int threads) {
    RequireThreads(threads);
    m_context.progress = std::make_shared<SignalWatch>();
    m_context.threads = threads > 0 ? threads : usual_threads.load();
    m_context.times = &m_times;
    m_context.warn = [this](std::string const& message) { m_warnings.push_back(message); };
}

Call::~Call() {
    std::chrono::duration<double> const all = std::chrono::steady_clock::now() - m_start;
    std::scoped_lock const lock(times_lock);
    all_times.read += m_times.read;
    all_times.write += m_times.write;
    all_times.work += std::max(0.0, all.count() - m_times.read - m_times.write);
}

void Call::GiveWarnings() const {
    if (m_warnings.empty())
        return;
    int const level = LevelOfCaller();
    for (std::string const& warning : m_warnings)
        if (PyErr_WarnEx(mesh_warning, warning.c_str(), level) != 0)
            throw py::error_already_set();
}

void Call::ThrowInterrupt() const {
    if (PyErr_Occurred())
        throw py::error_already_set();
}

} // namespace ketmesh
