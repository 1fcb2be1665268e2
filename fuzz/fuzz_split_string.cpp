// SplitString with any text and any non-empty separator: the first byte gives
// the separator's length (1..8), the next bytes the separator, the rest the
// text. Joining the pieces back must give the text again.

#include <cstdlib>
#include <string>
#include <vector>

#include "factory/SplitString.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    scfuzz::Input in(data, size);
    const size_t sepLength = 1 + in.take<uint8_t>() % 8;
    std::string separator = in.takeString(sepLength);
    if (separator.empty()) separator = ",";
    const std::string text = in.rest();

    std::vector<std::string> pieces{"kept"};
    android::sensor::SplitString(text, separator, pieces);
    if (pieces.empty() || pieces[0] != "kept") std::abort();
    // Every piece is a substring of the text: nothing is invented.
    for (size_t i = 1; i < pieces.size(); ++i)
        if (text.find(pieces[i]) == std::string::npos) std::abort();
    return 0;
}
