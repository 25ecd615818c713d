#include <gtest/gtest.h>

#include <climits>
#include <utility>
#include <vector>

#include "dbs_translator.h"
#include "dtm_string.h"
#include "dtm_tree_data_key.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"

namespace {

using W = DTM_ENUM_WRAPPER;
constexpr const char* k_count_error = "Number of enum_wrapper out of range";

int sign(int value) { return (value > 0) - (value < 0); }

TEST(DtmEnumWrapper, TypedConstructorsStoreThePlusOneEncoding) {
  struct CASE {
    W m_wrapper;
    std::int32_t m_type;
    std::int32_t m_id;
  };
  const CASE cases[] = {
      {W(), 0, -1},
      {W(static_cast<DTM_ENUM>(0)), 1, 0},
      {W(static_cast<DTM_ENUM>(17)), 1, 17},
      {W(static_cast<DB_BURIED_PORT_TYPE>(0)), 2, 1},
      {W(static_cast<DB_INPUT_PORT_TYPE>(9)), 3, 10},
      {W(static_cast<DB_OUTPUT_PORT_TYPE>(470)), 4, 471},
      {W(static_cast<CDB_RE_TYPE>(0)), 5, 1},
      {W(CDB_RE_ILLEGAL_TYPE), 5, 605},
      {W::for_index(0), 6, 1},
      {W::for_index(-1), 6, 0},
      {W::for_index(INT_MAX), 6, INT_MIN},  // wraps, never undefined
  };
  for (const CASE& c : cases) {
    EXPECT_EQ(c.m_wrapper.get_enum_type(), c.m_type);
    EXPECT_EQ(c.m_wrapper.get_enum_id(), c.m_id);
  }
}

TEST(DtmEnumWrapper, CompareEnumTakesTheIdFirstThenTheFamily) {
  struct CASE {
    W m_a;
    W m_b;
    int m_expected;
  };
  const CASE cases[] = {
      {W(1, 5), W(1, 5), 0},
      {W(1, 5), W(1, 3), 2},  // id difference
      {W(1, 3), W(1, 5), -2},
      {W(6, 4), W(1, 4), 5},  // equal ids: family difference
      {W(1, 4), W(6, 4), -5},
      {W(6, 3), W(1, 4), -1},                   // the id decides before the family
      {W(0, -1), W(0, -1), 0},                  // two unset pairs
      {W(1, INT_MAX), W(1, INT_MIN), INT_MAX},  // saturated, sign kept
      {W(1, INT_MIN), W(1, INT_MAX), INT_MIN},
      {W(1, -2), W(1, INT_MAX), INT_MIN},
  };
  for (const CASE& c : cases) {
    EXPECT_EQ(DTM_TREE_DATA_KEY(1, c.m_a).order_key(DTM_TREE_DATA_KEY(1, c.m_b)),
              sign(c.m_expected));
    EXPECT_EQ(c.m_a.compare_enum(c.m_b), c.m_expected)
        << c.m_a.get_enum_type() << ":" << c.m_a.get_enum_id() << " vs " << c.m_b.get_enum_type()
        << ":" << c.m_b.get_enum_id();
  }
}

TEST(DtmTreeDataKey, CompareKeyOrdersByPartsThenLength) {
  const W a(1, 5);
  const W b(5, 7);
  const W c(5, 8);
  struct CASE {
    DTM_TREE_DATA_KEY m_a;
    DTM_TREE_DATA_KEY m_b;
    int m_expected;
  };
  const std::vector<CASE> cases = {
      {DTM_TREE_DATA_KEY(1, a), DTM_TREE_DATA_KEY(1, a), 0},
      {DTM_TREE_DATA_KEY(2, a, b), DTM_TREE_DATA_KEY(2, a, b), 0},
      // A one-wrapper key sorts before any longer key with the same first pair.
      {DTM_TREE_DATA_KEY(1, a), DTM_TREE_DATA_KEY(2, a, b), -1},
      {DTM_TREE_DATA_KEY(3, a, b, c), DTM_TREE_DATA_KEY(2, a, b), 1},
      // The first unequal pair decides, whatever the lengths.
      {DTM_TREE_DATA_KEY(2, a, c), DTM_TREE_DATA_KEY(3, a, b, b), 1},
      {DTM_TREE_DATA_KEY(1, b), DTM_TREE_DATA_KEY(2, a, c), 1},
      {DTM_TREE_DATA_KEY(5, a, a, a, a, b), DTM_TREE_DATA_KEY(5, a, a, a, a, c), -1},
      // Unset parts take part like any pair: (0,-1) sorts below (1,0).
      {DTM_TREE_DATA_KEY(2, a, W()), DTM_TREE_DATA_KEY(2, a, W(1, 0)), -1},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(sign(cases[i].m_a.compare_key(cases[i].m_b)), cases[i].m_expected) << "case " << i;
    EXPECT_EQ(sign(cases[i].m_b.compare_key(cases[i].m_a)), -cases[i].m_expected) << "case " << i;
    EXPECT_EQ(cases[i].m_a.order_key(cases[i].m_b), cases[i].m_expected) << "case " << i;
    EXPECT_EQ(cases[i].m_b.order_key(cases[i].m_a), -cases[i].m_expected) << "case " << i;
  }
}

TEST(DtmTreeDataKey, CountsOutsideOneToFiveAreReportedAndKeepUnsetWrappers) {
  MSG_CAPTURE capture;
  const W given(1, 9);
  const DTM_TREE_DATA_KEY zero(0, given);
  const DTM_TREE_DATA_KEY negative(-2, given);
  const DTM_TREE_DATA_KEY six(6, given, given, given, given, given);
  EXPECT_EQ(capture.count_text(k_count_error), 3u);
  EXPECT_EQ(capture.get_count(), 3u);
  for (const DTM_TREE_DATA_KEY* key : {&zero, &negative, &six}) {
    for (DTM_SHORT i = 0; i < key->get_num_wrapper(); ++i) {
      EXPECT_EQ(key->get_wrappers()[i], W());  // the given wrapper is not copied in
    }
  }
  EXPECT_EQ(zero.get_num_wrapper(), 0);
  EXPECT_EQ(negative.get_num_wrapper(), -2);
  EXPECT_EQ(six.get_num_wrapper(), 6);
  // Counts <= 0 compare by count alone.
  EXPECT_EQ(zero.compare_key(negative), 1);
  EXPECT_EQ(negative.compare_key(zero), -1);
  EXPECT_EQ(zero.compare_key(DTM_TREE_DATA_KEY(1, given)), -1);
  EXPECT_EQ(DTM_TREE_DATA_KEY(1, given).compare_key(negative), 1);
  for (DTM_SHORT good = 1; good <= 5; ++good) {
    EXPECT_TRUE(DTM_TREE_DATA_KEY::check_count(good));
  }
  EXPECT_EQ(capture.get_count(), 3u);
}

TEST(DtmTreeDataKey, TakesOnlyTheFirstCountWrappers) {
  const DTM_TREE_DATA_KEY key(3, W(1, 1), W(2, 2), W(3, 3), W(4, 4), W(5, 5));
  ASSERT_EQ(key.get_num_wrapper(), 3);
  EXPECT_EQ(key.get_wrapper(0), W(1, 1));
  EXPECT_EQ(key.get_wrapper(2), W(3, 3));
  MSG_CAPTURE capture;
  EXPECT_EQ(key.get_wrapper(3), W());
  EXPECT_EQ(key.get_wrapper(-1), W());
  EXPECT_EQ(capture.get_count(), 2u);
}

TEST(DtmTreeDataKey, AddWrapperGrowsTheKeyAndItsOrder) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  {
    DTM_TREE_DATA_KEY key(1, W(1, 4));
    const DTM_TREE_DATA_KEY one = key;
    std::vector<W> expected = {W(1, 4)};
    for (int part = 0; part < 6; ++part) {  // through inline storage into arrays
      const W next(part % 6 + 1, part * 3);
      key.add_enum_wrapper_to_key(next);
      expected.push_back(next);
      ASSERT_EQ(key.get_num_wrapper(), static_cast<DTM_SHORT>(expected.size()));
      for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(key.get_wrappers()[i], expected[i]);
      }
      EXPECT_EQ(one.compare_key(key), -1);  // a longer key with the same start
    }
    DTM_TREE_DATA_KEY empty;
    empty.add_enum_wrapper_to_key(W(1, 2));
    EXPECT_EQ(empty.compare_key(DTM_TREE_DATA_KEY(1, W(1, 2))), 0);
    MSG_CAPTURE capture;
    DTM_TREE_DATA_KEY negative(-3, W(1, 1));
    negative.add_enum_wrapper_to_key(W(1, 2));
    EXPECT_EQ(negative.get_num_wrapper(), 1);
    EXPECT_EQ(negative.get_wrapper(0), W(1, 2));
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
}

