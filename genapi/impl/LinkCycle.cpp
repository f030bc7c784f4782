#include "genapi/impl/LinkCycle.h"

#include <algorithm>

namespace GenApi {

namespace {

enum class Mark { Unseen, OnPath, Done };

// The node and the next of its links to follow.
struct Step {
  size_t node;
  size_t link;
};

}  // namespace

std::vector<size_t> FindLinkCycle(const std::vector<std::vector<size_t>>& links) {
  std::vector<Mark> marks(links.size(), Mark::Unseen);
  std::vector<Step> path;
  for (size_t start = 0; start < links.size(); ++start) {
    if (marks[start] != Mark::Unseen) continue;
    marks[start] = Mark::OnPath;
    path.push_back({start, 0});
    while (!path.empty()) {
      Step& step = path.back();
      if (step.link == links[step.node].size()) {
        marks[step.node] = Mark::Done;
        path.pop_back();
        continue;
      }
      const size_t next = links[step.node][step.link++];
      if (marks[next] == Mark::Unseen) {
        marks[next] = Mark::OnPath;
        path.push_back({next, 0});
      } else if (marks[next] == Mark::OnPath) {
        const auto first =
            std::find_if(path.begin(), path.end(), [&](const Step& on) { return on.node == next; });
        std::vector<size_t> cycle;
        for (auto on = first; on != path.end(); ++on) cycle.push_back(on->node);
        cycle.push_back(next);
        return cycle;
      }
    }
  }
  return {};
}

}  // namespace GenApi
