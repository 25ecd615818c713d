#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "gen_sys.h"

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

struct COMPARE_CASE {
  const char* a;
  const char* b;
  int exact;    // sign of gen_strcmp
  int folded;   // sign of gen_stricmp
};

TEST(GenString, ComparisonsAgreeOnSignWithTheirDefinition) {
  const COMPARE_CASE cases[] = {
      {"error", "error", 0, 0},     {"ERROR", "error", -1, 0}, {"Error", "eRRoR", -1, 0},
      {"errors", "error", 1, 1},    {"", "", 0, 0},            {"", "a", -1, -1},
      {"abc", "abd", -1, -1},       {"b", "A", 1, 1},          {nullptr, nullptr, 0, 0},
      {nullptr, "", -1, -1},        {"x", nullptr, 1, 1},      {"\xff", "a", 1, 1},
  };
  for (const COMPARE_CASE& c : cases) {
    SCOPED_TRACE(std::string(c.a ? c.a : "(null)") + " vs " + (c.b ? c.b : "(null)"));
    EXPECT_EQ(sign(gen_strcmp(c.a, c.b)), c.exact);
    EXPECT_EQ(sign(gen_stricmp(c.a, c.b)), c.folded);
  }
}

TEST(GenString, ItoaWritesEveryRadixAndTheExtremes) {
  struct CASE {
    int value;
    int radix;
    const char* text;
  } cases[] = {
      {0, 10, "0"},          {7, 10, "7"},        {-42, 10, "-42"},     {255, 16, "ff"},
      {-255, 16, "-ff"},     {5, 2, "101"},       {35, 36, "z"},        {INT_MAX, 10, "2147483647"},
      {INT_MIN, 10, "-2147483648"}, {INT_MIN, 2, "-10000000000000000000000000000000"},
      {12, 1, ""},           {12, 37, ""},
  };
  for (const CASE& c : cases) {
    char buffer[34];
    EXPECT_STREQ(gen_itoa(c.value, buffer, c.radix), c.text) << c.value << " radix " << c.radix;
  }
}

}  // namespace
