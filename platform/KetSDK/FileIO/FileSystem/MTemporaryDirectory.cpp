// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/FileSystem/MTemporaryDirectory.h>

#include <boost/filesystem.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int MaxAttempts = 100;
constexpr std::string_view Prefix = "ketsdk-tmp-";
constexpr std::size_t DigitCount = 16;
constexpr int FolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// An open file or folder, closed at the end.
class Handle {
public:
    explicit Handle(int descriptor) noexcept
        : m_descriptor(descriptor) {}
    Handle(Handle const&) = delete;
    Handle& operator=(Handle const&) = delete;
    ~Handle() {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    int Get() const noexcept { return m_descriptor; }
    int Release() noexcept { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor;
};

// The names in an open folder, whose descriptor stays open.
std::vector<std::string> NamesIn(int folder) {
    std::vector<std::string> names;
    int const copy = ::openat(folder, ".", FolderFlags);
    DIR* const stream = copy >= 0 ? ::fdopendir(copy) : nullptr;
    if (!stream) {
        if (copy >= 0)
            ::close(copy);
        return names;
    }
    while (dirent const* const entry = ::readdir(stream))
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    ::closedir(stream);
    return names;
}

// Removes all that is in an open folder, by names within open folders, so that nobody can lead it elsewhere.
void RemoveContent(int folder) {
    for (std::string const& name : NamesIn(folder)) {
        if (::unlinkat(folder, name.c_str(), 0) == 0)
            continue;
        Handle const inner(::openat(folder, name.c_str(), FolderFlags));
        if (inner.Get() >= 0) {
            RemoveContent(inner.Get());
            ::unlinkat(folder, name.c_str(), AT_REMOVEDIR);
        }
    }
}

// Whether the name still leads to the open folder.
bool IsAt(int folder, int parent, char const* name) {
    struct stat open {};
    struct stat named {};
    return ::fstat(folder, &open) == 0 && ::fstatat(parent, name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

bool IsName(std::string_view name) {
    return name.size() == Prefix.size() + DigitCount && name.starts_with(Prefix) &&
           name.substr(Prefix.size()).find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// Whether the open folder is one of this user's, closed to everyone else.
bool IsPrivateOfUser(int folder) {
    struct stat status {};
    return ::fstat(folder, &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & 0777) == S_IRWXU;
}

// Creates a folder with a name that nobody else has, closed to other users from its first moment on, and
// locks it; returns the open folder, or -1.
int CreateLocked(boost::filesystem::path& path, boost::filesystem::path const& parent) {
    for (int attempt = 0; attempt < MaxAttempts; ++attempt) {
        std::string const digits(DigitCount, '%');
        path = parent / boost::filesystem::unique_path(std::string(Prefix) + digits);
        if (::mkdir(path.c_str(), S_IRWXU) != 0) {
            if (errno == EEXIST)
                continue;
            return -1;
        }
        // Between creating and locking it looks as if it were left behind, and may be removed.
        Handle folder(::open(path.c_str(), FolderFlags));
        if (folder.Get() < 0) {
            if (errno == ENOENT)
                continue;
            ::rmdir(path.c_str());
            return -1;
        }
        // Where there are no locks, nobody gets one to remove it either.
        while (::flock(folder.Get(), LOCK_EX) != 0 && errno == EINTR) {
        }
        if (IsAt(folder.Get(), AT_FDCWD, path.c_str()))
            return folder.Release();
    }
    return -1;
}

} // namespace

// The system's default and not the environment's: only the host looks there.
MFileName MTemporaryDirectory::DefaultParent() {
    return MFileName(P_tmpdir);
}

MTemporaryDirectory::MTemporaryDirectory()
    : MTemporaryDirectory(DefaultParent()) {}

MTemporaryDirectory::MTemporaryDirectory(MFileName const& parent) {
    boost::filesystem::path path;
    m_folder = CreateLocked(path, parent.GetPath().native());
    if (m_folder < 0)
        throw std::runtime_error("invalid state");
    m_path = MFileName(path.native());
    m_process = ::getpid();
}

MTemporaryDirectory::MTemporaryDirectory(MTemporaryDirectory&& other) noexcept
    : m_path(std::exchange(other.m_path, MFileName()))
    , m_folder(std::exchange(other.m_folder, -1))
    , m_process(other.m_process) {}

MTemporaryDirectory& MTemporaryDirectory::operator=(MTemporaryDirectory&& other) noexcept {
    if (this != &other) {
        Remove();
        m_path = std::exchange(other.m_path, MFileName());
        m_folder = std::exchange(other.m_folder, -1);
        m_process = other.m_process;
    }
    return *this;
}

MTemporaryDirectory::~MTemporaryDirectory() {
    Remove();
}

void MTemporaryDirectory::Remove() noexcept {
    if (m_folder < 0)
        return;
    try {
        if (m_process == ::getpid() && IsAt(m_folder, AT_FDCWD, m_path.GetPath().c_str())) {
            RemoveContent(m_folder);
            ::rmdir(m_path.GetPath().c_str());
        }
    } catch (std::bad_alloc const&) {
        // It stays; RemoveStale finds it.
    }
    ::close(std::exchange(m_folder, -1));
}

int MTemporaryDirectory::RemoveStale(MFileName const& parent) {
    Handle const all(::open(parent.GetPath().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (all.Get() < 0)
        return 0;
    int removed = 0;
    for (std::string const& name : NamesIn(all.Get())) {
        if (!IsName(name))
            continue;
        Handle const folder(::openat(all.Get(), name.c_str(), FolderFlags));
        if (folder.Get() < 0 || !IsPrivateOfUser(folder.Get()) ||
            ::flock(folder.Get(), LOCK_EX | LOCK_NB) != 0 || !IsAt(folder.Get(), all.Get(), name.c_str()))
            continue;
        RemoveContent(folder.Get());
        removed += ::unlinkat(all.Get(), name.c_str(), AT_REMOVEDIR) == 0;
    }
    return removed;
}
