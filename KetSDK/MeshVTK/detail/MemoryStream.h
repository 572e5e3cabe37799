// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <istream>
#include <locale>
#include <streambuf>
#include <string_view>

namespace KetSDK::MeshVTK::Detail {

// Bytes in memory, which are borrowed and not copied.
class MemoryBuffer : public std::streambuf {
public:
    explicit MemoryBuffer(std::string_view bytes) {
        char* const begin = const_cast<char*>(bytes.data()); // never written to
        setg(begin, begin, begin + bytes.size());
    }

private:
    pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode) override {
        off_type const base = from == std::ios_base::beg   ? 0
                              : from == std::ios_base::cur ? gptr() - eback()
                                                           : egptr() - eback();
        off_type const to = base + offset;
        if (to < 0 || to > egptr() - eback())
            return pos_type(off_type(-1));
        setg(eback(), eback() + to, egptr());
        return pos_type(to);
    }
    pos_type seekpos(pos_type to, std::ios_base::openmode which) override {
        return seekoff(off_type(to), std::ios_base::beg, which);
    }
};

// A stream over them. Numbers are read with decimal points, whatever the program's locale is.
class MemoryStream : public std::istream {
public:
    explicit MemoryStream(std::string_view bytes)
        : std::istream(nullptr)
        , m_buffer(bytes) {
        rdbuf(&m_buffer);
        imbue(std::locale::classic());
    }

private:
    MemoryBuffer m_buffer;
};

} // namespace KetSDK::MeshVTK::Detail
