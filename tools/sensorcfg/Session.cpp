#include "tools/sensorcfg/Session.h"

#include <json/json.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace fs = std::filesystem;

namespace sensorcfg {

namespace {

bool parseJson(const std::string& text, Json::Value* root, std::string* error) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errs;
    bool ok = false;
    try {
        ok = reader->parse(text.data(), text.data() + text.size(), root, &errs);
    } catch (const std::exception& e) {
        errs = e.what();
    }
    if (!ok) {
        size_t nl;
        while ((nl = errs.find('\n')) != std::string::npos) errs[nl] = ' ';
        *error = "invalid JSON: " + errs;
    }
    return ok;
}

bool number(const Json::Value& obj, const char* key, double* out, bool required, std::string* error) {
    if (!obj.isMember(key)) {
        if (required) *error = std::string("missing \"") + key + "\"";
        return !required;
    }
    if (!obj[key].isNumeric()) {
        *error = std::string("\"") + key + "\" is not a number";
        return false;
    }
    *out = obj[key].asDouble();
    return true;
}

bool integer(const Json::Value& obj, const char* key, int* out, bool required, std::string* error) {
    if (!obj.isMember(key)) {
        if (required) *error = std::string("missing \"") + key + "\"";
        return !required;
    }
    if (!obj[key].isInt()) {
        *error = std::string("\"") + key + "\" is not an integer";
        return false;
    }
    *out = obj[key].asInt();
    return true;
}

bool channels(const Json::Value& obj, const char* key, double out[5], std::string* error) {
    const Json::Value& v = obj[key];
    if (!v.isArray() || v.size() != 5) {
        *error = std::string("\"") + key + "\" is not an array of five numbers (c, r, g, b, w)";
        return false;
    }
    for (Json::ArrayIndex i = 0; i < 5; ++i) {
        if (!v[i].isNumeric()) {
            *error = std::string("\"") + key + "\"[" + std::to_string(i) + "] is not a number";
            return false;
        }
        out[i] = v[i].asDouble();
    }
    return true;
}

void readFactory(const std::string& path, Session* out) {
    std::ifstream in(path);
    if (!in) return;
    std::stringstream ss;
    ss << in.rdbuf();
    Json::Value root;
    std::string error;
    if (!parseJson(ss.str(), &root, &error) || !root.isObject()) return;
    const Json::Value& lr = root.isMember("factory") && root["factory"].isObject() ? root["factory"]["lightregression"]
                                                                                  : Json::Value::nullSingleton();
    if (!lr.isArray() || lr.size() != 3) return;
    int n = 0;
    for (const Json::Value& colour : lr) {
        if (!colour.isArray() || colour.size() != 2) return;
        for (const Json::Value& group : colour) {
            if (!group.isArray() || group.size() != 5) return;
            for (const Json::Value& v : group) {
                if (!v.isNumeric()) return;
                out->lightRegressionCali[n++] = v.asFloat();
            }
        }
    }
    out->hasFactory = true;
}

}  // namespace

bool readSession(const std::string& path, Session* out, std::string* error) {
    std::error_code ec;
    fs::path p(path);
    if (fs::is_directory(p, ec)) {
        out->dir = p.string();
        out->log = (p / "session.jsonl").string();
    } else {
        out->log = p.string();
        out->dir = p.has_parent_path() ? p.parent_path().string() : ".";
    }
    std::ifstream in(out->log);
    if (!in) {
        *error = out->log + ": cannot open";
        return false;
    }
    readFactory((fs::path(out->dir) / "session.json").string(), out);

    std::string text;
    int lineNo = 0;
    std::string previousCapture;
    while (std::getline(in, text)) {
        ++lineNo;
        if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
        const std::string where = out->log + ":" + std::to_string(lineNo) + ": ";
        Json::Value obj;
        std::string e;
        if (!parseJson(text, &obj, &e)) {
            *error = where + e;
            return false;
        }
        if (!obj.isObject()) {
            *error = where + "not a JSON object";
            return false;
        }
        Frame f;
        f.line = lineNo;
        if (!number(obj, "time", &f.time, true, &e) || !integer(obj, "brightness", &f.brightness, true, &e) ||
            !integer(obj, "display_mode", &f.displayMode, false, &e) || !integer(obj, "acl", &f.acl, false, &e) ||
            !integer(obj, "dc_state", &f.dcState, false, &e) ||
            !integer(obj, "screen_hop_mode", &f.screenHopMode, false, &e) || !channels(obj, "blk", f.blk, &e) ||
            !channels(obj, "nblk", f.nblk, &e) || !number(obj, "lux", &f.trueLux, false, &e)) {
            *error = where + e;
            return false;
        }
        if (obj.isMember("capture")) {
            if (!obj["capture"].isString()) {
                *error = where + "\"capture\" is not a path";
                return false;
            }
            fs::path c(obj["capture"].asString());
            previousCapture = c.is_absolute() ? c.string() : (fs::path(out->dir) / c).string();
        }
        if (previousCapture.empty()) {
            *error = where + "missing \"capture\" (a frame may leave it out only to reuse the previous one)";
            return false;
        }
        f.capture = previousCapture;
        out->frames.push_back(f);
    }
    if (out->frames.empty()) {
        *error = out->log + ": no frames";
        return false;
    }
    return true;
}

}  // namespace sensorcfg
