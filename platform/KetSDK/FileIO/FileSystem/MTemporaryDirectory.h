#pragma once

#include <KetSDK/Base/MFileName.h>
#include <KetSDK/Common/Shared/MExport.h>

// A folder of its own name for temporary files, readable by its user only, which goes with all that
// is in it when the object dies. May be moved, not copied; used by one thread at a time.
class KETSDK_API MTemporaryDirectory {
public:
    // Creates the folder in the system's folder for temporary files.
    // Throws std::runtime_error("invalid state") when it cannot be created.
    MTemporaryDirectory();
    // Creates the folder in an existing one.
    explicit MTemporaryDirectory(MFileName const& parent);
    MTemporaryDirectory(MTemporaryDirectory&& other) noexcept;
    MTemporaryDirectory& operator=(MTemporaryDirectory&& other) noexcept;
    // Removes the folder with its content, as far as that is possible. Links are removed, not followed.
    ~MTemporaryDirectory();

    // Where the folder is; empty after the object was moved from.
    MFileName const& GetPath() const noexcept { return m_path; }

private:
    void _Remove() noexcept;

    MFileName m_path;
};
