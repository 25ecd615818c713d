// Hostile model databases, each crafted byte by byte to break one rule (or
// to sit exactly at a limit of the format): reference cycles, a node that is
// its own parent, references to objects of another class or past the table,
// counts of 2^32-1, strings longer than the file, delay trees whose balance
// factors or keys lie, limits and one past them. Each is refused with its
// reason, or read into a model that works; memory always comes back. The
// rules crafted in test_ddb_dtm_pdb_corruption.cpp (an ancestor owned, an
// object owned twice, a count of 2^31, an unknown class, a wrong signature)
// are not repeated here.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ddb_bytes.h"
#include "dtm_corruption_support.h"

using namespace dtm_corruption_test;

namespace {

// --- The crafted file -----------------------------------------------------------------------

const DDB_FIELDS k_node = {{"m_nodes", 0x16},       {"m_id", 0x01},         {"m_writable", 0x03},
                           {"m_description", 0x05}, {"m_version", 0x02},    {"m_bin", 0x02},
                           {"m_data_root", 0x06},   {"m_linked_node", 0x06}};
DDB_FIELDS p2p_fields() {
  DDB_FIELDS fields = k_node;
  for (const char* name :
       {"m_in_out_node", "m_in_buried_node", "m_buried_out_node", "m_buried_buried_node"}) {
    fields.emplace_back(name, 0x06);
  }
  return fields;
}

// The class table of every crafted file, by class index.
enum CLASS : std::uint32_t {
  NODE,
  MICRO,
  TREE_INT,
  KEY,
  WRAPPER,
  P2P,
  P2P_IN_OUT,
  P2P_IN_BURIED,
  CLASS_COUNT
};

std::string class_table() {
  DDB_BYTES t;
  t.u32(CLASS_COUNT);
  t.cls("DTM_NODE", 0x02BD41D5, k_node);
  t.cls("DTM_MICRO_NODE", 0x696BF1B3, k_node);
  t.cls("DTM_TREE_INT_DATA", 0x3AA3BE80,
        {{"m_left", 0x06},
         {"m_right", 0x06},
         {"m_key", 0x07},
         {"m_balance_factor", 0x02},
         {"m_int_data", 0x01}});
  t.cls("DTM_TREE_DATA_KEY", 0x4AE225C5, {{"m_id", 0x07}, {"m_num_wrapper", 0x02}});
  t.cls("DTM_ENUM_WRAPPER", 0x11BBC1B3, {{"m_enum_type", 0x01}, {"m_enum_id", 0x01}});
  t.cls("DTM_P2P_NODE", 0x363F8DBD, p2p_fields());
  t.cls("DTM_P2P_IN_OUT_NODE", 0x696BF1B3, k_node);
  t.cls("DTM_P2P_IN_BURIED_NODE", 0x696BF1B3, k_node);
  return t.bytes();
}

// References are object index + 1; 0 is null.
constexpr std::uint32_t ref(std::uint32_t object) { return object + 1; }

struct NODE_RECORD {
  NODE_RECORD(std::uint32_t cls, std::vector<std::uint32_t> children, std::int32_t id,
              std::string description = "", std::uint32_t data = 0, std::uint32_t link = 0,
              std::vector<std::uint32_t> directions = {})
      : m_class(cls),
        m_children(std::move(children)),
        m_id(id),
        m_description(std::move(description)),
        m_data(data),
        m_link(link),
        m_directions(std::move(directions)) {}
  std::uint32_t m_class;
  std::vector<std::uint32_t> m_children;  // references
  std::int32_t m_id;
  std::string m_description;
  std::uint32_t m_data;
  std::uint32_t m_link;
  std::vector<std::uint32_t> m_directions;  // P2P only: four references
};

void put_node(DDB_BYTES& b, const NODE_RECORD& n) {
  b.u32(n.m_class).u32(static_cast<std::uint32_t>(n.m_children.size()));
  for (const std::uint32_t child : n.m_children) {
    b.u32(child);
  }
  b.u32(static_cast<std::uint32_t>(n.m_id)).u8(1).str(n.m_description).u16(0).u16(0);
  b.u32(n.m_data).u32(n.m_link);
  for (const std::uint32_t direction : n.m_directions) {
    b.u32(direction);
  }
}

// A delay-tree entry holding an integer under the key (TCO_DELAY family,
// `key`), with the stored balance factor.
struct ENTRY_RECORD {
  ENTRY_RECORD() = default;
  ENTRY_RECORD(std::int32_t key, std::uint32_t left, std::uint32_t right, std::int16_t balance,
               std::int32_t value = 100)
      : m_key(key), m_left(left), m_right(right), m_balance(balance), m_value(value) {}
  std::int32_t m_key = 1;
  std::uint32_t m_left = 0;
  std::uint32_t m_right = 0;
  std::int16_t m_balance = 0;
  std::int32_t m_value = 100;
};

void put_entry(DDB_BYTES& b, const ENTRY_RECORD& e) {
  b.u32(TREE_INT).u32(e.m_left).u32(e.m_right);
  b.u32(1).u32(1).u32(1).u32(static_cast<std::uint32_t>(e.m_key)).u16(1);  // one key, one part
  b.u16(static_cast<std::uint16_t>(e.m_balance)).u32(static_cast<std::uint32_t>(e.m_value));
}

// The tables after the objects: classes, object count, root "p_ref" = object 0.
std::string tables(std::uint32_t objects, std::uint32_t root = ref(0)) {
  DDB_BYTES t;
  t.u32(objects).u32(1).str("p_ref").u32(root);
  return class_table() + t.bytes();
}

// root (DTM_ROOT) -> device -> micro leaf; the leaf's delay tree is
// `entries` (objects 3 on), its root the first of them.
std::string model_with_tree(const std::vector<ENTRY_RECORD>& entries) {
  DDB_BYTES o;
  put_node(o, {NODE, {ref(1)}, DTM_ROOT});
  put_node(o, {NODE, {ref(2)}, DTM_MAP_DEVICE, "device"});
  put_node(o, {MICRO, {}, DTM_MICRO, "", entries.empty() ? 0 : ref(3)});
  for (const ENTRY_RECORD& e : entries) {
    put_entry(o, e);
  }
  return ddb_file(o.bytes(), tables(static_cast<std::uint32_t>(3 + entries.size())));
}

// Reads an image as a model: the exception's text, or "" with a model that
// was used through and through (dumps, queries, additions, a save) and freed.
std::string read_and_use(const IMAGE_DIR& dir, const std::string& image,
                         const std::function<void(DTM_NODE&)>& check = nullptr) {
  PDB_ARCHIVE archive;
  archive.open(dir.put(image));
  DTM_NODE* model = nullptr;
  try {
    pdb_read_<PDB_ARCHIVE, DTM_NODE>(model, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    EXPECT_EQ(model, nullptr);
    return error.what();
  }
  if (model == nullptr) {
    return "null root";
  }
  if (check) {
    check(*model);
  }
  ROOTS roots;
  roots.m_model = model;
  EXPECT_TRUE(use_and_free(roots, dir));
  return "";
}

struct HOSTILE {
  const char* m_name;
  std::string (*m_image)();
  const char* m_expected;  // part of the refusal
};

const HOSTILE k_refused[] = {
    // --- Ownership ----------------------------------------------------------------
    {"three children that own each other in a ring",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       put_node(o, {NODE, {ref(2)}, DTM_MAP_DEVICE});
       put_node(o, {NODE, {ref(3)}, DTM_MAP_CORE});
       put_node(o, {NODE, {ref(1)}, DTM_MAP_IO_CELL});
       return ddb_file(o.bytes(), tables(4));
     },
     "ownership cycle"},
    {"a node that is its own parent",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       put_node(o, {NODE, {ref(1)}, DTM_MAP_DEVICE});
       return ddb_file(o.bytes(), tables(2));
     },
     "ownership cycle"},
    {"the root as its own child",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(0)}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(1));
     },
     "is a root and is also owned"},
    {"a node whose linked node is itself at version 1 (it owns itself)",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1)}, DTM_ROOT});
       o.u32(NODE).u32(0).u32(DTM_MAP_DEVICE).u8(1).str("").u16(1).u16(0).u32(0).u32(ref(1));
       return ddb_file(o.bytes(), tables(2));
     },
     "owned twice"},
    {"two children with one id (the second could never be found)",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1), ref(2)}, DTM_ROOT});
       put_node(o, {NODE, {}, DTM_MAP_DEVICE, "first"});
       put_node(o, {NODE, {}, DTM_MAP_DEVICE, "second"});
       return ddb_file(o.bytes(), tables(3));
     },
     "two children of the node have the same id"},
    // --- References to another class ----------------------------------------------------
    {"a data root that is a node",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1)}, DTM_ROOT});
       put_node(o, {NODE, {}, DTM_MAP_DEVICE, "", ref(2)});
       put_node(o, {NODE, {}, DTM_MAP_CORE});
       return ddb_file(o.bytes(), tables(3));
     },
     "where a DTM_TREE_DATA is expected"},
    {"a child that is a delay entry",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1)}, DTM_ROOT});
       put_entry(o, {});
       return ddb_file(o.bytes(), tables(2));
     },
     "where a DTM_NODE is expected"},
    {"a point-to-point direction of the wrong direction",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1)}, DTM_ROOT});
       put_node(o, {P2P, {}, DTM_P2P, "", 0, 0, {ref(2), 0, 0, 0}});
       put_node(o, {P2P_IN_BURIED, {}, DTM_P2P});
       return ddb_file(o.bytes(), tables(3));
     },
     "where a DTM_P2P_IN_OUT_NODE is expected"},
    // --- Object ids out of range -----------------------------------------------------------
    {"a child one past the last object",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1)}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(1));
     },
     "reference to object 1"},
    {"a child of id 2^32-2 (reference 2^32-1)",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {0xFFFFFFFFU}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(1));
     },
     "reference to object 4294967294"},
    {"a root past the objects",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(1, 0xFFFFFFFFU));
     },
     "root p_ref refers to object 4294967294"},
    {"a class index of 2^32-1",
     [] {
       DDB_BYTES o;
       put_node(o, {0xFFFFFFFFU, {}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(1));
     },
     "class index 4294967295"},
    // --- Counts of 2^32-1 --------------------------------------------------------------------
    {"a child count of 2^32-1",
     [] {
       DDB_BYTES o;
       o.u32(NODE).u32(0xFFFFFFFFU).u32(ref(0));
       return ddb_file(o.bytes(), tables(1));
     },
     "a count of 4294967295"},
    {"a description of 2^32-1 bytes",
     [] {
       DDB_BYTES o;
       o.u32(NODE).u32(0).u32(DTM_ROOT).u8(1).u32(0xFFFFFFFFU).u32(0);
       return ddb_file(o.bytes(), tables(1));
     },
     "a count of 4294967295"},
    {"a key array of 2^32-1 keys",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT, "", ref(1)});
       o.u32(TREE_INT).u32(0).u32(0).u32(0xFFFFFFFFU);
       return ddb_file(o.bytes(), tables(2));
     },
     "a count of 4294967295"},
    {"a wrapper array of 2^32-1 wrappers",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT, "", ref(1)});
       o.u32(TREE_INT).u32(0).u32(0).u32(1).u32(0xFFFFFFFFU);
       o.u16(1).u16(0).u32(0);  // the rest of the record
       return ddb_file(o.bytes(), tables(2));
     },
     "a count of 4294967295"},
    {"a class count of 2^32-1",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       DDB_BYTES t;
       t.u32(0xFFFFFFFFU);
       return ddb_file(o.bytes(), t.bytes());
     },
     "a count of 4294967295"},
    {"a field count of 2^32-1",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       DDB_BYTES t;
       t.u32(1).str("DTM_NODE").u32(0x02BD41D5).u32(0xFFFFFFFFU);
       return ddb_file(o.bytes(), t.bytes());
     },
     "a count of 4294967295"},
    {"an object count of 2^32-1",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(0xFFFFFFFFU));
     },
     "an object count of 4294967295"},
    {"a root count of 2^32-1",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       DDB_BYTES t;
       t.u32(1).u32(0xFFFFFFFFU);
       return ddb_file(o.bytes(), class_table() + t.bytes());
     },
     "a count of 4294967295"},
    // --- Strings longer than the bytes left ---------------------------------------------------
    {"a description one byte longer than the object table",
     [] {
       DDB_BYTES o;
       o.u32(NODE).u32(0).u32(DTM_ROOT).u8(1);
       const std::string text(40, 'x');
       // What follows the length: the text and the last 12 bytes of the record.
       o.u32(static_cast<std::uint32_t>(text.size() + 12 + 1));
       DDB_BYTES rest;
       rest.u16(0).u16(0).u32(0).u32(0);
       return ddb_file(o.bytes() + text + rest.bytes(), tables(1));
     },
     "a count of 53 needs at least 53 bytes, 52 are left"},
    {"a description as long as the rest of the object table",
     [] {
       DDB_BYTES o;
       o.u32(NODE).u32(0).u32(DTM_ROOT).u8(1);
       const std::string text(40, 'x');
       o.u32(static_cast<std::uint32_t>(text.size() + 12));
       DDB_BYTES rest;
       rest.u16(0).u16(0).u32(0).u32(0);
       return ddb_file(o.bytes() + text + rest.bytes(), tables(1));
     },
     "needs 2 bytes, 0 are left"},
    {"a class name longer than the tables",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       DDB_BYTES t;
       t.u32(1).u32(1000);
       return ddb_file(o.bytes(), t.bytes() + "DTM_NODE");
     },
     "a count of 1000"},
    // --- Delay trees that lie ------------------------------------------------------------------
    {"balance factors that say balanced on a chain of three",
     [] {
       return model_with_tree({{1, 0, ref(4), 0}, {2, 0, ref(5), 0}, {3, 0, 0, 0}});
     },
     "not balanced as its balance factors say"},
    {"a chain of three with honest factors (deeper than three entries allow)",
     [] {
       return model_with_tree({{1, 0, ref(4), 2}, {2, 0, ref(5), 1}, {3, 0, 0, 0}});
     },
     "not balanced as its balance factors say"},
    {"a chain of forty with honest factors",
     [] {
       std::vector<ENTRY_RECORD> chain;
       for (std::uint32_t i = 0; i < 40; ++i) {
         chain.push_back({static_cast<std::int32_t>(i + 1), 0, i + 1 < 40 ? ref(4 + i) : 0,
                          static_cast<std::int16_t>(i + 1 < 40 ? 40 - 1 - i : 0)});
       }
       return model_with_tree(chain);
     },
     "not balanced as its balance factors say"},
    {"a balanced tree with one factor of the wrong sign",
     [] {
       return model_with_tree(
           {{2, ref(4), ref(5), 0}, {1, ref(6), 0, 1}, {4, 0, 0, 0}, {0, 0, 0, 0}});
     },
     "not balanced as its balance factors say"},
    {"keys out of order under honest factors",
     [] {
       return model_with_tree({{2, ref(4), ref(5), 0}, {3, 0, 0, 0}, {1, 0, 0, 0}});
     },
     "keys of the delay tree of the node are not in order"},
    {"one key twice",
     [] {
       return model_with_tree({{2, ref(4), 0, -1}, {2, 0, 0, 0}});
     },
     "keys of the delay tree of the node are not in order"},
    // --- Limits, one past ------------------------------------------------------------------------
    {"one object more than the object table can hold",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(static_cast<std::uint32_t>(o.size() / 4 + 1)));
     },
     "does not fit the"},
    {"as many objects as the object table could hold by size (their records are missing)",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(static_cast<std::uint32_t>(o.size() / 4)));
     },
     "are left"},
    {"one object more than a segment may hold (2^31 - 255)",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT});
       return ddb_file(o.bytes(), tables(0x7FFFFF01U));
     },
     "an object count of 2147483393"},
    {"a key of 32768 wrappers (one past its 16-bit count)",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT, "", ref(1)});
       o.u32(TREE_INT).u32(0).u32(0).u32(1).u32(32768);
       for (int i = 0; i < 32768; ++i) {
         o.u32(1).u32(static_cast<std::uint32_t>(i));
       }
       o.u16(0x8000).u16(0).u32(5);
       return ddb_file(o.bytes(), tables(2));
     },
     "array count 32768 does not fit its count field"},
};

