#include <KetSDK/MeshVTK/Error.h>

namespace KetSDK::MeshVTK {

Error::~Error() = default;

Cancelled::Cancelled()
    : std::runtime_error("cancelled") {}

Cancelled::~Cancelled() = default;

} // namespace KetSDK::MeshVTK
