// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/PolyDataFromGraphs.h>

#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlFeature.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkFieldData.h>
#include <vtkIntArray.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>

namespace KetSDK::MeshVTK {

vtkSmartPointer<vtkPolyData> PolyDataFromGraphs(MStlFeature const& graphs, LengthUnit unit) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    vtkNew<vtkCellArray> lines;
    vtkNew<vtkIntArray> numbers;
    numbers->SetName(ArrayNames::Graph);
    vtkNew<vtkStringArray> names;
    names->SetName(ArrayNames::GraphNames);
    for (MStlGraph const& graph : graphs.Graphs()) {
        auto const number = static_cast<int>(names->InsertNextValue(ToUtf8(graph.GetName())));
        vtkIdType const first = points->GetNumberOfPoints();
        for (MStlPoint const& vertex : graph.Vertices()) {
            MMVector<double, 3> const position = vertex.GetPosition() / unit.millimetres;
            points->InsertNextPoint(position[0], position[1], position[2]);
        }
        for (MStlEdge const& edge : graph.Edges()) {
            vtkIdType const ends[2] = {first + edge.GetPoint(0)->GetIndex(),
                                       first + edge.GetPoint(1)->GetIndex()};
            lines->InsertNextCell(2, ends);
            numbers->InsertNextValue(number);
        }
    }
    auto result = vtkSmartPointer<vtkPolyData>::New();
    result->SetPoints(points);
    result->SetLines(lines);
    result->GetCellData()->AddArray(numbers);
    result->GetFieldData()->AddArray(names);
    return result;
}

} // namespace KetSDK::MeshVTK
