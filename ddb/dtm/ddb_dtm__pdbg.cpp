// Registration of the model's 26 persisted classes, in their fixed order and
// with their signatures, with the thunks the persistence layer calls: the
// constructor of an empty object, the serializer of the plain classes, the
// destroyer, and the checks of a graph once its references are linked.
#include <algorithm>
#include <cstdint>
#include <string>
#include <type_traits>

#include "ddb_dtm__pdb.h"
#include "dtm_data_class.h"
#include "dtm_ff_node.h"
#include "dtm_float_table_node.h"
#include "dtm_integer_node.h"
#include "dtm_line_node.h"
#include "dtm_micro_node.h"
#include "dtm_node.h"
#include "dtm_output_port_re_node.h"
#include "dtm_p2p_node.h"
#include "dtm_rc_node.h"
#include "dtm_re_input_port_node.h"
#include "dtm_re_node.h"
#include "dtm_re_table_node.h"
#include "dtm_report.h"
#include "dtm_table_node.h"
#include "dtm_tree_data.h"
#include "dtm_tree_data_key.h"

namespace {

constexpr const char* k_source = "ddb_dtm__pdbg";

// The timing-node subclasses that add no persisted field share one signature.
constexpr std::uint32_t k_leaf_signature = 0x696BF1B3;

// --- Checks of a linked graph ---------------------------------------------------------

// What is wrong with the delay tree below `root`, or null: every balance
// factor must be the height of the right subtree minus that of the left one,
// in -1 .. 1 (the tree's insertion relies on it), and the keys must rise
// strictly in key order (its lookups rely on it: a key out of order or twice
// would be missed, or found for another). Iterative.
const char* check_tree(const DTM_TREE_DATA* root) {
  static const DTM_TREE_DATA_KEY k_no_key;
  struct FRAME {
    const DTM_TREE_DATA* m_node;
    int m_left_height;
    int m_stage;  // 0: left next, 1: right next, 2: both done
  };
  MEM_VECTOR<FRAME> stack;
  const DTM_TREE_DATA_KEY* previous = nullptr;  // in key order
  int height = 0;                               // of the subtree finished last
  if (root != nullptr) {
    stack.push_back(FRAME{root, 0, 0});
  }
  while (!stack.empty()) {
    const std::size_t top = stack.size() - 1;
    const DTM_TREE_DATA* node = stack[top].m_node;
    if (stack[top].m_stage == 0) {
      stack[top].m_stage = 1;
      height = 0;
      if (node->get_left() != nullptr) {
        stack.push_back(FRAME{node->get_left(), 0, 0});
        continue;
      }
    }
    if (stack[top].m_stage == 1) {
      const DTM_TREE_DATA_KEY* key = node->get_key() != nullptr ? node->get_key() : &k_no_key;
      if (previous != nullptr && previous->order_key(*key) >= 0) {
        return "the keys of the delay tree of the node are not in order";
      }
      previous = key;
      stack[top].m_left_height = height;
      stack[top].m_stage = 2;
      height = 0;
      if (node->get_right() != nullptr) {
        stack.push_back(FRAME{node->get_right(), 0, 0});
        continue;
      }
    }
    const int left = stack[top].m_left_height;
    if (node->get_balance_factor() != height - left || height - left < -1 || height - left > 1) {
      return "the delay tree of the node is not balanced as its balance factors say";
    }
    height = 1 + std::max(left, height);
    stack.pop_back();
  }
  return nullptr;
}

// A node as the node operations make them: children that exist and have an
// id, a balanced delay tree.
const char* verify_node(const PDB_OBJECT_BASE* object) {
  const DTM_NODE* node = static_cast<const DTM_NODE*>(object);
  MEM_VECTOR<DTM_NODE_ENUM> ids;
  ids.reserve(node->get_nodes().size());
  for (const DTM_NODE* child : node->get_nodes()) {
    if (child == nullptr) {
      return "a child of the node is null";
    }
    if (child->get_id() == DTM_NODE_NONE) {
      return "a child of the node has no id (DTM_NODE_NONE)";
    }
    ids.push_back(child->get_id());
  }
  // Lookups find the first child of an id: a second one could never be
  // reached (the node operations never make one).
  std::sort(ids.begin(), ids.end());
  if (std::adjacent_find(ids.begin(), ids.end()) != ids.end()) {
    return "two children of the node have the same id";
  }
  return check_tree(node->get_data_root());
}

const char* verify_line(const PDB_OBJECT_BASE* object) {
  const DTM_LINE_NODE* line = static_cast<const DTM_LINE_NODE*>(object);
  if (line->get_prev() != nullptr && line->get_prev()->get_next() != line) {
    return "m_prev is a line record whose m_next is not this one";
  }
  if (line->get_next() != nullptr && line->get_next()->get_prev() != line) {
    return "m_next is a line record whose m_prev is not this one";
  }
  return nullptr;
}

// --- Thunks ---------------------------------------------------------------------------

// An empty object: no children, no data, no links, owning nothing.
template <class T>
PDB_OBJECT_BASE* construct(PDB_SEGMENT&, void* memory) {
  if constexpr (std::is_same_v<T, DTM_NODE>) {
    return ::new (memory) DTM_NODE(DTM_NODE_NONE, false);
  } else if constexpr (std::is_same_v<T, DTM_P2P_NODE>) {
    return ::new (memory) DTM_P2P_NODE(nullptr, nullptr, nullptr, nullptr, false);
  } else if constexpr (std::is_base_of_v<DTM_NODE, T>) {
    return ::new (memory) T(false);
  } else {
    return ::new (memory) T();
  }
}

void destroy_line_list(PDB_OBJECT_BASE* head) noexcept {
  DTM_LINE_NODE::delete_list(static_cast<DTM_LINE_NODE*>(head));
}

// Registers T (persisted base BASE, or void) under `name`.
template <class T, class BASE = void>
PDB_CLASS_INFO* register_one(const char* name, std::uint32_t signature) {
  constexpr bool is_virtual = std::is_base_of_v<PDB_VIRTUAL_OBJECT_BASE, T>;
  PDB_CLASS_THUNKS thunks;
  thunks.m_constructor = &construct<T>;
  if constexpr (!is_virtual) {
    thunks.m_serializer = &pdb_serialize_thunk<T>;
  }
  if constexpr (std::is_same_v<T, DTM_LINE_NODE>) {
    thunks.m_destroyer = &destroy_line_list;
    thunks.m_verifier = &verify_line;
  } else {
    thunks.m_destroyer = &pdb_destroy_thunk<T>;
  }
  if constexpr (std::is_base_of_v<DTM_NODE, T>) {
    thunks.m_verifier = &verify_node;
  }
  thunks.m_storer = &pdb_store_thunk<T>;
  thunks.m_type = &pdb_type_tag<T>;
  thunks.m_virtual = is_virtual;
  const PDB_CLASS_INFO* base = nullptr;
  if constexpr (!std::is_void_v<BASE>) {
    static_assert(std::is_base_of_v<BASE, T>, "BASE must be a base of T");
    base = BASE::s_pdb_class_info;
  }
  return PDB_CLASS_INFO::register_class(name, base, sizeof(T), signature, pdb_ddb_segment_info(),
                                        &T::s_pdb_class_info, thunks);
}

// The classes in their registration order, bases before their subclasses.
struct CLASS_ROW {
  const char* m_name;
  std::uint32_t m_signature;
  PDB_CLASS_INFO* (*m_register)(const char* name, std::uint32_t signature);
};

constexpr CLASS_ROW k_classes[] = {
    {"DTM_NODE", 0x02BD41D5, &register_one<DTM_NODE>},
    {"DTM_ENUM_WRAPPER", 0x11BBC1B3, &register_one<DTM_ENUM_WRAPPER>},
    {"DTM_LINE_NODE", 0x2AA631C8, &register_one<DTM_LINE_NODE>},
    {"DTM_FF_NODE", k_leaf_signature, &register_one<DTM_FF_NODE, DTM_NODE>},
    {"DTM_RE_NODE", k_leaf_signature, &register_one<DTM_RE_NODE, DTM_NODE>},
    {"DTM_RE_TABLE_NODE", k_leaf_signature, &register_one<DTM_RE_TABLE_NODE, DTM_NODE>},
    {"DTM_RE_INPUT_PORT_NODE", k_leaf_signature, &register_one<DTM_RE_INPUT_PORT_NODE, DTM_NODE>},
    {"DTM_OUTPUT_PORT_RE_NODE", k_leaf_signature, &register_one<DTM_OUTPUT_PORT_RE_NODE, DTM_NODE>},
    {"DTM_TABLE_NODE", k_leaf_signature, &register_one<DTM_TABLE_NODE, DTM_NODE>},
    {"DTM_FLOAT_TABLE_NODE", k_leaf_signature, &register_one<DTM_FLOAT_TABLE_NODE, DTM_NODE>},
    {"DTM_INTEGER_NODE", k_leaf_signature, &register_one<DTM_INTEGER_NODE, DTM_NODE>},
    {"DTM_RC_NODE", k_leaf_signature, &register_one<DTM_RC_NODE, DTM_NODE>},
    {"DTM_MICRO_NODE", k_leaf_signature, &register_one<DTM_MICRO_NODE, DTM_NODE>},
    {"DTM_P2P_NODE", 0x363F8DBD, &register_one<DTM_P2P_NODE, DTM_NODE>},
    {"DTM_P2P_IN_OUT_NODE", k_leaf_signature, &register_one<DTM_P2P_IN_OUT_NODE, DTM_NODE>},
    {"DTM_P2P_IN_BURIED_NODE", k_leaf_signature, &register_one<DTM_P2P_IN_BURIED_NODE, DTM_NODE>},
    {"DTM_P2P_BURIED_OUT_NODE", k_leaf_signature, &register_one<DTM_P2P_BURIED_OUT_NODE, DTM_NODE>},
    {"DTM_P2P_BURIED_BURIED_NODE", k_leaf_signature,
     &register_one<DTM_P2P_BURIED_BURIED_NODE, DTM_NODE>},
    {"DTM_BASE_DATA", 0xDBE791F8, &register_one<DTM_BASE_DATA>},
    {"DTM_INT_DATA", 0x37796836, &register_one<DTM_INT_DATA, DTM_BASE_DATA>},
    {"DTM_FLOAT_DATA", 0x64FEB9E6, &register_one<DTM_FLOAT_DATA, DTM_BASE_DATA>},
    {"DTM_PTR_DATA", 0xA73BB36B, &register_one<DTM_PTR_DATA, DTM_BASE_DATA>},
    {"DTM_TREE_DATA_KEY", 0x4AE225C5, &register_one<DTM_TREE_DATA_KEY>},
    {"DTM_TREE_DATA", 0x78BE19BC, &register_one<DTM_TREE_DATA>},
    {"DTM_TREE_INT_DATA", 0x3AA3BE80, &register_one<DTM_TREE_INT_DATA, DTM_TREE_DATA>},
    {"DTM_TREE_FLOAT_DATA", 0x49315DFC, &register_one<DTM_TREE_FLOAT_DATA, DTM_TREE_DATA>},
};
static_assert(std::size(k_classes) == 26, "the model persists 26 classes");

// Automatic field matching is not supported: reported, and false.
bool refuse_auto_match(const PDB_CLASS_INFO* info) {
  dtm_report(std::string("Auto-generation of ") + (info != nullptr ? info->get_name() : "?") +
                 "::is_auto_match_pdb_xfr is not enabled",
             k_source);
  return false;
}

}  // namespace

