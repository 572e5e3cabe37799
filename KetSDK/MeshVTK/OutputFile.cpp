// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/OutputFile.h>

#include <KetSDK/MeshVTK/Error.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace KetSDK::MeshVTK {

// A temporary file. Entries are never freed, so that a signal handler can walk them at any time.
struct OutputFile::Entry {
    std::filesystem::path target;    // the name that it gets
    std::filesystem::path temporary; // the name that it has
    std::filesystem::path writable;  // the name to write to
    std::filesystem::path spare;     // the name that the old file has meanwhile; empty for none
    int file = -1;                   // open and locked
    mode_t mode = 0;                 // that it gets
    bool finished = false;
    Entry* next = nullptr;
    std::atomic<bool> pending{false};

    static std::atomic<Entry*> mg_first;
};

std::atomic<OutputFile::Entry*> OutputFile::Entry::mg_first{nullptr};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<void*>::is_always_lock_free);

namespace {

// Names of temporary files: hidden, with as many random digits as keep processes apart that have the same
// number, as the first ones of containers do.
constexpr std::string_view Prefix = ".ketsdk-out-";
constexpr std::string_view Digits = "0123456789abcdef";
constexpr std::size_t DigitCount = 20;
constexpr int MaxAttempts = 100;

constexpr std::size_t LongestName = 255; // bytes that file systems have room for
constexpr int LongestChain = 40;         // of symbolic links, as in the system
constexpr mode_t AnyMode = 0777;
constexpr mode_t AnyWriting = 0222;

std::string TemporaryName() {
    std::random_device random;
    std::uniform_int_distribution<std::size_t> digit(0, Digits.size() - 1);
    std::string name(Prefix);
    for (std::size_t i = 0; i < DigitCount; ++i)
        name += Digits[digit(random)];
    return name;
}

bool IsTemporaryName(std::string_view name) {
    return name.size() == Prefix.size() + DigitCount && name.starts_with(Prefix) &&
           name.substr(Prefix.size()).find_first_not_of(Digits) == std::string_view::npos;
}

[[noreturn]] void RefuseToWrite(int error) {
    throw Error("it cannot be written: " + std::generic_category().message(error));
}

// Whether the name leads to the open file.
bool LeadsTo(char const* name, int file) {
    struct stat open {};
    struct stat named {};
    return ::fstat(file, &open) == 0 && ::stat(name, &named) == 0 && open.st_dev == named.st_dev &&
           open.st_ino == named.st_ino;
}

// Whoever writes a file keeps it locked, so one that can be locked is nobody's. Locks only say nothing of
// other users' files, which stay.
void RemoveLeftovers(std::filesystem::path const& folder) {
    std::error_code error;
    for (std::filesystem::directory_iterator i(folder, error);
         !error && i != std::filesystem::directory_iterator(); i.increment(error)) {
        if (!IsTemporaryName(i->path().filename().string()))
            continue;
        int const file = ::open(i->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        struct stat status {};
        if (file >= 0 && ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
            status.st_uid == ::geteuid() && ::flock(file, LOCK_EX | LOCK_NB) == 0 &&
            LeadsTo(i->path().c_str(), file))
            ::unlink(i->path().c_str());
        if (file >= 0)
            ::close(file);
    }
}

// Makes a file under a new name and locks it; returns it open.
int CreateLocked(std::filesystem::path const& folder, std::filesystem::path& path) {
    for (int attempt = 0; attempt < MaxAttempts; ++attempt) {
        path = folder / TemporaryName();
        int const file = ::open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (file < 0 && errno != EEXIST)
            RefuseToWrite(errno);
        if (file < 0)
            continue;
        // Before it is locked it looks as if it were left behind, and may be removed. Where there are no
        // locks, nobody gets one to remove it either.
        while (::flock(file, LOCK_EX) != 0 && errno == EINTR) {
        }
        if (LeadsTo(path.c_str(), file))
            return file;
        ::close(file);
    }
    RefuseToWrite(EEXIST);
}

// Where a file of this name goes: what the last of the symbolic links names, whether it is there or not.
std::filesystem::path FollowLinks(std::filesystem::path path) {
    std::error_code error;
    for (int i = 0; std::filesystem::is_symlink(path, error); ++i) {
        if (i == LongestChain)
            RefuseToWrite(ELOOP);
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
        if (error)
            RefuseToWrite(error.value());
    }
    return path;
}

// The status of the file that has the name; false when there is none. Throws for what cannot be replaced.
bool StatusOfOld(std::filesystem::path const& path, struct stat& status) {
    if (::stat(path.c_str(), &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode))
        throw Error("it cannot be written because something that is no file has this name");
    if ((status.st_mode & AnyWriting) == 0 || ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
        throw Error("it cannot be written because a file that may not be changed has this name");
    return true;
}

// A name of the open file that does not go through its folder; `path` where the system has none.
std::filesystem::path NameOfOpen(int file, std::filesystem::path const& path) {
    std::filesystem::path const name = "/dev/fd/" + std::to_string(file);
    return LeadsTo(name.c_str(), file) ? name : path;
}

// Makes the renaming last, where the system can.
void SyncFolder(std::filesystem::path const& folder) {
    int const open = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (open < 0)
        return;
    ::fsync(open);
    ::close(open);
}

std::filesystem::path FolderOf(std::filesystem::path const& path) {
    return path.has_parent_path() ? path.parent_path() : ".";
}

} // namespace

OutputFile::OutputFile(std::filesystem::path const& path, Entry* entry)
    : m_path(path)
    , m_entry(entry) {}

// What the destructor does also holds when something fails here.
OutputFile::OutputFile(std::filesystem::path const& path)
    : OutputFile(path, nullptr) {
    if (path.filename().native().size() > LongestName)
        throw Error("its name has more than " + std::to_string(LongestName) +
                    " bytes, which no file can have");
    std::filesystem::path const target = FollowLinks(path);
    std::filesystem::path const folder = FolderOf(target);
    std::error_code ignored;
    if (!std::filesystem::is_directory(folder, ignored))
        throw Error("there is no folder " + folder.string() + " to write it to");
    struct stat old {};
    bool const has_old = StatusOfOld(target, old);
    RemoveLeftovers(folder);

    auto* const entry = new Entry;
    entry->target = target;
    entry->file = CreateLocked(folder, entry->temporary);
    entry->pending = true;
    entry->next = Entry::mg_first.load();
    while (!Entry::mg_first.compare_exchange_weak(entry->next, entry)) {
    }
    m_entry = entry;
    entry->writable = NameOfOpen(entry->file, entry->temporary);
    // While it is written, nobody else reads it; then it gets the permissions of the old file, or those that
    // the system gave to the new one.
    struct stat made {};
    ::fstat(entry->file, &made);
    entry->mode = (has_old ? old.st_mode : made.st_mode) & AnyMode;
    ::fchmod(entry->file, S_IRUSR | S_IWUSR);
    if (has_old && (old.st_uid != made.st_uid || old.st_gid != made.st_gid) &&
        ::fchown(entry->file, old.st_uid, old.st_gid) != 0 &&
        ::fchown(entry->file, static_cast<uid_t>(-1), old.st_gid) != 0)
        entry->mode &= made.st_mode | S_IRWXU; // nobody may do more with it than with any other new file
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : m_path(std::move(other.m_path))
    , m_entry(std::exchange(other.m_entry, nullptr))
    , m_size(other.m_size)
    , m_storing(other.m_storing) {}

OutputFile::~OutputFile() {
    if (!m_entry)
        return;
    if (m_entry->pending.exchange(false))
        ::unlink(m_entry->temporary.c_str());
    ::close(m_entry->file);
}

std::filesystem::path const& OutputFile::GetTemporaryPath() const noexcept {
    return m_entry->writable;
}

void OutputFile::Write(std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t const written = ::write(m_entry->file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            RefuseToWrite(errno);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

// Writers come back to what stands at the beginning and at the end.
void OutputFile::StartStoring() noexcept {
    constexpr std::uint64_t at_once = std::uint64_t{4} << 20;
    struct stat status {};
    if (::fstat(m_entry->file, &status) != 0)
        return;
    std::uint64_t const end = static_cast<std::uint64_t>(status.st_size) / at_once * at_once;
    std::uint64_t const begin = std::max(m_storing, at_once / 4);
    if (end <= begin)
        return;
#ifdef SYNC_FILE_RANGE_WRITE
    (void)::sync_file_range(m_entry->file, static_cast<off_t>(begin), static_cast<off_t>(end - begin),
                            SYNC_FILE_RANGE_WRITE);
#endif
    m_storing = end;
}

void OutputFile::Finish() {
    if (m_entry->finished)
        return;
    while (::fsync(m_entry->file) != 0) {
        if (errno == EINVAL) // a file system that has nothing to wait for
            break;
        if (errno != EINTR)
            RefuseToWrite(errno);
    }
    struct stat status = {};
    if (::fchmod(m_entry->file, m_entry->mode) != 0 || ::fstat(m_entry->file, &status) != 0)
        RefuseToWrite(errno);
    m_size = static_cast<std::uint64_t>(status.st_size);
    m_entry->finished = true;
}

std::vector<OutputFile>* OutputFile::mg_waiting = nullptr;

void OutputFile::Commit() {
    Finish();
    if (mg_waiting) {
        mg_waiting->push_back(OutputFile(m_path, nullptr));
        mg_waiting->back().m_entry = std::exchange(m_entry, nullptr);
        return;
    }
    Place(false);
    Release();
}

void OutputFile::Place(bool keep_old) {
    if (!LeadsTo(m_entry->temporary.c_str(), m_entry->file))
        throw Error("it cannot be written: its temporary file was removed or exchanged");
    std::error_code ignored;
    if (keep_old && std::filesystem::is_regular_file(m_entry->target, ignored)) {
        m_entry->spare = FolderOf(m_entry->target) / TemporaryName();
        // Where there are no hard links, nothing has the name for a moment.
        if (::link(m_entry->target.c_str(), m_entry->spare.c_str()) != 0 &&
            ::rename(m_entry->target.c_str(), m_entry->spare.c_str()) != 0) {
            m_entry->spare.clear();
            RefuseToWrite(errno);
        }
    }
    if (::rename(m_entry->temporary.c_str(), m_entry->target.c_str()) != 0) {
        int const error = errno;
        if (!m_entry->spare.empty())
            RestoreOld();
        RefuseToWrite(error);
    }
    m_entry->pending = false;
}

void OutputFile::RestoreOld() noexcept {
    ::rename(m_entry->spare.c_str(), m_entry->target.c_str());
    ::unlink(m_entry->spare.c_str()); // stays where both are names of one file
    m_entry->spare.clear();
}

void OutputFile::TakeBack() noexcept {
    if (m_entry->spare.empty())
        ::unlink(m_entry->target.c_str());
    else
        RestoreOld();
}

void OutputFile::Release() noexcept {
    if (!m_entry->spare.empty())
        ::unlink(m_entry->spare.c_str());
    SyncFolder(FolderOf(m_entry->target));
    ::close(m_entry->file);
    m_entry = nullptr;
}

void OutputFile::RemoveAllNow() noexcept {
    for (Entry* entry = Entry::mg_first.load(); entry; entry = entry->next)
        if (entry->pending.load())
            ::unlink(entry->temporary.c_str());
}

} // namespace KetSDK::MeshVTK
