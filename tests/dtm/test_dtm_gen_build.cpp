// The build pipeline: ordering, the line trace and its three listings, the
// tree trace, which files are touched, and the faults of each step.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "dtm_line_node.h"
#include "dtm_node.h"
#include "dtm_string.h"
#include "dtm_tcl_report.h"
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

using NODE_PTR = std::unique_ptr<DTM_NODE>;

std::string outline_of(const DTM_NODE* node) {
  std::ostringstream os;
  if (node != nullptr) {
    node->dump_tree(os, 0, 1, 1);
  }
  return os.str();
}

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

// --- build_nodes ---------------------------------------------------------------------

TEST(BuildPipeline, WithoutTracesNoOtherFileIsTouched) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const std::string file = dir.write("small.dmf", k_small);
  const NODE_PTR root(DTM_FACTORY().build_nodes(file.c_str(), false, false));
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(files_in(dir), std::set<std::string>{"small.dmf"});
  EXPECT_EQ(root->get_micro_node_delay(TCO_DELAY, DTM_MAP_DEVICE), 120);
  EXPECT_EQ(root->get_micro_node_delay(TH_DELAY, DTM_MAP_DEVICE), 5);
  EXPECT_EQ(root->get_node(DTM_MAP_DEVICE)->get_description(), "Device");
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST(BuildPipeline, TracesHoldThreeListingsAndTheOutline) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const std::string file = dir.write("small.dmf", k_small);
  dir.write("small.dmf.trf", "stale\n");
  dir.write("small.dmf.trf_line", "stale\n");
  const NODE_PTR root(DTM_FACTORY().build_nodes(file.c_str(), true, true));
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(TEST_DIR::read(file + ".trf_line"), k_small_records + "\nDMF REORDERED\n\n" +
                                                    k_small_records + "\nDMF CONSOLIDATED\n\n" +
                                                    k_small_records);
  EXPECT_EQ(TEST_DIR::read(file + ".trf"),
            "DTM_ROOT\n"
            "|-  DTM_MAP_DEVICE\n"
            "|-  Description:  Device\n"
            "|-  |-  DTM_MICRO\n"
            "|-  |-  DTM_MICRO\t|-- [TCO_DELAY] = 120\n"
            "|-  |-  DTM_MICRO>\t|-- [TH_DELAY] = 5\n");
  EXPECT_EQ(outline_of(root.get()), TEST_DIR::read(file + ".trf"));
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST(BuildPipeline, EachTraceAlone) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  const std::string file = dir.write("small.dmf", k_small);
  const DTM_FACTORY factory;
  // The first flag is the tree trace, the second the line trace, in every overload.
  NODE_PTR(factory.build_nodes(file.c_str(), true, false));
  EXPECT_EQ(files_in(dir), (std::set<std::string>{"small.dmf", "small.dmf.trf"}));
  std::filesystem::remove(file + ".trf");
  NODE_PTR(factory.build_nodes(file.c_str(), nullptr, false, true));
  EXPECT_EQ(files_in(dir), (std::set<std::string>{"small.dmf", "small.dmf.trf_line"}));
  std::filesystem::remove(file + ".trf_line");
  NODE_PTR(factory.build_nodes(nullptr, file.c_str(), true, false, nullptr));
  EXPECT_EQ(files_in(dir), (std::set<std::string>{"small.dmf", "small.dmf.trf"}));
}

TEST(BuildPipeline, TheOverloadsBuildTheSameModel) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  const std::string plain = dir.write("small.dmf", k_small);
  const std::string family =
      dir.write("family.dmf", TEST_DIR::read(KESTREL_EXAMPLES_DIR "/family.dmf"));
  const std::string device = "KX20";
  const DTM_FACTORY factory;
  const NODE_PTR a(factory.build_nodes(plain.c_str(), false, false));
  const NODE_PTR b(factory.build_nodes(plain.c_str(), nullptr, false, false));
  const NODE_PTR c(factory.build_nodes(nullptr, plain.c_str(), false, false, nullptr));
  EXPECT_NE(outline_of(a.get()), "");
  EXPECT_EQ(outline_of(b.get()), outline_of(a.get()));
  EXPECT_EQ(outline_of(c.get()), outline_of(a.get()));
  const NODE_PTR d(factory.build_nodes(family.c_str(), &device, false, false));
  const NODE_PTR e(factory.build_nodes(nullptr, family.c_str(), false, false, &device));
  EXPECT_NE(outline_of(d.get()), outline_of(a.get()));
  EXPECT_EQ(outline_of(e.get()), outline_of(d.get()));
}

TEST(BuildPipeline, BuildsIntoAGivenRoot) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const std::string first = dir.write("first.dmf", k_small);
  const std::string second =
      dir.write("second.dmf", "7 || DTM_MAP_DEVICE DTM_MAP_LOGIC_CELL || DTM_MICRO TSU_DELAY\n");
  DTM_NODE root(DTM_ROOT, true);
  const DTM_FACTORY factory;
  EXPECT_EQ(factory.build_nodes(&root, first.c_str(), false, false, nullptr), &root);
  EXPECT_EQ(factory.build_nodes(&root, second.c_str(), false, false, nullptr), &root);
  EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, DTM_MAP_DEVICE), 120);
  EXPECT_EQ(root.get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE, DTM_MAP_LOGIC_CELL), 7);
  EXPECT_EQ(capture.get_count(), 0U);
}

