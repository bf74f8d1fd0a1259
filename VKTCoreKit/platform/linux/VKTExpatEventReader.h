// XML reading by expat.
#pragma once

#include <memory>
#include <string_view>

#include "VKTCoreKit/platform/VKTXMLEventReader.h"

/// A reader of `data`, which must outlive it. The whole text is read in one go, without a copy.
std::unique_ptr<VKTXMLEventReader> vkt_makeExpatEventReader(std::string_view data);
