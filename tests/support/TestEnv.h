#pragma once

#include <string>

namespace sctest {

// A fresh directory under the system temporary directory, removed with its
// contents when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return mPath; }
    // Writes `content` to `relative` under the directory, creating parents.
    std::string write(const std::string& relative, const std::string& content) const;

private:
    std::string mPath;
};

// Changes the working directory for its lifetime.
class ScopedCwd {
public:
    explicit ScopedCwd(const std::string& dir);
    ~ScopedCwd();

private:
    std::string mPrevious;
};

// Sets a system property (an empty value reads as unset) and restores "" after.
class ScopedProperty {
public:
    ScopedProperty(const std::string& key, const std::string& value);
    ~ScopedProperty();

private:
    std::string mKey;
};

// Points SENSOR_CONFIG_ROOT at a directory for its lifetime.
class ScopedConfigRoot {
public:
    explicit ScopedConfigRoot(const std::string& dir);
    ~ScopedConfigRoot();

private:
    std::string mPrevious;
    bool mHadPrevious;
};

// Root of the source tree (examples, data files), from the test environment.
std::string sourceDir();

}  // namespace sctest
