#include <KetSDK/Mesh/materials/MMeshMask.h>

MMeshMask::~MMeshMask() = default;
