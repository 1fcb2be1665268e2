#pragma once

#include <string>

namespace sensorcfg {

// What the sensor service does once at start-up, on a desk: gives the
// project features a panel identity file in a scratch working directory and
// creates the facade (which reads properties and the identity). Later calls
// do nothing. Returns the panel identity the library read.
int startUpService(const std::string& panelIdentity = "0x000000a0");

}  // namespace sensorcfg
