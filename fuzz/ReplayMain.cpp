// Stand-in for libFuzzer's driver in ordinary builds: feeds every file named
// on the command line (directories: every regular file in them, sorted) to
// the target once. Used by the test suite to replay the committed corpus.

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

void collect(const std::string& path, std::vector<std::string>* files) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        std::fprintf(stderr, "replay: cannot stat %s\n", path.c_str());
        return;
    }
    if (!S_ISDIR(st.st_mode)) {
        files->push_back(path);
        return;
    }
    DIR* dir = opendir(path.c_str());
    if (dir == nullptr) return;
    std::vector<std::string> names;
    while (dirent* e = readdir(dir)) {
        if (e->d_name[0] != '.') names.push_back(e->d_name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    for (const std::string& n : names) collect(path + "/" + n, files);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) collect(argv[i], &files);
    if (files.empty()) {
        std::fprintf(stderr, "replay: no inputs\n");
        return 1;
    }
    for (const std::string& f : files) {
        std::ifstream in(f, std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        // libFuzzer never passes a null pointer, not even for an empty input.
        static const uint8_t kEmpty = 0;
        LLVMFuzzerTestOneInput(bytes.empty() ? &kEmpty : bytes.data(), bytes.size());
    }
    std::printf("replayed %zu inputs\n", files.size());
    return 0;
}
