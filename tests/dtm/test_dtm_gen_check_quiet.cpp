// The walk checks in full only the lines whose check reports something; the
// others are settled by a first pass. Random lists of good and bad lines must
// give exactly the reports and the verdict that checking each line on its own
// gives, line after line.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "dtm_check_lines.h"
#include "dtm_gen.h"
#include "msg_sys.h"

namespace {

using TEXTS = std::vector<std::string>;

// Line bodies (no identifier): quiet ones, and ones that report from every
// step of the walk. Neighbouring bodies share, extend, shorten or change
// their parents, so that the first pass's memo of the last parents is tried
// with equal, longer, shorter and prefix names.
const std::vector<std::string> k_bodies = {
    // Quiet.
    "5 || DTM_MAP_DEVICE DTM_MAP_LUT || DTM_MICRO TCO_DELAY",
    "7 || DTM_MAP_DEVICE DTM_MAP_LUT || DTM_MICRO TSU_DELAY",
    "( 2 + 3 ) || DTM_MAP_DEVICE || DTM_TABLE TCO_DELAY RC_RISE",
    "bin B1 || 5 ;; bin B2 || 6 || DTM_MAP_DEVICE DTM_MAP_RAM_SMALL || DTM_RC DFF TCO_DELAY",
    "5 || DTM_MAP_DEVICE DTM_MAP_IO_CELL || DTM_P2P LCELL_DATAA LCELL_COMBOUT INDEX_0",
    "5 || DTM_MAP_DEVICE DTM_MAP_IO_CELL || DTM_P2P REG_D REG_Q",
    "1 || DTM_MAP_DEVICE || DTM_INTEGER TCO_DELAY 12",
    "1 || DTM_MAP_DEVICE DTM_MAP_LUT DTM_MAP_CORE || DTM_INTEGER 1024",
    "\"Block\" DTM_MAP_DEVICE DTM_MAP_DSP_BLOCK",
    "\"Rc\" DTM_MAP_DEVICE || DTM_NODE_MAX_ENUM",
    "5 || || DTM_MICRO TCO_DELAY",
    "5 || DTM_MAP_DEVICE || DTM_GENERAL_PARAM",
    "5 || DTM_MAP_RC_NETWORK DTM_MAP_RC_SEGMENT || DTM_RE_TABLE DFF DFFE ANYTHING",
    // Reporting.
    "5 || DTM_MAP_DEVICE DTM_MAP_LU || DTM_MICRO TCO_DELAY",
    "5 || DTM_MAP_DEVICE DTM_MAP_LUTS || DTM_MICRO TCO_DELAY",
    "5 || DTM_MAP_DEVICE NOPE DTM_MAP_LUT || DTM_MICRO TCO_DELAY",
    "5 || DTM_MAP_DEVICE DTM_RC || DTM_MICRO TCO_DELAY",
    "5 || DTM_MAP_DEVICE",
    "bin B1 || 5 ;; bin B1 || 6 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY",
    "5 ;; 6 || DTM_MAP_DEVICE DTM_MAP_LUT || DTM_MICRO TCO_DELAY",
    "5 || DTM_MAP_DEVICE || DTM_P2P NOPE LCELL_COMBOUT",
    "5 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA",
    "5 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA LCELL_COMBOUT INDEX_ALL",
    "5 || DTM_MAP_DEVICE || DTM_P2P LCELL_DATAA NOPE INDEX_0",
    "5 || DTM_MAP_DEVICE DTM_MAP_LUT || DTM_RC NOPE TCO_DELAY",
    "5 || DTM_MAP_DEVICE || DTM_INTEGER -5",
    "5 || DTM_MAP_DEVICE || NOPE",
    "5 || DTM_MAP_DEVICE || DTM_GENERAL_PARAM X",
    "5 || DTM_MAP_DEVICE DTM_MAP_DEVICE DTM_MAP_DEVICE DTM_MAP_DEVICE DTM_MAP_DEVICE "
    "DTM_MAP_DEVICE DTM_MAP_DEVICE DTM_MAP_DEVICE DTM_MAP_DEVICE DTM_MAP_DEVICE "
    "DTM_MAP_LUT || DTM_MICRO TCO_DELAY",
    "\"d\" NOPE",
};

// A line that leaves the verdict false.
const std::string k_false_line = "5 || NOPE || DTM_MICRO TCO_DELAY";

struct LINE {
  int m_number;
  std::string m_id;  // empty: none
  std::string m_body;
  std::string text() const { return m_id.empty() ? m_body : m_id + " :: " + m_body; }
};

std::vector<LINE> random_list(unsigned seed) {
  std::mt19937 random(seed);
  static const char* const ids[] = {"", "", "", "A", "B", "7x", "0"};
  std::vector<LINE> list;
  const std::size_t count = 1 + random() % 60;
  std::size_t body = random() % k_bodies.size();
  for (std::size_t i = 0; i < count; ++i) {
    // Runs of neighbours, and jumps.
    body = random() % 3 == 0 ? random() % k_bodies.size() : (body + random() % 2) % k_bodies.size();
    // A description line carries no identifier.
    const bool description = k_bodies[body][0] == '"';
    list.push_back(
        {static_cast<int>(1 + i * 3), description ? "" : ids[random() % 7], k_bodies[body]});
  }
  return list;
}

// The reports and verdict of checking `lines` whole.
std::pair<TEXTS, bool> check(const LINE_LIST& lines) {
  MSG_CAPTURE capture;
  const bool legal = DTM_FACTORY().check_legality(lines.head());
  return {capture.get_texts(), legal};
}

// The walk line by line: the identifier findings of the literal single-line
// check, then the findings of the body checked alone (its verdict after a
// true one, or after a false one), with the same line number.
std::pair<TEXTS, bool> reference(const LINE_LIST& lines, const std::vector<LINE>& list) {
  const DTM_FACTORY factory;
  TEXTS texts;
  bool legal = true;
  for (std::size_t i = 0; i < list.size(); ++i) {
    {
      MSG_CAPTURE capture;
      const bool unique = factory.check_exp_legality(lines.at(i));
      TEXTS found = capture.get_texts();
      if (!unique) {
        found.push_back("check_exp_legality(temp)");
      }
      texts.insert(texts.end(), found.begin(), found.end());
    }
    LINE_LIST alone;
    if (!legal) {
      alone.add(k_false_line, list[i].m_number);
    }
    alone.add(list[i].m_body, list[i].m_number);
    MSG_CAPTURE capture;
    legal = factory.check_legality(alone.head());
    TEXTS found = capture.get_texts();
    // The false line's own finding comes first.
    texts.insert(texts.end(), found.begin() + (alone.size() == 2 ? 1 : 0), found.end());
  }
  return {texts, legal};
}

TEST(DtmGenCheckQuiet, TheWalkEqualsTheLineByLineCheckOnRandomLists) {
  std::size_t reports = 0;
  std::size_t false_verdicts = 0;
  for (unsigned seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::vector<LINE> list = random_list(seed);
    LINE_LIST lines;
    for (const LINE& line : list) {
      lines.add(line.text(), line.m_number);
    }
    ASSERT_EQ(lines.size(), list.size());
    const auto [texts, legal] = check(lines);
    const auto [expected_texts, expected_legal] = reference(lines, list);
    EXPECT_EQ(texts, expected_texts);
    EXPECT_EQ(legal, expected_legal);
    reports += expected_texts.size();
    false_verdicts += expected_legal ? 0 : 1;
  }
  // The lists do report, and end with both verdicts.
  EXPECT_GT(reports, 500u);
  EXPECT_GT(false_verdicts, 10u);
  EXPECT_LT(false_verdicts, 140u);
}

// Quiet lines still move the verdict: one with map types sets it back to
// true, one without leaves it; a quiet line's identifier is still checked.
struct QUIET_CASE {
  std::string m_label;
  TEXTS m_lines;
  bool m_legal;
  std::size_t m_reports;
};

TEST(DtmGenCheckQuiet, QuietLinesKeepTheirPartInTheVerdictAndTheirIdentifier) {
  const std::vector<QUIET_CASE> cases = {
      {"map types set it back", {k_false_line, "5 || DTM_MAP_LUT || DTM_MICRO TCO_DELAY"}, true, 1},
      {"no map types leave it", {k_false_line, "5 || || DTM_MICRO TCO_DELAY"}, false, 1},
      {"a description without map types leaves it", {k_false_line, "\"text\""}, false, 1},
      {"a description with map types sets it back",
       {k_false_line, "\"text\" DTM_MAP_LUT"},
       true,
       1},
      {"a digit identifier on a quiet line",
       {"7 :: 5 || DTM_MAP_LUT || DTM_MICRO TCO_DELAY"},
       true,
       1},
      {"duplicates on quiet lines",
       {"A :: 5 || DTM_MAP_LUT || DTM_MICRO TCO_DELAY",
        "A :: 6 || DTM_MAP_LUT || DTM_MICRO TSU_DELAY"},
       true,
       4},
  };
  for (const QUIET_CASE& c : cases) {
    SCOPED_TRACE(c.m_label);
    LINE_LIST lines;
    for (const std::string& text : c.m_lines) {
      lines.add(text);
    }
    const auto [texts, legal] = check(lines);
    EXPECT_EQ(legal, c.m_legal);
    EXPECT_EQ(texts.size(), c.m_reports);
  }
}

}  // namespace
