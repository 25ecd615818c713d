// Conversion of a checked line list into timing nodes: description lines
// create nodes and give them their text, delay lines go to the add operation
// of their delay type (dtm_gen_insert.cpp).
//
// One table holds what each node type means here: the add operation its
// delay lines go to and the typed node a description creates for it.
#include <array>
#include <sstream>
#include <string>

#include "dbs_translator.h"
#include "dtm_ff_node.h"
#include "dtm_float_table_node.h"
#include "dtm_gen.h"
#include "dtm_integer_node.h"
#include "dtm_micro_node.h"
#include "dtm_output_port_re_node.h"
#include "dtm_p2p_node.h"
#include "dtm_rc_node.h"
#include "dtm_re_input_port_node.h"
#include "dtm_re_node.h"
#include "dtm_re_table_node.h"
#include "dtm_report.h"
#include "dtm_string.h"
#include "dtm_table_node.h"

namespace {

constexpr const char* k_source = "dtm_gen";

using ADD = void (DTM_FACTORY::*)(const DTM_LINE_NODE*, DTM_NODE*) const;
using MAKE = DTM_NODE* (*)();

template <class LEAF>
DTM_NODE* make_leaf() {
  return MEM_MANAGER::new_wrapper<LEAF>(true);
}
// A point-to-point node made by a description starts without direction
// nodes; each is made by the first delay of its direction.
DTM_NODE* make_p2p() {
  return MEM_MANAGER::new_wrapper<DTM_P2P_NODE>(nullptr, nullptr, nullptr, nullptr, true);
}

// The node types that convert dispatches and descriptions create. A delay
// type without an add operation is skipped in silence; one without a row is
// unknown to both.
struct NODE_TYPE_ROW {
  DTM_NODE_ENUM m_type;
  ADD m_add;
  MAKE m_make;
};

constexpr NODE_TYPE_ROW k_node_types[] = {
    {DTM_P2P, &DTM_FACTORY::add_p2p, &make_p2p},
    {DTM_TABLE, &DTM_FACTORY::add_table, &make_leaf<DTM_TABLE_NODE>},
    {DTM_FLOAT_TABLE, &DTM_FACTORY::add_float_table, &make_leaf<DTM_FLOAT_TABLE_NODE>},
    {DTM_MICRO, &DTM_FACTORY::add_micro, &make_leaf<DTM_MICRO_NODE>},
    {DTM_RC, &DTM_FACTORY::add_rc, &make_leaf<DTM_RC_NODE>},
    {DTM_RE, &DTM_FACTORY::add_re, &make_leaf<DTM_RE_NODE>},
    {DTM_RE_TABLE, &DTM_FACTORY::add_re_table, &make_leaf<DTM_RE_TABLE_NODE>},
    {DTM_FF, &DTM_FACTORY::add_ff, &make_leaf<DTM_FF_NODE>},
    {DTM_OUTPUT_PORT_RE, &DTM_FACTORY::add_output_port_re, &make_leaf<DTM_OUTPUT_PORT_RE_NODE>},
    {DTM_RE_INPUT_PORT, &DTM_FACTORY::add_re_input_port, &make_leaf<DTM_RE_INPUT_PORT_NODE>},
    {DTM_GENERAL_PARAM, nullptr, nullptr},
    {DTM_INTEGER, &DTM_FACTORY::add_integer, &make_leaf<DTM_INTEGER_NODE>},
};

// The row of every node-type value, found once by the compiler (null: none).
constexpr auto k_node_type_of = [] {
  std::array<const NODE_TYPE_ROW*, DTM_NODE_MAX_ENUM + 1> rows{};
  for (const NODE_TYPE_ROW& row : k_node_types) {
    rows[static_cast<std::size_t>(row.m_type)] = &row;
  }
  return rows;
}();

const NODE_TYPE_ROW* find_node_type(DTM_NODE_ENUM type) {
  const auto value = static_cast<std::size_t>(type);
  return value < k_node_type_of.size() ? k_node_type_of[value] : nullptr;
}

// The failed attach of a description's node, by the length of its parent path.
const char* const k_add_node_texts[DTM_PATH_LENGTH] = {
    "node->add_node(temp_node)",
    "node->add_node(temp_node, p0)",
    "node->add_node(temp_node, p0, p1)",
    "node->add_node(temp_node, p0, p1, p2)",
    "node->add_node(temp_node, p0, p1, p2, p3)",
    "node->add_node(temp_node, p0, p1, p2, p3, p4)",
    "node->add_node(temp_node, p0, p1, p2, p3, p4, p5)",
    "node->add_node(temp_node, p0, p1, p2, p3, p4, p5, p6)",
    "node->add_node(temp_node, p0, p1, p2, p3, p4, p5, p6, p7)",
    "node->add_node(temp_node, p0, p1, p2, p3, p4, p5, p6, p7, p8)",
};

// Attaches `node` under `root` at `path` (the path of its parent); frees it
// and answers false when the tree refuses it.
bool attach(DTM_NODE* root, DTM_NODE* node, const DTM_PATH& path) {
  if (root->add_node(node, DTM_PATH_SPREAD(path))) {
    return true;
  }
  MEM_MANAGER::delete_wrapper(node);
  return false;
}

}  // namespace

