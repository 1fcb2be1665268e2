#pragma once

namespace paramtest {
// Allocations made through the global operator new since the program started.
long allocationCount();
}  // namespace paramtest
