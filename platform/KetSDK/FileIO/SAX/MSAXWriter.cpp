// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/MSAXWriter.h>

MSAXWriter::~MSAXWriter() = default;

bool MSAXWriter::SupportsIncrementalSaving() const {
    return m_written != nullptr;
}

bool MSAXWriter::IsTagWritten(unsigned int tag_id) const {
    return m_written != nullptr && (m_written->contains(tag_id) || m_tags.contains(tag_id));
}

void MSAXWriter::SetTagId(unsigned int tag_id) {
    if (m_written != nullptr) {
        WriteAttribute(TagIdAttribute, std::uint64_t{tag_id});
        m_tags.insert(tag_id);
    }
}

void MSAXWriter::FinishIncrementalSave() {
    if (m_written != nullptr) {
        m_written->merge(m_tags);
        m_tags.clear();
    }
}
