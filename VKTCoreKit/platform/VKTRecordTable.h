// Numbered records of one kind that outlive the process, such as the pixels that wait to be sent.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"

/// Bytes under a number that the table has given them.
struct VKTRecord {
    std::int64_t number = 0;  ///< rises with each record that is added; of one that was removed it may return
    std::string bytes;
};

/// A change costs what it changes, however many records there are. Belongs to one owner at a time, until it
/// is destroyed. Every operation may be called on any thread and is atomic; a change that has succeeded
/// survives the death of the process at any later moment.
class VKT_EXPORT VKTRecordTable {
  public:
    virtual ~VKTRecordTable() = default;

    /// All records, in the order of their numbers. Nothing when they cannot be read now.
    [[nodiscard]] virtual std::optional<std::vector<VKTRecord>> records() const = 0;

    /// Removes the records of these numbers (those that there are) and adds the others behind all that are
    /// left, in one step. The numbers of what was added, in its order; nothing when nothing was changed.
    virtual std::optional<std::vector<std::int64_t>> change(const std::vector<std::int64_t>& removed,
                                                            const std::vector<std::string>& added) = 0;

    /// Whether a change was refused because the records are gone: the file was removed or replaced. Their
    /// numbers mean nothing any more, and nothing is changed until `records` has been read again.
    [[nodiscard]] virtual bool hasLostRecords() const { return false; }
};

/// What came of opening a table.
struct VKTRecordTableOpening {
    std::shared_ptr<VKTRecordTable> table;  ///< null when the store has no tables, or when refused

    /// A sentence for people: who owns the table. Empty when it is not refused.
    std::string refusal;
};
