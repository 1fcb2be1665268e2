#pragma once

#include <string>

namespace android {
namespace sensorconfig {

// Every file the library opens goes through here. On a device the path is
// used as written. On the host an absolute path is re-rooted under the
// directory named by SENSOR_CONFIG_ROOT, when that is set, so that tests and
// desk tools can run against a configuration tree anywhere on disk. Relative
// paths are never re-rooted.
#if defined(__ANDROID__)
inline std::string resolveConfigPath(const std::string& path) { return path; }
#else
std::string resolveConfigPath(const std::string& path);
#endif

}  // namespace sensorconfig
}  // namespace android
