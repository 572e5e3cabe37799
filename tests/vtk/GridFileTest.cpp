// SPDX-License-Identifier: BSD-3-Clause
// Volume meshes go through files of both formats without losing a bit.
#include "RealMeshes.h"
#include "TestMeshes.h"

#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/GridFromMesh.h>

#include <vtkCellArray.h>
#include <vtkCellData.h>
#include <vtkDataArray.h>
#include <vtkDoubleArray.h>
#include <vtkFieldData.h>
#include <vtkIdList.h>
#include <vtkLogger.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkStringArray.h>
#include <vtkUnsignedCharArray.h>
#include <vtkUnstructuredGrid.h>

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

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

void ExpectSameArray(vtkAbstractArray& actual, vtkAbstractArray& expected, char const* name) {
    SCOPED_TRACE(name);
    ASSERT_EQ(actual.GetNumberOfComponents(), expected.GetNumberOfComponents());
    ASSERT_EQ(actual.GetNumberOfTuples(), expected.GetNumberOfTuples());
    ASSERT_EQ(actual.GetDataTypeSize(), expected.GetDataTypeSize());
    if (vtkDataArray::SafeDownCast(&expected)) {
        auto const bytes = static_cast<std::size_t>(expected.GetNumberOfValues()) *
                           static_cast<std::size_t>(expected.GetDataTypeSize());
        EXPECT_EQ(std::memcmp(actual.GetVoidPointer(0), expected.GetVoidPointer(0), bytes), 0);
        return;
    }
    for (vtkIdType i = 0; i < expected.GetNumberOfValues(); ++i)
        EXPECT_EQ(actual.GetVariantValue(i).ToString(), expected.GetVariantValue(i).ToString());
}

void ExpectSameArrays(vtkFieldData& actual, vtkFieldData& expected) {
    EXPECT_EQ(actual.GetNumberOfArrays(), expected.GetNumberOfArrays());
    for (int i = 0; i < expected.GetNumberOfArrays(); ++i) {
        char const* const name = expected.GetAbstractArray(i)->GetName();
        vtkAbstractArray* const array = actual.GetAbstractArray(name);
        ASSERT_TRUE(array) << name;
        ExpectSameArray(*array, *expected.GetAbstractArray(i), name);
    }
}

void ExpectSameGrid(vtkUnstructuredGrid& actual, vtkUnstructuredGrid& expected) {
    ExpectSameArray(*actual.GetPoints()->GetData(), *expected.GetPoints()->GetData(), "points");
    ExpectSameArray(*actual.GetCellTypesArray(), *expected.GetCellTypesArray(), "types");
    ASSERT_EQ(actual.GetNumberOfCells(), expected.GetNumberOfCells());
    for (vtkIdType i = 0; i < expected.GetNumberOfCells(); ++i) {
        vtkNew<vtkIdList> a;
        vtkNew<vtkIdList> b;
        actual.GetCellPoints(i, a);
        expected.GetCellPoints(i, b);
        ASSERT_TRUE(std::equal(a->begin(), a->end(), b->begin(), b->end())) << "cell " << i;
    }
    ExpectSameArrays(*actual.GetCellData(), *expected.GetCellData());
    ExpectSameArrays(*actual.GetPointData(), *expected.GetPointData());
    ExpectSameArrays(*actual.GetFieldData(), *expected.GetFieldData());
}

// An array of a type with values from all over its range.
vtkSmartPointer<vtkDataArray> ArrayOfType(int type, vtkIdType tuples, int components) {
    vtkSmartPointer<vtkDataArray> array = vtk::TakeSmartPointer(vtkDataArray::CreateDataArray(type));
    array->SetName((std::string("array of ") + array->GetDataTypeAsString() + "/\xC3\xA4").c_str());
    array->SetNumberOfComponents(components);
    array->SetNumberOfTuples(tuples);
    double const largest = type == VTK_ID_TYPE ? std::numeric_limits<int>::max() : array->GetDataTypeMax();
    double const smallest = std::max(array->GetDataTypeMin(), -largest);
    for (vtkIdType i = 0; i < tuples; ++i)
        for (int c = 0; c < components; ++c)
            array->SetComponent(i, c, i % 3 == 0 ? largest / 2 - 100 : i % 3 == 1 ? smallest / 2 : c);
    return array;
}

