#include "dtm_data_class.h"

#include <utility>

#include "dtm_report.h"
#include "dtm_tree_data_key.h"

namespace {

constexpr const char* k_source = "dtm_data_class";
constexpr const char* k_compare_separator = "\t|-- ";

// A stack for the walks: the first entries live inside the object, deeper
// ones in a tracked vector. Levels are small, so the walks of a level rarely
// allocate; a hostile shape costs memory, never native stack.
template <class T>
class WORK_STACK {
 public:
  bool empty() const noexcept { return m_size == 0; }
  std::size_t size() const noexcept { return m_size; }
  void push(T value) {
    if (m_size < k_inline) {
      m_inline[m_size] = std::move(value);
    } else {
      m_more.push_back(std::move(value));
    }
    ++m_size;
  }
  T pop() {
    --m_size;
    if (m_size < k_inline) {
      return std::move(m_inline[m_size]);
    }
    T value = std::move(m_more.back());
    m_more.pop_back();
    return value;
  }
  T& operator[](std::size_t index) {
    return index < k_inline ? m_inline[index] : m_more[index - k_inline];
  }

 private:
  static constexpr std::size_t k_inline = 32;
  T m_inline[k_inline]{};
  MEM_VECTOR<T> m_more;
  std::size_t m_size = 0;
};

std::size_t count_entries(const DTM_BASE_DATA* node) {
  std::size_t count = 0;
  WORK_STACK<const DTM_BASE_DATA*> pending;
  if (node != nullptr) {
    pending.push(node);
  }
  while (!pending.empty()) {
    node = pending.pop();
    ++count;
    if (node->get_left() != nullptr) {
      pending.push(node->get_left());
    }
    if (node->get_right() != nullptr) {
      pending.push(node->get_right());
    }
  }
  return count;
}

// ---------------------------------------------------------------------------
// Labels of the listings: the key's name in the family that the owning
// node's type and the entry's shape select.

// A family is the key's wrapper family (the same stored-value convention:
// DTM_ENUM keys as they are, the others plus one); unset means no name.
constexpr DTM_WRAPPER_TYPE NOT_ALLOWED = DTM_WRAPPER_UNSET;
constexpr DTM_WRAPPER_TYPE ENUM_NAME = DTM_WRAPPER_DTM_ENUM;
constexpr DTM_WRAPPER_TYPE INPUT_PORT_NAME = DTM_WRAPPER_INPUT_PORT;
constexpr DTM_WRAPPER_TYPE OUTPUT_PORT_NAME = DTM_WRAPPER_OUTPUT_PORT;
constexpr DTM_WRAPPER_TYPE BURIED_PORT_NAME = DTM_WRAPPER_BURIED_PORT;
constexpr DTM_WRAPPER_TYPE RE_TYPE_NAME = DTM_WRAPPER_RE_TYPE;

struct LABEL_ROW {
  DTM_NODE_ENUM m_node_type;
  DTM_WRAPPER_TYPE m_two_level_top;
  DTM_WRAPPER_TYPE m_leaf;
  DTM_WRAPPER_TYPE m_three_level_top;
};

constexpr LABEL_ROW k_label_rows[] = {
    {DTM_P2P_IN_BURIED, INPUT_PORT_NAME, BURIED_PORT_NAME, NOT_ALLOWED},
    {DTM_P2P_IN_OUT, INPUT_PORT_NAME, OUTPUT_PORT_NAME, NOT_ALLOWED},
    {DTM_P2P_BURIED_OUT, BURIED_PORT_NAME, OUTPUT_PORT_NAME, NOT_ALLOWED},
    {DTM_P2P_BURIED_BURIED, BURIED_PORT_NAME, BURIED_PORT_NAME, NOT_ALLOWED},
    {DTM_TABLE, ENUM_NAME, ENUM_NAME, NOT_ALLOWED},
    {DTM_MICRO, NOT_ALLOWED, ENUM_NAME, NOT_ALLOWED},
    {DTM_RC, ENUM_NAME, ENUM_NAME, RE_TYPE_NAME},
    {DTM_RE, NOT_ALLOWED, RE_TYPE_NAME, NOT_ALLOWED},
    {DTM_RE_TABLE, RE_TYPE_NAME, RE_TYPE_NAME, RE_TYPE_NAME},
    {DTM_FF, BURIED_PORT_NAME, ENUM_NAME, NOT_ALLOWED},
    {DTM_OUTPUT_PORT_RE, OUTPUT_PORT_NAME, RE_TYPE_NAME, NOT_ALLOWED},
    {DTM_RE_INPUT_PORT, RE_TYPE_NAME, INPUT_PORT_NAME, NOT_ALLOWED},
};

const LABEL_ROW* find_label_row(DTM_NODE_ENUM node_type) noexcept {
  for (const LABEL_ROW& row : k_label_rows) {
    if (row.m_node_type == node_type) {
      return &row;
    }
  }
  return nullptr;
}

const char* family_name(DTM_WRAPPER_TYPE family, DTM_ENUM key) noexcept {
  const char* name = DTM_ENUM_WRAPPER::get_name(family, key);
  return name != nullptr ? name : "";
}

// `depth_error` is what a three-level top under a type without such
// chains reports (the listing and the comparison word it differently).
const char* make_label(const DTM_BASE_DATA& entry, DTM_NODE_ENUM node_type,
                       const char* depth_error) {
  if (entry.get_enum() == DTM_NONE) {
    return "";
  }
  const LABEL_ROW* row = find_label_row(node_type);
  const DTM_BASE_DATA* sub_tree = entry.get_sub_tree();
  if (sub_tree == nullptr) {
    return row != nullptr ? family_name(row->m_leaf, entry.get_enum()) : "";
  }
  if (sub_tree->get_sub_tree() == nullptr) {
    if (row == nullptr || row->m_two_level_top == NOT_ALLOWED) {
      dtm_report("Invalid DTM_NODE_ENUM for 2 level nodes", k_source);
      return "";
    }
    return family_name(row->m_two_level_top, entry.get_enum());
  }
  if (row == nullptr || row->m_three_level_top == NOT_ALLOWED) {
    dtm_report(depth_error, k_source);
    return "";
  }
  return family_name(row->m_three_level_top, entry.get_enum());
}

void write_values(std::ostream& os, const DTM_BASE_DATA& entry, const std::string& full_path) {
  if (entry.get_float() != DTM_ILLEGAL_FLOAT) {
    os << entry.get_float() << full_path << "\n";
  }
  if (entry.get_value() != DTM_ILLEGAL_DELAY) {
    os << entry.get_value() << full_path << "\n";
  }
}

// The listing, without recursion: a frame either lists a sibling tree or
// writes one entry's values once its sub tree is done.
void list_entries(const DTM_BASE_DATA* top, std::ostream& os, DTM_NODE_ENUM node_type,
                  const std::string& path, const std::string& separator, const char* depth_error) {
  struct FRAME {
    const DTM_BASE_DATA* m_entry = nullptr;
    std::string m_path;
    bool m_values_only = false;
  };
  WORK_STACK<FRAME> pending;
  pending.push({top, path, false});
  while (!pending.empty()) {
    FRAME frame = pending.pop();
    const DTM_BASE_DATA& entry = *frame.m_entry;
    if (frame.m_values_only) {
      write_values(os, entry, frame.m_path);
      continue;
    }
    std::string full_path = frame.m_path + separator + make_label(entry, node_type, depth_error);
    if (entry.get_right() != nullptr) {
      pending.push({entry.get_right(), frame.m_path, false});
    }
    if (entry.get_left() != nullptr) {
      pending.push({entry.get_left(), frame.m_path, false});
    }
    DTM_BASE_DATA* sub_tree = entry.get_sub_tree();
    if (sub_tree != nullptr) {
      pending.push({&entry, full_path, true});
      pending.push({sub_tree, std::move(full_path), false});
    } else {
      write_values(os, entry, full_path);
    }
  }
}

}  // namespace

