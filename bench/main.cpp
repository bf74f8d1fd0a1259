// vkt_bench [--json] [Google Benchmark flags]: each benchmark beside its raw limit. With --json it prints one
// object: name -> {"ours_us", "limit_us", "ratio"}; page faults, under names in _faults, are {"ours",
// "limit", "ratio"}. A row that fails is told on standard error and left out; the exit status is then 1.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "Pairs.h"

namespace {

constexpr const char* faultsCounter = "faults";

// Collects the time of every repetition; the medians are taken at the end.
class PairReporter : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                const std::string& name = run.run_name.function_name;
                if (failed_.insert(name).second)
                    std::fprintf(stderr, "%s: %s\n", name.c_str(), run.error_message.c_str());
                values_.erase(name);
                values_.erase(nameOfFaults(name));
            } else if (run.run_type == Run::RT_Iteration) {
                const std::string& name = run.run_name.function_name;
                values_[name].push_back(run.GetAdjustedRealTime());
                if (const auto faults = run.counters.find(faultsCounter); faults != run.counters.end())
                    values_[nameOfFaults(name)].push_back(faults->second);
            }
        }
    }

    void print(bool asJSON) const {
        const char* const opening = "{\n";
        const char* separator = opening;
        if (!asJSON) std::printf("%-26s %12s %12s %8s\n", "", "ours, us", "limit, us", "ratio");
        for (const auto& [name, values] : values_) {
            const std::size_t suffix = name.rfind("/ours");
            if (suffix == std::string::npos) continue;
            const std::string pair = name.substr(0, suffix);
            const auto limitValues = values_.find(pair + "/limit");
            if (limitValues == values_.end()) continue;
            const double ours = median(values);
            const double limit = median(limitValues->second);
            const char* unit = pair.ends_with("_faults") ? "" : "_us";
            if (asJSON) {
                std::printf("%s  \"%s\": {\"ours%s\": %.3f, \"limit%s\": %.3f, \"ratio\": %.3f}", separator,
                            pair.c_str(), unit, ours, unit, limit, ours / limit);
                separator = ",\n";
            } else {
                std::printf("%-26s %12.2f %12.2f %8.2f\n", pair.c_str(), ours, limit, ours / limit);
            }
        }
        if (asJSON) std::printf("%s}\n", separator == opening ? opening : "\n");
    }

    [[nodiscard]] bool hasFailed() const { return !failed_.empty(); }

  private:
    static double median(std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }

    // "NAME/ours" to "NAME_faults/ours".
    static std::string nameOfFaults(std::string name) { return name.insert(name.rfind('/'), "_faults"); }

    std::map<std::string, std::vector<double>> values_;
    std::set<std::string> failed_;
};

struct RowFailure {
    std::string reason;
};

// One that has failed is not repeated: what it waited for in vain would be waited for again.
template <typename Run>
benchmark::internal::Benchmark* registerRun(const std::string& name, Run run) {
    auto failure = std::make_shared<std::optional<RowFailure>>();
    const auto guarded = [run = std::move(run), failure](benchmark::State& state) {
        try {
            if (*failure) throw **failure;
            run(state);
        } catch (const RowFailure& thrown) {
            *failure = thrown;
            state.SkipWithError(thrown.reason.c_str());
        }
    };
    return benchmark::RegisterBenchmark(name.c_str(), guarded)->Unit(benchmark::kMicrosecond);
}

void addOne(const std::string& name, std::function<void()> work) {
    registerRun(name, [work = std::move(work)](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state)
            work();
    })->UseRealTime();
}

void addOneWithFaults(const std::string& name, std::function<double()> work) {
    registerRun(name, [work = std::move(work)](benchmark::State& state) {
        double faults = 0;
        for ([[maybe_unused]] auto _ : state)
            faults += work();
        state.counters[faultsCounter] = benchmark::Counter(faults, benchmark::Counter::kAvgIterations);
    })->UseRealTime();
}

benchmark::internal::Benchmark* addOneTimed(const std::string& name, std::function<double()> work) {
    return registerRun(name,
                       [work = std::move(work)](benchmark::State& state) {
                           for ([[maybe_unused]] auto _ : state)
                               state.SetIterationTime(work());
                       })
        ->UseManualTime();
}

// True unless the rows could not be made ready.
bool addAll(void (*add)(), const char* name) {
    try {
        add();
        return true;
    } catch (const RowFailure& failure) {
        std::fprintf(stderr, "the %s rows: %s\n", name, failure.reason.c_str());
        return false;
    }
}

// Keeps freed memory in the process: what a fresh heap costs in page faults is the kernel's, and would be
// paid again in every iteration.
void keepFreedMemory() {
    constexpr int oneGigabyte = 1 << 30;
    mallopt(M_TRIM_THRESHOLD, oneGigabyte);
    mallopt(M_MMAP_THRESHOLD, oneGigabyte);
    mallopt(M_TOP_PAD, 64 << 20);
}

}  // namespace

void fail(const std::string& reason) {
    throw RowFailure{reason};
}

void addPair(const std::string& name, std::function<void()> ours, std::function<void()> limit) {
    addOne(name + "/ours", std::move(ours));
    addOne(name + "/limit", std::move(limit));
}

void addPairWithFaults(const std::string& name, std::function<double()> ours, std::function<double()> limit) {
    addOneWithFaults(name + "/ours", std::move(ours));
    addOneWithFaults(name + "/limit", std::move(limit));
}

void addTimedPair(const std::string& name, std::function<double()> ours, std::function<double()> limit) {
    addOneTimed(name + "/ours", std::move(ours));
    addOneTimed(name + "/limit", std::move(limit));
}

void addTimedPairRunOnce(const std::string& name, std::function<double()> ours,
                         std::function<double()> limit) {
    addOneTimed(name + "/ours", std::move(ours))->Iterations(1);
    addOneTimed(name + "/limit", std::move(limit))->Iterations(1);
}

int main(int argc, char** argv) {
    runAsChild(argc, argv);
    keepFreedMemory();
    const auto isJSONFlag = [](const char* argument) { return std::string_view(argument) == "--json"; };
    const bool asJSON = std::any_of(argv + 1, argv + argc, isJSONFlag);
    std::vector<char*> arguments(argv, std::remove_if(argv + 1, argv + argc, isJSONFlag));
    // Repetitions of both halves of a pair are mixed, so that a disturbance of the machine hits both.
    std::vector<std::string> defaults{"--benchmark_repetitions=9", "--benchmark_min_time=0.05",
                                      "--benchmark_enable_random_interleaving=true"};
    for (std::string& flag : defaults)
        arguments.insert(arguments.begin() + 1, flag.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

    bool isReady = addAll(addParseBenchmarks, "parse");
    isReady &= addAll(addLineBenchmarks, "line");
    isReady &= addAll(addMergeBenchmarks, "merge");
    isReady &= addAll(addNetworkBenchmarks, "network");
    isReady &= addAll(addPixelBenchmarks, "pixel");
    isReady &= addAll(addDurableBenchmarks, "durable");
    isReady &= addAll(addTrackingBenchmarks, "tracking");
    isReady &= addAll(addPrivacyBenchmarks, "privacy");
    isReady &= addAll(addConfigBenchmarks, "config");
    isReady &= addAll(addMeasurementBenchmarks, "measurement");
    PairReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.print(asJSON);
    return isReady && !reporter.hasFailed() ? 0 : 1;
}
