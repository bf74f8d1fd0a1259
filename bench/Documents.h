// The documents that the benchmarks read.
#pragma once

#include <cstddef>
#include <string>

/// An inline ad of about 4 KB, as an ad server sends it.
std::string inlineDocument();

/// A pod of 40 ads, about 1 MB; a pod of `count` ads like the one of `inlineDocument`.
std::string podDocument();
std::string smallPodDocument(std::size_t count);

/// `count` ads; `count` tracking events in one creative; `count` child elements of distinct names.
std::string wideAdsDocument(std::size_t count);
std::string wideTrackingDocument(std::size_t count);
std::string wideNamesDocument(std::size_t count);

/// A wrapper of about 1.5 KB, as most are, that leads to `url`.
std::string wrapperDocument(const std::string& url);

/// A wrapper with one linear creative and `count` tracking events.
std::string trackingWrapperDocument(std::size_t count);
