// The closed lists of the measurement runtime. Their numbers are those that an integrator's code passes.
#pragma once

#include <cstdint>

namespace OMIDKorvonet1 {

enum CreativeType : std::uint8_t {
    CreativeTypeDefinedByJavaScript = 1,
    CreativeTypeHTMLDisplay = 2,
    CreativeTypeNativeDisplay = 3,
    CreativeTypeVideo = 4,
    CreativeTypeAudio = 5,
};

/// What the ad counts as its impression.
enum ImpressionType : std::uint8_t {
    ImpressionTypeDefinedByJavaScript = 1,
    ImpressionTypeUnspecified = 2,
    ImpressionTypeLoaded = 3,
    ImpressionTypeBeginToRender = 4,
    ImpressionTypeOnePixel = 5,
    ImpressionTypeViewable = 6,
    ImpressionTypeAudible = 7,
    ImpressionTypeOther = 8,
};

/// Who reports an event.
enum Owner : std::uint8_t {
    OwnerJavaScript = 1,
    OwnerNative = 2,
    OwnerNone = 3,
};

enum Position : std::uint8_t {
    PositionPreroll = 0,
    PositionMidroll = 1,
    PositionPostroll = 2,
    PositionStandalone = 3,
};

enum PlayerState : std::uint8_t {
    PlayerStateMinimized = 0,
    PlayerStateCollapsed = 1,
    PlayerStateNormal = 2,
    PlayerStateExpanded = 3,
    PlayerStateFullscreen = 4,
};

enum InteractionType : std::uint8_t {
    InteractionTypeClick = 0,
    InteractionTypeAcceptInvitation = 1,
};

/// Why a view in front of the ad is no obstruction.
enum FriendlyObstructionPurpose : std::uint8_t {
    FriendlyObstructionPurposeMediaControls = 0,
    FriendlyObstructionPurposeCloseAd = 1,
    FriendlyObstructionPurposeNotVisible = 2,
    FriendlyObstructionPurposeOther = 3,
};

inline constexpr const char* ErrorDomain = "OMIDKorvonet1ErrorDomain";

/// Codes of the errors that the runtime's constructors and operations give.
enum ErrorCode : std::uint8_t {
    ErrorCodeInactive = 1,         ///< the runtime has not been activated
    ErrorCodeInvalidArgument = 2,  ///< the description names the argument and what it may be
    ErrorCodeWrongState = 3,       ///< not allowed before the start, after the finish, or a second time
    ErrorCodeWrongOwner = 4,       ///< the configuration leaves such events to somebody else
    ErrorCodeScriptDownload = 5,   ///< a verification script could not be fetched
    ErrorCodeTooManyScripts = 6,   ///< more worlds at once than `ScriptLimit`
};

}  // namespace OMIDKorvonet1
