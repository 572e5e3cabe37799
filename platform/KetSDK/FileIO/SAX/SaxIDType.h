// SPDX-License-Identifier: BSD-3-Clause
#pragma once

namespace KetSAX {

// What an identifier in a file stands for.
enum SaxIDType : int {
    ObjectId = 0, // an object that other objects in the file refer to
    TagId = 1,    // a tag that an incremental save writes only once
};

} // namespace KetSAX
