#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>

#include <boost/filesystem.hpp>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include <sys/stat.h>

namespace {

constexpr int MaxAttempts = 100;

// Creates a folder with a name that nobody else has, closed to other users from its first moment on.
boost::filesystem::path CreatePrivateDirectory(boost::filesystem::path const& parent) {
    for (int attempt = 0; attempt < MaxAttempts; ++attempt) {
        auto path = parent / boost::filesystem::unique_path("ketsdk-%%%%%%%%%%%%%%%%");
        if (::mkdir(path.c_str(), S_IRWXU) == 0) {
            return path;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    throw std::runtime_error("invalid state");
}

} // namespace

// The system's default and not the environment's: only the host looks there.
MTemporaryDirectory::MTemporaryDirectory()
    : MTemporaryDirectory(MFileName(P_tmpdir)) {}

MTemporaryDirectory::MTemporaryDirectory(MFileName const& parent)
    : m_path(CreatePrivateDirectory(parent.GetPath().native()).native()) {}

MTemporaryDirectory::MTemporaryDirectory(MTemporaryDirectory&& other) noexcept
    : m_path(std::exchange(other.m_path, MFileName())) {}

MTemporaryDirectory& MTemporaryDirectory::operator=(MTemporaryDirectory&& other) noexcept {
    if (this != &other) {
        _Remove();
        m_path = std::exchange(other.m_path, MFileName());
    }
    return *this;
}

MTemporaryDirectory::~MTemporaryDirectory() {
    _Remove();
}

void MTemporaryDirectory::_Remove() noexcept {
    if (!m_path.IsEmpty()) {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(m_path.GetPath().native(), ignored);
    }
}
