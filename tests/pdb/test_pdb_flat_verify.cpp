// Flat ownership (links an owner frees in a loop add no depth), the classes'
// verifiers of a linked graph (on writing and on reading), and arrays of
// elements that hold arrays themselves.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "pdb_test_support.h"

namespace {

// A chain freed from its head in a loop. Its link is flat or plainly owned,
// as the test says; values below zero are refused by the class's verifier
// while `s_verify` is set.
class T_CHAIN : public PDB_OBJECT<T_CHAIN> {
 public:
  static inline bool s_flat = true;
  static inline bool s_verify = true;

  static void destroy(PDB_OBJECT_BASE* head) noexcept {
    for (T_CHAIN* c = static_cast<T_CHAIN*>(head); c != nullptr;) {
      T_CHAIN* next = c->m_next;
      delete c;
      c = next;
    }
  }
  static const char* verify(const PDB_OBJECT_BASE* object) {
    const T_CHAIN* c = static_cast<const T_CHAIN*>(object);
    return s_verify && c->m_value < 0 ? "a negative value" : nullptr;
  }
  void serialize(PDB_SEGMENT& segment) {
    segment.serialize_begin(s_pdb_class_info, this);
    segment.xfr("m_value", m_value);
    segment.xfr_ref("m_next", m_next, T_CHAIN::s_pdb_class_info,
                    s_flat ? PDB_OWNED_FLAT : PDB_OWNED);
    segment.serialize_end();
  }

  std::int32_t m_value = 0;
  T_CHAIN* m_next = nullptr;
};

// An object holding an array of keys, each holding an array of wrappers.
class T_KEYRING : public PDB_OBJECT<T_KEYRING> {
 public:
  ~T_KEYRING() { delete[] m_keys; }
  void serialize(PDB_SEGMENT& segment) {
    segment.serialize_begin(s_pdb_class_info, this);
    const std::int16_t count =
        pdb_array_xfr_(segment, "m_keys", m_keys, m_count, T_KEY::s_pdb_class_info);
    segment.xfr("m_count", m_count);
    segment.check(count == m_count, "m_count matches m_keys");
    segment.serialize_end();
  }
  T_KEY* m_keys = nullptr;
  std::int16_t m_count = 0;
};

const bool g_registered = [] {
  PDB_SEGMENT_INFO& ddb = pdb_ddb_segment_info();
  pdb_register_class<T_CHAIN>(ddb, "T_CHAIN", 0x10000101, &T_CHAIN::s_pdb_class_info,
                              &T_CHAIN::destroy, &T_CHAIN::verify);
  pdb_register_class<T_KEYRING>(ddb, "T_KEYRING", 0x10000102, &T_KEYRING::s_pdb_class_info);
  return true;
}();

T_CHAIN* chain(int length, int negative_at = -1) {
  T_CHAIN* head = nullptr;
  for (int i = length - 1; i >= 0; --i) {
    T_CHAIN* c = new T_CHAIN;
    c->m_value = i == negative_at ? -1 : i;
    c->m_next = head;
    head = c;
  }
  return head;
}

// Sets the depth limit of the .ddb segment information for one test.
class DEPTH_LIMIT {
 public:
  explicit DEPTH_LIMIT(std::uint32_t depth)
      : m_saved(pdb_ddb_segment_info().get_max_ownership_depth()) {
    pdb_ddb_segment_info().set_max_ownership_depth(depth);
  }
  ~DEPTH_LIMIT() { pdb_ddb_segment_info().set_max_ownership_depth(m_saved); }

