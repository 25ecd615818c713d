#include "dtm_line_node.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "dtm_report.h"

namespace {
constexpr const char* k_source = "dtm_gen";
const MEM_STRING k_no_text;
}  // namespace

struct DTM_LINE_NODE::GROUP_TRAITS {
  const char* m_keyword;      // the optional-list keyword of the line grammar
  const char* m_outer_check;  // assertion text of the group index
  const char* m_inner_check;  // assertion text of the word index
};

// Indexed by GROUP_FIELD.
const DTM_LINE_NODE::GROUP_TRAITS DTM_LINE_NODE::s_group_traits[] = {
    {"", "(vec_index < static_cast<DTM_SHORT>(m_delays.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_delays[vec_index].size())) && (index >= 0)"},
    {"scaler", "(vec_index < static_cast<DTM_SHORT>(m_scalers.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_scalers[vec_index].size())) && (index >= 0)"},
    {"offset", "(vec_index < static_cast<DTM_SHORT>(m_offsets.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_offsets[vec_index].size())) && (index >= 0)"},
    {"bin", "(vec_index < static_cast<DTM_SHORT>(m_bins.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_bins[vec_index].size())) && (index >= 0)"},
    {"version", "(vec_index < static_cast<DTM_SHORT>(m_versions.size())) && (vec_index >= 0)",
     "(index < static_cast<DTM_SHORT>(m_versions[vec_index].size())) && (index >= 0)"},
};

const DTM_LINE_NODE::WORDS DTM_LINE_NODE::s_no_words(0, 0);

bool operator==(const DTM_LINE_NODE::WORDS& left, const DTM_LINE_NODE::WORDS& right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end());
}

namespace {

bool in_range(DTM_SHORT index, std::size_t size) {
  return index >= 0 && static_cast<std::size_t>(index) < size;
}

// Sizes of the pieces carved together, rounded so that each piece is aligned.
constexpr std::size_t aligned(std::size_t bytes) {
  return (bytes + MEM_ARENA::ALIGNMENT - 1) / MEM_ARENA::ALIGNMENT * MEM_ARENA::ALIGNMENT;
}
constexpr std::size_t k_record_bytes = aligned(sizeof(DTM_LINE_NODE));

}  // namespace

// ---- Storage -------------------------------------------------------------------

DTM_LINE_NODE::~DTM_LINE_NODE() {
  free_block();
  if (m_texts_owned) {
    MEM_MANAGER::delete_wrapper(m_texts);
  } else if (m_texts != nullptr) {
    m_texts->~TEXTS();
  }
}

void DTM_LINE_NODE::operator delete(DTM_LINE_NODE* node, std::destroying_delete_t) noexcept {
  MEM_ARENA::CHUNK* chunk = node->m_chunk;
  node->~DTM_LINE_NODE();
  if (chunk != nullptr) {
    MEM_ARENA::release(chunk);
  } else {
    MEM_MANAGER::deallocate(node, sizeof(DTM_LINE_NODE));
  }
}

void DTM_LINE_NODE::delete_list(DTM_LINE_NODE* head) noexcept {
  while (head != nullptr) {
    DTM_LINE_NODE* next = head->m_next;
    // A reader lays the records of a list out in list order: fetch ahead.
    // The address is computed as an integer: it may lie past the chunk or
    // follow a null `next`, and a prefetch of any address is harmless.
    __builtin_prefetch(
        reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(next) + 2048));
    delete head;
    head = next;
  }
}

void DTM_LINE_NODE::free_block() noexcept {
  if (m_block_owned) {
    MEM_MANAGER::deallocate(m_block, m_block->m_bytes);
  }
  MEM_ARENA::release(m_block_chunk);
  m_block = nullptr;
  m_block_chunk = nullptr;
  m_block_owned = false;
}

