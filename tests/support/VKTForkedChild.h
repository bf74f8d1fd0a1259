// A forked child of the test program.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

/// Runs `body` in a child process, whose status is 0 when it returns true.
template <typename Body>
pid_t vkt_inChild(const Body& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body() ? 0 : 1);
    return child;
}

inline int vkt_statusOf(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

/// Whether `body` has returned true in a child process.
template <typename Body>
bool vkt_holdsInChild(const Body& body) {
    return vkt_statusOf(vkt_inChild(body)) == 0;
}
