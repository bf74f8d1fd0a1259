// Options of commands that share their work: what several rooms read.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct ResolveOptions {
    std::string source;  ///< a file, "-" or a URL
    bool JSON = false;
    double timeout = 30;        ///< seconds, for everything
    double requestTimeout = 5;  ///< seconds, for one download
    int maxWrappers = 5;
    bool handleWrapperAdpods = false;
    bool strictFirstImpression = false;
    std::vector<std::string> macros;  ///< "NAME=VALUE" each, with a name that is not empty
    int fail = 0;                     ///< the first so many ads are reported as failed
    unsigned networkAccessType = 6;
    std::string report;      ///< file of an HTML report; none when empty
    bool fragments = false;  ///< HTML for the inspector's page in JSON, an object a line, as it comes
};

struct PlayOptions {
    ResolveOptions resolve;
    double speed = 10;                ///< simulated seconds in a real one; 0 for no waiting
    double wait = 15;                 ///< real seconds for the pixels at the end
    std::string store;                ///< file that keeps pixels; none when empty
    bool measure = false;             ///< with the ad's verification scripts
    std::optional<int> remotePlayer;  ///< descriptor with what a media player in another program tells
    std::optional<double> skipAt, muteAt, pauseAt, clickAt, hideAt;  ///< seconds of content
};
