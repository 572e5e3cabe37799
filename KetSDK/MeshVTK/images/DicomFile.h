// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KetSDK::MeshVTK::Detail {

// Slices are read by our own code because VTK 9.1's DICOM reader gives other values and no sign of it. It
// rescales into 16 bits, where what does not fit wraps round. It does not know of unused bits, so the sign of
// 12-bit values is lost. It takes rows, columns and slope of an icon image in a sequence without length for
// those of the slice. It rounds positions to float; of slices that are cut off it returns what was in memory.
// It tells nothing of series, frames and packing, for which the elements have to be walked through anyway.

// What a DICOM file says about the slice in it.
struct DicomSlice {
    std::string series;              // its unique identifier
    std::int64_t rows = 0;           // voxels along the second axis
    std::int64_t columns = 0;        // and along the first
    std::vector<double> position;    // of the first voxel's centre, three coordinates in mm
    std::vector<double> orientation; // directions of the first and the second axis
    // What one in the last digit that these numbers were written with is worth.
    double position_digit = 0.0;
    double orientation_digit = 0.0;
    std::vector<double> spacing; // between rows, then between columns, in mm
    double slope = 1.0;
    double intercept = 0.0;
    unsigned int bytes = 2; // of a stored value, 1 or 2
    unsigned int bits = 16; // of them used
    unsigned int shift = 0; // unused bits below
    bool has_sign = false;
    bool big_endian = false;
    std::size_t pixels = 0; // where they begin in the file

    // The stored value of the pixel with an index.
    int Stored(char const* pixel) const noexcept {
        auto const byte = [pixel](unsigned int i) {
            return static_cast<unsigned int>(static_cast<unsigned char>(pixel[i]));
        };
        unsigned int word = byte(0);
        if (bytes == 2)
            word = big_endian ? byte(0) << 8 | byte(1) : byte(1) << 8 | byte(0);
        unsigned int const value = word >> shift & ((1u << bits) - 1);
        bool const negative = has_sign && (value >> (bits - 1)) != 0;
        return static_cast<int>(value) - (negative ? 1 << bits : 0);
    }
};

// Whether the bytes begin as DICOM files do.
bool IsDicom(std::string_view bytes);
// Looks through a file with a slice; nothing for a directory of files. Throws Error when the file is cut
// off or damaged, or holds anything but one slice with one uncompressed value of 8 or 16 bits per voxel.
std::optional<DicomSlice> ReadDicomFile(std::string_view bytes);

} // namespace KetSDK::MeshVTK::Detail
