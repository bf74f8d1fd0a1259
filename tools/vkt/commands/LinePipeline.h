// Many documents through one process: a line of JSON each on a descriptor, a line of JSON each in the output.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "ground/Output.h"

/// Reads lines to the end of `input`, inspects them on `jobs` threads, and writes one line for each in their
/// order, as soon as it is its turn; LineInspection.h says what stands in them. What is kept of lines and
/// results, while they wait for a slow one before them, has bounds: reading waits then. Ends early when the
/// output has failed or its reader has gone away. Without threads the caller does the work.
///
/// Returns why the input could not be read to its end; nothing when it could.
std::optional<std::string> inspectLines(int input, std::size_t jobs, Output& output);
