#include "dtm_line_node.h"

#include "dtm_report.h"

namespace {
constexpr const char* k_source = "dtm_gen";
}  // namespace

struct DTM_LINE_NODE::GROUP_TRAITS {
  DTM_LINE_NODE::GROUPS DTM_LINE_NODE::*m_field;
  const char* m_keyword;      // the optional-list keyword of the line grammar
  const char* m_outer_check;  // assertion text of the group index
  const char* m_inner_check;  // assertion text of the word index
};

// Indexed by GROUP_FIELD.
const DTM_LINE_NODE::GROUP_TRAITS DTM_LINE_NODE::s_group_traits[] = {
    {&DTM_LINE_NODE::m_delays, "",
     "(vec_index < static_cast<DTM_SHORT>(m_delays.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_delays[vec_index].size())) && (index >= 0)"},
    {&DTM_LINE_NODE::m_scalers, "scaler",
     "(vec_index < static_cast<DTM_SHORT>(m_scalers.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_scalers[vec_index].size())) && (index >= 0)"},
    {&DTM_LINE_NODE::m_offsets, "offset",
     "(vec_index < static_cast<DTM_SHORT>(m_offsets.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_offsets[vec_index].size())) && (index >= 0)"},
    {&DTM_LINE_NODE::m_bins, "bin",
     "(vec_index < static_cast<DTM_SHORT>(m_bins.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_bins[vec_index].size())) && (index >= 0)"},
    {&DTM_LINE_NODE::m_versions, "version",
     "(vec_index < static_cast<DTM_SHORT>(m_versions.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_versions[vec_index].size())) && (index >= 0)"},
};

namespace {

template <class CONTAINER>
bool in_range(DTM_SHORT index, const CONTAINER& container) {
  return index >= 0 && static_cast<std::size_t>(index) < container.size();
}

}  // namespace

void DTM_LINE_NODE::delete_list(DTM_LINE_NODE* head) noexcept {
  while (head != nullptr) {
    DTM_LINE_NODE* next = head->m_next;
    MEM_MANAGER::delete_wrapper(head);
    head = next;
  }
}

const char* DTM_LINE_NODE::get_flat(const WORDS& words, DTM_SHORT index, const char* check) const {
  if (!dtm_assert(in_range(index, words), check, k_source)) {
    return "";
  }
  return words[static_cast<std::size_t>(index)].c_str();
}

const char* DTM_LINE_NODE::get_parent(DTM_SHORT index) const {
  return get_flat(m_parents, index,
                  "(index < static_cast<DTM_SHORT>(m_parents.size())) && (index >= 0)");
}

const char* DTM_LINE_NODE::get_modifier(DTM_SHORT index) const {
  return get_flat(m_modifiers, index,
                  "(index < static_cast<DTM_SHORT>(m_modifiers.size())) && (index >= 0)");
}

const char* DTM_LINE_NODE::get_grouped(GROUP_FIELD field, DTM_SHORT vec_index,
                                       DTM_SHORT index) const {
  const GROUP_TRAITS& traits = s_group_traits[field];
  const GROUPS& groups = this->*traits.m_field;
  if (!dtm_assert(in_range(vec_index, groups), traits.m_outer_check, k_source)) {
    return "";
  }
  const WORDS& words = groups[static_cast<std::size_t>(vec_index)];
  if (!dtm_assert(in_range(index, words), traits.m_inner_check, k_source)) {
    return "";
  }
  return words[static_cast<std::size_t>(index)].c_str();
}

DTM_SHORT DTM_LINE_NODE::get_num_grouped(GROUP_FIELD field, DTM_SHORT vec_index) const {
  const GROUP_TRAITS& traits = s_group_traits[field];
  const GROUPS& groups = this->*traits.m_field;
  if (!dtm_assert(in_range(vec_index, groups), traits.m_outer_check, k_source)) {
    return 0;
  }
  return static_cast<DTM_SHORT>(groups[static_cast<std::size_t>(vec_index)].size());
}

bool DTM_LINE_NODE::add_flat(WORDS& words, const char* string) {
  if (!dtm_assert(string != nullptr, "string != 0", k_source)) {
    return false;
  }
  words.emplace_back(string);
  return true;
}

bool DTM_LINE_NODE::add_grouped(GROUP_FIELD field, const char* string, DTM_SHORT vec_index) {
  const bool group_ok = dtm_assert(vec_index >= 0, "vec_index >= 0", k_source);
  const bool string_ok = dtm_assert(string != nullptr, "string != 0", k_source);
  if (!group_ok || !string_ok) {
    return false;
  }
  GROUPS& groups = this->*s_group_traits[field].m_field;
  if (groups.size() <= static_cast<std::size_t>(vec_index)) {
    groups.resize(static_cast<std::size_t>(vec_index) + 1);
  }
  groups[static_cast<std::size_t>(vec_index)].emplace_back(string);
  return true;
}

