// Text forms of a timing-model tree: the outline (one line per node,
// indented by depth), the path listing (one line per data entry, carrying the
// names of the whole path) and the one-way comparison of two trees. The data
// lines themselves are written by the delay tree (print_tree, print_this,
// compare_data_tree); docs/dumps.md shows every format.
//
// Each form is one walk below, over the children DTM_CHILD_WALK gives (a
// plain node's m_nodes, a point-to-point node's existing direction nodes).
// The walks keep a work list instead of recursing, so a model of any depth
// is written within a small stack, and they write exactly what a recursion
// over the nodes would: a node's lines, its children's subtrees in order,
// then its data. The text a node's lines start with is kept in one string
// that each level extends and cuts back, so a deep node costs no copy of its
// whole path.
#include <string>
#include <string_view>

#include "dbs_translator.h"
#include "dtm_node.h"
#include "dtm_node_walk.h"
#include "dtm_p2p_node.h"
#include "dtm_report.h"
#include "dtm_tree_data.h"

namespace {

constexpr const char* k_node_source = "dtm_node";
constexpr const char* k_p2p_source = "dtm_p2p_node";

// One level of the outline's indentation, and one step of a listed path.
constexpr std::string_view k_outline_step = "|-  ";
constexpr std::string_view k_path_step = "\t|-- ";

// The outline's direction titles, by direction position.
constexpr const char* k_direction_titles[DTM_CHILD_WALK::DIRECTIONS] = {
    "(INPUT-->OUTPUT)\n", "(INPUT-->BURIED)\n", "(BURIED-->OUTPUT)\n", "(BURIED-->BURIED)\n"};

std::string_view name_of(DTM_NODE_ENUM id) { return DBS_TRANSLATOR::get_debug_string_name(id); }

// The outline's name line of a node: its indentation ("|-  " per level of a
// positive depth) followed by its name. Moving to another node changes only
// the end of the line that differs.
class OUTLINE_LINE {
 public:
  const std::string& set(short depth, DTM_NODE_ENUM id) {
    const std::size_t indent =
        depth > 0 ? static_cast<std::size_t>(depth) * k_outline_step.size() : 0;
    if (indent <= m_indent) {
      m_text.resize(indent);
    } else {
      m_text.resize(m_indent);
      while (m_text.size() < indent) {
        m_text += k_outline_step;
      }
    }
    m_indent = indent;
    m_text += name_of(id);
    return m_text;
  }
  std::string_view indent() const { return std::string_view(m_text).substr(0, m_indent); }

