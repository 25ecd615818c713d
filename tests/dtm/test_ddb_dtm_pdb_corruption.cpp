// Damaged and hostile model databases: a saved model truncated at every
// length, with single bits flipped (the checksums then catch it) and with
// bits flipped and the checksums recomputed (the parser and the model's
// checks meet the damage), and crafted files that break one rule each. Every
// read ends in the exception or a model that works, and memory comes back.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "ddb_bytes.h"
#include "dtm_micro_node.h"
#include "dtm_pdb_support.h"
#include "msg_sys.h"

using namespace dtm_pdb_test;

namespace {

// Reads a file image as a model. Returns the exception's text ("" when a
// model was read); the model, if any, is exercised (dumped, asked, extended)
// and freed.
std::string read_image(const TEST_DIR& dir, const std::string& image, bool* got_model = nullptr) {
  dir.write("x.ddb", image);
  std::string message;
  DTM_NODE* root = load_model(dir, "x", &message);
  if (got_model != nullptr) {
    *got_model = root != nullptr;
  }
  if (root != nullptr) {
    static const std::vector<QUERY> queries = random_queries(5, 30);
    outline(*root);
    for (std::size_t i = 0; i < queries.size(); ++i) {
      ask(*root, queries[i]);
      if (i % 3 == 0) {
        kinds()[queries[i].m_kind].m_add(*root, 1.0, queries[i].m_keys, queries[i].m_path);
      }
    }
    MEM_MANAGER::delete_wrapper(root);
  }
  std::remove(dir.path("x.ddb").c_str());
  return message;
}

class DdbDtmCorruption : public ::testing::Test {
 protected:
  void SetUp() override {
    RANDOM_MODEL model = build_random_model(7, 100);
    // Short descriptions: the damage should land in structure, not in text.
    for (DTM_NODE* child : model.m_root->get_node(DTM_MAP_DEVICE)->get_nodes()) {
      child->set_description("d");
    }
    save_model(m_dir, "good", model.m_root);
    MEM_MANAGER::delete_wrapper(model.m_root);
    m_good = TEST_DIR::read(m_dir.path("good.ddb"));
    ASSERT_GT(m_good.size(), 2000u);
    ASSERT_LT(m_good.size(), 12000u);
  }
  TEST_DIR m_dir;
  std::string m_good;
};

TEST_F(DdbDtmCorruption, TheUndamagedFileReads) {
  bool got_model = false;
  EXPECT_EQ(read_image(m_dir, m_good, &got_model), "");
  EXPECT_TRUE(got_model);
}

TEST_F(DdbDtmCorruption, EveryTruncationIsRefused) {
  COUNTERS counters;
  MSG_CAPTURE capture;
  for (std::size_t length = 0; length < m_good.size(); ++length) {
    const std::string message = read_image(m_dir, m_good.substr(0, length));
    ASSERT_NE(message, "") << "length " << length;
    ASSERT_EQ(message.rfind(m_dir.path("x.ddb"), 0), 0u) << message;
  }
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_TRUE(counters.same());
}

TEST_F(DdbDtmCorruption, EverySingleBitFlipIsRefused) {
  COUNTERS counters;
  for (std::size_t at = 0; at < m_good.size(); ++at) {
    const int bits = at < PDB_HEADER_SIZE ? 8 : 1;
    for (int b = 0; b < bits; ++b) {
      std::string damaged = m_good;
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << ((at * 3 + b) % 8)));
      ASSERT_NE(read_image(m_dir, damaged), "") << "byte " << at << " bit " << b;
    }
  }
  EXPECT_TRUE(counters.same());
}

// With the checksums recomputed, the damage reaches the parser and the
// model's checks: each read is refused, finds no root (a damaged root name),
// or gives a model that can be dumped, asked and extended. Every third byte,
// each time another bit.
TEST_F(DdbDtmCorruption, ResealedFlipsAreRefusedOrReadSafely) {
  COUNTERS counters;
  int refused = 0;
  int no_root = 0;
  int read = 0;
  {
    MSG_CAPTURE capture;  // a damaged model may report what it meets
    for (std::size_t at = PDB_HEADER_SIZE; at < m_good.size(); at += 3) {
      std::string damaged = m_good;
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << ((at * 5) % 8)));
      bool got_model = false;
      const std::string message = read_image(m_dir, reseal(damaged), &got_model);
      EXPECT_FALSE(got_model && !message.empty());
      (got_model ? read : (message.empty() ? no_root : refused)) += 1;
    }
  }
  EXPECT_GT(refused, 100);
  EXPECT_GT(read, 100);
  EXPECT_TRUE(counters.same());
}

// --- Crafted files ------------------------------------------------------------------------

using FIELDS = DDB_FIELDS;

const FIELDS k_node_fields = {{"m_nodes", 0x16},       {"m_id", 0x01},         {"m_writable", 0x03},
                              {"m_description", 0x05}, {"m_version", 0x02},    {"m_bin", 0x02},
                              {"m_data_root", 0x06},   {"m_linked_node", 0x06}};
