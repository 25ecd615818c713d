#include "dtm_query_index.h"

#include <bitset>
#include <typeinfo>
#include <utility>

#include "dtm_ff_node.h"
#include "dtm_float_table_node.h"
#include "dtm_integer_node.h"
#include "dtm_micro_node.h"
#include "dtm_output_port_re_node.h"
#include "dtm_p2p_node.h"
#include "dtm_rc_node.h"
#include "dtm_re_input_port_node.h"
#include "dtm_re_node.h"
#include "dtm_re_table_node.h"
#include "dtm_table_node.h"

// --- Tables ---------------------------------------------------------------------------

namespace {

template <class SLOT>
SLOT* allocate_slots(std::size_t capacity) {
  auto* slots = static_cast<SLOT*>(MEM_MANAGER::allocate(sizeof(SLOT) * capacity));
  for (std::size_t i = 0; i < capacity; ++i) {
    slots[i] = SLOT{};
  }
  return slots;
}

// The smallest power of two, at least 16, that keeps `count` entries at most
// half full.
std::size_t capacity_for(std::size_t count) {
  std::size_t capacity = 16;
  while (capacity < count * 2) {
    capacity *= 2;
  }
  return capacity;
}

}  // namespace

void DTM_QUERY_INDEX::release() noexcept {
  MEM_MANAGER::deallocate(m_paths, sizeof(PATH_SLOT) * m_path_capacity);
  MEM_MANAGER::deallocate(m_entries, sizeof(ENTRY_SLOT) * m_entry_capacity);
  m_paths = nullptr;
  m_path_capacity = 0;
  m_path_used = 0;
  m_entries = nullptr;
  m_entry_capacity = 0;
  m_entry_used = 0;
  m_entry_shift = 64;
  m_built = false;
}

DTM_QUERY_INDEX::PATH_SLOT* DTM_QUERY_INDEX::add_path(std::uint64_t low, std::uint64_t high) {
  if ((m_path_used + 1) * 2 > m_path_capacity) {
    PATH_SLOT* const old_slots = m_paths;
    const std::size_t old_capacity = m_path_capacity;
    m_path_capacity = capacity_for(m_path_used + 1);
    m_paths = allocate_slots<PATH_SLOT>(m_path_capacity);
    const std::size_t mask = m_path_capacity - 1;
    for (std::size_t j = 0; j < old_capacity; ++j) {
      if (old_slots[j].m_high != 0) {
        const std::uint64_t old_high = old_slots[j].m_high & ~k_path_occupied;
        std::size_t i = mix(old_slots[j].m_low ^ (old_high << 40)) & mask;
        while (m_paths[i].m_high != 0) {
          i = (i + 1) & mask;
        }
        m_paths[i] = old_slots[j];
      }
    }
    MEM_MANAGER::deallocate(old_slots, sizeof(PATH_SLOT) * old_capacity);
  }
  const std::size_t mask = m_path_capacity - 1;
  std::size_t i = mix(low ^ (high << 40)) & mask;
  while (m_paths[i].m_high != 0) {
    i = (i + 1) & mask;
  }
  m_paths[i] = PATH_SLOT{low, static_cast<std::uint32_t>(high) | k_path_occupied,
                         static_cast<std::uint32_t>(m_path_used), 0};
  ++m_path_used;
  return &m_paths[i];
}

void DTM_QUERY_INDEX::reserve_entries(std::size_t count) {
  m_entry_capacity = capacity_for(count);
  m_entries = allocate_slots<ENTRY_SLOT>(m_entry_capacity);
  m_entry_shift = 64;
  for (std::size_t c = m_entry_capacity; c > 1; c >>= 1) {
    --m_entry_shift;
  }
}

// Keys are unique by construction: one per reachable tree entry.
void DTM_QUERY_INDEX::add_entry(std::uint64_t key, std::uint64_t bits) {
  const std::size_t mask = m_entry_capacity - 1;
  std::size_t i = mix(key) >> m_entry_shift;
  while (m_entries[i].m_key != 0) {
    i = (i + 1) & mask;
  }
  m_entries[i] = ENTRY_SLOT{key, bits};
  ++m_entry_used;
}

