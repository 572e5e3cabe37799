// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace KetSDK::MeshJobs::Detail {

// How many bytes a job can take at most: what the machine has, or what limits on the address space of the
// process (`ulimit -v`) or on its control groups leave. What is in use now is not taken off.
double AvailableMemory();

} // namespace KetSDK::MeshJobs::Detail
