// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>

#include <cstdint>
#include <span>
#include <vector>

namespace KetSDK::MeshJobs {

// Models as bytes, for whoever hands them to another process or wants a second one. They are those of a
// .kmesh file, so a model comes back as it was: mesh with masks and materials, fields, arrays and frame. Its
// file, what rounding did, and whether the caller said the frame are the caller's to hand on.

// Throws Error for a mesh that contradicts itself, Cancelled.
KETSDK_MESHJOBS_API std::vector<std::uint8_t> BytesOf(Model const& model, Context const& context);
// Throws Error for bytes that hold no mesh or were changed, Cancelled.
KETSDK_MESHJOBS_API Model ModelOfBytes(std::span<std::uint8_t const> bytes, Context const& context);

// A second model, equal to the first in everything.
KETSDK_MESHJOBS_API Model CopyModel(Model const& model, Context const& context);

} // namespace KetSDK::MeshJobs
