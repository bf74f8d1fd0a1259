// Sessions over the built-in measurement runtime.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "VKTCoreKit/foundation/VKTExport.h"
#include "VKTCoreKit/omruntime/Partner.h"
#include "VKTCoreKit/openmeasurement/VKTOpenMeasurementManagerProtocols.h"

/// Stands for the integrator's own address of the service script; nobody serves it.
inline constexpr const char* VKTOpenMeasurementDefaultJSLibraryURL =
    "https://measurement.example.com/om-service-script-1.4.2.js";

/// Runs with the embedded service script until it is given the URL of another one, a certified one, say.
///
/// Main thread only. Shared; its sessions do not hold it.
class VKT_EXPORT VKTOpenMeasurementManagerDefaultProvider final : public VKTOpenMeasurementManagerProvider {
  public:
    /// Partner "Korvonet". Nothing when the runtime cannot be activated, or when a text is empty or too long
    /// for it.
    static std::shared_ptr<VKTOpenMeasurementManagerDefaultProvider> initWithFrameworkVersion(
        const std::string& frameworkVersion);
    static std::shared_ptr<VKTOpenMeasurementManagerDefaultProvider> initWithFrameworkVersion(
        const std::string& frameworkVersion, const std::string& partnerName);

    /// Activates the shared runtime. Whether it is active.
    static bool initializeOMSDK();

    [[nodiscard]] const std::string& partnerName() const { return omidPartner_.name(); }
    [[nodiscard]] const OMIDKorvonet1::Partner& omidPartner() const { return omidPartner_; }

    /// Set it before the library is refreshed for the first time.
    void setJSLibraryURL(VKTURL URL) { JSLibraryURL_ = std::move(URL); }

    /// A script without URL is left out. One goes with its vendor and parameters when both are there, and
    /// alone otherwise.
    std::shared_ptr<VKTOpenMeasurementAdSession> sessionWithView(const std::shared_ptr<const VKTView>& view,
                                                                 const std::string& JSLibrary,
                                                                 const Scripts& scripts, bool isVideo,
                                                                 std::optional<VKTError>* error) override;
    void updateLastActivity() override;
    [[nodiscard]] VKTURL JSLibraryURL() const override;
    [[nodiscard]] std::optional<std::string> embeddedLibraryScript() const override;

  private:
    explicit VKTOpenMeasurementManagerDefaultProvider(OMIDKorvonet1::Partner omidPartner)
        : omidPartner_(std::move(omidPartner)) {}

    const OMIDKorvonet1::Partner omidPartner_;
    std::optional<VKTURL> JSLibraryURL_;
};
