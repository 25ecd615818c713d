// DTM_EXPORT: a timing model as DMF text. Every line is checked against what
// the DMF reader will make of it (each name read back the way the build reads
// it), so that a line is written only when it rebuilds exactly the node or the
// delay it comes from; everything else is reported and left out.
#include "dtm_export.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "dtm_report.h"
#include "dtm_string.h"
#include "dtm_tree_data.h"

namespace {

constexpr const char* k_source = "dtm_export";

// How a key part is written as a modifier word, and how the reader takes
// that word back.
enum class ROLE : unsigned char {
  NONE,
  DTM_ENUM_KEY,
  RE_TYPE,
  INPUT_PORT,
  OUTPUT_PORT,
  BURIED_PORT,
  INDEX,
  P2P_SOURCE,  // an input port, else a buried port
  P2P_TARGET,  // an output port, else a buried port
};

// The delay lines of one kind of data-holding node.
struct LAYOUT {
  DTM_NODE_ENUM m_kind;       // id of the node that holds the data
  DTM_NODE_ENUM m_line_type;  // the delay type the line names
  bool m_float;               // float values (else integers)
  ROLE m_roles[3];            // the key parts, in modifier order
  bool m_condition_last;      // the last part is left out of the key when DTM_NONE
  bool m_kind_first;          // the first part is written only when not DTM_NONE
};

constexpr ROLE E = ROLE::DTM_ENUM_KEY;
constexpr ROLE R = ROLE::RE_TYPE;

constexpr LAYOUT k_layouts[] = {
    {DTM_TABLE, DTM_TABLE, false, {E, E}, false, false},
    {DTM_FLOAT_TABLE, DTM_FLOAT_TABLE, true, {E, E}, false, false},
    {DTM_MICRO, DTM_MICRO, false, {E}, false, false},
    {DTM_RC, DTM_RC, true, {R, E, E}, false, false},
    {DTM_RE, DTM_RE, false, {R}, false, false},
    {DTM_RE_TABLE, DTM_RE_TABLE, false, {R, R, E}, true, false},
    {DTM_FF, DTM_FF, false, {ROLE::BURIED_PORT, E}, false, false},
    {DTM_OUTPUT_PORT_RE, DTM_OUTPUT_PORT_RE, false, {ROLE::OUTPUT_PORT, R}, false, false},
    {DTM_RE_INPUT_PORT, DTM_RE_INPUT_PORT, false, {R, ROLE::INPUT_PORT}, false, false},
    {DTM_INTEGER, DTM_INTEGER, false, {E, ROLE::INDEX}, false, true},
    {DTM_P2P_IN_OUT, DTM_P2P, false, {ROLE::P2P_SOURCE, ROLE::P2P_TARGET, E}, true, false},
    {DTM_P2P_IN_BURIED, DTM_P2P, false, {ROLE::P2P_SOURCE, ROLE::P2P_TARGET, E}, true, false},
    {DTM_P2P_BURIED_OUT, DTM_P2P, false, {ROLE::P2P_SOURCE, ROLE::P2P_TARGET, E}, true, false},
    {DTM_P2P_BURIED_BURIED, DTM_P2P, false, {ROLE::P2P_SOURCE, ROLE::P2P_TARGET, E}, true, false},
};

const LAYOUT* find_layout(DTM_NODE_ENUM id) {
  for (const LAYOUT& layout : k_layouts) {
    if (layout.m_kind == id) {
      return &layout;
    }
  }
  return nullptr;
}

int role_count(const LAYOUT& layout) {
  int count = 0;
  while (count < 3 && layout.m_roles[count] != ROLE::NONE) {
    ++count;
  }
  return count;
}

// Node types that a DMF line can never name as a map type: every delay type,
// the general parameters and the bound.
bool is_delay_type(DTM_NODE_ENUM id) {
  return id == DTM_P2P || id == DTM_GENERAL_PARAM || id == DTM_NODE_MAX_ENUM ||
         (find_layout(id) != nullptr && find_layout(id)->m_line_type == id);
}

// A word of a DMF line: not empty, no separator, no quote, not a keyword
// that the reader gives a meaning of its own.
bool is_word(std::string_view word) {
  if (word.empty() || word == "||" || word == ";;" || word == "::") {
    return false;
  }
  return word.find_first_of(std::string_view(" \t\r\n\"\0", 6)) == std::string_view::npos;
}

// What the reader makes of a modifier word in the given role.
DTM_ENUM_WRAPPER read_back(ROLE role, const std::string& word) {
  const char* text = word.c_str();
  switch (role) {
    case ROLE::DTM_ENUM_KEY:
      return DTM_ENUM_WRAPPER(DTM_STRING::get_dtm_enum(text));
    case ROLE::RE_TYPE:
      return DTM_ENUM_WRAPPER(DTM_STRING::get_cdb_re_type_enum(text));
    case ROLE::INPUT_PORT:
      return DTM_ENUM_WRAPPER(DTM_STRING::get_db_input_port_type_enum(text));
    case ROLE::OUTPUT_PORT:
      return DTM_ENUM_WRAPPER(DTM_STRING::get_db_output_port_type_enum(text));
    case ROLE::BURIED_PORT:
      return DTM_ENUM_WRAPPER(DTM_STRING::get_db_buried_port_type_enum(text));
    case ROLE::INDEX: {
      const long value = std::strtol(text, nullptr, 10);
      const int index = value > INT32_MAX   ? INT32_MAX
                        : value < INT32_MIN ? INT32_MIN
                                            : static_cast<int>(value);
      return DTM_ENUM_WRAPPER::for_index(index);
    }
    case ROLE::P2P_SOURCE: {
      const DB_INPUT_PORT_TYPE input = DTM_STRING::get_db_input_port_type_enum(text);
      return input != DB_MAX_INPUT_PORT_TYPE
                 ? DTM_ENUM_WRAPPER(input)
                 : DTM_ENUM_WRAPPER(DTM_STRING::get_db_buried_port_type_enum(text));
    }
    case ROLE::P2P_TARGET: {
      const DB_OUTPUT_PORT_TYPE output = DTM_STRING::get_db_output_port_type_enum(text);
      return output != DB_MAX_OUTPUT_PORT_TYPE
                 ? DTM_ENUM_WRAPPER(output)
                 : DTM_ENUM_WRAPPER(DTM_STRING::get_db_buried_port_type_enum(text));
    }
    case ROLE::NONE:
      break;
  }
  return DTM_ENUM_WRAPPER();
}

// The modifier word of a stored key part: its name, or the decimal index.
std::string part_word(const DTM_ENUM_WRAPPER& part) {
  if (part.get_enum_type() == DTM_WRAPPER_INDEX) {
    const auto index =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(part.get_enum_id()) - 1U);
    return std::to_string(index);
  }
  const char* name = part.get_name();
  return name != nullptr ? std::string(name) : std::string();
}

