// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <KetSDK/Support/ParallelWork.h>
#include <KetSDK/Support/ReadAt.h>

#include <fast_float/fast_float.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

namespace KetSDK::MeshSolver::Detail {

namespace {

// What is fetched at a time, and by one thread of it. The most of it takes one large page, together with the
// room for the beginning of a line.
constexpr std::size_t LeastFetched = 1U << 16;
constexpr std::size_t MostFetched = (1U << 21) - LeastFetched;
constexpr std::size_t FetchedByThread = 1U << 18;
constexpr std::size_t PieceSize = 1U << 16;
constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF"; // with which some editors begin a text

char Upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// The standard library says what is a number and in range. The other one takes half the time, and tells the
// same of those that are neither zero nor beyond what a double holds in full.
bool ParseReal(std::string_view text, double& value) {
    char const* const end = text.data() + text.size();
    if (auto const parsed = fast_float::from_chars(text.data(), end, value);
        parsed.ec == std::errc() && parsed.ptr == end && std::isnormal(value))
        return true;
    auto const parsed = std::from_chars(text.data(), end, value);
    return parsed.ec == std::errc() && parsed.ptr == end;
}

// What C++ takes for a number: E for D, and an E before an exponent that has none.
std::string Respelled(std::string_view text) {
    std::string spelled;
    for (char const c : text) {
        char const upper = Upper(c);
        bool const is_sign = c == '+' || c == '-';
        if (is_sign && !spelled.empty() && spelled.back() != 'E')
            spelled += 'E';
        if (c != '+')
            spelled += upper == 'D' ? 'E' : upper;
    }
    return spelled;
}

} // namespace

LineFile::LineFile(std::filesystem::path const& path, bool parallel)
    : m_file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
    , m_parallel(parallel) {
    struct stat status {};
    if (m_file >= 0 && ::fstat(m_file, &status) == 0 && S_ISREG(status.st_mode)) {
        m_size = static_cast<std::uint64_t>(status.st_size);
        return;
    }
    if (m_file >= 0)
        ::close(m_file);
    throw Error("it cannot be opened");
}

LineFile::~LineFile() {
    ::close(m_file);
}

// Room for so many bytes behind what is not given out yet, which comes to the beginning.
void LineFile::MakeRoom(std::size_t bytes) {
    std::string_view const ahead = Ahead();
    if (m_buffer.size() - ahead.size() < bytes) {
        decltype(m_buffer) larger(2 * ahead.size() + bytes + LeastFetched);
        std::ranges::copy(ahead, larger.begin());
        m_buffer.swap(larger);
    } else {
        std::ranges::copy(ahead, m_buffer.begin());
    }
    m_end -= m_begin;
    m_begin = 0;
}

bool LineFile::Fill() {
    std::uint64_t const left = m_size - std::min(m_size, m_position); // and more in a file that grows
    auto const wanted = static_cast<std::size_t>(std::clamp<std::uint64_t>(left, LeastFetched, MostFetched));
    MakeRoom(wanted);
    std::atomic<std::size_t> got = wanted; // up to the first byte that is not there
    Support::ComputeSteps({.items = wanted, .step = FetchedByThread, .parallel = m_parallel},
                          [&](std::uint64_t first, std::uint64_t last) {
                              auto const count = static_cast<std::size_t>(last - first);
                              std::size_t const end =
                                  first + Support::ReadAt(m_file, m_position + first,
                                                          m_buffer.data() + m_end + first, count);
                              if (end == last)
                                  return;
                              for (std::size_t least = got; end < least;)
                                  got.compare_exchange_weak(least, end);
                          });
    bool const is_first = m_position == 0;
    m_end += got;
    m_position += got;
    if (is_first && Ahead().starts_with(ByteOrderMark))
        m_begin += ByteOrderMark.size();
    return got > 0;
}

bool LineFile::Next(std::string_view& line) {
    std::size_t end = Ahead().find('\n');
    while (end == std::string_view::npos) {
        std::size_t const searched = m_end - m_begin;
        if (!Fill())
            break;
        end = Ahead().find('\n', searched);
    }
    bool const is_last = end == std::string_view::npos;
    if (is_last && m_begin == m_end)
        return false;
    line = Ahead().substr(0, end);
    m_begin = is_last ? m_end : m_begin + end + 1;
    ++m_number;
    if (IsNoText(line))
        throw NoText(m_number);
    return true;
}

std::string_view LineFile::LinesAhead() {
    std::size_t searched = 0;
    while (true) {
        std::size_t const end = Ahead().substr(searched).rfind('\n');
        if (end != std::string_view::npos)
            return Ahead().substr(0, searched + end + 1);
        searched = Ahead().size();
        if (!Fill())
            return Ahead(); // the last line has no end
    }
}

std::string_view LineFile::LinesAheadWithout(char c) {
    if (m_begin == m_end)
        Fill();
    // At the end of the file the last line has no end.
    std::string_view const ahead = Ahead();
    std::size_t const found = ahead.find(c);
    bool const is_all = found == std::string_view::npos && m_position == m_size;
    return ahead.substr(0, is_all ? ahead.size() : ahead.rfind('\n', found) + 1);
}

std::vector<std::string_view> PiecesOf(std::string_view lines) {
    std::vector<std::string_view> pieces;
    while (!lines.empty()) {
        std::size_t const end =
            std::min(lines.find('\n', std::min(lines.size(), PieceSize)), lines.size() - 1) + 1;
        pieces.push_back(lines.substr(0, end));
        lines.remove_prefix(end);
    }
    return pieces;
}

Error NoText(std::uint64_t line) {
    return Error("line " + std::to_string(line) + " holds bytes that are no text");
}

std::string NameKey(std::string_view name) {
    std::string key;
    for (char const c : name)
        if (!IsBlank(c))
            key += Upper(c);
    return key;
}

bool ReadReal(std::string_view text, double& value) {
    text = Trimmed(text);
    return ParseReal(text, value) || ParseReal(Respelled(text), value);
}

bool ReadId(std::string_view text, std::int32_t& value) {
    text = Trimmed(text);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value > 0;
}

} // namespace KetSDK::MeshSolver::Detail
