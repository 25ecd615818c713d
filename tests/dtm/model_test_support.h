// Test helpers for model construction: an owned model root, the stored
// entries of a leaf, and the exact report texts the construction makes.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dtm_check_lines.h"
#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "dtm_tree_data.h"
#include "line_record_view.h"
#include "msg_sys.h"

struct MODEL_DELETER {
  void operator()(DTM_NODE* root) const { MEM_MANAGER::delete_wrapper(root); }
};
using MODEL = std::unique_ptr<DTM_NODE, MODEL_DELETER>;

inline MODEL make_root() { return MODEL(MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true)); }

inline const std::string k_null_args = "(line_node != 0) && (node != 0)";
inline const std::string k_modifier_index =
    "(index < static_cast<DTM_SHORT>(m_modifiers.size())) && (index >= 0)";
inline const std::string k_too_many_parents = "too many parents at this line node";
inline const std::string k_mismatch = "Duplicate DMF lines contain mismatching delays";

// A key part as (family code, stored value).
using PART = std::pair<int, int>;
using PARTS = std::vector<PART>;

inline PARTS key_parts(const DTM_TREE_DATA* data) {
  PARTS parts;
  if (data == nullptr || data->get_key() == nullptr) {
    return parts;
  }
  const DTM_TREE_DATA_KEY& key = *data->get_key();
  for (DTM_SHORT i = 0; i < key.get_num_wrapper(); ++i) {
    parts.emplace_back(key.get_wrappers()[i].get_enum_type(), key.get_wrappers()[i].get_enum_id());
  }
  return parts;
}

// Which of a point-to-point node's direction nodes holds the data.
enum class DIRECTION { NONE, IN_OUT, IN_BURIED, BURIED_OUT, BURIED_BURIED };

// The data root that holds the delays of kind `kind` at `parent`: the typed
// leaf's, or for the point-to-point kind that of the direction node.
inline const DTM_TREE_DATA* leaf_data(const DTM_NODE* parent, DTM_NODE_ENUM kind,
                                      DIRECTION direction = DIRECTION::NONE) {
  if (parent == nullptr) {
    return nullptr;
  }
  const DTM_NODE* leaf = parent->get_sub_node(kind);
  if (leaf == nullptr) {
    return nullptr;
  }
  if (kind != DTM_P2P) {
    return leaf->get_data_root();
  }
  const auto* p2p = dynamic_cast<const DTM_P2P_NODE*>(leaf);
  if (p2p == nullptr) {
    return nullptr;
  }
  const DTM_NODE* node = nullptr;
  switch (direction) {
    case DIRECTION::IN_OUT:
      node = p2p->get_in_out_node();
      break;
    case DIRECTION::IN_BURIED:
      node = p2p->get_in_buried_node();
      break;
    case DIRECTION::BURIED_OUT:
      node = p2p->get_buried_out_node();
      break;
    case DIRECTION::BURIED_BURIED:
      node = p2p->get_buried_buried_node();
      break;
    case DIRECTION::NONE:
      break;
  }
  return node == nullptr ? nullptr : node->get_data_root();
}

// The value of a one-entry data tree, as a double (integer kinds converted).
inline double single_value(const DTM_TREE_DATA* data, bool is_float) {
  if (data == nullptr) {
    return -1.0e300;
  }
  return is_float ? data->get_float_data() : static_cast<double>(data->get_int_data());
}
