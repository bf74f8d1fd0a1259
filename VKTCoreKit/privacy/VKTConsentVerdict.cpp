#include "VKTCoreKit/privacy/VKTConsentVerdict.h"

#include <algorithm>
#include <array>
#include <utility>

#include "VKTCoreKit/foundation/VKTText.h"

namespace {

constexpr std::array ruleWords{
#define VKT_CONSENT_RULE(name, words) std::string_view(words),
#include "VKTCoreKit/privacy/VKTConsentRules.inc"
#undef VKT_CONSENT_RULE
};

std::string wordsOfPurposes(std::uint32_t purposes) {
    std::vector<std::string> numbers;
    for (std::size_t n = 0; purposes >> n != 0; ++n)
        if ((purposes >> n & 1U) != 0) numbers.push_back(std::to_string(n));
    return numbers.size() == 1 ? "purpose " + numbers.front() + " is"
                               : "purposes " + vkt_joined(numbers, ", ") + " are";
}

}  // namespace

std::string VKTConsentClause::words() const {
    std::string words(ruleWords.at(static_cast<std::size_t>(rule)));
    for (const auto& [name, text] : {std::pair("{signal}", key.empty() ? "the string" : std::string(key)),
                                     {"{number}", number.description()},
                                     {"{type}", std::string(storedType)},
                                     {"{purposes}", wordsOfPurposes(purposes)}})
        words = vkt_replacingOccurrences(words, name, text);
    return words;
}

std::string VKTConsentVerdict::reason() const {
    std::string reason;
    for (const VKTConsentClause& clause : clauses) {
        if (reason.ends_with(',') || reason.ends_with(';')) {
            reason += ' ';
        } else if (!reason.empty()) {
            // The second of two sections begins anew.
            reason += clause.rule == VKTConsentRuleGPPSectionUSPrivacyApplies ? "; " : " and ";
        }
        reason += clause.words();
    }
    return reason;
}

bool VKTConsentVerdict::restsOnUnreadable() const {
    return std::any_of(clauses.begin(), clauses.end(), [](const VKTConsentClause& clause) {
        return clause.rule == VKTConsentRuleSignalUnreadable;
    });
}

VKTConsentVerdict VKTConsentVerdict::under(const VKTConsentClause& clause) && {
    clauses.insert(clauses.begin(), clause);
    return std::move(*this);
}
