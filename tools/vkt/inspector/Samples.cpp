#include "inspector/Samples.h"

#include <array>
#include <string_view>

#include "server/DemoServer.h"

namespace {

struct Sample {
    std::string_view name;
    std::string_view path;
};

constexpr auto samples = std::to_array<Sample>({
    {"One ad", "/inline"},
    {"Chain of wrappers", "/chain/3"},
    {"Wrappers to a pod", "/demo"},
    {"Pod with broken ads", "/pod-broken/4"},
    {"Passback", "/passback"},
    {"Measured ad", "/measured/record"},
    {"Skippable ad", "/video-skippable/20"},
    {"No ad", "/empty-error"},
    {"Wrapper to itself", "/self"},
    {"Too many wrappers", "/chain/9"},
    {"Malformed document", "/malformed"},
    {"No VAST at all", "/html"},
    {"No version", "/no-version"},
    {"Server error", "/status/503"},
    {"Slow server", "/slow/8/inline"},
    {"Connection that breaks", "/close"},
    {"100 ads", "/pod/100"},
});

}  // namespace

VKTArray inspectorSamples() {
    VKTArray list;
    for (const Sample& sample : samples) {
        list.emplace_back(VKTDictionary{{"name", sample.name},
                                        {"description", DemoServer::descriptionOf(sample.path)},
                                        {"path", sample.path}});
    }
    return list;
}
