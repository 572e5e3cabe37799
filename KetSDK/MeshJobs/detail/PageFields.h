// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/Context.h>
#include <KetSDK/MeshJobs/Model.h>
#include <KetSDK/MeshJobs/View.h>

#include <string>
#include <vector>

namespace KetSDK::MeshJobs::Detail {

// Values that a page shows of nodes or elements.
struct PageField {
    std::string name; // UTF-8, of no other field
    std::string unit; // empty for a pure number and for what nobody knows the unit of
    std::string kind; // "array", "material" or "metric"
    // Of a metric the values to look at first: "lowest", "highest" or "negative", which is negative ones and
    // then the highest.
    std::string worst;
    std::vector<std::string> components; // names; empty for one value
    MMeshArray values;
    std::vector<std::uint64_t> worst_elements; // of a metric, the worst first

    bool IsVector() const { return components.size() == 3; }
    // What a page can be coloured by: its name, which stands for the length of a vector, and its components.
    std::vector<std::string> Colors() const;
};

// The fields of a model: what its mesh holds, its arrays of numbers and the metrics that options name.
// Throws Error for a colour that there is not.
std::vector<PageField> FieldsOf(Model const& model, ViewOptions const& options, Context const& context);

// What a page is coloured by when it opens.
std::string ChooseColor(std::vector<PageField> const& fields, ViewOptions const& options);

} // namespace KetSDK::MeshJobs::Detail
