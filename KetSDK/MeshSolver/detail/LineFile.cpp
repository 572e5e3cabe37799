// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshSolver/detail/LineFile.h>

#include <KetSDK/Support/ParallelWork.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <iterator>
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

char Upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// What most numbers are: the digits make an integer that a double holds exactly, and so it does the power of
// ten. Then the one operation rounds as it should. False for others, which may be numbers all the same.
bool ParsePlainReal(std::string_view text, double& value) {
    static constexpr double powers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                        1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    constexpr std::ptrdiff_t most_digits = 15;
    char const* at = text.data();
    char const* const end = at + text.size();
    bool const is_negative = at != end && *at == '-';
    at += is_negative ? 1 : 0;
    std::uint64_t number = 0;
    auto const take_digits = [&] {
        char const* const first = at;
        for (; at != end && *at >= '0' && *at <= '9'; ++at)
            number = 10 * number + static_cast<std::uint64_t>(*at - '0');
        return at - first;
    };
    std::ptrdiff_t digits = take_digits();
    std::ptrdiff_t exponent = 0;
    if (at != end && *at == '.') {
        ++at;
        exponent = -take_digits();
        digits -= exponent;
    }
    if (digits == 0 || digits > most_digits)
        return false;
    if (at != end) {
        bool const has_exponent = (*at == 'E' || *at == 'e') && end - at == 4 &&
                                  (at[1] == '-' || at[1] == '+') && at[2] >= '0' && at[2] <= '9' &&
                                  at[3] >= '0' && at[3] <= '9';
        if (!has_exponent)
            return false;
        int const written = 10 * (at[2] - '0') + (at[3] - '0');
        exponent += at[1] == '-' ? -written : written;
    }
    if (std::abs(exponent) >= std::ssize(powers))
        return false;
    auto const whole = static_cast<double>(number);
    double const size = exponent < 0 ? whole / powers[-exponent] : whole * powers[exponent];
    value = is_negative ? -size : size;
    return true;
}

bool ParseReal(std::string_view text, double& value) {
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
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

std::size_t LineFile::Read(std::uint64_t offset, char* to, std::size_t count) const {
    std::size_t done = 0;
    while (done < count) {
        ssize_t const got = ::pread(m_file, to + done, count - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
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
                                  first + Read(m_position + first, m_buffer.data() + m_end + first, count);
                              if (end == last)
                                  return;
                              for (std::size_t least = got; end < least;)
                                  got.compare_exchange_weak(least, end);
                          });
    m_end += got;
    m_position += got;
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
    return ParsePlainReal(text, value) || ParseReal(text, value) || ParseReal(Respelled(text), value);
}

bool ReadId(std::string_view text, std::int32_t& value) {
    text = Trimmed(text);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && value > 0;
}

} // namespace KetSDK::MeshSolver::Detail
