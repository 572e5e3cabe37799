// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace KetSDK::MeshJobs::Detail {

// How numbers become few bytes for the page; docs/view.md describes it. All are little-endian.

// The bytes in the format of gzip. Throws Error when there is not enough memory.
std::string Gzip(std::string_view bytes);
// The bytes as text, without line breaks.
std::string Base64(std::string_view bytes);

// Whole numbers as differences from the one before, each in as few bytes as it needs: seven bits a byte, the
// lowest first, with the sign in the lowest bit.
class DifferenceCoder {
public:
    void Add(std::int32_t value);
    std::string Take() { return std::move(m_bytes); }

private:
    std::string m_bytes;
    std::int64_t m_last = 0;
};

// A column of values as one block: the letter of its coding, then the values. Letter 'i': whole numbers of 32
// bits, as differences. Letter 'f': the first bytes of all 32-bit floating-point numbers, then all second
// ones, and so on. Letter 'd': the same with 64 bits, for numbers that 32 bits cannot hold in size.
std::string CodeColumn(std::span<double const> values);

// Numbers of 16 bits as differences from the one before, without carry: first all low bytes, then all high
// ones.
std::string CodePositions(std::span<std::uint16_t const> values);

} // namespace KetSDK::MeshJobs::Detail
