// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/PageCoding.h>

#include <KetSDK/MeshJobs/Error.h>

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <new>

namespace KetSDK::MeshJobs::Detail {

namespace {

bool IsInt32(double value) {
    return value >= std::numeric_limits<std::int32_t>::min() &&
           value <= std::numeric_limits<std::int32_t>::max() && value == std::trunc(value);
}

// Whether a float holds it but for rounding.
bool FitsFloat(double value) {
    double const size = std::fabs(value);
    return !std::isfinite(value) || size == 0.0 ||
           (size >= std::numeric_limits<float>::min() && size <= std::numeric_limits<float>::max());
}

template <typename Bits, typename Source>
std::string Planes(char letter, std::size_t count, Source const& bits_of) {
    std::string bytes(1 + count * sizeof(Bits), letter);
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t plane = 0; plane < sizeof(Bits); ++plane)
            bytes[1 + plane * count + i] = static_cast<char>(bits_of(i) >> (8 * plane) & 0xFF);
    return bytes;
}

} // namespace

std::string Gzip(std::string_view bytes) {
    constexpr int WithGzipHeader = 15 + 16;
    constexpr int MemoryLevel = 8;
    constexpr std::size_t Step = std::size_t{1} << 20;
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, WithGzipHeader, MemoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::bad_alloc();
    std::string packed;
    int status = Z_OK;
    for (std::size_t at = 0; status == Z_OK;) {
        std::size_t const count = std::min(Step, bytes.size() - at);
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data() + at));
        stream.avail_in = static_cast<uInt>(count);
        at += count;
        do {
            std::size_t const size = packed.size();
            packed.resize(size + Step);
            stream.next_out = reinterpret_cast<Bytef*>(packed.data() + size);
            stream.avail_out = static_cast<uInt>(Step);
            status = deflate(&stream, at == bytes.size() ? Z_FINISH : Z_NO_FLUSH);
            packed.resize(size + Step - stream.avail_out);
        } while (stream.avail_out == 0);
    }
    deflateEnd(&stream);
    if (status != Z_STREAM_END)
        throw Error("the page's data could not be compressed");
    return packed;
}

std::string Base64(std::string_view bytes) {
    constexpr char const* Letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::size_t const count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            bits = bits << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        for (std::size_t k = 0; k < 4; ++k)
            text += k <= count ? Letters[bits >> (18 - 6 * k) & 63] : '=';
    }
    return text;
}

void DifferenceCoder::Add(std::int32_t value) {
    std::int64_t const difference = value - m_last;
    m_last = value;
    std::uint64_t rest =
        static_cast<std::uint64_t>(difference) << 1 ^ (difference < 0 ? ~std::uint64_t{0} : 0);
    for (; rest >= 0x80; rest >>= 7)
        m_bytes += static_cast<char>(rest | 0x80);
    m_bytes += static_cast<char>(rest);
}

std::string CodeColumn(std::span<double const> values) {
    if (std::ranges::all_of(values, IsInt32)) {
        DifferenceCoder coder;
        for (double const value : values)
            coder.Add(static_cast<std::int32_t>(value));
        return 'i' + coder.Take();
    }
    if (std::ranges::all_of(values, FitsFloat))
        return Planes<std::uint32_t>('f', values.size(), [values](std::size_t i) {
            return std::bit_cast<std::uint32_t>(static_cast<float>(values[i]));
        });
    return Planes<std::uint64_t>('d', values.size(),
                                 [values](std::size_t i) { return std::bit_cast<std::uint64_t>(values[i]); });
}

std::string CodePositions(std::span<std::uint16_t const> values) {
    return Planes<std::uint16_t>('p', values.size(), [values](std::size_t i) {
        return static_cast<std::uint16_t>(values[i] - (i > 0 ? values[i - 1] : 0));
    });
}

} // namespace KetSDK::MeshJobs::Detail
