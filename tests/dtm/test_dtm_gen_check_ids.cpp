// Identifiers: duplicates reported from both lines, identifiers starting with
// a digit, and the walk's indexed search against a plain quadratic search.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "dtm_check_lines.h"
#include "dtm_gen.h"
#include "msg_sys.h"

namespace {

std::string same_ids(int other, int self) {
  return line_text("Bad DMF file: Two DMF lines have the same identifiers (lines ", other,
                   ", " + std::to_string(self) + ")");
}
std::string illegal_id(int n) {
  return line_text("Bad DMF file: One DMF line has an illegal identifier (line ", n);
}
const std::string k_failed = "check_exp_legality(temp)";

// A line of a test file: its number, its identifier ("" for none) and
// whether it is a description line (which has no identifier).
struct ID_LINE {
  int m_number;
  std::string m_id;
  bool m_description = false;
};

void build(LINE_LIST& lines, const std::vector<ID_LINE>& file) {
  for (const ID_LINE& line : file) {
    if (line.m_description) {
      lines.add("\"text\" DTM_MAP_DEVICE", line.m_number);
    } else {
      const std::string id = line.m_id.empty() ? "" : line.m_id + " :: ";
      lines.add(id + "5 || DTM_MAP_DEVICE || DTM_MICRO TCO_DELAY", line.m_number);
    }
  }
}

// What the walk must report for the identifiers of `file`, by the plain
// search: each line compared with every later line, then every earlier one.
std::vector<std::string> reference(const std::vector<ID_LINE>& file) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < file.size(); ++i) {
    const std::string& id = file[i].m_id;
    if (id.empty()) {
      continue;
    }
    const ID_LINE* stop = nullptr;
    for (std::size_t j = i + 1; stop == nullptr && j < file.size(); ++j) {
      if (file[j].m_id == id) {
        stop = &file[j];
      }
    }
    for (std::size_t j = i; stop == nullptr && j-- > 0;) {
      if (file[j].m_id == id) {
        stop = &file[j];
      }
    }
    if (stop != nullptr) {
      texts.push_back(same_ids(stop->m_number, file[i].m_number));
    }
    if (id[0] >= '0' && id[0] <= '9') {
      texts.push_back(illegal_id(stop != nullptr ? stop->m_number : file[i].m_number));
    }
    if (stop != nullptr) {
      texts.push_back(k_failed);
    }
  }
  return texts;
}

// The texts of the walk, and those of check_exp_legality called line by line
// (with the walk's assertion added when it returns false).
std::pair<std::vector<std::string>, std::vector<std::string>> check(const LINE_LIST& lines) {
  const DTM_FACTORY factory;
  MSG_CAPTURE walk;
  EXPECT_TRUE(factory.check_legality(lines.head()));
  MSG_CAPTURE single;
  for (const DTM_LINE_NODE* line = lines.head(); line != nullptr; line = line->get_next()) {
    if (!factory.check_exp_legality(line)) {
      single.on_report({"DTM", "dtm_gen", 0, k_failed});
    }
  }
  return {walk.get_texts(), single.get_texts()};
}

struct ID_CASE {
  const char* m_label;
  std::vector<ID_LINE> m_file;
  std::vector<std::string> m_texts;
};

std::vector<ID_CASE> id_cases() {
  return {
      {"no identifiers", {{1, ""}, {2, ""}, {3, ""}}, {}},
      {"distinct identifiers, exact comparison",
       {{1, "A"}, {2, "a"}, {3, "AB"}, {4, "B"}, {5, "A_"}},
       {}},
      {"a pair at lines 3 and 7, reported from both",
       {{3, "A"}, {5, ""}, {7, "A"}},
       {same_ids(7, 3), k_failed, same_ids(3, 7), k_failed}},
      {"three equal: forward first, the last one looks back",
       {{1, "A"}, {2, "A"}, {3, "A"}},
       {same_ids(2, 1), k_failed, same_ids(3, 2), k_failed, same_ids(2, 3), k_failed}},
      {"interleaved pairs",
       {{1, "A"}, {2, "B"}, {3, "A"}, {4, "B"}, {5, "A"}},
       {same_ids(3, 1), k_failed, same_ids(4, 2), k_failed, same_ids(5, 3), k_failed,
        same_ids(2, 4), k_failed, same_ids(3, 5), k_failed}},
      {"an identifier starting with a digit, alone: its own number",
       {{4, "1A"}, {5, "A1"}},
       {illegal_id(4)}},
      {"digit identifiers with duplicates: the number of the line the search stopped at",
       {{4, "1A"}, {6, "X"}, {9, "1A"}},
       {same_ids(9, 4), illegal_id(9), k_failed, same_ids(4, 9), illegal_id(4), k_failed}},
      {"every digit starts an illegal identifier",
       {{1, "0"}, {2, "9zz"}, {3, "5"}, {4, "/a"}, {5, ":b"}},
       {illegal_id(1), illegal_id(2), illegal_id(3)}},
      {"equal line numbers and negative ones",
       {{-4, "Q"}, {-4, "Q"}, {32767, "7"}, {-32768, "7"}},
       {same_ids(-4, -4), k_failed, same_ids(-4, -4), k_failed, same_ids(-32768, 32767),
        illegal_id(-32768), k_failed, same_ids(32767, -32768), illegal_id(32767), k_failed}},
      {"description lines between duplicates",
       {{1, "D"}, {2, "", true}, {3, "D"}},
       {same_ids(3, 1), k_failed, same_ids(1, 3), k_failed}},
  };
}