TEST(BuildPipeline, FailedChecksAreReportedAndTheLinesStillConverted) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  // The last line's unknown map type leaves the checks' verdict false.
  const std::string file = dir.write("bad.dmf",
                                     "5 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY\n"
                                     "6 || DTM_MAP_NOWHERE || DTM_MICRO TSU_DELAY\n");
  const NODE_PTR root(DTM_FACTORY().build_nodes(file.c_str(), false, false));
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(
      capture.get_texts(),
      (std::vector<std::string>{"Bad DMF file: One DMF line contains invalid map types (line 2)",
                                "check_legality(line_node)"}));
  EXPECT_EQ(capture.get_reports().at(1).m_source, "dtm_gen");
  // Both lines were converted: the unknown map type ends the path at once.
  EXPECT_EQ(root->get_micro_node_delay(TCO_DELAY, DTM_MAP_DEVICE), 5);
  EXPECT_EQ(root->get_micro_node_delay(TSU_DELAY), 6);
}

TEST(BuildPipeline, NothingReadIsReportedAndLeavesEmptyTraces) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const DTM_FACTORY factory;
  const std::string empty = dir.write("empty.dmf", "% only a comment\n\n");
  dir.write("empty.dmf.trf", "stale\n");
  DTM_NODE root(DTM_ROOT, true);
  EXPECT_EQ(factory.build_nodes(&root, empty.c_str(), true, true, nullptr), nullptr);
  EXPECT_EQ(capture.get_texts(),
            std::vector<std::string>{"DMF file (" + empty + ") does not exist"});
  // A null result: the tree trace is there, and empty; so is the line trace.
  EXPECT_EQ(TEST_DIR::read(empty + ".trf"), "");
  EXPECT_TRUE(exists(empty + ".trf_line"));
  EXPECT_EQ(TEST_DIR::read(empty + ".trf_line"), "");
  EXPECT_TRUE(root.get_nodes().empty());

  capture.clear();
  const std::string missing = dir.path("missing.dmf");
  EXPECT_EQ(factory.build_nodes(missing.c_str(), false, false), nullptr);
  EXPECT_EQ(capture.get_texts(),
            std::vector<std::string>{"DMF file (" + missing + ") does not exist"});
  EXPECT_FALSE(exists(missing + ".trf"));

  capture.clear();
  EXPECT_EQ(factory.build_nodes(nullptr, true, true), nullptr);
  EXPECT_EQ(factory.build_nodes(&root, nullptr, true, true, nullptr), nullptr);
  EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{"in_file != 0", "in_file != 0"}));
}

TEST(BuildPipeline, AMissingDeviceFailsInTheReaderFirst) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const std::string file =
      dir.write("family.dmf", TEST_DIR::read(KESTREL_EXAMPLES_DIR "/family.dmf"));
  const std::string device = "KX99";
  EXPECT_EQ(DTM_FACTORY().build_nodes(file.c_str(), &device, true, true), nullptr);
  EXPECT_EQ(capture.get_texts(),
            (std::vector<std::string>{
                "Bad DMF file:  Couldn't find one or both of the required sections.",
                "DMF file (" + file + ") does not exist"}));
  EXPECT_EQ(TEST_DIR::read(file + ".trf_line"), "");
  EXPECT_EQ(TEST_DIR::read(file + ".trf"), "");
}

// --- add_new_dmf_info --------------------------------------------------------------------

TEST(BuildPipeline, AddNewDmfInfoBuildsUnderTheRootWithoutTraces) {
  MEMORY_GUARD memory;
  TEST_DIR dir;
  MSG_CAPTURE capture;
  const std::string file = dir.write("small.dmf", k_small);
  DTM_NODE root(DTM_ROOT, true);
  EXPECT_EQ(DTM_STRING::add_new_dmf_info(file.c_str(), &root, DEV_FAMILY_NONE), &root);
  EXPECT_EQ(root.get_micro_node_delay(TCO_DELAY, DTM_MAP_DEVICE), 120);
  EXPECT_EQ(files_in(dir), std::set<std::string>{"small.dmf"});
  // The string query then answers from it.
  std::string type = "DTM_MICRO", kind = "TCO_DELAY", map = "DTM_MAP_DEVICE";
  const DTM_STRING::STRINGS query = {&type, &kind, &map};
  DTM_TCL_REPORT report;
  EXPECT_EQ(DTM_STRING::get_delay(&query, &root, &report), 120);
  EXPECT_EQ(capture.get_count(), 0U);

  const std::string args = "(file_name != 0) && (root != 0)";
  EXPECT_EQ(DTM_STRING::add_new_dmf_info(nullptr, &root, DEV_FAMILY_NONE), &root);
  EXPECT_EQ(DTM_STRING::add_new_dmf_info(file.c_str(), nullptr, DEV_FAMILY_NONE), nullptr);
  EXPECT_EQ(capture.get_texts(), (std::vector<std::string>{args, args}));

  capture.clear();
  const std::string missing = dir.path("missing.dmf");
  EXPECT_EQ(DTM_STRING::add_new_dmf_info(missing.c_str(), &root, DEV_FAMILY_NONE), nullptr);
  EXPECT_EQ(capture.get_texts(),
            (std::vector<std::string>{"DMF file (" + missing + ") does not exist", "root != 0"}));
  for (const MSG_REPORT& r : capture.get_reports()) {
    EXPECT_EQ(r.m_source, r.m_text == "root != 0" ? "dtm_string" : "dtm_gen");
  }
}

}  // namespace