void DTM_LINE_NODE::reserve_parents(std::size_t count) {
  m_parents.reserve(m_parents.size() + count);
}

void DTM_LINE_NODE::reserve_modifiers(std::size_t count) {
  m_modifiers.reserve(m_modifiers.size() + count);
}

void DTM_LINE_NODE::reserve_group(GROUP_FIELD field, DTM_SHORT vec_index, std::size_t count) {
  if (count == 0 || !dtm_assert(vec_index >= 0, "vec_index >= 0", k_source)) {
    return;
  }
  GROUPS& groups = this->*s_group_traits[field].m_field;
  if (groups.size() <= static_cast<std::size_t>(vec_index)) {
    groups.resize(static_cast<std::size_t>(vec_index) + 1);
  }
  WORDS& words = groups[static_cast<std::size_t>(vec_index)];
  words.reserve(words.size() + count);
}

const char* DTM_LINE_NODE::get_delay(DTM_SHORT v, DTM_SHORT i) const {
  return get_grouped(DELAYS, v, i);
}
const char* DTM_LINE_NODE::get_scaler(DTM_SHORT v, DTM_SHORT i) const {
  return get_grouped(SCALERS, v, i);
}
const char* DTM_LINE_NODE::get_offset(DTM_SHORT v, DTM_SHORT i) const {
  return get_grouped(OFFSETS, v, i);
}
const char* DTM_LINE_NODE::get_bin(DTM_SHORT v, DTM_SHORT i) const {
  return get_grouped(BINS, v, i);
}
const char* DTM_LINE_NODE::get_version(DTM_SHORT v, DTM_SHORT i) const {
  return get_grouped(VERSIONS, v, i);
}

DTM_SHORT DTM_LINE_NODE::get_num_delays(DTM_SHORT v) const { return get_num_grouped(DELAYS, v); }
DTM_SHORT DTM_LINE_NODE::get_num_scalers(DTM_SHORT v) const { return get_num_grouped(SCALERS, v); }
DTM_SHORT DTM_LINE_NODE::get_num_offsets(DTM_SHORT v) const { return get_num_grouped(OFFSETS, v); }
DTM_SHORT DTM_LINE_NODE::get_num_bins(DTM_SHORT v) const { return get_num_grouped(BINS, v); }
DTM_SHORT DTM_LINE_NODE::get_num_versions(DTM_SHORT v) const {
  return get_num_grouped(VERSIONS, v);
}

bool DTM_LINE_NODE::add_parent(const char* s) { return add_flat(m_parents, s); }
bool DTM_LINE_NODE::add_modifier(const char* s) { return add_flat(m_modifiers, s); }
bool DTM_LINE_NODE::add_delay(const char* s, DTM_SHORT v) { return add_grouped(DELAYS, s, v); }
bool DTM_LINE_NODE::add_scaler(const char* s, DTM_SHORT v) { return add_grouped(SCALERS, s, v); }
bool DTM_LINE_NODE::add_offset(const char* s, DTM_SHORT v) { return add_grouped(OFFSETS, s, v); }
bool DTM_LINE_NODE::add_bin(const char* s, DTM_SHORT v) { return add_grouped(BINS, s, v); }
bool DTM_LINE_NODE::add_version(const char* s, DTM_SHORT v) { return add_grouped(VERSIONS, s, v); }

namespace {

void write_words(std::ostream& os, const DTM_LINE_NODE::WORDS& words) {
  for (const MEM_STRING& word : words) {
    os << word << ' ';
  }
}

}  // namespace

void DTM_LINE_NODE::dump_node(std::ostream& os) const {
  if (m_is_description) {
    os << m_line_number << ": DESCRIPTION: \"" << m_description << "\" ";
    write_words(os, m_parents);
    os << "|| ";
    write_words(os, m_modifiers);
    os << '\n';
    return;
  }
  for (std::size_t group = 0; group < m_delays.size(); ++group) {
    if (group > 0) {
      os << '\t';
    }
    os << m_line_number << ": ";
    if (!m_id.empty()) {
      os << m_id << " :: ";
    }
    for (GROUP_FIELD field : {SCALERS, OFFSETS, BINS, VERSIONS}) {
      const GROUPS& groups = this->*s_group_traits[field].m_field;
      if (group < groups.size() && !groups[group].empty()) {
        os << s_group_traits[field].m_keyword << ' ';
        write_words(os, groups[group]);
        os << "|| ";
      }
    }
    dtm_assert(!m_delays[group].empty(), "this->get_num_delays(j) > 0", k_source);
    write_words(os, m_delays[group]);
    os << "|| ";
    write_words(os, m_parents);
    os << "|| ";
    write_words(os, m_modifiers);
    os << '\n';
  }
}
