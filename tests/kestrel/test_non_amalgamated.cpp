#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kestrel.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"
#include "test_files.h"

namespace {

const std::string k_listing = std::string(40, '*') + "DEVICE_LISTING";

struct LAYOUT_CASE {
  const char* m_name;
  std::string m_content;
  bool m_plain;
};

TEST(TestNonAmalgamated, TellsTheLayoutFromTheFirstLine) {
  const std::vector<LAYOUT_CASE> cases = {
      {"plain file", "% plain\nA :: 5 || P\n", true},
      {"listing line", k_listing + " DEVA DEVB\n" + std::string(40, '*') + "START_COMMON\n", false},
      {"three asterisks are enough", "***DEVICE_LISTING DEVA\n", false},
      {"two asterisks are not", "**DEVICE_LISTING DEVA\n", true},
      {"anywhere in the first line", "% see ***DEVICE_LISTING here\n", false},
      {"case matters", "***device_listing DEVA\n", true},
      {"only the first line counts", "% plain\n***DEVICE_LISTING DEVA\n", true},
      {"empty file", "", true},
      {"empty first line", "\n***DEVICE_LISTING DEVA\n", true},
      {"first line without a line end", "***DEVICE_LISTING DEVA", false},
      {"marker ending at character 299", std::string(282, 'x') + "***DEVICE_LISTING\n", false},
      {"marker ending at character 300", std::string(283, 'x') + "***DEVICE_LISTING\n", true},
      {"marker behind a NUL", std::string("x\0***DEVICE_LISTING\n", 20), true},
  };
  TEST_DIR dir;
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  MSG_CAPTURE capture;
  for (const LAYOUT_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    EXPECT_EQ(test_non_amalgamated(dir.write("layout.dmf", c.m_content).c_str()), c.m_plain);
  }
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
}

TEST(TestNonAmalgamated, UnreadableFilesCountAsPlain) {
  TEST_DIR dir;
  MSG_CAPTURE capture;
  EXPECT_TRUE(test_non_amalgamated(dir.path("missing.dmf").c_str()));
  EXPECT_TRUE(test_non_amalgamated(dir.path("").c_str()));
  EXPECT_TRUE(test_non_amalgamated(nullptr));
  EXPECT_EQ(capture.get_count(), 0u);
}

TEST(TestNonAmalgamated, BundledExamples) {
  EXPECT_TRUE(test_non_amalgamated(KESTREL_EXAMPLES_DIR "/plain.dmf"));
  EXPECT_FALSE(test_non_amalgamated(KESTREL_EXAMPLES_DIR "/family.dmf"));
}

}  // namespace
