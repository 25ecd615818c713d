// The writer refuses graphs that could not be read back and never replaces
// a good file by a bad one; registration refuses inconsistent classes; the
// transfer catches classes whose serialize breaks the rules.
#include <gtest/gtest.h>

#include <filesystem>

#include "msg_sys.h"
#include "pdb_test_support.h"

namespace {

// A subclass whose serialize forgets its own brackets and forwards to its
// base: it would be saved as its base.
class T_FORWARDING : public T_NODE {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }
  void serialize(PDB_SEGMENT& segment) override { T_NODE::serialize(segment); }
};

// Plain classes that break the transfer rules in one way each.
class T_BAD : public PDB_OBJECT<T_BAD> {
 public:
  enum FAULT { NO_BRACKETS, MOODY_FIELDS, WRONG_CLASS_INFO, NULL_ARRAY, WRONG_OBJECT };
  void serialize(PDB_SEGMENT& segment) {
    switch (s_fault) {
      case NO_BRACKETS:
        segment.xfr("m_value", m_value);
        return;
      case MOODY_FIELDS:
        segment.serialize_begin(s_pdb_class_info, this);
        if (m_value != 0) {
          segment.xfr("m_value", m_value);
        }
        segment.serialize_end();
        return;
      case WRONG_CLASS_INFO:
        segment.serialize_begin(s_pdb_class_info, this);
        segment.xfr_ref("m_node", m_node, T_DATA::s_pdb_class_info, PDB_OWNED);
        segment.serialize_end();
        return;
      case NULL_ARRAY:
        segment.serialize_begin(s_pdb_class_info, this);
        pdb_array_xfr_(segment, "m_parts", m_parts, 2, T_WRAPPER::s_pdb_class_info);
        segment.serialize_end();
        return;
      case WRONG_OBJECT:
        segment.serialize_begin(s_pdb_class_info, &s_other);
        segment.serialize_end();
        return;
    }
  }
  static inline FAULT s_fault = NO_BRACKETS;
  static inline T_WRAPPER s_other;
  std::int32_t m_value = 0;
  T_NODE* m_node = nullptr;
  T_WRAPPER* m_parts = nullptr;
};

[[maybe_unused]] const bool registered = [] {
  PDB_SEGMENT_INFO& ddb = pdb_ddb_segment_info();
  pdb_register_class<T_FORWARDING, T_NODE>(ddb, "T_FORWARDING", 0x20000001,
                                           &T_FORWARDING::s_pdb_class_info);
  pdb_register_class<T_BAD>(ddb, "T_BAD", 0x20000002, &T_BAD::s_pdb_class_info);
  return true;
}();

// Writes `root` over a good <dir>/target.ddb, expecting the exception with
// `expected` in its text; the good file must survive and no temporary file
// may remain. Every object's identity must be released.
template <class T>
void expect_refused(const T* root, const std::string& expected) {
  TEST_DIR dir;
  T_NODE* good = sample_model();
  save(dir, "target", good);
  delete good;
  const std::string before = TEST_DIR::read(dir.path("target.ddb"));
  PDB_ARCHIVE archive;
  ASSERT_TRUE(archive.open(dir.path("target")));
  try {
    pdb_write_(root, archive, "");
    ADD_FAILURE() << "no exception, expected: " << expected;
  } catch (const PDB_DATABASE_EXCEPTION& e) {
    EXPECT_NE(std::string(e.what()).find(expected), std::string::npos) << e.what();
  }
  EXPECT_EQ(TEST_DIR::read(dir.path("target.ddb")), before);
  std::size_t files = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir.path(""))) {
    ++files;
  }
  EXPECT_EQ(files, 1u) << "a temporary file was left";
  EXPECT_EQ(root->get_pdb_identity(), PDB_UNREGISTERED);
}

TEST(PdbWriter, RefusesAChildOwnedTwice) {
  T_NODE root;
  T_NODE* shared = root.add(new T_NODE);
  T_NODE* other = root.add(new T_NODE);
  other->m_nodes.push_back(shared);
  expect_refused(&root, "is owned twice, by object 0 (T_NODE) and by object 2 (T_NODE)");
  EXPECT_EQ(shared->get_pdb_identity(), PDB_UNREGISTERED);
  other->m_nodes.clear();
}

TEST(PdbWriter, RefusesALinkIntoATreeNotSaved) {
  T_NODE* master = sample_model();
  T_NODE clone;
  clone.add(new T_NODE)->m_linked_node = master->m_nodes[0];
  expect_refused(&clone, "is neither a root nor owned by another object (save the tree");
  EXPECT_EQ(master->m_nodes[0]->get_pdb_identity(), PDB_UNREGISTERED);
  clone.m_nodes[0]->m_linked_node = nullptr;
  delete master;
}

