// Round trips: every field type, shared references, cycles, ownership by
// rule, several roots, archive naming, and memory returned in every case.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>

#include "pdb_test_support.h"

namespace {

T_LINE* sample_list(int count) {
  T_LINE* head = nullptr;
  T_LINE* tail = nullptr;
  for (int i = 0; i < count; ++i) {
    T_LINE* line = new T_LINE;
    line->m_line_number = static_cast<std::int16_t>(i * 1000 - 32768 + 7);
    line->m_marked = i % 2 == 1;
    line->m_kind = i % 3 == 0 ? T_KIND_A : T_KIND_B;
    line->m_scale = i == 0 ? -0.0 : (i == 1 ? std::numeric_limits<double>::infinity() : i * 0.1);
    line->m_description = i == 2 ? MEM_STRING("nul\0inside", 10) : MEM_STRING("");
    line->m_numbers = {i, -i, std::numeric_limits<std::int32_t>::min()};
    line->m_words = {MEM_STRING("w"), MEM_STRING(""), MEM_STRING(std::string(70000, 'q').c_str())};
    line->m_groups.resize(static_cast<std::size_t>(i));
    for (int g = 0; g < i; ++g) {
      line->m_groups[static_cast<std::size_t>(g)].resize(static_cast<std::size_t>(g));
      for (int w = 0; w < g; ++w) {
        line->m_groups[static_cast<std::size_t>(g)][static_cast<std::size_t>(w)] =
            std::to_string(g * 10 + w).c_str();
      }
    }
    line->m_flags = {true, false, i % 2 == 0};
    line->m_prev = tail;
    (tail != nullptr ? tail->m_next : head) = line;
    tail = line;
  }
  return head;
}

TEST(PdbRoundTrip, EveryValueTypeOfALineList) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_LINE* list = sample_list(5);
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("lines")));
    ASSERT_TRUE(pdb_write_(list, archive, ""));
    T_LINE* copy = nullptr;
    ASSERT_TRUE(pdb_read_(copy, archive, ""));
    archive.close();
    T_LINE* a = list;
    T_LINE* b = copy;
    const T_LINE* b_prev = nullptr;
    for (; a != nullptr && b != nullptr; a = a->m_next, b = b->m_next) {
      EXPECT_EQ(a->m_line_number, b->m_line_number);
      EXPECT_EQ(a->m_marked, b->m_marked);
      EXPECT_EQ(a->m_description, b->m_description);
      EXPECT_EQ(a->m_kind, b->m_kind);
      EXPECT_EQ(std::memcmp(&a->m_scale, &b->m_scale, 8), 0);  // -0.0 and infinity kept
      EXPECT_EQ(a->m_numbers, b->m_numbers);
      EXPECT_EQ(a->m_words, b->m_words);
      EXPECT_EQ(a->m_groups, b->m_groups);
      EXPECT_EQ(a->m_flags, b->m_flags);
      EXPECT_EQ(b->m_prev, b_prev);
      EXPECT_EQ(b->get_pdb_identity(), PDB_UNREGISTERED);
      b_prev = b;
    }
    EXPECT_EQ(a, nullptr);
    EXPECT_EQ(b, nullptr);
    T_LINE::delete_list(list);
    T_LINE::delete_list(copy);
  }
  EXPECT_TRUE(counters.same());
}

TEST(PdbRoundTrip, NaNAndExtremeValuesKeepTheirBits) {
  TEST_DIR dir;
  const double values[] = {
      std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity(),
      std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::max(), -123456789.9};
  for (const double value : values) {
    T_NODE* root = new T_NODE;
    root->m_data_root = float_leaf(value, 0);
    save(dir, "values", root);
    T_NODE* copy = load(dir, "values");
    ASSERT_NE(copy, nullptr);
    const double read = static_cast<T_FLOAT_DATA*>(copy->m_data_root)->m_value;
    EXPECT_EQ(std::memcmp(&read, &value, 8), 0);
    EXPECT_EQ(copy->m_data_root->m_key->m_count, 0);
    EXPECT_EQ(copy->m_data_root->m_key->m_parts, nullptr);
    delete root;
    delete copy;
  }
}

TEST(PdbRoundTrip, ModelGraphComesBackWithItsSharingAndCycles) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_NODE* model = sample_model();
    save(dir, "model", model);
    T_NODE* copy = load(dir, "model");
    ASSERT_NE(copy, nullptr);
    GRAPH_COMPARE compare;
    compare.nodes(model, copy);
    compare.links();
    // The cycle: the pair's second node links back to the root read.
    EXPECT_EQ(static_cast<T_PAIR*>(copy->m_nodes[1])->m_second->m_linked_node, copy);
    EXPECT_EQ(copy->m_nodes[0]->m_linked_node, copy->m_nodes[0]);
    EXPECT_EQ(copy->m_nodes[2]->m_linked_node->m_description, "owned link");
    delete model;
    delete copy;
  }
  EXPECT_TRUE(counters.same());
}