bool dtm_pdb_register_classes() {
  static const bool s_registered = [] {
    PDB_SEGMENT_INFO& info = pdb_ddb_segment_info();
    info.set_max_ownership_depth(DTM_PDB_MAX_OWNERSHIP_DEPTH);
    bool all = true;
    for (const CLASS_ROW& row : k_classes) {
      all = row.m_register(row.m_name, row.m_signature) != nullptr && all;
    }
    return all;
  }();
  return s_registered;
}

namespace {
// Before main: the classes are known to every reader and writer.
const bool g_classes_registered = dtm_pdb_register_classes();
}  // namespace

// 1. A root held already is destroyed. 2. A reader on the .ddb segment
// `name`. 3. When the file opens: the public identifier lists, the root
// "p_ref", then finish_reading_all; true. 4. Otherwise false. 5. The layer's
// PDB_DATABASE_EXCEPTION passes on, the reader closed and everything it made
// freed.
template <>
bool pdb_read_<PDB_ARCHIVE, DTM_NODE>(DTM_NODE*& root, PDB_ARCHIVE& archive, const char* name) {
  dtm_pdb_register_classes();
  MEM_MANAGER::delete_wrapper(root);
  root = nullptr;
  PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), name, ".ddb");
  if (!reader.open()) {
    return false;
  }
  reader.read_public_identifier_lists();
  reader.read_reference("p_ref", root);
  reader.finish_reading_all();
  return true;
}