TEST(DtmGenCheckIds, DuplicatesFromBothLinesAndIllegalIdentifiers) {
  for (const ID_CASE& c : id_cases()) {
    SCOPED_TRACE(c.m_label);
    LINE_LIST lines;
    build(lines, c.m_file);
    const auto [walk, single] = check(lines);
    EXPECT_EQ(walk, c.m_texts);
    EXPECT_EQ(single, c.m_texts);
    // The quadratic reference agrees with the hand-written expectations.
    EXPECT_EQ(reference(c.m_file), c.m_texts);
  }
}

TEST(DtmGenCheckIds, ResultOfTheSingleLineCheck) {
  const DTM_FACTORY factory;
  LINE_LIST lines;
  build(lines, {{1, "A"}, {2, ""}, {3, "A"}, {4, "2B"}});
  MSG_CAPTURE capture;
  EXPECT_FALSE(factory.check_exp_legality(lines.at(0)));
  EXPECT_TRUE(factory.check_exp_legality(lines.at(1)));
  EXPECT_FALSE(factory.check_exp_legality(lines.at(2)));
  // An illegal identifier is reported without changing the result.
  EXPECT_TRUE(factory.check_exp_legality(lines.at(3)));
  EXPECT_FALSE(factory.check_exp_legality(nullptr));
  const std::vector<std::string> expected = {same_ids(3, 1), same_ids(1, 3), illegal_id(4),
                                             "begin != 0"};
  EXPECT_EQ(capture.get_texts(), expected);
}

// Random files: identifiers from a small pool (so that duplicates are frequent
// and come in runs), lines without identifiers, description lines, and
// random line numbers. Every line is otherwise legal, so the walk reports
// nothing but the identifier findings.
std::vector<ID_LINE> random_file(unsigned seed, std::size_t max_count) {
  std::mt19937 random(seed);
  const std::size_t count = 1 + random() % max_count;
  const std::size_t pool_size = 1 + random() % (count / 3 + 1);
  static const char* const shapes[] = {"ID", "id", "7x", "0", "A", "_", "9"};
  std::vector<std::string> pool;
  for (std::size_t i = 0; i < pool_size; ++i) {
    pool.push_back(shapes[random() % 7] + std::to_string(random() % (pool_size + 1)));
  }
  pool.push_back("ID1");  // prefixes of longer identifiers
  pool.push_back("ID12");
  std::vector<ID_LINE> file;
  for (std::size_t i = 0; i < count; ++i) {
    const unsigned kind = random() % 10;
    const int number = static_cast<int>(random() % 65536) - 32768;
    if (kind == 0) {
      file.push_back({number, "", true});
    } else if (kind <= 2) {
      file.push_back({number, ""});
    } else {
      file.push_back({number, pool[random() % pool.size()]});
    }
  }
  return file;
}

TEST(DtmGenCheckIds, IndexedSearchEqualsThePlainSearchOnRandomFiles) {
  std::size_t reports = 0;
  // Forty small files, and three larger ones with thousands of identifiers.
  for (unsigned seed = 1; seed <= 43; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const std::vector<ID_LINE> file = random_file(seed, seed <= 40 ? 500 : 6000);
    LINE_LIST lines;
    build(lines, file);
    ASSERT_EQ(lines.size(), file.size());
    const auto [walk, single] = check(lines);
    const std::vector<std::string> expected = reference(file);
    EXPECT_EQ(walk, expected);
    EXPECT_EQ(single, expected);
    reports += expected.size();
  }
  // The files do exercise duplicates and digit identifiers.
  EXPECT_GT(reports, 1000u);
}

}  // namespace