template <class VALUE>
void append_number(std::string& line, VALUE value) {
  char buffer[64];
  const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof buffer, value);
  line.append(buffer, result.ptr);
}

// The walk. m_path holds the ids from the root's child down to the node
// being visited; a node's depth is its number of path places. The walk goes
// no deeper than one level below the deepest node a line can name.
class WRITER {
 public:
  explicit WRITER(std::ostream& os) : m_os(os) {}

  void visit_root(const DTM_NODE& root);
  const DTM_EXPORT::DTM_EXPORT_COUNTS& get_counts() const { return m_counts; }

 private:
  // What a node could not write, reported once when the node is done.
  struct REFUSALS {
    std::size_t m_count = 0;
    const char* m_reason = nullptr;
    void add(std::size_t count, const char* reason) {
      if (count > 0 && m_reason == nullptr) {
        m_reason = reason;
      }
      m_count += count;
    }
  };

  void visit(const DTM_NODE& node, int depth);
  void visit_plain(const DTM_NODE& node, int depth);
  void visit_leaf(const DTM_NODE& node, const LAYOUT* layout, int depth);
  void visit_p2p(const DTM_NODE& node, int depth);

  // Checks the first `count` places of the path as the parents of a line.
  const char* parents_problem(int count, int most) const;
  void append_parents(std::string& line, int count) const;
  void write_description(const DTM_NODE& node, int parents, DTM_NODE_ENUM modifier,
                         REFUSALS& refusals);
  void write_data(const DTM_NODE& holder, const LAYOUT& layout, int parents, REFUSALS& refusals);
  bool write_entry(const DTM_TREE_DATA& entry, const LAYOUT& layout, int parents,
                   REFUSALS& refusals);
  bool emit(const std::string& line, REFUSALS& refusals);
  // Reports what the node at `depth` (0: the root) left out.
  void finish(int depth, const REFUSALS& refusals);

