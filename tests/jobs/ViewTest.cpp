// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/mesh/MMeshBaseNeighborsInfo.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>
#include <KetSDK/MeshJobs/Quality.h>
#include <KetSDK/MeshJobs/View.h>

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <zlib.h>

#include <bit>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <vector>

using namespace KetSDK::MeshJobs;

namespace {

std::string Unzip(std::string const& packed) {
    std::string bytes;
    z_stream stream{};
    EXPECT_EQ(inflateInit2(&stream, 15 + 16), Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    for (int status = Z_OK; status == Z_OK;) {
        char piece[4096];
        stream.next_out = reinterpret_cast<Bytef*>(piece);
        stream.avail_out = sizeof piece;
        status = inflate(&stream, Z_NO_FLUSH);
        EXPECT_TRUE(status == Z_OK || status == Z_STREAM_END);
        bytes.append(piece, sizeof piece - stream.avail_out);
    }
    inflateEnd(&stream);
    return bytes;
}

// The data of a page as the page's own code reads it.
class Unpacked {
public:
    explicit Unpacked(std::string const& data) {
        std::size_t const length = Bits(data, 0, 4, 1);
        header = nlohmann::json::parse(Unzip(data.substr(4, length)));
        std::size_t at = 4 + length;
        for (auto const& block : header["blocks"]) {
            m_blocks.push_back(Unzip(data.substr(at, block["bytes"])));
            at += block["bytes"].get<std::size_t>();
        }
        EXPECT_EQ(at, data.size());
    }

    std::string const& Block(std::string const& name) const {
        for (std::size_t i = 0; i < m_blocks.size(); ++i)
            if (header["blocks"][i]["name"] == name)
                return m_blocks[i];
        throw std::runtime_error("there is no block " + name);
    }
    static std::vector<double> Differences(std::string const& bytes, std::size_t at = 0) {
        std::vector<double> values;
        for (std::int64_t last = 0; at < bytes.size(); values.push_back(static_cast<double>(last))) {
            std::uint64_t rest = 0;
            for (unsigned int shift = 0;; shift += 7) {
                auto const byte = static_cast<unsigned char>(bytes.at(at++));
                rest |= std::uint64_t{byte & 0x7FU} << shift;
                if (byte < 0x80)
                    break;
            }
            last += static_cast<std::int64_t>(rest >> 1) ^ -static_cast<std::int64_t>(rest & 1);
        }
        return values;
    }
    std::vector<double> Positions(char axis) const {
        std::string const& bytes = Block(std::string("position_") + axis);
        double const low = header["box"][static_cast<std::size_t>(axis - 'x')];
        double const high = header["box"][static_cast<std::size_t>(axis - 'x' + 3)];
        std::vector<double> values((bytes.size() - 1) / 2);
        std::uint16_t step = 0;
        for (std::size_t i = 0; i < values.size(); ++i) {
            step = static_cast<std::uint16_t>(step + Bits(bytes, 1 + i, 2, values.size()));
            values[i] = low + step * (high - low) / 65535.0;
        }
        return values;
    }
    nlohmann::json const& Field(std::string const& name) const {
        for (auto const& field : header["fields"])
            if (field["name"] == name)
                return field;
        throw std::runtime_error("there is no field " + name);
    }
    std::vector<double> Values(std::string const& name, std::size_t component = 0) const {
        std::string const& bytes = m_blocks.at(Field(name)["blocks"][component]);
        if (bytes[0] == 'i')
            return Differences(bytes, 1);
        std::size_t const size = bytes[0] == 'f' ? 4 : 8;
        std::vector<double> values((bytes.size() - 1) / size);
        for (std::size_t i = 0; i < values.size(); ++i) {
            std::uint64_t const bits = Bits(bytes, 1 + i, size, values.size());
            values[i] = size == 4 ? std::bit_cast<float>(static_cast<std::uint32_t>(bits))
                                  : std::bit_cast<double>(bits);
        }
        return values;
    }

    nlohmann::json header;

private:
    static std::uint64_t Bits(std::string const& bytes, std::size_t at, std::size_t size, std::size_t step) {
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < size; ++i)
            bits |= std::uint64_t{static_cast<unsigned char>(bytes.at(at + i * step))} << (8 * i);
        return bits;
    }

    std::vector<std::string> m_blocks;
};

Model LoadData(std::string const& name) {
    return ReadModel(std::string(KETSDK_DATA_DIR "/") + name, {}, {});
}

} // namespace

