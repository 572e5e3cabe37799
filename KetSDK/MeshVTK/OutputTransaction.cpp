// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/OutputTransaction.h>

#include <KetSDK/MeshVTK/Error.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

namespace KetSDK::MeshVTK {

OutputTransaction::OutputTransaction()
    : m_outer(std::exchange(OutputFile::mg_waiting, &m_files)) {}

OutputTransaction::~OutputTransaction() {
    OutputFile::mg_waiting = m_outer;
}

void OutputTransaction::Commit() {
    if (m_outer) {
        std::move(m_files.begin(), m_files.end(), std::back_inserter(*m_outer));
        m_files.clear();
        return;
    }
    std::size_t placed = 0;
    try {
        // What the last one replaces need not be kept: nothing can fail behind it.
        for (; placed < m_files.size(); ++placed)
            m_files[placed].Place(placed + 1 < m_files.size());
    } catch (Error const& error) {
        std::string const message = m_files[placed].GetPath().string() + ": " + error.what();
        while (placed > 0)
            m_files[--placed].TakeBack();
        m_files.clear();
        throw Error(message);
    }
    for (OutputFile& file : m_files)
        file.Release();
    m_files.clear();
}

} // namespace KetSDK::MeshVTK
