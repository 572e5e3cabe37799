// SPDX-License-Identifier: BSD-3-Clause
// Images come out of files of every format with each voxel where the file says; damaged files end in one
// line and never in a crash.
#include "DicomElements.h"
#include "TestFiles.h"

#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/ImageFile.h>

#include <vtkDoubleArray.h>
#include <vtkImageData.h>
#include <vtkLogger.h>
#include <vtkMatrix4x4.h>
#include <vtkMetaImageWriter.h>
#include <vtkNIFTIImageWriter.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkXMLImageDataWriter.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

using namespace KetSDK::MeshVTK;
namespace fs = std::filesystem;

namespace {

using Point = std::array<double, 3>;
using Steps = std::array<Point, 4>; // from voxel to voxel along each axis, then the origin

constexpr int Size[3] = {4, 3, 2};
constexpr int Voxels = 24;

short ValueAt(int i, int j, int k) {
    return static_cast<short>(100 * k + 10 * j + i - 50);
}

std::string VoxelBytes(bool big_endian = false) {
    std::string bytes;
    for (int n = 0; n < Voxels; ++n)
        bytes += Bytes(ValueAt(n % 4, n / 4 % 3, n / 12), big_endian);
    return bytes;
}

// A rotation that exchanges and turns axes, so that transposing it gives another one; with spacings.
constexpr Steps Oblique = {{{0.0, 0.8, 0.6}, {0.0, -1.2, 1.6}, {5.0, 0.0, 0.0}, {-7.0, 11.0, 0.5}}};

void ExpectImage(vtkImageData& image, Steps const& steps,
                 std::function<double(int, int, int)> const& value = ValueAt) {
    ASSERT_EQ(image.GetNumberOfPoints(), Voxels);
    for (int k = 0; k < Size[2]; ++k)
        for (int j = 0; j < Size[1]; ++j)
            for (int i = 0; i < Size[0]; ++i) {
                double point[3];
                image.TransformIndexToPhysicalPoint(i, j, k, point);
                for (std::size_t c = 0; c < 3; ++c) {
                    double const expected = i * steps[0][c] + j * steps[1][c] + k * steps[2][c] + steps[3][c];
                    EXPECT_NEAR(point[c], expected, 1e-6 * (1.0 + std::fabs(expected)))
                        << i << " " << j << " " << k;
                }
                EXPECT_EQ(image.GetScalarComponentAsDouble(i, j, k, 0), value(i, j, k));
            }
}

struct NiftiCase {
    char const* name;
    bool version2 = false;
    bool big_endian = false;
    short sform = 0, qform = 0;
    std::array<float, 3> quaternion{};
    float handedness = 1.0f;
    char units = 2;
    float slope = 0.0f, intercept = 0.0f;
};

// A NIfTI file, field by field. The sform is that of Oblique; the qform has its origin and spacings.
std::string Nifti(NiftiCase const& c) {
    std::string header(c.version2 ? 544 : 352, '\0');
    auto const put = [&](std::size_t at, auto value) {
        header.replace(at, sizeof value, Bytes(value, c.big_endian));
    };
    auto const number = [&](std::size_t at1, std::size_t at2, std::size_t i, double value) {
        if (c.version2)
            put(at2 + 8 * i, value);
        else
            put(at1 + 4 * i, static_cast<float>(value));
    };
    put(0, std::int32_t{c.version2 ? 540 : 348});
    std::string const magic = c.version2 ? std::string("n+2\0\r\n\x1A\n", 8) : std::string("n+1\0", 4);
    header.replace(c.version2 ? 4 : 344, magic.size(), magic);
    put(c.version2 ? 12 : 70, std::int16_t{4});
    for (std::size_t i = 0; i < 4; ++i) {
        std::int64_t const size = i == 0 ? 3 : Size[i - 1];
        if (c.version2)
            put(16 + 8 * i, size);
        else
            put(40 + 2 * i, static_cast<std::int16_t>(size));
    }
    double const pixdim[] = {c.handedness, 1.0, 2.0, 5.0};
    for (std::size_t i = 0; i < 4; ++i)
        number(76, 104, i, pixdim[i]);
    if (c.version2)
        put(168, std::int64_t{544});
    else
        put(108, 352.0f);
    number(112, 176, 0, c.slope);
    number(116, 184, 0, c.intercept);
    if (c.version2) {
        put(500, std::int32_t{c.units});
        put(344, std::int32_t{c.qform});
        put(348, std::int32_t{c.sform});
    } else {
        put(123, c.units);
        put(252, c.qform);
        put(254, c.sform);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        number(256, 352, i, c.quaternion[i]);
        number(256, 352, i + 3, Oblique[3][i]);
        for (std::size_t column = 0; column < 4; ++column)
            number(280, 400, 4 * i + column, Oblique[column][i]);
    }
    return header + VoxelBytes(c.big_endian);
}

constexpr char const* MetaHeader = "ObjectType = Image\nNDims = 3\nBinaryData = True\nDimSize = 4 3 2\n"
                                   "ElementSpacing = 1 2 5\nElementType = MET_SHORT\n";
// One axis after the other.
constexpr char const* ObliqueMeta = "TransformMatrix = 0 .8 .6 0 -0.6 .8 1 0 0\nOffset = -7 11 0.5\n";

// A sequence without a length, with an item without one, to be passed over.
std::string Sequence(unsigned int tag, std::string const& content) {
    auto const mark = [](unsigned int number, std::uint32_t length) {
        return Bytes(std::uint16_t{0xFFFE}) + Bytes(static_cast<std::uint16_t>(number)) + Bytes(length);
    };
    return DicomElement(tag, "SQ", "").substr(0, 8) + Bytes(0xFFFFFFFFu) + mark(0xE000, 0xFFFFFFFFu) +
           content + mark(0xE00D, 0) + mark(0xE0DD, 0);
}

struct Slice {
    std::string position = "-7\\11\\0.5";
    std::string orientation = "0\\0.8\\0.6\\0\\-0.6\\0.8";
    std::string series = "1.2.3";
    std::string syntax = "1.2.840.10008.1.2.1";
    std::string rescale_slope = "1";
    std::string spacing = "2\\1";
    std::string more = ""; // elements between
    std::uint16_t columns = 4;
    int k = 0;
};

// Stored values are unsigned with 12 bits and lie 1024 above the real ones.
std::string Dicom(Slice const& slice) {
    auto const number = [](std::uint16_t value) { return Bytes(value); };
    std::string pixels;
    for (int n = 0; n < 12; ++n)
        pixels += number(static_cast<std::uint16_t>(ValueAt(n % 4, n / 4, slice.k) + 1024));
    std::string const nested = Sequence(0x00081140, DicomElement(0x00280010, "US", number(77)));
    return std::string(128, '\0') + "DICM" + DicomElement(0x00020010, "UI", slice.syntax) + nested +
           DicomElement(0x0020000E, "UI", slice.series) + DicomElement(0x00200032, "DS", slice.position) +
           DicomElement(0x00200037, "DS", slice.orientation) + DicomElement(0x00280002, "US", number(1)) +
           DicomElement(0x00280010, "US", number(3)) + DicomElement(0x00280011, "US", number(slice.columns)) +
           DicomElement(0x00280030, "DS", slice.spacing) + DicomElement(0x00280100, "US", number(16)) +
           DicomElement(0x00280101, "US", number(12)) + DicomElement(0x00280102, "US", number(11)) +
           DicomElement(0x00280103, "US", number(0)) + DicomElement(0x00281052, "DS", "-1024") +
           DicomElement(0x00281053, "DS", slice.rescale_slope) + slice.more +
           DicomElement(0x7FE00010, "OW", pixels);
}

class ImageFile : public ::testing::Test {
protected:
    ImageFile() {
        fs::create_directories(m_folder);
        vtkLogger::SetStderrVerbosity(vtkLogger::VERBOSITY_OFF);
    }
    ~ImageFile() override { fs::remove_all(m_folder); }