TEST(View, PageHoldsTheWholeMesh) {
    for (std::string const name : {"head_small_tet10.vtu", "hex_matrix_fiber.vtu", "wedge_beam14.vtu"}) {
        SCOPED_TRACE(name);
        Model const model = LoadData(name);
        PageData const page = PackModel(model, {}, {});
        Unpacked const unpacked(page.data);
        auto const box = BoxOf(*model.mesh);
        std::size_t const nodes = page.result.nodes;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            std::vector<double> const x = unpacked.Positions(static_cast<char>('x' + axis));
            ASSERT_EQ(x.size(), nodes);
            for (std::size_t i = 0; i < nodes; ++i)
                ASSERT_NEAR(x[i], model.mesh->GetRandomPoint(i)->GetPosition()[axis],
                            0.501 * (box[axis + 3] - box[axis]) / 65535.0);
        }
        std::vector<double> const connectivity = Unpacked::Differences(unpacked.Block("connectivity"));
        std::vector<double> const subvolumes = Unpacked::Differences(unpacked.Block("subvolumes"));
        std::size_t at = 0, e = 0;
        for (MMeshElement const& element : model.mesh->Elements()) {
            ASSERT_EQ(unpacked.Block("kinds").at(e), static_cast<char>(element.GetNodeCount()));
            ASSERT_EQ(subvolumes.at(e++), model.mesh->GetSubVolume(element)->GetID());
            for (unsigned int k = 0; k < element.GetNodeCount(); ++k)
                ASSERT_EQ(connectivity.at(at++), element.GetNode(k)->GetIndex());
        }
        EXPECT_EQ(at, connectivity.size());
        EXPECT_EQ(e, page.result.shown);
        EXPECT_EQ(unpacked.header["subvolumes"].size(), model.mesh->NumberOfSubVolumes());
    }
}

TEST(View, ValuesComeBack) {
    Model model = LoadData("head_small_tet10.vtu");
    auto const nodes = static_cast<std::size_t>(model.mesh->NumberOfPoints());
    auto const elements = static_cast<std::size_t>(model.mesh->NumberOfElements());
    std::vector<double> vectors(3 * nodes), huge(elements, 1e300);
    std::vector<std::int32_t> whole(elements);
    for (std::size_t i = 0; i < vectors.size(); ++i)
        vectors[i] = std::sin(static_cast<double>(i));
    vectors[4] = std::numeric_limits<double>::quiet_NaN();
    for (std::size_t i = 0; i < elements; ++i)
        whole[i] = i % 2 == 0 ? std::numeric_limits<std::int32_t>::min() + static_cast<std::int32_t>(i)
                              : std::numeric_limits<std::int32_t>::max();
    SetArray(model.arrays, {L"displacement", MMeshArray::OnNodes, 3, L"float64", vectors});
    SetArray(model.arrays, {L"huge", MMeshArray::OnElements, 1, L"float64", huge});
    SetArray(model.arrays, {L"whole", MMeshArray::OnElements, 1, L"int32", whole});
    SetArray(model.arrays, {L"Volume", MMeshArray::OnElements, 1, L"float64", huge});
    PageData const page = PackModel(model, {"EdgeMinMax", "", 1'000'000}, {});
    Unpacked const unpacked(page.data);
    for (std::size_t k = 0; k < 3; ++k) {
        std::vector<double> const column = unpacked.Values("displacement", k);
        for (std::size_t i = 0; i < nodes; ++i)
            if (double const v = vectors[3 * i + k]; std::isnan(v))
                EXPECT_TRUE(std::isnan(column[i]));
            else
                ASSERT_EQ(column[i], static_cast<float>(v));
    }
    EXPECT_EQ(unpacked.Values("huge"), huge);
    EXPECT_EQ(unpacked.Values("whole"), std::vector<double>(whole.begin(), whole.end()));
    EXPECT_EQ(unpacked.Values("Volume (file)"), huge); // the name is that of what was measured
    QualityOptions how;
    how.metrics = "Volume,EdgeMinMax,Folded";
    how.keep_values = true;
    for (MMeshArray const& array : Quality(model, how, {}).values) {
        if (array.name == L"bad")
            continue;
        std::string const name(array.name.begin(), array.name.end());
        std::vector<double> const column = unpacked.Values(name);
        auto const& expected = std::get<std::vector<double>>(array.values);
        ASSERT_EQ(column.size(), expected.size());
        for (std::size_t i = 0; i < column.size(); ++i)
            ASSERT_EQ(static_cast<float>(column[i]), static_cast<float>(expected[i])) << name;
    }
    EXPECT_EQ(unpacked.Field("Volume")["unit"], "mm3");
    EXPECT_EQ(unpacked.Field("displacement")["unit"], ""); // without the other results nobody knows
}

