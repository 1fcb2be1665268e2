#include "param/JsonFile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cfloat>
#include <cmath>
#include <memory>

#include "platform/ConfigPath.h"
#include "platform/Log.h"

namespace android {
namespace sensorconfig {
namespace json {

namespace {

// Deepest bracket nesting of the text, outside strings and comments (the
// default reader accepts // and /* */ comments).
int maxDepth(const std::string& text) {
    enum { kCode, kString, kEscape, kSlash, kLineComment, kBlockComment, kBlockStar } state = kCode;
    int depth = 0;
    int deepest = 0;
    for (char c : text) {
        switch (state) {
            case kCode:
                if (c == '[' || c == '{') {
                    if (++depth > deepest) deepest = depth;
                    if (deepest > kMaxDepth) return deepest;  // no need to read further
                } else if (c == ']' || c == '}') {
                    --depth;
                } else if (c == '"') {
                    state = kString;
                } else if (c == '/') {
                    state = kSlash;
                }
                break;
            case kString:
                if (c == '\\') state = kEscape;
                else if (c == '"') state = kCode;
                break;
            case kEscape:
                state = kString;
                break;
            case kSlash:
                if (c == '/') state = kLineComment;
                else if (c == '*') state = kBlockComment;
                else state = kCode;  // a lone slash: the parser rejects the file anyway
                break;
            case kLineComment:
                if (c == '\n') state = kCode;
                break;
            case kBlockComment:
                if (c == '*') state = kBlockStar;
                break;
            case kBlockStar:
                state = c == '/' ? kCode : (c == '*' ? kBlockStar : kBlockComment);
                break;
        }
    }
    return deepest;
}

// Reads a regular file whole. POSIX calls rather than a file stream: the
// stream's buffer throws on a read error (a directory in place of the file
// gives EISDIR), and the library has no exception support. Non-blocking
// open, so that a FIFO in place of the file is refused instead of waited on.
bool readWhole(const std::string& path, std::string* text) {
    text->clear();
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return false;
    struct stat st;
    bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    char chunk[16384];
    while (ok) {
        ssize_t n = read(fd, chunk, sizeof(chunk));
        if (n > 0) {
            text->append(chunk, static_cast<size_t>(n));
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            ok = false;
        }
    }
    close(fd);
    if (!ok) text->clear();
    return ok;
}

}  // namespace

bool parseFile(const std::string& path, Json::Value* root, std::string* errs) {
    *root = Json::Value();
    errs->clear();
    // A file that cannot be read parses as empty text and fails like a
    // missing one.
    std::string text;
    readWhole(resolveConfigPath(path), &text);
    if (maxDepth(text) > kMaxDepth) {
        *errs = "nesting deeper than " + std::to_string(kMaxDepth) + " levels";
        return false;
    }
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value parsed;
    bool ok = reader->parse(text.data(), text.data() + text.size(), &parsed, errs);
    // A failed parse can leave half a document behind; none of it is used.
    if (ok) root->swap(parsed);
    return ok;
}

const Json::Value& member(const Json::Value& v, const char* key) {
    if (!v.isObject()) return Json::Value::nullSingleton();
    const Json::Value* found = v.find(key, key + std::char_traits<char>::length(key));
    return found ? *found : Json::Value::nullSingleton();
}

const Json::Value& element(const Json::Value& v, unsigned i) {
    if (!v.isArray() || i >= v.size()) return Json::Value::nullSingleton();
    return v[i];
}

bool readInt(const Json::Value& v, int* out) {
    *out = 0;
    if (v.isNull()) return true;
    if (!v.isInt()) return false;
    *out = v.asInt();
    return true;
}

bool readDouble(const Json::Value& v, double* out) {
    *out = 0.0;
    if (v.isNull()) return true;
    if (!v.isDouble()) return false;
    double d = v.asDouble();
    if (!std::isfinite(d)) return false;
    *out = d;
    return true;
}

bool readFloat(const Json::Value& v, float* out) {
    *out = 0.0f;
    double d = 0.0;
    if (!readDouble(v, &d)) return false;
    if (std::fabs(d) > static_cast<double>(FLT_MAX)) return false;
    *out = static_cast<float>(d);
    return true;
}

bool readString(const Json::Value& v, std::string* out) {
    out->clear();
    if (v.isNull()) return true;
    if (v.isArray() || v.isObject()) return false;
    *out = v.asString();
    return true;
}

void logBadValue(const std::string& file, const std::string& key, const char* what) {
    SC_LOGE("UL: %s: %s is not %s, read as absent", file.c_str(), key.c_str(), what);
}

}  // namespace json
}  // namespace sensorconfig
}  // namespace android