 private:
  std::uint32_t m_saved;
};

std::string write_chain(const TEST_DIR& dir, const T_CHAIN* head) {
  PDB_ARCHIVE archive;
  archive.open(dir.path("chain"));
  try {
    pdb_write_(head, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    return error.what();
  }
  return "";
}

std::string read_chain(const TEST_DIR& dir, T_CHAIN*& head) {
  PDB_ARCHIVE archive;
  archive.open(dir.path("chain"));
  try {
    pdb_read_(head, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    return error.what();
  }
  return "";
}

TEST(PdbFlatOwnership, FlatLinksAddNoDepthOwnedLinksDo) {
  TEST_DIR dir;
  const COUNTERS counters;
  const DEPTH_LIMIT limit(8);
  T_CHAIN* head = chain(1000);
  T_CHAIN::s_flat = true;
  EXPECT_EQ(write_chain(dir, head), "");
  T_CHAIN* back = nullptr;
  EXPECT_EQ(read_chain(dir, back), "");
  int length = 0;
  for (const T_CHAIN* c = back; c != nullptr; c = c->m_next) {
    EXPECT_EQ(c->m_value, length++);
  }
  EXPECT_EQ(length, 1000);
  T_CHAIN::destroy(back);

  // The same file read as plainly owned links is too deep, and so is the
  // chain written that way.
  T_CHAIN::s_flat = false;
  back = nullptr;
  EXPECT_NE(read_chain(dir, back).find("lies deeper than 8 levels of ownership"),
            std::string::npos);
  EXPECT_EQ(back, nullptr);
  EXPECT_NE(write_chain(dir, head).find("levels of ownership"), std::string::npos);
  T_CHAIN* short_chain = chain(9);
  EXPECT_EQ(write_chain(dir, short_chain), "") << "eight levels below the root are allowed";
  T_CHAIN::s_flat = true;
  T_CHAIN::destroy(short_chain);
  T_CHAIN::destroy(head);
  EXPECT_TRUE(counters.same());
}

TEST(PdbVerifier, RefusesOnWritingAndOnReading) {
  TEST_DIR dir;
  const COUNTERS counters;
  T_CHAIN* head = chain(50, 30);
  std::string message = write_chain(dir, head);
  EXPECT_NE(message.find("object 30 (T_CHAIN): a negative value"), std::string::npos) << message;
  EXPECT_FALSE(std::filesystem::exists(dir.path("chain.ddb")));

  T_CHAIN::s_verify = false;
  EXPECT_EQ(write_chain(dir, head), "");
  T_CHAIN::s_verify = true;
  T_CHAIN* back = nullptr;
  message = read_chain(dir, back);
  EXPECT_NE(message.find("a negative value"), std::string::npos) << message;
  EXPECT_EQ(back, nullptr);
  T_CHAIN::destroy(head);
  EXPECT_TRUE(counters.same()) << "the linked chain read is freed once";
}

// A refused graph with links between two roots (a clone linked to its
// master) is freed without a destructor looking at a freed object.
TEST(PdbVerifier, RefusedGraphWithLinksAcrossRootsIsFreed) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_NODE* master = sample_model();
    T_NODE* clone = sample_model();
    clone->m_linked_node = master;
    T_CHAIN* bad = chain(3, 2);
    PDB_ARCHIVE archive;
    archive.open(dir.path("set"));
    T_CHAIN::s_verify = false;
    {
      PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
      ASSERT_TRUE(writer.open());
      writer.write_reference("clone", clone);
      writer.write_reference("master", master);
      writer.write_reference("bad", bad);
      writer.finish_writing_all();
    }
    T_CHAIN::s_verify = true;
    PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), "", ".ddb");
    ASSERT_TRUE(reader.open());
    T_NODE* read_clone = nullptr;
    EXPECT_THROW(reader.read_reference("clone", read_clone), PDB_DATABASE_EXCEPTION);
    EXPECT_EQ(read_clone, nullptr);
    delete clone;
    delete master;
    T_CHAIN::destroy(bad);
  }
  EXPECT_TRUE(counters.same());
}

TEST(PdbNestedArrays, ElementsHoldingArraysRoundTrip) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_KEYRING ring;
    ring.m_count = 4;
    ring.m_keys = pdb_new_array<T_KEY>(4);
    for (std::int16_t i = 0; i < 4; ++i) {
      T_KEY key(i);
      std::swap(ring.m_keys[i].m_parts, key.m_parts);
      std::swap(ring.m_keys[i].m_count, key.m_count);
    }
    PDB_ARCHIVE archive;
    archive.open(dir.path("ring"));
    ASSERT_TRUE(pdb_write_(&ring, archive, ""));
    T_KEYRING* back = nullptr;
    ASSERT_TRUE(pdb_read_(back, archive, ""));
    ASSERT_NE(back, nullptr);
    ASSERT_EQ(back->m_count, 4);
    for (std::int16_t i = 0; i < 4; ++i) {
      ASSERT_EQ(back->m_keys[i].m_count, i);
      for (std::int16_t p = 0; p < i; ++p) {
        EXPECT_EQ(back->m_keys[i].m_parts[p], ring.m_keys[i].m_parts[p]);
      }
    }
    delete back;
  }
  EXPECT_TRUE(counters.same());
}

}  // namespace
