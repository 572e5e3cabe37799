// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>

#include <concepts>
#include <cstdint>
#include <string>

// Writes a binary state to a file, value by value, little-endian and without padding; MStreamMFileIn
// reads it back. What cannot be written shows in IsGood(). Used by one thread.
class KETSDK_API MStreamMFileOut {
public:
    // The file is open for writing and outlives the stream.
    explicit MStreamMFileOut(MFile& file)
        : m_file(file) {}

    void Write(std::uint8_t value) { m_file.WRITE(value); }
    void Write(std::uint16_t value) { m_file.WRITE(value); }
    void Write(std::uint32_t value) { m_file.WRITE(value); }
    void Write(std::int32_t value) { m_file.WRITE(value); }
    void Write(std::uint64_t value) { m_file.WRITE(value); }
    // Other unsigned integer types of 64 bits, such as unsigned long long.
    template <std::unsigned_integral T>
    requires(sizeof(T) == 8) void Write(T value) { m_file.WRITE(static_cast<std::uint64_t>(value)); }
    void Write(double value) { m_file.WRITE(value); }
    // The number of characters in 64 bits, then each in 32.
    void Write(std::wstring const& value);

    bool IsGood() const noexcept { return m_file.IsGood(); }

    // The file itself, for blocks of many values.
    MFile& GetFile() const noexcept { return m_file; }

private:
    MFile& m_file;
};
