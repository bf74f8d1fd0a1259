// The records of the remote logger that wait to be sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// A record as it stands in the body of a request.
struct VKTRemoteLogRecord {
    std::uint64_t number = 0;  ///< in the order of submission
    std::string text;
    bool isHeld = false;  ///< put back, and not released since
};

using VKTRemoteLogRecords = std::vector<VKTRemoteLogRecord>;

/// The texts' length in bytes.
std::size_t vkt_bytesOfRecords(const VKTRemoteLogRecords& records);

/// The JSON array of the records, joined from their texts.
std::string vkt_bodyOfRecords(const VKTRemoteLogRecords& records);

/// In the order in which they are to be sent. Not safe between threads: its owner has a lock.
class VKTRemoteLogBacklog {
  public:
    /// Adds a record at the end and releases all.
    void submit(std::string text);

    /// Lets go those that were put back.
    void release();

    /// Puts records that were taken in front of all others. They are held until the next release, so that
    /// nobody tries again and again while the device is offline.
    void putBack(VKTRemoteLogRecords records);

    /// Takes all that are not held.
    VKTRemoteLogRecords takeReleased();

    /// Drops the records submitted first, wherever they stand, until the others keep both limits.
    void dropOldest(std::size_t countLimit, std::size_t byteLimit);

    [[nodiscard]] const VKTRemoteLogRecords& records() const { return records_; }

  private:
    VKTRemoteLogRecords records_;  // those that are held stand in front
    std::size_t bytes_ = 0;
    std::uint64_t lastNumber_ = 0;
};
