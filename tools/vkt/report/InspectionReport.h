// What an inspection found, as JSON and as text.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ground/JSONReport.h"
#include "inspection/Inspection.h"

/// Refers to the inspection.
JSONReport reportOfInspection(const Inspection& inspection);

/// "main ad", "passback", "not used: another ad comes before it": of one of the ads.
std::string useOfAd(const Inspection& inspection, std::size_t place);

std::vector<std::string> linesOfInspection(const Inspection& inspection);
