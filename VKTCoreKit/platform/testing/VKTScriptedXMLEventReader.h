// An XML reader that replays a list of events.
#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "VKTCoreKit/platform/VKTXMLEventReader.h"

/// The beginning of an element.
struct VKTXMLStartEvent {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;
};

/// The end of an element.
struct VKTXMLEndEvent {
    std::string name;
};

/// Text between tags.
struct VKTXMLTextEvent {
    enum Kind { Characters, CDATA, Comment };
    Kind kind = Characters;
    std::string text;
};

using VKTXMLEvent = std::variant<VKTXMLStartEvent, VKTXMLEndEvent, VKTXMLTextEvent, VKTError>;

/// Replays the events in order; an error ends the document.
class VKTScriptedXMLEventReader final : public VKTXMLEventReader {
  public:
    explicit VKTScriptedXMLEventReader(std::vector<VKTXMLEvent> events) : events_(std::move(events)) {}

    bool parse(VKTXMLEventHandler& handler) override;

  private:
    std::vector<VKTXMLEvent> events_;
};
