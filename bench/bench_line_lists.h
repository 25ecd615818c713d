// Line lists for the benchmarks of the checks and the conversion: the records
// of `count` generated lines, parsed once per size and kept for every run.
#pragma once

#include <map>
#include <string>

#include "dtm_gen.h"

class BENCH_LINE_LISTS {
 public:
  // The text of line i, and the line number it is given.
  using TEXT = std::string (*)(long i);
  using NUMBER = DTM_SHORT (*)(long i);

  BENCH_LINE_LISTS(TEXT text, NUMBER number) : m_text(text), m_number(number) {}
  ~BENCH_LINE_LISTS() {
    for (auto& [count, head] : m_heads) {
      DTM_LINE_NODE::delete_list(head);
    }
  }
  BENCH_LINE_LISTS(const BENCH_LINE_LISTS&) = delete;
  BENCH_LINE_LISTS& operator=(const BENCH_LINE_LISTS&) = delete;

  const DTM_LINE_NODE* get(long count) {
    DTM_LINE_NODE*& head = m_heads[count];
    if (head == nullptr) {
      const DTM_FACTORY factory;
      DTM_LINE_NODE* tail = nullptr;
      for (long i = 0; i < count; ++i) {
        std::string text = m_text(i);
        tail = factory.parse_a_line(tail, text.data(), m_number(i));
        if (head == nullptr) {
          head = tail;
        }
      }
    }
    return head;
  }

 private:
  TEXT m_text;
  NUMBER m_number;
  std::map<long, DTM_LINE_NODE*> m_heads;
};
