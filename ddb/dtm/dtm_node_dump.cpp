// Text forms of a timing-model tree: the outline (one line per node,
// indented by depth), the path listing (one line per data entry, carrying the
// names of the whole path) and the one-way comparison of two trees. The data
// lines themselves are written by the delay tree (print_tree, print_this,
// compare_data_tree); docs/dumps.md shows every format.
//
// Each form is one skeleton below, given the node's children as a walk: a
// plain node walks m_nodes, the point-to-point node its existing direction
// nodes.
#include <string>
#include <string_view>

#include "dbs_translator.h"
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "dtm_report.h"
#include "dtm_tree_data.h"

namespace {

constexpr const char* k_node_source = "dtm_node";
constexpr const char* k_p2p_source = "dtm_p2p_node";

// One level of the outline's indentation, and one step of a listed path.
constexpr std::string_view k_outline_step = "|-  ";
constexpr std::string_view k_path_step = "\t|-- ";

// The outline's indentation for `depth`.
std::string outline_indent(short depth) {
  std::string indent;
  if (depth > 0) {
    indent.reserve(static_cast<std::size_t>(depth) * k_outline_step.size());
  }
  for (short i = 0; i < depth; ++i) {
    indent += k_outline_step;
  }
  return indent;
}

// `prefix` followed by the step to the node named `id`.
std::string path_prefix(const std::string& prefix, DTM_NODE_ENUM id) {
  const std::string_view name = DBS_TRANSLATOR::get_debug_string_name(id);
  std::string result;
  result.reserve(prefix.size() + k_path_step.size() + name.size());
  result += prefix;
  result += k_path_step;
  result += name;
  return result;
}

// What the skeletons read of a node besides its children.
struct NODE_TEXT {
  DTM_NODE_ENUM m_id;
  std::string_view m_description;
  const DTM_TREE_DATA* m_data;
};

// The outline: the name line, the description line when there is a
// description, the children (`children` writes them, given the name line's
// text), then the data lines with the name line's text as their prefix.
template <class CHILDREN>
void write_outline(std::ostream& os, short depth, const NODE_TEXT& node, CHILDREN children) {
  const std::string indent = outline_indent(depth);
  const std::string prefix = indent + DBS_TRANSLATOR::get_debug_string_name(node.m_id);
  os << prefix << "\n";
  if (!node.m_description.empty()) {
    os << indent << "Description:  " << node.m_description << "\n";
  }
  children(prefix);
  if (node.m_data != nullptr) {
    node.m_data->print_tree(os, prefix);
  }
}

// The path listing: nothing for the node itself; its children, then its data
// lines, all under the node's own path prefix.
template <class WALK>
void write_paths(std::ostream& os, const std::string& prefix, const NODE_TEXT& node, WALK walk) {
  const std::string node_prefix = path_prefix(prefix, node.m_id);
  walk([&](const DTM_NODE& child) { child.dump_tree(os, node_prefix); });
  if (node.m_data != nullptr) {
    node.m_data->print_tree(os, node_prefix);
  }
}

struct COMPARE_FLAGS {
  bool m_skip_missing;
  bool m_compare_values;
  float m_tolerance;
};

// The comparison. `walk_against(other, visit)` calls visit(child, match) for
// each child of this node, `match` being the other node's counterpart or
// null. A child without counterpart is listed with the path dump (which adds
// the child's own name to `prefix`) unless missing children are skipped.
template <class WALK_AGAINST>
void compare_nodes(const DTM_NODE& self, const DTM_NODE* other, std::ostream& os,
                   const std::string& prefix, const COMPARE_FLAGS& flags, const char* source,
                   WALK_AGAINST walk_against) {
  if (other == nullptr) {
    self.dump_tree(os, prefix);
    return;
  }
  dtm_assert(self.get_id() == other->get_id(), "m_id == node->get_id()", source);
  walk_against(*other, [&](const DTM_NODE& child, const DTM_NODE* match) {
    if (match != nullptr) {
      child.compare_trees(match, os, path_prefix(prefix, child.get_id()), flags.m_skip_missing,
                          flags.m_compare_values, flags.m_tolerance);
    } else if (!flags.m_skip_missing) {
      child.dump_tree(os, prefix);
    }
  });
  if (const DTM_TREE_DATA* data = self.get_data_root(); data != nullptr) {
    data->compare_data_tree(other->get_data_root(), os, prefix, flags.m_skip_missing,
                            flags.m_compare_values, flags.m_tolerance);
  }
}

// The direction nodes of a point-to-point node, in the order of every form.
struct DIRECTION_ROW {
  const char* m_title;
  const DTM_NODE* (*m_get)(const DTM_P2P_NODE&);
};

constexpr DIRECTION_ROW k_directions[] = {
    {"(INPUT-->OUTPUT)\n",
     [](const DTM_P2P_NODE& n) -> const DTM_NODE* { return n.get_in_out_node(); }},
    {"(INPUT-->BURIED)\n",
     [](const DTM_P2P_NODE& n) -> const DTM_NODE* { return n.get_in_buried_node(); }},
    {"(BURIED-->OUTPUT)\n",
     [](const DTM_P2P_NODE& n) -> const DTM_NODE* { return n.get_buried_out_node(); }},
    {"(BURIED-->BURIED)\n",
     [](const DTM_P2P_NODE& n) -> const DTM_NODE* { return n.get_buried_buried_node(); }},
};

}  // namespace