// ---------------------------------------------------------------------------
// The rules of each value type.

template <>
struct DTM_DATA_VALUE_TRAITS<int> {
  // An integer level ignores e2 when it adds a new key ...
  static constexpr bool k_checks_enum2 = false;
  // ... and offers an existing key's chain to the level, which drops it.
  static constexpr bool k_offers_existing_key = true;
  static int read(const DTM_BASE_DATA& entry) { return entry.get_value(); }
};

template <>
struct DTM_DATA_VALUE_TRAITS<double> {
  static constexpr bool k_checks_enum2 = true;
  static constexpr bool k_offers_existing_key = false;
  static double read(const DTM_BASE_DATA& entry) { return entry.get_float(); }
};

// ---------------------------------------------------------------------------
// DTM_BASE_DATA

DTM_BASE_DATA::~DTM_BASE_DATA() {
  destroy_entries(m_left);
  m_left = nullptr;
  destroy_entries(m_right);
  m_right = nullptr;
}

// Right rotations bring left siblings up, and a sub tree is moved into the
// empty left link, until the top entry has no links left and is freed alone.
// No destructor recurses and no stack is used, whatever the shape.
void DTM_BASE_DATA::destroy_entries(DTM_BASE_DATA* node) noexcept {
  while (node != nullptr) {
    if (node->m_left != nullptr) {
      DTM_BASE_DATA* left = node->m_left;
      node->m_left = left->m_right;
      left->m_right = node;
      node = left;
    } else if (DTM_BASE_DATA* sub_tree = node->get_sub_tree(); sub_tree != nullptr) {
      node->m_left = sub_tree;
      node->set_sub_tree(static_cast<DTM_BASE_DATA*>(nullptr));
    } else {
      DTM_BASE_DATA* next = node->m_right;
      node->m_right = nullptr;
      delete node;
      node = next;
    }
  }
}

