#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "dtm_gen.h"
#include "expr_test_support.h"
#include "line_record_view.h"
#include "msg_sys.h"

namespace {

using REPORTS = std::vector<std::string>;
using TARGET = DTM_FACTORY::DTM_DELAY_TARGET;

TARGET target(std::optional<const char*> bin, std::optional<const char*> version) {
  TARGET result;
  if (bin.has_value()) {
    result.m_bin = *bin;
  }
  if (version.has_value()) {
    result.m_version = *version;
  }
  return result;
}

// Group 0: bins B1, delay 5. Group 1: bins B2 B3, version V2, delay 6.
// Group 2: no lists, delay 7.
constexpr const char* k_three_groups = "bin B1 || 5 ;; bin B2 B3 || version V2 || 6 ;; 7 || P || M";

struct CHOICE_CASE {
  const char* m_name;
  std::optional<const char*> m_bin;
  std::optional<const char*> m_version;
  DTM_SHORT m_group;
  std::int32_t m_value;
};

TEST(DtmGenGroup, FirstGroupAcceptingBinAndVersionIsChosen) {
  const std::vector<CHOICE_CASE> cases = {
      {"nothing set", std::nullopt, std::nullopt, 0, 5},
      {"bin of the first group", "B1", std::nullopt, 0, 5},
      {"first bin of the second group", "B2", std::nullopt, 1, 6},
      {"second bin of the second group", "B3", std::nullopt, 1, 6},
      {"bin of no list: the group without a list", "B9", std::nullopt, 2, 7},
      {"bins compare exactly", "b1", std::nullopt, 2, 7},
      {"an empty bin is a set bin", "", std::nullopt, 2, 7},
      {"version alone: the first group has no version list", std::nullopt, "V2", 0, 5},
      {"unknown version alone", std::nullopt, "V9", 0, 5},
      {"bin and version both held", "B2", "V2", 1, 6},
      {"bin held, version refused", "B3", "V1", 2, 7},
      {"bin refused, version held", "B9", "V2", 2, 7},
  };
  for (const CHOICE_CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    MEMORY_GUARD memory;
    LINE line = parse_line(k_three_groups);
    DTM_FACTORY factory;
    factory.set_delay_target(target(c.m_bin, c.m_version));
    MSG_CAPTURE capture;
    const DTM_SHORT group = factory.choose_delay_group(line.get());
    EXPECT_EQ(group, c.m_group);
    DTM_SHORT position = 0;
    EXPECT_EQ(factory.extract_long(line.get(), &position, group), c.m_value);
    EXPECT_EQ(capture.get_count(), 0u);
  }
}

TEST(DtmGenGroup, NoGroupQualifyingNamesTheGroupCount) {
  struct MISS_CASE {
    const char* m_line;
    std::optional<const char*> m_bin;
    std::optional<const char*> m_version;
    DTM_SHORT m_group;
  };
  const std::vector<MISS_CASE> cases = {
      {"bin FAST || 5 || P", "SLOW", std::nullopt, 1},
      {"version A B || 5 || P", std::nullopt, "C", 1},
      {"bin B1 || 5 ;; version V1 || 6 || P", "B2", "V2", 2},
      {"bin B1 || version V1 || 5 ;; bin B1 || version V2 || 6 ;; bin B2 || 7 || P", "B1", "V3", 3},
  };
  for (const MISS_CASE& c : cases) {
    SCOPED_TRACE(c.m_line);
    MEMORY_GUARD memory;
    LINE line = parse_line(c.m_line);
    DTM_FACTORY factory;
    factory.set_delay_target(target(c.m_bin, c.m_version));
    MSG_CAPTURE capture;
    const DTM_SHORT group = factory.choose_delay_group(line.get());
    EXPECT_EQ(group, c.m_group);
    EXPECT_EQ(capture.get_count(), 0u) << "choosing reports nothing";

    DTM_SHORT position = 0;
    EXPECT_EQ(factory.extract_long(line.get(), &position, group), DTM_ILLEGAL_DELAY);
    EXPECT_DOUBLE_EQ(factory.extract_float(line.get(), &position, group), DTM_ILLEGAL_FLOAT);
    EXPECT_EQ(position, 0);
    const std::string message = out_of_range(c.m_group, c.m_group);
    EXPECT_EQ(capture.get_texts(), (REPORTS{message, k_group_check, message, k_group_check}));
  }
}

TEST(DtmGenGroup, TargetIsUnsetUntilGivenAndCanBeUnsetAgain) {
  MEMORY_GUARD memory;
  LINE line = parse_line(k_three_groups);
  DTM_FACTORY factory;
  EXPECT_FALSE(factory.get_delay_target().m_bin.has_value());
  EXPECT_FALSE(factory.get_delay_target().m_version.has_value());
  factory.set_delay_target(target("B2", "V2"));
  EXPECT_EQ(factory.choose_delay_group(line.get()), 1);
  ASSERT_TRUE(factory.get_delay_target().m_bin.has_value());
  EXPECT_EQ(*factory.get_delay_target().m_bin, "B2");
  EXPECT_EQ(*factory.get_delay_target().m_version, "V2");

  // A copy chooses as the original does.
  const DTM_FACTORY copy = factory;
  EXPECT_EQ(copy.choose_delay_group(line.get()), 1);

  factory.set_delay_target({});
  EXPECT_EQ(factory.choose_delay_group(line.get()), 0);
  EXPECT_EQ(copy.choose_delay_group(line.get()), 1);
}

TEST(DtmGenGroup, LinesWithoutGroupsAndNullLines) {
  MEMORY_GUARD memory;
  DTM_FACTORY factory;
  factory.set_delay_target(target("B1", std::nullopt));
  LINE description = parse_line("\"Fast corner\" PA || MX");
  MSG_CAPTURE capture;
  EXPECT_EQ(factory.choose_delay_group(description.get()), 0);
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_EQ(factory.choose_delay_group(nullptr), 0);
  EXPECT_EQ(capture.get_texts(), REPORTS{"node != 0"});
}

TEST(DtmGenGroup, ListsOfGroupsWithoutDelaysAreNotConsulted) {
  // Group 0 refuses the bin; the list that accepts it belongs to no delay
  // group, so nothing qualifies.
  MEMORY_GUARD memory;
  LINE line = line_of_tokens({"4"}, 0);
  line->add_bin("B1", 0);
  line->add_bin("B2", 1);
  DTM_FACTORY factory;
  factory.set_delay_target(target("B2", std::nullopt));
  EXPECT_EQ(factory.choose_delay_group(line.get()), 1);
  factory.set_delay_target(target("B1", std::nullopt));
  EXPECT_EQ(factory.choose_delay_group(line.get()), 0);
}

}  // namespace
