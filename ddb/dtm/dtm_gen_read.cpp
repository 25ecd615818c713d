// The DMF reader: file scanners (plain and sectioned), device listing and the
// line parser.
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "dtm_gen.h"
#include "dtm_line_reader.h"
#include "dtm_report.h"
#include "gen_sys.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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
  // What is left of the line after the last token (null: nothing).
  char* rest() const { return m_next; }

 private:
  char* m_next;
};

// A word of the line being parsed, cut in place: the line buffer holds a NUL
// behind it.
struct TOKEN {
  const char* m_text;
  std::uint32_t m_size;
};

// The word scan classifies each character once: part of a word, a word
// separator, or the end of the text.
enum CHAR_CLASS : std::uint8_t { IN_WORD, SEPARATOR, END };
struct CHAR_CLASSES {
  constexpr CHAR_CLASSES() : m_class{} {
    for (int c = 0; c < 256; ++c) {
      m_class[c] = k_word_separators.contains(static_cast<char>(c)) ? SEPARATOR : IN_WORD;
    }
    m_class[0] = END;
  }
  CHAR_CLASS operator()(char c) const { return m_class[static_cast<unsigned char>(c)]; }
  CHAR_CLASS m_class[256];
};
constexpr CHAR_CLASSES k_char_class;

// The end of the word that starts at `text`: its first separator or the end
// of the text. `limit` is the end of the text; 16 characters at a time are
// compared while that many remain before it.
char* word_end(char* text, const char* limit) {
#if defined(__SSE2__)
  const __m128i blank = _mm_set1_epi8(' ');
  const __m128i tab = _mm_set1_epi8('\t');
  const __m128i carriage_return = _mm_set1_epi8('\r');
  while (limit - text >= 16) {
    const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const __m128i separators =
        _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(chunk, blank), _mm_cmpeq_epi8(chunk, tab)),
                     _mm_cmpeq_epi8(chunk, carriage_return));
    const int mask = _mm_movemask_epi8(separators);
    if (mask != 0) {
      return text + __builtin_ctz(static_cast<unsigned>(mask));
    }
    text += 16;
  }
#else
  static_cast<void>(limit);
#endif
  while (k_char_class(*text) == IN_WORD) {
    ++text;
  }
  return text;
}

// Cuts every word of `text` in place (as strtok would) and appends it.
void split_words(char* text, MEM_VECTOR<TOKEN>& tokens) {
  if (text == nullptr) {
    return;
  }
  const char* const limit = text + std::strlen(text);
  for (;;) {
    while (k_char_class(*text) == SEPARATOR) {
      ++text;
    }
    if (*text == '\0') {
      return;
    }
    char* end = word_end(text + 1, limit);
    tokens.push_back({text, static_cast<std::uint32_t>(end - text)});
    if (*end == '\0') {
      return;
    }
    *end = '\0';
    text = end + 1;
  }
}

bool is(const TOKEN* word, std::string_view reserved) {
  return word != nullptr && std::string_view(word->m_text, word->m_size) == reserved;
}

bool begins_with(std::string_view line, const char* marker) { return line.starts_with(marker); }

std::string line_message(DTM_SHORT line_number, const char* tail) {
  return "Bad DMF file: Line " + std::to_string(line_number) + tail;
}

// The first record a reader makes is the head of its list: remembering it
// spares a walk back over the whole list.
void note_head(DTM_LINE_NODE*& head, DTM_LINE_NODE* current) {
  if (head == nullptr) {
    head = current;
  }
}

// The optional lists of a delay group, in the only order they are recognised.
struct OPTIONAL_LIST {
  std::string_view m_keyword;
  DTM_LINE_NODE::GROUP_FIELD m_field;
  const char* m_failed_call;
};
constexpr OPTIONAL_LIST k_optional_lists[] = {
    {"scaler", DTM_LINE_NODE::SCALERS, "node->add_scaler(ptr, vec_index)"},
    {"offset", DTM_LINE_NODE::OFFSETS, "node->add_offset(ptr, vec_index)"},
    {"bin", DTM_LINE_NODE::BINS, "node->add_bin(ptr, vec_index)"},
    {"version", DTM_LINE_NODE::VERSIONS, "node->add_version(ptr, vec_index)"},
};
constexpr const char* k_failed_delay = "node->add_delay(ptr, vec_index)";

// Turns lines into records. The words of a line are cut first, then the
// grammar assigns each kept word to its list, and the record is written in
// one piece. A file reader keeps one parser for the whole file, so its word
// buffers are allocated once and its records and blocks share two arenas.
class LINE_PARSER {
 public:
  // Without arenas, each record is an allocation of its own.
  LINE_PARSER(MEM_ARENA* records, MEM_ARENA* blocks) : m_records(records), m_blocks(blocks) {
    m_tokens.reserve(k_initial_words);
    m_words.reserve(k_initial_words);
  }

  DTM_LINE_NODE* parse(DTM_LINE_NODE* prev, char* line, DTM_SHORT line_number);

 private:
  static constexpr std::size_t k_initial_words = 64;

  const TOKEN* next_word() { return m_next < m_tokens.size() ? &m_tokens[m_next++] : nullptr; }
  void keep(const TOKEN* word, std::uint8_t list, DTM_SHORT group, const char* failed_call);
  bool parse_groups(const TOKEN* w1, const TOKEN* w2);
  void parse_parents_and_modifiers();
  DTM_LINE_NODE* make_record(DTM_LINE_NODE* prev, DTM_SHORT line_number, const char* id,
                             const char* description);

