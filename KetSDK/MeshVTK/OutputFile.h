// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK {

// A file that appears whole or not at all. It is written under a temporary name in the same folder, and takes
// its own name with Commit(). Without, it is removed and whatever had the name stays as it was. A file that
// had the name before hands on its permissions; where the name is that of a symbolic link, the file goes
// where the link leads. Temporary files that ended processes have left in the folder are removed. Several
// threads may make output files at the same time, but one alone while there is an OutputTransaction.
class KETSDK_MESHVTK_API OutputFile {
public:
    // Makes the temporary file, empty. Throws Error when the folder does not exist or cannot be written to,
    // and when the name is too long or belongs to something else than a file. Throws it also when the file
    // that has the name may not be written to.
    explicit OutputFile(std::filesystem::path const& path);
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;
    OutputFile(OutputFile&& other) noexcept;
    OutputFile& operator=(OutputFile&&) = delete;
    ~OutputFile();

    // The name that the file gets in the end.
    std::filesystem::path const& GetPath() const noexcept { return m_path; }
    // The name to write to, which has no ending. It leads to the open file and not through the folder, where
    // somebody else could put another file; but where the system has no /dev/fd.
    std::filesystem::path const& GetTemporaryPath() const noexcept;
    // Writes bytes behind what this operation wrote before. Throws Error when that fails.
    void Write(std::string_view bytes);
    // Has the disk take what was written meanwhile, without waiting for it: Finish() has less to wait for
    // then. To be called now and then while a long file is written; not what makes it last.
    void StartStoring() noexcept;
    // How many bytes the file had when it was finished; also once it is committed.
    std::uint64_t GetSize() const noexcept { return m_size; }
    // Waits until the disk has the file; only the renaming is left then. Throws Error when that fails.
    void Finish();
    // Renames the file, in place of one that has the name; Finish() comes before, unless that was done.
    // Throws Error when that fails. Within an OutputTransaction the renaming is left to that.
    void Commit();

    // Removes all temporary files of the process that were not committed. May be called from a signal
    // handler that is about to end the process.
    static void RemoveAllNow() noexcept;

private:
    friend class OutputTransaction;
    struct Entry;

    // Where files wait that are committed within a transaction; null without one.
    static std::vector<OutputFile>* mg_waiting;

    OutputFile(std::filesystem::path const& path, Entry* entry);
    // The steps of a commit: renames the file, and keeps what had the name before where that is asked for;
    // undoes that; or makes it last.
    void Place(bool keep_old);
    void TakeBack() noexcept;
    void RestoreOld() noexcept;
    void Release() noexcept;

    std::filesystem::path m_path;
    Entry* m_entry; // null once committed or moved from
    std::uint64_t m_size = 0;
    std::uint64_t m_storing = 0; // bytes that the disk was told to take
};

} // namespace KetSDK::MeshVTK