TEST(PdbRoundTrip, SavingTwiceGivesTheSameBytes) {
  TEST_DIR dir;
  T_NODE* model = sample_model();
  save(dir, "one", model);
  save(dir, "two", model);
  T_NODE* copy = load(dir, "one");
  save(dir, "three", copy);
  const std::string one = TEST_DIR::read(dir.path("one.ddb"));
  EXPECT_FALSE(one.empty());
  EXPECT_EQ(one, TEST_DIR::read(dir.path("two.ddb")));
  EXPECT_EQ(one, TEST_DIR::read(dir.path("three.ddb")));
  delete model;
  delete copy;
}

// A clone whose nodes link to nodes of its master, saved together.
TEST(PdbRoundTrip, LinksIntoAnotherRootOfTheSameSegment) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_NODE* master = sample_model();
    T_NODE* clone = new T_NODE(T_KIND_A);
    T_NODE* child = clone->add(new T_NODE(T_KIND_B));
    child->m_linked_node = master->m_nodes[0];
    clone->m_linked_node = master;
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("pair")));
    {
      PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
      ASSERT_TRUE(writer.open());
      writer.write_reference("clone", clone);
      writer.write_reference("master", master);
      writer.write_reference("nothing", static_cast<T_NODE*>(nullptr));
      writer.finish_writing_all();
    }
    PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), "", ".ddb");
    ASSERT_TRUE(reader.open());
    reader.read_public_identifier_lists();
    EXPECT_EQ(reader.get_root_names(), (std::vector<std::string>{"clone", "master", "nothing"}));
    T_NODE* clone_copy = nullptr;
    T_NODE* master_copy = nullptr;
    T_NODE* nothing = master;
    ASSERT_TRUE(reader.read_reference("clone", clone_copy));
    ASSERT_TRUE(reader.read_reference("master", master_copy));
    EXPECT_TRUE(reader.read_reference("nothing", nothing));
    EXPECT_EQ(nothing, nullptr);
    T_NODE* missing = master;
    EXPECT_FALSE(reader.read_reference("missing", missing));
    EXPECT_EQ(missing, nullptr);
    EXPECT_THROW(reader.read_reference("clone", missing), PDB_DATABASE_EXCEPTION);
    reader.finish_reading_all();
    GRAPH_COMPARE compare;
    compare.nodes(clone, clone_copy);
    compare.nodes(master, master_copy);
    compare.links();
    EXPECT_EQ(clone_copy->m_nodes[0]->m_linked_node, master_copy->m_nodes[0]);
    delete clone;
    delete master;
    delete clone_copy;
    delete master_copy;
  }
  EXPECT_TRUE(counters.same());
}

// Reading one root alone: the other is freed and links into it become null.
TEST(PdbRoundTrip, RootsNotReadAreFreedAndLinksIntoThemCut) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_NODE* master = sample_model();
    T_NODE* clone = new T_NODE(T_KIND_A);
    clone->add(new T_NODE(T_KIND_B))->m_linked_node = master->m_nodes[2];
    clone->m_nodes[0]->m_data_root = int_leaf(5, 1);
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("pair")));
    {
      PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
      ASSERT_TRUE(writer.open());
      writer.write_reference("p_ref", clone);
      writer.write_reference("master", master);
      writer.finish_writing_all();
    }
    T_NODE* copy = nullptr;
    ASSERT_TRUE(pdb_read_(copy, archive, ""));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->m_nodes[0]->m_linked_node, nullptr);
    EXPECT_EQ(static_cast<T_INT_DATA*>(copy->m_nodes[0]->m_data_root)->m_value, 5);
    delete copy;
    delete clone;
    delete master;
  }
  EXPECT_TRUE(counters.same());
}

// Unclaimed trees that link to each other are freed in root order: the
// links out of them are cut first, so none looks at a tree freed before it.
TEST(PdbRoundTrip, UnclaimedTreesLinkingToEachOtherAreFreedSafely) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_NODE* b = sample_model();
    T_NODE* a = new T_NODE;
    a->m_linked_node = b->m_nodes[0];
    a->add(new T_NODE)->m_linked_node = b;
    T_NODE* kept = new T_NODE;
    kept->m_linked_node = a;
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("three")));
    {
      PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
      ASSERT_TRUE(writer.open());
      writer.write_reference("p_ref", kept);
      writer.write_reference("b", b);
      writer.write_reference("a", a);
      writer.finish_writing_all();
    }
    T_NODE* copy = nullptr;
    ASSERT_TRUE(pdb_read_(copy, archive, ""));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->m_linked_node, nullptr);
    delete copy;
    delete kept;
    delete a;
    delete b;
  }
  EXPECT_TRUE(counters.same());
}

// A tree handed out and destroyed before finish_reading_all is forgotten
// by the reader (its identity words tell it), and nothing is freed twice.
TEST(PdbRoundTrip, DestroyingWhatWasHandedOutBeforeTheEndIsSafe) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_NODE* master = sample_model();
    T_NODE* clone = new T_NODE(T_KIND_A);
    clone->add(new T_NODE(T_KIND_B))->m_linked_node = master->m_nodes[2];
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("pair")));
    {
      PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
      ASSERT_TRUE(writer.open());
      writer.write_reference("clone", clone);
      writer.write_reference("master", master);
      writer.finish_writing_all();
    }
    PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), "", ".ddb");
    ASSERT_TRUE(reader.open());
    T_NODE* copy = nullptr;
    ASSERT_TRUE(reader.read_reference("clone", copy));
    EXPECT_NE(copy->get_pdb_identity(), PDB_UNREGISTERED);  // held until the end
    delete copy;
    reader.finish_reading_all();
    delete clone;
    delete master;
  }
  EXPECT_TRUE(counters.same());
}

