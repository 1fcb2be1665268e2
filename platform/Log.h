#pragma once

#include <android/log.h>

namespace android {
namespace sensorconfig {
// Every line of the library goes out under this tag (one factory line excepted).
constexpr const char* kLogTag = "_Z_ZSensorFusion";
}  // namespace sensorconfig
}  // namespace android

#define SC_LOGD(...) __android_log_print(ANDROID_LOG_DEBUG, ::android::sensorconfig::kLogTag, __VA_ARGS__)
#define SC_LOGI(...) __android_log_print(ANDROID_LOG_INFO, ::android::sensorconfig::kLogTag, __VA_ARGS__)
#define SC_LOGE(...) __android_log_print(ANDROID_LOG_ERROR, ::android::sensorconfig::kLogTag, __VA_ARGS__)