    fs::path Path(std::string const& name) const { return m_folder / name; }
    vtkSmartPointer<vtkImageData> Read(std::string const& name, std::string const& content) const {
        Save(Path(name), content);
        return ReadImageFile(Path(name), nullptr, &m_report);
    }
    // What is wrong with a file or folder; empty when it can be read.
    std::string Complaint(fs::path const& path) const {
        try {
            ReadImageFile(path, nullptr);
        } catch (Error const& error) {
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
            return error.what();
        }
        return "";
    }
    std::string Complaint(std::string const& name, std::string const& content) const {
        Save(Path(name), content);
        return Complaint(Path(name));
    }
    // The image as VTK's writers are given it.
    static vtkSmartPointer<vtkImageData> Image() {
        auto image = vtkSmartPointer<vtkImageData>::New();
        image->SetDimensions(Size);
        image->SetSpacing(1.0, 2.0, 5.0);
        image->SetOrigin(-7.0, 11.0, 0.5);
        image->SetDirectionMatrix(0.0, 0.0, 1.0, 0.8, -0.6, 0.0, 0.6, 0.8, 0.0);
        image->AllocateScalars(VTK_SHORT, 1);
        std::string const voxels = VoxelBytes();
        std::memcpy(image->GetScalarPointer(), voxels.data(), voxels.size());
        return image;
    }
    template <typename Writer>
    std::string Written(Writer& writer, std::string const& name) const {
        writer.SetFileName(Path(name).c_str());
        writer.Write();
        return Content(Path(name));
    }
    std::string Vti(vtkImageData& image) const {
        vtkNew<vtkXMLImageDataWriter> writer;
        writer->SetInputData(&image);
        return Written(*writer, "written.vti");
    }
    std::string NiftiOfVtk(std::string const& name) const {
        auto const image = Image();
        image->SetOrigin(0.0, 0.0, 0.0); // the matrix has the place
        vtkNew<vtkMatrix4x4> matrix;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 4; ++column)
                matrix->SetElement(row, column,
                                   Oblique[static_cast<std::size_t>(column)][static_cast<std::size_t>(row)] /
                                       (column < 3 ? image->GetSpacing()[column] : 1.0));
        vtkNew<vtkNIFTIImageWriter> writer;
        writer->SetInputData(image);
        writer->SetQFormMatrix(matrix);
        return Written(*writer, name);
    }

