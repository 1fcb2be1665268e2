#pragma once

#include <string>
#include <vector>

#include "platform/Export.h"

namespace android {
namespace sensor {

// Appends the pieces of `text` cut at each `separator` to `pieces`, keeping
// what `pieces` already holds. After a match the search resumes one character
// past the start of the match, so with a separator longer than one character
// its tail stays at the front of the next piece ("a::b" at "::" gives "a",
// ":b"). An empty separator ends the process: callers must not pass one.
SC_EXPORT void SplitString(const std::string& text, const std::string& separator,
                           std::vector<std::string>& pieces);

}  // namespace sensor
}  // namespace android
