#include "dtm_tree_data_key.h"

#include <sstream>

#include "dbs_translator.h"
#include "dtm_report.h"
#include "dtm_string.h"
#include "gen_sys.h"

namespace {

constexpr const char* k_source = "dtm_tree_data_key";

void write_number(std::ostream& os, int value) {
  char buffer[34];
  os << gen_itoa(value, buffer);
}

}  // namespace

const char* DTM_ENUM_WRAPPER::get_name(std::int32_t enum_type, std::int32_t enum_id) noexcept {
  const std::int32_t value = static_cast<std::int32_t>(static_cast<std::uint32_t>(enum_id) - 1U);
  switch (enum_type) {
    case DTM_WRAPPER_DTM_ENUM:
      return DTM_STRING::get_dtm_enum_string(enum_id);
    case DTM_WRAPPER_BURIED_PORT:
      return DBS_TRANSLATOR::get_debug_string_name(static_cast<DB_BURIED_PORT_TYPE>(value));
    case DTM_WRAPPER_INPUT_PORT:
      return DBS_TRANSLATOR::get_debug_string_name(static_cast<DB_INPUT_PORT_TYPE>(value));
    case DTM_WRAPPER_OUTPUT_PORT:
      return DBS_TRANSLATOR::get_debug_string_name(static_cast<DB_OUTPUT_PORT_TYPE>(value));
    case DTM_WRAPPER_RE_TYPE:
      return value >= 0 && value < CDB_RE_TYPE_COUNT
                 ? CDB_RE_TYPE_STRING[value]
                 : DBS_TRANSLATOR::get_debug_string_name(static_cast<CDB_RE_TYPE>(value));
    default:
      return nullptr;
  }
}

void DTM_ENUM_WRAPPER::write_text(std::ostream& os) const {
  if (const char* name = get_name(); name != nullptr) {
    os << name;
    return;
  }
  switch (m_enum_type) {
    case DTM_WRAPPER_UNSET:
      os << '-';
      return;
    case DTM_WRAPPER_INDEX:
      write_number(os, static_cast<int>(static_cast<std::uint32_t>(m_enum_id) - 1U));
      return;
    default:
      write_number(os, m_enum_type);
      os << ':';
      write_number(os, m_enum_id);
      return;
  }
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

DTM_TREE_DATA_KEY::DTM_TREE_DATA_KEY(DTM_TREE_DATA_KEY&& other) noexcept : m_id(m_inline) {
  take(other);
}

DTM_TREE_DATA_KEY& DTM_TREE_DATA_KEY::operator=(DTM_TREE_DATA_KEY&& other) noexcept {
  if (this != &other) {
    release();
    take(other);
  }
  return *this;
}

DTM_TREE_DATA_KEY::~DTM_TREE_DATA_KEY() { release(); }

void DTM_TREE_DATA_KEY::take(DTM_TREE_DATA_KEY& other) noexcept {
  m_num_wrapper = other.m_num_wrapper;
  if (other.m_id == other.m_inline) {
    m_id = m_inline;
    for (DTM_SHORT i = 0; i < k_inline_capacity; ++i) {
      m_inline[i] = other.m_inline[i];
    }
  } else {
    m_id = other.m_id;
    other.m_id = other.m_inline;
  }
  other.m_num_wrapper = 0;
}

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
