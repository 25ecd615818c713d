#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_line_node.h"
#include "line_record_view.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

const std::string k_parents_check =
    "(index < static_cast<DTM_SHORT>(m_parents.size())) && (index >= 0)";
const std::string k_modifiers_check =
    "(index < static_cast<DTM_SHORT>(m_modifiers.size())) && (index >= 0)";

std::string outer_check(const std::string& field) {
  return "(vec_index < static_cast<DTM_SHORT>(m_" + field + ".size())) && (vec_index >= 0)";
}

std::string inner_check(const std::string& field) {
  return "(index < static_cast<DTM_SHORT>(m_" + field + "[vec_index].size())) && (index >= 0)";
}

TEST(DtmLineNode, ConstructedRecordIsEmpty) {
  MEMORY_GUARD memory;
  auto* node = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
  EXPECT_EQ(memory.live_objects_gained(), 1);
  EXPECT_EQ(view_of(*node), LINE_VIEW{});
  EXPECT_FALSE(node->get_marked());
  EXPECT_EQ(node->get_prev(), nullptr);
  EXPECT_EQ(node->get_next(), nullptr);
  EXPECT_EQ(node->get_num_parents(), 0);
  EXPECT_EQ(node->get_num_modifiers(), 0);
  MEM_MANAGER::delete_wrapper(node);
}

TEST(DtmLineNode, PlainSettersAndGetters) {
  DTM_LINE_NODE node;
  DTM_LINE_NODE other;
  node.set_line_number(-12);
  node.set_marked(true);
  node.set_is_description(true);
  node.set_description("Fast corner");
  node.set_id("T1");
  node.set_prev(&other);
  node.set_next(&other);
  EXPECT_EQ(node.get_line_number(), -12);
  EXPECT_TRUE(node.get_marked());
  EXPECT_TRUE(node.is_description());
  EXPECT_EQ(node.get_description(), "Fast corner");
  EXPECT_EQ(node.get_id(), "T1");
  EXPECT_EQ(node.get_prev(), &other);
  EXPECT_EQ(node.get_next(), &other);
  node.set_id(nullptr);
  node.set_description(nullptr);
  EXPECT_EQ(node.get_id(), "");
  EXPECT_EQ(node.get_description(), "");
}

TEST(DtmLineNode, GroupedAddGrowsTheOuterVectorWithEmptyGroups) {
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  auto* node = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
  EXPECT_TRUE(node->add_delay("x", 3));
  EXPECT_EQ(view_of(*node).m_delays, (GROUP_LIST{{}, {}, {}, {"x"}}));
  EXPECT_TRUE(node->add_delay("y", 1));
  EXPECT_TRUE(node->add_delay("z", 3));
  EXPECT_EQ(view_of(*node).m_delays, (GROUP_LIST{{}, {"y"}, {}, {"x", "z"}}));
  // Each grouped field grows on its own.
  EXPECT_TRUE(node->add_scaler("s", 0));
  EXPECT_TRUE(node->add_offset("o", 2));
  EXPECT_TRUE(node->add_bin("b", 1));
  EXPECT_TRUE(node->add_version("v", 4));
  EXPECT_TRUE(node->add_parent("P"));
  EXPECT_TRUE(node->add_modifier("M"));
  const LINE_VIEW view = view_of(*node);
  EXPECT_EQ(view.m_scalers, (GROUP_LIST{{"s"}}));
  EXPECT_EQ(view.m_offsets, (GROUP_LIST{{}, {}, {"o"}}));
  EXPECT_EQ(view.m_bins, (GROUP_LIST{{}, {"b"}}));
  EXPECT_EQ(view.m_versions, (GROUP_LIST{{}, {}, {}, {}, {"v"}}));
  EXPECT_EQ(view.m_parents, WORD_LIST{"P"});
  EXPECT_EQ(view.m_modifiers, WORD_LIST{"M"});
  EXPECT_EQ(capture.get_count(), 0u);
  MEM_MANAGER::delete_wrapper(node);
}