  MEM_ARENA* m_records;
  MEM_ARENA* m_blocks;
  MEM_VECTOR<TOKEN> m_tokens;
  std::size_t m_next = 0;
  MEM_VECTOR<DTM_LINE_NODE::WORD_SOURCE> m_words;
};

// A group index past the 16-bit range has wrapped to a negative value: the
// word is refused as the appender would refuse it.
void LINE_PARSER::keep(const TOKEN* word, std::uint8_t list, DTM_SHORT group,
                       const char* failed_call) {
  if (group < 0) {
    dtm_assert(false, "vec_index >= 0", k_source);
    dtm_assert(false, failed_call, k_source);
    return;
  }
  m_words.push_back({word->m_text, word->m_size, list, static_cast<std::uint32_t>(group)});
}

// Parents up to the next "||", then every remaining word as a modifier.
void LINE_PARSER::parse_parents_and_modifiers() {
  const TOKEN* word = next_word();
  for (; word != nullptr && !is(word, "||"); word = next_word()) {
    keep(word, DTM_LINE_NODE::PARENT_LIST, 0, nullptr);
  }
  if (word == nullptr) {
    return;
  }
  for (word = next_word(); word != nullptr; word = next_word()) {
    keep(word, DTM_LINE_NODE::MODIFIER_LIST, 0, nullptr);
  }
}

// The delay groups of a delay line, starting with its first two words.
// Returns false when the line ran out of words (reported as invalid); the
// record then keeps what was read so far.
bool LINE_PARSER::parse_groups(const TOKEN* w1, const TOKEN* w2) {
  for (DTM_SHORT vec_index = 0;; ++vec_index) {
    for (const OPTIONAL_LIST& list : k_optional_lists) {
      if (!is(w1, list.m_keyword)) {
        continue;
      }
      const TOKEN* word = w2;
      for (; word != nullptr && !is(word, "||"); word = next_word()) {
        keep(word, static_cast<std::uint8_t>(list.m_field), vec_index, list.m_failed_call);
      }
      if (word == nullptr) {
        return false;
      }
      w1 = next_word();
      w2 = next_word();
    }
    if (w1 == nullptr) {
      return false;
    }
    keep(w1, DTM_LINE_NODE::DELAYS, vec_index, k_failed_delay);
    const TOKEN* word = w2;
    for (; word != nullptr && !is(word, ";;") && !is(word, "||"); word = next_word()) {
      keep(word, DTM_LINE_NODE::DELAYS, vec_index, k_failed_delay);
    }
    if (word == nullptr) {
      return false;
    }
    if (is(word, "||")) {
      return true;
    }
    w1 = next_word();
    w2 = next_word();
  }
}

DTM_LINE_NODE* LINE_PARSER::make_record(DTM_LINE_NODE* prev, DTM_SHORT line_number, const char* id,
                                        const char* description) {
  DTM_LINE_NODE* node =
      DTM_LINE_NODE::create(m_records, m_blocks, m_words.data(), m_words.size(), id, description);
  node->set_line_number(line_number);
  node->set_prev(prev);
  if (prev != nullptr) {
    prev->set_next(node);
  }
  return node;
}

DTM_LINE_NODE* LINE_PARSER::parse(DTM_LINE_NODE* prev, char* line, DTM_SHORT line_number) {
  m_tokens.clear();
  m_words.clear();
  m_next = 0;
  if (line[0] == '"') {
    TOKENIZER text(line);
    char* description = text.next(k_quote);
    if (description == nullptr) {
      return prev;
    }
    split_words(text.rest(), m_tokens);
    parse_parents_and_modifiers();
    DTM_LINE_NODE* node = make_record(prev, line_number, nullptr, description);
    node->set_is_description(true);
    return node;
  }

  split_words(line, m_tokens);
  const TOKEN* w1 = next_word();
  if (w1 == nullptr) {
    return prev;
  }
  if (gen_stricmp(w1->m_text, "error") == 0) {
    dtm_report(line_message(line_number, " contains an error"), k_source);
  }
  const char* id = nullptr;
  const TOKEN* w2 = next_word();
  if (w2 == nullptr) {
    dtm_report(line_message(line_number, " is invalid"), k_source);
  } else {
    if (is(w2, "::")) {
      id = w1->m_text;
      w1 = next_word();
      w2 = next_word();
    }
    if (parse_groups(w1, w2)) {
      parse_parents_and_modifiers();
    } else {
      dtm_report(line_message(line_number, " is invalid"), k_source);
    }
  }
  return make_record(prev, line_number, id, nullptr);
}

}  // namespace

DTM_LINE_NODE* DTM_FACTORY::parse_a_line(DTM_LINE_NODE* prev, char* line,
                                         DTM_SHORT line_number) const {
  if (!dtm_assert(line != nullptr, "line != 0", k_source)) {
    return prev;
  }
  LINE_PARSER parser(nullptr, nullptr);
  return parser.parse(prev, line, line_number);
}

DTM_LINE_NODE* DTM_FACTORY::parse_file(const char* in_file) const {
  if (!dtm_assert(in_file != nullptr, "in_file != 0", k_source)) {
    return nullptr;
  }
  DTM_LINE_READER reader(in_file);
  MEM_ARENA records;
  MEM_ARENA blocks;
  LINE_PARSER parser(&records, &blocks);
  DTM_LINE_NODE* head = nullptr;
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
    current = parser.parse(current, line, line_number);
    note_head(head, current);
  }
  return head;
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
  MEM_ARENA records;
  MEM_ARENA blocks;
  LINE_PARSER parser(&records, &blocks);
  DTM_LINE_NODE* head = nullptr;
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
      current = parser.parse(current, line, line_number);
      note_head(head, current);
    }
  }
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
