#pragma once

#include <cstddef>

/// How often the whole program has asked for memory so far.
std::size_t allocationCount();
