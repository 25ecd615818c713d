// The DMF reader: file scanners (plain and sectioned), device listing and the
// line parser.
#include <cstring>
#include <string>
#include <string_view>

#include "dtm_gen.h"
#include "dtm_line_reader.h"
#include "dtm_report.h"
#include "gen_sys.h"

const char* const DTM_FACTORY::DTM_DEVICE_LISTING =
    "****************************************DEVICE_LISTING";
const char* const DTM_FACTORY::DTM_START_COMMON =
    "****************************************START_COMMON";
const char* const DTM_FACTORY::DTM_END_COMMON =
    "****************************************END_COMMON";
const char* const DTM_FACTORY::DTM_START_DIE = "****************************************START_";
const char* const DTM_FACTORY::DTM_END_DIE = "****************************************END_";
const char* const DTM_FACTORY::DTM_COMMON_TAG = "COMMON";

namespace {

constexpr const char* k_source = "dtm_gen";
constexpr const char* k_too_long = "Input buffer too small for DMF file";

// A set of separator characters as a lookup table. '\0' is never a member,
// so scans over a set stop at the end of the text.
class SEPARATORS {
 public:
  constexpr explicit SEPARATORS(const char* members) : m_member{} {
    for (; *members != '\0'; ++members) {
      m_member[static_cast<unsigned char>(*members)] = true;
    }
  }
  constexpr bool contains(char c) const { return m_member[static_cast<unsigned char>(c)]; }
  const char* skip(const char* text) const {
    while (contains(*text)) {
      ++text;
    }
    return text;
  }
  const char* token_end(const char* text) const {
    while (*text != '\0' && !contains(*text)) {
      ++text;
    }
    return text;
  }

 private:
  bool m_member[256];
};

constexpr SEPARATORS k_word_separators(" \t\r");
constexpr SEPARATORS k_quote("\"");

// strtok over one writable line, without hidden global state: skips leading
// separators, cuts the token at the next separator and resumes behind it.
class TOKENIZER {
 public:
  explicit TOKENIZER(char* text) : m_next(text) {}
  char* next(const SEPARATORS& separators) {
    if (m_next == nullptr) {
      return nullptr;
    }
    char* start = const_cast<char*>(separators.skip(m_next));
    if (*start == '\0') {
      m_next = nullptr;
      return nullptr;
    }
    char* end = const_cast<char*>(separators.token_end(start));
    if (*end == '\0') {
      m_next = nullptr;
    } else {
      *end = '\0';
      m_next = end + 1;
    }
    return start;
  }
  char* next_word() { return next(k_word_separators); }

  // How many words next_word() will give before one equal to a stop word
  // (null: no stop) or the end of the line. Looks ahead without cutting.
  std::size_t count_words_before(const char* stop, const char* other_stop = nullptr) const {
    std::size_t count = 0;
    for (const char* word = m_next; word != nullptr; ++count) {
      word = k_word_separators.skip(word);
      if (*word == '\0') {
        break;
      }
      const char* end = k_word_separators.token_end(word);
      const std::string_view text(word, static_cast<std::size_t>(end - word));
      if ((stop != nullptr && text == stop) || (other_stop != nullptr && text == other_stop)) {
        break;
      }
      word = end;
    }
    return count;
  }

