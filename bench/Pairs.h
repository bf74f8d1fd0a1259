// Benchmarks in pairs: ours beside its raw limit, measured in one process and reported as a ratio of medians.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// Ends the row in which it is called, and its repetitions, with a reason; the others go on. For the thread
/// that runs the work: what happens on another, or in a callback, is noted and told afterwards.
[[noreturn]] void fail(const std::string& reason);

/// Registers "NAME/ours" and "NAME/limit". Each function does the work once.
void addPair(const std::string& name, std::function<void()> ours, std::function<void()> limit);

/// The same for work that says how many page faults it took: they stand beside the times, as "NAME_faults".
void addPairWithFaults(const std::string& name, std::function<double()> ours, std::function<double()> limit);

/// The same for work that says how many seconds of it count.
void addTimedPair(const std::string& name, std::function<double()> ours, std::function<double()> limit);

/// The same for work that takes long beside what counts of it: once in each repetition.
void addTimedPairRunOnce(const std::string& name, std::function<double()> ours,
                         std::function<double()> limit);

/// How often this thread has asked for memory so far.
std::size_t allocationCount();

/// Ends the process here when the arguments make it a child of a benchmark.
void runAsChild(int argc, char** argv);

/// The raw limit of reading: expat over the document, with handlers that do nothing.
void readEvents(const std::string& document);

/// Registers the benchmarks of one file.
void addParseBenchmarks();
void addLineBenchmarks();
void addMergeBenchmarks();
void addNetworkBenchmarks();
void addPixelBenchmarks();
void addDurableBenchmarks();
void addTrackingBenchmarks();
void addPrivacyBenchmarks();
void addConfigBenchmarks();
void addMeasurementBenchmarks();