void AddForeignArrays(vtkUnstructuredGrid& grid) {
    for (int const type : {VTK_CHAR, VTK_SIGNED_CHAR, VTK_UNSIGNED_CHAR, VTK_SHORT, VTK_UNSIGNED_SHORT,
                           VTK_INT, VTK_UNSIGNED_INT, VTK_LONG, VTK_UNSIGNED_LONG, VTK_LONG_LONG,
                           VTK_UNSIGNED_LONG_LONG, VTK_ID_TYPE, VTK_FLOAT, VTK_DOUBLE}) {
        grid.GetCellData()->AddArray(ArrayOfType(type, grid.GetNumberOfCells(), 1));
        grid.GetPointData()->AddArray(ArrayOfType(type, grid.GetNumberOfPoints(), 3));
        grid.GetFieldData()->AddArray(ArrayOfType(type, 5, 2));
    }
    auto const special = ArrayOfType(VTK_DOUBLE, grid.GetNumberOfCells(), 1);
    special->SetName("special");
    special->SetComponent(0, 0, std::numeric_limits<double>::quiet_NaN());
    special->SetComponent(1, 0, -std::numeric_limits<double>::infinity());
    special->SetComponent(2, 0, std::numeric_limits<double>::denorm_min());
    special->SetComponent(3, 0, -0.0);
    grid.GetCellData()->SetScalars(special);
    grid.GetPointData()->SetVectors(ArrayOfType(VTK_FLOAT, grid.GetNumberOfPoints(), 3));
}

} // namespace

// Stays in the first phase until it is told to go on.
class Waiting : public KetSDK::Common::IProgressDelegate {
public:
    void Begin(std::string const&, bool) override {
        m_has_begun.set_value();
        m_go_on.get_future().wait();
    }
    void Advance(double) override {}
    void End() override {}
    bool IsCancelled() const override { return false; }

    std::promise<void> m_has_begun;
    std::promise<void> m_go_on;
};

class CancelledFromTheStart : public KetSDK::Common::IProgressDelegate {
public:
    void Begin(std::string const&, bool) override { ADD_FAILURE(); }
    void Advance(double) override { ADD_FAILURE(); }
    void End() override { ADD_FAILURE(); }
    bool IsCancelled() const override { return true; }
};

// VTK serves one thread at a time. Whoever waits for another can be cancelled, and has reported nothing.
TEST_F(GridFile, IsCancelledWhileAnotherThreadReads) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 2);
    fs::path const path = Write(*GridFromMesh(mesh, {}, nullptr), ".vtu");
    auto const other = std::make_shared<Waiting>();
    auto const reading = std::async(std::launch::async, [&] { ReadGridFile(path, other); });
    other->m_has_begun.get_future().wait();
    auto cancelled = std::async(std::launch::async,
                                [&] { ReadGridFile(path, std::make_shared<CancelledFromTheStart>()); });
    EXPECT_EQ(cancelled.wait_for(std::chrono::milliseconds(500)), std::future_status::ready);
    other->m_go_on.set_value();
    EXPECT_THROW(cancelled.get(), Cancelled);
}

TEST_F(GridFile, HoldsMeshesWithAllTheirArrays) {
    for (char const* const name :
         {"head_small_tet4.vtu", "head_small_tet10.vtu", "hex_matrix_fiber.vtu", "wedge_beam14.vtu"}) {
        auto const source = ReadGrid(name);
        AddForeignArrays(*source);
        auto const mesh = MeshFromGrid(*source, {}, nullptr);
        (*mesh->BeginSubVolume())->SetName(L"Sch\u00E4del \"<&>\" \u9AA8\t- 1 ");
        auto const grid = GridFromMesh(*mesh, {}, source);
        for (char const* const ending : {".vtu", ".vtk", ".VTK"}) {
            SCOPED_TRACE(std::string(name) + " as " + ending);
            auto const read = ReadGridFile(Write(*grid, ending), nullptr);
            ExpectSameGrid(*read, *grid);
            auto const again = MeshFromGrid(*read, {}, nullptr);
            ExpectSameGrid(*GridFromMesh(*again, {}, read), *grid);
            for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(mesh->NumberOfPoints()); ++i) {
                MMeshPoint const& p = *mesh->GetRandomPoint(i);
                MMeshPoint const& q = *again->GetRandomPoint(i);
                ASSERT_TRUE(p.x == q.x && p.y == q.y && p.z == q.z) << "node " << i;
            }
        }
    }
}

