// The build pipeline: ordering, the line trace and its three listings, the
// tree trace, which files are touched, and the faults of each step.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "dtm_line_node.h"
#include "line_record_view.h"
#include "msg_sys.h"
#include "test_files.h"

namespace {

// The names of the files in a directory.
std::set<std::string> files_in(const TEST_DIR& dir) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir.path(""))) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

bool exists(const std::string& file) { return std::filesystem::exists(file); }

// A small plain file: a description, a line of two groups, an expression.
const std::string k_small =
    "% small\n"
    "\"Device\" DTM_MAP_DEVICE ||\n"
    "TCO :: bin C6 || 120 ;; bin C7 || 135 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY\n"
    "\n"
    "( 2 + 3 ) || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY\n";

// Its records as the line trace writes them.
const std::string k_small_records =
    "2: DESCRIPTION: \"Device\" DTM_MAP_DEVICE || \n"
    "3: TCO :: bin C6 || 120 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY \n"
    "\t3: TCO :: bin C7 || 135 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY \n"
    "5: ( 2 + 3 ) || DTM_MAP_DEVICE || DTM_MICRO TH_DELAY \n";

// --- sort_line_nodes ---------------------------------------------------------------

TEST(BuildPipeline, SortKeepsFileOrderAndReturnsTheHead) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const DTM_FACTORY factory;
  DTM_LINE_NODE* head = factory.parse_file(dir.write("small.dmf", k_small).c_str());
  ASSERT_NE(head, nullptr);
  DTM_LINE_NODE* second = head->get_next();
  DTM_LINE_NODE* last = second->get_next();
  ASSERT_EQ(last->get_next(), nullptr);

  EXPECT_EQ(factory.sort_line_nodes(last), head);
  EXPECT_EQ(head->get_next(), second);
  EXPECT_EQ(second->get_next(), last);
  EXPECT_EQ(capture.get_count(), 0U);

  // Not the last record: reported, and the head is still found.
  EXPECT_EQ(factory.sort_line_nodes(second), head);
  EXPECT_EQ(factory.sort_line_nodes(nullptr), nullptr);
  EXPECT_EQ(capture.count_text("(last != 0) && (last->get_next() == 0)"), 2U);
  EXPECT_EQ(capture.get_count(), 2U);
  DTM_LINE_NODE::delete_list(head);

  DTM_LINE_NODE* single = factory.parse_file(dir.write("one.dmf", "1 || P || M\n").c_str());
  EXPECT_EQ(factory.sort_line_nodes(single), single);
  DTM_LINE_NODE::delete_list(single);
}

// --- build_line_nodes ------------------------------------------------------------------

TEST(BuildPipeline, LineNodesWithoutTraceTouchNoOtherFile) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const std::string file = dir.write("small.dmf", k_small);
  DTM_LINE_NODE* head = DTM_FACTORY().build_line_nodes(file.c_str(), false);
  ASSERT_NE(head, nullptr);
  EXPECT_EQ(head->get_prev(), nullptr);
  std::ostringstream records;
  for (const DTM_LINE_NODE* node = head; node != nullptr; node = node->get_next()) {
    node->dump_node(records);
  }
  EXPECT_EQ(records.str(), k_small_records);
  DTM_LINE_NODE::delete_list(head);
  EXPECT_EQ(files_in(dir), std::set<std::string>{"small.dmf"});
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST(BuildPipeline, LineNodesTraceHoldsTheRecordsTwice) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const std::string file = dir.write("small.dmf", k_small);
  dir.write("small.dmf.trf_line", "stale content of an earlier run\n");
  DTM_LINE_NODE* head = DTM_FACTORY().build_line_nodes(file.c_str(), true);
  ASSERT_NE(head, nullptr);
  DTM_LINE_NODE::delete_list(head);
  EXPECT_EQ(TEST_DIR::read(file + ".trf_line"),
            k_small_records + "\nDMF REORDERED\n\n" + k_small_records);
  EXPECT_EQ(files_in(dir), (std::set<std::string>{"small.dmf", "small.dmf.trf_line"}));
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST(BuildPipeline, LineNodesOfNothing) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const DTM_FACTORY factory;
  EXPECT_EQ(factory.build_line_nodes(nullptr, true), nullptr);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"in_file != 0"});
  EXPECT_EQ(files_in(dir), std::set<std::string>{});

  capture.clear();
  const std::string comments = dir.write("comments.dmf", "% nothing\n\n% here\n");
  dir.write("comments.dmf.trf_line", "stale\n");
  EXPECT_EQ(factory.build_line_nodes(comments.c_str(), true), nullptr);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"line_node != 0"});
  EXPECT_EQ(TEST_DIR::read(comments + ".trf_line"), "");

  capture.clear();
  const std::string missing = dir.path("missing.dmf");
  EXPECT_EQ(factory.build_line_nodes(missing.c_str(), false), nullptr);
  EXPECT_EQ(capture.get_texts(), std::vector<std::string>{"line_node != 0"});
  EXPECT_FALSE(exists(missing + ".trf_line"));
}

}  // namespace