// --- Building -----------------------------------------------------------------------------

class DTM_QUERY_INDEX_BUILDER {
 public:
  explicit DTM_QUERY_INDEX_BUILDER(DTM_QUERY_INDEX& index) : m_index(index) {}

  void build(const DTM_NODE& start) {
    m_index.release();
    m_index.m_epoch = DTM_MODEL_EPOCH::get();
    struct PLACE {
      const DTM_NODE* m_node;
      int m_depth;
      std::uint64_t m_low;
      std::uint64_t m_high;
    };
    MEM_VECTOR<PLACE> stack;
    stack.push_back(PLACE{&start, 0, 0, 0});
    while (!stack.empty()) {
      const PLACE place = stack.back();
      stack.pop_back();
      const DTM_NODE::NODES& children = place.m_node->get_nodes();
      // The walk would repair (and report) a child list holding a null entry.
      bool whole = true;
      for (const DTM_NODE* child : children) {
        whole = whole && child != nullptr;
      }
      if (!whole) {
        continue;
      }
      // The first child of each id is the one a walk finds.
      std::bitset<256> seen;
      const DTM_NODE* first[256] = {};
      for (const DTM_NODE* child : children) {
        const auto id = static_cast<std::uint32_t>(child->get_id());
        if (id != 0 && id < 256 && !seen[id]) {
          seen[id] = true;
          first[id] = child;
        }
      }
      // The start node asks its own leaves whatever its class; a node at the
      // end of a path does so only when it is a plain node (any other class
      // answers through its own override).
      if (place.m_depth == 0 || typeid(*place.m_node) == typeid(DTM_NODE)) {
        index_place(first, place.m_low, place.m_high);
      }
      if (place.m_depth == DTM_PATH_LENGTH) {
        continue;
      }
      const int shift = 8 * (place.m_depth % 8);
      for (std::uint32_t id = 255; id >= 1; --id) {
        if (first[id] != nullptr) {
          std::uint64_t low = place.m_low;
          std::uint64_t high = place.m_high;
          (place.m_depth < 8 ? low : high) |= static_cast<std::uint64_t>(id) << shift;
          stack.push_back(PLACE{first[id], place.m_depth + 1, low, high});
        }
      }
    }
    m_index.reserve_entries(m_entries.size());
    for (const auto& [key, bits] : m_entries) {
      m_index.add_entry(key, bits);
    }
    m_index.m_built = true;
  }

 private:
  using MISS = DTM_QUERY_INDEX::MISS;

  void index_place(const DTM_NODE* const* first, std::uint64_t low, std::uint64_t high) {
    if (m_index.m_path_used >= (std::size_t{1} << DTM_QUERY_INDEX::k_number_bits)) {
      return;
    }
    DTM_QUERY_INDEX::PATH_SLOT* slot = m_index.add_path(low, high);
    const std::uint32_t number = slot->m_number;
    std::uint32_t misses = 0;
    const auto note = [&misses](unsigned code, MISS miss) { misses |= miss << (2U * code); };
    note(DTM_MICRO_KIND::k_query_code, index_leaf<DTM_MICRO_KIND>(first, number));
    note(DTM_TABLE_KIND::k_query_code, index_leaf<DTM_TABLE_KIND>(first, number));
    note(DTM_FLOAT_TABLE_KIND::k_query_code, index_leaf<DTM_FLOAT_TABLE_KIND>(first, number));
    note(DTM_FF_KIND::k_query_code, index_leaf<DTM_FF_KIND>(first, number));
    note(DTM_RE_KIND::k_query_code, index_leaf<DTM_RE_KIND>(first, number));
    note(DTM_RE_TABLE_KIND::k_query_code, index_leaf<DTM_RE_TABLE_KIND>(first, number));
    note(DTM_RE_INPUT_PORT_KIND::k_query_code, index_leaf<DTM_RE_INPUT_PORT_KIND>(first, number));
    note(DTM_OUTPUT_PORT_RE_KIND::k_query_code, index_leaf<DTM_OUTPUT_PORT_RE_KIND>(first, number));
    note(DTM_RC_KIND::k_query_code, index_leaf<DTM_RC_KIND>(first, number));
    note(DTM_INTEGER_KIND::k_query_code, index_leaf<DTM_INTEGER_KIND>(first, number));
    index_p2p(first[DTM_P2P], number, note);
    // The slot may have moved while the path table grew: find it again.
    const_cast<DTM_QUERY_INDEX::PATH_SLOT*>(m_index.find_path(low, high))->m_misses = misses;
  }

