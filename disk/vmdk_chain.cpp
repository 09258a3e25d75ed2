#include "disk/vmdk_chain.h"

#include <cstdint>
#include <map>

#include "disk/vmdk_descriptor.h"

namespace {

constexpr size_t no_parent = SIZE_MAX;

vmdk_chain_order fault(vmdk_chain_fault kind, size_t orphan = 0) {
  vmdk_chain_order order;
  order.fault = kind;
  order.orphan = orphan;
  return order;
}

}  // namespace

vmdk_chain_order order_vmdk_chain(const std::vector<vmdk_chain_member>& members) {
  std::map<std::string, size_t> by_cid;
  for (size_t i = 0; i < members.size(); ++i)
    if (!by_cid.emplace(members[i].cid, i).second) return fault(vmdk_chain_fault::cid_errors);

  std::vector<size_t> parent_of(members.size(), no_parent);
  std::vector<bool> is_parent(members.size(), false);
  for (size_t i = 0; i < members.size(); ++i) {
    if (members[i].parent_cid == vmdk_no_parent_cid) continue;
    const auto parent = by_cid.find(members[i].parent_cid);
    if (parent == by_cid.end()) return fault(vmdk_chain_fault::missing_parent, i);
    if (parent->second == i) return fault(vmdk_chain_fault::cid_errors);
    parent_of[i] = parent->second;
    is_parent[parent->second] = true;
  }

  size_t newest = no_parent;
  for (size_t i = 0; i < members.size(); ++i) {
    if (is_parent[i]) continue;
    if (newest != no_parent) return fault(vmdk_chain_fault::cid_errors);
    newest = i;
  }
  if (newest == no_parent) return fault(vmdk_chain_fault::cid_errors);

  // Walk down to the base; a repeat is a loop, a shortfall a disk left out.
  vmdk_chain_order order;
  std::vector<bool> seen(members.size(), false);
  for (size_t at = newest; at != no_parent; at = parent_of[at]) {
    if (seen[at]) return fault(vmdk_chain_fault::cid_errors);
    seen[at] = true;
    order.newest_first.push_back(at);
  }
  if (order.newest_first.size() != members.size()) return fault(vmdk_chain_fault::cid_errors);
  return order;
}
