#include "inspector/RunRequest.h"

#include <algorithm>
#include <array>

#include "VKTCoreKit/foundation/VKTText.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/platform/VKTServices.h"
#include "ground/Text.h"

namespace {

constexpr int badRequest = 400;
constexpr int tooLarge = 413;

struct AllowedOption {
    std::string_view name;
    bool isOfPlayAlone;
};

constexpr auto allowedOptions = std::to_array<AllowedOption>({
    {"timeout", false},
    {"request-timeout", false},
    {"max-wrappers", false},
    {"handle-wrapper-adpods", false},
    {"strict-first-impression", false},
    {"macro", false},
    {"fail", false},
    {"network-access-type", false},
    {"speed", true},
    {"wait", true},
    {"measure", true},
    {"skip-at", true},
    {"mute-at", true},
    {"pause-at", true},
    {"click-at", true},
    {"hide-at", true},
});

// What was pasted is text, which the run reads as UTF-8, whatever its bytes were where it was copied: the
// name of their encoding gives way to blanks, so that all else keeps its place.
std::string withoutEncoding(std::string document) {
    const std::string_view declaration = std::string_view(document).substr(0, document.find("?>"));
    const std::size_t name = declaration.find("encoding");
    if (!declaration.starts_with("<?xml") || name == std::string_view::npos) return document;
    const std::size_t opening = declaration.find_first_of("\"'", name);
    if (opening == std::string_view::npos) return document;
    const std::size_t closing = declaration.find(declaration[opening], opening + 1);
    if (closing == std::string_view::npos) return document;
    return document.replace(name, closing + 1 - name, closing + 1 - name, ' ');
}

// One request's arguments, or the first thing that is wrong with it.
class CommandLine {
  public:
    CommandLine(const VKTDictionary& request, const std::vector<std::string>& networkArguments)
        : request_(request) {
        const std::string name = textOf("command");
        isPlay_ = name == "play";
        if (!isPlay_ && name != "resolve") refuse(R"("command" is "resolve" or "play")");
        command_.arguments = {name, "--fragments",
                              "--report=/dev/fd/" + std::to_string(ChildRun::reportDescriptor)};
        const VKTValue* simulated = request.find("simulated");
        const bool isSimulated =
            simulated != nullptr && simulated->asBool() != nullptr && *simulated->asBool();
        if (isPlay_ && !isSimulated)
            command_.arguments.push_back("--remote-player=" + std::to_string(ChildRun::controlDescriptor));
        command_.arguments.insert(command_.arguments.end(), networkArguments.begin(), networkArguments.end());
        addOptions();
        addSource();
    }

    [[nodiscard]] std::variant<ChildCommand, RunRefusal> take() {
        if (refusal_.status != 0) return std::move(refusal_);
        return std::move(command_);
    }

  private:
    void refuse(std::string reason, int status = badRequest) {
        if (refusal_.status == 0) refusal_ = {status, std::move(reason) + "."};
    }

    // No argument of a process can hold a NUL byte: the text would be cut.
    std::string textOf(const char* key) {
        const VKTValue* value = request_.find(key);
        const std::string* text = value == nullptr ? nullptr : value->asString();
        if (text == nullptr || text->find('\0') != std::string::npos) return "";
        return *text;
    }

    void addOptions() {
        const VKTValue* value = request_.find("options");
        if (value == nullptr) return;
        const VKTDictionary* options = value->asDictionary();
        if (options == nullptr) return refuse(R"("options" is an object)");
        for (const auto& [name, content] : *options) {
            const auto* allowed =
                std::find_if(allowedOptions.begin(), allowedOptions.end(),
                             [&key = name](const AllowedOption& each) { return each.name == key; });
            if (allowed == allowedOptions.end() || (allowed->isOfPlayAlone && !isPlay_))
                return refuse("There is no option " + quoted(shortened(name)) + " for this command here");
            const VKTArray* list = content.asArray();
            for (const VKTValue& each : list == nullptr ? VKTArray{content} : *list)
                addOption(name, each);
        }
    }

    void addOption(const std::string& name, const VKTValue& value) {
        std::string text;
        if (value.asString() != nullptr) {
            text = *value.asString();
        } else if (value.asBool() != nullptr) {
            text = *value.asBool() ? "true" : "false";
        } else if (value.asNumber()) {
            text = value.description();
        } else {
            return refuse("The option " + quoted(name) + " takes a text, a number or a boolean");
        }
        if (text.find('\0') != std::string::npos)
            return refuse("The value of the option " + quoted(name) + " holds a NUL byte");
        command_.arguments.push_back("--" + name + "=" + text);
    }

    void addSource() {
        command_.arguments.emplace_back("--");
        const VKTValue* document = request_.find("xml");
        const std::string* text = document == nullptr ? nullptr : document->asString();
        if (text != nullptr) {
            if (text->size() > longestDocument) refuse("The document is larger than 32 MiB", tooLarge);
            command_.input = withoutEncoding(*text);
            command_.arguments.emplace_back("-");
            return;
        }
        const auto url = VKTURL::URLWithDocumentText(textOf("url"));
        const std::string scheme = vkt_lowercased(url ? url->scheme().value_or("") : "");
        const bool isWeb = (scheme == "http" || scheme == "https") && url->host();
        if (!isWeb) refuse("An http or https URL is expected, or a document");
        command_.arguments.push_back(textOf("url"));
    }

    const VKTDictionary& request_;
    bool isPlay_ = false;
    ChildCommand command_;
    RunRefusal refusal_{0, ""};
};

}  // namespace

std::variant<ChildCommand, RunRefusal> childCommandOf(std::string_view JSON,
                                                      const std::vector<std::string>& networkArguments) {
    const auto value = vkt_JSONValueWithData(JSON);
    const VKTDictionary* request = value ? value->asDictionary() : nullptr;
    if (request == nullptr) return RunRefusal{badRequest, "A JSON object is expected."};
    return CommandLine(*request, networkArguments).take();
}
