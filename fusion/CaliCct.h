#pragma once

#include "platform/Export.h"

namespace android {

class SC_EXPORT CaliCct {
public:
    // Element 7 of the host's colour-temperature result is the calibrated
    // colour temperature; it is handed back in single precision.
    static void getCaliCct(double* values, float& cct);
};

}  // namespace android
