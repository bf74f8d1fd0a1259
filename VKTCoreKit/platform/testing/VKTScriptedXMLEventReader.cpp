#include "VKTCoreKit/platform/testing/VKTScriptedXMLEventReader.h"

namespace {

void replay(const VKTXMLStartEvent& event, VKTXMLEventHandler& handler) {
    std::vector<VKTXMLAttribute> attributes;
    for (const auto& [name, value] : event.attributes)
        attributes.push_back({name, value});
    handler.didStartElement(event.name, attributes);
}

void replay(const VKTXMLEndEvent& event, VKTXMLEventHandler& handler) {
    handler.didEndElement(event.name);
}

void replay(const VKTXMLTextEvent& event, VKTXMLEventHandler& handler) {
    switch (event.kind) {
        case VKTXMLTextEvent::Characters:
            return handler.foundCharacters(event.text);
        case VKTXMLTextEvent::CDATA:
            return handler.foundCDATA(event.text);
        case VKTXMLTextEvent::Comment:
            return handler.foundComment(event.text);
    }
}

void replay(const VKTError& error, VKTXMLEventHandler& handler) {
    handler.parseErrorOccurred(error);
}

}  // namespace

bool VKTScriptedXMLEventReader::parse(VKTXMLEventHandler& handler) {
    for (const VKTXMLEvent& event : events_) {
        std::visit([&](const auto& each) { replay(each, handler); }, event);
        if (std::holds_alternative<VKTError>(event)) return false;
    }
    return true;
}