    fs::path const m_folder = fs::temp_directory_path() / ("ImageFileTest-" + std::to_string(::getpid()));
    mutable ImageFileReport m_report;
};

Steps Scaled(Steps steps, double factor) {
    for (Point& step : steps)
        for (double& coordinate : step)
            coordinate *= factor;
    return steps;
}

} // namespace

TEST_F(ImageFile, NiftiIsPlacedBySformThenQformThenVoxelSizes) {
    // Half turns about x - y and about x: (x, y, z) becomes (-y, -x, -z) and (x, -y, -z).
    float const half = std::sqrt(0.5f);
    Steps const quarter = {{{0.0, 1.0, 0.0}, {-2.0, 0.0, 0.0}, {0.0, 0.0, 5.0}, Oblique[3]}};
    Steps const left = {{{1.0, 0.0, 0.0}, {0.0, -2.0, 0.0}, {0.0, 0.0, 5.0}, Oblique[3]}};
    Steps const plain = {{{1.0, 0.0, 0.0}, {0.0, 2.0, 0.0}, {0.0, 0.0, 5.0}, {0.0, 0.0, 0.0}}};
    struct {
        NiftiCase file;
        Steps steps;
    } const cases[] = {
        {{"sform", false, false, 2, 1, {}, 1.0f}, Oblique},
        {{"qform, quarter turn about z", false, false, 0, 1, {0.0f, 0.0f, half}, 1.0f}, quarter},
        {{"qform, left-handed", false, false, 0, 3, {1.0f, 0.0f, 0.0f}, -1.0f}, left},
        {{"neither"}, plain},
        {{"sform beside a left-handed qform", false, false, 2, 1, {1.0f, 0.0f, 0.0f}, -1.0f}, Oblique},
        {{"big-endian", false, true, 1}, Oblique},
        {{"version 2", true, false, 4}, Oblique},
        {{"version 2, qform", true, true, 0, 1, {0.0f, 0.0f, half}, 1.0f}, quarter},
        {{"metres", false, false, 1, 0, {}, 1.0f, 1}, Scaled(Oblique, 1000.0)},
        {{"micrometres", true, false, 1, 0, {}, 1.0f, 3}, Scaled(Oblique, 0.001)},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.file.name);
        ExpectImage(*Read("image.nii", Nifti(c.file)), c.steps);
        EXPECT_EQ(m_report.note.empty(), c.file.sform + c.file.qform != 0);
    }
    // A left-handed sform: the third axis the other way.
    NiftiCase const sform{"sform", false, false, 1};
    Steps mirrored = Oblique;
    mirrored[2][0] = -5.0;
    ExpectImage(*Read("image.nii", Nifti(sform).replace(288, 4, Bytes(-5.0f))), mirrored);
    for (char const* const name : {"vtk.nii", "vtk.nii.gz"}) {
        SCOPED_TRACE(name);
        NiftiOfVtk(name);
        ExpectImage(*ReadImageFile(Path(name), nullptr), Oblique);
    }
}

