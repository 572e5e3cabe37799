// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Support/ReadAt.h>

#include <unistd.h>

#include <cerrno>

namespace KetSDK::Support {

std::size_t ReadAt(int file, std::uint64_t offset, char* to, std::size_t count) noexcept {
    std::size_t done = 0;
    while (done < count) {
        ssize_t const got = ::pread(file, to + done, count - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

} // namespace KetSDK::Support
