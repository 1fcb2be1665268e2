#pragma once

#if defined(__ANDROID__)
#include <cutils/properties.h>
#else
// The host has no property service: platform/host supplies property_get over
// libbase's in-process property store (android::base::SetProperty in tests).
#define PROPERTY_VALUE_MAX 92
extern "C" int property_get(const char* key, char* value, const char* default_value);
#endif