TEST_F(ImageFile, MetaImageIsPlacedByItsHeader) {
    std::string const header = std::string(MetaHeader) + ObliqueMeta;
    ExpectImage(*Read("image.mha", header + "ElementDataFile = LOCAL\n" + VoxelBytes()), Oblique);
    Save(Path("voxels.raw"), "12345" + VoxelBytes(true));
    ExpectImage(*Read("image.mhd", header + "BinaryDataByteOrderMSB = True\r\nHeaderSize = 5\n"
                                            "ElementDataFile = voxels.raw"),
                Oblique);
    ExpectImage(*Read("image.mhd", header + "ElementByteOrderMSB = True\nHeaderSize = -1\n"
                                            "ElementDataFile = voxels.raw"),
                Oblique);
    // As VTK's writer packs it, which leaves out the directions.
    vtkNew<vtkMetaImageWriter> writer;
    writer->SetInputData(Image());
    std::string const packed = Written(*writer, "vtk.mha");
    EXPECT_NE(packed.find("CompressedData = True"), std::string::npos);
    ExpectImage(*ReadImageFile(Path("vtk.mha"), nullptr),
                {{{1.0, 0.0, 0.0}, {0.0, 2.0, 0.0}, {0.0, 0.0, 5.0}, Oblique[3]}});
}

TEST_F(ImageFile, VtiIsReadAsItIs) {
    Vti(*Image());
    ExpectImage(*ReadImageFile(Path("written.vti"), nullptr), Oblique);
}

TEST_F(ImageFile, DicomSlicesAreSortedAndPlacedByTheirHeaders) {
    // The second file has the first slice: along the normal, which is x.
    Save(Path("a.dcm"), Dicom({.position = "-2\\11\\0.5", .k = 1}));
    Save(Path("IM0001"), Dicom({}));
    Save(Path("notes.txt"), "no slice");
    auto const image = ReadImageFile(m_folder, nullptr, &m_report);
    ExpectImage(*image, Oblique);
    EXPECT_EQ(image->GetScalarType(), VTK_SHORT);
    EXPECT_NE(m_report.note.find("1 other"), std::string::npos);

    // Slopes may differ from slice to slice.
    Save(Path("IM0001"), Dicom({.rescale_slope = "0.5"}));
    ExpectImage(*ReadImageFile(m_folder, nullptr), Oblique, [](int i, int j, int k) {
        return k == 1 ? ValueAt(i, j, k) : (ValueAt(i, j, k) + 1024) * 0.5 - 1024;
    });

    // Values beyond 16 bits; and the rows of an icon image, which are none of the slice.
    Save(Path("IM0001"),
         Dicom({.rescale_slope = "100",
                .more = Sequence(0x00880200, DicomElement(0x00280010, "US", Bytes(std::uint16_t{1})))}));
    ExpectImage(*ReadImageFile(m_folder, nullptr), Oblique, [](int i, int j, int k) {
        return k == 1 ? ValueAt(i, j, k) : (ValueAt(i, j, k) + 1024) * 100 - 1024;
    });
}

TEST_F(ImageFile, SlopesAreAppliedAndWholeNumbersStay) {
    struct {
        float slope, intercept;
        int type;
    } const cases[] = {{0.0f, 7.0f, VTK_SHORT},
                       {std::nanf(""), 7.0f, VTK_SHORT},
                       {1.0f, -1024.0f, VTK_SHORT},
                       {1000.0f, 1.0f, VTK_INT},
                       {0.25f, 0.0f, VTK_FLOAT}};
    for (auto const& c : cases) {
        NiftiCase file{"scaled"};
        file.slope = c.slope;
        file.intercept = c.intercept;
        bool const none = !(c.slope != 0.0f) || std::isnan(c.slope);
        auto const image = Read("image.nii", Nifti(file));
        EXPECT_EQ(image->GetScalarType(), c.type);
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(image->GetScalarComponentAsDouble(i, 1, 1, 0),
                      none ? ValueAt(i, 1, 1) : ValueAt(i, 1, 1) * double{c.slope} + double{c.intercept});
    }
}

