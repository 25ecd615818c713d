#include "dtm_tree_data.h"

#include <charconv>
#include <cmath>
#include <iostream>
#include <typeinfo>
#include <utility>

#include "dtm_report.h"

namespace {

constexpr const char* k_source = "dtm_tree_data";

using KEY = DTM_TREE_DATA_KEY;

// A node without key compares as an empty key (count 0).
const KEY k_empty_key;

const KEY& key_of(const DTM_TREE_DATA& node) noexcept {
  return node.get_key() != nullptr ? *node.get_key() : k_empty_key;
}

const DTM_TREE_DATA* find_in(const DTM_TREE_DATA* node, const DTM_ENUM_WRAPPER* wrappers,
                             DTM_SHORT count) noexcept {
  while (node != nullptr) {
    // Both children are fetched while this node's key is compared.
    __builtin_prefetch(node->get_left());
    __builtin_prefetch(node->get_right());
    const KEY& key = key_of(*node);
    const int c =
        KEY::order_wrapper_lists(wrappers, count, key.get_wrappers(), key.get_num_wrapper());
    if (c == 0) {
      return node;
    }
    node = c < 0 ? node->get_left() : node->get_right();
  }
  return nullptr;
}

const DTM_TREE_DATA* find_key(const DTM_TREE_DATA* root, const KEY& key) noexcept {
  return find_in(root, key.get_wrappers(), key.get_num_wrapper());
}

// In key order; the depth is the tree's height (logarithmic for a tree built
// by insert).
template <class NODE, class FN>
void walk_in_order(NODE* node, FN& fn) {
  if (node == nullptr) {
    return;
  }
  walk_in_order(static_cast<NODE*>(node->get_left()), fn);
  fn(*node);
  walk_in_order(static_cast<NODE*>(node->get_right()), fn);
}

bool is_float_sentinel(double value) noexcept {
  return value == DTM_ILLEGAL_FLOAT || value == DTM_ILLEGAL_TABLE_FLOAT;
}

bool same_float(double a, double b) noexcept { return a == b || (std::isnan(a) && std::isnan(b)); }

// Numbers in the text forms: the shortest text that reads back to the same
// value, whatever the stream's formatting flags.
template <class T>
void write_number(std::ostream& os, T value) {
  char buffer[64];
  const std::to_chars_result written = std::to_chars(buffer, buffer + sizeof buffer, value);
  os.write(buffer, written.ptr - buffer);
}

template <class LEAF, class VALUE, class KEY_ARG>
DTM_TREE_DATA* add_leaf(DTM_TREE_DATA* root, VALUE value, KEY_ARG key) {
  LEAF* leaf = MEM_MANAGER::new_wrapper<LEAF>(value, key);
  bool inserted = false;
  DTM_TREE_DATA* new_root = root->insert(leaf, &inserted);
  if (!inserted) {
    MEM_MANAGER::delete_wrapper(leaf);
  }
  return new_root;
}

}  // namespace

// ---------------------------------------------------------------------------
// The rules of each value type.

template <>
struct DTM_TREE_VALUE_TRAITS<int> {
  static constexpr int k_absent = DTM_ILLEGAL_DELAY;
  static int read(const DTM_TREE_DATA& node) { return node.get_int_data(); }
  static bool write(DTM_TREE_DATA& node, int value) { return node.set_int_data(value); }
  // Rounds half away from zero and saturates to the legal range, whose
  // lowest value is one above the sentinel.
  static bool scale(int& value, double factor) {
    if (value == DTM_ILLEGAL_DELAY) {
      return false;
    }
    constexpr double k_lowest = DTM_ILLEGAL_DELAY + 1.0;
    constexpr double k_highest = INT32_MAX;
    double scaled = std::round(static_cast<double>(value) * factor);
    scaled = scaled < k_lowest ? k_lowest : (scaled > k_highest ? k_highest : scaled);
    value = static_cast<int>(scaled);
    return true;
  }
};

template <>
struct DTM_TREE_VALUE_TRAITS<double> {
  static constexpr double k_absent = DTM_ILLEGAL_FLOAT;
  static double read(const DTM_TREE_DATA& node) { return node.get_float_data(); }
  static bool write(DTM_TREE_DATA& node, double value) { return node.set_float_data(value); }
  // A product that lands on a sentinel moves to the next value toward zero.
  static bool scale(double& value, double factor) {
    if (is_float_sentinel(value)) {
      return false;
    }
    double scaled = value * factor;
    if (is_float_sentinel(scaled)) {
      scaled = std::nextafter(scaled, 0.0);
    }
    value = scaled;
    return true;
  }
};

