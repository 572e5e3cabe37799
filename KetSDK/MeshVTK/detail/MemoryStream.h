// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshVTK/detail/FileBytes.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <istream>
#include <locale>
#include <streambuf>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

// The bytes of a file, which are borrowed. Short reads ask for them, so that the next reader finds the same;
// long ones copy them to where they belong.
class MemoryBuffer : public std::streambuf {
public:
    explicit MemoryBuffer(FileBytes const& bytes)
        : m_bytes(bytes) {
        GoTo(0, 0);
    }

private:
    static constexpr std::size_t AtOnce = std::size_t{1} << 16;

    std::size_t Place() const { return static_cast<std::size_t>(gptr() - eback()); }
    std::size_t Left() const { return m_bytes.View().size() - Place(); }

    // The next bytes to read are those at a place, of which so many are there.
    void GoTo(std::size_t place, std::size_t there) {
        char* const begin = const_cast<char*>(m_bytes.View().data()); // never written to
        setg(begin, begin + place, begin + place + there);
    }

    int_type underflow() override {
        std::size_t const count = std::min(AtOnce, Left());
        if (count == 0)
            return traits_type::eof();
        m_bytes.Load(m_bytes.View().substr(Place(), count));
        GoTo(Place(), count);
        return traits_type::to_int_type(*gptr());
    }

    std::streamsize xsgetn(char* to, std::streamsize wanted) override {
        std::size_t const count = std::min(static_cast<std::size_t>(wanted), Left());
        if (count < AtOnce) {
            std::string_view const part = m_bytes.View().substr(Place(), count);
            m_bytes.Load(part);
            std::memcpy(to, part.data(), count);
        } else if (!m_bytes.Copy(Place(), to, count)) {
            return 0;
        }
        GoTo(Place() + count, 0);
        return static_cast<std::streamsize>(count);
    }

    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode) override {
        auto const size = static_cast<off_type>(m_bytes.View().size());
        off_type const base = from == std::ios_base::beg   ? 0
                              : from == std::ios_base::cur ? static_cast<off_type>(Place())
                                                           : size;
        off_type const to = base + offset;
        if (to < 0 || to > size)
            return pos_type(off_type(-1));
        GoTo(static_cast<std::size_t>(to), 0);
        return pos_type(to);
    }
    pos_type seekpos(pos_type to, std::ios_base::openmode which) override {
        return seekoff(off_type(to), std::ios_base::beg, which);
    }

    FileBytes const& m_bytes;
};

// A stream over them. Numbers are read with decimal points, whatever the program's locale is.
class MemoryStream : public std::istream {
public:
    explicit MemoryStream(FileBytes const& bytes)
        : std::istream(nullptr)
        , m_buffer(bytes) {
        rdbuf(&m_buffer);
        imbue(std::locale::classic());
    }

private:
    MemoryBuffer m_buffer;
};

} // namespace KetSDK::MeshVTK::Detail