// VTK's reader leaves out arrays with words that it does not know, drops signs, wraps whole numbers around,
// and crashes on some.
TEST_F(GridFile, NamesOfArraysComeBackOrAreRefused) {
    auto const source = ReadGrid("wedge_beam14.vtu");
    auto const grid_with = [&source](std::string const& name, std::string const& component) {
        auto grid = vtkSmartPointer<vtkUnstructuredGrid>::New();
        grid->ShallowCopy(source);
        vtkNew<vtkDoubleArray> array;
        array->SetName(name.c_str());
        array->SetNumberOfComponents(2);
        if (!component.empty())
            array->SetComponentName(1, component.c_str());
        array->SetNumberOfTuples(grid->GetNumberOfCells());
        array->Fill(7.0);
        grid->GetCellData()->SetScalars(array);
        return grid;
    };
    for (char const* const ending : {".vtu", ".vtk"})
        for (char const* const name : {"a<b> & \"c\" 'd'", " space\tline\nreturn\rend ", "&amp;", "50 %20",
                                       "Knochen \xC3\xA4 \xE9\xAA\xA8"})
            for (std::string const component : {"", name}) {
                SCOPED_TRACE(std::string(ending) + ": " + name);
                auto const expected = grid_with(name, component);
                auto const actual = ReadGridFile(Write(*expected, ending), nullptr, false);
                ExpectSameGrid(*actual, *expected);
                vtkDataArray* const scalars = actual->GetCellData()->GetScalars();
                ASSERT_TRUE(scalars);
                EXPECT_STREQ(scalars->GetName(), name);
                EXPECT_STREQ(scalars->GetComponentName(1), component.empty() ? nullptr : component.c_str());
                EXPECT_STREQ(expected->GetCellData()->GetScalars()->GetName(), name) << "not to be touched";
                fs::remove_all(m_folder / ("grid" + std::string(ending)));
            }
    struct Refused {
        char const* ending;
        std::string name;
        char const* why;
    };
    Refused const refused[] = {{".vtu", "", "has no name"},
                               {".vtk", "", "has no name"},
                               {".vtu", "a\x01z", "called \"a\\x01z\""},
                               {".vtu", "\xE9 of Latin 1", "called \"\\xE9 of Latin 1\""},
                               {".vtu", "\xEF\xBF\xBF", "cannot hold"},
                               {".vtk", std::string(256, 'x'), "256 bytes"},
                               {".vtk", std::string(86, '%'), "86 bytes"}};
    for (auto const& [ending, name, why] : refused)
        for (bool const in_component : {false, true}) {
            if (in_component && name.empty())
                continue;
            SCOPED_TRACE(why);
            auto const grid = in_component ? grid_with("values", name) : grid_with(name, "");
            try {
                Write(*grid, ending);
                ADD_FAILURE() << "written";
            } catch (Error const& error) {
                EXPECT_NE(std::string(error.what()).find(why), std::string::npos) << error.what();
            }
            EXPECT_EQ(FilesInFolder(), 0u);
        }
    for (char const* const name : {"a\x01z", "\xE9 of Latin 1"})
        EXPECT_NO_THROW(Write(*grid_with(name, ""), ".vtk"));
}