// ---------------------------------------------------------------------------
// DTM_TREE_DATA

DTM_TREE_DATA::DTM_TREE_DATA(KEY* key) noexcept {
  if (key != nullptr) {
    m_key_storage = std::move(*key);
    MEM_MANAGER::delete_wrapper(key);
    m_key = &m_key_storage;
  }
}

DTM_TREE_DATA::~DTM_TREE_DATA() {
  DTM_MODEL_EPOCH::advance();
  destroy_subtree(m_left);
  m_left = nullptr;
  destroy_subtree(m_right);
  m_right = nullptr;
  if (m_key != &m_key_storage) {
    MEM_MANAGER::delete_wrapper(m_key);
  }
  m_key = nullptr;
}

// Right rotations bring every left child up until the top node has none; it
// is then freed with no children left, so no destructor recurses and no
// stack is needed, whatever the tree's shape.
void DTM_TREE_DATA::destroy_subtree(DTM_TREE_DATA* node) noexcept {
  while (node != nullptr) {
    if (node->m_left != nullptr) {
      DTM_TREE_DATA* left = node->m_left;
      node->m_left = left->m_right;
      left->m_right = node;
      node = left;
    } else {
      DTM_TREE_DATA* next = node->m_right;
      node->m_right = nullptr;
      delete node;
      node = next;
    }
  }
}

std::size_t DTM_TREE_DATA::get_node_count() const noexcept {
  std::size_t count = 0;
  auto counter = [&count](const DTM_TREE_DATA&) { ++count; };
  walk_in_order(this, counter);
  return count;
}

DTM_TREE_DATA* DTM_TREE_DATA::insert(DTM_TREE_DATA* new_node, bool* inserted) {
  DTM_MODEL_EPOCH::advance();
  if (inserted != nullptr) {
    *inserted = false;
  }
  if (!dtm_assert(new_node != nullptr, "new_node != 0", k_source)) {
    return this;
  }
  const KEY& key = key_of(*new_node);

  // 1. The walk, remembering the last unbalanced node (the pivot) and its
  //    parent.
  DTM_TREE_DATA* root = this;
  DTM_TREE_DATA* pivot = root;
  DTM_TREE_DATA* pivot_parent = nullptr;
  DTM_TREE_DATA* parent = nullptr;
  DTM_TREE_DATA* node = root;
  int c = 0;
  while (node != nullptr) {
    __builtin_prefetch(node->m_left);
    __builtin_prefetch(node->m_right);
    c = key.order_key(key_of(*node));
    if (c == 0) {
      // 2. A duplicate line: warn, check the values, keep the tree.
      std::cout << "Debug Warning: There is a duplicate line in the DMF file!\n";
      if (node->get_int_data() != new_node->get_int_data() ||
          !same_float(node->get_float_data(), new_node->get_float_data())) {
        dtm_report("Duplicate DMF lines contain mismatching delays", k_source);
      }
      return root;
    }
    if (node->m_balance_factor != 0) {
      pivot = node;
      pivot_parent = parent;
    }
    parent = node;
    node = c < 0 ? node->m_left : node->m_right;
  }

  // 3. Attach.
  new_node->m_left = nullptr;
  new_node->m_right = nullptr;
  new_node->m_balance_factor = 0;
  (c < 0 ? parent->m_left : parent->m_right) = new_node;
  if (inserted != nullptr) {
    *inserted = true;
  }

  // 4. Below the pivot every node on the path leans toward the insertion.
  const int dir = key.order_key(key_of(*pivot)) < 0 ? -1 : 1;
  for (node = dir < 0 ? pivot->m_left : pivot->m_right; node != new_node;) {
    if (key.order_key(key_of(*node)) < 0) {
      node->m_balance_factor = -1;
      node = node->m_left;
    } else {
      node->m_balance_factor = 1;
      node = node->m_right;
    }
  }

  // 5. The pivot absorbs the growth, or is rotated.
  if (pivot->m_balance_factor == 0) {
    pivot->m_balance_factor = static_cast<DTM_SHORT>(dir);
    return root;
  }
  if (pivot->m_balance_factor == -dir) {
    pivot->m_balance_factor = 0;
    return root;
  }
  DTM_TREE_DATA*& pivot_near = dir < 0 ? pivot->m_left : pivot->m_right;
  DTM_TREE_DATA* child = pivot_near;
  DTM_TREE_DATA*& child_far = dir < 0 ? child->m_right : child->m_left;
  DTM_TREE_DATA* top = nullptr;
  if (child->m_balance_factor == dir) {
    // Single rotation: the child replaces the pivot.
    pivot_near = child_far;
    child_far = pivot;
    pivot->m_balance_factor = 0;
    child->m_balance_factor = 0;
    top = child;
  } else {
    // Double rotation through the grandchild on the child's far side.
    DTM_TREE_DATA* grand = child_far;
    DTM_TREE_DATA*& grand_near = dir < 0 ? grand->m_left : grand->m_right;
    DTM_TREE_DATA*& grand_far = dir < 0 ? grand->m_right : grand->m_left;
    child_far = grand_near;
    grand_near = child;
    pivot_near = grand_far;
    grand_far = pivot;
    if (grand->m_balance_factor == 0) {
      pivot->m_balance_factor = 0;
      child->m_balance_factor = 0;
    } else if (grand->m_balance_factor == dir) {
      pivot->m_balance_factor = static_cast<DTM_SHORT>(-dir);
      child->m_balance_factor = 0;
    } else {
      pivot->m_balance_factor = 0;
      child->m_balance_factor = static_cast<DTM_SHORT>(dir);
    }
    grand->m_balance_factor = 0;
    top = grand;
  }

  // 6. The rotated subtree takes the pivot's place.
  if (pivot_parent == nullptr) {
    return top;
  }
  (pivot_parent->m_left == pivot ? pivot_parent->m_left : pivot_parent->m_right) = top;
  return root;
}