// A packed file that holds this and then is cut off.
std::string BeginOfGzip(std::string const& bytes) {
    auto const size = static_cast<std::uint16_t>(bytes.size());
    std::string const head("\x1F\x8B\x08\0\0\0\0\0\0\xFF\0",
                           11); // the last byte begins a block that is not packed
    return head + Bytes(size) + Bytes(static_cast<std::uint16_t>(~size)) + bytes;
}

TEST_F(ImageFile, WhatIsNoImageIsRefusedWithAReason) {
    std::string const meta = std::string(MetaHeader) + ObliqueMeta;
    auto const nifti = [](std::size_t at, std::string const& bytes) {
        NiftiCase const file{"sform", false, false, 1};
        return Nifti(file).replace(at, bytes.size(), bytes);
    };
    struct {
        char const* name;
        std::string content, complaint;
    } const cases[] = {
        {"a.nii", "", "empty"},
        {"a.nii", std::string(400, 'x'), "no NIfTI"},
        {"a.nii", nifti(46, Bytes(std::int16_t{3})), "cut off"}, // a slice more than there is
        {"a.nii", nifti(46, Bytes(std::int16_t{1})), "more voxels"},
        {"a.nii", nifti(42, Bytes(std::int16_t{-4})), "-4 voxels"},
        {"a.nii.gz", nifti(40, std::string("\3\0\xFF\x7F\xFF\x7F\xFF\x7F", 8)), "cut off"},
        {"a.nii", nifti(40, std::string("\4\0\4\0\3\0\2\0\5\0", 10)), "5 values for each voxel"},
        {"a.nii", nifti(70, Bytes(std::int16_t{128})), "type 128"},
        {"a.nii.gz", BeginOfGzip(nifti(70, Bytes(std::int16_t{128}))), "type 128"}, // before it is unpacked
        {"a.nii.gz", BeginOfGzip(nifti(40, std::string("\3\0\xFF\x7F\xFF\x7F\xFF\x7F", 8))), "cannot hold"},
        {"a.nii", nifti(284, Bytes(1.0f)), "perpendicular"}, // shear
        {"a.nii", nifti(292, Bytes(std::nanf(""))), "finite"},
        {"a.nii", nifti(108, Bytes(0.0f)), "begin at byte 0"},
        {"a.nii", nifti(344, "ni1"), "one half"},
        {"a.mha", "some text\n", "no MetaImage"},
        {"a.mha", meta + "ElementDataFile = LOCAL\n", "cut off"},
        {"a.mha", meta + "ElementNumberOfChannels = 3\nElementDataFile = LOCAL\n", "3 values"},
        {"a.mha",
         meta + "CompressedData = True\nCompressedDataSize = 48\nElementDataFile = LOCAL\n" + VoxelBytes(),
         "damaged"},
        {"a.mha", meta + "CompressedData = True\nElementDataFile = LOCAL\n" + VoxelBytes(),
         "CompressedDataSize"},
        {"a.mha", meta + "ElementDataFile = LOCAL\n" + VoxelBytes() + VoxelBytes(), "more voxels"},
        {"a.mhd", meta + "ElementDataFile = none.raw\n", "none.raw"},
        {"a.mhd", meta + "ElementDataFile = LIST\n", "several files"},
        {"a.mhd",
         "NDims = 3\nDimSize = 4 3 2\nTransformMatrix = 1 0 0 0 2 0 0 0 1\nElementType = "
         "MET_SHORT\nElementDataFile = LOCAL\n",
         "unit vectors"},
        {"a.vti", "<VTKFile type=\"PolyData\"></VTKFile>", "ImageData is needed"},
        {"a.png", "x", "images are read from"},
        {"a.dcm", Dicom({}), "folder"},
    };
    for (auto const& c : cases)
        EXPECT_NE(Complaint(c.name, c.content).find(c.complaint), std::string::npos)
            << c.name << " " << c.complaint << ": " << Complaint(Path(c.name));
    EXPECT_NE(Complaint(Path("missing.nii")), "");

    auto const image = Image();
    vtkNew<vtkDoubleArray> pairs;
    pairs->SetNumberOfComponents(2);
    pairs->SetNumberOfTuples(Voxels);
    pairs->Fill(1.0);
    image->GetPointData()->SetScalars(pairs);
    EXPECT_NE(Complaint("a.vti", Vti(*image)).find("2 values"), std::string::npos);
    std::string larger = Vti(*Image());
    larger.replace(larger.find("WholeExtent=\"0 3"), 16, "WholeExtent=\"0 9");
    EXPECT_NE(Complaint("a.vti", larger).find("whole image"), std::string::npos);
}

