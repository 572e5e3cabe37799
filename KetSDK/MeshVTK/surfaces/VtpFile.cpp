// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/surfaces/VtpFile.h>

#include <KetSDK/MeshVTK/checks/XmlFileCheck.h>
#include <KetSDK/MeshVTK/detail/NamesInFiles.h>
#include <KetSDK/MeshVTK/detail/XmlReader.h>

#include <vtkNew.h>
#include <vtkPolyData.h>
#include <vtkXMLPolyDataReader.h>
#include <vtkXMLPolyDataWriter.h>

namespace KetSDK::MeshVTK::Detail {

vtkSmartPointer<vtkPolyData> ReadVtpFile(FileBytes const& file, VtkSession& session) {
    XmlCounts const counts = CheckXmlFile(file, "PolyData");
    vtkNew<XmlReader<vtkXMLPolyDataReader>> reader;
    reader->SetBytes(file);
    reader->Run(session);
    CheckCounts(*reader->GetOutput(), counts);
    return reader->GetOutput();
}

void WriteVtpFile(vtkPolyData& data, OutputFile& file, VtkSession& session) {
    vtkNew<vtkPolyData> shown;
    shown->ShallowCopy(&data);
    EscapeNamesForXml(*shown);
    vtkNew<vtkXMLPolyDataWriter> writer;
    writer->SetDataModeToAppended();
    writer->EncodeAppendedDataOff();
    writer->SetCompressorTypeToNone(); // which crashes where there is no memory left
    writer->SetHeaderTypeToUInt64();
    writer->SetFileName(file.GetTemporaryPath().c_str());
    writer->SetInputData(shown);
    session.Run(*writer, "it cannot be written");
}

} // namespace KetSDK::MeshVTK::Detail
