// What an inspection found, as JSON and as text.
#pragma once

#include <string>
#include <vector>

#include "ground/JSONReport.h"
#include "inspection/Inspection.h"

/// Refers to the inspection.
JSONReport reportOfInspection(const Inspection& inspection);

std::vector<std::string> linesOfInspection(const Inspection& inspection);