TEST_F(ImageFile, DicomFoldersThatMakeNoStackAreRefused) {
    auto const at = [](std::string const& x) { return Slice{.position = x + "\\11\\0.5", .k = 1}; };
    Slice tilted = at("-2");
    tilted.position = "-2\\12\\0.5";
    Slice turned = at("-2");
    turned.orientation = "1\\0\\0\\0\\1\\0";
    Slice other = at("-2");
    other.series = "1.2.4";
    Slice packed = at("-2");
    packed.syntax = "1.2.840.10008.1.2.4.70";
    Slice damaged = at("-2");
    damaged.syntax = "1.2\n840";
    Slice frames = at("-2");
    frames.more = DicomElement(0x00280008, "IS", "2");
    Slice colours = at("-2");
    colours.more = DicomElement(0x00280002, "US", Bytes(std::uint16_t{3}));
    Slice wide = at("-2");
    wide.columns = 5;
    Slice huge = at("-2"); // so that the product is small again
    huge.more = DicomElement(0x00280010, "UL", Bytes(0x80000000u)) +
                DicomElement(0x00280011, "UL", Bytes(0x80000000u));
    Slice nowhere = at("-2");
    nowhere.position = "";
    struct {
        std::vector<Slice> slices;
        char const* complaint;
    } const cases[] = {{{}, "no DICOM slices"},
                       {{at("-2"), at("3"), at("13")}, "slices are missing"},
                       {{at("-2"), at("3"), at("10")}, "equal distances"},
                       {{at("-7")}, "same position"},
                       {{tilted}, "tilted"},
                       {{turned}, "another orientation"},
                       {{other}, "2 series, 1.2.3 (1 slices), 1.2.4 (1 slices); --series UID"},
                       {{packed}, "compressed (1.2.840"},
                       {{damaged}, "unknown way"},
                       {{frames}, "several slices"},
                       {{colours}, "3 values"},
                       {{wide}, "24 bytes of voxels instead of 30"},
                       {{huge}, "rows or columns"},
                       {{nowhere}, "where its slice lies"}};
    for (auto const& c : cases) {
        SCOPED_TRACE(c.complaint);
        fs::path const folder = Path("slices");
        fs::create_directories(folder);
        int number = 0;
        if (!c.slices.empty())
            Save(folder / "first.dcm", Dicom({}));
        for (Slice const& slice : c.slices)
            Save(folder / ("s." + std::to_string(++number)), Dicom(slice));
        EXPECT_NE(Complaint(folder).find(c.complaint), std::string::npos) << Complaint(folder);
        fs::remove_all(folder);
    }
}

// One series of several is read as if the others were not there; jitter below a hundredth is noted.
TEST_F(ImageFile, DicomSeriesAreChosenAndJitterIsNoted) {
    fs::path const folder = Path("slices");
    fs::create_directories(folder);
    auto const read = [&](std::string const& series) {
        return ReadImageFile(folder, ImageFileOptions{series}, nullptr, &m_report);
    };
    Save(folder / "a.dcm", Dicom({}));
    Save(folder / "b.dcm", Dicom({.position = "-2\\11\\0.5", .k = 1}));
    auto const alone = read("");
    EXPECT_EQ(m_report.note, "");
    Save(folder / "c.dcm", Dicom({.position = "90\\1\\1", .series = "1.2.9"}));
    auto const chosen = read("1.2.3");
    for (int k = 0; k < 2; ++k)
        EXPECT_EQ(chosen->GetScalarComponentAsDouble(1, 2, k, 0),
                  alone->GetScalarComponentAsDouble(1, 2, k, 0));
    EXPECT_EQ(chosen->GetDimensions()[2], 2);
    EXPECT_THROW(read("1.2.4"), Error);
    Save(folder / "c.dcm", Dicom({.position = "3.02\\11\\0.5", .spacing = "2.01\\1", .k = 1}));
    EXPECT_NEAR(read("")->GetSpacing()[2], 5.01, 1e-9);
    EXPECT_NE(m_report.note.find("distances"), std::string::npos) << m_report.note;
    EXPECT_NE(m_report.note.find("pixel spacings"), std::string::npos) << m_report.note;
    Save(folder / "c.dcm", Dicom({.position = "3\\11\\0.5", .spacing = "2.1\\1", .k = 1}));
    EXPECT_THROW(read(""), Error);
}

