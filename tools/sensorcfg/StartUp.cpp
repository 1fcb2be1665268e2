#include "tools/sensorcfg/StartUp.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "fusion/RootFusion.h"

namespace fs = std::filesystem;

namespace sensorcfg {

int startUpService(const std::string& panelIdentity) {
    if (android::RootFusion::mRoot != nullptr) return android::RootFusion::getInstance()->getDisplayIdValue();
    std::string templ = (fs::temp_directory_path() / "sensorcfg-XXXXXX").string();
    const bool scratch = mkdtemp(templ.data()) != nullptr;
    fs::path previous = fs::current_path();
    if (scratch) {
        fs::create_directories(fs::path(templ) / "sys/lcm");
        std::ofstream(fs::path(templ) / "sys/lcm/lcm_id", std::ios::binary) << panelIdentity;
        fs::current_path(templ);
    }
    android::RootFusion::getInstance();
    if (scratch) {
        fs::current_path(previous);
        std::error_code ec;
        fs::remove_all(templ, ec);
    }
    return android::ProjectFeature::getInstance()->displayId;
}

}  // namespace sensorcfg
