#ifndef VESK_GENAPI_IMPL_LINK_CYCLE_H
#define VESK_GENAPI_IMPL_LINK_CYCLE_H

#include <cstddef>
#include <vector>

namespace GenApi {

// A loop among links between numbered nodes, links[i] holding the nodes that node i links to:
// the nodes along the first loop found, with its first node again at the end; empty if there is
// none. The search keeps its own stack, so that a long chain of links does not exhaust the
// thread's.
std::vector<size_t> FindLinkCycle(const std::vector<std::vector<size_t>>& links);

}  // namespace GenApi

#endif
