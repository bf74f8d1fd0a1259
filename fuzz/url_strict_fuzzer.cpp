#include "Fuzzing.h"
#include "VKTCoreKit/foundation/VKTURL.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = inputText(data, size);
    const auto url = VKTURL::URLWithString(text);
    if (!url) return 0;

    require(url->absoluteString() == text, "a URL keeps its text");
    require(VKTURL::URLWithString(url->URLByEncodingSquareBrackets().absoluteString()).has_value(),
            "encoding brackets keeps a URL valid");
    std::size_t components = url->path().size();
    for (const auto& component : {url->scheme(), url->host(), url->port(), url->query(), url->fragment()}) {
        if (component) components += component->size();
    }
    require(components <= text.size(), "components are parts of the text");
    require(url->pathComponents().empty() == url->path().empty(), "a path has components");
    for (const auto& item : url->queryItems()) {
        require(item.name.size() + item.value.value_or("").size() <= text.size(),
                "items are parts of the text");
    }
    return 0;
}
