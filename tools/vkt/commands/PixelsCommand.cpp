#include <future>
#include <memory>

#include "VKTCoreKit/platform/VKTServices.h"
#include "VKTCoreKit/tracking/VKTPixelManager.h"
#include "commands/Commands.h"
#include "commands/OptionChecks.h"
#include "ground/Output.h"
#include "ground/PixelFile.h"
#include "ground/Text.h"
#include "playing/PixelLedger.h"

namespace {

struct PixelsOptions {
    std::string store;  ///< the file
    bool send = false;
    bool JSON = false;
};

std::string textOfDate(VKTDate date) {
    return vkt_ISO8601StringFromDate(date, VKTTimeZone(vkt_localOffsetFromUTC));
}

void sendAll(const std::shared_ptr<VKTPixelStore>& store, const std::shared_ptr<PixelLedger>& ledger) {
    const auto manager = VKTPixelManager::initWithPixelStore(store, VKTURLSession::sharedInstance());
    manager->setObserver(ledger);
    std::promise<void> end;
    manager->callPixelsWithCompletionHandler([&end] { end.set_value(); });
    end.get_future().wait();
}

void printReport(const PixelsOptions& options, const std::vector<PixelRecord>& pixels) {
    VKTArray list;
    for (const PixelRecord& pixel : pixels) {
        VKTDictionary report{{"url", pixel.url},
                             {"expirationDate", textOfDate(pixel.expirationDate)},
                             {"status", pixel.status()}};
        if (options.send) {
            report.set("statusCode", pixel.statusCode ? VKTValue(*pixel.statusCode) : VKTValue());
        }
        list.emplace_back(std::move(report));
    }
    Output::standard().JSON(VKTDictionary{{"store", options.store}, {"pixels", std::move(list)}});
}

void printText(const PixelsOptions& options, const std::vector<PixelRecord>& pixels) {
    Output& out = Output::standard();
    out.line(options.store + ": " + countOf(pixels.size(), "pixel"));
    for (const PixelRecord& pixel : pixels) {
        out.line("   " + std::string(pixel.status()) + (options.send ? " " + pixel.outcome() : "") +
                 "  until " + textOfDate(pixel.expirationDate) + "  " + pixel.url + pixel.reason());
    }
}

int runPixels(const PixelsOptions& options) {
    const auto provider = openPixelFile(options.store, options.send ? PixelFileToSend : PixelFileToRead);
    if (!provider) return ExitSourceUnread;
    const auto store = VKTPixelStore::initWithProvider(provider);
    const auto ledger = std::make_shared<PixelLedger>();
    ledger->placesOf(store->allPixels());
    if (options.send) sendAll(store, ledger);
    if (options.JSON) {
        printReport(options, ledger->records());
    } else {
        printText(options, ledger->records());
    }
    return ExitPlayable;
}

}  // namespace

CommandRun addPixels(CLI::App& command) {
    const auto options = std::make_shared<PixelsOptions>();
    command.add_option("--store", options->store, "The file that keeps them")->required()->type_name("FILE");
    command.add_flag("--send", options->send, "Make one sending pass");
    addJSON(command, options->JSON);
    return [options] { return runPixels(*options); };
}
