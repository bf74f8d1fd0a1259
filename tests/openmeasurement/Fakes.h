// A provider that makes no sessions, and the library's debug messages.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VKTCoreKit/core/VKTLog.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerProtocols.h"

using Texts = std::vector<std::string>;

inline VKTURL urlOf(const std::string& text) {
    return *VKTURL::URLWithString(text);
}

struct SessionlessProvider : VKTOpenMeasurementManagerProvider {
    explicit SessionlessProvider(const std::string& theURL) : url(urlOf(theURL)) {}
    std::shared_ptr<VKTOpenMeasurementAdSession> sessionWithView(const std::shared_ptr<const VKTView>&,
                                                                 const std::string&, const Scripts&, bool,
                                                                 std::optional<VKTError>* error) override {
        *error = VKTError("d", 1, {{VKTLocalizedDescriptionKey, std::string("refused")}});
        return nullptr;
    }
    void updateLastActivity() override {}
    [[nodiscard]] VKTURL JSLibraryURL() const override { return url; }
    [[nodiscard]] std::optional<std::string> embeddedLibraryScript() const override { return embedded; }

    const VKTURL url;
    std::optional<std::string> embedded;
};

/// What is logged at debug level while `action` runs, without the lines' beginnings.
template <typename Action>
Texts messagesOf(Action action) {
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(true);
    testing::internal::CaptureStdout();
    action();
    VKTLog::sharedInstance()->setIsDebugLoggingEnabled(false);
    const std::string text = testing::internal::GetCapturedStdout();
    Texts messages;
    constexpr std::string_view mark = "VKTCoreKit[DEBUG] ";
    for (std::size_t start = text.find(mark); start != std::string::npos; start = text.find(mark, start)) {
        start += mark.size();
        messages.push_back(text.substr(start, text.find('\n', start) - start));
    }
    return messages;
}