// The destructor looks at a linked node it does not own: within one tree
// that node must be one of its owners (alive while it is destroyed).
TEST(PdbWriter, RefusesALinkToANodeThatCouldBeFreedFirst) {
  {
    T_NODE root;
    T_NODE* first = root.add(new T_NODE);
    T_NODE* second = root.add(new T_NODE);
    second->m_linked_node = first;
    expect_refused(&root,
                   "object 2 (T_NODE) links to object 1 (T_NODE) of its own tree without "
                   "owning it");
    second->m_linked_node = nullptr;
  }
  {
    T_NODE root;
    T_NODE* child = root.add(new T_NODE);
    root.m_linked_node = child;
    expect_refused(&root, "object 0 (T_NODE) links to object 1 (T_NODE) of its own tree");
    root.m_linked_node = nullptr;
  }
  // Links to itself and to its owners are written.
  TEST_DIR dir;
  T_NODE root;
  T_NODE* child = root.add(new T_NODE);
  T_NODE* grandchild = child->add(new T_NODE);
  grandchild->m_linked_node = &root;
  child->m_linked_node = child;
  save(dir, "ancestors", &root);
  T_NODE* copy = load(dir, "ancestors");
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->m_nodes[0]->m_nodes[0]->m_linked_node, copy);
  EXPECT_EQ(copy->m_nodes[0]->m_linked_node, copy->m_nodes[0]);
  delete copy;
}

TEST(PdbWriter, RefusesAnOwnershipCycle) {
  T_NODE root;
  T_NODE* a = root.add(new T_NODE);
  a->m_nodes.push_back(&root);
  expect_refused(&root, "is a root and is also owned by object 1");
  a->m_nodes.clear();
}

TEST(PdbWriter, RefusesTransfersThatBreakTheRules) {
  struct CASE {
    T_BAD::FAULT m_fault;
    std::int32_t m_first_value;
    const char* m_expected;
  };
  const CASE cases[] = {
      {T_BAD::NO_BRACKETS, 1, "outside serialize_begin and serialize_end"},
      {T_BAD::MOODY_FIELDS, 1, "transfers 0 fields, the file has 1"},
      {T_BAD::WRONG_CLASS_INFO, 1,
       "class information T_DATA was not registered for the field's type"},
      {T_BAD::NULL_ARRAY, 1, "a null array with a count above 0"},
      {T_BAD::WRONG_OBJECT, 1, "names another object than the one transferred"},
  };
  for (const CASE& c : cases) {
    T_BAD::s_fault = c.m_fault;
    T_BAD bad;
    bad.m_value = c.m_first_value;
    if (c.m_fault == T_BAD::MOODY_FIELDS) {
      // Two objects of the class transfer different fields: the second is
      // reached as a second root.
      TEST_DIR dir;
      PDB_ARCHIVE archive;
      ASSERT_TRUE(archive.open(dir.path("bad")));
      T_BAD second;
      PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
      ASSERT_TRUE(writer.open());
      writer.write_reference("first", &bad);
      writer.write_reference("second", &second);
      try {
        writer.finish_writing_all();
        ADD_FAILURE() << c.m_expected;
      } catch (const PDB_DATABASE_EXCEPTION& e) {
        EXPECT_NE(std::string(e.what()).find(c.m_expected), std::string::npos) << e.what();
      }
      EXPECT_EQ(bad.get_pdb_identity(), PDB_UNREGISTERED);
      EXPECT_EQ(second.get_pdb_identity(), PDB_UNREGISTERED);
      continue;
    }
    expect_refused(&bad, c.m_expected);
  }
}

TEST(PdbWriter, ASubclassMustTransferItselfAsItsOwnClass) {
#ifdef NDEBUG
  GTEST_SKIP() << "checked in debug builds (it costs a second dispatch per object)";
#else
  T_NODE root;
  root.add(new T_FORWARDING);
  expect_refused(&root, "an object of class T_FORWARDING transfers itself as class T_NODE");
#endif
}