DTM_BASE_DATA* DTM_BASE_DATA::add_enum(DTM_BASE_DATA* new_node, bool* inserted) {
  if (inserted != nullptr) {
    *inserted = false;
  }
  if (!dtm_assert(new_node != nullptr, "new_node != 0", k_source)) {
    return this;
  }
  // Down: the path to the place of the new key (or to its equal, which
  // drops the new entry; the path is rebalanced all the same).
  WORK_STACK<DTM_BASE_DATA*> path;
  for (DTM_BASE_DATA* node = this;;) {
    path.push(node);
    DTM_BASE_DATA*& link = new_node->m_enum < node->m_enum ? node->m_left : node->m_right;
    if (new_node->m_enum == node->m_enum) {
      break;
    }
    if (link == nullptr) {
      link = new_node;
      if (inserted != nullptr) {
        *inserted = true;
      }
      break;
    }
    node = link;
  }
  // Up: each node takes its child's new root, then compares its two sizes
  // and makes at most one single rotation. The size of the side just left
  // is known; only the other side is counted.
  DTM_BASE_DATA* result = nullptr;
  std::size_t below = 0;
  for (std::size_t i = path.size(); i-- > 0;) {
    DTM_BASE_DATA* node = path[i];
    const bool deepest = i + 1 == path.size();
    const bool went_left = new_node->m_enum < node->m_enum;
    if (!deepest) {
      (went_left ? node->m_left : node->m_right) = result;
    }
    const std::size_t left = !deepest && went_left ? below : count_entries(node->m_left);
    const std::size_t right = !deepest && !went_left ? below : count_entries(node->m_right);
    below = left + right + 1;
    result = node;
    if (left >= right + 2) {
      DTM_BASE_DATA* top = node->m_left;
      node->m_left = top->m_right;
      top->m_right = node;
      result = top;
    } else if (right >= left + 2) {
      DTM_BASE_DATA* top = node->m_right;
      node->m_right = top->m_left;
      top->m_left = node;
      result = top;
    }
  }
  return result;
}