TEST(DtmLineNode, CapacityHintsChangeNoContentButGroupsTheyPrepare) {
  MEMORY_GUARD memory;
  MSG_CAPTURE capture;
  DTM_LINE_NODE node;
  node.reserve_parents(3);
  node.reserve_modifiers(2);
  node.reserve_group(DTM_LINE_NODE::SCALERS, 2, 0);
  EXPECT_EQ(view_of(node), LINE_VIEW{});
  node.reserve_group(DTM_LINE_NODE::BINS, 1, 4);
  EXPECT_EQ(view_of(node), LINE_VIEW().bins({{}, {}}));
  node.add_bin("b", 1);
  node.reserve_group(DTM_LINE_NODE::BINS, 0, 1);
  EXPECT_EQ(view_of(node), LINE_VIEW().bins({{}, {"b"}}));
  EXPECT_TRUE(capture.get_texts().empty());
  node.reserve_group(DTM_LINE_NODE::DELAYS, -1, 1);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"vec_index >= 0"});
  EXPECT_TRUE(node.get_delays().empty());
}

struct ADD_CASE {
  const char* m_name;
  std::function<bool(DTM_LINE_NODE&)> m_call;
  std::vector<std::string> m_reports;
};

TEST(DtmLineNode, RejectedAddsAreReportedAndChangeNothing) {
  const std::vector<ADD_CASE> cases = {
      {"parent null", [](DTM_LINE_NODE& n) { return n.add_parent(nullptr); }, {"string != 0"}},
      {"modifier null", [](DTM_LINE_NODE& n) { return n.add_modifier(nullptr); }, {"string != 0"}},
      {"delay null", [](DTM_LINE_NODE& n) { return n.add_delay(nullptr, 0); }, {"string != 0"}},
      {"delay negative", [](DTM_LINE_NODE& n) { return n.add_delay("x", -1); }, {"vec_index >= 0"}},
      {"scaler both",
       [](DTM_LINE_NODE& n) { return n.add_scaler(nullptr, -2); },
       {"vec_index >= 0", "string != 0"}},
      {"offset negative",
       [](DTM_LINE_NODE& n) { return n.add_offset("x", -32768); },
       {"vec_index >= 0"}},
      {"bin null", [](DTM_LINE_NODE& n) { return n.add_bin(nullptr, 5); }, {"string != 0"}},
      {"version negative",
       [](DTM_LINE_NODE& n) { return n.add_version("x", -1); },
       {"vec_index >= 0"}},
  };
  for (const ADD_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    MSG_CAPTURE capture;
    DTM_LINE_NODE node;
    EXPECT_FALSE(c.m_call(node));
    EXPECT_EQ(capture.get_texts(), c.m_reports);
    EXPECT_EQ(view_of(node), LINE_VIEW{});
  }
}

// A record with a few words in every field, for the index checks.
void fill(DTM_LINE_NODE& node) {
  node.add_parent("P0");
  node.add_modifier("M0");
  node.add_delay("d00", 0);
  node.add_delay("d10", 1);
  node.add_delay("d11", 1);
  node.add_scaler("s00", 0);
  node.add_offset("o10", 1);
  node.add_bin("b00", 0);
  node.add_version("v00", 0);
}

struct ACCESS_CASE {
  const char* m_name;
  std::function<std::string(const DTM_LINE_NODE&)> m_call;
  std::string m_result;
  std::vector<std::string> m_reports;
};