TEST(PdbWriter, RootsNamedTwiceOrTheSameObjectTwice) {
  TEST_DIR dir;
  PDB_ARCHIVE archive;
  ASSERT_TRUE(archive.open(dir.path("roots")));
  T_NODE node;
  {
    PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
    ASSERT_TRUE(writer.open());
    writer.write_reference("a", &node);
    EXPECT_THROW(writer.write_reference("a", &node), PDB_DATABASE_EXCEPTION);
    writer.write_reference("b", &node);
    EXPECT_THROW(writer.finish_writing_all(), PDB_DATABASE_EXCEPTION);
    EXPECT_EQ(node.get_pdb_identity(), PDB_UNREGISTERED);
  }
  EXPECT_FALSE(std::filesystem::exists(dir.path("roots.ddb")));
  {
    // A writer given up before finishing leaves nothing behind.
    PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
    ASSERT_TRUE(writer.open());
    writer.write_reference("p_ref", &node);
  }
  EXPECT_TRUE(std::filesystem::is_empty(dir.path("")));
}

TEST(PdbWriter, OneTransferAtATimeHoldsTheIdentities) {
  TEST_DIR dir;
  const COUNTERS counters;
  {
    T_NODE* model = sample_model();
    save(dir, "model", model);
    PDB_ARCHIVE archive;
    ASSERT_TRUE(archive.open(dir.path("model")));
    PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), "", ".ddb");
    ASSERT_TRUE(reader.open());
    T_NODE* copy = nullptr;
    ASSERT_TRUE(reader.read_reference("p_ref", copy));
    try {
      pdb_write_(model, archive, "other");
      ADD_FAILURE() << "a second transfer was allowed";
    } catch (const PDB_DATABASE_EXCEPTION& e) {
      EXPECT_NE(std::string(e.what()).find("another segment transfer is in progress"),
                std::string::npos);
    }
    EXPECT_EQ(model->get_pdb_identity(), PDB_UNREGISTERED);
    reader.finish_reading_all();
    EXPECT_TRUE(pdb_write_(model, archive, "other"));
    delete model;
    delete copy;
  }
  EXPECT_TRUE(counters.same());
}

TEST(PdbWriter, APlaceThatCannotBeWrittenAnswersFalse) {
  TEST_DIR dir;
  PDB_ARCHIVE archive;
  ASSERT_TRUE(archive.open(dir.path("missing/directory/model")));
  T_NODE node;
  EXPECT_FALSE(pdb_write_(&node, archive, ""));
  T_NODE* root = nullptr;
  EXPECT_FALSE(pdb_read_(root, archive, ""));
  // A directory where the file should be: not a database.
  std::filesystem::create_directory(dir.path("dir.ddb"));
  ASSERT_TRUE(archive.open(dir.path("dir")));
  EXPECT_FALSE(pdb_read_(root, archive, ""));
}

// --- Registration ------------------------------------------------------------------

class T_UNREGISTERED_BASE : public PDB_VIRTUAL_OBJECT<T_UNREGISTERED_BASE> {
 public:
  void serialize(PDB_SEGMENT&) override {}
};
class T_ORPHAN_CLASS : public T_UNREGISTERED_BASE {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
};
class T_PLAIN_CHILD : public PDB_OBJECT<T_PLAIN_CHILD> {
 public:
  void serialize(PDB_SEGMENT&) {}
};
class T_NO_SLOT : public T_NODE {};

TEST(PdbRegistration, ClassRecords) {
  const PDB_CLASS_INFO* node = T_NODE::s_pdb_class_info;
  const PDB_CLASS_INFO* leaf = T_LEAF::s_pdb_class_info;
  ASSERT_NE(node, nullptr);
  ASSERT_NE(leaf, nullptr);
  EXPECT_STREQ(leaf->get_name(), "T_LEAF");
  EXPECT_EQ(leaf->get_base(), node);
  EXPECT_EQ(leaf->get_signature(), 0x10000004U);
  EXPECT_EQ(leaf->get_object_size(), sizeof(T_LEAF));
  EXPECT_TRUE(leaf->is_virtual());
  EXPECT_FALSE(T_KEY::s_pdb_class_info->is_virtual());
  EXPECT_TRUE(leaf->is_a(node));
  EXPECT_FALSE(node->is_a(leaf));
  EXPECT_FALSE(leaf->is_a(T_DATA::s_pdb_class_info));
  EXPECT_EQ(pdb_class_info_of<T_LEAF>(), leaf);
  EXPECT_EQ(pdb_class_info_of<T_NO_SLOT>(), nullptr);
  EXPECT_EQ(PDB_CLASS_INFO::find_index(leaf->get_index()), leaf);
  EXPECT_EQ(pdb_ddb_segment_info().find_class("T_LEAF", 6), leaf);
  EXPECT_EQ(pdb_ddb_segment_info().find_class("T_LEAFY", 7), nullptr);
  EXPECT_STREQ(pdb_ddb_segment_info().get_kind(), ".ddb");
  T_LEAF object;
  EXPECT_FALSE(object.is_auto_match_pdb_xfr(&object, nullptr));
  EXPECT_EQ(object.pdb_class_info(), leaf);
  EXPECT_EQ(static_cast<const T_NODE&>(object).pdb_class_info(), leaf);
}

