// Where this checkout and its build are.
#pragma once

/// Absolute, without a slash at the end; empty where the build leaves the program out. Programs that were
/// built for another machine have its emulator before them. All stand in one source file, which the build
/// writes: as macros they would keep the compiler's cache from serving a second checkout.
struct VKTTestPaths {
    static const char* const sourceFolder;
    static const char* const buildFolder;
    static const char* const pictureFolder;  ///< for what tests have seen; it need not exist
    static const char* const scriptHost;
    static const char* const tool;
    static const char* const embeddingSDK;
    static const char* const embeddingPlayer;
    static const char* const trackingPlayer;
    static const char* const emulator;  ///< with a blank behind it; empty when there is none
};
