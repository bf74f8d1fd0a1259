// What is to be said of places in a document.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// A place in a document, as an XPath, and what is to be said of it.
struct Remark {
    std::string path;
    std::string reason;
};

/// Remarks of one kind. Documents may deserve millions: so many are kept, the others counted.
struct Remarks {
    static constexpr std::size_t limit = 65536;

    std::vector<Remark> kept;
    std::size_t untold = 0;

    void add(const std::string& path, const std::string& reason) {
        if (kept.size() < limit) {
            kept.push_back({path, reason});
        } else {
            ++untold;
        }
    }
    [[nodiscard]] std::size_t count() const { return kept.size() + untold; }
};
