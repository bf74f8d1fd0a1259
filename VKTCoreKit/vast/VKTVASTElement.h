// An element of an ad document, while a reader reads it.
#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTURL.h"
#include "VKTCoreKit/foundation/VKTValue.h"
#include "VKTCoreKit/vast/VKTVASTReading.h"

/// A view of one node of an XML dictionary (`VKTXMLDictionary.h`) and of the way to it. What a reader asks
/// for is what is read: when the element goes out of scope, the listener hears of every child and text that
/// nobody asked for. A dictionary converts to an element that nobody listens to.
///
/// Lives on the stack of its reader, no longer than its parent and its node. One thread. Without a listener
/// it costs no more than the look-ups.
class VKT_EXPORT VKTVASTElement {
  public:
    VKTVASTElement(const VKTDictionary& node) : node_(&node) {}

    /// No element for a value that is no node.
    VKTVASTElement(const VKTValue& value) : node_(value.asDictionary()) {}

    /// The root of a document. The listener may be null.
    VKTVASTElement(const VKTDictionary& root, std::string_view name, VKTVASTReadingListener* listener)
        : node_(&root), name_(name), listener_(listener) {}

    ~VKTVASTElement() {
        if (isHeard()) tellUnread();
    }
    VKTVASTElement(const VKTVASTElement&) = delete;
    VKTVASTElement& operator=(const VKTVASTElement&) = delete;

    /// Whether there is an element at all. One that there is not has nothing: no attribute, child or text.
    explicit operator bool() const { return node_ != nullptr; }

    [[nodiscard]] const VKTDictionary* node() const { return node_; }

    /// Whether it has anything at all: an attribute, a child or a text.
    [[nodiscard]] bool hasContent() const { return node_ != nullptr && !node_->empty(); }

    /// Whether somebody listens. Nobody does in an element that was dropped when it began to be read.
    [[nodiscard]] bool isHeard() const { return listener_ != nullptr && node_ != nullptr && !isDropped_; }

    [[nodiscard]] VKTVASTReadingListener* listener() const { return listener_; }

    /// The same element, for a second reader that nobody shall hear.
    [[nodiscard]] VKTVASTElement unheard() const { return {*this, name_, index_, node_, nullptr}; }

    /// The element's XPath.
    [[nodiscard]] std::string path() const;

    // Attributes, by their key in the node ("_id"): a text as written, a number or boolean leniently. An
    // absent number is `absent`, an absent boolean false. A time is a time code or a percentage as written.

    [[nodiscard]] const std::string* attribute(std::string_view key) const;
    [[nodiscard]] std::optional<std::string> stringAttribute(std::string_view key) const;
    [[nodiscard]] std::optional<std::string> timeAttribute(std::string_view key) const;
    [[nodiscard]] float floatAttribute(std::string_view key, float absent) const;
    [[nodiscard]] bool boolAttribute(std::string_view key) const;

    // Text. The required forms drop the element when they give nothing.

    /// Whether there is a text of one run or more.
    [[nodiscard]] bool hasText() const;

    /// The text when it is one run; null for none, and for one that child elements split.
    [[nodiscard]] const std::string* text() const;
    [[nodiscard]] const std::string* requiredText() const;

    /// The text as a URL, by the tolerant reader (`VKTVASTURL`) or that of trackers
    /// (`VKTURL::URLWithDocumentText`).
    [[nodiscard]] std::optional<VKTVASTURL> requiredVASTURL() const;
    [[nodiscard]] std::optional<VKTURL> requiredURL() const;

    /// The latter for an element that is kept without one, too.
    [[nodiscard]] std::optional<VKTURL> URL() const;

    /// Why the text is not what was asked for: there is none, child elements split it, or else `otherwise`.
    [[nodiscard]] std::string textProblem(std::string_view otherwise) const;

    // Children.

    /// Whether there is an array of children of that name, which is empty when all of them were stripped; and
    /// how many it holds. Neither counts as asking for them.
    [[nodiscard]] bool hasChildren(std::string_view name) const;
    [[nodiscard]] std::size_t keptChildCount(std::string_view name) const;

    /// The first child of that name; the others are dropped.
    [[nodiscard]] VKTVASTElement firstChild(std::string_view name) const;

