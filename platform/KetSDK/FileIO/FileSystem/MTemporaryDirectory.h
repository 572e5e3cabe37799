// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Base/MFileName.h>
#include <KetSDK/Common/Shared/MExport.h>

// A folder of its own name for temporary files, readable by its user only, which goes with all that is in it
// when the object dies. While the object lives, the folder is locked. The system lets go of the lock when the
// process ends, whatever the way, so that RemoveStale can tell what a crash left behind. May be moved, not
// copied; used by one thread at a time.
class KETSDK_API MTemporaryDirectory {
public:
    // Creates the folder in the system's folder for temporary files.
    // Throws std::runtime_error("invalid state") when it cannot be created.
    MTemporaryDirectory();
    // Creates the folder in an existing one.
    explicit MTemporaryDirectory(MFileName const& parent);
    MTemporaryDirectory(MTemporaryDirectory&& other) noexcept;
    MTemporaryDirectory& operator=(MTemporaryDirectory&& other) noexcept;
    // Removes the folder with its content, as far as that is possible. Links are removed, not followed. In a
    // child process, which has a copy of the object, nothing is removed.
    ~MTemporaryDirectory();

    // Where the folder is; empty after the object was moved from.
    MFileName const& GetPath() const noexcept { return m_path; }

    // Where the default constructor puts folders.
    static MFileName DefaultParent();
    // Removes the folders of this class that processes of the same user left in `parent` when they crashed;
    // returns how many. Folders of living processes, those of other users, links, and whatever looks
    // different in any way stay. Several processes may do this, and create folders, at the same time.
    static int RemoveStale(MFileName const& parent);

private:
    void Remove() noexcept;

    MFileName m_path;
    int m_folder = -1;  // the open folder, which holds the lock
    int m_process = -1; // the one that made it
};