TEST(DtmLineNode, AccessorsCheckTheirIndicesAndAnswerSafeValues) {
  using N = const DTM_LINE_NODE&;
  const std::vector<ACCESS_CASE> cases = {
      {"parent 0", [](N n) { return n.get_parent(0); }, "P0", {}},
      {"parent -1", [](N n) { return n.get_parent(-1); }, "", {k_parents_check}},
      {"parent size", [](N n) { return n.get_parent(n.get_num_parents()); }, "", {k_parents_check}},
      {"modifier 0", [](N n) { return n.get_modifier(0); }, "M0", {}},
      {"modifier 1", [](N n) { return n.get_modifier(1); }, "", {k_modifiers_check}},
      {"modifier -1", [](N n) { return n.get_modifier(-1); }, "", {k_modifiers_check}},
      {"delay 1 1", [](N n) { return n.get_delay(1, 1); }, "d11", {}},
      {"delay 2 0", [](N n) { return n.get_delay(2, 0); }, "", {outer_check("delays")}},
      {"delay -1 0", [](N n) { return n.get_delay(-1, 0); }, "", {outer_check("delays")}},
      {"delay 0 1", [](N n) { return n.get_delay(0, 1); }, "", {inner_check("delays")}},
      {"delay 0 -1", [](N n) { return n.get_delay(0, -1); }, "", {inner_check("delays")}},
      {"scaler 0 0", [](N n) { return n.get_scaler(0, 0); }, "s00", {}},
      {"scaler 1 0", [](N n) { return n.get_scaler(1, 0); }, "", {outer_check("scalers")}},
      {"scaler 0 1", [](N n) { return n.get_scaler(0, 1); }, "", {inner_check("scalers")}},
      {"offset 1 0", [](N n) { return n.get_offset(1, 0); }, "o10", {}},
      {"offset 0 0 (empty group)",
       [](N n) { return n.get_offset(0, 0); },
       "",
       {inner_check("offsets")}},
      {"offset 2 0", [](N n) { return n.get_offset(2, 0); }, "", {outer_check("offsets")}},
      {"bin 0 0", [](N n) { return n.get_bin(0, 0); }, "b00", {}},
      {"bin 1 0", [](N n) { return n.get_bin(1, 0); }, "", {outer_check("bins")}},
      {"bin 0 -5", [](N n) { return n.get_bin(0, -5); }, "", {inner_check("bins")}},
      {"version 0 0", [](N n) { return n.get_version(0, 0); }, "v00", {}},
      {"version -32768 0",
       [](N n) { return n.get_version(-32768, 0); },
       "",
       {outer_check("versions")}},
      {"version 0 32767",
       [](N n) { return n.get_version(0, 32767); },
       "",
       {inner_check("versions")}},
      {"num delays 1", [](N n) { return std::to_string(n.get_num_delays(1)); }, "2", {}},
      {"num delays 2",
       [](N n) { return std::to_string(n.get_num_delays(2)); },
       "0",
       {outer_check("delays")}},
      {"num scalers of a group without scalers",
       [](N n) { return std::to_string(n.get_num_scalers(1)); },
       "0",
       {outer_check("scalers")}},
      {"num offsets of an empty group",
       [](N n) { return std::to_string(n.get_num_offsets(0)); },
       "0",
       {}},
      {"num bins -1",
       [](N n) { return std::to_string(n.get_num_bins(-1)); },
       "0",
       {outer_check("bins")}},
      {"num versions 1",
       [](N n) { return std::to_string(n.get_num_versions(1)); },
       "0",
       {outer_check("versions")}},
      {"num parents", [](N n) { return std::to_string(n.get_num_parents()); }, "1", {}},
      {"num modifiers", [](N n) { return std::to_string(n.get_num_modifiers()); }, "1", {}},
  };
  DTM_LINE_NODE node;
  fill(node);
  for (const ACCESS_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MSG_CAPTURE capture;
    EXPECT_EQ(c.m_call(node), c.m_result);
    EXPECT_EQ(capture.get_texts(), c.m_reports);
    for (const MSG_REPORT& report : capture.get_reports()) {
      EXPECT_EQ(report.m_module, "DTM");
      EXPECT_EQ(report.m_source, "dtm_gen");
    }
  }
}

