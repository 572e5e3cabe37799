#include <KetSDK/MeshVTK/OutputFile.h>

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/InputFile.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace KetSDK::MeshVTK {

// A temporary file. Entries are never freed, so that a signal handler can walk them at any time.
struct OutputFile::Entry {
    std::filesystem::path temporary;
    Entry* next = nullptr;
    std::atomic<bool> pending{true};

    static std::atomic<Entry*> mg_first;
};

std::atomic<OutputFile::Entry*> OutputFile::Entry::mg_first{nullptr};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<void*>::is_always_lock_free);

namespace {

std::filesystem::path TemporaryName(std::filesystem::path const& path) {
    static std::atomic<unsigned int> counter{0};
    std::string name = ".";
    name += path.stem().string().substr(0, 100); // room for the rest within a file name's length
    name += "." + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".part";
    return path.parent_path() / (name + LowerCaseEnding(path)); // VTK appends the ending to others
}

std::string Reason(int error) {
    return std::generic_category().message(error);
}

} // namespace

OutputFile::OutputFile(std::filesystem::path const& path)
    : m_path(path)
    , m_entry(nullptr) {
    std::error_code ignored;
    std::filesystem::path const folder = path.has_parent_path() ? path.parent_path() : ".";
    if (!std::filesystem::is_directory(folder, ignored))
        throw Error("there is no folder " + folder.string() + " to write it to");
    if (std::filesystem::exists(path, ignored) && !std::filesystem::is_regular_file(path, ignored))
        throw Error("it cannot be written because something that is no file has this name");
    auto* const entry = new Entry{TemporaryName(path)};
    // Entered before the file exists: whoever cleans up finds it in any case.
    entry->next = Entry::mg_first.load();
    Entry::mg_first.store(entry);
    int const file = ::open(entry->temporary.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    if (file < 0) {
        int const error = errno;
        entry->pending = false;
        throw Error("it cannot be written: " + Reason(error));
    }
    ::close(file);
    m_entry = entry;
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : m_path(std::move(other.m_path))
    , m_entry(std::exchange(other.m_entry, nullptr)) {}

OutputFile::~OutputFile() {
    if (m_entry && m_entry->pending.exchange(false))
        ::unlink(m_entry->temporary.c_str());
}

std::filesystem::path const& OutputFile::GetTemporaryPath() const noexcept {
    return m_entry->temporary;
}

void OutputFile::Commit() {
    if (::rename(m_entry->temporary.c_str(), m_path.c_str()) != 0)
        throw Error("it cannot be written: " + Reason(errno));
    m_entry->pending = false;
    m_entry = nullptr;
}

void OutputFile::RemoveAllNow() noexcept {
    for (Entry* entry = Entry::mg_first.load(); entry; entry = entry->next)
        if (entry->pending.load())
            ::unlink(entry->temporary.c_str());
}

} // namespace KetSDK::MeshVTK