  // Everything a subtree holds: descriptions and data entries.
  static std::size_t count_contents(const DTM_NODE& node);

  std::ostream& m_os;
  DTM_NODE_ENUM m_root_id = DTM_ROOT;
  DTM_NODE_ENUM m_path[DTM_PATH_LENGTH + 2] = {};
  DTM_EXPORT::DTM_EXPORT_COUNTS m_counts;
};

std::size_t WRITER::count_contents(const DTM_NODE& node) {
  // A refused subtree can be as deep as a file allows: count from a work list.
  std::size_t count = 0;
  std::vector<const DTM_NODE*> pending{&node};
  while (!pending.empty()) {
    const DTM_NODE* current = pending.back();
    pending.pop_back();
    count += current->get_description().empty() ? 0 : 1;
    if (current->get_data_root() != nullptr) {
      count += current->get_data_root()->get_node_count();
    }
    if (const auto* p2p = dynamic_cast<const DTM_P2P_NODE*>(current)) {
      const DTM_NODE* directions[] = {p2p->get_in_out_node(), p2p->get_in_buried_node(),
                                      p2p->get_buried_out_node(), p2p->get_buried_buried_node()};
      for (const DTM_NODE* direction : directions) {
        if (direction != nullptr) {
          pending.push_back(direction);
        }
      }
    }
    for (const DTM_NODE* child : current->get_nodes()) {
      if (child != nullptr) {
        pending.push_back(child);
      }
    }
  }
  return count;
}

const char* WRITER::parents_problem(int count, int most) const {
  if (count > most) {
    return most == DTM_PATH_LENGTH - 1 ? "more than nine map types above a delay"
                                       : "more than ten map types above a node";
  }
  for (int i = 0; i < count; ++i) {
    const DTM_NODE_ENUM id = m_path[i];
    const char* name = DTM_STRING::get_dtm_node_enum_string(id);
    if (id == DTM_NODE_NONE || !is_word(name) || DTM_STRING::get_dtm_node_enum(name) != id) {
      return "a node id without a name";
    }
    if (is_delay_type(id)) {
      return "a delay type among the map types";
    }
  }
  return nullptr;
}

void WRITER::append_parents(std::string& line, int count) const {
  for (int i = 0; i < count; ++i) {
    line += ' ';
    line += DTM_STRING::get_dtm_node_enum_string(m_path[i]);
  }
}

bool WRITER::emit(const std::string& line, REFUSALS& refusals) {
  if (line.size() > DTM_FACTORY::DTM_MAX_LINE_LENGTH) {
    refusals.add(1, "a line longer than 298 characters");
    return false;
  }
  m_os << line << '\n';
  return true;
}

void WRITER::write_description(const DTM_NODE& node, int parents, DTM_NODE_ENUM modifier,
                               REFUSALS& refusals) {
  const MEM_STRING description = node.get_description();
  if (description.empty()) {
    return;
  }
  if (description.find_first_of(std::string_view("\"\n\0", 3)) != MEM_STRING::npos) {
    refusals.add(1, "a description holding a double quote, a line end or a NUL");
    return;
  }
  if (const char* problem = parents_problem(parents, DTM_PATH_LENGTH)) {
    refusals.add(1, problem);
    return;
  }
  std::string line = "\"";
  line.append(description.data(), description.size());
  line += '"';
  append_parents(line, parents);
  if (parents > 0 || modifier != DTM_NODE_NONE) {
    line += " ||";
  }
  if (modifier != DTM_NODE_NONE) {
    line += ' ';
    line += DTM_STRING::get_dtm_node_enum_string(modifier);
  }
  if (emit(line, refusals)) {
    ++m_counts.m_descriptions;
  }
}