  // A typed leaf: its entries, and what a miss there answers.
  template <class KIND>
  MISS index_leaf(const DTM_NODE* const* first, std::uint32_t number) {
    const DTM_NODE* child = first[KIND::k_kind];
    if (child == nullptr) {
      return DTM_QUERY_INDEX::MISS_LEAF_EMPTY;
    }
    if (typeid(*child) != typeid(typename KIND::LEAF)) {
      return DTM_QUERY_INDEX::MISS_WALK;  // reported by the walk
    }
    return index_data<KIND>(*child, child->get_linked_node() != nullptr, number);
  }

  template <class KIND>
  MISS index_data(const DTM_NODE& holder, bool linked, std::uint32_t number) {
    const DTM_TREE_DATA* root = holder.get_data_root();
    const bool complete = index_tree<KIND>(root, number);
    if (linked) {
      return DTM_QUERY_INDEX::MISS_WALK;  // a miss asks the linked node
    }
    if (root == nullptr) {
      return DTM_QUERY_INDEX::MISS_LEAF_EMPTY;
    }
    return complete ? DTM_QUERY_INDEX::MISS_TREE_ABSENT : DTM_QUERY_INDEX::MISS_WALK;
  }

  template <class NOTE>
  void index_p2p(const DTM_NODE* child, std::uint32_t number, NOTE note) {
    if (child == nullptr || typeid(*child) != typeid(DTM_P2P_NODE)) {
      const MISS miss =
          child == nullptr ? DTM_QUERY_INDEX::MISS_LEAF_EMPTY : DTM_QUERY_INDEX::MISS_WALK;
      note(DTM_P2P_IN_BURIED_KIND::k_query_code, miss);
      note(DTM_P2P_IN_OUT_KIND::k_query_code, miss);
      note(DTM_P2P_BURIED_OUT_KIND::k_query_code, miss);
      note(DTM_P2P_BURIED_BURIED_KIND::k_query_code, miss);
      return;
    }
    const auto& p2p = static_cast<const DTM_P2P_NODE&>(*child);
    const bool linked = p2p.get_linked_node() != nullptr;
    const auto direction = [&](const auto* node, auto kind) {
      using KIND = decltype(kind);
      if (node == nullptr) {
        note(KIND::k_query_code,
             linked ? DTM_QUERY_INDEX::MISS_WALK : DTM_QUERY_INDEX::MISS_LEAF_EMPTY);
      } else {
        note(KIND::k_query_code, index_data<KIND>(*node, linked, number));
      }
    };
    direction(p2p.get_in_buried_node(), DTM_P2P_IN_BURIED_KIND{});
    direction(p2p.get_in_out_node(), DTM_P2P_IN_OUT_KIND{});
    direction(p2p.get_buried_out_node(), DTM_P2P_BURIED_OUT_KIND{});
    direction(p2p.get_buried_buried_node(), DTM_P2P_BURIED_BURIED_KIND{});
  }