const FIELDS k_tree_int_fields = {{"m_left", 0x06},
                                  {"m_right", 0x06},
                                  {"m_key", 0x07},
                                  {"m_balance_factor", 0x02},
                                  {"m_int_data", 0x01}};
const FIELDS k_key_fields = {{"m_id", 0x07}, {"m_num_wrapper", 0x02}};
const FIELDS k_wrapper_fields = {{"m_enum_type", 0x01}, {"m_enum_id", 0x01}};

// What a crafted model holds, and the one thing each case changes.
struct CRAFT {
  std::uint32_t m_node_signature = 0x02BD41D5;
  std::string m_node_name = "DTM_NODE";
  FIELDS m_node_fields = k_node_fields;
  std::vector<std::uint32_t> m_root_children = {2};  // references (object + 1)
  std::uint32_t m_root_child_count_override = 0;     // 0: the vector's size
  std::vector<std::uint32_t> m_device_children = {3};
  std::vector<std::uint32_t> m_micro_children = {};
  std::uint32_t m_device_class = 0;
  std::uint8_t m_writable = 1;
  std::uint32_t m_micro_data = 4;
  std::int16_t m_device_version = 0;
  std::int32_t m_device_id = 67;
  std::uint32_t m_device_link = 0;
  std::uint32_t m_micro_link = 0;
  std::uint32_t m_tree_right = 0;
  std::int16_t m_balance = 0;
  std::uint32_t m_key_count = 1;
  std::int16_t m_num_wrapper = 1;
  std::uint32_t m_root = 1;
  std::uint32_t m_model_root = 0;  // a second root, "model" (0: none)
};

// Objects: 0 root node, 1 device node (67), 2 micro node (55), 3 its one
// delay (TCO_DELAY = 120); classes DTM_NODE, DTM_MICRO_NODE,
// DTM_TREE_INT_DATA, DTM_TREE_DATA_KEY, DTM_ENUM_WRAPPER.
std::string craft(const CRAFT& c) {
  const auto node = [&c](DDB_BYTES& b, std::uint32_t cls,
                         const std::vector<std::uint32_t>& children, std::int32_t id,
                         const char* text, std::int16_t version, std::uint32_t data,
                         std::uint32_t link, std::uint32_t count) {
    b.u32(cls).u32(count != 0 ? count : static_cast<std::uint32_t>(children.size()));
    for (const std::uint32_t child : children) {
      b.u32(child);
    }
    b.u32(static_cast<std::uint32_t>(id)).u8(c.m_writable).str(text);
    b.u16(static_cast<std::uint16_t>(version)).u16(0).u32(data).u32(link);
  };
  DDB_BYTES objects;
  node(objects, 0, c.m_root_children, 47, "root", 0, 0, 0, c.m_root_child_count_override);
  node(objects, c.m_device_class, c.m_device_children, c.m_device_id, "Device", c.m_device_version,
       0, c.m_device_link, 0);
  node(objects, 1, c.m_micro_children, 55, "Micro", 0, c.m_micro_data, c.m_micro_link, 0);
  objects.u32(2).u32(0).u32(c.m_tree_right).u32(c.m_key_count);
  for (std::uint32_t k = 0; k < c.m_key_count; ++k) {
    objects.u32(1).u32(1).u32(1);  // one wrapper: DTM_ENUM family, TCO_DELAY
    objects.u16(static_cast<std::uint16_t>(c.m_num_wrapper));
  }
  objects.u16(static_cast<std::uint16_t>(c.m_balance)).u32(120);

  DDB_BYTES tables;
  tables.u32(5);
  tables.cls(c.m_node_name, c.m_node_signature, c.m_node_fields);
  tables.cls("DTM_MICRO_NODE", 0x696BF1B3, k_node_fields);
  tables.cls("DTM_TREE_INT_DATA", 0x3AA3BE80, k_tree_int_fields);
  tables.cls("DTM_TREE_DATA_KEY", 0x4AE225C5, k_key_fields);
  tables.cls("DTM_ENUM_WRAPPER", 0x11BBC1B3, k_wrapper_fields);
  tables.u32(4).u32(c.m_model_root != 0 ? 2 : 1).str("p_ref").u32(c.m_root);
  if (c.m_model_root != 0) {
    tables.str("model").u32(c.m_model_root);
  }

  return ddb_file(objects.bytes(), tables.bytes());
}

TEST(DdbDtmCrafted, TheCraftedModelIsGood) {
  TEST_DIR dir;
  dir.write("model.ddb", craft(CRAFT{}));
  DTM_NODE* root = load_model(dir, "model");
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->get_micro_node_delay(TCO_DELAY, DTM_MAP_DEVICE), 120);
  EXPECT_EQ(root->get_node(DTM_MAP_DEVICE)->get_description(), "Device");
  EXPECT_EQ(typeid(*root->get_node(DTM_MAP_DEVICE, DTM_MICRO)), typeid(DTM_MICRO_NODE));
  MEM_MANAGER::delete_wrapper(root);
}

struct CRAFTED_CASE {
  const char* m_name;
  void (*m_change)(CRAFT& c);
  const char* m_expected;  // part of the message
};