// --- DTM_NODE -----------------------------------------------------------------------

void DTM_NODE::dump_tree(std::ostream& os, short depth, int a, int b) const {
  write_outline(os, depth, {m_id, m_description, m_data_root}, [&](const std::string&) {
    for (const DTM_NODE* child : m_nodes) {
      if (child != nullptr) {
        child->dump_tree(os, static_cast<short>(depth + 1), a, b);
      }
    }
  });
}

void DTM_NODE::dump_tree(std::ostream& os, const std::string& prefix) const {
  write_paths(os, prefix, {m_id, m_description, m_data_root}, [&](auto visit) {
    for (const DTM_NODE* child : m_nodes) {
      if (child != nullptr) {
        visit(*child);
      }
    }
  });
}

void DTM_NODE::dump_tree_in_dmf_format(std::ostream&, std::string_view) const {}

void DTM_NODE::compare_trees(const DTM_NODE* other, std::ostream& os, const std::string& prefix,
                             bool skip_missing, bool compare_values, float tolerance) const {
  compare_nodes(*this, other, os, prefix, {skip_missing, compare_values, tolerance}, k_node_source,
                [&](const DTM_NODE& counterpart, auto visit) {
                  for (const DTM_NODE* child : m_nodes) {
                    if (child != nullptr) {
                      visit(*child, counterpart.get_node(child->get_id()));
                    }
                  }
                });
}

// --- DTM_P2P_NODE ---------------------------------------------------------------------

void DTM_P2P_NODE::dump_tree(std::ostream& os, short depth, int a, int b) const {
  write_outline(os, depth, {m_id, m_description, m_data_root}, [&](const std::string& prefix) {
    for (const DIRECTION_ROW& row : k_directions) {
      if (const DTM_NODE* direction = row.m_get(*this); direction != nullptr) {
        os << prefix << row.m_title;
        direction->dump_tree(os, static_cast<short>(depth + 1), a, b);
      }
    }
  });
}

void DTM_P2P_NODE::dump_tree(std::ostream& os, const std::string& prefix) const {
  write_paths(os, prefix, {m_id, m_description, m_data_root}, [&](auto visit) {
    for (const DIRECTION_ROW& row : k_directions) {
      if (const DTM_NODE* direction = row.m_get(*this); direction != nullptr) {
        visit(*direction);
      }
    }
  });
}

void DTM_P2P_NODE::dump_tree_in_dmf_format(std::ostream&, std::string_view) const {}

void DTM_P2P_NODE::compare_trees(const DTM_NODE* other, std::ostream& os, const std::string& prefix,
                                 bool skip_missing, bool compare_values, float tolerance) const {
  compare_nodes(*this, other, os, prefix, {skip_missing, compare_values, tolerance}, k_p2p_source,
                [&](const DTM_NODE& counterpart, auto visit) {
                  const auto* other_p2p = dynamic_cast<const DTM_P2P_NODE*>(&counterpart);
                  for (const DIRECTION_ROW& row : k_directions) {
                    if (const DTM_NODE* direction = row.m_get(*this); direction != nullptr) {
                      visit(*direction, other_p2p != nullptr ? row.m_get(*other_p2p) : nullptr);
                    }
                  }
                });
}
