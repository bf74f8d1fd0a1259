// A process that has used up its threads.
#pragma once

#include <pthread.h>

#include <csignal>

/// As long as it lives no thread of this program starts: `pthread_create` gives EAGAIN, as it does at a
/// limit.
class NoNewThreads {
  public:
    NoNewThreads();
    ~NoNewThreads();
    NoNewThreads(const NoNewThreads&) = delete;
    NoNewThreads& operator=(const NoNewThreads&) = delete;
};

/// The signals that were blocked where the last thread was started: it inherits them with its first
/// instruction.
sigset_t signalsBlockedAtLastStart();