 private:
  char* m_next;
};

bool is(const char* word, const char* reserved) {
  return word != nullptr && gen_strcmp(word, reserved) == 0;
}

bool begins_with(std::string_view line, const char* marker) { return line.starts_with(marker); }

std::string line_message(DTM_SHORT line_number, const char* tail) {
  return "Bad DMF file: Line " + std::to_string(line_number) + tail;
}

DTM_LINE_NODE* new_record(DTM_LINE_NODE* prev, DTM_SHORT line_number) {
  auto* node = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
  node->set_line_number(line_number);
  node->set_prev(prev);
  if (prev != nullptr) {
    prev->set_next(node);
  }
  return node;
}

DTM_LINE_NODE* head_of(DTM_LINE_NODE* node) {
  while (node != nullptr && node->get_prev() != nullptr) {
    node = node->get_prev();
  }
  return node;
}

// The optional lists of a delay group, in the only order they are recognised.
using ADD_WORD = bool (DTM_LINE_NODE::*)(const char*, DTM_SHORT);
struct OPTIONAL_LIST {
  const char* m_keyword;
  DTM_LINE_NODE::GROUP_FIELD m_field;
  ADD_WORD m_add;
  const char* m_failed_call;
};
constexpr OPTIONAL_LIST k_optional_lists[] = {
    {"scaler", DTM_LINE_NODE::SCALERS, &DTM_LINE_NODE::add_scaler,
     "node->add_scaler(ptr, vec_index)"},
    {"offset", DTM_LINE_NODE::OFFSETS, &DTM_LINE_NODE::add_offset,
     "node->add_offset(ptr, vec_index)"},
    {"bin", DTM_LINE_NODE::BINS, &DTM_LINE_NODE::add_bin, "node->add_bin(ptr, vec_index)"},
    {"version", DTM_LINE_NODE::VERSIONS, &DTM_LINE_NODE::add_version,
     "node->add_version(ptr, vec_index)"},
};

// Words of a list that starts with `first` (already cut) and runs to a stop
// word: what the list will receive, so that it is allocated once.
std::size_t list_length(const char* first, const TOKENIZER& words, const char* stop,
                        const char* other_stop = nullptr) {
  if (first == nullptr || is(first, stop) || (other_stop != nullptr && is(first, other_stop))) {
    return 0;
  }
  return 1 + words.count_words_before(stop, other_stop);
}

void add_delay_word(DTM_LINE_NODE* node, const char* ptr, DTM_SHORT vec_index) {
  dtm_assert(node->add_delay(ptr, vec_index), "node->add_delay(ptr, vec_index)", k_source);
}

// Parents up to the next "||", then every remaining word as a modifier.
void parse_parents_and_modifiers(DTM_LINE_NODE* node, TOKENIZER& words) {
  node->reserve_parents(words.count_words_before("||"));
  char* word = words.next_word();
  for (; word != nullptr && !is(word, "||"); word = words.next_word()) {
    node->add_parent(word);
  }
  if (word == nullptr) {
    return;
  }
  node->reserve_modifiers(words.count_words_before(nullptr));
  for (word = words.next_word(); word != nullptr; word = words.next_word()) {
    node->add_modifier(word);
  }
}

// The delay groups of a delay line, starting with its first two words.
// Returns false when the line ran out of words (reported as invalid); the
// parser then keeps the record as far as it got.
bool parse_groups(DTM_LINE_NODE* node, TOKENIZER& words, char* w1, char* w2) {
  for (DTM_SHORT vec_index = 0;; ++vec_index) {
    for (const OPTIONAL_LIST& list : k_optional_lists) {
      if (!is(w1, list.m_keyword)) {
        continue;
      }
      node->reserve_group(list.m_field, vec_index, list_length(w2, words, "||"));
      char* word = w2;
      for (; word != nullptr && !is(word, "||"); word = words.next_word()) {
        dtm_assert((node->*list.m_add)(word, vec_index), list.m_failed_call, k_source);
      }
      if (word == nullptr) {
        return false;
      }
      w1 = words.next_word();
      w2 = words.next_word();
    }
    if (w1 == nullptr) {
      return false;
    }
    node->reserve_group(DTM_LINE_NODE::DELAYS, vec_index, 1 + list_length(w2, words, ";;", "||"));
    add_delay_word(node, w1, vec_index);
    char* word = w2;
    for (; word != nullptr && !is(word, ";;") && !is(word, "||"); word = words.next_word()) {
      add_delay_word(node, word, vec_index);
    }
    if (word == nullptr) {
      return false;
    }
    if (is(word, "||")) {
      return true;
    }
    w1 = words.next_word();
    w2 = words.next_word();
  }
}

}  // namespace

DTM_LINE_NODE* DTM_FACTORY::parse_a_line(DTM_LINE_NODE* prev, char* line,
                                         DTM_SHORT line_number) const {
  if (!dtm_assert(line != nullptr, "line != 0", k_source)) {
    return prev;
  }
  if (line[0] == '"') {
    TOKENIZER text(line);
    char* description = text.next(k_quote);
    if (description == nullptr) {
      return prev;
    }
    DTM_LINE_NODE* node = new_record(prev, line_number);
    node->set_is_description(true);
    node->set_description(description);
    parse_parents_and_modifiers(node, text);
    return node;
  }

  TOKENIZER words(line);
  char* w1 = words.next_word();
  if (w1 == nullptr) {
    return prev;
  }
  if (gen_stricmp(w1, "error") == 0) {
    dtm_report(line_message(line_number, " contains an error"), k_source);
  }
  DTM_LINE_NODE* node = new_record(prev, line_number);
  char* w2 = words.next_word();
  if (w2 == nullptr) {
    dtm_report(line_message(line_number, " is invalid"), k_source);
    return node;
  }
  if (is(w2, "::")) {
    node->set_id(w1);
    w1 = words.next_word();
    w2 = words.next_word();
  }
  if (!parse_groups(node, words, w1, w2)) {
    dtm_report(line_message(line_number, " is invalid"), k_source);
    return node;
  }
  parse_parents_and_modifiers(node, words);
  return node;
}

