// How much several rectangles cover together.
#pragma once

#include <cstddef>
#include <vector>

#include "VKTCoreKit/foundation/VKTRect.h"

namespace OMIDKorvonet1 {

/// Measures again and again without asking for memory again. One thread.
class CoveredArea {
  public:
    /// The area of the union. Time grows with n log n. Rectangles are finite.
    double of(const std::vector<VKTRect>& rects);

  private:
    struct Edge {
        double x;
        double top;
        double bottom;
        int step;  // 1 where a rectangle begins, -1 where it ends
    };

    struct Node {
        int coverCount;  // rectangles that cover the node's whole stretch, and not its parent's
        double length;   // of the stretch
        double covered;  // of that, by anything
    };

    void buildTree();
    void cover(const Edge& edge);
    [[nodiscard]] std::size_t leafOf(double y) const;
    void addTo(std::size_t node, int step);
    void refresh(std::size_t node);
    void refreshAbove(std::size_t node);

    std::vector<Edge> edges_;
    std::vector<double> ys_;
    std::size_t leafCount_ = 0;
    std::vector<Node> tree_;  // node 1 is the root; the children of n are 2n and 2n + 1
};

}  // namespace OMIDKorvonet1
