// SPDX-License-Identifier: BSD-3-Clause
// remove, split, merge and cut on the real head.
#include "KetmeshProgram.h"
#include "MeasuredSurface.h"
#include "TestMeshes.h"

#include <algorithm>
#include <array>
#include <map>

namespace {} // namespace

TEST_F(Ketmesh, SplitFindsThePartsOfTheHead) {
    std::string const out = Path("parts.vtu");
    Json const split = RunJson({"split", Head, "-o", out});
    std::map<std::string, int> parts;
    std::uint64_t elements = 0, last = 0;
    double volume = 0.0;
    for (Json const& part : split["subvolumes"]) {
        std::string const name = part["name"];
        ++parts[name.substr(0, 7)];
        elements += part["elements"].get<std::uint64_t>();
        volume += part["volume"].get<double>();
        if (name.size() > 7) {
            EXPECT_EQ(name, name.substr(0, 8) + std::to_string(parts[name.substr(0, 7)]));
            EXPECT_TRUE(name.ends_with(" 2") || part["elements"] <= last);
        }
        last = part["elements"];
    }
    for (auto const& [label, regions] : CountRegions(*ReadGrid("head_small_tet4.vtu"), "label"))
        EXPECT_EQ(parts["Label " + std::to_string(static_cast<int>(label))], regions) << label;
    EXPECT_EQ(elements, 46924u);
    EXPECT_NEAR(volume, RunJson({"info", Head})["volume"], 1e-6 * volume);
    EXPECT_EQ(RunJson({"info", out})["subvolumes"], split["subvolumes"]) << "what is written is what is said";
    EXPECT_EQ(RunJson({"split", out})["new_subvolumes"], 0);
}
