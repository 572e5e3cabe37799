// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshVTK/images/DicomFolder.h>

#include <KetSDK/Common/Progress/IncrementalProgressReporter.h>
#include <KetSDK/MeshVTK/Error.h>
#include <KetSDK/MeshVTK/InputFile.h>
#include <KetSDK/MeshVTK/detail/FileBytes.h>
#include <KetSDK/MeshVTK/images/DicomFile.h>
#include <KetSDK/MeshVTK/images/ImageParts.h>

#include <vtkDataArray.h>
#include <vtkImageData.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

namespace {

// How far a slice may lie from its place in the stack, along the normal as part of the distance between
// slices and across it in voxels: positions are written with few digits.
constexpr double PositionTolerance = 0.02;
constexpr double DirectionTolerance = 1e-4;
// What is accepted with a note, as part of a spacing. Then from where on two things are noted: distances
// between slices, as part of the mean one, and how far a slice lies across it, in voxels.
constexpr double JitterTolerance = 0.01;
constexpr double NotedJitter = 1e-3;

struct SliceFile {
    std::filesystem::path path;
    DicomSlice slice;
    double height = 0.0;  // along the normal of the slices, in mm
    std::size_t hash = 0; // of the file
};

std::size_t HashOf(std::string_view bytes) {
    return std::hash<std::string_view>()(bytes);
}

[[noreturn]] void Refuse(SliceFile const& file, std::string const& what) {
    throw Error("\"" + file.path.filename().string() + "\": " + what);
}

// Whether a file should be a slice, by its name.
bool IsCandidate(std::filesystem::path const& path) {
    std::string const name = path.filename().string();
    std::string const ending = LowerCaseEnding(path);
    bool const digits =
        std::ranges::all_of(ending, [](unsigned char c) { return c == '.' || std::isdigit(c); });
    return !name.starts_with('.') && name != "DICOMDIR" &&
           (digits || ending == ".dcm" || ending == ".ima" || ending == ".dic");
}

std::vector<std::filesystem::path> FindFiles(std::filesystem::path const& folder, ImageFileReport& report) {
    std::vector<std::filesystem::path> paths;
    std::size_t others = 0;
    std::error_code error;
    for (std::filesystem::directory_iterator i(folder, error);
         !error && i != std::filesystem::directory_iterator(); i.increment(error)) {
        if (!i->is_regular_file(error))
            continue;
        if (IsCandidate(i->path()))
            paths.push_back(i->path());
        else
            ++others;
    }
    if (error)
        throw Error("the folder cannot be read: " + error.message());
    if (paths.empty())
        throw Error("there are no DICOM slices in the folder");
    if (others > 0)
        report.note = std::to_string(others) + " other files in the folder were left out";
    std::ranges::sort(paths);
    return paths;
}

Vector3 Cross(double const* a, double const* b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

bool AreClose(std::vector<double> const& a, std::vector<double> const& b, double tolerance) {
    return std::ranges::equal(a, b,
                              [tolerance](double x, double y) { return std::fabs(x - y) <= tolerance; });
}

// Leaves the slices of one series.
void TakeSeries(std::vector<SliceFile>& files, std::string const& wanted) {
    std::map<std::string, std::size_t> series; // number of slices by identifier
    for (SliceFile const& file : files)
        ++series[file.slice.series];
    std::string list;
    for (auto const& [identifier, slices] : series)
        list += (list.empty() ? "" : ", ") + (identifier.empty() ? "without identifier" : identifier) + " (" +
                std::to_string(slices) + " slices)";
    if (wanted.empty() && series.size() > 1)
        throw Error("the folder holds slices of " + std::to_string(series.size()) + " series, " + list +
                    "; --series UID takes one");
    if (!wanted.empty() && !series.contains(wanted))
        throw Error("there is no series " + wanted + " in the folder; there is " + list);
    if (!wanted.empty())
        std::erase_if(files, [&wanted](SliceFile const& file) { return file.slice.series != wanted; });
}

void AddNote(ImageFileReport& report, std::string const& note) {
    report.note += (report.note.empty() ? "" : "; ") + note;
}

// Throws for slices that make no stack; notes pixel spacings that differ a little.
void CheckSameKind(std::vector<SliceFile> const& files, ImageFileReport& report) {
    bool jitters = false;
    DicomSlice const& first = files[0].slice;
    for (SliceFile const& file : files) {
        DicomSlice const& slice = file.slice;
        if (slice.rows != first.rows || slice.columns != first.columns)
            Refuse(file, "its slice has " + std::to_string(slice.columns) + " x " +
                             std::to_string(slice.rows) + " voxels, others have " +
                             std::to_string(first.columns) + " x " + std::to_string(first.rows));
        if (!AreClose(slice.orientation, first.orientation, DirectionTolerance) ||
            !AreClose(slice.spacing, first.spacing, JitterTolerance * first.spacing[0]))
            Refuse(file, "its slice has another orientation or pixel spacing than others");
        jitters |= !AreClose(slice.spacing, first.spacing, DirectionTolerance * first.spacing[0]);
    }
    if (jitters)
        AddNote(report, "the slices have pixel spacings that differ by less than a hundredth; that of the "
                        "first one is taken");
}

// The grid of a stack of slices like this one, with a distance of 1 mm between them.
ImageGrid GridOfSlices(DicomSlice const& slice, std::size_t count) {
    ImageGrid grid;
    grid.size = {slice.columns, slice.rows, static_cast<std::int64_t>(count)};
    double const* const directions = slice.orientation.data();
    std::copy_n(directions, 3, grid.axes[0].begin());
    std::copy_n(directions + 3, 3, grid.axes[1].begin());
    grid.axes[2] = Cross(directions, directions + 3);
    grid.spacing = {slice.spacing[1], slice.spacing[0], 1.0};
    return grid;
}

void SortAlong(Vector3 const& normal, std::vector<SliceFile>& files) {
    for (SliceFile& file : files) {
        file.height = 0.0;
        for (std::size_t i = 0; i < 3; ++i)
            file.height += normal[i] * file.slice.position[i];
    }
    std::ranges::sort(files, {}, &SliceFile::height);
}

// Throws unless the distances from slice to slice are all the same, as well as positions tell.
void CheckDistances(std::vector<SliceFile> const& files, std::vector<double> const& distances) {
    // With slices missing, the usual distance is the one of the middle.
    std::vector<double> sorted = distances;
    std::ranges::nth_element(sorted, sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2));
    double const usual = sorted[sorted.size() / 2];
    for (std::size_t k = 0; k < distances.size(); ++k) {
        if (std::fabs(distances[k] - usual) <= PositionTolerance * usual)
            continue;
        double const steps = std::round(distances[k] / usual);
        bool const whole =
            steps >= 2.0 && std::fabs(distances[k] - steps * usual) <= PositionTolerance * usual;
        Refuse(files[k + 1], "it lies " + std::to_string(distances[k]) +
                                 " mm from the slice before it instead of " + std::to_string(usual) +
                                 " mm; " + (whole ? "slices are missing" : "equal distances are needed"));
    }
}

// The distance between two of the sorted slices.
double DistanceBetween(std::vector<SliceFile> const& files, ImageFileReport& report) {
    std::vector<double> distances;
    for (std::size_t k = 1; k < files.size(); ++k)
        distances.push_back(files[k].height - files[k - 1].height);
    double const mean = (files.back().height - files.front().height) / static_cast<double>(distances.size());
    double const smallest = *std::ranges::min_element(distances);
    if (!(smallest > 1e-3 * mean) || !(smallest > 1e-6))
        throw Error("two slices lie at the same position; a folder with one series at one time is needed");
    CheckDistances(files, distances);
    double jitter = 0.0;
    for (double const distance : distances)
        jitter = std::max(jitter, std::fabs(distance - mean));
    if (jitter > NotedJitter * mean)
        AddNote(report, "the distances between slices differ by up to " + std::to_string(jitter) +
                            " mm from their mean of " + std::to_string(mean) + " mm, which is taken");
    return mean;
}

// Throws unless each of the sorted slices lies where the grid has it.
void CheckStraight(std::vector<SliceFile> const& files, ImageGrid const& grid) {
    double const voxel = std::ranges::min(grid.spacing);
    for (std::size_t k = 0; k < files.size(); ++k) {
        double const height = static_cast<double>(k) * grid.spacing[2];
        for (std::size_t i = 0; i < 3; ++i) {
            double const expected = grid.origin[i] + height * grid.axes[2][i];
            if (!(std::fabs(files[k].slice.position[i] - expected) <= 5.0 * PositionTolerance * voxel))
                Refuse(files[k], "its slice does not lie straight above the first one (a tilted gantry?); "
                                 "resample the images without shear");
        }
    }
}

// How far slices may lie beside a straight line because their positions and directions are written with few
// digits. Two axes that are exactly perpendicular and of length 1 were not rounded, however they are written.
double RoundingAcross(std::vector<SliceFile> const& files) {
    double position = std::numeric_limits<double>::infinity();
    double direction = position;
    for (SliceFile const& file : files) {
        position = std::min(position, file.slice.position_digit);
        direction = std::min(direction, file.slice.orientation_digit);
    }
    double const* const axes = files[0].slice.orientation.data();
    auto const dot = [axes](std::size_t a, std::size_t b) {
        return axes[a] * axes[b] + axes[a + 1] * axes[b + 1] + axes[a + 2] * axes[b + 2];
    };
    if (std::max({std::fabs(dot(0, 0) - 1.0), std::fabs(dot(3, 3) - 1.0), std::fabs(dot(0, 3))}) < 1e-12)
        direction = 0.0;
    double const height = files.back().height - files.front().height;
    // Half a digit for each coordinate of both slices, and of both axes that the normal is the product of.
    return std::sqrt(3.0) * (position + height * direction);
}

// How far a position lies from the line along the normal through the origin of the grid.
double DistanceAcross(std::vector<double> const& position, ImageGrid const& grid) {
    Vector3 const& normal = grid.axes[2]; // of length 1 only as far as the axes are written
    Vector3 offset;
    double along = 0.0, square = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        offset[i] = position[i] - grid.origin[i];
        along += normal[i] * offset[i];
        square += normal[i] * normal[i];
    }
    for (std::size_t i = 0; i < 3; ++i)
        offset[i] -= along / square * normal[i];
    return std::hypot(offset[0], offset[1], offset[2]);
}

