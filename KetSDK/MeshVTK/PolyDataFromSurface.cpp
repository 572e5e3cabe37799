// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/PolyDataFromSurface.h>

#include <KetSDK/MeshVTK/ArrayNames.h>
#include <KetSDK/MeshVTK/Text.h>
#include <KetSDK/Triangles/Data/MStlBase.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkCompositeDataSet.h>
#include <vtkFieldData.h>
#include <vtkInformation.h>
#include <vtkIntArray.h>
#include <vtkMultiBlockDataSet.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkStringArray.h>
#include <vtkUnsignedCharArray.h>

#include <array>
#include <cstddef>
#include <unordered_map>

namespace KetSDK::MeshVTK {

namespace {

// Collects points, triangles and surface names, and makes one piece of them.
class PolyDataMaker {
public:
    explicit PolyDataMaker(LengthUnit unit)
        : m_unit(unit) {
        m_points->SetDataTypeToDouble();
        m_numbers->SetName(ArrayNames::Surface);
        m_names->SetName(ArrayNames::SurfaceNames);
    }

    vtkIdType AddPoint(MStlPoint const& point) {
        MMVector<double, 3> const position = point.GetPosition();
        return m_points->InsertNextPoint(position[0] / m_unit.millimetres, position[1] / m_unit.millimetres,
                                         position[2] / m_unit.millimetres);
    }

    // `id_of_point` gives the number of a corner in what is being made.
    void AddSurface(MStlSurface const& surface, auto const& id_of_point) {
        vtkIdType const number = m_names->InsertNextValue(ToUtf8(surface.GetName()));
        for (MStlTriangle const& triangle : surface.Triangles()) {
            std::array<vtkIdType, 3> ids{};
            for (std::size_t i = 0; i < 3; ++i)
                ids[i] = id_of_point(*triangle.GetPoint(i));
            m_triangles->InsertNextCell(3, ids.data());
            m_numbers->InsertNextValue(static_cast<int>(number));
        }
    }

    vtkSmartPointer<vtkPolyData> Make() {
        auto result = vtkSmartPointer<vtkPolyData>::New();
        result->SetPoints(m_points);
        result->SetPolys(m_triangles);
        result->GetCellData()->AddArray(m_numbers);
        result->GetFieldData()->AddArray(m_names);
        return result;
    }

private:
    LengthUnit m_unit;
    vtkNew<vtkPoints> m_points;
    vtkNew<vtkCellArray> m_triangles;
    vtkNew<vtkIntArray> m_numbers;
    vtkNew<vtkStringArray> m_names;
};

} // namespace

vtkSmartPointer<vtkPolyData> PolyDataFromSurfaces(MStlBase const& stl, LengthUnit unit) {
    PolyDataMaker maker(unit);
    for (MStlPoint const& point : stl.Points())
        maker.AddPoint(point);
    for (MStlSurface const& surface : stl.Surfaces())
        maker.AddSurface(surface, [](MStlPoint const& point) { return vtkIdType{point.GetIndex()}; });
    return maker.Make();
}

vtkSmartPointer<vtkPolyData> PolyDataFromSurface(MStlSurface const& surface, LengthUnit unit) {
    PolyDataMaker maker(unit);
    std::unordered_map<MStlPoint const*, vtkIdType> entered;
    maker.AddSurface(surface, [&maker, &entered](MStlPoint const& point) {
        auto const [place, is_new] = entered.try_emplace(&point, 0);
        if (is_new)
            place->second = maker.AddPoint(point);
        return place->second;
    });
    return maker.Make();
}

void AddColors(vtkPolyData& data, MStlBase const& stl) {
    vtkNew<vtkUnsignedCharArray> colors;
    colors->SetName(ArrayNames::Color);
    colors->SetNumberOfComponents(3);
    colors->Allocate(static_cast<vtkIdType>(3 * stl.NumberOfTriangles()));
    for (MStlSurface const& surface : stl.Surfaces())
        for (MStlTriangle const& triangle : surface.Triangles()) {
            MStlColor const& color = triangle.GetColor();
            for (unsigned int const channel : {color.GetRed(), color.GetGreen(), color.GetBlue()})
                colors->InsertNextValue(static_cast<unsigned char>(channel));
        }
    data.GetCellData()->AddArray(colors);
}

vtkSmartPointer<vtkMultiBlockDataSet> BlocksFromSurfaces(MStlBase const& stl, LengthUnit unit) {
    auto blocks = vtkSmartPointer<vtkMultiBlockDataSet>::New();
    for (MStlSurface const& surface : stl.Surfaces()) {
        unsigned int const block = blocks->GetNumberOfBlocks();
        blocks->SetBlock(block, PolyDataFromSurface(surface, unit));
        blocks->GetMetaData(block)->Set(vtkCompositeDataSet::NAME(), ToUtf8(surface.GetName()));
    }
    return blocks;
}

} // namespace KetSDK::MeshVTK