DTM_TREE_DATA* DTM_TREE_DATA::add_int_to_tree(int value, KEY* key) {
  if (!dtm_assert(key != nullptr, "key != 0", k_source)) {
    return this;
  }
  return add_leaf<DTM_TREE_INT_DATA>(this, value, key);
}

DTM_TREE_DATA* DTM_TREE_DATA::add_int_to_tree(int value, const KEY& key) {
  return add_leaf<DTM_TREE_INT_DATA, int, const KEY&>(this, value, key);
}

DTM_TREE_DATA* DTM_TREE_DATA::add_float_to_tree(double value, KEY* key) {
  if (!dtm_assert(key != nullptr, "key != 0", k_source)) {
    return this;
  }
  return add_leaf<DTM_TREE_FLOAT_DATA>(this, value, key);
}

DTM_TREE_DATA* DTM_TREE_DATA::add_float_to_tree(double value, const KEY& key) {
  return add_leaf<DTM_TREE_FLOAT_DATA, double, const KEY&>(this, value, key);
}

const DTM_TREE_DATA* DTM_TREE_DATA::find_node(const KEY* key) const {
  if (!dtm_assert(key != nullptr, "key != 0", k_source)) {
    return nullptr;
  }
  return find_key(this, *key);
}

DTM_TREE_DATA* DTM_TREE_DATA::find_node(const KEY* key) {
  return const_cast<DTM_TREE_DATA*>(static_cast<const DTM_TREE_DATA*>(this)->find_node(key));
}

const DTM_TREE_DATA* DTM_TREE_DATA::find_node_by_wrapper_list(DTM_SHORT count, WRAPPER w1,
                                                              WRAPPER w2, WRAPPER w3, WRAPPER w4,
                                                              WRAPPER w5) const {
  if (!KEY::check_count(count)) {
    return nullptr;
  }
  const WRAPPER wrappers[DTM_MAX_KEY_WRAPPERS] = {w1, w2, w3, w4, w5};
  return find_in(this, wrappers, count);
}

int DTM_TREE_DATA::get_int_from_tree_by_wrapper_list(DTM_SHORT, WRAPPER, WRAPPER, WRAPPER, WRAPPER,
                                                     WRAPPER) const {
  return DTM_ILLEGAL_DELAY;
}

double DTM_TREE_DATA::get_float_from_tree_by_wrapper_list(DTM_SHORT, WRAPPER, WRAPPER, WRAPPER,
                                                          WRAPPER, WRAPPER) const {
  return DTM_ILLEGAL_TABLE_FLOAT;
}

int DTM_TREE_DATA::get_int_from_tree(const KEY*) const { return DTM_ILLEGAL_DELAY; }

