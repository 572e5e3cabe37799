// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/Colors.h>

#include <KetSDK/Mesh/materials/MHUList.h>
#include <KetSDK/Mesh/materials/MMeshColorMap.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/NumberText.h>
#include <KetSDK/MeshJobs/detail/Threads.h>

#include <algorithm>
#include <functional>

namespace KetSDK::MeshJobs {

namespace {

// The last interval ends at `end`.
ColorsResult ColorsOf(MHUList const& list, double end) {
    MMeshColorMap colors;
    colors.CreateFromUniqueIntervals(&list);
    ColorsResult result;
    for (auto const& [index, entry] : colors)
        result.intervals.push_back({entry.start,
                                    index + 1 < colors.GetNumElements() ? colors.GetStart(index + 1) : end,
                                    entry.color});
    return result;
}

} // namespace

ColorsResult Colors(Model const& model, ColorsOptions const& options, Context const& context) {
    MMeshBase& mesh = *model.mesh;
    if (!mesh.HasGreyValues())
        throw FileError(model.file,
                        "it has no cell array grey; ketmesh materials writes one from a CT image");
    double highest = -DBL_MAX;
    for (MMeshElement const& e : mesh.Elements())
        if (double const grey = mesh.GetElementMasks()->GetGreyValueMask()->GetValue(e);
            grey >= options.from && grey < options.to)
            highest = std::max(highest, grey);
    MHUList list;
    bool is_made = false;
    Detail::WithThreads(context, [&](bool parallel) {
        is_made = list.CreateUniformFromRange(&mesh, static_cast<unsigned int>(options.bins), options.from,
                                              options.to, MHUList::MeshUnit, nullptr, parallel);
    });
    if (!is_made)
        throw FileError(model.file, "no element has a grey value from " + FormatGeneral(options.from) +
                                        " up to " + FormatGeneral(options.to));
    if (list.GetStart(0) == highest)
        throw FileError(model.file, "every element has the grey value " + FormatGeneral(highest) +
                                        "; there is nothing to divide");
    context.ThrowIfCancelled();
    return ColorsOf(list, highest);
}

ColorsResult ColorsOfIntervals(std::vector<double> const& starts) {
    if (starts.empty())
        throw Error("there are no intervals to colour");
    if (std::ranges::adjacent_find(starts, std::greater_equal<>()) != starts.end()) {
        std::string text;
        for (double const start : starts)
            text += (text.empty() ? "" : ",") + FormatGeneral(start);
        throw Error("--intervals: " + text + " does not ascend");
    }
    MHUList list;
    for (double const start : starts)
        list.AddElementAtEnd(start, {start, start, DBL_MAX, DBL_MAX, {}});
    double const width = starts.size() > 1 ? starts.back() - starts[starts.size() - 2] : 1.0;
    return ColorsOf(list, starts.back() + width);
}

} // namespace KetSDK::MeshJobs
