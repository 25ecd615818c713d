// Whole files through the build pipeline, compared byte for byte with the
// golden files of tests/data/golden: the line trace (.trf_line), the tree
// trace (.trf), the path listing of the model (.paths) and what the build
// reported or printed (.messages). scripts/bless-golden.sh regenerates them
// (KESTREL_BLESS_GOLDEN=1); a golden file changes only on purpose.
//
// Also here: every example, for every device and every bin and version it
// names, builds without a report and without a leak, and the model answers
// what the driver and the string queries ask of it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_string.h"
#include "dtm_tcl_report.h"
#include "line_record_view.h"
#include "msg_sys.h"
#include "test_files.h"

namespace {

using NODE_PTR = std::unique_ptr<DTM_NODE>;

const std::string k_source_dir = KESTREL_SOURCE_DIR;
const std::string k_golden_dir = k_source_dir + "/tests/data/golden/";

bool blessing() {
  const char* value = std::getenv("KESTREL_BLESS_GOLDEN");
  return value != nullptr && std::string(value) == "1";
}

struct GOLDEN_CASE {
  const char* m_name;    // base name of the golden files
  const char* m_source;  // the DMF file, relative to the source tree
  std::optional<std::string> m_device;
  std::optional<std::string> m_bin;
  std::optional<std::string> m_version;
  bool m_clean;  // a good file: no report, nothing printed
};

const std::vector<GOLDEN_CASE> k_cases = {
    {"plain", "examples/plain.dmf", {}, {}, {}, true},
    {"family.KX10", "examples/family.dmf", "KX10", {}, {}, true},
    {"family.KX20", "examples/family.dmf", "KX20", {}, {}, true},
    {"family.KX40", "examples/family.dmf", "KX40", {}, {}, true},
    {"family.KX10.C8.REV_B", "examples/family.dmf", "KX10", "C8", "REV_B", true},
    {"every_type", "tests/data/dmf/every_type.dmf", {}, {}, {}, true},
    {"every_type.B2.V2", "tests/data/dmf/every_type.dmf", {}, "B2", "V2", true},
    {"bad_lines", "tests/data/dmf/bad_lines.dmf", {}, {}, {}, false},
    {"duplicates", "tests/data/dmf/duplicates.dmf", {}, {}, {}, false},
    {"missing_device", "tests/data/dmf/missing_device.dmf", "D2", {}, {}, false},
    {"empty", "tests/data/dmf/empty.dmf", {}, {}, {}, false},
};

// What one build gave, one text per golden file.
struct OUTCOME {
  std::string m_line_trace;
  std::string m_tree_trace;
  std::string m_paths;
  std::string m_messages;
};

// Replaces every occurrence of `from` in `text`.
std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos;
       at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// Builds a copy of the case's file in a scratch directory (the traces go
// beside it) with both traces on.
OUTCOME build(const GOLDEN_CASE& c) {
  TEST_DIR dir;
  const std::string source = k_source_dir + "/" + c.m_source;
  const std::string name = std::filesystem::path(source).filename().string();
  const std::string file = dir.write(name, TEST_DIR::read(source));
  DTM_FACTORY factory;
  DTM_FACTORY::DTM_DELAY_TARGET target;
  if (c.m_bin) {
    target.m_bin = MEM_STRING(c.m_bin->c_str());
  }
  if (c.m_version) {
    target.m_version = MEM_STRING(c.m_version->c_str());
  }
  factory.set_delay_target(target);

  OUTCOME outcome;
  MSG_CAPTURE capture;
  testing::internal::CaptureStdout();
  const std::string* device = c.m_device ? &*c.m_device : nullptr;
  const NODE_PTR root(factory.build_nodes(file.c_str(), device, true, true));
  const std::string printed = testing::internal::GetCapturedStdout();

  EXPECT_TRUE(std::filesystem::exists(file + ".trf_line"));
  EXPECT_TRUE(std::filesystem::exists(file + ".trf"));
  outcome.m_line_trace = TEST_DIR::read(file + ".trf_line");
  outcome.m_tree_trace = TEST_DIR::read(file + ".trf");
  if (root != nullptr) {
    std::ostringstream paths;
    root->dump_tree(paths, std::string());
    outcome.m_paths = paths.str();
  }
  std::ostringstream messages;
  for (const MSG_REPORT& report : capture.get_reports()) {
    messages << "report " << report.m_source << ": " << report.m_text << "\n";
  }
  std::istringstream lines(printed);
  for (std::string line; std::getline(lines, line);) {
    messages << "stdout: " << line << "\n";
  }
  outcome.m_messages = replaced(messages.str(), dir.path(""), "<dir>/");
  return outcome;
}

TEST(GoldenFiles, BuildsMatchTheirGoldenFiles) {
  for (const GOLDEN_CASE& c : k_cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    const OUTCOME outcome = build(c);
    if (c.m_clean) {
      EXPECT_EQ(outcome.m_messages, "");
      EXPECT_NE(outcome.m_paths, "");
    } else {
      EXPECT_NE(outcome.m_messages, "");
    }
    const std::pair<const char*, const std::string*> files[] = {
        {".trf_line", &outcome.m_line_trace},
        {".trf", &outcome.m_tree_trace},
        {".paths", &outcome.m_paths},
        {".messages", &outcome.m_messages},
    };
    for (const auto& [extension, text] : files) {
      const std::string golden = k_golden_dir + c.m_name + extension;
      if (blessing()) {
        std::ofstream(golden, std::ios::binary | std::ios::trunc) << *text;
        continue;
      }
      ASSERT_TRUE(std::filesystem::exists(golden)) << golden << " is missing";
      EXPECT_EQ(*text, TEST_DIR::read(golden)) << "differs from " << golden;
    }
  }
}

// The traces are the pipeline's own: the tree trace is the outline of the
// model whose path listing is golden, and the line trace holds one listing
// three times.
TEST(GoldenFiles, TracesAgreeWithEachOther) {
  for (const GOLDEN_CASE& c : k_cases) {
    SCOPED_TRACE(c.m_name);
    const std::string lines = TEST_DIR::read(k_golden_dir + c.m_name + ".trf_line");
    const std::size_t reordered = lines.find("\nDMF REORDERED\n\n");
    const std::size_t consolidated = lines.find("\nDMF CONSOLIDATED\n\n");
    if (lines.empty()) {
      continue;  // nothing was read
    }
    ASSERT_NE(reordered, std::string::npos);
    ASSERT_NE(consolidated, std::string::npos);
    const std::string first = lines.substr(0, reordered);
    const std::size_t second_at = reordered + 16;
    EXPECT_EQ(lines.substr(second_at, consolidated - second_at), first);
    EXPECT_EQ(lines.substr(consolidated + 19), first);
  }
}

// --- Every example, every device, every bin and version -----------------------------

struct BUILD_TARGET {
  std::string m_file;
  std::optional<std::string> m_device;
  std::optional<std::string> m_bin;
  std::optional<std::string> m_version;
};

std::vector<BUILD_TARGET> every_example_target() {
  std::vector<BUILD_TARGET> targets;
  const std::vector<std::optional<std::string>> bins = {{}, "C6", "C7", "C8"};
  const std::vector<std::optional<std::string>> versions = {{}, "REV_A", "REV_B"};
  for (const auto& entry : std::filesystem::directory_iterator(KESTREL_EXAMPLES_DIR)) {
    if (entry.path().extension() != ".dmf") {
      continue;
    }
    const std::string file = entry.path().string();
    std::vector<std::string> devices;
    if (TEST_DIR::read(file).starts_with(DTM_FACTORY::DTM_DEVICE_LISTING)) {
      DTM_FACTORY().get_device_listing(file.c_str(), devices);
    }
    std::vector<std::optional<std::string>> device_choices(devices.begin(), devices.end());
    if (device_choices.empty()) {
      device_choices.emplace_back();
    }
    for (const auto& device : device_choices) {
      for (const auto& bin : bins) {
        for (const auto& version : versions) {
          targets.push_back({file, device, bin, version});
        }
      }
    }
  }
  return targets;
}

TEST(Examples, EveryDeviceBinAndVersionBuildsCleanly) {
  const std::vector<BUILD_TARGET> targets = every_example_target();
  ASSERT_EQ(targets.size(), 4U * 12U);  // plain.dmf and the three devices of family.dmf
  for (const BUILD_TARGET& t : targets) {
    SCOPED_TRACE(t.m_file + " " + t.m_device.value_or("-") + " " + t.m_bin.value_or("-") + " " +
                 t.m_version.value_or("-"));
    MEMORY_GUARD memory;
    MSG_CAPTURE capture;
    DTM_FACTORY factory;
    DTM_FACTORY::DTM_DELAY_TARGET target;
    if (t.m_bin) {
      target.m_bin = MEM_STRING(t.m_bin->c_str());
    }
    if (t.m_version) {
      target.m_version = MEM_STRING(t.m_version->c_str());
    }
    factory.set_delay_target(target);
    testing::internal::CaptureStdout();
    const NODE_PTR root(
        factory.build_nodes(t.m_file.c_str(), t.m_device ? &*t.m_device : nullptr, false, false));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(capture.get_texts(), std::vector<std::string>{});
    ASSERT_NE(root, nullptr);

    // What the driver prints: the descriptions of the device node (67) and
    // of the micro node (55) below it.
    const DTM_NODE* device = root->get_node(static_cast<DTM_NODE_ENUM>(67));
    ASSERT_NE(device, nullptr);
    const DTM_NODE* micro = device->get_node(static_cast<DTM_NODE_ENUM>(55));
    ASSERT_NE(micro, nullptr);
    EXPECT_FALSE(device->get_description().empty());
    EXPECT_FALSE(micro->get_description().empty());

    // Every micro delay of the device has a value for every target.
    std::string type = "DTM_MICRO", map = "DTM_MAP_DEVICE";
    DTM_TCL_REPORT report;
    for (std::string kind : {"TCO_DELAY", "TSU_DELAY", "TH_DELAY"}) {
      const DTM_STRING::STRINGS query = {&type, &kind, &map};
      EXPECT_NE(DTM_STRING::get_delay(&query, root.get(), &report), DTM_ILLEGAL_DELAY) << kind;
    }
  }
}

TEST(Examples, BinsAndVersionsChooseTheGroup) {
  MEMORY_GUARD memory;
  struct CASE {
    const char* m_bin;
    const char* m_version;
    int m_tco;
    int m_tsu;
    int m_tpd;
  };
  // KX10: TCO by bin, TSU by version, TPD by both (C6 needs the version).
  const std::vector<CASE> cases = {
      {nullptr, nullptr, 120, 45, 240}, {"C6", "REV_A", 120, 45, 240},
      {"C6", "REV_B", 120, 42, 232},    {"C7", "REV_A", 135, 45, 265},
      {"C8", "REV_B", 150, 42, 290},    {"C8", nullptr, 150, 45, 290},
  };
  const std::string file = KESTREL_EXAMPLES_DIR "/family.dmf";
  const std::string device = "KX10";
  for (const CASE& c : cases) {
    SCOPED_TRACE(std::string(c.m_bin ? c.m_bin : "-") + " " + (c.m_version ? c.m_version : "-"));
    DTM_FACTORY factory;
    DTM_FACTORY::DTM_DELAY_TARGET target;
    if (c.m_bin != nullptr) {
      target.m_bin = MEM_STRING(c.m_bin);
    }
    if (c.m_version != nullptr) {
      target.m_version = MEM_STRING(c.m_version);
    }
    factory.set_delay_target(target);
    const NODE_PTR root(factory.build_nodes(file.c_str(), &device, false, false));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->get_micro_node_delay(TCO_DELAY, DTM_MAP_DEVICE), c.m_tco);
    EXPECT_EQ(root->get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE), c.m_tsu);
    EXPECT_EQ(root->get_micro_node_delay(TPD_DELAY, DTM_MAP_DEVICE), c.m_tpd);
  }
}

}  // namespace
