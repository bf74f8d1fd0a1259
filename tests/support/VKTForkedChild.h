// A forked child of the test program.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

/// Runs `body` in a child process, whose status is 0 when it returns true.
template <typename Body>
pid_t vkt_inChild(const Body& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body() ? 0 : 1);
    return child;
}

/// Starts a program, found in PATH, with its arguments. It ends with the test, however that ends.
inline pid_t vkt_startProgram(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return vkt_inChild([&] {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        return execvp(arguments[0], arguments.data()) == 0;
    });
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
