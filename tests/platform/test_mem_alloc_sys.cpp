#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

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

// Live objects and bytes gained since `start`.
long objects_since(const MEM_COUNTERS& start) {
  return static_cast<long>(MEM_MANAGER::get_counters().m_live_objects) -
         static_cast<long>(start.m_live_objects);
}
bool back_to(const MEM_COUNTERS& start) {
  const MEM_COUNTERS& now = MEM_MANAGER::get_counters();
  return now.m_live_objects == start.m_live_objects && now.m_live_bytes == start.m_live_bytes;
}

TEST(MemArena, BlocksAreAlignedDisjointAndShareOneChunk) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  {
    MEM_ARENA arena(1024);
    std::vector<std::pair<char*, std::size_t>> blocks;
    std::vector<MEM_ARENA::CHUNK*> chunks;
    for (std::size_t bytes : {1u, 7u, 8u, 9u, 24u, 100u}) {
      MEM_ARENA::CHUNK* chunk = nullptr;
      auto* block = static_cast<char*>(arena.allocate(bytes, chunk));
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % MEM_ARENA::ALIGNMENT, 0u) << bytes;
      std::memset(block, static_cast<int>(bytes), bytes);
      blocks.emplace_back(block, bytes);
      chunks.push_back(chunk);
    }
    EXPECT_EQ(objects_since(start), 1);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      EXPECT_EQ(chunks[i], chunks[0]);
      // Each block still holds what was written into it: no overlap.
      for (std::size_t b = 0; b < blocks[i].second; ++b) {
        EXPECT_EQ(blocks[i].first[b], static_cast<char>(blocks[i].second));
      }
    }
    for (MEM_ARENA::CHUNK* chunk : chunks) {
      MEM_ARENA::release(chunk);
    }
    EXPECT_EQ(objects_since(start), 1) << "the arena still carves from its chunk";
  }
  EXPECT_TRUE(back_to(start));
}

TEST(MemArena, ChunksLiveUntilTheirLastBlockWhateverTheOrder) {
  struct CASE {
    const char* m_name;
    bool m_arena_first;  // the arena goes before its blocks are released
    bool m_reverse;      // blocks are released last to first
  };
  const CASE cases[] = {
      {"blocks, then arena", false, false},
      {"arena, then blocks", true, false},
      {"arena, then blocks in reverse", true, true},
  };
  for (const CASE& c : cases) {
    SCOPED_TRACE(c.m_name);
    const MEM_COUNTERS start = MEM_MANAGER::get_counters();
    std::vector<MEM_ARENA::CHUNK*> chunks;
    auto arena = std::make_unique<MEM_ARENA>(256);
    for (int i = 0; i < 40; ++i) {
      MEM_ARENA::CHUNK* chunk = nullptr;
      std::memset(arena->allocate(40, chunk), i, 40);
      chunks.push_back(chunk);
    }
    const long chunk_count = objects_since(start);
    EXPECT_GT(chunk_count, 1) << "40 blocks of 40 bytes need several chunks of 256";
    if (c.m_reverse) {
      std::reverse(chunks.begin(), chunks.end());
    }
    if (c.m_arena_first) {
      arena.reset();
      EXPECT_EQ(objects_since(start), chunk_count) << "blocks keep their chunks";
    }
    for (std::size_t i = 0; i + 1 < chunks.size(); ++i) {
      MEM_ARENA::release(chunks[i]);
    }
    EXPECT_GE(objects_since(start), 1);
    MEM_ARENA::release(chunks.back());
    arena.reset();
    EXPECT_TRUE(back_to(start));
  }
}

TEST(MemArena, LargeBlocksAndSingleBlocksGetAChunkOfTheirOwn) {
  const MEM_COUNTERS start = MEM_MANAGER::get_counters();
  MEM_ARENA arena(512);
  MEM_ARENA::CHUNK* small = nullptr;
  arena.allocate(16, small);
  MEM_ARENA::CHUNK* large = nullptr;
  std::memset(arena.allocate(4000, large), 1, 4000);
  EXPECT_NE(large, small);
  EXPECT_EQ(objects_since(start), 2);
  MEM_ARENA::CHUNK* after = nullptr;
  arena.allocate(16, after);
  EXPECT_EQ(after, small) << "a large block does not end the current chunk";
  MEM_ARENA::release(large);
  EXPECT_EQ(objects_since(start), 1);

  MEM_ARENA::CHUNK* single = nullptr;
  void* block = MEM_ARENA::allocate_single(10, single);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % MEM_ARENA::ALIGNMENT, 0u);
  EXPECT_EQ(objects_since(start), 2);
  MEM_ARENA::release(single);
  MEM_ARENA::release(nullptr);
  EXPECT_EQ(objects_since(start), 1);
  MEM_ARENA::release(small);
  MEM_ARENA::release(after);
  EXPECT_EQ(objects_since(start), 1);
}

TEST(MemInitializer, DescribesTheCounters) {
  MEM_COUNTERS counters;
  counters.m_live_objects = 3;
  counters.m_live_bytes = 120;
  counters.m_peak_bytes = 4096;
  EXPECT_EQ(MEM_INITIALIZER::describe(counters), "live objects 3, live bytes 120, peak bytes 4096");
}

}  // namespace
