#include <gtest/gtest.h>

#include <map>
#include <string>

#include "mem_alloc_sys.h"

namespace {

struct PLAIN {
  int m_a;
  double m_b;
  PLAIN(int a, double b) : m_a(a), m_b(b) {}
};

class BASE : public MEM_OBJECT {
public:
  virtual ~BASE() = default;
  int m_x = 1;
};

class DERIVED : public BASE {
public:
  ~DERIVED() override { ++s_destroyed; }
  char m_payload[200] = {};
  static inline int s_destroyed = 0;
};

TEST(MemManager, PlainObjectsAreCountedAndReturned) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  PLAIN* p = MEM_MANAGER::new_wrapper<PLAIN>(3, 2.5);
  EXPECT_EQ(p->m_a, 3);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects + 1);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes + sizeof(PLAIN));
  MEM_MANAGER::delete_wrapper(p);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
  MEM_MANAGER::delete_wrapper(static_cast<PLAIN*>(nullptr));
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
}

TEST(MemManager, DeleteThroughTheBaseFreesTheDerivedSize) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  BASE* object = MEM_MANAGER::new_wrapper<DERIVED>();
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes + sizeof(DERIVED));
  const int destroyed = DERIVED::s_destroyed;
  delete object;  // the virtual destructor path the driver uses
  EXPECT_EQ(DERIVED::s_destroyed, destroyed + 1);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
}

TEST(MemManager, PeakFollowsTheHighestLiveBytes) {
  MEM_MANAGER::reset_peak();
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  void* a = MEM_MANAGER::allocate(1000);
  void* b = MEM_MANAGER::allocate(500);
  MEM_MANAGER::deallocate(a, 1000);
  void* c = MEM_MANAGER::allocate(100);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_peak_bytes, start.m_live_bytes + 1500);
  MEM_MANAGER::deallocate(b, 500);
  MEM_MANAGER::deallocate(c, 100);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_total_objects, start.m_total_objects + 3);
  MEM_MANAGER::reset_peak();
  EXPECT_EQ(MEM_MANAGER::get_counters().m_peak_bytes, start.m_live_bytes);
}

TEST(MemManager, SegmentsCountWhatIsPlacedInThem) {
  MEM_SEGMENT segment("clones");
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  BASE* object = MEM_MANAGER::new_wrapper_in<DERIVED>(&segment);
  EXPECT_STREQ(segment.get_name(), "clones");
  EXPECT_EQ(segment.get_placed_objects(), 1u);
  EXPECT_EQ(segment.get_placed_bytes(), sizeof(DERIVED));
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects + 1);
  MEM_MANAGER::delete_wrapper(object);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
}

// The tracked containers behave as the standard ones and give their memory back.
TEST(MemAllocator, TrackedContainersMatchStandardOnesAndReturnTheirMemory) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  {
    MEM_VECTOR<MEM_VECTOR<MEM_STRING>> tracked;
    std::vector<std::vector<std::string>> reference;
    for (int group = 0; group < 20; ++group) {
      tracked.emplace_back();
      reference.emplace_back();
      for (int word = 0; word <= group; ++word) {
        const std::string text = "a_rather_long_word_that_needs_the_heap_" + std::to_string(word);
        tracked.back().emplace_back(text.c_str());
        reference.back().push_back(text);
      }
    }
    ASSERT_EQ(tracked.size(), reference.size());
    for (std::size_t i = 0; i < tracked.size(); ++i) {
      ASSERT_EQ(tracked[i].size(), reference[i].size());
      for (std::size_t j = 0; j < tracked[i].size(); ++j) {
        EXPECT_EQ(std::string(tracked[i][j].c_str()), reference[i][j]);
      }
    }
    EXPECT_GT(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects + 20);
  }
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, start.m_live_objects);
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_bytes, start.m_live_bytes);
}

TEST(MemInitializer, DescribesTheCounters) {
  MEM_COUNTERS counters;
  counters.m_live_objects = 3;
  counters.m_live_bytes = 120;
  counters.m_peak_bytes = 4096;
  EXPECT_EQ(MEM_INITIALIZER::describe(counters), "live objects 3, live bytes 120, peak bytes 4096");
}

}  // namespace
