// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/HistogramText.h>

#include <host/terminal/Format.h>

#include <langinfo.h>
#include <locale.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace ketmesh {

namespace {

constexpr std::size_t HistogramWidth = 72;

bool LocaleIsUtf8() {
    locale_t const locale = ::newlocale(LC_CTYPE_MASK, "", nullptr);
    if (!locale)
        return false;
    bool const utf8 = std::string(::nl_langinfo_l(CODESET, locale)) == "UTF-8";
    ::freelocale(locale);
    return utf8;
}

// A bar whose length is the part of `columns`; what is more than nothing shows.
std::string Bar(double part, std::size_t columns, bool utf8) {
    static constexpr char const* eighths[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    if (part <= 0.0)
        return "";
    std::size_t const steps = utf8 ? 8 : 1;
    std::size_t const length = static_cast<std::size_t>(part * static_cast<double>(columns * steps) + 0.5);
    if (!utf8)
        return length == 0 ? "." : std::string(length, '#');
    std::string bar;
    for (std::size_t i = 0; i < length / steps; ++i)
        bar += "█";
    return bar + eighths[length == 0 ? 1 : length % steps];
}

std::size_t LargestSize(std::vector<std::string> const& texts) {
    std::size_t largest = 0;
    for (std::string const& text : texts)
        largest = std::max(largest, text.size());
    return largest;
}

std::string Spaces(std::size_t width, std::string const& text) {
    return std::string(width - text.size(), ' ');
}

void PrintBars(std::ostream& out, KetSDK::Mesh::QualityBins const& bins) {
    std::vector<std::string> bounds;
    std::vector<std::string> counts;
    for (std::size_t i = 0; i <= bins.counts.size(); ++i)
        bounds.push_back(FormatGeneral(bins.GetBound(i), 5));
    for (int const count : bins.counts)
        counts.push_back(std::to_string(count));
    std::size_t const bound = LargestSize(bounds);
    std::size_t const number = LargestSize(counts);
    std::size_t const taken = 2 + bound + 2 + bound + 2 + number + 2;
    std::size_t const columns = std::max<std::size_t>(HistogramWidth, taken + 10) - taken;
    bool const utf8 = LocaleIsUtf8();
    int const largest = std::max(*std::ranges::max_element(bins.counts), 1);
    for (std::size_t i = 0; i < bins.counts.size(); ++i) {
        std::string const bar = Bar(static_cast<double>(bins.counts[i]) / largest, columns, utf8);
        out << "  " << Spaces(bound, bounds[i]) << bounds[i] << ".." << bounds[i + 1]
            << Spaces(bound, bounds[i + 1]) << "  " << Spaces(number, counts[i]) << counts[i]
            << (bar.empty() ? "" : "  ") << bar << '\n';
    }
}

} // namespace

void PrintHistogram(std::ostream& out, KetSDK::MeshJobs::MetricReport const& report) {
    KetSDK::Mesh::QualityStatistics const& statistics = report.statistics;
    if (!statistics.HasFinite()) {
        out << "  no value is finite\n";
        return;
    }
    if (report.bins.min < report.bins.max)
        PrintBars(out, report.bins);
    std::uint64_t const outside = report.CountOutside();
    if (outside > 0 && statistics.min == statistics.max)
        out << "  all finite values are " << FormatGeneral(statistics.min) << '\n';
    else if (outside > 0)
        out << "  outside the bins: " << outside << '\n';
}

} // namespace ketmesh