TEST_F(GridFile, NumbersInTextAreReadWholeOrRefused) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const infinite = std::numeric_limits<double>::infinity();
    struct {
        std::string type, values;
        std::optional<std::array<double, 3>> read; // nothing: refused
    } const rows[] = {{"Float64", "1 nan 3", {{1, nan, 3}}},
                      {"Float64", "nan -NaN nan\n", {{nan, nan, nan}}},
                      {"Float32", "+inf .5 INF ", {{infinite, 0.5, infinite}}},
                      {"Float32", "1e-60 +2 1e-400", {{0, 2, 0}}},
                      {"Int8", "-128 007 +127", {{-128, 7, 127}}},
                      {"Float64", "1 2 nan", {}},
                      {"Float64", "1 -inf 3", {}},
                      {"Float64", "1 infinity 3", {}},
                      {"Float64", "1 nan(ind) 3", {}},
                      {"Float64", "1 1e400 3", {}},
                      {"Float32", "1 1e39 3", {}},
                      {"Float64", "1 2,5 3", {}},
                      {"Int32", "1 nan 3", {}},
                      {"Int32", "1 2.0 3", {}},
                      {"Int8", "1 300 3", {}},
                      {"UInt8", "1 -1 3", {}}};
    auto const text = [](auto const& row, bool of_points) {
        std::string const array = "<DataArray type=\"" + row.type +
                                  "\" Name=\"a\" NumberOfComponents=\"3\" format=\"ascii\">" +
                                  (of_points ? "0 0 0 0 0 0 0 0 0 " : "") + row.values + "</DataArray>";
        return "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\">"
               "<UnstructuredGrid><Piece NumberOfPoints=\"4\" NumberOfCells=\"1\">" +
               (of_points ? "<PointData>" + array + "</PointData>" : "<CellData>" + array + "</CellData>") +
               "<Points><DataArray type=\"Float64\" NumberOfComponents=\"3\" format=\"ascii\">"
               "0 0 0 1 0 0 0 1 0 0 0 1</DataArray></Points>"
               "<Cells><DataArray type=\"Int64\" Name=\"connectivity\" format=\"ascii\">0 1 2 3</DataArray>"
               "<DataArray type=\"Int64\" Name=\"offsets\" format=\"ascii\">4</DataArray>"
               "<DataArray type=\"UInt8\" Name=\"types\" format=\"ascii\">10</DataArray></Cells>"
               "</Piece></UnstructuredGrid></VTKFile>";
    };
    std::string const path = (m_folder / "text.vtu").string();
    for (auto const& row : rows)
        for (bool const of_points : {false, true}) {
            SCOPED_TRACE(row.type + " " + row.values + (of_points ? " of points" : " of a cell"));
            std::ofstream(path) << text(row, of_points);
            if (!row.read) {
                EXPECT_THROW(ReadGridFile(path, nullptr), Error);
                continue;
            }
            auto const grid = ReadGridFile(path, nullptr);
            vtkDataSetAttributes& data =
                of_points ? *static_cast<vtkDataSetAttributes*>(grid->GetPointData()) : *grid->GetCellData();
            for (int c = 0; c < 3; ++c) {
                double const value = data.GetArray("a")->GetComponent(of_points ? 3 : 0, c);
                double const expected = (*row.read)[static_cast<std::size_t>(c)];
                EXPECT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected))) << value;
            }
        }
}

// Does something to a file when reading has come so far.
class Meddling : public KetSDK::Common::IProgressDelegate {
public:
    enum Moment { BeforeCheck, BetweenArrays };
    Meddling(Moment moment, std::function<void()> meddle)
        : m_moment(moment)
        , m_meddle(std::move(meddle)) {}
    void Begin(std::string const&, bool) override { Meddle(BeforeCheck); }
    void Advance(double) override { Meddle(BetweenArrays); }
    void End() override {}
    bool IsCancelled() const override { return false; }

private:
    void Meddle(Moment moment) {
        if (moment == m_moment)
            std::exchange(m_meddle, [] {})();
    }

    Moment m_moment;
    std::function<void()> m_meddle;
};

TEST_F(GridFile, LongArraysAreReadFromTheFileWhateverBecomesOfIt) {
    MMeshBase mesh;
    TestMeshes::FillWithCubes(mesh, 30);
    auto const grid = GridFromMesh(mesh, {}, nullptr);
    AddForeignArrays(*grid);
    fs::path const whole = Write(*grid, ".vtu");
    for (bool const parallel : {false, true})
        ExpectSameGrid(*ReadGridFile(whole, nullptr, parallel), *grid);

    fs::path const path = m_folder / "copy.vtu";
    auto const message_of = [&](Meddling::Moment moment, std::function<void()> const& meddle) {
        fs::copy_file(whole, path, fs::copy_options::overwrite_existing);
        try {
            auto const read = ReadGridFile(path, std::make_shared<Meddling>(moment, meddle), true);
            MeshFromGrid(*read, {}, nullptr);
        } catch (Error const& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    auto const cut_off = [&] { fs::resize_file(path, fs::file_size(path) / 8); };
    auto const overwrite = [&] {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(1 << 16);
        file << std::string(fs::file_size(path) - (1 << 17), '\xFF');
    };
    for (auto const moment : {Meddling::BeforeCheck, Meddling::BetweenArrays}) {
        EXPECT_EQ(message_of(moment, cut_off), "it cannot be read to its end");
        EXPECT_NE(message_of(moment, overwrite), "");
    }
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
