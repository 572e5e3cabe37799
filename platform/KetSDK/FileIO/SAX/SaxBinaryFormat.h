// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <array>
#include <cstdint>

// How a binary document stands in a file; shared by its writer and its reader. The signature comes first,
// then records: a byte that says what it is, and what belongs to it. Numbers are little-endian. The
// document ends with the record that closes its outermost tag.
namespace KetSAX::Detail {

inline constexpr std::array<char, 8> BinarySignature = {'K', 'S', 'A', 'X', 'B', '1', '\r', '\n'};

// A name is its length in 8 bits and its characters. A text is the number of its characters in 64 bits and
// each in 32.
enum class Record : std::uint8_t {
    Close = 0,     // nothing
    Open = 1,      // the tag's name; its attributes follow, then what it holds
    Attribute = 2, // a name and a text
    Bool = 3,      // one of 0 and 1
    Int32 = 4,     // the values that a tag has
    UInt32 = 5,
    Int64 = 6,
    UInt64 = 7,
    Double = 8,
    Text = 9,
    Int32Array = 10, // how many numbers, in 64 bits, and the numbers; arrays that follow each other are one
    DoubleArray = 11,
};

} // namespace KetSAX::Detail