TEST(DdbDtmHostile, EachIsRefusedWithItsReason) {
  IMAGE_DIR dir;
  for (const HOSTILE& h : k_refused) {
    SCOPED_TRACE(h.m_name);
    const COUNTERS counters;
    {
      MSG_CAPTURE capture;
      const std::string message = read_and_use(dir, h.m_image());
      EXPECT_NE(message.find(h.m_expected), std::string::npos) << message;
      EXPECT_EQ(message.rfind(dir.stem("in.ddb"), 0), 0u) << message;
    }
    EXPECT_TRUE(counters.same());
  }
}

// The crafted files are right but for the one thing each breaks: the same
// builder makes files that read.
struct ACCEPTED {
  const char* m_name;
  std::string (*m_image)();
  void (*m_check)(DTM_NODE& model);
};

const ACCEPTED k_accepted[] = {
    {"a balanced tree of three with honest factors",
     [] {
       return model_with_tree({{2, ref(4), ref(5), 0, 20}, {1, 0, 0, 0, 10}, {3, 0, 0, 0, 30}});
     },
     [](DTM_NODE& model) {
       for (const int key : {1, 2, 3}) {
         EXPECT_EQ(model.get_micro_node_delay(static_cast<DTM_ENUM>(key), DTM_MAP_DEVICE),
                   10 * key);
       }
       // Insertion rebalances as the factors say.
       for (int key = 4; key < 40; ++key) {
         EXPECT_TRUE(model.add_micro_node_delay(key, static_cast<DTM_ENUM>(key), DTM_MAP_DEVICE));
       }
       EXPECT_EQ(model.get_micro_node_delay(static_cast<DTM_ENUM>(39), DTM_MAP_DEVICE), 39);
     }},
    {"a balanced tree of four leaning left",
     [] {
       return model_with_tree({{2, ref(4), ref(5), -1, 20},
                               {1, ref(6), 0, -1, 10},
                               {4, 0, 0, 0, 40},
                               {0, 0, 0, 0, 5}});
     },
     [](DTM_NODE& model) {
       EXPECT_EQ(model.get_micro_node_delay(static_cast<DTM_ENUM>(0), DTM_MAP_DEVICE), 5);
       EXPECT_EQ(model.get_micro_node_delay(static_cast<DTM_ENUM>(4), DTM_MAP_DEVICE), 40);
     }},
    {"the last object as a child (the highest valid id)",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1)}, DTM_ROOT});
       put_node(o, {NODE, {ref(2)}, DTM_MAP_DEVICE});
       put_node(o, {NODE, {}, DTM_MAP_CORE, "last"});
       return ddb_file(o.bytes(), tables(3));
     },
     [](DTM_NODE& model) {
       ASSERT_NE(model.get_node(DTM_MAP_DEVICE, DTM_MAP_CORE), nullptr);
       EXPECT_EQ(std::string(model.get_node(DTM_MAP_DEVICE, DTM_MAP_CORE)->get_description()),
                 "last");
     }},
    {"a description exactly as long as the bytes it has",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {}, DTM_ROOT, std::string(5000, 'd')});
       return ddb_file(o.bytes(), tables(1));
     },
     [](DTM_NODE& model) {
       EXPECT_EQ(std::string(model.get_description()), std::string(5000, 'd'));
     }},
    {"a key of 32767 wrappers (its 16-bit count at the limit)",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1)}, DTM_ROOT});
       put_node(o, {MICRO, {}, DTM_MICRO, "", ref(2)});
       o.u32(TREE_INT).u32(0).u32(0).u32(1).u32(32767);
       for (int i = 0; i < 32767; ++i) {
         o.u32(1).u32(static_cast<std::uint32_t>(i + 1));
       }
       o.u16(32767).u16(0).u32(5);
       return ddb_file(o.bytes(), tables(3));
     },
     [](DTM_NODE& model) {
       const DTM_TREE_DATA* data = model.get_sub_node(DTM_MICRO, DTM_NODE_NONE)->get_data_root();
       ASSERT_NE(data, nullptr);
       EXPECT_EQ(data->get_key()->get_num_wrapper(), 32767);
       EXPECT_EQ(data->get_key()->get_wrappers()[32766].get_enum_id(), 32767);
     }},
    {"a leaf whose id names another kind",
     [] {
       DDB_BYTES o;
       put_node(o, {NODE, {ref(1)}, DTM_ROOT});
       put_node(o, {NODE, {ref(2)}, DTM_MAP_DEVICE});
       put_node(o, {MICRO, {}, DTM_TABLE, "", ref(3)});
       put_entry(o, {});
       return ddb_file(o.bytes(), tables(4));
     },
     [](DTM_NODE& model) {
       // Asked as a table, the leaf is reported, not taken for a table.
       MSG_CAPTURE capture;
       EXPECT_EQ(model.get_table_node_delay(TCO_DELAY, TCO_DELAY, DTM_MAP_DEVICE),
                 DTM_ILLEGAL_DELAY);
       EXPECT_GT(capture.get_count(), 0u);
     }},
};

