#include "tools/sensorcfg/Csv.h"

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <fstream>

namespace sensorcfg {

namespace {

std::string trim(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r");
    if (b == std::string::npos) return "";
    size_t e = s.find_last_not_of(" \t\r");
    return s.substr(b, e - b + 1);
}

bool looksNumeric(const std::string& s) {
    if (s.empty()) return false;
    char* end = nullptr;
    std::strtod(s.c_str(), &end);
    return *end == '\0';
}

std::string where(const CsvFile& file, const CsvRow& row, size_t index) {
    std::string col = index < file.header.size() ? file.header[index] : std::to_string(index + 1);
    return file.path + ":" + std::to_string(row.line) + ": column " + col;
}

}  // namespace

int CsvFile::column(const std::string& name) const {
    for (size_t i = 0; i < header.size(); ++i)
        if (header[i] == name) return int(i);
    return -1;
}

bool readCsv(const std::string& path, CsvFile* out, std::string* error) {
    std::ifstream in(path);
    if (!in) {
        *error = path + ": cannot open";
        return false;
    }
    out->path = path;
    std::string line;
    int lineNo = 0;
    bool first = true;
    while (std::getline(in, line)) {
        ++lineNo;
        std::string t = trim(line);
        if (t.empty() || t[0] == '#') continue;
        CsvRow row;
        row.line = lineNo;
        size_t start = 0;
        while (true) {
            size_t comma = t.find(',', start);
            row.fields.push_back(trim(t.substr(start, comma == std::string::npos ? std::string::npos : comma - start)));
            if (comma == std::string::npos) break;
            start = comma + 1;
        }
        if (first) {
            first = false;
            if (!looksNumeric(row.fields[0])) {
                out->header = row.fields;
                continue;
            }
        }
        out->rows.push_back(row);
    }
    return true;
}

bool parseNumber(const CsvFile& file, const CsvRow& row, size_t index, double* out, std::string* error) {
    if (index >= row.fields.size()) {
        *error = where(file, row, index) + ": missing";
        return false;
    }
    const std::string& s = row.fields[index];
    char* end = nullptr;
    errno = 0;
    double v = std::strtod(s.c_str(), &end);
    if (s.empty() || *end != '\0' || errno == ERANGE) {
        *error = where(file, row, index) + ": not a number: \"" + s + "\"";
        return false;
    }
    *out = v;
    return true;
}

bool parseInt(const CsvFile& file, const CsvRow& row, size_t index, int* out, std::string* error) {
    double v = 0;
    if (!parseNumber(file, row, index, &v, error)) return false;
    if (v != std::floor(v) || v < INT_MIN || v > INT_MAX) {
        *error = where(file, row, index) + ": not an integer: \"" + row.fields[index] + "\"";
        return false;
    }
    *out = int(v);
    return true;
}

}  // namespace sensorcfg
