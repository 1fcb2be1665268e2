#pragma once

#include <string>
#include <vector>

namespace sensorcfg {

// A CSV file read whole: plain comma-separated fields (no quoting: none of
// our formats needs it), '#' comment lines and blank lines skipped, white
// space around fields trimmed. Each row remembers its line number so that
// errors can name it.
struct CsvRow {
    int line = 0;
    std::vector<std::string> fields;
};

struct CsvFile {
    std::string path;
    std::vector<std::string> header;  // empty when the first row is numeric
    std::vector<CsvRow> rows;

    // Index of a header column, or -1.
    int column(const std::string& name) const;
};

bool readCsv(const std::string& path, CsvFile* out, std::string* error);

// Parses a whole field as a number; on failure sets *error to
// "path:line: column NAME: not a number: "text"".
bool parseNumber(const CsvFile& file, const CsvRow& row, size_t index, double* out, std::string* error);
bool parseInt(const CsvFile& file, const CsvRow& row, size_t index, int* out, std::string* error);

}  // namespace sensorcfg
