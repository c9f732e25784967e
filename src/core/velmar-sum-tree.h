// A binary tree of partial sums over non-negative values in index order: a value changes in
// O(log n), and the first index at which the running sum reaches a given amount is found in
// O(log n). Changes are collected and the sums above them refreshed together.
#ifndef VELMAR_SUM_TREE_H
#define VELMAR_SUM_TREE_H

#include <cstddef>
#include <vector>

namespace velmar {

class SumTree {
  public:
    // n values, all 0.
    void assign(size_t n) {
        leaves_ = 1;
        while (leaves_ < n) leaves_ *= 2;
        node_.assign(2 * leaves_, 0.0);
        flag_.assign(2 * leaves_, 0);
        dirty_.clear();
    }
    double value(size_t i) const { return node_[leaves_ + i]; }
    // Sets value i; the sums follow at the next refresh().
    void set(size_t i, double v) {
        const size_t node = leaves_ + i;
        node_[node] = v;
        if (flag_[node] == 0) {
            flag_[node] = 1;
            dirty_.push_back(node);
        }
    }
    // Recomputes the sums above the values set since the last refresh, level by level.
    void refresh() {
        while (!dirty_.empty() && dirty_[0] > 1) {
            next_.clear();
            for (size_t node : dirty_) {
                flag_[node] = 0;
                const size_t parent = node / 2;
                if (flag_[parent] == 0) {
                    flag_[parent] = 1;
                    next_.push_back(parent);
                }
            }
            for (size_t parent : next_) node_[parent] = node_[2 * parent] + node_[2 * parent + 1];
            dirty_.swap(next_);
        }
        for (size_t node : dirty_) flag_[node] = 0;
        dirty_.clear();
    }
    double total() const { return node_.size() > 1 ? node_[1] : 0.0; }
    // The first index with a positive value at which the running sum reaches u (u <= total());
    // -1 when every value is 0.
    long find(double u) const {
        if (!(total() > 0.0)) return -1;
        size_t node = 1;
        while (node < leaves_) {
            const double left = node_[2 * node];
            if (left > 0.0 && (u <= left || !(node_[2 * node + 1] > 0.0))) {
                node = 2 * node;
            } else {
                u -= left;
                node = 2 * node + 1;
            }
        }
        return static_cast<long>(node - leaves_);
    }

  private:
    size_t leaves_ = 1;
    std::vector<double> node_;
    std::vector<char> flag_;
    std::vector<size_t> dirty_;
    std::vector<size_t> next_;
};

}  // namespace velmar

#endif  // VELMAR_SUM_TREE_H
