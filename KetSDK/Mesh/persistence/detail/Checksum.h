// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace KetSDK::Mesh::Detail {

// The checksum (XXH3, 64 bits) of bytes that come in pieces; it does not depend on how they are cut.
class Checksum {
public:
    Checksum();
    ~Checksum();

    void Add(std::byte const* bytes, std::size_t size) noexcept;
    std::uint64_t Get() const noexcept;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace KetSDK::Mesh::Detail