TEST(PdbRoundTrip, ReadingReplacesAndFreesThePreviousRoot) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_NODE* model = sample_model();
    save(dir, "model", model);
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("model")));
    T_NODE* root = sample_model();
    ASSERT_TRUE(pdb_read_(root, archive, ""));
    ASSERT_TRUE(pdb_read_(root, archive, ""));
    GRAPH_COMPARE compare;
    compare.nodes(model, root);
    compare.links();
    // A missing segment: false and null, the old root freed.
    EXPECT_FALSE(pdb_read_(root, archive, "other"));
    EXPECT_EQ(root, nullptr);
    delete model;
  }
  EXPECT_TRUE(counters.same());
}

TEST(PdbRoundTrip, ArchiveNamesAndSegmentFiles) {
  TEST_DIR dir;
  PDB_ARCHIVE archive;
  EXPECT_EQ(archive.segment_path("", ".ddb"), "");
  EXPECT_FALSE(archive.open(""));
  ASSERT_TRUE(archive.open(dir.path("a.txt")));
  EXPECT_EQ(archive.segment_path("", ".ddb"), dir.path("a.txt.ddb"));
  EXPECT_EQ(archive.segment_path("clone", ".ddb"), dir.path("a.txt.clone.ddb"));
  T_NODE* model = sample_model();
  ASSERT_TRUE(pdb_write_(model, archive, ""));
  ASSERT_TRUE(pdb_write_(model, archive, "clone"));
  EXPECT_TRUE(std::filesystem::exists(dir.path("a.txt.ddb")));
  EXPECT_TRUE(std::filesystem::exists(dir.path("a.txt.clone.ddb")));
  // Nothing but the two segments is left in the directory.
  std::size_t files = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir.path(""))) {
    ++files;
  }
  EXPECT_EQ(files, 2u);
  archive.close();
  T_NODE* root = nullptr;
  EXPECT_FALSE(pdb_read_(root, archive, ""));  // a closed archive opens nothing
  PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
  EXPECT_FALSE(writer.open());
  delete model;
}

TEST(PdbRoundTrip, EmptyAndNullRoots) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("empty")));
    ASSERT_TRUE(pdb_write_(static_cast<T_NODE*>(nullptr), archive, ""));
    T_NODE* root = new T_NODE;
    EXPECT_TRUE(pdb_read_(root, archive, ""));
    EXPECT_EQ(root, nullptr);
    T_NODE lone;
    ASSERT_TRUE(pdb_write_(&lone, archive, ""));
    ASSERT_TRUE(pdb_read_(root, archive, ""));
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(root->m_nodes.empty());
    EXPECT_EQ(lone.get_pdb_identity(), PDB_UNREGISTERED);
    delete root;
  }
  EXPECT_TRUE(counters.same());
}

// A root read as a base class of its own, and as an unrelated class.
TEST(PdbRoundTrip, RootIsCheckedAgainstTheTypeItIsReadAs) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("leaf")));
    T_LEAF leaf;
    leaf.m_description = "a leaf";
    ASSERT_TRUE(pdb_write_(&leaf, archive, ""));
    T_NODE* node = nullptr;
    ASSERT_TRUE(pdb_read_(node, archive, ""));
    ASSERT_NE(dynamic_cast<T_LEAF*>(node), nullptr);
    EXPECT_EQ(node->m_description, "a leaf");
    delete node;
    T_DATA* data = nullptr;
    EXPECT_THROW(pdb_read_(data, archive, ""), PDB_DATABASE_EXCEPTION);
    EXPECT_EQ(data, nullptr);
  }
  EXPECT_TRUE(counters.same());
}

// A long list is written and read without recursion.
TEST(PdbRoundTrip, LongOwnershipChains) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_LINE* head = nullptr;
    for (int i = 0; i < 200000; ++i) {
      T_LINE* line = new T_LINE;
      line->m_line_number = static_cast<std::int16_t>(i);
      line->m_next = head;
      if (head != nullptr) {
        head->m_prev = line;
      }
      head = line;
    }
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("chain")));
    ASSERT_TRUE(pdb_write_(head, archive, ""));
    T_LINE* copy = nullptr;
    ASSERT_TRUE(pdb_read_(copy, archive, ""));
    int count = 0;
    for (T_LINE* line = copy; line != nullptr; line = line->m_next) {
      EXPECT_EQ(line->m_next == nullptr || line->m_next->m_prev == line, true);
      ++count;
    }
    EXPECT_EQ(count, 200000);
    T_LINE::delete_list(head);
    T_LINE::delete_list(copy);
  }
  EXPECT_TRUE(counters.same());
}

}  // namespace