TEST(DtmLineNode, DeleteListFreesEveryRecord) {
  MEMORY_GUARD memory;
  DTM_LINE_NODE* head = nullptr;
  DTM_LINE_NODE* tail = nullptr;
  for (int i = 0; i < 5; ++i) {
    auto* node = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
    fill(*node);
    node->set_description("a description long enough to leave the small-string buffer");
    node->set_prev(tail);
    if (tail != nullptr) {
      tail->set_next(node);
    } else {
      head = node;
    }
    tail = node;
  }
  EXPECT_GT(memory.live_objects_gained(), 5);
  DTM_LINE_NODE::delete_list(head);
  EXPECT_TRUE(memory.is_back_to_start());
  DTM_LINE_NODE::delete_list(nullptr);
}

// ---- Records written in one piece ---------------------------------------------

using SOURCE = DTM_LINE_NODE::WORD_SOURCE;

SOURCE word(const char* text, std::uint8_t list, std::uint32_t group = 0) {
  return {text, static_cast<std::uint32_t>(std::strlen(text)), list, group};
}

// Words of several lists, interleaved as a reader could meet them.
const std::vector<SOURCE> k_mixed = {
    word("s0", DTM_LINE_NODE::SCALERS, 0),   word("d0", DTM_LINE_NODE::DELAYS, 0),
    word("b2", DTM_LINE_NODE::BINS, 2),      word("d1", DTM_LINE_NODE::DELAYS, 0),
    word("P", DTM_LINE_NODE::PARENT_LIST),   word("x2", DTM_LINE_NODE::DELAYS, 2),
    word("", DTM_LINE_NODE::DELAYS, 2),      word("Q", DTM_LINE_NODE::PARENT_LIST),
    word("M", DTM_LINE_NODE::MODIFIER_LIST),
};
const LINE_VIEW k_mixed_view = LINE_VIEW()
                                   .delays({{"d0", "d1"}, {}, {"x2", ""}})
                                   .scalers({{"s0"}})
                                   .bins({{}, {}, {"b2"}})
                                   .parents({"P", "Q"})
                                   .modifiers({"M"});

TEST(DtmLineNode, CreateWritesEveryListInItsOrder) {
  struct CASE {
    const char* m_name;
    bool m_records_arena;
    bool m_blocks_arena;
  };
  const CASE cases[] = {
      {"own allocation", false, false},
      {"record and block together", true, false},
      {"record and block apart", true, true},
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    MSG_CAPTURE capture;
    MEM_ARENA records;
    MEM_ARENA blocks;
    DTM_LINE_NODE* node =
        DTM_LINE_NODE::create(c.m_records_arena ? &records : nullptr,
                              c.m_blocks_arena ? &blocks : nullptr, k_mixed.data(), k_mixed.size());
    EXPECT_EQ(view_of(*node), k_mixed_view);
    EXPECT_GT(node->get_block_bytes(), 0u);
    EXPECT_EQ(capture.get_count(), 0u);
    MEM_MANAGER::delete_wrapper(node);
  }
}

TEST(DtmLineNode, WordViewsCompareAndMeasureTheirText) {
  DTM_LINE_NODE* node =
      DTM_LINE_NODE::create(nullptr, nullptr, k_mixed.data(), k_mixed.size(), "ID", "text");
  const DTM_LINE_NODE::GROUPS delays = node->get_delays();
  ASSERT_EQ(delays.size(), 3u);
  const DTM_LINE_NODE::WORD& d1 = delays[0][1];
  EXPECT_EQ(d1.size(), 2u);
  EXPECT_STREQ(d1.c_str(), "d1");
  EXPECT_TRUE(d1 == "d1");
  EXPECT_TRUE(d1 != "d");
  EXPECT_TRUE(d1 == MEM_STRING("d1"));
  EXPECT_TRUE(delays[2][1].empty());
  EXPECT_STREQ(delays[2][1].c_str(), "");
  EXPECT_TRUE(delays[1].empty());
  EXPECT_TRUE(delays[0] == delays[0]);
  EXPECT_FALSE(delays[0] == delays[2]);
  EXPECT_FALSE(delays[1] == delays[2]);
  EXPECT_TRUE(node->get_bins()[0] == node->get_bins()[1]) << "two empty groups";
  std::vector<std::string> parents;
  for (const DTM_LINE_NODE::WORD& parent : node->get_parents()) {
    parents.emplace_back(parent.view());
  }
  EXPECT_EQ(parents, (WORD_LIST{"P", "Q"}));
  EXPECT_EQ(node->get_id(), "ID");
  EXPECT_EQ(node->get_description(), "text");
  DTM_LINE_NODE::delete_list(node);

  DTM_LINE_NODE empty;
  EXPECT_TRUE(empty.get_delays().empty());
  EXPECT_TRUE(empty.get_parents().empty());
  EXPECT_EQ(empty.get_parents().begin(), empty.get_parents().end());
  EXPECT_EQ(empty.get_block_bytes(), 0u);
}

