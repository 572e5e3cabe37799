// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/MStreamMFileIn.h>

void MStreamMFileIn::Read(std::wstring& value) {
    std::uint64_t const length = ReadCount(sizeof(std::uint32_t));
    value.clear();
    value.reserve(length);
    for (std::uint64_t i = 0; i < length; ++i) {
        std::uint32_t unit = 0;
        Read(unit);
        value.push_back(static_cast<wchar_t>(unit));
    }
}

std::uint64_t MStreamMFileIn::ReadCount(std::uint64_t bytes_each) {
    std::uint64_t count = 0;
    Read(count);
    if (bytes_each > 0 && count > BytesLeft() / bytes_each) {
        throw std::runtime_error("invalid state");
    }
    return count;
}
