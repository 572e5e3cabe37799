// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperExact.h>
#include <KetSDK/Mesh/correspondence/MMeshCorrespondenceMapperProjection.h>

#include <typeinfo>

namespace KetSDK::Mesh::Detail {

// The library's own mappers, once they are mapped, answer several threads at once, and always the same. A
// class derived from one of them may not: null for that and any other.
inline MMeshCorrespondenceMapperBase* OwnMapper(MMeshCorrespondenceMapper& mapper) {
    std::type_info const& type = typeid(mapper);
    bool const own =
        type == typeid(MMeshCorrespondenceMapperExact) || type == typeid(MMeshCorrespondenceMapperProjection);
    return own ? static_cast<MMeshCorrespondenceMapperBase*>(&mapper) : nullptr;
}

} // namespace KetSDK::Mesh::Detail