TEST(DdbDtmHostile, FilesAtTheLimitsReadAndWork) {
  IMAGE_DIR dir;
  for (const ACCEPTED& a : k_accepted) {
    SCOPED_TRACE(a.m_name);
    const COUNTERS counters;
    {
      MSG_CAPTURE capture;
      EXPECT_EQ(read_and_use(dir, a.m_image(), a.m_check), "");
    }
    EXPECT_TRUE(counters.same());
  }
}

// --- Roots linked to each other ----------------------------------------------------------------

// A clone (root "p_ref") whose device links to the master's device, the
// master (root "master"), and, when `back` is set, the master's device
// linking back into the clone: then no order of freeing the two is safe.
std::string clone_and_master(bool back) {
  DDB_BYTES o;
  put_node(o, {NODE, {ref(2)}, DTM_ROOT});
  put_node(o, {NODE, {ref(3)}, DTM_ROOT});
  put_node(o, {NODE, {}, DTM_MAP_DEVICE, "clone", 0, ref(3)});
  put_node(o, {NODE, {}, DTM_MAP_DEVICE, "master", 0, back ? ref(2) : 0});
  DDB_BYTES t;
  t.u32(4).u32(2).str("p_ref").u32(ref(0)).str("master").u32(ref(1));
  return ddb_file(o.bytes(), class_table() + t.bytes());
}

