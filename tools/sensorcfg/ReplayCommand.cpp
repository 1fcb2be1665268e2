#include "tools/sensorcfg/Commands.h"

namespace sensorcfg {
void addReplayCommand(CLI::App&, int*) {}
}  // namespace sensorcfg