DTM_BASE_DATA* DTM_BASE_DATA::add_owned(DTM_BASE_DATA* new_node) {
  bool inserted = false;
  DTM_BASE_DATA* root = add_enum(new_node, &inserted);
  if (!inserted) {
    delete new_node;
  }
  return root;
}

DTM_BASE_DATA* DTM_BASE_DATA::add_enum(int value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) {
  if (e1 == DTM_NONE) {
    return this;
  }
  DTM_BASE_DATA* found = find_enum(e1, DTM_NONE, DTM_NONE);
  if (found != nullptr) {
    if (DTM_BASE_DATA* sub_tree = found->get_sub_tree(); sub_tree != nullptr) {
      found->set_sub_tree(sub_tree->add_enum(value, e2, e3, DTM_NONE));
    }
    return this;
  }
  return add_owned(create_node(value, e1, e2, e3));
}

DTM_BASE_DATA* DTM_BASE_DATA::add_enum(double value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) {
  if (e1 == DTM_NONE) {
    return this;
  }
  DTM_BASE_DATA* found = find_enum(e1, DTM_NONE, DTM_NONE);
  if (found != nullptr) {
    if (DTM_BASE_DATA* sub_tree = found->get_sub_tree(); sub_tree != nullptr) {
      found->set_sub_tree(sub_tree->add_enum(value, e2, e3, DTM_NONE));
    }
    return this;
  }
  return add_owned(create_node(value, e1, e2, e3));
}

namespace {

template <class LEAF, class VALUE>
DTM_BASE_DATA* create_chain(VALUE value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) {
  if (e1 == DTM_NONE) {
    return nullptr;
  }
  DTM_BASE_DATA* below = create_chain<LEAF>(value, e2, e3, DTM_NONE);
  if (below != nullptr) {
    return MEM_MANAGER::new_wrapper<DTM_PTR_DATA>(e1, below);
  }
  return MEM_MANAGER::new_wrapper<LEAF>(e1, value);
}

}  // namespace

DTM_BASE_DATA* DTM_BASE_DATA::create_node(int value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) {
  return create_chain<DTM_INT_DATA>(value, e1, e2, e3);
}

DTM_BASE_DATA* DTM_BASE_DATA::create_node(double value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) {
  return create_chain<DTM_FLOAT_DATA>(value, e1, e2, e3);
}

const DTM_BASE_DATA* DTM_BASE_DATA::find_enum(DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) const {
  const DTM_ENUM keys[3] = {e1, e2, e3};
  std::size_t level = 0;
  const DTM_BASE_DATA* node = this;
  while (node != nullptr) {
    const DTM_ENUM key = keys[level];
    if (key == DTM_NONE) {
      return nullptr;
    }
    if (key < node->m_enum) {
      node = node->m_left;
    } else if (key > node->m_enum) {
      node = node->m_right;
    } else {
      const DTM_BASE_DATA* sub_tree = node->get_sub_tree();
      if (sub_tree == nullptr || level + 1 == 3 || keys[level + 1] == DTM_NONE) {
        return node;
      }
      node = sub_tree;
      ++level;
    }
  }
  return nullptr;
}

DTM_BASE_DATA* DTM_BASE_DATA::find_enum(DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) {
  return const_cast<DTM_BASE_DATA*>(static_cast<const DTM_BASE_DATA*>(this)->find_enum(e1, e2, e3));
}

int DTM_BASE_DATA::get_value(DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) const {
  const DTM_BASE_DATA* found = e1 != DTM_NONE ? find_enum(e1, e2, e3) : nullptr;
  return found != nullptr ? found->get_value() : DTM_ILLEGAL_DELAY;
}

double DTM_BASE_DATA::get_float(DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) const {
  const DTM_BASE_DATA* found = e1 != DTM_NONE ? find_enum(e1, e2, e3) : nullptr;
  return found != nullptr ? found->get_float() : DTM_ILLEGAL_FLOAT;
}

