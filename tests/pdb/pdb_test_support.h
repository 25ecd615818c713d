// Helpers of the persistence tests: memory-counter checks, sample graphs,
// graph comparison that follows shared references; .ddb files are built
// byte by byte with ddb_bytes.h.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ddb_bytes.h"
#include "pdb_sys.h"
#include "pdb_test_model.h"
#include "test_files.h"

// The live counters of the memory manager at construction; same() tells
// whether they are back there.
class COUNTERS {
 public:
  COUNTERS() : m_start(MEM_MANAGER::get_counters()) {}
  bool same() const {
    const MEM_COUNTERS& now = MEM_MANAGER::get_counters();
    return now.m_live_objects == m_start.m_live_objects && now.m_live_bytes == m_start.m_live_bytes;
  }

 private:
  MEM_COUNTERS m_start;
};

inline T_INT_DATA* int_leaf(std::int32_t value, std::int16_t key_parts) {
  T_INT_DATA* leaf = new T_INT_DATA;
  leaf->m_value = value;
  leaf->m_key = new T_KEY(key_parts);
  return leaf;
}

inline T_FLOAT_DATA* float_leaf(double value, std::int16_t key_parts) {
  T_FLOAT_DATA* leaf = new T_FLOAT_DATA;
  leaf->m_value = value;
  leaf->m_key = new T_KEY(key_parts);
  return leaf;
}

// A model: root -> {a (with an int data tree), pair (two owned direction
// nodes, one with float data), leaf}; a links to itself, the leaf links to
// a version-1 node it owns, the pair's second node links back to the root
// (a cycle through a non-owning link).
inline T_NODE* sample_model() {
  T_NODE* root = new T_NODE(T_KIND_A);
  root->m_description = "root";
  T_NODE* a = root->add(new T_NODE(T_KIND_B));
  a->m_description = std::string(300, 'x').c_str();
  a->m_writable = false;
  a->m_version = 3;
  a->m_bin = -2;
  T_DATA* top = int_leaf(42, 1);
  top->m_left = int_leaf(-7, 2);
  top->m_right = int_leaf(2147483647, 5);
  top->m_right->m_balance = -1;
  a->m_data_root = top;
  T_PAIR* pair = new T_PAIR;
  root->add(pair);
  pair->m_first = new T_NODE(T_KIND_A);
  pair->m_first->m_data_root = float_leaf(-123456789.9, 3);
  pair->m_second = new T_NODE(T_KIND_B);
  pair->m_second->m_linked_node = root;
  T_LEAF* leaf = new T_LEAF;
  root->add(leaf);
  leaf->m_description = "leaf";
  a->m_linked_node = a;
  T_NODE* owned = new T_NODE(T_KIND_A);
  owned->m_version = 1;
  owned->m_description = "owned link";
  leaf->m_linked_node = owned;
  return root;
}

