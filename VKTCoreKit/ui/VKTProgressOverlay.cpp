#include "VKTCoreKit/ui/VKTProgressOverlay.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// Of a second: what the arithmetic of players adds to a whole one.
constexpr double timeTolerance = 1e-6;
constexpr double longestTime = 99 * 3600 + 59 * 60 + 59;

constexpr double largestInsetShare = 0.25;   // of the view's shorter side
constexpr double largestTextShare = 0.5;     // of the bar's width, both texts with their gaps
constexpr double textGapShare = 0.5;         // of the font size
constexpr double ringTextShare = 0.8;        // of the hole's diameter, either way
constexpr double secondLineSizeShare = 0.6;  // of the first line's font size
constexpr double lineDistanceShare = 0.6;    // of the first line's font size, from the middle between lines

double length(double value) {
    return std::isfinite(value) ? std::max(value, 0.0) : 0;
}

std::string twoDigits(std::int64_t number) {
    return (number < 10 ? "0" : "") + std::to_string(number);
}

// So that the bar keeps its place while the digits change.
std::string widestText(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c != ':'; }, '0');
    return text;
}

void drawCentred(VKTCanvas& canvas, const std::string& text, VKTPoint middle, double fontSize,
                 const VKTColor& color) {
    canvas.drawText(text, {middle.x - canvas.widthOfText(text, fontSize) / 2, middle.y}, fontSize, color);
}

}  // namespace

std::string vkt_playbackTimeText(double seconds) {
    const double begun = std::isnan(seconds) ? 0 : std::ceil(std::min(seconds, longestTime) - timeTolerance);
    const auto whole = static_cast<std::int64_t>(std::max(begun, 0.0));
    const std::string tail = ":" + twoDigits(whole % 60);
    if (whole < 3600) return std::to_string(whole / 60) + tail;
    return std::to_string(whole / 3600) + ":" + twoDigits(whole % 3600 / 60) + tail;
}

void VKTProgressOverlay::setDuration(double duration) {
    duration_ = length(duration);
}

void VKTProgressOverlay::setTime(double time) {
    if (std::isfinite(time)) time_ = std::max(time, 0.0);
}

double VKTProgressOverlay::progress() const {
    return duration_ > 0 ? std::min(time_ / duration_, 1.0) : 0;
}

std::string VKTProgressOverlay::remainingTimeText() const {
    return duration_ > 0 ? vkt_playbackTimeText(duration_ - time_) : "";
}

std::string VKTProgressOverlay::totalTimeText() const {
    return duration_ > 0 ? vkt_playbackTimeText(duration_) : "";
}

VKTRect VKTProgressOverlay::indicatorRect(const VKTRect& bounds) const {
    if (!std::isfinite(bounds.x + bounds.y + bounds.width + bounds.height)) return VKTRect::null();
    if (bounds.width <= 0 || bounds.height <= 0) return VKTRect::null();
    const double inset = std::min({length(style_.offset), VKTProgressMaxOffset,
                                   std::min(bounds.width, bounds.height) * largestInsetShare});
    const VKTRect inner{bounds.x + inset, bounds.y + inset, bounds.width - 2 * inset,
                        bounds.height - 2 * inset};
    VKTRect area = inner;
    if (style_.indicator == VKTProgressIndicatorBar) {
        const bool showsText = style_.showsRemainingTime || style_.showsTotalTime;
        const double lineHeight = std::max(length(style_.lineWidth), showsText ? length(style_.fontSize) : 0);
        area.height = std::min(lineHeight, inner.height);
        area.y = inner.y + inner.height - area.height;
    } else {
        area.width = area.height = std::min({length(style_.diameter), inner.width, inner.height});
        area.x = inner.x + inner.width - area.width;
    }
    return area.area() > 0 ? area : VKTRect::null();
}

