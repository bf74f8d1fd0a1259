#pragma once

/// What the process ends with; each command's --help tells the same.
enum ExitStatus : int {
    ExitPlayable = 0,         ///< an ad was playable; success for the commands that look for none
    ExitNonePlayable = 1,     ///< the source was read, but no ad was playable
    ExitWrongUsage = 2,       ///< unknown flag, missing or unusable argument
    ExitSourceUnread = 3,     ///< the source could not be read
    ExitOutputUnwritten = 3,  ///< or the result could not be written
};