// Compares two graphs node by node along owning references and checks that
// every non-owning reference of `b` points at the counterpart of the target
// of `a`'s. Reports through gtest.
class GRAPH_COMPARE {
 public:
  void nodes(const T_NODE* a, const T_NODE* b) {
    if (!pair(a, b)) {
      return;
    }
    EXPECT_EQ(a->pdb_class_info(), b->pdb_class_info());
    EXPECT_EQ(a->m_id, b->m_id);
    EXPECT_EQ(a->m_writable, b->m_writable);
    EXPECT_EQ(a->m_description, b->m_description);
    EXPECT_EQ(a->m_version, b->m_version);
    EXPECT_EQ(a->m_bin, b->m_bin);
    EXPECT_EQ(b->get_pdb_identity(), PDB_UNREGISTERED);
    ASSERT_EQ(a->m_nodes.size(), b->m_nodes.size());
    for (std::size_t i = 0; i < a->m_nodes.size(); ++i) {
      nodes(a->m_nodes[i], b->m_nodes[i]);
    }
    data(a->m_data_root, b->m_data_root);
    if (a->m_linked_node != nullptr && a->m_linked_node->m_version == 1) {
      nodes(a->m_linked_node, b->m_linked_node);
    } else {
      m_links.emplace_back(a->m_linked_node, b->m_linked_node);
    }
    if (const auto* pa = dynamic_cast<const T_PAIR*>(a)) {
      const auto* pb = dynamic_cast<const T_PAIR*>(b);
      ASSERT_NE(pb, nullptr);
      nodes(pa->m_first, pb->m_first);
      nodes(pa->m_second, pb->m_second);
    }
  }
  void data(const T_DATA* a, const T_DATA* b) {
    if (!pair(a, b)) {
      return;
    }
    EXPECT_EQ(a->pdb_class_info(), b->pdb_class_info());
    EXPECT_EQ(a->m_balance, b->m_balance);
    if (const auto* ia = dynamic_cast<const T_INT_DATA*>(a)) {
      EXPECT_EQ(ia->m_value, dynamic_cast<const T_INT_DATA&>(*b).m_value);
    }
    if (const auto* fa = dynamic_cast<const T_FLOAT_DATA*>(a)) {
      EXPECT_EQ(std::memcmp(&fa->m_value, &dynamic_cast<const T_FLOAT_DATA&>(*b).m_value, 8), 0);
    }
    ASSERT_EQ(a->m_key == nullptr, b->m_key == nullptr);
    if (a->m_key != nullptr) {
      ASSERT_EQ(a->m_key->m_count, b->m_key->m_count);
      for (std::int16_t i = 0; i < a->m_key->m_count; ++i) {
        EXPECT_EQ(a->m_key->m_parts[i], b->m_key->m_parts[i]);
      }
    }
    data(a->m_left, b->m_left);
    data(a->m_right, b->m_right);
  }
  // Call after the trees: the non-owning links must map to counterparts.
  void links() {
    for (const auto& [a, b] : m_links) {
      if (a == nullptr) {
        EXPECT_EQ(b, nullptr);
      } else {
        auto found = m_map.find(a);
        ASSERT_NE(found, m_map.end()) << "a link leaves the compared trees";
        EXPECT_EQ(found->second, b);
      }
    }
  }

 private:
  bool pair(const void* a, const void* b) {
    EXPECT_EQ(a == nullptr, b == nullptr);
    if (a == nullptr || b == nullptr) {
      return false;
    }
    EXPECT_NE(a, b) << "the copy shares an object with the original";
    const bool fresh = m_map.emplace(a, b).second;
    EXPECT_TRUE(fresh) << "an object is reached twice along owning references";
    return fresh;
  }
  std::map<const void*, const void*> m_map;
  std::vector<std::pair<const T_NODE*, const T_NODE*>> m_links;
};

// Writes one root as "p_ref" into <dir>/<stem>.ddb.
inline void save(const TEST_DIR& dir, const std::string& stem, const T_NODE* root) {
  PDB_ARCHIVE archive;
  ASSERT_TRUE(archive.open(dir.path(stem)));
  ASSERT_TRUE(pdb_write_(root, archive, ""));
  archive.close();
}

// Reads "p_ref" of <dir>/<stem>.ddb; null on failure. `message` gets the
// exception text, if any.
inline T_NODE* load(const TEST_DIR& dir, const std::string& stem, std::string* message = nullptr) {
  PDB_ARCHIVE archive;
  archive.open(dir.path(stem));
  T_NODE* root = nullptr;
  try {
    pdb_read_(root, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION& e) {
    if (message != nullptr) {
      *message = e.what();
    }
    EXPECT_EQ(root, nullptr);
  }
  archive.close();
  return root;
}

// The field layouts of the test classes as the writer records them.
inline std::vector<std::pair<std::string, std::uint8_t>> node_fields() {
  return {{"m_nodes", 0x16},   {"m_id", 0x01},  {"m_writable", 0x03},  {"m_description", 0x05},
          {"m_version", 0x02}, {"m_bin", 0x02}, {"m_data_root", 0x06}, {"m_linked_node", 0x06}};
}