// The identity is one 32-bit word: a plain object of two ints takes 12
// bytes, and a polymorphic one packs a first int32 member beside the word.
TEST(PdbRegistration, TheIdentityWordIsAllTheBasesAdd) {
  struct POLY : PDB_VIRTUAL_OBJECT<POLY> {
    void serialize(PDB_SEGMENT&) override {}
    std::int32_t m_value = 0;
  };
  EXPECT_EQ(sizeof(PDB_OBJECT_BASE), 4u);
  EXPECT_EQ(sizeof(T_WRAPPER), 12u);
  EXPECT_EQ(sizeof(POLY), 2 * sizeof(void*));
  EXPECT_EQ(T_WRAPPER().get_pdb_identity(), PDB_UNREGISTERED);
}

TEST(PdbRegistration, InconsistentRegistrationsAreReportedAndRefused) {
  PDB_SEGMENT_INFO other("other");
  MSG_CAPTURE capture;
  PDB_CLASS_INFO* slot = nullptr;
  EXPECT_EQ(pdb_register_class<T_NODE>(pdb_ddb_segment_info(), "T_NODE", 1, &slot), nullptr);
  EXPECT_EQ((pdb_register_class<T_NO_SLOT, T_NODE>(pdb_ddb_segment_info(), "T_NO_SLOT", 1,
                                                   &T_NO_SLOT::s_pdb_class_info)),
            nullptr);
  EXPECT_EQ((pdb_register_class<T_ORPHAN_CLASS, T_UNREGISTERED_BASE>(
                other, "T_ORPHAN_CLASS", 1, &T_ORPHAN_CLASS::s_pdb_class_info)),
            nullptr);
  EXPECT_EQ(pdb_register_class<T_LEAF>(other, "", 1, &slot), nullptr);
  PDB_CLASS_INFO* leaf_slot = nullptr;
  EXPECT_EQ((pdb_register_class<T_LEAF, T_NODE>(other, "T_LEAF", 1, &leaf_slot)), nullptr);
  EXPECT_EQ(PDB_CLASS_INFO::register_class("T_PLAIN_CHILD", T_NODE::s_pdb_class_info,
                                           sizeof(T_PLAIN_CHILD), 1, pdb_ddb_segment_info(), &slot,
                                           PDB_CLASS_THUNKS{}),
            nullptr);
  const std::vector<std::string> expected = {
      "Cannot register persistent class T_NODE: a class of that name is registered already",
      "Cannot register persistent class T_NO_SLOT: its class-information slot is missing or set "
      "already",
      "Cannot register persistent class T_ORPHAN_CLASS: its base class is not registered",
      "Cannot register persistent class : no name",
      "Cannot register persistent class T_LEAF: its base is not a virtual class of the same "
      "segment kind",
      "Cannot register persistent class T_PLAIN_CHILD: a thunk, its size or its type is missing",
  };
  EXPECT_EQ(capture.get_texts(), expected);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(leaf_slot, nullptr);
  // A class of its own segment kind registers.
  PDB_CLASS_INFO* plain_slot = nullptr;
  PDB_CLASS_INFO* plain = pdb_register_class<T_PLAIN_CHILD>(other, "T_PLAIN_CHILD", 5, &plain_slot);
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(plain_slot, plain);
  EXPECT_EQ(other.get_class_count(), 1u);
  EXPECT_EQ(capture.get_count(), expected.size());
}

TEST(PdbChecksum, IsTheZlibCrc32) {
  EXPECT_EQ(pdb_crc32("123456789", 9), 0xCBF43926U);
  EXPECT_EQ(pdb_crc32("", 0), 0U);
  const std::string text = "The quick brown fox jumps over the lazy dog";
  EXPECT_EQ(pdb_crc32(text.data(), text.size()), 0x414FA339U);
  // Chained in two parts, at every split.
  for (std::size_t split = 0; split <= text.size(); ++split) {
    EXPECT_EQ(pdb_crc32(text.data() + split, text.size() - split, pdb_crc32(text.data(), split)),
              0x414FA339U);
  }
}

}  // namespace
