#pragma once

// Defensive reading of the store's JSON files. jsoncpp reports a wrong type
// (a key looked up on an array, "abc".asDouble(), 1e20.asInt()) and too deep a
// nesting by throwing; the library has no exception support, so any of those
// would end the sensor service. Everything here checks before it touches.

#include <json/json.h>

#include <string>

namespace android {
namespace sensorconfig {
namespace json {

// Files nested deeper than this are refused before jsoncpp sees them (its own
// limit throws). Real parameter files nest three levels.
constexpr int kMaxDepth = 256;

// Reads the regular file at `path` (through the configuration root) and parses
// it with a default Json::CharReaderBuilder; anything but a readable regular
// file (a directory, a FIFO) counts as missing. On failure `root` is left null, never
// holding what a broken parse produced, and `errs` says why; a missing file is
// a failure like any other.
bool parseFile(const std::string& path, Json::Value* root, std::string* errs);

// `v[key]` when `v` is an object holding `key`, else a null value.
const Json::Value& member(const Json::Value& v, const char* key);
inline const Json::Value& member(const Json::Value& v, const std::string& key) { return member(v, key.c_str()); }

// `v[i]` when `v` is an array longer than `i`, else a null value.
const Json::Value& element(const Json::Value& v, unsigned i);

// Typed reads. Null (absent) gives the zero value and true; a value of another
// type or out of range gives the zero value and false, for the caller to log.
bool readInt(const Json::Value& v, int* out);        // integral numbers in int range
bool readDouble(const Json::Value& v, double* out);  // finite numbers
bool readFloat(const Json::Value& v, float* out);    // numbers finite as float
bool readString(const Json::Value& v, std::string* out);  // strings and scalars as jsoncpp prints them

// The one line for a value read as absent: "UL: <file>: <key> is not <what>, read as absent".
void logBadValue(const std::string& file, const std::string& key, const char* what);

}  // namespace json
}  // namespace sensorconfig
}  // namespace android
