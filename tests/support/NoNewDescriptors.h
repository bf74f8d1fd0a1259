// A process that has used up its descriptors.
#pragma once

#include <sys/resource.h>

/// As long as it lives nothing is opened.
class NoNewDescriptors {
  public:
    NoNewDescriptors() {
        getrlimit(RLIMIT_NOFILE, &previous_);
        rlimit none = previous_;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoNewDescriptors() { setrlimit(RLIMIT_NOFILE, &previous_); }
    NoNewDescriptors(const NoNewDescriptors&) = delete;
    NoNewDescriptors& operator=(const NoNewDescriptors&) = delete;

  private:
    rlimit previous_{};
};