// Roots are freed in the order they were handed out: a root whose tree links
// into a root handed out before it is refused when it is asked for.
TEST(DdbDtmHostile, RootsLinkedBothWaysCannotBothBeTaken) {
  IMAGE_DIR dir;
  const COUNTERS counters;
  {
    ROOTS roots;
    ASSERT_EQ(read_roots(dir.put(clone_and_master(false)), roots), "");
    ASSERT_NE(roots.m_master, nullptr);
    EXPECT_EQ(roots.m_model->get_node(DTM_MAP_DEVICE)->get_linked_node(),
              roots.m_master->get_node(DTM_MAP_DEVICE));
    roots.destroy();

    const std::string message = read_roots(dir.put(clone_and_master(true)), roots);
    EXPECT_NE(message.find("root master links to the tree of root p_ref, handed out before it"),
              std::string::npos)
        << message;
    EXPECT_EQ(roots.m_model, nullptr);

    // Alone, either root is read: the links into the other tree are cut.
    DTM_NODE* model = nullptr;
    PDB_ARCHIVE archive;
    archive.open(dir.put(clone_and_master(true)));
    ASSERT_TRUE((pdb_read_<PDB_ARCHIVE, DTM_NODE>(model, archive, "")));
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(model->get_node(DTM_MAP_DEVICE)->get_linked_node(), nullptr);
    MEM_MANAGER::delete_wrapper(model);
  }
  EXPECT_TRUE(counters.same());
}

