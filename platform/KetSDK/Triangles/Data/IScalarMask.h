// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Common/Shared/MExport.h>

#include <cstdint>

// A scalar field by mask index: what the display of a surface or a mesh reads to colour its objects,
// whatever kind of objects they are. Concurrent reads are safe.
class KETSDK_API IScalarMask {
public:
    virtual ~IScalarMask();

    // The value of the object with a mask index; the default for an index without a value.
    virtual double GetValueAt(std::uint64_t index) const = 0;
    // Stores it; an index without a slot is left out.
    virtual void SetValueAt(std::uint64_t index, double value) = 0;
    // The value of objects that have been given none.
    virtual double GetDefaultValue() const = 0;

protected:
    IScalarMask() = default;
    IScalarMask(IScalarMask const&) = default;
    IScalarMask& operator=(IScalarMask const&) = default;
};