// The report names the object's own registered class.
bool DTM_NODE::is_auto_match_pdb_xfr(PDB_VIRTUAL_OBJECT_BASE*, PDB_MATCH_DATA*) const {
  return refuse_auto_match(pdb_class_info());
}
bool DTM_BASE_DATA::is_auto_match_pdb_xfr(PDB_VIRTUAL_OBJECT_BASE*, PDB_MATCH_DATA*) const {
  return refuse_auto_match(pdb_class_info());
}
bool DTM_TREE_DATA::is_auto_match_pdb_xfr(PDB_VIRTUAL_OBJECT_BASE*, PDB_MATCH_DATA*) const {
  return refuse_auto_match(pdb_class_info());
}
bool DTM_ENUM_WRAPPER::is_auto_match_pdb_xfr(PDB_OBJECT_BASE*, PDB_MATCH_DATA*) const {
  return refuse_auto_match(pdb_class_info());
}
bool DTM_TREE_DATA_KEY::is_auto_match_pdb_xfr(PDB_OBJECT_BASE*, PDB_MATCH_DATA*) const {
  return refuse_auto_match(pdb_class_info());
}
bool DTM_LINE_NODE::is_auto_match_pdb_xfr(PDB_OBJECT_BASE*, PDB_MATCH_DATA*) const {
  return refuse_auto_match(pdb_class_info());
}
