#pragma once

#include <android/log.h>

#include <string>
#include <vector>

#include "platform/host/binder/FakeSensorFactory.h"
#include "platform/host/binder/HostBinder.h"
#include "tests/support/LogCapture.h"

namespace factorytest {

// Debug lines under the library's tag, in order.
inline std::vector<std::string> clientLines(const sctest::LogCapture& log) {
    return log.texts(ANDROID_LOG_DEBUG, "_Z_ZSensorFusion");
}

// The request of the light-sensor calibration test: {1, 12208, 255, 0...}.
inline std::vector<int> calibrationArgs() {
    std::vector<int> args(32, 0);
    args[0] = 1;
    args[1] = 12208;
    args[2] = 255;
    return args;
}

// The start line of that request as the test ID 0x24e (590).
inline const std::string kV2Start590 =
        "UL: zarnsensortest V2 start ID 0x24e , args[=]=1 12208 255 0 0 0 0 0 0 0 0 0 0 0 0 0";

// A distinct value per position, so any shifted or dropped copy shows.
inline hostbinder::FakeSensorFactory::Calibration rampCalibration() {
    hostbinder::FakeSensorFactory::Calibration c{};
    for (size_t i = 0; i < c.size(); ++i) c[i] = 1000.0f + 10.5f * static_cast<float>(i);
    return c;
}

}  // namespace factorytest