void VKTProgressOverlay::draw(VKTCanvas& canvas, const VKTRect& bounds) const {
    const VKTRect area = indicatorRect(bounds);
    if (area.isNull()) return;
    canvas.save();
    canvas.clipToRect(bounds);
    if (style_.indicator == VKTProgressIndicatorBar) {
        drawBar(canvas, area);
    } else {
        drawRing(canvas, area);
    }
    canvas.restore();
}

void VKTProgressOverlay::drawRing(VKTCanvas& canvas, const VKTRect& area) const {
    constexpr double top = -std::numbers::pi / 2;
    constexpr double fullTurn = 2 * std::numbers::pi;
    const double outerRadius = area.width / 2;
    const double lineWidth = std::min(length(style_.lineWidth), outerRadius);
    const double radius = outerRadius - lineWidth / 2;
    const VKTPoint centre{area.x + outerRadius, area.y + outerRadius};
    canvas.fillRoundedRect(area, outerRadius, style_.backdropColor);
    if (lineWidth > 0) {
        canvas.strokeArc(centre, radius, top, fullTurn, lineWidth, style_.trackColor);
        if (progress() > 0)
            canvas.strokeArc(centre, radius, top, fullTurn * progress(), lineWidth, style_.progressColor);
    }
    drawTextsInRing(canvas, centre, 2 * (outerRadius - lineWidth) * ringTextShare);
}

// `room` is the side of the square that the texts may fill.
void VKTProgressOverlay::drawTextsInRing(VKTCanvas& canvas, VKTPoint centre, double room) const {
    const double wanted = std::min(length(style_.fontSize), room);
    const double width = canvas.widthOfText(widestText(totalTimeText()), wanted);
    if (!(width > 0)) return;
    const bool showsBoth = style_.showsRemainingTime && style_.showsTotalTime;
    const double height = showsBoth ? 2 * lineDistanceShare + secondLineSizeShare : 1;  // in font sizes
    const double fontSize = std::min({wanted, wanted * room / width, room / height});
    const double distance = showsBoth ? fontSize * lineDistanceShare : 0;
    if (style_.showsRemainingTime)
        drawCentred(canvas, remainingTimeText(), {centre.x, centre.y - distance / 2}, fontSize,
                    style_.textColor);
    if (style_.showsTotalTime)
        drawCentred(canvas, totalTimeText(), {centre.x, centre.y + distance},
                    showsBoth ? fontSize * secondLineSizeShare : fontSize, style_.textColor);
}

void VKTProgressOverlay::drawBar(VKTCanvas& canvas, const VKTRect& area) const {
    const double fontSize = std::min(length(style_.fontSize), area.height);
    const double textWidth = canvas.widthOfText(widestText(totalTimeText()), fontSize);
    const double reserved = textWidth + fontSize * textGapShare;
    const int texts = (style_.showsRemainingTime ? 1 : 0) + (style_.showsTotalTime ? 1 : 0);
    const bool textsFit = textWidth > 0 && reserved * texts <= area.width * largestTextShare;
    const bool showsRemaining = textsFit && style_.showsRemainingTime;
    const bool showsTotal = textsFit && style_.showsTotalTime;

    const double middle = area.y + area.height / 2;
    const double height = std::min(length(style_.lineWidth), area.height);
    const VKTRect track{area.x + (showsRemaining ? reserved : 0), middle - height / 2,
                        area.width - (showsRemaining ? reserved : 0) - (showsTotal ? reserved : 0), height};
    canvas.fillRoundedRect(track, height / 2, style_.trackColor);
    canvas.save();
    canvas.clipToRect({track.x, track.y, track.width * progress(), height});
    canvas.fillRoundedRect(track, height / 2, style_.progressColor);
    canvas.restore();

    if (showsRemaining) canvas.drawText(remainingTimeText(), {area.x, middle}, fontSize, style_.textColor);
    if (showsTotal)
        canvas.drawText(totalTimeText(), {area.x + area.width - textWidth, middle}, fontSize,
                        style_.textColor);
}