// Notes slices that lie beside the line straight above the first one, where the image has them.
void NoteAcross(std::vector<SliceFile> const& files, ImageGrid const& grid, ImageFileReport& report) {
    auto const across = [&grid](SliceFile const& file) { return DistanceAcross(file.slice.position, grid); };
    SliceFile const& farthest = *std::ranges::max_element(files, {}, across);
    if (across(farthest) > std::max(RoundingAcross(files), NotedJitter * std::ranges::min(grid.spacing)))
        AddNote(report,
                "slices lie up to " + std::to_string(across(farthest)) +
                    " mm beside the line straight above the first one, on which they are taken to lie; "
                    "the farthest is \"" +
                    farthest.path.filename().string() + "\"");
}

// Sorts the slices along their normal and places the image; throws where they make no regular stack.
ImageGrid Stack(std::vector<SliceFile>& files, ImageFileReport& report) {
    ImageGrid grid = GridOfSlices(files[0].slice, files.size());
    SortAlong(grid.axes[2], files);
    std::copy_n(files[0].slice.position.begin(), 3, grid.origin.begin());
    if (files.size() > 1) {
        grid.spacing[2] = DistanceBetween(files, report);
        CheckStraight(files, grid);
        NoteAcross(files, grid, report);
    }
    return grid;
}

