// How a video ad may be skipped and how it starts.
#pragma once

/// A value; any thread.
struct VKTOpenMeasurementVASTProperties {
    double skipOffset = -1.0;  ///< seconds; below 0 when the ad cannot be skipped
    bool autoPlay = false;

    static VKTOpenMeasurementVASTProperties initWithSkipOffset(double skipOffset, bool autoPlay) {
        return {skipOffset, autoPlay};
    }
    static VKTOpenMeasurementVASTProperties initWithAutoPlay(bool autoPlay) { return {-1.0, autoPlay}; }
};