std::size_t DTM_LINE_NODE::block_bytes(const WORD_SOURCE* words, std::size_t count,
                                       const std::uint32_t* groups) {
  std::size_t lists = 2;
  for (int field = 0; field < GROUP_FIELDS; ++field) {
    lists += groups[field];
  }
  std::size_t text = 0;
  for (std::size_t i = 0; i < count; ++i) {
    text += words[i].m_size + 1;
  }
  return sizeof(BLOCK) + lists * sizeof(WORDS) + count * sizeof(WORD) + text;
}

// Two passes over the words: the first counts the words of each list in the
// list entries, the second places each word entry behind those of the lists
// before its own and copies its text. m_offset of a list entry holds the
// next free position of that list until the entry is finished.
DTM_LINE_NODE::BLOCK* DTM_LINE_NODE::write_block(void* memory, std::size_t bytes,
                                                 const WORD_SOURCE* words, std::size_t count,
                                                 const std::uint32_t* groups) {
  auto* block = ::new (memory) BLOCK{static_cast<std::uint32_t>(bytes), {}};
  std::size_t first[MODIFIER_LIST + 1];
  first[PARENT_LIST] = 0;
  first[MODIFIER_LIST] = 1;
  std::size_t lists = 2;
  for (int field = 0; field < GROUP_FIELDS; ++field) {
    block->m_groups[field] = groups[field];
    first[field] = lists;
    lists += groups[field];
  }
  auto* list_entries = reinterpret_cast<WORDS*>(block + 1);
  auto* word_entries = reinterpret_cast<WORD*>(list_entries + lists);
  char* text = reinterpret_cast<char*>(word_entries + count);

  for (std::size_t l = 0; l < lists; ++l) {
    ::new (&list_entries[l]) WORDS(0, 0);
  }
  for (std::size_t i = 0; i < count; ++i) {
    ++list_entries[first[words[i].m_list] + words[i].m_group].m_count;
  }
  std::uint32_t position = 0;
  for (std::size_t l = 0; l < lists; ++l) {
    list_entries[l].m_offset = position;
    position += list_entries[l].m_count;
  }
  for (std::size_t i = 0; i < count; ++i) {
    const WORD_SOURCE& source = words[i];
    WORDS& list = list_entries[first[source.m_list] + source.m_group];
    WORD* entry = word_entries + list.m_offset++;
    ::new (entry)
        WORD(static_cast<std::uint32_t>(text - reinterpret_cast<char*>(entry)), source.m_size);
    std::memcpy(text, source.m_text, source.m_size);
    text[source.m_size] = '\0';
    text += source.m_size + 1;
  }
  for (std::size_t l = 0; l < lists; ++l) {
    WORDS& list = list_entries[l];
    const WORD* start = word_entries + (list.m_offset - list.m_count);
    list.m_offset = static_cast<std::uint32_t>(reinterpret_cast<const char*>(start) -
                                               reinterpret_cast<const char*>(&list));
  }
  return block;
}

DTM_LINE_NODE* DTM_LINE_NODE::create(MEM_ARENA* records, MEM_ARENA* blocks,
                                     const WORD_SOURCE* words, std::size_t count, const char* id,
                                     const char* description) {
  std::uint32_t groups[GROUP_FIELDS] = {};
  for (std::size_t i = 0; i < count; ++i) {
    if (words[i].m_list < GROUP_FIELDS) {
      groups[words[i].m_list] = std::max(groups[words[i].m_list], words[i].m_group + 1);
    }
  }
  const bool has_id = id != nullptr && *id != '\0';
  const bool has_description = description != nullptr && *description != '\0';
  const std::size_t texts = has_id || has_description ? aligned(sizeof(TEXTS)) : 0;
  const std::size_t bytes = count > 0 ? block_bytes(words, count, groups) : 0;
  const bool apart = records != nullptr && blocks != nullptr && bytes > 0;
  const std::size_t total = k_record_bytes + texts + (apart ? 0 : bytes);
  MEM_ARENA::CHUNK* chunk = nullptr;
  char* memory = static_cast<char*>(records != nullptr ? records->allocate(total, chunk)
                                                       : MEM_ARENA::allocate_single(total, chunk));
  auto* node = ::new (memory) DTM_LINE_NODE();
  node->m_chunk = chunk;
  if (texts > 0) {
    node->m_texts = ::new (memory + k_record_bytes) TEXTS();
    node->set_id(id);
    node->set_description(description);
  }
  if (bytes > 0) {
    char* block = apart ? static_cast<char*>(blocks->allocate(bytes, node->m_block_chunk))
                        : memory + k_record_bytes + texts;
    node->m_block = write_block(block, bytes, words, count, groups);
  }
  return node;
}