 private:
  std::string m_text;
  std::size_t m_indent = 0;
};

// The outline of `top`: per node its name line, its description line when
// it has a description, its children one level deeper (a point-to-point
// node: per direction its name line with the direction's title, then the
// direction node), then its data lines under its name line.
template <class DESCRIPTION>
void write_outline(std::ostream& os, const DTM_NODE& top, short depth, DESCRIPTION description) {
  struct FRAME {
    DTM_CHILD_WALK m_children;
    short m_depth;
  };
  MEM_VECTOR<FRAME> stack;
  OUTLINE_LINE line;
  const auto enter = [&](const DTM_NODE& node, short node_depth) {
    os << line.set(node_depth, node.get_id()) << "\n";
    if (const std::string_view text = description(node); !text.empty()) {
      os << line.indent() << "Description:  " << text << "\n";
    }
    stack.push_back(FRAME{DTM_CHILD_WALK(node), node_depth});
  };
  enter(top, depth);
  while (!stack.empty()) {
    FRAME& frame = stack.back();
    const DTM_NODE& node = frame.m_children.node();
    const short node_depth = frame.m_depth;
    int direction = -1;
    if (const DTM_NODE* child = frame.m_children.next(&direction); child != nullptr) {
      if (direction >= 0) {
        os << line.set(node_depth, node.get_id()) << k_direction_titles[direction];
      }
      enter(*child, static_cast<short>(node_depth + 1));
      continue;
    }
    stack.pop_back();
    if (const DTM_TREE_DATA* data = node.get_data_root(); data != nullptr) {
      data->print_tree(os, line.set(node_depth, node.get_id()));
    }
  }
}

// The path listing of `top`, whose path so far is `path`: nothing for a node
// itself; its children, then its data lines, under the node's path (the
// path so far, "\t|-- " and the node's name). `path` is extended and cut
// back on the way, and holds its old text again at the end.
void write_paths(std::ostream& os, const DTM_NODE& top, std::string& path) {
  struct FRAME {
    DTM_CHILD_WALK m_children;
    std::size_t m_length;  // of the node's path
  };
  const std::size_t start = path.size();
  MEM_VECTOR<FRAME> stack;
  const auto enter = [&](const DTM_NODE& node) {
    path += k_path_step;
    path += name_of(node.get_id());
    stack.push_back(FRAME{DTM_CHILD_WALK(node), path.size()});
  };
  enter(top);
  while (!stack.empty()) {
    FRAME& frame = stack.back();
    path.resize(frame.m_length);
    if (const DTM_NODE* child = frame.m_children.next(); child != nullptr) {
      enter(*child);
      continue;
    }
    const DTM_TREE_DATA* data = frame.m_children.node().get_data_root();
    stack.pop_back();
    if (data != nullptr) {
      data->print_tree(os, path);
    }
  }
  path.resize(start);
}

struct COMPARE_FLAGS {
  bool m_skip_missing;
  bool m_compare_values;
  float m_tolerance;
};

// The comparison of `top` with `other`. Per pair of nodes: different ids
// are reported; each child is looked up in the other node (by id among
// children, by direction between two point-to-point nodes) and compared
// under the path extended by its name, or, without counterpart and unless
// missing children are skipped, listed with the path dump under the
// parent's path; then the node's data is compared with the other's.
void compare_nodes(const DTM_NODE& top, const DTM_NODE* other, std::ostream& os,
                   const std::string& prefix, const COMPARE_FLAGS& flags) {
  std::string path = prefix;
  if (other == nullptr) {
    write_paths(os, top, path);
    return;
  }
  struct FRAME {
    DTM_CHILD_WALK m_children;
    const DTM_NODE* m_other;
    const DTM_P2P_NODE* m_other_p2p;
    std::size_t m_length;  // of the node's path
  };
  MEM_VECTOR<FRAME> stack;
  const auto enter = [&](const DTM_NODE& node, const DTM_NODE& counterpart) {
    DTM_CHILD_WALK children(node);
    dtm_assert(node.get_id() == counterpart.get_id(), "m_id == node->get_id()",
               children.p2p() != nullptr ? k_p2p_source : k_node_source);
    const DTM_P2P_NODE* counterpart_p2p =
        children.p2p() != nullptr ? dynamic_cast<const DTM_P2P_NODE*>(&counterpart) : nullptr;
    stack.push_back(FRAME{children, &counterpart, counterpart_p2p, path.size()});
  };
  enter(top, *other);
  while (!stack.empty()) {
    FRAME& frame = stack.back();
    path.resize(frame.m_length);
    int direction = -1;
    if (const DTM_NODE* child = frame.m_children.next(&direction); child != nullptr) {
      const DTM_NODE* match = nullptr;
      if (direction >= 0) {
        match = frame.m_other_p2p != nullptr
                    ? DTM_CHILD_WALK::direction_node(*frame.m_other_p2p, direction)
                    : nullptr;
      } else {
        match = frame.m_other->get_node(child->get_id());
      }
      if (match != nullptr) {
        path += k_path_step;
        path += name_of(child->get_id());
        enter(*child, *match);
      } else if (!flags.m_skip_missing) {
        write_paths(os, *child, path);
      }
      continue;
    }
    const DTM_NODE& node = frame.m_children.node();
    const DTM_NODE& counterpart = *frame.m_other;
    stack.pop_back();
    if (const DTM_TREE_DATA* data = node.get_data_root(); data != nullptr) {
      data->compare_data_tree(counterpart.get_data_root(), os, path, flags.m_skip_missing,
                              flags.m_compare_values, flags.m_tolerance);
    }
  }
}

}  // namespace

// --- DTM_NODE -----------------------------------------------------------------------
// The walks serve every class: the point-to-point node's forms forward here.

void DTM_NODE::dump_tree(std::ostream& os, short depth, int, int) const {
  write_outline(os, *this, depth,
                [](const DTM_NODE& node) -> std::string_view { return node.m_description; });
}

void DTM_NODE::dump_tree(std::ostream& os, const std::string& prefix) const {
  std::string path = prefix;
  write_paths(os, *this, path);
}

void DTM_NODE::dump_tree_in_dmf_format(std::ostream&, std::string_view) const {}

void DTM_NODE::compare_trees(const DTM_NODE* other, std::ostream& os, const std::string& prefix,
                             bool skip_missing, bool compare_values, float tolerance) const {
  compare_nodes(*this, other, os, prefix, {skip_missing, compare_values, tolerance});
}

// --- DTM_P2P_NODE ---------------------------------------------------------------------

void DTM_P2P_NODE::dump_tree(std::ostream& os, short depth, int a, int b) const {
  DTM_NODE::dump_tree(os, depth, a, b);
}

void DTM_P2P_NODE::dump_tree(std::ostream& os, const std::string& prefix) const {
  DTM_NODE::dump_tree(os, prefix);
}

void DTM_P2P_NODE::dump_tree_in_dmf_format(std::ostream&, std::string_view) const {}

void DTM_P2P_NODE::compare_trees(const DTM_NODE* other, std::ostream& os, const std::string& prefix,
                                 bool skip_missing, bool compare_values, float tolerance) const {
  DTM_NODE::compare_trees(other, os, prefix, skip_missing, compare_values, tolerance);
}
