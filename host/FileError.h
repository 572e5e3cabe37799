#pragma once

#include <KetSDK/MeshVTK/Error.h>

#include <stdexcept>
#include <string>

namespace ketmesh {

// Something is wrong with a file; the message begins with its name.
class FileError : public std::runtime_error {
public:
    FileError(std::string const& file, std::string const& message)
        : std::runtime_error(file + ": " + message) {}
};

// Runs a step that works on a file, and puts the name of the file before the message of a failure.
template <typename Step>
auto ForFile(std::string const& file, Step const& step) {
    try {
        return step();
    } catch (KetSDK::MeshVTK::Error const& e) {
        throw FileError(file, e.what());
    }
}

} // namespace ketmesh
