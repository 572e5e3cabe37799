// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/FileIO/SAX/MStreamMFileOut.h>

void MStreamMFileOut::Write(std::wstring const& value) {
    Write(std::uint64_t{value.size()});
    for (wchar_t const unit : value) {
        Write(static_cast<std::uint32_t>(unit));
    }
}
