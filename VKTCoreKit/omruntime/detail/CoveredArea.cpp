#include "VKTCoreKit/omruntime/detail/CoveredArea.h"

#include <algorithm>
#include <bit>

namespace OMIDKorvonet1 {

// A line sweeps from left to right; a tree over the distinct heights knows how much of the line is covered.
double CoveredArea::of(const std::vector<VKTRect>& rects) {
    edges_.clear();
    ys_.clear();
    for (const VKTRect& rect : rects) {
        if (!(rect.area() > 0)) continue;
        const double bottom = rect.y + rect.height;
        edges_.push_back({rect.x, rect.y, bottom, 1});
        edges_.push_back({rect.x + rect.width, rect.y, bottom, -1});
        ys_.push_back(rect.y);
        ys_.push_back(bottom);
    }
    if (edges_.empty()) return 0;
    std::sort(edges_.begin(), edges_.end(),
              [](const Edge& left, const Edge& right) { return left.x < right.x; });
    buildTree();

    double area = 0;
    double x = edges_.front().x;
    for (const Edge& edge : edges_) {
        area += tree_[1].covered * (edge.x - x);
        x = edge.x;
        cover(edge);
    }
    return area;
}

void CoveredArea::buildTree() {
    std::sort(ys_.begin(), ys_.end());
    ys_.erase(std::unique(ys_.begin(), ys_.end()), ys_.end());
    leafCount_ = std::bit_ceil(ys_.size());
    tree_.assign(2 * leafCount_, Node{0, 0, 0});
    for (std::size_t i = 0; i + 1 < ys_.size(); ++i)
        tree_[leafCount_ + i].length = ys_[i + 1] - ys_[i];
    for (std::size_t node = leafCount_ - 1; node > 0; --node)
        tree_[node].length = tree_[2 * node].length + tree_[2 * node + 1].length;
}

// The fewest nodes that make up the edge's stretch, from the leaves upwards.
void CoveredArea::cover(const Edge& edge) {
    const std::size_t first = leafOf(edge.top);
    const std::size_t end = leafOf(edge.bottom);
    for (std::size_t from = first, to = end; from < to; from /= 2, to /= 2) {
        if (from % 2 == 1) addTo(from++, edge.step);
        if (to % 2 == 1) addTo(--to, edge.step);
    }
    refreshAbove(first);
    refreshAbove(end - 1);
}

std::size_t CoveredArea::leafOf(double y) const {
    const auto found = std::lower_bound(ys_.begin(), ys_.end(), y);
    return leafCount_ + static_cast<std::size_t>(found - ys_.begin());
}

void CoveredArea::addTo(std::size_t node, int step) {
    tree_[node].coverCount += step;
    refresh(node);
}

void CoveredArea::refresh(std::size_t node) {
    Node& each = tree_[node];
    if (each.coverCount > 0) {
        each.covered = each.length;
    } else {
        each.covered = node < leafCount_ ? tree_[2 * node].covered + tree_[2 * node + 1].covered : 0;
    }
}

void CoveredArea::refreshAbove(std::size_t node) {
    for (node /= 2; node > 0; node /= 2)
        refresh(node);
}

}  // namespace OMIDKorvonet1