void DTM_LINE_NODE::rewrite(const WORD_SOURCE* words, std::size_t count,
                            const std::uint32_t* groups) {
  const std::size_t bytes = block_bytes(words, count, groups);
  BLOCK* block = write_block(MEM_MANAGER::allocate(bytes), bytes, words, count, groups);
  free_block();  // only now: `words` may point into the old block
  m_block = block;
  m_block_owned = true;
}

// ---- Reading -------------------------------------------------------------------

DTM_LINE_NODE::GROUPS DTM_LINE_NODE::get_groups(GROUP_FIELD field) const {
  if (m_block == nullptr) {
    return GROUPS(nullptr, 0);
  }
  return GROUPS(&m_block->list(m_block->first_group(field)), m_block->m_groups[field]);
}

const char* DTM_LINE_NODE::get_flat(const WORDS& words, DTM_SHORT index, const char* check) const {
  if (!dtm_assert(in_range(index, words.size()), check, k_source)) {
    return "";
  }
  return words[static_cast<std::size_t>(index)].c_str();
}

const char* DTM_LINE_NODE::get_parent(DTM_SHORT index) const {
  return get_flat(get_parents(), index,
                  "(index < static_cast<DTM_SHORT>(m_parents.size())) && (index >= 0)");
}

const char* DTM_LINE_NODE::get_modifier(DTM_SHORT index) const {
  return get_flat(get_modifiers(), index,
                  "(index < static_cast<DTM_SHORT>(m_modifiers.size())) && (index >= 0)");
}

const char* DTM_LINE_NODE::get_grouped(GROUP_FIELD field, DTM_SHORT vec_index,
                                       DTM_SHORT index) const {
  const GROUP_TRAITS& traits = s_group_traits[field];
  const GROUPS groups = get_groups(field);
  if (!dtm_assert(in_range(vec_index, groups.size()), traits.m_outer_check, k_source)) {
    return "";
  }
  const WORDS& words = groups[static_cast<std::size_t>(vec_index)];
  if (!dtm_assert(in_range(index, words.size()), traits.m_inner_check, k_source)) {
    return "";
  }
  return words[static_cast<std::size_t>(index)].c_str();
}

