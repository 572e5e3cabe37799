// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Base/MFileName.h>
#include <KetSDK/Common/Shared/MExport.h>
#include <KetSDK/Support/MFileObserver.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <type_traits>

// A raw binary file, read or written from its start to its end through a buffer of its own. Numbers
// are little-endian on every machine. A file may be used by one thread at a time.
class KETSDK_API MFile {
public:
    enum class Mode : int {
        Read = 0,  // an existing regular file
        Write = 1, // a new file, or an existing one emptied
    };

    MFile() = default;
    MFile(MFileName const& path, Mode mode) { Open(path, mode); }
    MFile(MFile const&) = delete;
    MFile& operator=(MFile const&) = delete;
    // Closes the file. Whoever wrote calls Close() first, to hear whether all of it went out.
    ~MFile();

    // Opens a file; one that was open is closed first. False, as IsGood() then is, when it cannot be
    // opened, or when what is to be read is not a regular file.
    bool Open(MFileName const& path, Mode mode);
    // Hands what is buffered for writing to the system. Returns IsGood().
    bool Flush();
    // Writes out what is buffered and waits until the disk has it, so that a full one shows. Returns
    // IsGood().
    bool Sync();
    // Writes out what is buffered and closes. Returns IsGood().
    bool Close();
    // From now on until the file is opened anew somebody sees the bytes; null for nobody. Borrowed.
    void SetObserver(MFileObserver* observer) noexcept { m_observer = observer; }

    bool IsOpen() const noexcept { return m_file != nullptr; }
    // True when the file was opened and everything since, closing included, went well. Once false it
    // stays false until the next Open().
    bool IsGood() const noexcept { return m_good; }

    // Reads size bytes. Missing bytes become zeros and turn IsGood() false. Returns how many bytes
    // were there.
    std::size_t Read(void* data, std::size_t size);
    // Writes size bytes. Returns IsGood(); a disk that is full may show only in Close().
    bool Write(void const* data, std::size_t size);

    // Reads one number, enumerator or truth value (one byte). Missing bytes read as zeros and turn
    // IsGood() false. Returns IsGood().
    template <typename T>
    bool READ(T& value);
    // The same, returning the value.
    template <typename T>
    T READ() {
        T value;
        READ(value);
        return value;
    }
    // Writes one number, enumerator or truth value (one byte). Returns IsGood().
    template <typename T>
    bool WRITE(T const& value);

    // Reads many numbers at once. Missing bytes read as zeros and turn IsGood() false. Returns IsGood().
    template <typename T>
    bool ReadArray(std::span<T> values);
    // Writes many numbers at once. Returns IsGood().
    template <typename T>
    bool WriteArray(std::span<T const> values);

    // The size in bytes that the file had when it was opened for reading; 0 otherwise. What a file
    // claims to hold is checked against it before memory is set aside.
    std::uint64_t Size() const noexcept { return m_size; }
    // The bytes of Size() that have not been read yet.
    std::uint64_t BytesLeft() const noexcept {
        std::uint64_t const read = m_passed - static_cast<std::uint64_t>(m_read_end - m_read);
        return m_size > read ? m_size - read : 0;
    }

private:
    void Tell(std::byte const* bytes, std::size_t size) {
        if (m_observer != nullptr && m_good && size > 0) {
            m_good = m_observer->OnBytes(bytes, size);
        }
    }
    std::size_t Fetch(std::byte* out, std::size_t size, std::size_t behind);
    void Put(std::byte const* in, std::size_t size);

    template <typename T>
    static constexpr bool IsValue = std::disjunction_v<std::is_arithmetic<T>, std::is_enum<T>> &&
                                    sizeof(T) <= 8;

    std::FILE* m_file = nullptr;
    bool m_good = false;
    MFileObserver* m_observer = nullptr;
    std::unique_ptr<std::byte[]> m_buffer;
    // The part of the buffer that is still to be read, or still free for writing. Both ends are null while
    // the file is not open in that mode, so that the fast paths need no other test.
    std::byte const* m_read = nullptr;
    std::byte const* m_read_end = nullptr;
    std::byte* m_write = nullptr;
    std::byte* m_write_end = nullptr;
    std::uint64_t m_size = 0;
    std::uint64_t m_passed = 0; // bytes taken from the file, buffered ones included, or handed to the system
};

template <typename T>
bool MFile::READ(T& value) {
    static_assert(IsValue<T>, "one number, enumerator or truth value");
    std::byte bytes[sizeof(T)];
    if (static_cast<std::size_t>(m_read_end - m_read) >= sizeof(T)) [[likely]] {
        std::memcpy(bytes, m_read, sizeof(T));
        m_read += sizeof(T);
    } else {
        Read(bytes, sizeof(T));
    }
    if constexpr (std::is_same_v<T, bool>) {
        value = bytes[0] != std::byte{0}; // any other byte than 0 and 1 is no bool at all
    } else {
        if constexpr (std::endian::native == std::endian::big) {
            std::reverse(bytes, bytes + sizeof(T));
        }
        std::memcpy(&value, bytes, sizeof(T));
    }
    return m_good;
}

template <typename T>
bool MFile::WRITE(T const& value) {
    static_assert(IsValue<T>, "one number, enumerator or truth value");
    std::byte bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) {
        std::reverse(bytes, bytes + sizeof(T));
    }
    if (static_cast<std::size_t>(m_write_end - m_write) >= sizeof(T)) [[likely]] {
        std::memcpy(m_write, bytes, sizeof(T));
        m_write += sizeof(T);
    } else {
        Write(bytes, sizeof(T));
    }
    return m_good;
}

template <typename T>
bool MFile::ReadArray(std::span<T> values) {
    static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>, "numbers");
    if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1) {
        Read(values.data(), values.size_bytes());
    } else {
        for (T& value : values)
            READ(value);
    }
    return m_good;
}

template <typename T>
bool MFile::WriteArray(std::span<T const> values) {
    static_assert(std::is_arithmetic_v<T> && !std::is_same_v<T, bool>, "numbers");
    if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1) {
        Write(values.data(), values.size_bytes());
    } else {
        for (T const value : values)
            WRITE(value);
    }
    return m_good;
}
