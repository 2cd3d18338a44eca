#pragma once

// The reordering once more, plainly: vectors instead of parts of one array, sets that are copied instead of
// marks, orders that are reversed at the end. For symmetric graphs and work space without limit.

#include <algorithm>
#include <utility>
#include <vector>

namespace gps_model {

using Numbers = std::vector<int>;  // node i has element i; element 0 is not used
using Lists = std::vector<Numbers>;

struct Answer {
  Numbers permutation;  // from element 1
  int bandwidth = 0, profile = 0, space = 0;
};

class Model {
 public:
  Model(const Lists& neighbours, bool optimize_profile)
      : near_(neighbours), n_(static_cast<int>(neighbours.size()) - 1), profile_(optimize_profile) {}

  Answer run(const Numbers& callers) {
    space_ = 2 * n_;
    left_.assign(near_.size(), 1);
    for (int i = 1; i <= n_; ++i) {
      if (degree(i) == 0) number(i);
    }
    while (count() < n_) number_component();
    return choose(callers);
  }

 private:
  struct Combined {
    Numbers level_of;
    bool reverse_numbering = true;
  };

  int degree(int i) const { return static_cast<int>(near_[i].size()); }
  int count() const { return static_cast<int>(order_.size()); }
  void number(int i) {
    order_.push_back(i);
    left_[i] = 0;
  }
  void need(int elements) { space_ = std::max(space_, elements); }

  Lists levels_from(int root) const {
    Lists levels{{root}};
    Numbers open(left_);
    for (open[root] = 0; !levels.back().empty();) {
      Numbers next;
      for (const int i : levels.back()) {
        for (const int j : near_[i]) {
          if (std::exchange(open[j], 0)) next.push_back(j);
        }
      }
      levels.push_back(next);
    }
    levels.pop_back();
    return levels;
  }
  static int width(const Lists& levels) {
    std::size_t most = 0;
    for (const Numbers& level : levels) most = std::max(most, level.size());
    return static_cast<int>(most);
  }
  void sort_by_degree(Numbers::iterator begin, Numbers::iterator end) const {
    std::stable_sort(begin, end, [this](int i, int j) { return degree(i) < degree(j); });
  }

  void number_component() {
    int root = 0;
    for (int i = 1; i <= n_; ++i) {
      if (left_[i] && (root == 0 || degree(i) < degree(root))) root = i;
    }
    const int next_number = count() + 1;
    need(next_number + 3 * n_ - 1);
    int end_node = 0, forward = 0, best = 1;  // the two are columns
    Lists columns[3];
    find_diameter(root, end_node, forward, best, columns);
    const int depth = static_cast<int>(columns[forward].size());
    int nodes = 0;
    for (const Numbers& level : columns[forward]) nodes += static_cast<int>(level.size());
    need(next_number + 3 * (nodes + depth) + 2);
    need(next_number + 3 * depth + 2 * n_ - 1);
    need(3 * n_ + 2 * depth + 1);
    const Combined combined = combine(columns, forward, best, next_number);
    Lists levels(depth + 2);
    for (int i = 1; i <= n_; ++i) {
      if (combined.level_of[i] != 0) levels[combined.level_of[i]].push_back(i);
    }
    if (profile_) {
      number_for_profile(levels, combined.level_of, nodes);
    } else {
      number_for_bandwidth(levels, combined, root, end_node);
    }
  }

  void find_diameter(int& start_node, int& end_node, int& forward, int& best, Lists columns[3]) const {
    int backward = 1;
    best = 2;
    columns[forward] = levels_from(start_node);
    for (bool deeper = true; deeper;) {
      deeper = false;
      int best_width = n_ + 1;
      const std::size_t depth = columns[forward].size();
      Numbers candidates = columns[forward].back();
      sort_by_degree(candidates.begin(), candidates.end());
      for (const int candidate : candidates) {
        columns[backward] = levels_from(candidate);
        const int its_width = width(columns[backward]);
        if (its_width >= best_width) continue;  // the walk stops, so its depth is not seen
        if ((deeper = columns[backward].size() > depth)) {
          std::swap(forward, backward);
          start_node = candidate;
          break;
        }
        std::swap(best, backward);
        best_width = its_width;
        end_node = candidate;
      }
    }
  }

