// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/FileIO/FileSystem/MFile.h>

#include <cstdint>
#include <stdexcept>
#include <string>

// Reads a binary state from a file, value by value. Unlike the file itself it does not go on with
// zeros: bytes that are not there throw std::runtime_error("invalid state"). Used by one thread.
class KETSDK_API MStreamMFileIn {
public:
    // The file is open for reading and outlives the stream.
    explicit MStreamMFileIn(MFile& file)
        : m_file(file) {}

    void Read(std::uint8_t& value) { ReadInteger(value); }
    void Read(std::uint16_t& value) { ReadInteger(value); }
    void Read(std::uint32_t& value) { ReadInteger(value); }
    void Read(std::int32_t& value) { ReadInteger(value); }
    void Read(std::uint64_t& value) { ReadInteger(value); }
    void Read(double& value) { ReadInteger(value); }
    void Read(std::wstring& value);

    // Reads a 64-bit count of things that take at least so many bytes each; throws when the file
    // cannot hold that many.
    std::uint64_t ReadCount(std::uint64_t bytes_each);

    std::uint64_t BytesLeft() const noexcept { return m_file.BytesLeft(); }

    // The file itself, for blocks of many values.
    MFile& GetFile() const noexcept { return m_file; }

private:
    template <typename T>
    void ReadInteger(T& value) {
        if (!m_file.READ(value)) {
            throw std::runtime_error("invalid state");
        }
    }

    MFile& m_file;
};
