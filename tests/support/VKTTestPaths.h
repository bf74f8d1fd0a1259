// Where this checkout and its build are, and how a shell starts its programs.
#pragma once

/// Absolute, without a slash at the end; empty where the build leaves the program out. They stand in one
/// source file, which the build writes: as macros they would keep the compiler's cache from serving a second
/// checkout.
struct VKTTestPaths {
    static const char* const sourceFolder;
    static const char* const buildFolder;
    static const char* const scriptHost;

    /// What stands before a program on a command line, with a space at the end; empty on the machine that it is for.
    static const char* const emulator;
    static const char* const tool;
    static const char* const embeddingSDK;
    static const char* const embeddingPlayer;
    static const char* const trackingPlayer;
};