DTM_NODE* DTM_FACTORY::convert(const DTM_LINE_NODE* begin, DTM_NODE* root) const {
  dtm_assert(begin != nullptr && begin->get_prev() == nullptr,
             "(begin != 0) && (begin->get_prev() == 0)", k_source);
  if (root == nullptr) {
    root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  }
  DTM_CONVERT_MEMO memo;
  for (const DTM_LINE_NODE* line = begin; line != nullptr; line = line->get_next()) {
    prefetch_ahead(line->get_next());
    if (line->is_description()) {
      add_description(line, root);
      continue;
    }
    const char* type_name = line->get_modifier(0);
    const NODE_TYPE_ROW* row = find_node_type(DBS_TRANSLATOR::find_dtm_node_enum(type_name));
    if (row == nullptr) {
      std::ostringstream text;
      text << "Bad DMF file: Line " << line->get_line_number()
           << " has an unknown timing node type: " << type_name << std::endl;
      dtm_report(text.str(), k_source);
    } else if (row->m_add != nullptr) {
      // What m_add does, with the memo of this conversion.
      add_delay_line(row->m_type, line, root, &memo);
    }
  }
  return root;
}

void DTM_FACTORY::add_description(const DTM_LINE_NODE* line, DTM_NODE* root) const {
  if (!dtm_assert(line != nullptr && root != nullptr, "(line_node != 0) && (node != 0)",
                  k_source)) {
    return;
  }
  const DTM_PATH path = get_parent_path(line, false);

  DTM_NODE_ENUM modifier = DTM_NODE_NONE;
  if (line->get_num_modifiers() > 0) {
    dtm_assert(line->get_num_modifiers() == 1, "too many delay modifiers for a description",
               k_source);
    modifier = DTM_STRING::get_dtm_node_enum(line->get_modifier(0));
    dtm_assert(modifier != DTM_NODE_MAX_ENUM, "modifier != DTM_NODE_MAX_ENUM", k_source);
  }

  // The node the parents name; its last level is made when it is missing.
  DTM_NODE* target = path.empty() ? root : root->get_node_by_path(path);
  if (target == nullptr) {
    const int parents =
        line->get_num_parents() < DTM_PATH_LENGTH ? line->get_num_parents() : DTM_PATH_LENGTH;
    if (parents < 1) {
      dtm_report("Strange error in DMF parsing", k_source);
    } else {
      DTM_PATH parent_path = path;
      for (int i = parents - 1; i < DTM_PATH_LENGTH; ++i) {
        parent_path.m_places[i] = DTM_NODE_NONE;
      }
      DTM_NODE* node = MEM_MANAGER::new_wrapper<DTM_NODE>(path[parents - 1], true);
      if (dtm_assert(attach(root, node, parent_path), k_add_node_texts[parents - 1], k_source)) {
        target = node;
      }
    }
    if (!dtm_assert(target != nullptr, "temp_node != 0", k_source)) {
      return;
    }
  }

  if (modifier != DTM_NODE_NONE) {
    if (DTM_NODE* typed = target->get_node(modifier); typed != nullptr) {
      target = typed;
    } else {
      const NODE_TYPE_ROW* row = find_node_type(modifier);
      if (row == nullptr || row->m_make == nullptr) {
        dtm_report("unknown modifier name", k_source);
        return;
      }
      DTM_NODE* node = row->m_make();
      if (!dtm_assert(attach(target, node, DTM_PATH{}), "temp_node->add_node(temp_mod_node)",
                      k_source)) {
        return;
      }
      target = node;
    }
  }
  target->set_description(line->get_description());
}
