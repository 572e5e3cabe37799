#pragma once

#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshSolver/Error.h>
#include <KetSDK/MeshVTK/Error.h>

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

} // namespace KetSDK::MeshJobs::Detail
