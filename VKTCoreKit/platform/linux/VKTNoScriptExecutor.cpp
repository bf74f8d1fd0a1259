// Stands for the worlds where the library is built to run no scripts.
#include "VKTCoreKit/platform/VKTPlatform.h"
#include "VKTCoreKit/platform/linux/VKTDuktapeExecutor.h"
#include "VKTCoreKit/platform/linux/VKTProcessExecutor.h"

namespace {

class NoScriptExecutor final : public VKTScriptExecutor {
  public:
    explicit NoScriptExecutor(VKTScriptHandlers handlers) {
        if (!handlers.onEnd) return;
        end_ = VKTPlatform::current().mainRunLoop->schedule(VKTTimeInterval(0), [onEnd = handlers.onEnd] {
            onEnd(VKTError(VKTScriptErrorDomain, VKTScriptErrorUnavailable,
                           {{VKTLocalizedDescriptionKey,
                             std::string("this VKTCoreKit runs no scripts: it was built with "
                                         "VKT_WITH_MEASUREMENT=OFF")}}));
        });
    }
    void evaluate(std::string /*script*/, std::string /*name*/) override {}
    void call(std::string /*function*/, std::string /*argumentJSON*/) override {}

  private:
    std::unique_ptr<VKTRunLoopTimer> end_;
};

}  // namespace

std::unique_ptr<VKTScriptExecutor> vkt_makeProcessExecutor(const VKTScriptOptions& /*options*/,
                                                           VKTScriptHandlers handlers) {
    return std::make_unique<NoScriptExecutor>(std::move(handlers));
}

std::unique_ptr<VKTScriptExecutor> vkt_makeDuktapeExecutor(VKTScriptOptions /*options*/,
                                                           VKTScriptHandlers handlers) {
    return std::make_unique<NoScriptExecutor>(std::move(handlers));
}