TEST(DtmLineNode, ArenaRecordsAreFreedInAnyOrderAndOutliveTheArena) {
  MEMORY_GUARD memory;
  std::vector<DTM_LINE_NODE*> nodes;
  {
    MEM_ARENA records(512);
    MEM_ARENA blocks(512);
    for (int i = 0; i < 12; ++i) {
      const std::string id = i % 3 == 0 ? "an identifier longer than fifteen" : "";
      const std::string text = i % 4 == 0 ? "a description longer than fifteen" : "";
      nodes.push_back(DTM_LINE_NODE::create(&records, i % 2 == 0 ? &blocks : nullptr,
                                            k_mixed.data(), k_mixed.size(), id.c_str(),
                                            text.c_str()));
      nodes.back()->set_line_number(static_cast<DTM_SHORT>(i));
    }
  }
  EXPECT_GT(memory.live_objects_gained(), 2);
  // Changing a record moves its words out of the arena; its texts stay.
  nodes[3]->add_parent("R");
  nodes[3]->set_id("another identifier longer than fifteen");
  nodes[4]->set_description(nullptr);
  EXPECT_EQ(view_of(*nodes[3]).m_parents, (WORD_LIST{"P", "Q", "R"}));
  EXPECT_EQ(view_of(*nodes[3]).m_delays, k_mixed_view.m_delays);
  EXPECT_EQ(nodes[3]->get_id(), "another identifier longer than fifteen");
  EXPECT_EQ(nodes[4]->get_description(), "");
  EXPECT_EQ(nodes[0]->get_id(), "an identifier longer than fifteen");
  for (std::size_t i : {5u, 0u, 11u, 3u, 1u, 2u, 4u, 6u, 7u, 8u, 9u, 10u}) {
    EXPECT_EQ(view_of(*nodes[i]).m_modifiers, WORD_LIST{"M"});
    MEM_MANAGER::delete_wrapper(nodes[i]);
  }
}

TEST(DtmLineNode, SavedWordsLoadBackIntoTheSameRecord) {
  const std::vector<std::function<void(DTM_LINE_NODE&)>> fills = {
      [](DTM_LINE_NODE&) {},
      fill,
      [](DTM_LINE_NODE& n) {
        n.set_id("T1");
        n.set_description("Fast corner");
        n.add_version("v", 3);
        n.add_delay("", 0);
      },
      [](DTM_LINE_NODE& n) { n.reserve_group(DTM_LINE_NODE::OFFSETS, 2, 1); },
  };
  for (std::size_t i = 0; i < fills.size(); ++i) {
    SCOPED_TRACE(i);
    MEMORY_GUARD memory;
    DTM_LINE_NODE original;
    fills[i](original);
    const DTM_LINE_NODE::SAVED_WORDS saved = original.save_words();
    DTM_LINE_NODE copy;
    copy.add_parent("replaced");
    copy.load_words(saved);
    EXPECT_EQ(view_of(copy), view_of(original));
    EXPECT_EQ(saved.m_delays.size(), original.get_delays().size());
  }
}

