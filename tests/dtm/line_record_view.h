// Test helpers for the DMF reader: a plain copy of a line record, read back
// through the record's accessors, that tests compare as a whole; the list of
// such copies for a whole record list; and a guard on the memory counters.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "dtm_line_node.h"
#include "mem_alloc_sys.h"

using WORD_LIST = std::vector<std::string>;
using GROUP_LIST = std::vector<WORD_LIST>;

struct LINE_VIEW {
  DTM_SHORT m_line_number = 0;
  bool m_is_description = false;
  std::string m_description;
  std::string m_id;
  GROUP_LIST m_delays;
  GROUP_LIST m_scalers;
  GROUP_LIST m_offsets;
  GROUP_LIST m_bins;
  GROUP_LIST m_versions;
  WORD_LIST m_parents;
  WORD_LIST m_modifiers;
  bool operator==(const LINE_VIEW&) const = default;

  // Chained setters for expected records: LINE_VIEW().id("T1").delays({{"5"}}).
  LINE_VIEW& description(std::string text) {
    m_is_description = true;
    m_description = std::move(text);
    return *this;
  }
  LINE_VIEW& id(std::string id) {
    m_id = std::move(id);
    return *this;
  }
  LINE_VIEW& delays(GROUP_LIST groups) {
    m_delays = std::move(groups);
    return *this;
  }
  LINE_VIEW& scalers(GROUP_LIST groups) {
    m_scalers = std::move(groups);
    return *this;
  }
  LINE_VIEW& offsets(GROUP_LIST groups) {
    m_offsets = std::move(groups);
    return *this;
  }
  LINE_VIEW& bins(GROUP_LIST groups) {
    m_bins = std::move(groups);
    return *this;
  }
  LINE_VIEW& versions(GROUP_LIST groups) {
    m_versions = std::move(groups);
    return *this;
  }
  LINE_VIEW& parents(WORD_LIST words) {
    m_parents = std::move(words);
    return *this;
  }
  LINE_VIEW& modifiers(WORD_LIST words) {
    m_modifiers = std::move(words);
    return *this;
  }
};

inline void print_words(std::ostream& os, const WORD_LIST& words) {
  os << '[';
  for (std::size_t i = 0; i < words.size(); ++i) {
    os << (i > 0 ? "," : "") << '"' << words[i] << '"';
  }
  os << ']';
}

inline void print_groups(std::ostream& os, const char* name, const GROUP_LIST& groups) {
  if (groups.empty()) {
    return;
  }
  os << ' ' << name << '[';
  for (const WORD_LIST& words : groups) {
    print_words(os, words);
  }
  os << ']';
}

inline std::ostream& operator<<(std::ostream& os, const LINE_VIEW& view) {
  os << "{line " << view.m_line_number;
  if (view.m_is_description) {
    os << " description \"" << view.m_description << '"';
  }
  if (!view.m_id.empty()) {
    os << " id " << view.m_id;
  }
  print_groups(os, "delays", view.m_delays);
  print_groups(os, "scalers", view.m_scalers);
  print_groups(os, "offsets", view.m_offsets);
  print_groups(os, "bins", view.m_bins);
  print_groups(os, "versions", view.m_versions);
  os << " parents ";
  print_words(os, view.m_parents);
  os << " modifiers ";
  print_words(os, view.m_modifiers);
  return os << '}';
}

// Reads every word through the checked accessors; the outer sizes come from
// the whole-field getters, as callers must test them before asking a group.
inline LINE_VIEW view_of(const DTM_LINE_NODE& node) {
  using GET_WORD = const char* (DTM_LINE_NODE::*)(DTM_SHORT, DTM_SHORT) const;
  using GET_COUNT = DTM_SHORT (DTM_LINE_NODE::*)(DTM_SHORT) const;
  auto groups = [&node](const DTM_LINE_NODE::GROUPS& field, GET_COUNT count, GET_WORD word) {
    GROUP_LIST result(field.size());
    for (DTM_SHORT g = 0; g < static_cast<DTM_SHORT>(field.size()); ++g) {
      for (DTM_SHORT i = 0; i < (node.*count)(g); ++i) {
        result[static_cast<std::size_t>(g)].emplace_back((node.*word)(g, i));
      }
    }
    return result;
  };
  LINE_VIEW view;
  view.m_line_number = node.get_line_number();
  view.m_is_description = node.is_description();
  view.m_description = node.get_description().c_str();
  view.m_id = node.get_id().c_str();
  view.m_delays =
      groups(node.get_delays(), &DTM_LINE_NODE::get_num_delays, &DTM_LINE_NODE::get_delay);
  view.m_scalers =
      groups(node.get_scalers(), &DTM_LINE_NODE::get_num_scalers, &DTM_LINE_NODE::get_scaler);
  view.m_offsets =
      groups(node.get_offsets(), &DTM_LINE_NODE::get_num_offsets, &DTM_LINE_NODE::get_offset);
  view.m_bins = groups(node.get_bins(), &DTM_LINE_NODE::get_num_bins, &DTM_LINE_NODE::get_bin);
  view.m_versions =
      groups(node.get_versions(), &DTM_LINE_NODE::get_num_versions, &DTM_LINE_NODE::get_version);
  for (DTM_SHORT i = 0; i < node.get_num_parents(); ++i) {
    view.m_parents.emplace_back(node.get_parent(i));
  }
  for (DTM_SHORT i = 0; i < node.get_num_modifiers(); ++i) {
    view.m_modifiers.emplace_back(node.get_modifier(i));
  }
  return view;
}

// The records of a list from its head, checking the links on the way: the
// head has no predecessor and every m_prev points back to the record before.
inline std::vector<LINE_VIEW> views_of_list(const DTM_LINE_NODE* head) {
  std::vector<LINE_VIEW> views;
  const DTM_LINE_NODE* before = nullptr;
  for (const DTM_LINE_NODE* node = head; node != nullptr; node = node->get_next()) {
    EXPECT_EQ(node->get_prev(), before) << "broken m_prev at record " << views.size();
    views.push_back(view_of(*node));
    before = node;
  }
  return views;
}

// The line numbers of a list, in list order.
inline std::vector<int> line_numbers_of(const std::vector<LINE_VIEW>& views) {
  std::vector<int> numbers;
  for (const LINE_VIEW& view : views) {
    numbers.push_back(view.m_line_number);
  }
  return numbers;
}

// Fails the test when the library holds more or fewer objects or bytes at the
// end of the scope than at its start.
class MEMORY_GUARD {
 public:
  MEMORY_GUARD() : m_start(MEM_MANAGER::get_counters()) {}
  ~MEMORY_GUARD() { EXPECT_TRUE(is_back_to_start()) << "the library leaked or over-freed"; }
  MEMORY_GUARD(const MEMORY_GUARD&) = delete;
  MEMORY_GUARD& operator=(const MEMORY_GUARD&) = delete;

  bool is_back_to_start() const {
    const MEM_COUNTERS& now = MEM_MANAGER::get_counters();
    return now.m_live_objects == m_start.m_live_objects && now.m_live_bytes == m_start.m_live_bytes;
  }
  // Live objects gained since the start.
  long live_objects_gained() const {
    return static_cast<long>(MEM_MANAGER::get_counters().m_live_objects) -
           static_cast<long>(m_start.m_live_objects);
  }

 private:
  MEM_COUNTERS m_start;
};
