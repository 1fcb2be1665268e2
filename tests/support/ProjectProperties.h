#pragma once

#include <cstddef>

namespace sctest {

// Every system property a ProjectFeature reads at construction, for the
// tests and fuzz targets that set them all to hostile values.
inline constexpr const char* kProjectProperties[] = {
        "persist.sys.skip_restrict",       "ro.product.model.qmx",
        "persist.sys.light_threshold",     "persist.sys.mscct.cali.factor_r",
        "persist.sys.mscct.cali.factor_g", "persist.sys.mscct.cali.factor_b",
        "persist.sys.mscct.cali.factor_c", "persist.sys.mscct.cali.factor_w",
};
inline constexpr size_t kProjectPropertyCount = sizeof(kProjectProperties) / sizeof(kProjectProperties[0]);

}  // namespace sctest