// The pixels of a slice as they are in its file.
std::string_view Pixels(std::string_view bytes, DicomSlice const& slice) {
    return bytes.substr(slice.pixels, static_cast<std::size_t>(slice.rows * slice.columns) * slice.bytes);
}

// Smallest and largest rescaled value, and whether all are whole numbers.
struct ValueRange {
    double smallest = std::numeric_limits<double>::infinity();
    double largest = -std::numeric_limits<double>::infinity();
    bool whole = true;

    void Add(DicomSlice const& slice, std::string_view pixels) {
        int lowest = std::numeric_limits<int>::max();
        int highest = std::numeric_limits<int>::min();
        for (std::size_t at = 0; at < pixels.size(); at += slice.bytes) {
            int const value = slice.Stored(pixels.data() + at);
            lowest = std::min(lowest, value);
            highest = std::max(highest, value);
        }
        for (int const value : {lowest, highest}) {
            smallest = std::min(smallest, value * slice.slope + slice.intercept);
            largest = std::max(largest, value * slice.slope + slice.intercept);
        }
        whole =
            whole && std::floor(slice.slope) == slice.slope && std::floor(slice.intercept) == slice.intercept;
    }
};

template <typename T>
void Fill(T* values, DicomSlice const& slice, std::string_view pixels) {
    for (std::size_t at = 0; at < pixels.size(); at += slice.bytes)
        *values++ = static_cast<T>(slice.Stored(pixels.data() + at) * slice.slope + slice.intercept);
}

