// Damaged and hostile files: every truncation, every single bit flip, the
// same with checksums recomputed (so that the parser itself meets the
// damage), and crafted files that break one rule each. Every read must end
// in the exception (or, for resealed damage that still makes sense, a good
// root), and memory must come back to where it was.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "pdb_test_support.h"

namespace {

// One T_NODE record after the layout of node_fields().
void node(DDB_BYTES& b, std::uint32_t class_index, const std::vector<std::uint32_t>& children,
          std::int16_t version = 0, std::uint32_t data = 0, std::uint32_t linked = 0) {
  b.u32(class_index).u32(static_cast<std::uint32_t>(children.size()));
  for (const std::uint32_t child : children) {
    b.u32(child);
  }
  b.u32(7).u8(1).str("d").u16(static_cast<std::uint16_t>(version)).u16(0).u32(data).u32(linked);
}

// Tables with the T_NODE class only, `objects` objects and root "p_ref".
std::string node_tables(std::uint32_t objects, std::uint32_t root = 1,
                        std::uint32_t signature = 0x10000001) {
  DDB_BYTES t;
  t.u32(1).cls("T_NODE", signature, node_fields()).u32(objects);
  t.u32(1).str("p_ref").u32(root);
  return t.bytes();
}

// Reads a file image; the root, if any, is freed. Returns the message of
// the exception ("" when the read gave a root).
std::string read_image(const TEST_DIR& dir, const std::string& image, bool* got_root = nullptr) {
  dir.write("x.ddb", image);
  std::string message;
  T_NODE* root = load(dir, "x", &message);
  if (got_root != nullptr) {
    *got_root = root != nullptr;
  }
  delete root;
  // Removed rather than truncated by the next write, which some file systems
  // turn into a wait for the disk.
  std::remove(dir.path("x.ddb").c_str());
  return message;
}

class PdbCorruption : public ::testing::Test {
 protected:
  void SetUp() override {
    T_NODE* model = sample_model();
    save(m_dir, "good", model);
    delete model;
    m_good = TEST_DIR::read(m_dir.path("good.ddb"));
    ASSERT_GT(m_good.size(), 200u);
  }
  TEST_DIR m_dir;
  std::string m_good;
};

TEST_F(PdbCorruption, TheGoodFileReads) {
  bool got_root = false;
  EXPECT_EQ(read_image(m_dir, m_good, &got_root), "");
  EXPECT_TRUE(got_root);
}

// Each truncation as it is, and with length and checksums fixed up so that
// the parser meets the missing bytes itself.
TEST_F(PdbCorruption, EveryTruncationRaises) {
  const COUNTERS counters;
  for (std::size_t length = 0; length < m_good.size(); ++length) {
    std::string image = m_good.substr(0, length);
    bool got_root = true;
    EXPECT_NE(read_image(m_dir, image, &got_root), "") << length;
    EXPECT_FALSE(got_root) << length;
    if (length >= 40) {
      const std::uint64_t size = length;
      std::memcpy(image.data() + 16, &size, 8);
      EXPECT_NE(read_image(m_dir, reseal(image), &got_root), "") << length;
      EXPECT_FALSE(got_root) << length;
    }
  }
  EXPECT_TRUE(counters.same());
}

TEST_F(PdbCorruption, EverySingleBitFlipRaises) {
  const COUNTERS counters;
  for (std::size_t bit = 0; bit < m_good.size() * 8; ++bit) {
    std::string image = m_good;
    image[bit / 8] = static_cast<char>(image[bit / 8] ^ (1 << (bit % 8)));
    bool got_root = true;
    const std::string message = read_image(m_dir, image, &got_root);
    EXPECT_FALSE(got_root) << "bit " << bit;
    EXPECT_NE(message, "") << "bit " << bit;
  }
  EXPECT_TRUE(counters.same());
}

// With the checksums recomputed the parser meets every flipped bit: it may
// accept a changed value, but never crash, leak or hand out a bad graph.
TEST_F(PdbCorruption, ResealedBitFlipsNeverBreakTheReader) {
  const COUNTERS counters;
  std::size_t raised = 0;
  for (std::size_t bit = 40 * 8; bit < m_good.size() * 8; ++bit) {
    std::string image = m_good;
    image[bit / 8] = static_cast<char>(image[bit / 8] ^ (1 << (bit % 8)));
    bool got_root = false;
    raised += read_image(m_dir, reseal(image), &got_root).empty() ? 0 : 1;
  }
  EXPECT_GT(raised, 0u);
  EXPECT_TRUE(counters.same());
}

TEST_F(PdbCorruption, ResealedRandomDamage) {
  const COUNTERS counters;
  std::mt19937 random(12345);
  for (int round = 0; round < 3000; ++round) {
    std::string image = m_good;
    const int changes = 1 + static_cast<int>(random() % 4);
    for (int c = 0; c < changes; ++c) {
      const std::size_t at = 40 + random() % (image.size() - 40);
      image[at] = static_cast<char>(random() % 3 == 0 ? 0xFF : random());
    }
    read_image(m_dir, reseal(image));
  }
  EXPECT_TRUE(counters.same());
}

// --- Crafted files ---------------------------------------------------------------

struct CRAFTED {
  const char* m_name;
  std::string m_image;
  const char* m_expected;  // part of the message
};

std::vector<CRAFTED> crafted_files() {
  std::vector<CRAFTED> cases;
  const auto file = [&](const char* name, const DDB_BYTES& objects, const std::string& tables,
                        const char* expected) {
    cases.push_back({name, ddb_file(objects.bytes(), tables), expected});
  };
  {
    DDB_BYTES o;  // 1 and 2 own each other below a root that owns neither
    node(o, 0, {});
    node(o, 0, {3});
    node(o, 0, {2});
    file("ownership cycle", o, node_tables(3), "ownership cycle");
  }
  {
    DDB_BYTES o;  // a child whose own child is the root: its own ancestor
    node(o, 0, {2});
    node(o, 0, {1});
    file("owns its ancestor", o, node_tables(2), "is a root and is also owned");
  }
  {
    DDB_BYTES o;  // two parents, one child
    node(o, 0, {2, 3});
    node(o, 0, {4});
    node(o, 0, {4});
    node(o, 0, {});
    file("owned twice", o, node_tables(4), "owned twice");
  }
  {
    DDB_BYTES o;  // a version-1 linked node is owned: shared, it is owned twice
    node(o, 0, {2, 3});
    node(o, 0, {}, 0, 0, 4);
    node(o, 0, {}, 0, 0, 4);
    node(o, 0, {}, 1);
    file("version-1 link shared", o, node_tables(4), "owned twice");
  }
  {
    DDB_BYTES o;  // the same link to a version-0 node is fine but leaves it unowned
    node(o, 0, {2});
    node(o, 0, {}, 0, 0, 3);
    node(o, 0, {}, 0);
    file("linked node owned by nobody", o, node_tables(3), "neither a root nor owned");
  }
  {
    DDB_BYTES o;  // a version-0 link to a sibling, which may be freed first
    node(o, 0, {2, 3});
    node(o, 0, {});
    node(o, 0, {}, 0, 0, 2);
    file("link to a sibling", o, node_tables(3),
         "object 2 (T_NODE) links to object 1 (T_NODE) of its own tree without owning it");
  }
  {
    DDB_BYTES o;  // a version-1 link back to the root
    node(o, 0, {}, 1, 0, 1);
    file("root owned through a link", o, node_tables(1), "is a root and is also owned");
  }
  {
    DDB_BYTES o;
    o.u32(0).u32(0x80000000U);  // a child count of 2^31
    file("child count 2^31", o, node_tables(1), "a count of 2147483648");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(0x80000000U);
    file("class count 2^31", o, t.bytes(), "a count of 2147483648");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    file("object count 2^31", o, node_tables(0x80000000U), "object count of 2147483648");
  }
  {
    DDB_BYTES o;
    node(o, 5, {});
    file("unknown class index", o, node_tables(1), "class index 5");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    file("wrong signature", o, node_tables(1, 1, 0x02BD41D5),
         "has the signature 0x02BD41D5 in the file, this program's is 0x10000001");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(1).cls("T_MISSING", 1, node_fields()).u32(1).u32(1).str("p_ref").u32(1);
    file("unknown class name", o, t.bytes(), "class T_MISSING is not known");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(2).cls("T_NODE", 0x10000001, node_fields()).cls("T_NODE", 0x10000001, node_fields());
    t.u32(1).u32(1).str("p_ref").u32(1);
    file("class twice", o, t.bytes(), "appears twice");
  }
  {
    DDB_BYTES o;
    node(o, 0, {2});
    file("reference past the objects", o, node_tables(1), "reference to object 1");
  }
  {
    DDB_BYTES o;  // m_data_root pointing to a node
    node(o, 0, {2});
    node(o, 0, {}, 0, 3);
    node(o, 0, {});
    file("reference of the wrong class", o, node_tables(3), "where a T_DATA is expected");
  }
  {
    DDB_BYTES o;
    o.u32(0).u32(0).u32(7).u8(2);
    file("boolean 2", o, node_tables(1), "neither 0 nor 1");
  }
  {
    auto fields = node_fields();
    fields[1].second = 0x02;  // m_id as int16
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(1).cls("T_NODE", 0x10000001, fields).u32(1).u32(1).str("p_ref").u32(1);
    file("field of another type", o, t.bytes(),
         "the program transfers a int32, the file has a int16");
  }
  {
    auto fields = node_fields();
    fields[2].first = "m_readable";
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(1).cls("T_NODE", 0x10000001, fields).u32(1).u32(1).str("p_ref").u32(1);
    file("field of another name", o, t.bytes(), "is m_readable in the file");
  }
  {
    auto fields = node_fields();
    fields.pop_back();
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(1).cls("T_NODE", 0x10000001, fields).u32(1).u32(1).str("p_ref").u32(1);
    file("fewer fields", o, t.bytes(), "has 7 fields in the file");
  }
  {
    auto fields = node_fields();
    fields.push_back({"m_extra", 0x01});
    DDB_BYTES o;
    node(o, 0, {});
    o.u32(0);
    DDB_BYTES t;
    t.u32(1).cls("T_NODE", 0x10000001, fields).u32(1).u32(1).str("p_ref").u32(1);
    file("more fields", o, t.bytes(), "transfers 8 fields, the file has 9");
  }
  {
    auto fields = node_fields();
    fields[1].second = 0x08;
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(1).cls("T_NODE", 0x10000001, fields).u32(1).u32(1).str("p_ref").u32(1);
    file("unknown field code", o, t.bytes(), "unknown type code 0x00000008");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    node(o, 0, {});
    file("object owned by nobody", o, node_tables(2), "object 1 (T_NODE) is neither a root");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    o.u8(0);
    file("bytes after the objects", o, node_tables(1), "ends 1 bytes before the tables");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(1).cls("T_NODE", 0x10000001, node_fields()).u32(1);
    t.u32(2).str("p_ref").u32(1).str("p_ref").u32(0);
    file("root name twice", o, t.bytes(), "root name p_ref appears twice");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    DDB_BYTES t;
    t.u32(1).cls("T_NODE", 0x10000001, node_fields()).u32(1);
    t.u32(2).str("p_ref").u32(1).str("other").u32(1);
    file("one object, two roots", o, t.bytes(), "root of two names");
  }
  {
    DDB_BYTES o;  // a key whose array count disagrees with its count field
    node(o, 0, {}, 0, 2);
    o.u32(1).u32(0).u32(0).u32(3).u16(0).u32(4);  // T_INT_DATA: no children, key 3
    o.u32(2).u32(1).u32(1).u32(2).u16(2);         // T_KEY: one wrapper, count 2
    DDB_BYTES t;
    t.u32(4).cls("T_NODE", 0x10000001, node_fields());
    t.cls("T_INT_DATA", 0x10000007,
          {{"m_left", 6}, {"m_right", 6}, {"m_key", 6}, {"m_balance", 2}, {"m_value", 1}});
    t.cls("T_KEY", 0x10000009, {{"m_parts", 7}, {"m_count", 2}});
    t.cls("T_WRAPPER", 0x10000002, {{"m_type", 1}, {"m_id", 1}});
    t.u32(3).u32(1).str("p_ref").u32(1);
    file("array and count disagree", o, t.bytes(), "failed check: m_count matches m_parts");
  }
  {
    DDB_BYTES o;  // an array of 2^31 wrappers
    node(o, 0, {}, 0, 2);
    o.u32(1).u32(0).u32(0).u32(3).u16(0).u32(4);
    o.u32(2).u32(0x80000000U);
    DDB_BYTES t;
    t.u32(4).cls("T_NODE", 0x10000001, node_fields());
    t.cls("T_INT_DATA", 0x10000007,
          {{"m_left", 6}, {"m_right", 6}, {"m_key", 6}, {"m_balance", 2}, {"m_value", 1}});
    t.cls("T_KEY", 0x10000009, {{"m_parts", 7}, {"m_count", 2}});
    t.cls("T_WRAPPER", 0x10000002, {{"m_type", 1}, {"m_id", 1}});
    t.u32(3).u32(1).str("p_ref").u32(1);
    file("array count 2^31", o, t.bytes(), "a count of 2147483648 needs at least 17179869184");
  }
  {
    DDB_BYTES o;
    node(o, 0, {});
    cases.push_back({"version 2", ddb_file(o.bytes(), node_tables(1), 2),
                     ".ddb format version 2, this program reads version 1: read it with the "
                     "newer program"});
    cases.push_back({"version 0", ddb_file(o.bytes(), node_tables(1), 0),
                     "rebuild the database from its DMF source"});
    std::string image = ddb_file(o.bytes(), node_tables(1));
    image[1] = 'X';
    cases.push_back({"bad magic", image, "not a .ddb database"});
    cases.push_back({"empty file", "", "not a .ddb database"});
  }
  return cases;
}

TEST(PdbCraftedFiles, EachBrokenRuleIsRefusedWithItsReason) {
  TEST_DIR dir;
  {
    DDB_BYTES o;  // the builder itself makes a good file
    node(o, 0, {2});
    node(o, 0, {}, 1, 0, 0);
    bool got_root = false;
    EXPECT_EQ(read_image(dir, ddb_file(o.bytes(), node_tables(2)), &got_root), "");
    EXPECT_TRUE(got_root);
  }
  for (const CRAFTED& c : crafted_files()) {
    const COUNTERS counters;
    bool got_root = true;
    const std::string message = read_image(dir, c.m_image, &got_root);
    EXPECT_FALSE(got_root) << c.m_name;
    EXPECT_NE(message.find(c.m_expected), std::string::npos) << c.m_name << ": " << message;
    EXPECT_EQ(message.find(dir.path("x.ddb")), 0u) << c.m_name << ": " << message;
    EXPECT_TRUE(counters.same()) << c.m_name;
  }
}

TEST(PdbCraftedFiles, DepthLimitOfTheSegmentKind) {
  TEST_DIR dir;
  DDB_BYTES o;  // a chain of 50 nodes
  for (std::uint32_t i = 0; i < 50; ++i) {
    node(o, 0, i + 1 < 50 ? std::vector<std::uint32_t>{i + 2} : std::vector<std::uint32_t>{});
  }
  const std::string image = ddb_file(o.bytes(), node_tables(50));
  PDB_SEGMENT_INFO& info = pdb_ddb_segment_info();
  info.set_max_ownership_depth(49);
  EXPECT_EQ(read_image(dir, image), "");
  info.set_max_ownership_depth(48);
  EXPECT_NE(read_image(dir, image).find("object 49 (T_NODE) lies deeper than 48 levels"),
            std::string::npos);
  info.set_max_ownership_depth(0);
  EXPECT_EQ(read_image(dir, image), "");
}

}  // namespace
