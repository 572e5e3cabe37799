#pragma once

#include <KetSDK/FileIO/FileSystem/MFile.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

// How the values of a mask stand in a file; shared by the element and the node masks. Internal.
namespace KetSDK::Mesh::Detail {

inline void WriteValue(MFile& file, double value) {
    file.WRITE(value);
}
inline void WriteValue(MFile& file, int value) {
    file.WRITE(static_cast<std::int32_t>(value));
}
inline void WriteValue(MFile& file, bool value) {
    file.WRITE(static_cast<std::uint8_t>(value));
}

inline void ReadValue(MFile& file, double& value) {
    value = file.READ<double>();
}
inline void ReadValue(MFile& file, int& value) {
    value = file.READ<std::int32_t>();
}
inline void ReadValue(MFile& file, unsigned char& value) {
    value = file.READ<std::uint8_t>();
}

// Appends `count` values; throws "invalid state" when the file has fewer. Memory grows with what is
// really read.
template <typename V>
void ReadValues(MFile& file, std::uint32_t count, std::vector<V>& values) {
    for (std::uint32_t i = 0; i < count && file.IsGood(); ++i)
        ReadValue(file, values.emplace_back());
    if (!file.IsGood())
        throw std::runtime_error("invalid state");
}

} // namespace KetSDK::Mesh::Detail
