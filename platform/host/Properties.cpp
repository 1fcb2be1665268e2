#include "platform/Properties.h"

#include <android-base/properties.h>

#include <cstring>
#include <string>

// Same contract as the platform's: the value (or the default when the property
// is unset or empty) is copied truncated to PROPERTY_VALUE_MAX - 1 bytes and
// always terminated; the return value is its length.
extern "C" int property_get(const char* key, char* value, const char* default_value) {
    std::string v = android::base::GetProperty(key ? key : "", "");
    if (v.empty() && default_value != nullptr) v = default_value;
    size_t len = v.size();
    if (len > PROPERTY_VALUE_MAX - 1) len = PROPERTY_VALUE_MAX - 1;
    std::memcpy(value, v.data(), len);
    value[len] = '\0';
    return static_cast<int>(len);
}
