#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <filesystem>

namespace KetSDK::MeshVTK {

// A file that appears whole or not at all. It is written under a temporary name in the same folder and
// with the same ending, and takes its own name with Commit(); without, it is removed and whatever had
// the name stays as it was. One thread at a time makes output files.
class KETSDK_MESHVTK_API OutputFile {
public:
    // Makes the temporary file, empty. Throws Error when the folder does not exist or cannot be written
    // to, or when the name belongs to something else than a file.
    explicit OutputFile(std::filesystem::path const& path);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    OutputFile(OutputFile&& other) noexcept;
    OutputFile& operator=(OutputFile&&) = delete;
    ~OutputFile();

    // The name that the file gets in the end.
    std::filesystem::path const& GetPath() const noexcept { return m_path; }
    // The name to write to.
    std::filesystem::path const& GetTemporaryPath() const noexcept;
    // Renames the file, in place of one that has the name. Throws Error when that fails.
    void Commit();

    // Removes all temporary files of the process that were not committed. May be called from a signal
    // handler that is about to end the process.
    static void RemoveAllNow() noexcept;

private:
    struct Entry;

    std::filesystem::path m_path;
    Entry* m_entry; // null once committed or moved from
};

} // namespace KetSDK::MeshVTK
