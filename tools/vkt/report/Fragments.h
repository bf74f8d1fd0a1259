// What the inspector's page is told while a command runs: parts of the page, as they come.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "ground/Options.h"
#include "playing/PlayAudience.h"
#include "report/HTML.h"

/// How a page calls a source: it has no standard input.
inline std::string nameForPage(const std::string& source) {
    return source == "-" ? "the pasted document" : source;
}

/// Writes an object a line on the standard output: {"into": id, "html"} to append to an element, {"replace":
/// id, "html"} to put in the place of one, and whatever else. Any thread.
class FragmentWriter {
  public:
    void append(const std::string& id, const HTML& html) { write({{"into", id}, {"html", html.markup()}}); }
    void replace(const std::string& id, const HTML& html) {
        write({{"replace", id}, {"html", html.markup()}});
    }
    void write(const VKTDictionary& message);
};

/// Of a resolution: first the frame, into the element "result"; then each document and ad.
class ResolveFragments {
  public:
    explicit ResolveFragments(const ResolveOptions& options);

    [[nodiscard]] ResolvingDetail detail(VKTData sourceText);
    void showAd(const VKTAdBreakAd& ad);
    void finish(const Resolution& resolution);

    FragmentWriter& writer() { return writer_; }

  private:
    const ResolveOptions& options_;
    FragmentWriter writer_;
    std::size_t ads_ = 0;
};

/// Of a break that is played: the same, and each event and pixel.
class PlayFragments : public PlayAudience {
  public:
    explicit PlayFragments(const PlayOptions& options) : options_(options), frame_(options.resolve) {}

    [[nodiscard]] ResolvingDetail detail(VKTData sourceText) { return frame_.detail(std::move(sourceText)); }

    void resolved(const Resolution& resolution, const Timeline& problems, const PixelLedger& ledger) override;
    void adStarts(std::size_t number, const VKTAdBreakAd& ad) override;
    void eventTracked(const TimelineEntry& entry, const PixelLedger& ledger) override;
    void progressed(double position, double duration) override;
    void adEnded(std::size_t number, const PlayedAd& ad) override;
    void pixelAnswered(std::size_t place, const PixelRecord& pixel) override;
    void mediaCommanded(const VKTDictionary& command) override { frame_.writer().write(command); }
    void noted(const std::string& text) override;

  private:
    const PlayOptions& options_;
    ResolveFragments frame_;
    std::size_t number_ = 0;  // of the ad that is played
};
