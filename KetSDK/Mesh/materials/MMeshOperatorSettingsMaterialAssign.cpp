#include <KetSDK/Mesh/materials/MMeshOperatorSettingsMaterialAssign.h>

MMeshOperatorSettingsMaterialAssign::~MMeshOperatorSettingsMaterialAssign() = default;