DTM_SHORT DTM_LINE_NODE::get_num_grouped(GROUP_FIELD field, DTM_SHORT vec_index) const {
  const GROUPS groups = get_groups(field);
  if (!dtm_assert(in_range(vec_index, groups.size()), s_group_traits[field].m_outer_check,
                  k_source)) {
    return 0;
  }
  return static_cast<DTM_SHORT>(groups[static_cast<std::size_t>(vec_index)].size());
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

const MEM_STRING& DTM_LINE_NODE::get_description() const {
  return m_texts != nullptr ? m_texts->m_description : k_no_text;
}

const MEM_STRING& DTM_LINE_NODE::get_id() const {
  return m_texts != nullptr ? m_texts->m_id : k_no_text;
}

DTM_LINE_NODE::TEXTS& DTM_LINE_NODE::texts() {
  if (m_texts == nullptr) {
    m_texts = MEM_MANAGER::new_wrapper<TEXTS>();
    m_texts_owned = true;
  }
  return *m_texts;
}

void DTM_LINE_NODE::set_description(const char* text) {
  if (text != nullptr && *text != '\0') {
    texts().m_description = text;
  } else if (m_texts != nullptr) {
    m_texts->m_description.clear();
  }
}

void DTM_LINE_NODE::set_id(const char* id) {
  if (id != nullptr && *id != '\0') {
    texts().m_id = id;
  } else if (m_texts != nullptr) {
    m_texts->m_id.clear();
  }
}

// ---- Changing ------------------------------------------------------------------

// Rewrites the block with every word of the record, list by list, and
// `string` (unless null) added to its list; a grouped field grows to at least
// `group` + 1 groups.
bool DTM_LINE_NODE::add_word(std::uint8_t list, const char* string, std::uint32_t group) {
  std::uint32_t groups[GROUP_FIELDS] = {};
  MEM_VECTOR<WORD_SOURCE> words;
  if (m_block != nullptr) {
    std::copy(std::begin(m_block->m_groups), std::end(m_block->m_groups), groups);
    auto add_list = [&words](const WORDS& source, std::uint8_t kind, std::uint32_t g) {
      for (const WORD& word : source) {
        words.push_back({word.c_str(), static_cast<std::uint32_t>(word.size()), kind, g});
      }
    };
    add_list(get_parents(), PARENT_LIST, 0);
    add_list(get_modifiers(), MODIFIER_LIST, 0);
    for (int field = 0; field < GROUP_FIELDS; ++field) {
      const GROUPS field_groups = get_groups(static_cast<GROUP_FIELD>(field));
      for (std::uint32_t g = 0; g < field_groups.size(); ++g) {
        add_list(field_groups[g], static_cast<std::uint8_t>(field), g);
      }
    }
  }
  if (string != nullptr) {
    words.push_back({string, static_cast<std::uint32_t>(std::strlen(string)), list, group});
  }
  if (list < GROUP_FIELDS) {
    groups[list] = std::max(groups[list], group + 1);
  }
  rewrite(words.data(), words.size(), groups);
  return true;
}

bool DTM_LINE_NODE::add_grouped(GROUP_FIELD field, const char* string, DTM_SHORT vec_index) {
  const bool group_ok = dtm_assert(vec_index >= 0, "vec_index >= 0", k_source);
  const bool string_ok = dtm_assert(string != nullptr, "string != 0", k_source);
  if (!group_ok || !string_ok) {
    return false;
  }
  return add_word(static_cast<std::uint8_t>(field), string, static_cast<std::uint32_t>(vec_index));
}

bool DTM_LINE_NODE::add_parent(const char* s) {
  return dtm_assert(s != nullptr, "string != 0", k_source) && add_word(PARENT_LIST, s, 0);
}
bool DTM_LINE_NODE::add_modifier(const char* s) {
  return dtm_assert(s != nullptr, "string != 0", k_source) && add_word(MODIFIER_LIST, s, 0);
}
bool DTM_LINE_NODE::add_delay(const char* s, DTM_SHORT v) { return add_grouped(DELAYS, s, v); }
bool DTM_LINE_NODE::add_scaler(const char* s, DTM_SHORT v) { return add_grouped(SCALERS, s, v); }
bool DTM_LINE_NODE::add_offset(const char* s, DTM_SHORT v) { return add_grouped(OFFSETS, s, v); }
bool DTM_LINE_NODE::add_bin(const char* s, DTM_SHORT v) { return add_grouped(BINS, s, v); }
bool DTM_LINE_NODE::add_version(const char* s, DTM_SHORT v) { return add_grouped(VERSIONS, s, v); }

void DTM_LINE_NODE::reserve_parents(std::size_t) {}

void DTM_LINE_NODE::reserve_modifiers(std::size_t) {}

void DTM_LINE_NODE::reserve_group(GROUP_FIELD field, DTM_SHORT vec_index, std::size_t count) {
  if (count == 0 || !dtm_assert(vec_index >= 0, "vec_index >= 0", k_source)) {
    return;
  }
  if (get_groups(field).size() <= static_cast<std::size_t>(vec_index)) {
    add_word(static_cast<std::uint8_t>(field), nullptr, static_cast<std::uint32_t>(vec_index));
  }
}

// ---- Persistence ---------------------------------------------------------------

DTM_LINE_NODE::SAVED_WORDS DTM_LINE_NODE::save_words() const {
  SAVED_WORDS saved;
  saved.m_description = get_description();
  saved.m_id = get_id();
  auto copy_list = [](const WORDS& words, SAVED_WORDS::LIST& list) {
    list.reserve(words.size());
    for (const WORD& word : words) {
      list.emplace_back(word.c_str(), word.size());
    }
  };
  copy_list(get_parents(), saved.m_parents);
  copy_list(get_modifiers(), saved.m_modifiers);
  SAVED_WORDS::LISTS* fields[GROUP_FIELDS] = {&saved.m_delays, &saved.m_scalers, &saved.m_offsets,
                                              &saved.m_bins, &saved.m_versions};
  for (int field = 0; field < GROUP_FIELDS; ++field) {
    const GROUPS groups = get_groups(static_cast<GROUP_FIELD>(field));
    fields[field]->resize(groups.size());
    for (std::size_t g = 0; g < groups.size(); ++g) {
      copy_list(groups[g], (*fields[field])[g]);
    }
  }
  return saved;
}

void DTM_LINE_NODE::load_words(const SAVED_WORDS& saved) {
  set_description(saved.m_description.c_str());
  set_id(saved.m_id.c_str());
  MEM_VECTOR<WORD_SOURCE> words;
  auto add_list = [&words](const SAVED_WORDS::LIST& list, std::uint8_t kind, std::uint32_t g) {
    for (const MEM_STRING& word : list) {
      words.push_back({word.data(), static_cast<std::uint32_t>(word.size()), kind, g});
    }
  };
  add_list(saved.m_parents, PARENT_LIST, 0);
  add_list(saved.m_modifiers, MODIFIER_LIST, 0);
  const SAVED_WORDS::LISTS* fields[GROUP_FIELDS] = {
      &saved.m_delays, &saved.m_scalers, &saved.m_offsets, &saved.m_bins, &saved.m_versions};
  std::uint32_t groups[GROUP_FIELDS] = {};
  bool any = !words.empty();
  for (int field = 0; field < GROUP_FIELDS; ++field) {
    groups[field] = static_cast<std::uint32_t>(fields[field]->size());
    any = any || groups[field] > 0;
    for (std::uint32_t g = 0; g < groups[field]; ++g) {
      add_list((*fields[field])[g], static_cast<std::uint8_t>(field), g);
    }
  }
  if (any) {
    rewrite(words.data(), words.size(), groups);
  } else {
    free_block();
  }
}

// ---- Trace ---------------------------------------------------------------------

namespace {

void write_words(std::ostream& os, const DTM_LINE_NODE::WORDS& words) {
  for (const DTM_LINE_NODE::WORD& word : words) {
    os << word.view() << ' ';
  }
}

}  // namespace

void DTM_LINE_NODE::dump_node(std::ostream& os) const {
  if (m_is_description) {
    os << m_line_number << ": DESCRIPTION: \"" << get_description() << "\" ";
    write_words(os, get_parents());
    os << "|| ";
    write_words(os, get_modifiers());
    os << '\n';
    return;
  }
  const GROUPS delays = get_delays();
  for (std::size_t group = 0; group < delays.size(); ++group) {
    if (group > 0) {
      os << '\t';
    }
    os << m_line_number << ": ";
    if (!get_id().empty()) {
      os << get_id() << " :: ";
    }
    for (GROUP_FIELD field : {SCALERS, OFFSETS, BINS, VERSIONS}) {
      const GROUPS groups = get_groups(field);
      if (group < groups.size() && !groups[group].empty()) {
        os << s_group_traits[field].m_keyword << ' ';
        write_words(os, groups[group]);
        os << "|| ";
      }
    }
    dtm_assert(!delays[group].empty(), "this->get_num_delays(j) > 0", k_source);
    write_words(os, delays[group]);
    os << "|| ";
    write_words(os, get_parents());
    os << "|| ";
    write_words(os, get_modifiers());
    os << '\n';
  }
}
