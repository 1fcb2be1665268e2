#include "tests/support/TestEnv.h"

#include <android-base/properties.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace sctest {

TempDir::TempDir() {
    std::string templ = (fs::temp_directory_path() / "sensorcfg-test-XXXXXX").string();
    if (mkdtemp(templ.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    mPath = templ;
}

TempDir::~TempDir() {
    std::error_code ec;
    fs::remove_all(mPath, ec);
}

std::string TempDir::write(const std::string& relative, const std::string& content) const {
    fs::path p = fs::path(mPath) / relative;
    fs::create_directories(p.parent_path());
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out << content;
    return p.string();
}

ScopedCwd::ScopedCwd(const std::string& dir) : mPrevious(fs::current_path().string()) {
    fs::current_path(dir);
}

ScopedCwd::~ScopedCwd() { fs::current_path(mPrevious); }

ScopedProperty::ScopedProperty(const std::string& key, const std::string& value) : mKey(key) {
    android::base::SetProperty(key, value);
}

ScopedProperty::~ScopedProperty() { android::base::SetProperty(mKey, ""); }

ScopedConfigRoot::ScopedConfigRoot(const std::string& dir) {
    const char* prev = std::getenv("SENSOR_CONFIG_ROOT");
    mHadPrevious = prev != nullptr;
    if (prev) mPrevious = prev;
    setenv("SENSOR_CONFIG_ROOT", dir.c_str(), 1);
}

ScopedConfigRoot::~ScopedConfigRoot() {
    if (mHadPrevious)
        setenv("SENSOR_CONFIG_ROOT", mPrevious.c_str(), 1);
    else
        unsetenv("SENSOR_CONFIG_ROOT");
}

std::string sourceDir() {
    const char* dir = std::getenv("SC_SOURCE_DIR");
    return dir ? dir : SC_SOURCE_DIR_DEFAULT;
}

}  // namespace sctest
