// Values of masks in files of both formats, and what cannot be written.
#include "RealMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>

#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkLogger.h>
#include <vtkNew.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <iterator>
#include <string>

using namespace KetSDK::MeshVTK;
namespace fs = std::filesystem;

namespace {

class GridFile : public ::testing::Test {
protected:
    GridFile() {
        fs::create_directories(m_folder);
        vtkLogger::SetStderrVerbosity(vtkLogger::VERBOSITY_OFF);
    }
    ~GridFile() override { fs::remove_all(m_folder); }

    fs::path Write(vtkUnstructuredGrid& grid, std::string const& ending) const {
        OutputFile file(m_folder / ("grid" + ending));
        WriteGridFile(grid, file, nullptr);
        return file.GetPath();
    }
    std::size_t FilesInFolder() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(m_folder), {}));
    }

    fs::path const m_folder = fs::temp_directory_path() / ("GridFileTest-" + std::to_string(::getpid()));
};

} // namespace

TEST_F(GridFile, HoldsValuesOfElementMasks) {
    auto const mesh = MeshFromGrid(*ReadGrid("wedge_beam14.vtu"), {}, nullptr);
    MDataMask<MMeshElement, double> quality(-1.0);
    MDataMask<MMeshElement, MLong> material(7);
    mesh->GetElementMasks()->RegisterMask(&quality);
    mesh->GetElementMasks()->RegisterMask(&material);
    MLong number = 0;
    for (MMeshElement const& e : mesh->Elements()) {
        quality.SetValue(e, std::sqrt(number));
        material.SetValue(e, -number++);
    }
    auto const grid = GridFromMesh(*mesh, {}, nullptr);
    AddCellArray(*grid, *mesh, material, "quality"); // is replaced
    AddCellArray(*grid, *mesh, quality, "quality");
    AddCellArray(*grid, *mesh, material, "material");
    auto const read = ReadGridFile(Write(*grid, ".vtu"), nullptr);
    for (MLong i = 0; i < number; ++i) {
        EXPECT_EQ(read->GetCellData()->GetArray("quality")->GetComponent(i, 0), std::sqrt(i));
        EXPECT_EQ(read->GetCellData()->GetArray("material")->GetComponent(i, 0), -i);
    }
    EXPECT_EQ(read->GetCellData()->GetArray("material")->GetDataType(), VTK_INT);
    EXPECT_THROW(AddCellArray(*ReadGrid("hex_matrix_fiber.vtu"), *mesh, quality, "quality"), Error);
}

TEST_F(GridFile, WhatCannotBeWrittenLeavesNothing) {
    auto const grid = ReadGrid("wedge_beam14.vtu");
    EXPECT_THROW(Write(*grid, ".stl"), Error);
    EXPECT_THROW(Write(*vtkSmartPointer<vtkUnstructuredGrid>::New(), ".vtu"), Error);
    grid->GetCellData()->AddArray(ArrayOfType(VTK_ID_TYPE, grid->GetNumberOfCells(), 1));
    grid->GetCellData()->GetArray("array of idtype/\xC3\xA4")->SetComponent(3, 0, 4e9);
    EXPECT_THROW(Write(*grid, ".vtk"), Error);
    EXPECT_EQ(FilesInFolder(), 0u);
    EXPECT_NO_THROW(Write(*grid, ".vtu"));
}

// A limit on the size of files stops writing as a full disk does.
TEST_F(GridFile, FullDisksAreNoticed) {
    auto const grid = ReadGrid("wedge_beam14.vtu");
    AddForeignArrays(*grid);
    auto* const previous = ::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    ::getrlimit(RLIMIT_FSIZE, &unlimited);
    for (char const* const ending : {".vtu", ".vtk"}) {
        auto const size = static_cast<rlim_t>(fs::file_size(Write(*grid, ending)));
        fs::remove(m_folder / (std::string("grid") + ending));
        for (rlim_t room = 0; room < size; room += room + 200 < size ? 199 : 1) {
            rlimit const limit{room, unlimited.rlim_max};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            std::string message;
            try {
                Write(*grid, ending);
            } catch (Error const& error) {
                message = error.what();
            }
            ::setrlimit(RLIMIT_FSIZE, &unlimited);
            ASSERT_TRUE(message.ends_with("the disk is full") || message.ends_with("File too large"))
                << ending << " " << room << ": " << message;
        }
    }
    ::signal(SIGXFSZ, previous);
    EXPECT_EQ(FilesInFolder(), 0u);
}