  // The entries of one tree that a lookup of KIND reaches. False when the
  // index cannot answer a miss in this tree exactly: a root of the other
  // value kind, keys out of order (a search could miss an entry that a scan
  // sees), or an entry holding a sentinel value.
  template <class KIND>
  bool index_tree(const DTM_TREE_DATA* root, std::uint32_t number) {
    using VALUE = typename KIND::VALUE;
    using TREE =
        std::conditional_t<std::is_same_v<VALUE, double>, DTM_TREE_FLOAT_DATA, DTM_TREE_INT_DATA>;
    if (root == nullptr) {
      return true;
    }
    if (typeid(*root) != typeid(TREE)) {
      return false;
    }
    const std::size_t start = m_entries.size();
    bool complete = true;
    const DTM_TREE_DATA_KEY* previous = nullptr;
    // In key order, without recursion (a tree read from a file can be deep).
    m_stack.clear();
    const DTM_TREE_DATA* node = root;
    while (node != nullptr || !m_stack.empty()) {
      while (node != nullptr) {
        m_stack.push_back(node);
        node = node->get_left();
      }
      node = m_stack.back();
      m_stack.pop_back();
      const DTM_TREE_DATA_KEY* key = node->get_key();
      if (key == nullptr || (previous != nullptr && previous->order_key(*key) >= 0)) {
        m_entries.resize(start);
        return false;
      }
      previous = key;
      complete = add_tree_entry<KIND>(*node, *key, number) && complete;
      node = node->get_right();
    }
    return complete;
  }

  // One entry, when a lookup of KIND can reach it; false when its value is
  // a sentinel (the walk then also asks a linked node).
  template <class KIND>
  bool add_tree_entry(const DTM_TREE_DATA& node, const DTM_TREE_DATA_KEY& key,
                      std::uint32_t number) {
    using ARGS = typename KIND::ARGS;
    constexpr DTM_SHORT k_args = std::tuple_size_v<ARGS>;
    const DTM_SHORT count = key.get_num_wrapper();
    const DTM_ENUM_WRAPPER* parts = key.get_wrappers();
    const bool short_form = KIND::k_condition_last && count == k_args - 1;
    if (count != k_args && !short_form) {
      return true;  // no lookup of this kind builds such a key
    }
    ARGS args{};
    decode(args, parts, count, std::make_index_sequence<k_args>{});
    const DTM_KEY_PARTS built = dtm_key_parts<KIND>(args);
    if (built.m_count != count) {
      return true;
    }
    for (DTM_SHORT i = 0; i < count; ++i) {
      if (!(built.m_parts[i] == parts[i])) {
        return true;
      }
    }
    using VALUE = typename KIND::VALUE;
    VALUE value;
    std::uint64_t bits = 0;
    if constexpr (std::is_same_v<VALUE, double>) {
      value = node.get_float_data();
      std::memcpy(&bits, &value, sizeof bits);
    } else {
      value = node.get_int_data();
      bits = static_cast<std::uint32_t>(value);
    }
    if (KIND::VALUE_OPS::is_missing(value)) {
      return false;
    }
    std::uint64_t packed = 0;
    if (DTM_QUERY_INDEX::pack_args(args, packed)) {
      m_entries.emplace_back(DTM_QUERY_INDEX::entry_key(number, KIND::k_query_code, packed), bits);
    }
    return true;
  }

  // The arguments whose key parts these would be: each part's value less the
  // shift of its family; a missing last part is the condition DTM_NONE.
  template <class ARGS, std::size_t... I>
  static void decode(ARGS& args, const DTM_ENUM_WRAPPER* parts, DTM_SHORT count,
                     std::index_sequence<I...>) {
    (
        [&] {
          using T = std::tuple_element_t<I, ARGS>;
          if (static_cast<DTM_SHORT>(I) < count) {
            const auto stored = static_cast<std::uint32_t>(parts[I].get_enum_id());
            std::get<I>(args) = static_cast<T>(stored - DTM_KEY_CODE<T>::k_shift);
          } else {
            std::get<I>(args) = static_cast<T>(0);
          }
        }(),
        ...);
  }

  DTM_QUERY_INDEX& m_index;
  MEM_VECTOR<std::pair<std::uint64_t, std::uint64_t>> m_entries;
  MEM_VECTOR<const DTM_TREE_DATA*> m_stack;
};

void DTM_QUERY_INDEX::build(const DTM_NODE& start) { DTM_QUERY_INDEX_BUILDER(*this).build(start); }
