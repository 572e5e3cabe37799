// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/MeshVTKExport.h>
#include <KetSDK/MeshVTK/OutputFile.h>

#include <vector>

namespace KetSDK::MeshVTK {

// Files that appear together or not at all. While one of these exists, an output file that is committed waits
// for the transaction's own Commit(). Within another transaction the files go on to that one. Transactions
// end in the reverse order of their beginning, on the thread that makes output files.
class KETSDK_MESHVTK_API OutputTransaction {
public:
    OutputTransaction();
    OutputTransaction(OutputTransaction const&) = delete;
    OutputTransaction& operator=(OutputTransaction const&) = delete;
    // Removes the files that were not committed.
    ~OutputTransaction();

    // Gives all files their names. Throws Error, which begins with the name of the file, when one cannot have
    // its name: the others are gone then, and files that had their names before are back.
    void Commit();

private:
    std::vector<OutputFile>* m_outer;
    std::vector<OutputFile> m_files; // finished, in the order of their commits
};

} // namespace KetSDK::MeshVTK
