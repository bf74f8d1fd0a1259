#include "server/DemoScripts.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

// Tells the server of every event that it hears, in a pixel's query; n counts them, since requests overtake
// each other.
constexpr std::string_view record = R"("use strict";
var types = ["impression", "loaded", "geometryChange", "start", "firstQuartile", "midpoint", "thirdQuartile", "complete",
  "pause", "resume", "bufferStart", "bufferFinish", "skipped", "volumeChange", "playerStateChange", "adUserInteraction"];
var n = 0;
function tell(event) {
  omid3p.sendUrl("{BASE}/pixel/measured/" + event.type + "?n=" + ++n + "&time=" + event.timestamp +
      "&session=" + event.adSessionId + "&data=" + encodeURIComponent(JSON.stringify(event.data)));
}
omid3p.registerSessionObserver(tell, "demo.verification");
for (var i = 0; i < types.length; ++i) omid3p.addEventListener(types[i], tell);
)";

// Sends as many bundles do: what it hears, a little later.
constexpr std::string_view queues = R"(var urls = [], send = omid3p.sendUrl;
omid3p.sendUrl = function (url) { urls.push(url.replace("?n=", "?queued=")); };
setInterval(function () { urls.splice(0).forEach(function (url) { send(url); }); }, 100);
omid3p.injectJavaScriptResource("{BASE}/verification/record.js");
)";

constexpr std::string_view throws =
    R"(omid3p.addEventListener("impression", function () { throw new Error("in a listener"); });
throw new Error("at the top");
)";

constexpr std::string_view loops = R"(omid3p.addEventListener("impression", function () { for (;;); });
)";

constexpr std::string_view allocates =
    R"(omid3p.addEventListener("impression", function () { for (var text = "more";;) text += text; });
)";

constexpr std::string_view floods = R"(omid3p.addEventListener("impression", function () {
  for (var i = 0; i < 10000; ++i) omid3p.sendUrl("{BASE}/pixel/flood/" + i);
});
)";

// Breaks what it can reach, and calls everything with what does not belong there.
constexpr std::string_view meddles = R"(omid3p.registerSessionObserver(42);
omid3p.addEventListener({}, null);
omid3p.sendUrl("file:///etc/hostname");
omid3p.sendUrl({});
omid3p.setTimeout("no function", "soon");
omidReceive({type: "start"});
omidReceive(null);
Array.prototype.push = Object.prototype.toString = String.prototype.concat = function () { throw new Error("meddled with"); };
JSON.stringify = function () { return "not JSON"; };
postToHost = undefined;
)";

struct Script {
    std::string_view name;
    std::string_view text;
};

constexpr std::array scripts{Script{"record", record},    Script{"throw", throws}, Script{"loop", loops},
                             Script{"memory", allocates}, Script{"flood", floods}, Script{"meddle", meddles},
                             Script{"queue", queues}};

}  // namespace

std::optional<std::string> DemoScripts::script(std::string_view name, std::string_view baseURL) {
    const auto* found =
        std::find_if(scripts.begin(), scripts.end(), [&](const Script& each) { return each.name == name; });
    if (found == scripts.end()) return std::nullopt;
    return vkt_replacingOccurrences(found->text, "{BASE}", baseURL);
}