FileBytes BytesOf(SliceFile const& file) {
    try {
        return OpenFile(file.path, "DICOM").All(nullptr);
    } catch (Error const& error) {
        Refuse(file, error.what());
    }
}

// Goes through the slices in their order; throws Cancelled.
template <typename Visit>
void ForEachSlice(std::vector<SliceFile> const& files, Common::IncrementalProgressReporter& reporter,
                  Visit const& visit) {
    for (SliceFile const& file : files) {
        if (reporter.IsCancelled())
            throw Cancelled();
        visit(file, BytesOf(file).View());
        ++reporter;
    }
}

} // namespace

vtkSmartPointer<vtkImageData> ReadDicomFolder(std::filesystem::path const& path,
                                              std::shared_ptr<Common::IProgressDelegate> const& progress,
                                              ImageFileReport& report, std::string const& series) {
    std::vector<SliceFile> files;
    for (std::filesystem::path const& file : FindFiles(path, report))
        files.push_back({file, {}, 0.0, 0});
    Common::IncrementalProgressReporter reporter(progress, "Reading slices", 2 * files.size(), true);
    std::vector<SliceFile> slices;
    ValueRange range;
    ForEachSlice(files, reporter, [&](SliceFile const& file, std::string_view bytes) {
        try {
            if (auto const slice = ReadDicomFile(bytes)) {
                if (series.empty() || slice->series == series)
                    range.Add(*slice, Pixels(bytes, *slice));
                slices.push_back({file.path, *slice, 0.0, HashOf(bytes)});
            }
        } catch (Error const& error) {
            Refuse(file, error.what());
        }
    });
    if (slices.empty())
        throw Error("there are no DICOM slices in the folder");
    TakeSeries(slices, series);
    CheckSameKind(slices, report);
    ImageGrid const grid = Stack(slices, report);
    CheckGrid(grid);
    auto const values = vtk::TakeSmartPointer(
        vtkDataArray::CreateDataArray(RescaledType(range.smallest, range.largest, range.whole)));
    values->SetNumberOfTuples(static_cast<vtkIdType>(NumberOfVoxels(grid)));
    vtkIdType at = 0;
    ForEachSlice(slices, reporter, [&](SliceFile const& file, std::string_view bytes) {
        if (HashOf(bytes) != file.hash)
            Refuse(file, "it changed while it was read");
        switch (values->GetDataType()) {
            vtkTemplateMacro(Fill(static_cast<VTK_TT*>(values->GetVoidPointer(at)), file.slice,
                                  Pixels(bytes, file.slice)));
        }
        at += file.slice.rows * file.slice.columns;
    });
    return MakeImage(grid, *values);
}

} // namespace KetSDK::MeshVTK::Detail
