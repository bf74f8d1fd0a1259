// What GCC's C++ library is told when it stands on musl and was configured for glibc: it has no build for
// musl in Debian. Its headers then ask musl for nothing that musl does not have.
#pragma once

#define __GLIBC_PREREQ(major, minor) 0
#define __locale_t locale_t
enum { _ISupper = 1, _ISlower = 2, _ISalpha = 4, _ISdigit = 8, _ISxdigit = 16, _ISspace = 32, _ISprint = 64 };
enum { _ISgraph = 128, _ISblank = 256, _IScntrl = 512, _ISpunct = 1024, _ISalnum = _ISalpha | _ISdigit };

#include <bits/c++config.h>
#undef _GLIBCXX_USE_PTHREAD_COND_CLOCKWAIT
#undef _GLIBCXX_USE_PTHREAD_MUTEX_CLOCKLOCK
#undef _GLIBCXX_USE_PTHREAD_RWLOCK_CLOCKLOCK