// A slice beside the others is noted with how far it is, unless positions are written too coarsely to tell.
TEST_F(ImageFile, DicomSlicesBesideTheOthersAreNoted) {
    fs::path const folder = Path("slices");
    fs::create_directories(folder);
    std::string const turned = "0\\0.819152\\0.573576\\0\\-0.573576\\0.819152"; // by 35 degrees
    struct {
        std::string position, orientation, note;
    } const cases[] = {
        {"3\\11.060\\0.42", Slice().orientation, "0.100000 mm"},
        {"3.04\\11\\0.58", Slice().orientation, "0.080000 mm"}, // and the distances are noted
        {"3e0\\11\\58.0e-2", Slice().orientation, "0.080000 mm"},
        {"3\\11\\0.58", turned, "0.080000 mm"},
        {"3\\11.1\\0.5", Slice().orientation, ""}, // any could be 11.05
        {"3\\11.00\\0.51", Slice().orientation, ""},
        {"3\\11.0000\\0.5005", Slice().orientation, ""}, // too little to say
        {"3.000000\\11\\0.5", turned, ""},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.position);
        Save(folder / "a.dcm", Dicom({.orientation = c.orientation}));
        Save(folder / "b.dcm", Dicom({.position = "-2\\11\\0.5", .orientation = c.orientation, .k = 1}));
        Save(folder / "c.dcm", Dicom({.position = c.position, .orientation = c.orientation, .k = 1}));
        ReadImageFile(folder, nullptr, &m_report);
        bool const noted = m_report.note.find("beside") != std::string::npos;
        EXPECT_EQ(noted, !c.note.empty()) << m_report.note;
        EXPECT_EQ(m_report.note.find("\"c.dcm\"") != std::string::npos, noted) << m_report.note;
        EXPECT_NE(m_report.note.find(c.note), std::string::npos) << m_report.note;
    }
}

// Files of every format: cut off after every byte they are refused; with any byte changed they are read or
// refused. A folder has one good slice beside the file.
TEST_F(ImageFile, CutAndDamagedFilesNeverCrash) {
    vtkNew<vtkMetaImageWriter> packed;
    packed->SetInputData(Image());
    fs::create_directories(Path("slices"));
    Save(Path("slices/first.dcm"), Dicom({}));
    NiftiCase const sform{"sform", false, false, 1};
    struct {
        std::string name, content;
        fs::path read;
    } const cases[] = {
        {"cut.nii", Nifti(sform), Path("cut.nii")},
        {"cut.nii.gz", NiftiOfVtk("vtk.nii.gz"), Path("cut.nii.gz")},
        {"cut.mha", std::string(MetaHeader) + "ElementDataFile = LOCAL\n" + VoxelBytes(), Path("cut.mha")},
        {"cut.mha", Written(*packed, "vtk.mha"), Path("cut.mha")},
        {"cut.vti", Vti(*Image()).substr(0, Vti(*Image()).find_last_of('>') + 1), Path("cut.vti")},
        {"slices/second.dcm", Dicom({.position = "-2\\11\\0.5", .k = 1}), Path("slices")},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_NO_THROW((Save(Path(c.name), c.content), ReadImageFile(c.read, nullptr)));
        for (std::string const& cut : CutAtEveryByte(c.content)) {
            Save(Path(c.name), cut);
            EXPECT_NE(Complaint(c.read), "") << cut.size() << " of " << c.content.size() << " bytes";
        }
        for (std::string const& damaged : DamagedAtEveryByte(c.content)) {
            Save(Path(c.name), damaged);
            Complaint(c.read);
        }
    }
}