  Combined combine(const Lists columns[3], int forward, int best, int next_number) {
    // The lower of the two columns becomes the first structure; the one of the end node counts backwards.
    const bool reversed1 = forward < best;
    const int depth = static_cast<int>(columns[forward].size());
    Numbers from_start(near_.size()), from_end(near_.size());
    for (int k = 1; k <= depth; ++k) {
      for (const int i : columns[forward][k - 1]) from_start[i] = k;
      for (const int i : columns[best][k - 1]) from_end[i] = depth - k + 1;
    }
    const Numbers& levels1 = reversed1 ? from_start : from_end;
    const Numbers& levels2 = reversed1 ? from_end : from_start;
    const int width_of1 = width(columns[reversed1 ? forward : best]);
    const int width_of2 = width(columns[reversed1 ? best : forward]);

    Combined result{levels1, true};
    Numbers totals(depth + 1), open(near_.size());
    int unassigned = 0;
    for (int i = 1; i <= n_; ++i) {
      if (levels1[i] == levels2[i]) {
        ++totals[levels1[i]];
      } else {
        open[i] = 1;
        ++unassigned;
      }
    }
    if (unassigned == 0) return result;
    Lists components;
    for (int i = 1; i <= n_; ++i) {
      if (!open[i]) continue;
      components.push_back({i});
      open[i] = 0;
      for (std::size_t k = 0; k < components.back().size(); ++k) {
        for (const int j : near_[components.back()[k]]) {
          if (std::exchange(open[j], 0)) components.back().push_back(j);
        }
      }
    }
    need(unassigned + 3 * depth + 2 * (n_ + static_cast<int>(components.size())) + next_number - 1);
    std::stable_sort(components.begin(), components.end(),
                     [](const Numbers& a, const Numbers& b) { return a.size() > b.size(); });
    for (const Numbers& component : components) {
      Numbers with1(totals), with2(totals);
      for (const int i : component) {
        ++with1[levels1[i]];
        ++with2[levels2[i]];
      }
      int width1 = 0, width2 = 0;
      for (int k = 1; k <= depth; ++k) {
        if (with1[k] == totals[k] && with2[k] == totals[k]) continue;
        width1 = std::max(width1, with1[k]);
        width2 = std::max(width2, with2[k]);
      }
      const bool second =
          width1 != width2 ? width1 > width2 : width_of1 > width_of2 || (width_of1 == width_of2 && reversed1);
      if (&component == &components.front()) result.reverse_numbering = second == reversed1;
      totals = second ? with2 : with1;
      for (const int i : component) result.level_of[i] = (second ? levels2 : levels1)[i];
    }
    return result;
  }

  void number_for_bandwidth(const Lists& levels, const Combined& combined, int start_node, int end_node) {
    const bool from_start = degree(start_node) <= degree(end_node);
    const int start = from_start ? start_node : end_node, depth = static_cast<int>(levels.size()) - 2;
    const int way = combined.level_of[start] == depth ? -1 : 1;
    Numbers order, open(near_.size());
    for (int i = 1; i <= n_; ++i) open[i] = combined.level_of[i];
    Numbers level{start};
    open[start] = 0;
    for (int k = way > 0 ? 1 : depth; 1 <= k && k <= depth; k += way) {
      Numbers next;
      for (std::size_t read = 0;; ++read) {
        if (read == level.size()) {
          int lowest = 0;
          for (const int i : levels[k]) {
            if (open[i] && (lowest == 0 || degree(i) < degree(lowest))) lowest = i;
          }
          if (lowest == 0) break;
          level.push_back(lowest);
          open[lowest] = 0;
        }
        const std::size_t level_before = level.size(), next_before = next.size();
        for (const int j : near_[level[read]]) {
          if (open[j] != 0) (open[j] == k ? level : next).push_back(j);
          open[j] = 0;
        }
        sort_by_degree(level.begin() + static_cast<long>(level_before), level.end());
        sort_by_degree(next.begin() + static_cast<long>(next_before), next.end());
      }
      order.insert(order.end(), level.begin(), level.end());
      level = next;
    }
    if (from_start != combined.reverse_numbering) std::reverse(order.begin(), order.end());
    for (const int i : order) number(i);
  }