TEST(DtmTreeDataKey, CopiesAreIndependentAndFreeTheirArrays) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  {
    for (DTM_SHORT count = 1; count <= 5; ++count) {
      DTM_TREE_DATA_KEY* key = MEM_MANAGER::new_wrapper<DTM_TREE_DATA_KEY>(
          count, W(1, 1), W(1, 2), W(1, 3), W(1, 4), W(1, 5));
      DTM_TREE_DATA_KEY copy(*key);
      DTM_TREE_DATA_KEY assigned(1, W(6, 6));
      assigned = copy;
      assigned = assigned;
      MEM_MANAGER::delete_wrapper(key);  // the copies must not share its array
      EXPECT_EQ(copy.get_num_wrapper(), count);
      EXPECT_EQ(assigned.compare_key(copy), 0);
      EXPECT_EQ(copy.get_wrapper(count - 1), W(1, count));
      copy.add_enum_wrapper_to_key(W(2, 2));
      EXPECT_EQ(assigned.get_num_wrapper(), count);
    }
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
}

TEST(DtmTreeDataKey, MovesTakeTheArrayAndLeaveAnEmptyKey) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  for (DTM_SHORT count = 1; count <= 5; ++count) {
    DTM_TREE_DATA_KEY source(count, W(1, 1), W(1, 2), W(1, 3), W(1, 4), W(1, 5));
    const DTM_TREE_DATA_KEY expected = source;
    const std::size_t live = MEM_MANAGER::get_counters().m_live_objects;
    DTM_TREE_DATA_KEY moved(std::move(source));
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, live);  // nothing allocated
    EXPECT_EQ(moved.compare_key(expected), 0);
    EXPECT_EQ(source.get_num_wrapper(), 0);  // NOLINT: the moved-from state is specified
    DTM_TREE_DATA_KEY target(2, W(6, 1), W(6, 2));
    target = std::move(moved);
    EXPECT_EQ(target.compare_key(expected), 0);
    EXPECT_EQ(moved.get_num_wrapper(), 0);    // NOLINT
    source.add_enum_wrapper_to_key(W(2, 2));  // a moved-from key is usable
    EXPECT_EQ(source.get_num_wrapper(), 1);
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
}