bool DTM_BASE_DATA::set_value(int value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) {
  DTM_BASE_DATA* found = e1 != DTM_NONE ? find_enum(e1, e2, e3) : nullptr;
  return found != nullptr && found->set_value(value);
}

bool DTM_BASE_DATA::set_float(double value, DTM_ENUM e1, DTM_ENUM e2, DTM_ENUM e3) {
  DTM_BASE_DATA* found = e1 != DTM_NONE ? find_enum(e1, e2, e3) : nullptr;
  return found != nullptr && found->set_float(value);
}

bool DTM_BASE_DATA::set_sub_tree(DTM_INT_DATA* sub_tree) {
  return set_sub_tree(static_cast<DTM_BASE_DATA*>(sub_tree));
}

bool DTM_BASE_DATA::set_sub_tree(DTM_FLOAT_DATA* sub_tree) {
  return set_sub_tree(static_cast<DTM_BASE_DATA*>(sub_tree));
}

bool DTM_BASE_DATA::set_sub_tree(DTM_PTR_DATA* sub_tree) {
  return set_sub_tree(static_cast<DTM_BASE_DATA*>(sub_tree));
}

DTM_SHORT DTM_BASE_DATA::get_node_count(const DTM_BASE_DATA* node) {
  const std::size_t count = count_entries(node);
  return static_cast<DTM_SHORT>(count > INT16_MAX ? INT16_MAX : count);
}

DTM_BASE_DATA* DTM_BASE_DATA::copy_entry() const {
  return MEM_MANAGER::new_wrapper<DTM_BASE_DATA>(m_enum);
}

DTM_BASE_DATA* DTM_BASE_DATA::clone() const {
  struct PAIR {
    const DTM_BASE_DATA* m_source = nullptr;
    DTM_BASE_DATA* m_copy = nullptr;
  };
  DTM_BASE_DATA* top = copy_entry();
  WORK_STACK<PAIR> pending;
  pending.push({this, top});
  while (!pending.empty()) {
    const PAIR pair = pending.pop();
    if (const DTM_BASE_DATA* left = pair.m_source->m_left; left != nullptr) {
      pair.m_copy->set_left(left->copy_entry());
      pending.push({left, pair.m_copy->m_left});
    }
    if (const DTM_BASE_DATA* right = pair.m_source->m_right; right != nullptr) {
      pair.m_copy->set_right(right->copy_entry());
      pending.push({right, pair.m_copy->m_right});
    }
    if (const DTM_BASE_DATA* sub_tree = pair.m_source->get_sub_tree(); sub_tree != nullptr) {
      DTM_BASE_DATA* sub_copy = sub_tree->copy_entry();
      pair.m_copy->set_sub_tree(sub_copy);
      pending.push({sub_tree, sub_copy});
    }
  }
  return top;
}

void DTM_BASE_DATA::print_tree(std::ostream& os, DTM_NODE_ENUM node_type, const std::string& path,
                               bool /*flag*/, const std::string& separator) const {
  list_entries(this, os, node_type, path, separator, "Incorrect depth of the DMF tree.");
}

