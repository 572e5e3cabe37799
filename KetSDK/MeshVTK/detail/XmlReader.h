// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/detail/ArrayRoom.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/detail/MemoryStream.h>
#include <KetSDK/MeshVTK/detail/VtkSession.h>

#include <vtkDataArray.h>
#include <vtkObjectFactory.h>

#include <optional>

class vtkXMLDataElement;

namespace KetSDK::MeshVTK::Detail {

// One of VTK's readers of XML files, over bytes of a file. It would copy a string that it is given twice.
template <typename Reader>
class XmlReader : public Reader {
public:
    static XmlReader* New() { VTK_STANDARD_NEW_BODY(XmlReader); }

    // The bytes are borrowed.
    void SetBytes(FileBytes const& bytes) {
        m_bytes = &bytes;
        m_stream.emplace(bytes);
        m_room.emplace(bytes.View().size());
        this->ReadFromInputStringOn(); // so that it asks for no name
    }

    // Reads. Throws as the session does, and Error when the file has become too short meanwhile.
    void Run(VtkSession& session) {
        try {
            session.Run(*this, "it cannot be read");
        } catch (Error const&) {
            m_bytes->CheckComplete();
            throw;
        }
        m_bytes->CheckComplete();
    }

protected:
    int OpenStream() override {
        m_stream->clear();
        m_stream->seekg(0);
        this->Stream = &*m_stream;
        return 1;
    }
    void CloseStream() override { this->Stream = nullptr; }

    // An array has its size when its values are read. Offsets begin with a value that no file has.
    int ReadArrayValues(vtkXMLDataElement* element, vtkIdType to, vtkAbstractArray* array, vtkIdType from,
                        vtkIdType count, typename Reader::FieldType field) override {
        auto* const numbers = vtkDataArray::SafeDownCast(array);
        if (numbers && to <= 1 && to + count == numbers->GetNumberOfValues())
            m_room->Take(*numbers, to);
        return Reader::ReadArrayValues(element, to, array, from, count, field);
    }

private:
    FileBytes const* m_bytes = nullptr;
    std::optional<MemoryStream> m_stream;
    std::optional<ArrayRoom> m_room;
};

} // namespace KetSDK::MeshVTK::Detail