double DTM_TREE_DATA::get_float_from_tree(const KEY*) const { return DTM_ILLEGAL_FLOAT; }

bool DTM_TREE_DATA::set_int_from_tree(int, const KEY*) { return false; }

bool DTM_TREE_DATA::set_float_from_tree(double, const KEY*) { return false; }

DTM_TREE_DATA* DTM_TREE_DATA::clone(MEM_SEGMENT* segment) const { return clone_subtree(segment); }

DTM_TREE_DATA* DTM_TREE_DATA::clone_subtree(MEM_SEGMENT* segment) const {
  DTM_TREE_DATA* copy = copy_node(segment);
  copy->m_balance_factor = m_balance_factor;
  if (m_left != nullptr) {
    copy->m_left = m_left->clone_subtree(segment);
  }
  if (m_right != nullptr) {
    copy->m_right = m_right->clone_subtree(segment);
  }
  return copy;
}

DTM_TREE_DATA* DTM_TREE_DATA::copy_node(MEM_SEGMENT* segment) const {
  return m_key != nullptr ? MEM_MANAGER::new_wrapper_in<DTM_TREE_DATA>(segment, *m_key)
                          : MEM_MANAGER::new_wrapper_in<DTM_TREE_DATA>(segment);
}

void DTM_TREE_DATA::scale(double) { dtm_report("Scaling impossible", k_source); }

void DTM_TREE_DATA::scale_tree(double factor) {
  DTM_MODEL_EPOCH::advance();
  auto scaler = [factor](DTM_TREE_DATA& node) { node.scale_value(factor); };
  walk_in_order(this, scaler);
}

DTM_TREE_DATA* DTM_TREE_DATA::diff_clone_data_tree(const DTM_TREE_DATA*,
                                                   const DTM_TREE_DATA*) const {
  return nullptr;
}

DTM_TREE_DATA* DTM_TREE_DATA::diff_tree(const DTM_TREE_DATA* root_data) const {
  DTM_TREE_DATA* result = nullptr;
  auto differ = [root_data, &result](const DTM_TREE_DATA& node) {
    const DTM_TREE_DATA* reference = find_key(root_data, key_of(node));
    if (reference == nullptr || values_differ(node, *reference, 0.0)) {
      DTM_TREE_DATA* copy = node.copy_node(nullptr);
      result = result != nullptr ? result->insert(copy) : copy;
    }
  };
  walk_in_order(this, differ);
  return result;
}

std::size_t DTM_TREE_DATA::resync(const DTM_TREE_DATA* root_data) {
  std::size_t changed = 0;
  auto update = [root_data, &changed](DTM_TREE_DATA& node) {
    const DTM_TREE_DATA* reference = find_key(root_data, key_of(node));
    if (reference != nullptr && typeid(*reference) == typeid(node) &&
        values_differ(node, *reference, 0.0)) {
      node.set_int_data(reference->get_int_data());
      node.set_float_data(reference->get_float_data());
      ++changed;
    }
  };
  walk_in_order(this, update);
  return changed;
}

bool DTM_TREE_DATA::values_differ(const DTM_TREE_DATA& a, const DTM_TREE_DATA& b,
                                  double tolerance) {
  const int a_int = a.get_int_data();
  const int b_int = b.get_int_data();
  if (a_int != b_int) {
    if (a_int == DTM_ILLEGAL_DELAY || b_int == DTM_ILLEGAL_DELAY) {
      return true;
    }
    if (!(std::fabs(static_cast<double>(a_int) - static_cast<double>(b_int)) <= tolerance)) {
      return true;
    }
  }
  const double a_float = a.get_float_data();
  const double b_float = b.get_float_data();
  if (!same_float(a_float, b_float)) {
    if (is_float_sentinel(a_float) || is_float_sentinel(b_float) || std::isnan(a_float) ||
        std::isnan(b_float)) {
      return true;
    }
    if (!(std::fabs(a_float - b_float) <= tolerance)) {
      return true;
    }
  }
  return false;
}

void DTM_TREE_DATA::print_tree(std::ostream& os, const std::string& prefix) const {
  if (m_left != nullptr) {
    m_left->print_tree(os, prefix + "<");
  }
  print_this(os, prefix);
  if (m_right != nullptr) {
    m_right->print_tree(os, prefix + ">");
  }
}

