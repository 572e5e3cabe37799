// SPDX-License-Identifier: BSD-3-Clause
#include <KetSDK/Mesh/persistence/detail/Checksum.h>

#include <xxhash.h>
// Where the library offers it, the widest registers of the processor are used: twice as fast.
#ifdef KETSDK_XXHASH_DISPATCHES
#include <xxh_x86dispatch.h>
#endif

#include <new>

namespace KetSDK::Mesh::Detail {

struct Checksum::State {
    std::unique_ptr<XXH3_state_t, XXH_errorcode (*)(XXH3_state_t*)> of_library{XXH3_createState(),
                                                                               &XXH3_freeState};
};

Checksum::Checksum()
    : m_state(std::make_unique<State>()) {
    if (!m_state->of_library)
        throw std::bad_alloc();
    XXH3_64bits_reset(m_state->of_library.get());
}

Checksum::~Checksum() = default;

void Checksum::Add(std::byte const* bytes, std::size_t size) noexcept {
    XXH3_64bits_update(m_state->of_library.get(), bytes, size);
}

std::uint64_t Checksum::Get() const noexcept {
    return XXH3_64bits_digest(m_state->of_library.get());
}

} // namespace KetSDK::Mesh::Detail