const CRAFTED_CASE k_crafted_cases[] = {
    {"a child that is the root", [](CRAFT& c) { c.m_micro_children = {1}; },
     "is a root and is also owned"},
    {"two nodes that own each other",
     [](CRAFT& c) {
       c.m_root_children = {};
       c.m_micro_children = {2};
     },
     "ownership cycle"},
    {"a node owned twice",
     [](CRAFT& c) {
       c.m_root_children = {2, 2};
     },
     "owned twice"},
    {"a version-1 linked node that also has a parent",
     [](CRAFT& c) {
       c.m_device_version = 1;
       c.m_micro_link = 2;
     },
     "owned twice"},
    {"a link to a descendant that is not owned", [](CRAFT& c) { c.m_device_link = 3; },
     "destroying the tree could free it first"},
    {"a null child",
     [](CRAFT& c) {
       c.m_root_children = {2, 0};
     },
     "a child of the node is null"},
    {"a child without id", [](CRAFT& c) { c.m_device_id = 0; }, "has no id"},
    {"a count of 2^31", [](CRAFT& c) { c.m_root_child_count_override = 0x80000000U; },
     "a count of 2147483648"},
    {"an unknown class index", [](CRAFT& c) { c.m_device_class = 9; }, "class index 9"},
    {"a wrong signature", [](CRAFT& c) { c.m_node_signature = 0x02BD41D6; },
     "has the signature 0x02BD41D6 in the file, this program's is 0x02BD41D5"},
    {"an unknown class", [](CRAFT& c) { c.m_node_name = "DTM_NODES"; },
     "class DTM_NODES is not known"},
    {"a field of another type",
     [](CRAFT& c) { c.m_node_fields[4].second = 0x01; },  // m_version as int32
     "the file has a int32"},
    {"a field renamed", [](CRAFT& c) { c.m_node_fields[3].first = "m_text"; },
     "is m_text in the file"},
    {"a bool of 2", [](CRAFT& c) { c.m_writable = 2; }, "neither 0 nor 1"},
    {"a reference past the objects", [](CRAFT& c) { c.m_micro_data = 99; },
     "reference to object 98"},
    {"a reference to another class", [](CRAFT& c) { c.m_device_link = 4; },
     "where a DTM_NODE is expected"},
    {"a balance factor the tree does not have", [](CRAFT& c) { c.m_balance = 1; },
     "the delay tree of the node is not balanced"},
    {"a balance factor out of range", [](CRAFT& c) { c.m_balance = -3; }, "not balanced"},
    {"a key whose count differs from its wrappers", [](CRAFT& c) { c.m_num_wrapper = 2; },
     "m_num_wrapper counts the wrappers of m_id"},
    {"two keys for one entry", [](CRAFT& c) { c.m_key_count = 2; }, "m_key holds at most one key"},
    {"a root that is not a node",
     [](CRAFT& c) {
       c.m_root = 4;
       c.m_micro_data = 0;
       c.m_model_root = 1;
     },
     "is a DTM_TREE_INT_DATA, not a DTM_NODE"},
};

TEST(DdbDtmCrafted, EachBrokenRuleIsRefused) {
  TEST_DIR dir;
  COUNTERS counters;
  for (const CRAFTED_CASE& k : k_crafted_cases) {
    SCOPED_TRACE(k.m_name);
    CRAFT c;
    k.m_change(c);
    const std::string message = read_image(dir, craft(c));
    EXPECT_NE(message.find(k.m_expected), std::string::npos) << message;
    EXPECT_EQ(message.rfind(dir.path("x.ddb"), 0), 0u) << message;
  }
  EXPECT_TRUE(counters.same());
}

// A node tree deeper than the ownership limit is refused before the model
// (whose destructor recurses on it) is handed out.
TEST(DdbDtmCrafted, TreeDeeperThanTheOwnershipLimit) {
  TEST_DIR dir;
  COUNTERS counters;
  for (const std::uint32_t depth : {DTM_PDB_MAX_OWNERSHIP_DEPTH, DTM_PDB_MAX_OWNERSHIP_DEPTH + 1}) {
    DDB_BYTES objects;
    for (std::uint32_t i = 0; i <= depth; ++i) {
      objects.u32(0).u32(i < depth ? 1 : 0);
      if (i < depth) {
        objects.u32(i + 2);
      }
      objects.u32(1).u8(1).str("").u16(0).u16(0).u32(0).u32(0);
    }
    DDB_BYTES tables;
    tables.u32(1).cls("DTM_NODE", 0x02BD41D5, k_node_fields);
    tables.u32(depth + 1).u32(1).str("p_ref").u32(1);
    bool got_model = false;
    const std::string message =
        read_image(dir, ddb_file(objects.bytes(), tables.bytes()), &got_model);
    if (depth == DTM_PDB_MAX_OWNERSHIP_DEPTH) {
      EXPECT_TRUE(got_model) << message;
    } else {
      EXPECT_NE(message.find("levels of ownership"), std::string::npos) << message;
    }
  }
  EXPECT_TRUE(counters.same());
}

}  // namespace