  // `levels` ends with an empty one, so that the last level needs no exception.
  void number_for_profile(const Lists& levels, const Numbers& level_of, int nodes) {
    const int depth = static_cast<int>(levels.size()) - 2;
    const auto size = [&](int k) { return static_cast<int>(levels[k].size()); };
    Numbers reached(near_.size()), queue(levels[1]), next;
    const auto front_growth = [&](int i, int k) {
      return std::count_if(near_[i].begin(), near_[i].end(),
                           [&](int j) { return level_of[j] == k + 1 && !reached[j]; });
    };
    // Places count from the one right below the packed levels.
    int gap = depth + n_ + nodes + 1, queue_end = count() + 1 + 2 * size(1) + 1, base = 0, listed = size(1);
    const int widest = gap;
    for (int k = 1;; ++k) {
      while (!queue.empty()) {
        auto taken = queue.begin();
        const bool all_reached = static_cast<int>(next.size()) == size(k + 1);
        for (auto i = queue.begin(); i != queue.end() && !all_reached; ++i) {
          if (front_growth(*i, k) < front_growth(*taken, k)) taken = i;
        }
        const auto before = static_cast<long>(next.size());
        for (const int j : near_[*taken]) {
          if (level_of[j] == k + 1 && !std::exchange(reached[j], 1)) next.push_back(j);
        }
        std::sort(next.begin() + before, next.end());
        number(*taken);
        queue.erase(taken);
      }
      const int top = base - static_cast<int>(next.size());
      gap = std::min(gap, top - queue_end);
      if (k == depth) break;
      for (const int i : levels[k + 1]) {
        if (!reached[i]) next.push_back(i);
      }
      queue.swap(next);
      next.clear();
      queue_end = count() + 1 + 3 * size(k + 1) + 1;
      gap = std::min(gap, top - queue_end + 1);
      // The last level stacks nothing, and its base stays where it was.
      listed += size(k + 1);
      base = k + 1 < depth ? listed : top;
    }
    need(widest - gap);
  }

  Answer measured(const Numbers& number_of) const {
    Answer result{number_of, 0, 0, space_};
    for (int i = 1; i <= n_; ++i) {
      int row = 0;
      for (const int j : near_[i]) row = std::max(row, number_of[i] - number_of[j]);
      result.bandwidth = std::max(result.bandwidth, row);
      result.profile += row;
    }
    return result;
  }

  Answer choose(const Numbers& callers) const {
    Numbers fresh(near_.size()), reversed(near_.size());
    for (int k = 1; k <= n_; ++k) {
      fresh[order_[k - 1]] = k;
      reversed[order_[k - 1]] = n_ - k + 1;
    }
    const Answer first = measured(fresh), second = measured(reversed), given = measured(callers);
    if (!profile_) return first.bandwidth > given.bandwidth ? given : first;
    if (first.profile <= std::min(given.profile, second.profile)) return first;
    return given.profile < second.profile ? given : second;
  }

  const Lists& near_;
  const int n_;
  const bool profile_;
  Numbers order_, left_;  // the nodes as numbered; 1 for those that are not
  int space_ = 0;
};

inline Answer reorder(const Lists& neighbours, bool optimize_profile, const Numbers& callers) {
  return Model(neighbours, optimize_profile).run(callers);
}

}  // namespace gps_model
