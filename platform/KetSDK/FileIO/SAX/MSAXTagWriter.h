// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/FileIO/SAX/MSAXWriter.h>

// An open tag: closed at the end of the scope. Used by the thread of its writer.
class MSAXTagWriter {
public:
    // Opens the tag. The writer outlives this object.
    MSAXTagWriter(MSAXWriter& writer, std::wstring const& name)
        : m_writer(writer) {
        m_writer.OpenTag(name);
    }
    ~MSAXTagWriter() { m_writer.CloseTag(); }
    MSAXTagWriter(MSAXTagWriter const&) = delete;
    MSAXTagWriter& operator=(MSAXTagWriter const&) = delete;

private:
    MSAXWriter& m_writer;
};
