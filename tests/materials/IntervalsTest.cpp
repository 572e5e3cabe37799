// SPDX-License-Identifier: BSD-3-Clause
#include "GreyMesh.h"

#include <KetSDK/Mesh/materials/MHUList.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <functional>
#include <limits>

namespace {

using GreyMesh::VolumeList;
using Numbers = std::vector<double>;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

Numbers Starts(MHUList const& list) {
    Numbers starts;
    for (auto it = list.Begin(); it != list.End(); ++it) {
        EXPECT_EQ(it->first, starts.size());
        EXPECT_EQ(it->second.start, it->second.value.start);
        EXPECT_EQ(it->second.value.value2, DBL_MAX);
        EXPECT_TRUE(it->second.value.name.empty());
        starts.push_back(it->second.start);
    }
    return starts;
}

Numbers Values(MHUList const& list) {
    Numbers values;
    for (auto it = list.Begin(); it != list.End(); ++it)
        values.push_back(it->second.value.value);
    return values;
}

// A list that some builder may clear.
MHUList ListWithOneInterval() {
    MHUList list;
    list.AddElementAtEnd(7.0, {7.0, 8.0, DBL_MAX, DBL_MAX, L"old"});
    list.mapType = -5;
    return list;
}

} // namespace

TEST(HUList, UniformBuildersDivideTheGreyValuesThatTheyFind) {
    MMeshBase mesh, other;
    GreyMesh::Fill(mesh, {{100, 0, {{0, 1.0}}},
                          {200, 0, {{1, 0.5}, {2, 0.5}}},
                          {300, 1, {{2, 1.0}}},
                          {NaN, 1, {{2, 1.0}}},
                          {500, 2, {}}});
    auto const sub_volume = [&](int i) { return mesh.BeginSubVolume()[i].get(); };
    MHUList::SubVolumes const second = {sub_volume(1)}, outer = {sub_volume(0), sub_volume(2)}, none = {};
    MHUList::SubVolumes const foreign = {other.GetMainSubVolume()};
    auto const law = [&](unsigned int n, double c, double e, int unit, MHUList::SubVolumes const* filter) {
        return [=, &mesh](MHUList& list) {
            return list.CreateUniform(&mesh, n, 1, 2, c, 0.5, e, MHUList::EMapUnit(unit), filter);
        };
    };
    auto const range = [&](unsigned int n, double low, double high, int unit) {
        return [=, &mesh](MHUList& list) {
            return list.CreateUniformFromRange(&mesh, n, low, high, MHUList::EMapUnit(unit));
        };
    };
    auto const mask = [&](unsigned short index, MHUList::SubVolumes const* filter = nullptr) {
        return [=, &mesh](MHUList& list) {
            return list.CreateUniformFromMask(&mesh, 1, index, {false, true, true}, MHUList::MeshUnit,
                                              filter);
        };
    };
    struct {
        char const* name;
        std::function<bool(MHUList&)> build;
        bool built;
        Numbers starts, values;
    } const cases[] = {
        {"all", law(4, 1, 0, 0, nullptr), true, {100, 200, 300, 400}, {301.5, 501.5, 701.5, 901.5}},
        {"empty filter", law(2, 1, 0, 7, &none), true, {100, 300}, {401.5, 801.5}},
        {"equal grey values", law(2, 1, 0, 0, &second), true, {300, 300}, {601.5, 601.5}},
        {"negative squared", law(1, 2, 0, 1, &second), true, {300}, {1 + 2 * 724.0 * 724.0 + 0.5}},
        {"negative to a fraction", law(1, 2, 0.5, 1, &second), true, {300}, {0}},
        {"unset coefficient", law(1, DBL_MAX, 1, 1, &second), true, {300}, {DBL_MAX}},
        {"no interval", law(0, 1, 1, 0, nullptr), true, {}, {}},
        {"foreign filter", law(4, 1, 1, 0, &foreign), false, {}, {}},
        {"range", range(2, 200, 500, 0), true, {200, 250}, {225, 275}},
        {"range with offset", range(2, 200, 500, 1), true, {200, 250}, {-799, -749}},
        {"range without elements", range(2, 301, 500, 0), false, {}, {}},
        {"first index", mask(0), true, {200}, {200}},
        {"second index", mask(1), true, {300}, {300}},
        {"no flagged volume", mask(2), true, {100}, {300}},
        {"index in a filter", mask(2, &outer), true, {100}, {300}},
        {"index of nothing", mask(3), false, {}, {}},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.name);
        MHUList list = ListWithOneInterval();
        EXPECT_EQ(c.build(list), c.built);
        EXPECT_EQ(Starts(list), c.starts);
        EXPECT_EQ(Values(list), c.values);
        EXPECT_EQ(MHUList(list).mapType, c.built ? 2 : -5);
    }
    EXPECT_FALSE(MaterialInterval(5.0, DBL_MAX, DBL_MAX, DBL_MAX, L"start only").IsDefined());

    mesh.SetGreyValuesFlag(false);
    for (auto const& c : cases) {
        MHUList list = ListWithOneInterval();
        EXPECT_FALSE(c.build(list));
        EXPECT_FALSE(list.CreateFromMask(&mesh, {true}, true));
        EXPECT_FALSE(list.CreateUniform(nullptr, 1, 1, 1, 1, 1, 1, MHUList::MeshUnit));
        EXPECT_EQ(list.GetValue(0).name, L"old");
    }
}

