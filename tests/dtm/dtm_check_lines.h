// Line lists for the legality tests: records parsed from DMF text with the
// factory's line parser, or built field by field for shapes the parser never
// makes. The list frees its records.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dtm_gen.h"
#include "msg_sys.h"

class LINE_LIST {
 public:
  LINE_LIST() = default;
  // One record per text, numbered 1, 2, 3, ...
  LINE_LIST(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts) {
      add(text);
    }
  }
  ~LINE_LIST() { DTM_LINE_NODE::delete_list(m_head); }
  LINE_LIST(const LINE_LIST&) = delete;
  LINE_LIST& operator=(const LINE_LIST&) = delete;

  // Parses `text` as line `number` (default: one after the last record) and
  // appends the record. The text must be well formed for the parser: a parser
  // report fails the test.
  DTM_LINE_NODE* add(const std::string& text, int number = -100000) {
    const DTM_SHORT line_number =
        static_cast<DTM_SHORT>(number == -100000 ? next_number() : number);
    std::vector<char> buffer(text.begin(), text.end());
    buffer.push_back('\0');
    MSG_CAPTURE parser_reports;
    DTM_LINE_NODE* record = DTM_FACTORY().parse_a_line(m_tail, buffer.data(), line_number);
    EXPECT_EQ(parser_reports.get_count(), 0u) << "parser reported on: " << text;
    if (record == m_tail) {
      ADD_FAILURE() << "no record for: " << text;
      return nullptr;
    }
    link(record);
    return record;
  }

  // Appends an empty record, to be filled through the record's own appenders.
  DTM_LINE_NODE* add_record(int number) {
    auto* record = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
    record->set_line_number(static_cast<DTM_SHORT>(number));
    record->set_prev(m_tail);
    if (m_tail != nullptr) {
      m_tail->set_next(record);
    }
    link(record);
    return record;
  }

  const DTM_LINE_NODE* head() const { return m_head; }
  const DTM_LINE_NODE* at(std::size_t i) const { return m_records.at(i); }
  std::size_t size() const { return m_records.size(); }

 private:
  int next_number() const { return m_tail == nullptr ? 1 : m_tail->get_line_number() + 1; }
  void link(DTM_LINE_NODE* record) {
    if (m_head == nullptr) {
      m_head = record;
    }
    m_tail = record;
    m_records.push_back(record);
  }

  DTM_LINE_NODE* m_head = nullptr;
  DTM_LINE_NODE* m_tail = nullptr;
  std::vector<const DTM_LINE_NODE*> m_records;
};

// The exact message texts of the checks, built as the checks build them.
inline std::string line_text(const std::string& head, int number, const std::string& tail = ")") {
  return head + std::to_string(number) + tail;
}