bool WRITER::write_entry(const DTM_TREE_DATA& entry, const LAYOUT& layout, int parents,
                         REFUSALS& refusals) {
  const DTM_TREE_DATA_KEY* key = entry.get_key();
  const bool is_float = dynamic_cast<const DTM_TREE_FLOAT_DATA*>(&entry) != nullptr;
  const bool is_int = dynamic_cast<const DTM_TREE_INT_DATA*>(&entry) != nullptr;
  if (key == nullptr || (layout.m_float ? !is_float : !is_int)) {
    refusals.add(1, "a value of another kind than its node's");
    return false;
  }
  const int roles = role_count(layout);
  const DTM_SHORT parts = key->get_num_wrapper();
  const int fewest = layout.m_condition_last ? roles - 1 : roles;
  if (parts < fewest || parts > roles) {
    refusals.add(1, "a key that no DMF line gives");
    return false;
  }
  // The words, then the key the reader builds from them: it must be the
  // stored one, part for part.
  const DTM_ENUM_WRAPPER* stored = key->get_wrappers();
  std::string modifiers = DTM_STRING::get_dtm_node_enum_string(layout.m_line_type);
  DTM_ENUM_WRAPPER rebuilt[3];
  for (int i = 0; i < roles; ++i) {
    if (i >= parts) {  // a condition left out: the reader gives DTM_NONE
      rebuilt[i] = DTM_ENUM_WRAPPER(DTM_NONE);
      continue;
    }
    if (i == 0 && layout.m_kind_first && stored[0] == DTM_ENUM_WRAPPER(DTM_NONE)) {
      rebuilt[0] = stored[0];  // the short form of the line
      continue;
    }
    const std::string word = part_word(stored[i]);
    if (!is_word(word)) {
      refusals.add(1, "a key part without a name");
      return false;
    }
    rebuilt[i] = read_back(layout.m_roles[i], word);
    modifiers += ' ';
    modifiers += word;
  }
  const int rebuilt_parts =
      layout.m_condition_last && rebuilt[roles - 1] == DTM_ENUM_WRAPPER(DTM_NONE) ? roles - 1
                                                                                  : roles;
  bool same = rebuilt_parts == parts;
  for (int i = 0; same && i < parts; ++i) {
    same = rebuilt[i] == stored[i];
  }
  if (!same) {
    refusals.add(1, "a key that its names do not give back");
    return false;
  }

  std::string line;
  if (layout.m_float) {
    append_number(line, entry.get_float_data());
  } else {
    append_number(line, entry.get_int_data());
  }
  line += " ||";
  append_parents(line, parents);
  line += " || ";
  line += modifiers;
  return emit(line, refusals);
}

void WRITER::write_data(const DTM_NODE& holder, const LAYOUT& layout, int parents,
                        REFUSALS& refusals) {
  const DTM_TREE_DATA* root = holder.get_data_root();
  if (root == nullptr) {
    return;
  }
  if (const char* problem = parents_problem(parents, DTM_PATH_LENGTH - 1)) {
    refusals.add(root->get_node_count(), problem);
    return;
  }
  // In key order, without recursion.
  std::vector<const DTM_TREE_DATA*> stack;
  const DTM_TREE_DATA* entry = root;
  while (entry != nullptr || !stack.empty()) {
    while (entry != nullptr) {
      stack.push_back(entry);
      entry = entry->get_left();
    }
    entry = stack.back();
    stack.pop_back();
    if (write_entry(*entry, layout, parents, refusals)) {
      ++m_counts.m_delays;
    }
    entry = entry->get_right();
  }
}

void WRITER::finish(int depth, const REFUSALS& refusals) {
  if (refusals.m_count == 0) {
    return;
  }
  m_counts.m_refused += refusals.m_count;
  std::ostringstream text;
  text << DTM_STRING::get_dtm_node_enum_string(m_root_id);
  for (int i = 0; i < depth; ++i) {
    text << '/' << DTM_STRING::get_dtm_node_enum_string(m_path[i]);
  }
  text << ": " << refusals.m_count
       << (refusals.m_count == 1 ? " description or delay" : " descriptions or delays")
       << " cannot be written as DMF (" << refusals.m_reason << ")";
  dtm_report(text.str(), k_source);
}

void WRITER::visit_root(const DTM_NODE& root) {
  m_root_id = root.get_id();
  REFUSALS refusals;
  write_description(root, 0, DTM_NODE_NONE, refusals);
  if (root.get_data_root() != nullptr) {
    refusals.add(root.get_data_root()->get_node_count(), "data on a node that is no delay type");
  }
  finish(0, refusals);
  for (const DTM_NODE* child : root.get_nodes()) {
    if (child != nullptr) {
      visit(*child, 1);
    }
  }
}

