#include "inspection/SourceMap.h"

#include <expat.h>

#include <algorithm>
#include <charconv>
#include <deque>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

// A byte order mark wins over what the document declares, as when the library reads it.
const char* markedEncoding(std::string_view text) {
    return text.starts_with("\xEF\xBB\xBF") ? "UTF-8" : nullptr;
}

/// An element on the way to a place that is looked for.
struct Step {
    std::map<std::pair<std::string, std::size_t>, Step*, std::less<>> below;  // by name and position, from 1
    std::optional<SourcePlace> place;
};

// "Ad[2]" is the second Ad, "InLine" the first of that name; "text()" and "@name" are no elements.
std::optional<std::pair<std::string, std::size_t>> elementOf(std::string_view step) {
    if (step.empty() || step.front() == '@' || step == "text()") return std::nullopt;
    const std::size_t bracket = step.find('[');
    std::size_t position = 1;
    if (bracket != std::string_view::npos)
        std::from_chars(step.data() + bracket + 1, step.data() + step.size(), position);
    return std::pair(std::string(step.substr(0, bracket)), position);
}

/// Goes through the text once.
class Search {
  public:
    explicit Search(std::string_view text)
        : text_(text), parser_(XML_ParserCreate(markedEncoding(text)), &XML_ParserFree) {}

    const Step* add(const std::string& path) {
        Step* step = &root_;
        for (const std::string_view part : vkt_split(path, '/')) {
            const auto element = elementOf(part);
            if (!element) continue;
            Step*& next = step->below[*element];
            if (next == nullptr) next = &steps_.emplace_back();
            step = next;
        }
        return step;
    }

    void run() {
        if (!parser_) return;
        open_.push_back({&root_, {}});
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), &Search::start, &Search::end);
        XML_SetEntityDeclHandler(parser_.get(), &Search::stop);
        XML_Parse(parser_.get(), text_.data(), static_cast<int>(text_.size()), XML_TRUE);
    }

  private:
    struct Open {
        Step* step;  // null when nothing is looked for below
        std::map<std::string, std::size_t, std::less<>> counts;
    };

    static void start(void* self, const XML_Char* name, const XML_Char** /*attributes*/) {
        static_cast<Search*>(self)->enter(name);
    }
    static void end(void* self, const XML_Char* /*name*/) { static_cast<Search*>(self)->open_.pop_back(); }
    // The library reads no such document.
    static void stop(void* self, const XML_Char* /*name*/, int /*isParameter*/, const XML_Char* /*value*/,
                     int /*length*/, const XML_Char* /*base*/, const XML_Char* /*system*/,
                     const XML_Char* /*publicID*/, const XML_Char* /*notation*/) {
        XML_StopParser(static_cast<Search*>(self)->parser_.get(), XML_FALSE);
    }

    void enter(const char* name) {
        Open& parent = open_.back();
        Step* step = nullptr;
        if (parent.step != nullptr && !parent.step->below.empty()) {
            const auto found = parent.step->below.find(std::pair(std::string(name), ++parent.counts[name]));
            if (found != parent.step->below.end()) step = found->second;
        }
        open_.push_back({step, {}});
        if (step == nullptr) return;
        XML_Parser parser = parser_.get();
        step->place = {static_cast<std::size_t>(XML_GetCurrentLineNumber(parser)),
                       static_cast<std::size_t>(XML_GetCurrentByteIndex(parser)),
                       static_cast<std::size_t>(XML_GetCurrentByteCount(parser))};
    }

    const std::string_view text_;
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser_;
    std::deque<Step> steps_;
    Step root_;
    std::vector<Open> open_;
};

}  // namespace

SourceMap::SourceMap(std::string_view text, const std::vector<std::string>& paths) {
    Search search(text);
    std::vector<const Step*> steps;
    steps.reserve(paths.size());
    for (const std::string& path : paths)
        steps.push_back(search.add(path));
    search.run();
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (steps[i]->place) places_.emplace(paths[i], *steps[i]->place);
    }
}

const SourcePlace* SourceMap::placeOf(const std::string& path) const {
    const auto found = places_.find(path);
    return found == places_.end() ? nullptr : &found->second;
}
