// What the library may tell of the device it runs on.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/foundation/VKTThreadAnnotations.h"

/// One IPv4 address of a network interface.
struct VKTInterfaceAddress {
    std::string interfaceName;
    std::string IPv4Address;  ///< in dotted form

    friend bool operator==(const VKTInterfaceAddress&, const VKTInterfaceAddress&) = default;
};

using VKTInterfaceAddresses = std::vector<VKTInterfaceAddress>;

/// The device. Every operation may be called on any thread; what is not known is empty.
class VKT_EXPORT VKTDevice {
  public:
    virtual ~VKTDevice() = default;

    [[nodiscard]] virtual std::string machine() const = 0;               ///< hardware, as the kernel names it
    [[nodiscard]] virtual std::string model() const = 0;                 ///< as people name it
    [[nodiscard]] virtual std::string systemName() const { return ""; }  ///< "Linux"
    [[nodiscard]] virtual std::string systemVersion() const = 0;         ///< numbers separated by dots
    [[nodiscard]] virtual std::vector<std::string> preferredLanguages() const = 0;  ///< "de-DE", best first

    /// In the system's order, as they are now; nothing when they cannot be read.
    [[nodiscard]] virtual std::optional<VKTInterfaceAddresses> interfaceAddresses() const = 0;

    /// What the user has answered to the question for tracking: 0 not asked, 1 restricted, 2 denied, 3
    /// authorised. Nothing on systems that do not ask; there the flag below counts.
    [[nodiscard]] virtual std::optional<int> trackingAuthorizationStatus() const = 0;
    [[nodiscard]] virtual bool isAdvertisingTrackingEnabled() const = 0;

    /// UUIDs, as the system writes them: one for all applications, and one for those of this vendor.
    [[nodiscard]] virtual std::string advertisingIdentifier() const { return ""; }
    [[nodiscard]] virtual std::string identifierForVendor() const { return ""; }

    /// How loud the device plays, 0 (muted) to 1; asked for on the main thread, five times a second at most
    /// for each measured ad, so it must not block. Nothing where only the embedder can know: Linux has a
    /// volume for each sound card and sound server, and none for the amplifier or the television behind them.
    [[nodiscard]] virtual std::optional<double> volume() const { return std::nullopt; }
};

/// Values for a `VKTSettableDevice`; each may be left out.
struct VKTDeviceFacts {
    std::string machine{};
    std::string model{};
    std::string systemName{};
    std::string systemVersion{};
    std::vector<std::string> preferredLanguages{};
    std::optional<VKTInterfaceAddresses> interfaceAddresses{};
    std::optional<int> trackingAuthorizationStatus{};
    bool isAdvertisingTrackingEnabled = false;
    std::string advertisingIdentifier = {};
    std::string identifierForVendor = {};
    std::optional<double> volume = {};
};

/// A device of which the embedder says everything. Any thread may set it.
class VKTSettableDevice final : public VKTDevice {
  public:
    explicit VKTSettableDevice(VKTDeviceFacts facts = {}) : facts_(std::move(facts)) {}

    [[nodiscard]] VKTDeviceFacts facts() const {
        const VKTLock lock(mutex_);
        return facts_;
    }
    void setFacts(VKTDeviceFacts facts) {
        const VKTLock lock(mutex_);
        facts_ = std::move(facts);
    }

    [[nodiscard]] std::string machine() const override { return facts().machine; }
    [[nodiscard]] std::string model() const override { return facts().model; }
    [[nodiscard]] std::string systemName() const override { return facts().systemName; }
    [[nodiscard]] std::string systemVersion() const override { return facts().systemVersion; }
    [[nodiscard]] std::vector<std::string> preferredLanguages() const override {
        return facts().preferredLanguages;
    }
    [[nodiscard]] std::optional<VKTInterfaceAddresses> interfaceAddresses() const override {
        return facts().interfaceAddresses;
    }
    [[nodiscard]] std::optional<int> trackingAuthorizationStatus() const override {
        return facts().trackingAuthorizationStatus;
    }
    [[nodiscard]] bool isAdvertisingTrackingEnabled() const override {
        return facts().isAdvertisingTrackingEnabled;
    }
    [[nodiscard]] std::string advertisingIdentifier() const override { return facts().advertisingIdentifier; }
    [[nodiscard]] std::string identifierForVendor() const override { return facts().identifierForVendor; }
    [[nodiscard]] std::optional<double> volume() const override { return facts().volume; }

  private:
    mutable VKTMutex mutex_;
    VKTDeviceFacts facts_ VKT_GUARDED_BY(mutex_);
};
