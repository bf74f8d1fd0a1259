// A URL read from a VAST document by the tolerant reader.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"

/// A value whose copies share one text, so that a URL merged into many ads is kept once. Compares by text.
/// One that was moved from may only be assigned or destroyed. Any thread.
class VKT_EXPORT VKTVASTURL {
  public:
    /// Wraps a URL as it is.
    static VKTVASTURL initWithURL(VKTURL url) { return VKTVASTURL(std::move(url)); }

    /// Tries, in this order: the text as it is; the text without curly-brace macros ("${AUCTION_ID}", "{id}",
    /// each with one blank behind it) and with "|" encoded; the text percent-encoded for a query. Square
    /// brackets outside the authority are stored percent-encoded ("%5BCACHEBUSTING%5D"). Nothing for a blank
    /// text and when all three fail.
    static std::optional<VKTVASTURL> initWithString(std::string_view string);

    /// From a string, or from a node whose text is one string; nothing for anything else.
    static std::optional<VKTVASTURL> initFromXML(const VKTValue& value);
    static std::optional<VKTVASTURL> initFromXML(const VKTDictionary& node);

    [[nodiscard]] const VKTURL& url() const { return *url_; }
    [[nodiscard]] std::string description() const;

    friend bool operator==(const VKTVASTURL& left, const VKTVASTURL& right) {
        return left.url_ == right.url_ || *left.url_ == *right.url_;
    }

  private:
    explicit VKTVASTURL(VKTURL url) : url_(std::make_shared<const VKTURL>(std::move(url))) {}

    std::shared_ptr<const VKTURL> url_;  // never null
};
