// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/MeshJobs/detail/FrameOfInput.h>

#include <KetSDK/Mesh/persistence/MMeshFrameArray.h>

#include <algorithm>

namespace KetSDK::MeshJobs::Detail {

std::optional<Mesh::CoordinateFrame> FrameOfInput(std::optional<Mesh::CoordinateFrame> in_file,
                                                  std::optional<Mesh::CoordinateFrame> given,
                                                  char const* option, std::string const& file,
                                                  std::vector<MMeshArray>& arrays, Context const& context) {
    auto const says_other = [](MMeshArray const& array) {
        return array.name == MMeshFrameArrayName && array.place == MMeshArray::OnMesh;
    };
    if (in_file && given && *in_file != *given)
        context.Warn(file + ": it says " + Mesh::FrameWord(*in_file) + ", but " + Mesh::FrameWord(*given) +
                     " is taken as its frame (" + option + ")");
    if (!in_file && std::ranges::any_of(arrays, says_other)) {
        if (!given)
            context.Warn(file + ": its array SPACE names neither RAS nor LPS, so it has no frame (" + option +
                         " says it)");
        else
            std::erase_if(arrays, says_other);
    }
    return given ? given : in_file;
}

} // namespace KetSDK::MeshJobs::Detail
