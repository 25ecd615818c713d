#include "dtm_tree_data_key.h"

#include <sstream>

#include "dtm_report.h"
#include "gen_sys.h"

namespace {

constexpr const char* k_source = "dtm_tree_data_key";

void write_number(std::ostream& os, int value) {
  char buffer[34];
  os << gen_itoa(value, buffer);
}

}  // namespace

void DTM_ENUM_WRAPPER::write_text(std::ostream& os) const {
  switch (m_enum_type) {
    case DTM_WRAPPER_UNSET:
      os << '-';
      return;
    case DTM_WRAPPER_INDEX:
      write_number(os, static_cast<int>(static_cast<std::uint32_t>(m_enum_id) - 1U));
      return;
    default:
      break;
  }
  write_number(os, m_enum_type);
  os << ':';
  write_number(os, m_enum_id);
}

DTM_TREE_DATA_KEY::DTM_TREE_DATA_KEY(DTM_SHORT count, DTM_ENUM_WRAPPER w1, DTM_ENUM_WRAPPER w2,
                                     DTM_ENUM_WRAPPER w3, DTM_ENUM_WRAPPER w4, DTM_ENUM_WRAPPER w5)
    : m_id(m_inline) {
  if (!check_count(count)) {
    // The key keeps `count` unset wrappers, so that its count and its array
    // agree; compare_key orders such keys by their count alone when <= 0.
    if (count > k_inline_capacity) {
      m_id = new DTM_ENUM_WRAPPER[static_cast<std::size_t>(count)];
    }
    m_num_wrapper = count;
    return;
  }
  const DTM_ENUM_WRAPPER given[DTM_MAX_KEY_WRAPPERS] = {w1, w2, w3, w4, w5};
  assign(given, count);
}

DTM_TREE_DATA_KEY::DTM_TREE_DATA_KEY(const DTM_TREE_DATA_KEY& other) : m_id(m_inline) {
  assign(other.m_id, other.m_num_wrapper);
}

DTM_TREE_DATA_KEY& DTM_TREE_DATA_KEY::operator=(const DTM_TREE_DATA_KEY& other) {
  if (this != &other) {
    release();
    assign(other.m_id, other.m_num_wrapper);
  }
  return *this;
}

DTM_TREE_DATA_KEY::~DTM_TREE_DATA_KEY() { release(); }

void DTM_TREE_DATA_KEY::assign(const DTM_ENUM_WRAPPER* wrappers, DTM_SHORT count) {
  m_id = m_inline;
  m_num_wrapper = count;
  if (count <= 0) {
    return;
  }
  if (count > k_inline_capacity) {
    m_id = new DTM_ENUM_WRAPPER[static_cast<std::size_t>(count)];
  }
  for (DTM_SHORT i = 0; i < count; ++i) {
    m_id[i] = wrappers[i];
  }
}

void DTM_TREE_DATA_KEY::release() noexcept {
  if (m_id != m_inline) {
    delete[] m_id;
  }
  m_id = m_inline;
  m_num_wrapper = 0;
}

void DTM_TREE_DATA_KEY::add_enum_wrapper_to_key(DTM_ENUM_WRAPPER wrapper) {
  const DTM_SHORT old_count = m_num_wrapper > 0 ? m_num_wrapper : 0;
  if (!dtm_assert(old_count < INT16_MAX, "Number of enum_wrapper out of range", k_source)) {
    return;
  }
  const DTM_SHORT new_count = static_cast<DTM_SHORT>(old_count + 1);
  if (new_count <= k_inline_capacity && m_id == m_inline) {
    m_id[old_count] = wrapper;
    m_num_wrapper = new_count;
    return;
  }
  DTM_ENUM_WRAPPER* longer = new DTM_ENUM_WRAPPER[static_cast<std::size_t>(new_count)];
  for (DTM_SHORT i = 0; i < old_count; ++i) {
    longer[i] = m_id[i];
  }
  longer[old_count] = wrapper;
  release();
  m_id = longer;
  m_num_wrapper = new_count;
}

DTM_ENUM_WRAPPER DTM_TREE_DATA_KEY::get_wrapper(DTM_SHORT index) const {
  if (!dtm_assert(index >= 0 && index < m_num_wrapper, "(index >= 0) && (index < m_num_wrapper)",
                  k_source)) {
    return {};
  }
  return m_id[index];
}

bool DTM_TREE_DATA_KEY::check_count(DTM_SHORT count) {
  if (count >= 1 && count <= DTM_MAX_KEY_WRAPPERS) {
    return true;
  }
  dtm_report("Number of enum_wrapper out of range", k_source);
  return false;
}

void DTM_TREE_DATA_KEY::write_text(std::ostream& os) const {
  os << '[';
  for (DTM_SHORT i = 0; i < m_num_wrapper; ++i) {
    if (i > 0) {
      os << ", ";
    }
    m_id[i].write_text(os);
  }
  os << ']';
}

std::string DTM_TREE_DATA_KEY::get_text() const {
  std::ostringstream text;
  write_text(text);
  return text.str();
}