    /// The child at that place among those of its name, from 0, all of which count as read.
    [[nodiscard]] VKTVASTElement childAt(std::size_t index, std::string_view name) const;
    [[nodiscard]] std::size_t childCount(std::string_view name) const;

    /// Calls `read` with each child of that name, in document order.
    template <typename Read>
    void forEachChild(std::string_view name, Read read) const {
        const std::size_t count = childCount(name);
        for (std::size_t index = 0; index < count; ++index) {
            const VKTVASTElement child = childAt(index, name);
            if (child) read(child);
        }
    }

    /// The text of the first child; the URLs of all children that have one.
    [[nodiscard]] std::optional<std::string> childText(std::string_view name) const;
    void appendVASTURLs(std::string_view name, std::vector<VKTVASTURL>& urls) const;

    // What the listener hears. A reason is a text, or a callable that makes one when somebody listens.

    /// The element, and everything below it that was not told apart, is not in the model. A first child that
    /// hides others of its name only needs attention: without it, another one would be read.
    template <typename Reason>
    void drop(const Reason& reason) const {
        if (isHeard()) tellDropped(textOf(reason));
    }

    /// Without the element, `others` (a plural) would be read: to drop it, too, only needs attention.
    void hides(std::string_view others) const { hidden_ = others; }

    /// The same of an only child of that name, empty or not.
    void onlyChildHides(std::string_view name, std::string_view others) const;

    /// What a reason says, at its end, of what the element hides; empty when it hides nothing.
    [[nodiscard]] std::string hiddenNote() const;

    template <typename Reason>
    void dropChildren(std::string_view name, const Reason& reason) const {
        if (isHeard()) tellChildrenDropped(name, 0, textOf(reason));
    }

    /// For an empty `attributeKey` of the element itself, else of that attribute.
    template <typename Reason>
    void needsAttention(std::string_view attributeKey, const Reason& reason) const {
        if (isHeard()) tellNeedsAttention(attributeKey, textOf(reason));
    }

  private:
    VKTVASTElement(const VKTVASTElement& parent, std::string_view name, std::size_t index,
                   const VKTDictionary* node, VKTVASTReadingListener* listener, bool hidesOthers = false)
        : node_(node),
          name_(name),
          parent_(&parent),
          index_(index),
          listener_(parent.isDropped_ ? nullptr : listener),
          hidesOthers_(hidesOthers) {}

    template <typename Reason>
    static std::string textOf(const Reason& reason) {
        if constexpr (std::invocable<const Reason&>) {
            return reason();
        } else {
            return std::string(reason);
        }
    }

    void noteRead(std::string_view name) const {
        if (isHeard()) rememberRead(name);
    }
    void rememberRead(std::string_view name) const;
    [[nodiscard]] std::string pathOfChild(std::string_view name, std::size_t position) const;
    void tellUnread() const;
    void tellDropped(const std::string& reason) const;
    void tellChildrenDropped(std::string_view name, std::size_t fromIndex, const std::string& reason) const;
    void tellChildren(std::string_view name, std::size_t fromIndex, const std::string& reason) const;
    void tellStripped(std::string_view name, const std::string& reason) const;
    [[nodiscard]] std::size_t countInDocument(std::string_view name) const;
    void tellNeedsAttention(std::string_view attributeKey, const std::string& reason) const;
    void tellUnlessAbsolute(const VKTURL& url) const;

    const VKTDictionary* node_;
    std::string_view name_;
    const VKTVASTElement* parent_ = nullptr;
    std::size_t index_ = 0;  // among those of its name that were not stripped
    VKTVASTReadingListener* listener_ = nullptr;
    bool hidesOthers_ = false;

    // Kept for a listener only.
    mutable std::vector<std::string_view> namesRead_;
    mutable bool isTextRead_ = false;
    mutable bool isDropped_ = false;
    mutable std::string_view hidden_;
    mutable std::string_view hidingChild_;  // the name of an only child that hides `hiddenByChild_`
    mutable std::string_view hiddenByChild_;
};

/// The text in quotation marks.
VKT_EXPORT std::string vkt_quoted(std::string_view text);
