// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/materials/MMeshColorMap.h>

#include <cmath>
#include <cstddef>

namespace {

constexpr unsigned int Stops[] = {0xFF990000, 0xFFFF0000, 0xFFFFFF00, 0xFF00CC00,
                                  0xFF00FFFF, 0xFF0066FF, 0xFF0000FF, 0xFF000099};
constexpr std::size_t Segments = std::size(Stops) - 1;

constexpr double Low = 0.0;
constexpr double High = 4096.0;

// One channel of a colour between two, `shift` bits up.
unsigned int Interpolate(unsigned int from, unsigned int to, double fraction, unsigned int shift) {
    double const a = (from >> shift) & 0xFF;
    double const b = (to >> shift) & 0xFF;
    return static_cast<unsigned int>(std::lround(a + (b - a) * fraction)) << shift;
}

// The colour of a grey value, 0xAARRGGBB. High lies just within the last segment: the range counts
// High - Low + 1 grey values.
unsigned int RampColor(double v) {
    if (!(v >= Low)) // "not a number" as well
        return Stops[0];
    if (v > High)
        return Stops[Segments];
    double const width = (High - Low + 1.0) / Segments;
    auto const segment = static_cast<std::size_t>((v - Low) / width);
    double const fraction = (v - (static_cast<double>(segment) * width + Low)) / width;
    unsigned int color = 0xFF000000;
    for (unsigned int const shift : {16u, 8u, 0u})
        color |= Interpolate(Stops[segment], Stops[segment + 1], fraction, shift);
    return color;
}

} // namespace

bool MMeshColorMap::CreateFromUniqueIntervals(MIntervalsEx<MaterialInterval> const* intervals) {
    m_entries.clear();
    unsigned long long const count = intervals ? intervals->GetNumElements() : 0;
    for (unsigned long long i = 0; i < count; ++i) {
        double const start = intervals->GetStart(i);
        bool const is_last = i + 1 == count;
        double const position = is_last ? start : (start + intervals->GetStart(i + 1)) * 0.5;
        m_entries.emplace_hint(m_entries.end(), i, Entry{start, RampColor(position) & 0x00FFFFFF});
    }
    return true;
}

void MMeshColorMap::SetColor(int index, unsigned int color) {
    auto const found = m_entries.find(static_cast<unsigned long long>(index));
    if (found != m_entries.end())
        found->second.color = color;
}

double MMeshColorMap::GetStart(unsigned long long index) const {
    auto const found = m_entries.find(index);
    return found == m_entries.end() ? 0.0 : found->second.start;
}

unsigned int MMeshColorMap::GetColor(unsigned long long index) const {
    auto const found = m_entries.find(index);
    return found == m_entries.end() ? 0 : found->second.color;
}