void DTM_TREE_DATA::print_this(std::ostream& os, const std::string& prefix) const {
  write_line(os, prefix);
  os << '\n';
}

void DTM_TREE_DATA::write_line(std::ostream& os, const std::string& prefix) const {
  os << prefix << "\t|-- ";
  key_of(*this).write_text(os);
  os << " = ";
  write_value(os);
}

void DTM_TREE_DATA::write_value(std::ostream& os) const { os << '-'; }

void DTM_TREE_DATA::compare_data_tree(const DTM_TREE_DATA* other, std::ostream& os,
                                      const std::string& prefix, bool skip_missing,
                                      bool compare_values, float tolerance) const {
  auto compare = [&](const DTM_TREE_DATA& node) {
    const DTM_TREE_DATA* counterpart = find_key(other, key_of(node));
    if (counterpart == nullptr) {
      if (!skip_missing) {
        node.write_line(os, prefix);
        os << "\t::\tmissing\n";
      }
    } else if (compare_values && values_differ(node, *counterpart, tolerance)) {
      node.write_line(os, prefix);
      os << "\t::\t";
      counterpart->write_value(os);
      os << '\n';
    }
  };
  walk_in_order(this, compare);
}

// ---------------------------------------------------------------------------
// The leaf skeleton

template <class LEAF, class VALUE>
VALUE DTM_TREE_LEAF_DATA<LEAF, VALUE>::leaf_get_by_list(DTM_SHORT count, WRAPPER w1, WRAPPER w2,
                                                        WRAPPER w3, WRAPPER w4, WRAPPER w5) const {
  const DTM_TREE_DATA* node = find_node_by_wrapper_list(count, w1, w2, w3, w4, w5);
  return node != nullptr ? DTM_TREE_VALUE_TRAITS<VALUE>::read(*node)
                         : DTM_TREE_VALUE_TRAITS<VALUE>::k_absent;
}

template <class LEAF, class VALUE>
VALUE DTM_TREE_LEAF_DATA<LEAF, VALUE>::leaf_get(const KEY* key) const {
  const DTM_TREE_DATA* node = find_node(key);
  return node != nullptr ? DTM_TREE_VALUE_TRAITS<VALUE>::read(*node)
                         : DTM_TREE_VALUE_TRAITS<VALUE>::k_absent;
}

template <class LEAF, class VALUE>
bool DTM_TREE_LEAF_DATA<LEAF, VALUE>::leaf_set(VALUE value, const KEY* key) {
  DTM_TREE_DATA* node = find_node(key);
  return node != nullptr && DTM_TREE_VALUE_TRAITS<VALUE>::write(*node, value);
}

template <class LEAF, class VALUE>
DTM_TREE_DATA* DTM_TREE_LEAF_DATA<LEAF, VALUE>::copy_node(MEM_SEGMENT* segment) const {
  return get_key() != nullptr
             ? MEM_MANAGER::new_wrapper_in<LEAF>(segment, value(), *get_key())
             : MEM_MANAGER::new_wrapper_in<LEAF>(segment, value(), static_cast<KEY*>(nullptr));
}

template <class LEAF, class VALUE>
bool DTM_TREE_LEAF_DATA<LEAF, VALUE>::scale_value(double factor) {
  VALUE scaled = value();
  return DTM_TREE_VALUE_TRAITS<VALUE>::scale(scaled, factor) &&
         DTM_TREE_VALUE_TRAITS<VALUE>::write(*this, scaled);
}

template <class LEAF, class VALUE>
void DTM_TREE_LEAF_DATA<LEAF, VALUE>::write_value(std::ostream& os) const {
  write_number(os, value());
}

template <class LEAF, class VALUE>
void DTM_TREE_LEAF_DATA<LEAF, VALUE>::scale(double factor) {
  if (dtm_assert(std::isfinite(factor), "std::isfinite(factor)", k_source)) {
    scale_tree(factor);
  }
}

template <class LEAF, class VALUE>
DTM_TREE_DATA* DTM_TREE_LEAF_DATA<LEAF, VALUE>::diff_clone_data_tree(const DTM_TREE_DATA* root_data,
                                                                     const DTM_TREE_DATA*) const {
  return diff_tree(root_data);
}

template class DTM_TREE_LEAF_DATA<DTM_TREE_INT_DATA, int>;
template class DTM_TREE_LEAF_DATA<DTM_TREE_FLOAT_DATA, double>;
