// What public headers begin with: the language that they need, and the mark of what a shared library exports.
#pragma once

#if __cplusplus < 202002L
#error "VKTCoreKit needs C++20: compile with -std=c++20. The CMake and pkg-config packages ask for it."
// A compiler goes on after #error. A file that is not there stops it, before hundreds of errors more.
#include <VKTCoreKit needs C++20>
#endif

/// Stands in the declaration of each class, function and variable that applications may use of a shared
/// library. Everything else is hidden there. The mark of a class does not reach its friends: a function that
/// is not defined in the class has a declaration of its own before it.
#define VKT_EXPORT [[gnu::visibility("default")]]