TEST(HUList, OneIntervalPerMaterialStartsAtItsMeanGreyValue) {
    MMeshBase mesh;
    GreyMesh::Fill(mesh, {{10.9, 0, {{1, 1.0}}},
                          {-5.9, 0, {{1, 0.5}, {0, 0.9}}},
                          {40.0, 1, {{2, 1.0}}},
                          {900.0, 1, {{0, 1.0}}},
                          {NaN, 1, {{2, 1.0}}}});
    MHUList::SubVolumes const first = {mesh.GetMainSubVolume()};
    struct {
        std::vector<bool> flags;
        bool with_values;
        MHUList::SubVolumes const* filter;
        Numbers starts, values;
    } const cases[] = {
        // Indices 0 (whole parts 10 and -5), 1 (40) and 2 (none flagged: 900), of which 1 and 2 have flags.
        {{false, true, true}, true, nullptr, {40, 900}, {40, 0}},
        {{false, true, true}, false, nullptr, {40, 900}, {DBL_MAX, DBL_MAX}},
        {{false, true, true}, true, &first, {0}, {0}},
        // All flags are set: what has no volume in them lies beyond.
        {{true}, true, nullptr, {447.5}, {0}},
        {{true, true, true, true}, true, nullptr, {447.5, 10, 40}, {447.5, 10, 40}},
        {{false}, true, nullptr, {}, {}},
        {{}, true, nullptr, {}, {}},
    };
    for (auto const& c : cases) {
        MHUList list = ListWithOneInterval();
        EXPECT_TRUE(list.CreateFromMask(&mesh, c.flags, c.with_values, c.filter));
        EXPECT_EQ(Starts(list), c.starts) << c.flags.size();
        EXPECT_EQ(Values(list), c.values) << c.flags.size();
        EXPECT_EQ(list.GetStart(3), 0.0);
        EXPECT_FALSE(list.GetValue(3).IsDefined());
    }
}

TEST(MaterialIndex, CountsTheFlagsBelowTheHeaviestFlaggedVolume) {
    std::vector<bool> const many(70000, true);
    struct {
        VolumeList list;
        std::vector<bool> flags;
        unsigned short index;
    } const cases[] = {
        {{}, {}, 0},
        {{}, {true, false, true}, 2},
        {{{0, 1.0}}, {true, true}, 0},
        {{{1, 0.2}, {0, 0.8}}, {false, true, true}, 0},
        {{{2, 0.4}, {1, 0.4}, {0, 0.1}}, {true, true, true}, 2},
        {{{1, 0.0}}, {true, true, true}, 1},
        {{{2, -1.0}, {1, -2.0}}, {true, true, true, true}, 2},
        {{{9, 5.0}, {1, 0.1}}, {true, true}, 1},
        {{{65535, 1.0}}, many, 65535},
        {{}, many, 65535},
    };
    for (auto const& c : cases)
        EXPECT_EQ(MMeshElementMaskContainer::CalculateMaterialIndexFromVolumeList(c.list, c.flags), c.index);
}