DTM_LINE_NODE* DTM_FACTORY::parse_file(const char* in_file) const {
  if (!dtm_assert(in_file != nullptr, "in_file != 0", k_source)) {
    return nullptr;
  }
  DTM_LINE_READER reader(in_file);
  DTM_LINE_NODE* current = nullptr;
  DTM_SHORT line_number = 0;
  char* line = nullptr;
  std::size_t length = 0;
  while (reader.next_line(line, length)) {
    ++line_number;
    if (length > DTM_MAX_LINE_LENGTH) {
      dtm_report(k_too_long, k_source);
      continue;
    }
    if (line[0] == '%' || line[0] == '\n') {
      continue;
    }
    current = parse_a_line(current, line, line_number);
  }
  return head_of(current);
}

DTM_LINE_NODE* DTM_FACTORY::parse_file_advanced(const char* in_file,
                                                const std::string* device_name) const {
  const bool file_ok = dtm_assert(in_file != nullptr, "in_file != 0", k_source);
  const bool device_ok = dtm_assert(device_name != nullptr, "device_name != 0", k_source);
  if (!file_ok || !device_ok) {
    return nullptr;
  }
  const std::size_t start_prefix = std::strlen(DTM_START_DIE);
  const std::size_t end_prefix = std::strlen(DTM_END_DIE);

  DTM_LINE_READER reader(in_file);
  DTM_LINE_NODE* current = nullptr;
  DTM_SHORT line_number = 0;
  bool in_section = false;
  bool reading = false;
  bool device_found = false;
  bool device_closed = false;
  MEM_STRING section;
  char* line = nullptr;
  std::size_t length = 0;
  while (!device_closed && reader.next_line(line, length)) {
    ++line_number;
    if (length > DTM_MAX_LINE_LENGTH) {
      dtm_report(k_too_long, k_source);
      continue;
    }
    if (line[0] == '%' || line[0] == '\n') {
      continue;
    }
    const std::string_view text(line);
    if (line[0] == '*') {
      if (begins_with(text, DTM_DEVICE_LISTING)) {
        continue;
      }
      if (begins_with(text, DTM_START_COMMON)) {
        if (in_section) {
          dtm_report("Bad DMF file:  Found start of section COMMON inside another section.",
                     k_source);
        }
        in_section = true;
        reading = true;
        section.assign(text.substr(start_prefix));
        continue;
      }
      if (begins_with(text, DTM_END_COMMON)) {
        if (in_section && text.substr(end_prefix) == section) {
          in_section = false;
          reading = false;
        } else {
          dtm_report("Bad DMF file:  Found end of section COMMON, but not in that section.",
                     k_source);
        }
        continue;
      }
      if (begins_with(text, DTM_START_DIE)) {
        if (in_section) {
          dtm_report("Bad DMF file:  Found beginning of a section inside another.", k_source);
          continue;
        }
        in_section = true;
        section.assign(text.substr(start_prefix));
        // The device name selects every section whose name it begins, as long
        // as its first occurrence in the line is right behind the prefix.
        reading = text.find(*device_name) == start_prefix;
        device_found = device_found || reading;
        continue;
      }
      if (begins_with(text, DTM_END_DIE)) {
        if (!in_section || text.substr(end_prefix) != section) {
          dtm_report("Bad DMF file:  Found end of a section, but not in that section.", k_source);
        } else {
          in_section = false;
          reading = false;
          device_closed = device_found;
        }
        continue;
      }
    }
    if (reading) {
      current = parse_a_line(current, line, line_number);
    }
  }
  DTM_LINE_NODE* head = head_of(current);
  if (!device_closed) {
    dtm_report("Bad DMF file:  Couldn't find one or both of the required sections.", k_source);
    DTM_LINE_NODE::delete_list(head);
    return nullptr;
  }
  return head;
}

void DTM_FACTORY::get_device_listing(const char* in_file, std::vector<std::string>& devices) const {
  if (!dtm_assert(in_file != nullptr, "in_file != 0", k_source)) {
    return;
  }
  DTM_LINE_READER reader(in_file);
  if (!reader.is_open()) {
    return;
  }
  char* line = nullptr;
  std::size_t length = 0;
  std::string_view text;
  if (reader.next_line(line, length, /*keep_unterminated=*/true)) {
    text = line;
  }
  // A bounded read into a 300-character buffer is full once the line holds 299.
  if (length >= DTM_LINE_READER::LINE_BUFFER - 1) {
    dtm_report(k_too_long, k_source);
  }
  if (!begins_with(text, DTM_DEVICE_LISTING)) {
    dtm_report("Device listing not found in DMF file", k_source);
  }
  while (!text.empty()) {
    const std::size_t blank = text.find(' ');
    const std::string_view word = text.substr(0, blank);
    if (!word.empty() && !begins_with(word, DTM_DEVICE_LISTING)) {
      devices.emplace_back(word);
    }
    text = blank == std::string_view::npos ? std::string_view() : text.substr(blank + 1);
  }
}
