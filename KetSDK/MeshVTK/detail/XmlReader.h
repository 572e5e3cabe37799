// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/detail/MemoryStream.h>

#include <vtkObjectFactory.h>

#include <optional>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

// One of VTK's readers of XML files, over bytes in memory. It would copy a string that it is given twice.
template <typename Reader>
class XmlReader : public Reader {
public:
    static XmlReader* New() { VTK_STANDARD_NEW_BODY(XmlReader); }

    // The bytes are borrowed.
    void SetBytes(std::string_view bytes) {
        m_stream.emplace(bytes);
        this->ReadFromInputStringOn(); // so that it asks for no name
    }

protected:
    int OpenStream() override {
        m_stream->clear();
        m_stream->seekg(0);
        this->Stream = &*m_stream;
        return 1;
    }
    void CloseStream() override { this->Stream = nullptr; }

private:
    std::optional<MemoryStream> m_stream;
};

} // namespace KetSDK::MeshVTK::Detail