struct DUMP_CASE {
  const char* m_name;
  std::function<void(DTM_LINE_NODE&)> m_fill;
  std::string m_dump;
  std::vector<std::string> m_reports;
};

TEST(DtmLineNode, DumpWritesOneDmfLikeLinePerGroup) {
  const std::vector<DUMP_CASE> cases = {
      {"description",
       [](DTM_LINE_NODE& n) {
         n.set_line_number(7);
         n.set_is_description(true);
         n.set_description("Fast corner");
         n.add_parent("PA");
         n.add_parent("PB");
         n.add_modifier("MX");
       },
       "7: DESCRIPTION: \"Fast corner\" PA PB || MX \n",
       {}},
      {"description without lists",
       [](DTM_LINE_NODE& n) {
         n.set_line_number(1);
         n.set_is_description(true);
         n.set_description(" inner  blanks ");
       },
       "1: DESCRIPTION: \" inner  blanks \" || \n",
       {}},
      {"description ignores delay groups",
       [](DTM_LINE_NODE& n) {
         n.set_line_number(2);
         n.set_is_description(true);
         n.add_delay("5", 0);
         n.add_scaler("2", 0);
       },
       "2: DESCRIPTION: \"\" || \n",
       {}},
      {"one group with id and scaler",
       [](DTM_LINE_NODE& n) {
         n.set_line_number(12);
         n.set_id("T1");
         n.add_scaler("2", 0);
         n.add_delay("10", 0);
         n.add_delay("20", 0);
         n.add_parent("PA");
         n.add_parent("PB");
         n.add_modifier("MX");
       },
       "12: T1 :: scaler 2 || 10 20 || PA PB || MX \n",
       {}},
      {"two groups, every optional list, in fixed order",
       [](DTM_LINE_NODE& n) {
         n.set_line_number(3);
         n.add_version("v1", 1);
         n.add_bin("b1", 1);
         n.add_offset("o1", 1);
         n.add_offset("o2", 1);
         n.add_scaler("s1", 1);
         n.add_delay("5", 0);
         n.add_delay("7", 1);
         n.add_parent("PA");
         n.add_modifier("M1");
         n.add_modifier("M2");
       },
       "3: 5 || PA || M1 M2 \n\t3: scaler s1 || offset o1 o2 || bin b1 || version v1 || 7 || PA "
       "|| M1 M2 \n",
       {}},
      {"no id, no parents, no modifiers",
       [](DTM_LINE_NODE& n) {
         n.set_line_number(-4);
         n.add_delay("[+ A 1]", 0);
       },
       "-4: [+ A 1] || || \n",
       {}},
      {"three groups repeat the id, parents and modifiers",
       [](DTM_LINE_NODE& n) {
         n.set_line_number(9);
         n.set_id("X");
         n.add_delay("1", 0);
         n.add_delay("2", 1);
         n.add_delay("3", 2);
         n.add_bin("b", 2);
         n.add_parent("P");
         n.add_modifier("M");
       },
       "9: X :: 1 || P || M \n\t9: X :: 2 || P || M \n\t9: X :: bin b || 3 || P || M \n",
       {}},
      {"a group without delays is reported and still written",
       [](DTM_LINE_NODE& n) {
         n.set_line_number(4);
         n.add_delay("x", 1);
       },
       "4: || || \n\t4: x || || \n",
       {"this->get_num_delays(j) > 0"}},
      {"no groups: nothing", [](DTM_LINE_NODE& n) { n.add_scaler("2", 0); }, "", {}},
  };
  for (const DUMP_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    MSG_CAPTURE capture;
    DTM_LINE_NODE node;
    c.m_fill(node);
    std::ostringstream out;
    node.dump_node(out);
    EXPECT_EQ(out.str(), c.m_dump);
    EXPECT_EQ(capture.get_texts(), c.m_reports);
  }
}

}  // namespace