void DTM_BASE_DATA::compare_data_tree(const DTM_BASE_DATA* other, DTM_NODE_ENUM node_type,
                                      std::ostream& os, const std::string& path,
                                      bool values_mode) const {
  if (!dtm_assert(other != nullptr, "node!=0", k_source)) {
    return;
  }
  // A frame compares a sibling tree with the other chain's level, or (once
  // the entry's sub trees are compared) writes the entry's changed values.
  struct FRAME {
    const DTM_BASE_DATA* m_entry = nullptr;
    const DTM_BASE_DATA* m_other = nullptr;
    std::string m_path;
    bool m_entry_itself = false;
    bool m_values_only = false;
  };
  WORK_STACK<FRAME> pending;
  pending.push({this, other, path, false, false});
  while (!pending.empty()) {
    FRAME frame = pending.pop();
    const DTM_BASE_DATA& entry = *frame.m_entry;
    if (frame.m_values_only) {
      const DTM_BASE_DATA& found = *frame.m_other;
      const double mine = entry.get_float();
      if (mine != DTM_ILLEGAL_FLOAT && !(mine == found.get_float())) {
        os << mine << "\t::\t" << found.get_float() << frame.m_path << "\n";
      }
      const int value = entry.get_value();
      if (value != DTM_ILLEGAL_DELAY && value != found.get_value()) {
        os << value << "\t::\t" << found.get_value() << frame.m_path << "\n";
      }
      continue;
    }
    if (!frame.m_entry_itself) {
      // Left siblings first, then right ones, then the entry.
      pending.push({&entry, frame.m_other, frame.m_path, true, false});
      if (entry.get_right() != nullptr) {
        pending.push({entry.get_right(), frame.m_other, frame.m_path, false, false});
      }
      if (entry.get_left() != nullptr) {
        pending.push({entry.get_left(), frame.m_other, frame.m_path, false, false});
      }
      continue;
    }
    std::string full_path = frame.m_path + k_compare_separator +
                            make_label(entry, node_type, "id == DTM_RC || id == DTM_RE_TABLE");
    const DTM_BASE_DATA* found = frame.m_other->find_enum(entry.get_enum(), DTM_NONE, DTM_NONE);
    if (found != nullptr) {
      if (values_mode) {
        pending.push({&entry, found, full_path, true, true});
      }
      if (entry.get_sub_tree() != nullptr && found->get_sub_tree() != nullptr) {
        pending.push(
            {entry.get_sub_tree(), found->get_sub_tree(), std::move(full_path), false, false});
      }
    } else if (!values_mode) {
      if (entry.get_sub_tree() != nullptr) {
        entry.get_sub_tree()->print_tree(os, node_type, full_path, true, k_compare_separator);
      }
      write_values(os, entry, full_path);
    }
  }
}

// ---------------------------------------------------------------------------
// The leaf skeleton

template <class LEAF, class VALUE>
DTM_BASE_DATA* DTM_DATA_LEAF<LEAF, VALUE>::leaf_add_enum(VALUE value, DTM_ENUM e1, DTM_ENUM e2,
                                                         DTM_ENUM e3) {
  using TRAITS = DTM_DATA_VALUE_TRAITS<VALUE>;
  if (TRAITS::k_checks_enum2) {
    dtm_assert(e2 == DTM_NONE, "enum2==DTM_NONE", k_source);
  }
  dtm_assert(e3 == DTM_NONE, "enum3==DTM_NONE", k_source);
  if (e1 == DTM_NONE) {
    return this;
  }
  if (find_enum(e1, DTM_NONE, DTM_NONE) == nullptr) {
    return add_owned(MEM_MANAGER::new_wrapper<LEAF>(e1, value));
  }
  if (!TRAITS::k_offers_existing_key) {
    return this;
  }
  return add_owned(create_node(value, e1, e2, e3));
}

template <class LEAF, class VALUE>
DTM_BASE_DATA* DTM_DATA_LEAF<LEAF, VALUE>::copy_entry() const {
  return MEM_MANAGER::new_wrapper<LEAF>(get_enum(), static_cast<const LEAF*>(this)->stored_value());
}

template class DTM_DATA_LEAF<DTM_INT_DATA, int>;
template class DTM_DATA_LEAF<DTM_FLOAT_DATA, double>;

// ---------------------------------------------------------------------------
// DTM_PTR_DATA

DTM_PTR_DATA::~DTM_PTR_DATA() {
  destroy_entries(m_ptr);
  m_ptr = nullptr;
}

DTM_BASE_DATA* DTM_PTR_DATA::copy_entry() const {
  return MEM_MANAGER::new_wrapper<DTM_PTR_DATA>(get_enum(), nullptr);
}
