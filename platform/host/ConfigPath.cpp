#include "platform/ConfigPath.h"

#include <cstdlib>

namespace android {
namespace sensorconfig {

std::string resolveConfigPath(const std::string& path) {
    const char* root = std::getenv("SENSOR_CONFIG_ROOT");
    if (root == nullptr || root[0] == '\0' || path.empty() || path[0] != '/') return path;
    std::string out(root);
    while (out.size() > 1 && out.back() == '/') out.pop_back();
    return out + path;
}

}  // namespace sensorconfig
}  // namespace android