void WRITER::visit(const DTM_NODE& node, int depth) {
  m_path[depth - 1] = node.get_id();
  // A typed leaf can stand below ten map types; nothing deeper has a line.
  if (depth > DTM_PATH_LENGTH + 1) {
    REFUSALS refusals;
    refusals.add(count_contents(node), "more than ten map types above a node");
    finish(depth, refusals);
    return;
  }
  if (node.get_id() == DTM_P2P) {
    visit_p2p(node, depth);
    return;
  }
  const LAYOUT* layout = find_layout(node.get_id());
  if (layout != nullptr && layout->m_line_type == node.get_id()) {
    visit_leaf(node, layout, depth);
  } else {
    visit_plain(node, depth);
  }
}

void WRITER::visit_plain(const DTM_NODE& node, int depth) {
  REFUSALS refusals;
  if (const char* problem = parents_problem(depth, DTM_PATH_LENGTH)) {
    refusals.add(count_contents(node), problem);
    finish(depth, refusals);
    return;
  }
  write_description(node, depth, DTM_NODE_NONE, refusals);
  if (node.get_data_root() != nullptr) {
    refusals.add(node.get_data_root()->get_node_count(), "data on a node that is no delay type");
  }
  finish(depth, refusals);
  for (const DTM_NODE* child : node.get_nodes()) {
    if (child != nullptr) {
      visit(*child, depth + 1);
    }
  }
}

// A typed leaf: its description (named by its parents and its type), its
// delays, and whatever hangs below it (which no DMF line can place there).
void WRITER::visit_leaf(const DTM_NODE& node, const LAYOUT* layout, int depth) {
  REFUSALS refusals;
  write_description(node, depth - 1, node.get_id(), refusals);
  if (layout != nullptr) {
    write_data(node, *layout, depth - 1, refusals);
  } else if (node.get_data_root() != nullptr) {
    refusals.add(node.get_data_root()->get_node_count(), "data on a node that is no delay type");
  }
  finish(depth, refusals);
  for (const DTM_NODE* child : node.get_nodes()) {
    if (child != nullptr) {
      visit(*child, depth + 1);
    }
  }
}

// A point-to-point node made by a description line starts without direction
// nodes and gets each with its first delay; one made by a delay line gets all
// four at once. The order of its lines keeps whichever it was.
void WRITER::visit_p2p(const DTM_NODE& node, int depth) {
  const auto* p2p = dynamic_cast<const DTM_P2P_NODE*>(&node);
  if (p2p == nullptr) {
    visit_leaf(node, nullptr, depth);
    return;
  }
  const DTM_NODE* directions[] = {p2p->get_in_out_node(), p2p->get_in_buried_node(),
                                  p2p->get_buried_out_node(), p2p->get_buried_buried_node()};
  bool all_four = true;
  for (const DTM_NODE* direction : directions) {
    all_four = all_four && direction != nullptr;
  }
  REFUSALS refusals;
  if (!all_four) {
    write_description(node, depth - 1, DTM_P2P, refusals);
  }
  for (const DTM_NODE* direction : directions) {
    if (direction == nullptr) {
      continue;
    }
    write_data(*direction, *find_layout(direction->get_id()), depth - 1, refusals);
    std::size_t others = direction->get_description().empty() ? 0 : 1;
    for (const DTM_NODE* child : direction->get_nodes()) {
      others += child != nullptr ? count_contents(*child) : 0;
    }
    refusals.add(others, "a description or node below a point-to-point direction");
  }
  if (all_four) {
    write_description(node, depth - 1, DTM_P2P, refusals);
  }
  if (node.get_data_root() != nullptr) {
    refusals.add(node.get_data_root()->get_node_count(), "data on a node that is no delay type");
  }
  finish(depth, refusals);
  for (const DTM_NODE* child : node.get_nodes()) {
    if (child != nullptr) {
      visit(*child, depth + 1);
    }
  }
}

}  // namespace

DTM_EXPORT::DTM_EXPORT_COUNTS DTM_EXPORT::write_dmf(const DTM_NODE* root, std::ostream& os) {
  if (!dtm_assert(root != nullptr, "root != 0", k_source)) {
    return {};
  }
  WRITER writer(os);
  writer.visit_root(*root);
  return writer.get_counts();
}
