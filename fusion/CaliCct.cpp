#include "fusion/CaliCct.h"

namespace android {

void CaliCct::getCaliCct(double* values, float& cct) { cct = static_cast<float>(values[7]); }

}  // namespace android
