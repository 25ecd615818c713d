// Arrays read into storage inside the object: a short array fills the
// object's own elements and leaves the array pointer null, a longer one gets
// an array of its own; both come back with the values written, without leaks.
#include <gtest/gtest.h>

#include <cstdint>

#include "pdb_test_support.h"

namespace {

// A plain holder of up to two wrappers inline, more in a separate array.
class T_SMALL : public PDB_OBJECT<T_SMALL> {
 public:
  static constexpr std::size_t k_capacity = 2;
  T_SMALL() = default;
  void fill(std::int16_t count) {
    m_count = count;
    T_WRAPPER* parts = m_inline;
    if (static_cast<std::size_t>(count) > k_capacity) {
      m_heap = pdb_new_array<T_WRAPPER>(static_cast<std::size_t>(count));
      parts = m_heap;
    }
    for (std::int16_t i = 0; i < count; ++i) {
      parts[i] = T_WRAPPER(3 * i + 1, 1000 - i);
    }
  }
  ~T_SMALL() { delete[] m_heap; }
  T_SMALL(const T_SMALL&) = delete;
  T_SMALL& operator=(const T_SMALL&) = delete;

  const T_WRAPPER* parts() const { return m_heap != nullptr ? m_heap : m_inline; }

  void serialize(PDB_SEGMENT& segment) {
    segment.serialize_begin(s_pdb_class_info, this);
    std::int16_t count;
    if (segment.is_reading()) {
      count = pdb_array_xfr_small_(segment, "m_parts", m_heap, m_inline, k_capacity, m_count,
                                   T_WRAPPER::s_pdb_class_info);
    } else {
      T_WRAPPER* parts = const_cast<T_WRAPPER*>(this->parts());
      count = pdb_array_xfr_(segment, "m_parts", parts, m_count, T_WRAPPER::s_pdb_class_info);
    }
    segment.xfr("m_count", m_count);
    segment.check(count == m_count, "m_count matches m_parts");
    segment.serialize_end();
  }

  T_WRAPPER m_inline[k_capacity];
  T_WRAPPER* m_heap = nullptr;
  std::int16_t m_count = 0;
};

// The root: a node that owns one holder by its array of one.
class T_SMALL_ROOT : public PDB_VIRTUAL_OBJECT<T_SMALL_ROOT> {
 public:
  ~T_SMALL_ROOT() override { delete[] m_holder; }
  void serialize(PDB_SEGMENT& segment) override {
    segment.serialize_begin(s_pdb_class_info, this);
    m_holder_count =
        pdb_array_xfr_(segment, "m_holder", m_holder, m_holder_count, T_SMALL::s_pdb_class_info);
    segment.serialize_end();
  }
  T_SMALL* m_holder = nullptr;
  int m_holder_count = 0;
};

const bool k_registered = [] {
  PDB_SEGMENT_INFO& ddb = pdb_ddb_segment_info();
  pdb_register_class<T_SMALL>(ddb, "T_SMALL", 0x10000101, &T_SMALL::s_pdb_class_info);
  pdb_register_class<T_SMALL_ROOT>(ddb, "T_SMALL_ROOT", 0x10000102,
                                   &T_SMALL_ROOT::s_pdb_class_info);
  return true;
}();

TEST(PdbSmallArray, ShortArraysFillTheInlineStorageLongerOnesTheirOwn) {
  ASSERT_TRUE(k_registered);
  TEST_DIR dir;
  const COUNTERS counters;
  for (std::int16_t count = 0; count <= 5; ++count) {
    T_SMALL_ROOT* root = new T_SMALL_ROOT;
    root->m_holder = new T_SMALL[1];
    root->m_holder_count = 1;
    root->m_holder[0].fill(count);
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("small")));
    ASSERT_TRUE(pdb_write_(root, archive, ""));
    T_SMALL_ROOT* copy = nullptr;
    ASSERT_TRUE(pdb_read_(copy, archive, ""));
    ASSERT_NE(copy, nullptr);
    ASSERT_EQ(copy->m_holder_count, 1);
    const T_SMALL& read = copy->m_holder[0];
    EXPECT_EQ(read.m_count, count);
    EXPECT_EQ(read.m_heap == nullptr, static_cast<std::size_t>(count) <= T_SMALL::k_capacity)
        << count << " wrappers";
    for (std::int16_t i = 0; i < count; ++i) {
      EXPECT_EQ(read.parts()[i], root->m_holder[0].parts()[i])
          << "wrapper " << i << " of " << count;
    }
    delete copy;
    delete root;
  }
  EXPECT_TRUE(counters.same());
}

}  // namespace