TEST(DtmTreeDataKey, KeysOfUpToTwoWrappersMakeOneAllocation) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  DTM_TREE_DATA_KEY* two = MEM_MANAGER::new_wrapper<DTM_TREE_DATA_KEY>(2, W(1, 1), W(5, 2));
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects + 1);
  EXPECT_LE(sizeof(DTM_TREE_DATA_KEY), 40u);
  DTM_TREE_DATA_KEY* three =
      MEM_MANAGER::new_wrapper<DTM_TREE_DATA_KEY>(3, W(1, 1), W(5, 2), W(1, 3));
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects + 3);
  MEM_MANAGER::delete_wrapper(two);
  MEM_MANAGER::delete_wrapper(three);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
}

TEST(DtmTreeDataKey, PartsAreNamedInTheirFamilyWithTheStoredOffsetRemoved) {
  struct CASE {
    W m_wrapper;
    std::string m_name;
  };
  const CASE cases[] = {
      {W(static_cast<DTM_ENUM>(1)), "TCO_DELAY"},
      {W(static_cast<DB_INPUT_PORT_TYPE>(2)), "LCELL_DATAC"},
      {W(static_cast<DB_OUTPUT_PORT_TYPE>(0)), "LCELL_COMBOUT"},
      {W(static_cast<DB_BURIED_PORT_TYPE>(3)), "REG_ACLR"},
      {W(static_cast<CDB_RE_TYPE>(0)), CDB_RE_TYPE_STRING[0]},
      {W(CDB_RE_ILLEGAL_TYPE), CDB_RE_TYPE_STRING[CDB_RE_ILLEGAL_TYPE]},
      {W(static_cast<DTM_ENUM>(517)), DTM_STRING::get_dtm_enum_string(517)},
      // Stored values whose value has no table entry take the translator's text.
      {W(DTM_WRAPPER_RE_TYPE, 0),
       DBS_TRANSLATOR::get_debug_string_name(static_cast<CDB_RE_TYPE>(-1))},
      {W(DTM_WRAPPER_RE_TYPE, CDB_RE_TYPE_COUNT + 1),
       DBS_TRANSLATOR::get_debug_string_name(static_cast<CDB_RE_TYPE>(CDB_RE_TYPE_COUNT))},
      {W(DTM_WRAPPER_INPUT_PORT, INT_MIN),
       DBS_TRANSLATOR::get_debug_string_name(static_cast<DB_INPUT_PORT_TYPE>(INT_MAX))},
  };
  for (const CASE& c : cases) {
    ASSERT_NE(c.m_wrapper.get_name(), nullptr);
    EXPECT_EQ(c.m_wrapper.get_name(), c.m_name);
    EXPECT_EQ(DTM_TREE_DATA_KEY(1, c.m_wrapper).get_text(), "[" + c.m_name + "]");
  }
  EXPECT_EQ(W::for_index(3).get_name(), nullptr);
  EXPECT_EQ(W().get_name(), nullptr);
  EXPECT_EQ(DTM_TREE_DATA_KEY(3, W(static_cast<CDB_RE_TYPE>(0)), W(static_cast<DTM_ENUM>(1)),
                              W::for_index(7))
                .get_text(),
            std::string("[") + CDB_RE_TYPE_STRING[0] + ", TCO_DELAY, 7]");
}

TEST(DtmTreeDataKey, TextOfIndexUnsetAndUnknownParts) {
  EXPECT_EQ(DTM_TREE_DATA_KEY(1, W::for_index(0)).get_text(), "[0]");
  EXPECT_EQ(DTM_TREE_DATA_KEY(2, W::for_index(41), W()).get_text(), "[41, -]");
  EXPECT_EQ(DTM_TREE_DATA_KEY(1, W(9, -3)).get_text(), "[9:-3]");
  MSG_CAPTURE capture;
  EXPECT_EQ(DTM_TREE_DATA_KEY(0, W(1, 1)).get_text(), "[]");
}

}  // namespace
