// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/OriginArrays.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

namespace {

template <typename Origin, typename Number>
void AddArray(SurfaceModel& surface, wchar_t const* name, MMeshArray::Place place,
              std::vector<Origin> const& origins, Number const& number) {
    std::vector<std::int32_t> numbers;
    numbers.reserve(origins.size());
    std::ranges::transform(origins, std::back_inserter(numbers), number);
    SetArray(surface.arrays, {name, place, 1, L"int32", std::move(numbers)});
}

} // namespace

void AddOriginArrays(SurfaceModel& surface, MSurfaceOrigins const& origins) {
    using Triangle = MSurfaceOrigins::Triangle;
    AddArray(surface, L"element", MMeshArray::OnElements, origins.triangles,
             [](Triangle const& triangle) { return triangle.element + 1; });
    AddArray(surface, L"face", MMeshArray::OnElements, origins.triangles,
             [](Triangle const& triangle) { return triangle.face; });
    AddArray(surface, L"node", MMeshArray::OnNodes, origins.points, [](MLong node) { return node + 1; });
}

} // namespace KetSDK::MeshJobs::Detail
