#pragma once

// Marks the classes, functions and globals that the sensor service links
// against. Everything else in the library is built with hidden visibility.
#define SC_EXPORT __attribute__((visibility("default")))