TEST(View, LargeMeshIsShownByItsSurfacesAndWorstElements) {
    Model const model = LoadData("head_small_tet4.vtu");
    PageData const page = PackModel(model, {"", "Volume", 100}, {});
    Unpacked const unpacked(page.data);
    std::vector<double> const numbers = Unpacked::Differences(unpacked.Block("element_numbers"));
    std::vector<double> const nodes = Unpacked::Differences(unpacked.Block("node_numbers"));
    ASSERT_EQ(numbers.size(), page.result.shown);
    EXPECT_LT(page.result.shown, page.result.elements);
    // Who has a face without a neighbour in the same sub-volume, and who is among the worst.
    MMeshBase& mesh = *model.mesh;
    mesh.GetNeighborsInfo()->Enable();
    QualityOptions how;
    how.metrics = "Volume";
    how.worst = 100;
    std::set<double> expected;
    QualityResult const quality = Quality(model, how, {});
    for (WorstElement const& worst : quality.metrics[0].worst)
        expected.insert(static_cast<double>(worst.element));
    std::uint64_t outer = 0;
    for (std::uint64_t i = 0; i < page.result.elements; ++i)
        for (unsigned int f = 0; f < 4; ++f) {
            MMeshElement* const element = mesh.GetElement(i);
            MMeshElement* const other = mesh.GetNeighborsInfo()->GetNeighbor(element, f);
            outer += other == nullptr;
            if (!other || mesh.GetSubVolume(*other) != mesh.GetSubVolume(*element))
                expected.insert(static_cast<double>(i));
        }
    EXPECT_EQ(std::set<double>(numbers.begin(), numbers.end()), expected);
    std::uint64_t ends = 0;
    for (char const faces : unpacked.Block("ends"))
        ends += static_cast<std::uint64_t>(std::popcount(static_cast<unsigned char>(faces)));
    EXPECT_EQ(ends, outer);
    std::vector<double> const connectivity = Unpacked::Differences(unpacked.Block("connectivity"));
    std::vector<double> const volumes = unpacked.Values("Volume");
    auto const all = Unpacked(PackModel(model, {"", "Volume", 1'000'000}, {}).data).Values("Volume");
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        MMeshElement const& element = *mesh.GetElement(static_cast<std::uint64_t>(numbers[i]));
        ASSERT_EQ(volumes[i], all[static_cast<std::size_t>(numbers[i])]);
        for (unsigned int k = 0; k < 4; ++k)
            ASSERT_EQ(nodes[static_cast<std::size_t>(connectivity[4 * i + k])],
                      element.GetNode(k)->GetIndex());
    }
}

TEST(View, ColoursAreThoseThatThereAre) {
    Model model = LoadData("head_small_tet4.vtu");
    auto const nodes = static_cast<std::size_t>(model.mesh->NumberOfPoints());
    EXPECT_EQ(PackModel(model, {"", "Volume", 1000}, {}).result.color, "subvolume");
    for (auto const& [name, components] :
         {std::pair{L"displacement", 3U}, {L"stress", 6U}, {L"strain", 6U}, {L"von_mises", 1U}})
        SetArray(model.arrays, {name, MMeshArray::OnNodes, components, L"float64",
                                std::vector<double>(components * nodes)});
    EXPECT_EQ(PackModel(model, {"", "Volume", 1000}, {}).result.color, "von_mises");
    for (std::string const color :
         {"subvolume", "MinFaceAngle", "displacement", "displacement y", "stress XZ"})
        EXPECT_EQ(PackModel(model, {color, "Volume", 1000}, {}).result.color, color);
    EXPECT_EQ(Unpacked(PackModel(model, {"", "Volume", 1000}, {}).data).Field("stress")["unit"], "MPa");
    Model const boxes = LoadData("hex_matrix_fiber.vtu");
    for (std::string const color : {"ScaledJacobian", "Shape"}) // a common metric, and one of hexahedra
        EXPECT_EQ(PackModel(boxes, {color, "", 1000}, {}).result.color, color);
    EXPECT_THROW(PackModel(model, {"stress", "Volume", 1000}, {}), Error);
    EXPECT_THROW(PackModel(model, {"", "Nonsense", 1000}, {}), Error);
}
