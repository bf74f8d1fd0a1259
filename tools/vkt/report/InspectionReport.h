// What an inspection found, as JSON and as text.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ground/JSONReport.h"
#include "inspection/Inspection.h"

/// Refers to the inspection.
JSONReport reportOfInspection(const Inspection& inspection);

/// What the ads of a document are used for.
class AdUses {
  public:
    explicit AdUses(const Inspection& inspection);

    /// "main ad", "passback", "not used: another ad comes before it".
    [[nodiscard]] std::string of(std::size_t place) const;

  private:
    std::vector<bool> isMain_;
    std::vector<bool> isPassback_;
};

std::vector<std::string> linesOfInspection(const Inspection& inspection);