// --- Regression inputs of the fuzz targets ----------------------------------------------------

// A file name from a case name: lower case, words joined by '_'.
std::string slug(const char* name) {
  std::string out;
  for (const char* c = name; *c != '\0' && out.size() < 64; ++c) {
    const bool word = std::isalnum(static_cast<unsigned char>(*c)) != 0;
    if (word) {
      out += static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
    } else if (!out.empty() && out.back() != '_') {
      out += '_';
    }
  }
  while (!out.empty() && out.back() == '_') {
    out.pop_back();
  }
  return out;
}

// Every crafted file (up to the fuzz targets' 64 KiB) is also a regression
// input of the .ddb fuzz targets, replayed by test_fuzz; KESTREL_BLESS_DDB=1
// writes them (scripts/bless-golden.sh ddb).
TEST(DdbDtmHostile, EveryCraftedFileIsARegressionInputOfTheFuzzTargets) {
  const char* bless = std::getenv("KESTREL_BLESS_DDB");
  std::vector<std::pair<std::string, std::string>> files;
  for (const HOSTILE& h : k_refused) {
    files.emplace_back(slug(h.m_name), h.m_image());
  }
  for (const ACCEPTED& a : k_accepted) {
    files.emplace_back(slug(a.m_name), a.m_image());
  }
  files.emplace_back("clone_and_master_linked_both_ways", clone_and_master(true));
  std::size_t kept = 0;
  for (const auto& [name, image] : files) {
    if (image.size() > 64 * 1024) {
      continue;
    }
    ++kept;
    for (const char* target : {"ddb_load", "ddb_load_save"}) {
      const std::string path =
          std::string(KESTREL_SOURCE_DIR "/fuzz/regressions/") + target + "/" + name + ".ddb";
      if (bless != nullptr && std::string(bless) == "1") {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << image;
      }
      EXPECT_EQ(TEST_DIR::read(path), image) << path;
    }
  }
  EXPECT_GT(kept, 30u);
}

}  // namespace
