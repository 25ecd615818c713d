// The model's persistence: the registration of its 26 classes, round trips
// of models built through the node entry points (compared object by object,
// by their dumps and by thousands of queries), linked clones saved with
// their master, line lists and data chains, and the graphs a writer refuses.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <typeindex>
#include <vector>

#include "ddb_dtm__pdb.h"
#include "dtm_data_class.h"
#include "dtm_ff_node.h"
#include "dtm_float_table_node.h"
#include "dtm_gen.h"
#include "dtm_integer_node.h"
#include "dtm_line_node.h"
#include "dtm_micro_node.h"
#include "dtm_output_port_re_node.h"
#include "dtm_pdb_support.h"
#include "dtm_rc_node.h"
#include "dtm_re_input_port_node.h"
#include "dtm_re_node.h"
#include "dtm_re_table_node.h"
#include "dtm_table_node.h"
#include "msg_sys.h"

using namespace dtm_pdb_test;

namespace {

// --- Registration ---------------------------------------------------------------------

struct CLASS_CASE {
  const char* m_name;
  std::uint32_t m_signature;
  bool m_virtual;
  const char* m_base;  // null: none
  PDB_CLASS_INFO* const* m_slot;
};

const CLASS_CASE k_class_cases[] = {
    {"DTM_NODE", 0x02BD41D5, true, nullptr, &DTM_NODE::s_pdb_class_info},
    {"DTM_ENUM_WRAPPER", 0x11BBC1B3, false, nullptr, &DTM_ENUM_WRAPPER::s_pdb_class_info},
    {"DTM_LINE_NODE", 0x2AA631C8, false, nullptr, &DTM_LINE_NODE::s_pdb_class_info},
    {"DTM_FF_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_FF_NODE::s_pdb_class_info},
    {"DTM_RE_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_RE_NODE::s_pdb_class_info},
    {"DTM_RE_TABLE_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_RE_TABLE_NODE::s_pdb_class_info},
    {"DTM_RE_INPUT_PORT_NODE", 0x696BF1B3, true, "DTM_NODE",
     &DTM_RE_INPUT_PORT_NODE::s_pdb_class_info},
    {"DTM_OUTPUT_PORT_RE_NODE", 0x696BF1B3, true, "DTM_NODE",
     &DTM_OUTPUT_PORT_RE_NODE::s_pdb_class_info},
    {"DTM_TABLE_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_TABLE_NODE::s_pdb_class_info},
    {"DTM_FLOAT_TABLE_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_FLOAT_TABLE_NODE::s_pdb_class_info},
    {"DTM_INTEGER_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_INTEGER_NODE::s_pdb_class_info},
    {"DTM_RC_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_RC_NODE::s_pdb_class_info},
    {"DTM_MICRO_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_MICRO_NODE::s_pdb_class_info},
    {"DTM_P2P_NODE", 0x363F8DBD, true, "DTM_NODE", &DTM_P2P_NODE::s_pdb_class_info},
    {"DTM_P2P_IN_OUT_NODE", 0x696BF1B3, true, "DTM_NODE", &DTM_P2P_IN_OUT_NODE::s_pdb_class_info},
    {"DTM_P2P_IN_BURIED_NODE", 0x696BF1B3, true, "DTM_NODE",
     &DTM_P2P_IN_BURIED_NODE::s_pdb_class_info},
    {"DTM_P2P_BURIED_OUT_NODE", 0x696BF1B3, true, "DTM_NODE",
     &DTM_P2P_BURIED_OUT_NODE::s_pdb_class_info},
    {"DTM_P2P_BURIED_BURIED_NODE", 0x696BF1B3, true, "DTM_NODE",
     &DTM_P2P_BURIED_BURIED_NODE::s_pdb_class_info},
    {"DTM_BASE_DATA", 0xDBE791F8, true, nullptr, &DTM_BASE_DATA::s_pdb_class_info},
    {"DTM_INT_DATA", 0x37796836, true, "DTM_BASE_DATA", &DTM_INT_DATA::s_pdb_class_info},
    {"DTM_FLOAT_DATA", 0x64FEB9E6, true, "DTM_BASE_DATA", &DTM_FLOAT_DATA::s_pdb_class_info},
    {"DTM_PTR_DATA", 0xA73BB36B, true, "DTM_BASE_DATA", &DTM_PTR_DATA::s_pdb_class_info},
    {"DTM_TREE_DATA_KEY", 0x4AE225C5, false, nullptr, &DTM_TREE_DATA_KEY::s_pdb_class_info},
    {"DTM_TREE_DATA", 0x78BE19BC, true, nullptr, &DTM_TREE_DATA::s_pdb_class_info},
    {"DTM_TREE_INT_DATA", 0x3AA3BE80, true, "DTM_TREE_DATA", &DTM_TREE_INT_DATA::s_pdb_class_info},
    {"DTM_TREE_FLOAT_DATA", 0x49315DFC, true, "DTM_TREE_DATA",
     &DTM_TREE_FLOAT_DATA::s_pdb_class_info},
};

TEST(DdbDtmRegistration, TwentySixClassesInOrderWithTheirSignaturesAndForms) {
  EXPECT_TRUE(dtm_pdb_register_classes());
  EXPECT_TRUE(dtm_pdb_register_classes()) << "a second call changes nothing";
  const PDB_SEGMENT_INFO& ddb = pdb_ddb_segment_info();
  EXPECT_EQ(ddb.get_max_ownership_depth(), DTM_PDB_MAX_OWNERSHIP_DEPTH);
  const PDB_CLASS_INFO* previous = nullptr;
  for (const CLASS_CASE& c : k_class_cases) {
    SCOPED_TRACE(c.m_name);
    const PDB_CLASS_INFO* info = ddb.find_class(c.m_name, std::strlen(c.m_name));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(*c.m_slot, info);
    EXPECT_EQ(info->get_signature(), c.m_signature);
    EXPECT_EQ(info->is_virtual(), c.m_virtual);
    EXPECT_EQ(info->get_thunks().m_serializer != nullptr, !c.m_virtual);
    if (c.m_base == nullptr) {
      EXPECT_EQ(info->get_base(), nullptr);
    } else {
      ASSERT_NE(info->get_base(), nullptr);
      EXPECT_STREQ(info->get_base()->get_name(), c.m_base);
    }
    if (previous != nullptr) {
      EXPECT_EQ(info->get_index(), previous->get_index() + 1) << "registered right after";
    }
    previous = info;
  }
}

// Objects of every class: each answers its own class record, refuses
// automatic matching with the report naming its class, and is destroyed.
TEST(DdbDtmRegistration, EveryObjectKnowsItsClassAndRefusesAutoMatching) {
  COUNTERS counters;
  std::vector<PDB_VIRTUAL_OBJECT_BASE*> objects = {
      MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true),
      MEM_MANAGER::new_wrapper<DTM_FF_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_RE_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_RE_TABLE_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_RE_INPUT_PORT_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_OUTPUT_PORT_RE_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_TABLE_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_FLOAT_TABLE_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_INTEGER_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_RC_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_MICRO_NODE>(true),
      DTM_P2P_NODE::make_with_directions(),
      MEM_MANAGER::new_wrapper<DTM_P2P_IN_OUT_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_P2P_IN_BURIED_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_P2P_BURIED_OUT_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_P2P_BURIED_BURIED_NODE>(true),
      MEM_MANAGER::new_wrapper<DTM_BASE_DATA>(),
      MEM_MANAGER::new_wrapper<DTM_INT_DATA>(),
      MEM_MANAGER::new_wrapper<DTM_FLOAT_DATA>(),
      MEM_MANAGER::new_wrapper<DTM_PTR_DATA>(),
      MEM_MANAGER::new_wrapper<DTM_TREE_DATA>(),
      MEM_MANAGER::new_wrapper<DTM_TREE_INT_DATA>(),
      MEM_MANAGER::new_wrapper<DTM_TREE_FLOAT_DATA>(),
  };
  std::vector<std::string> expected;
  {
    MSG_CAPTURE capture;
    for (PDB_VIRTUAL_OBJECT_BASE* object : objects) {
      ASSERT_NE(object->pdb_class_info(), nullptr);
      const auto* constant = static_cast<const PDB_VIRTUAL_OBJECT_BASE*>(object);
      EXPECT_EQ(constant->pdb_class_info(), object->pdb_class_info());
      EXPECT_FALSE(object->is_auto_match_pdb_xfr(object, nullptr));
      expected.push_back(std::string("Auto-generation of ") + object->pdb_class_info()->get_name() +
                         "::is_auto_match_pdb_xfr is not enabled");
    }
    DTM_ENUM_WRAPPER wrapper;
    DTM_TREE_DATA_KEY key;
    DTM_LINE_NODE line;
    EXPECT_FALSE(wrapper.is_auto_match_pdb_xfr(&wrapper, nullptr));
    EXPECT_FALSE(key.is_auto_match_pdb_xfr(&key, nullptr));
    EXPECT_FALSE(line.is_auto_match_pdb_xfr(&line, nullptr));
    for (const char* name : {"DTM_ENUM_WRAPPER", "DTM_TREE_DATA_KEY", "DTM_LINE_NODE"}) {
      expected.push_back(std::string("Auto-generation of ") + name +
                         "::is_auto_match_pdb_xfr is not enabled");
    }
    EXPECT_EQ(capture.get_texts(), expected);
    for (const MSG_REPORT& report : capture.get_reports()) {
      EXPECT_EQ(report.m_module, "DTM");
      EXPECT_EQ(report.m_source, "ddb_dtm__pdbg");
    }
  }
  // 23 virtual objects, in the order of the class table without the plain ones.
  std::vector<std::string> names;
  for (PDB_VIRTUAL_OBJECT_BASE* object : objects) {
    names.push_back(object->pdb_class_info()->get_name());
  }
  std::vector<std::string> virtual_names;
  for (const CLASS_CASE& c : k_class_cases) {
    if (c.m_virtual) {
      virtual_names.push_back(c.m_name);
    }
  }
  EXPECT_EQ(names, virtual_names);
  DTM_NODE* p2p = static_cast<DTM_NODE*>(objects[11]);
  for (PDB_VIRTUAL_OBJECT_BASE* object : objects) {
    if (auto* node = dynamic_cast<DTM_NODE*>(object)) {
      MEM_MANAGER::delete_wrapper(node);
    } else if (auto* data = dynamic_cast<DTM_BASE_DATA*>(object)) {
      MEM_MANAGER::delete_wrapper(data);
    } else {
      MEM_MANAGER::delete_wrapper(dynamic_cast<DTM_TREE_DATA*>(object));
    }
  }
  (void)p2p;
  EXPECT_TRUE(counters.same());
}

// --- Round trips ------------------------------------------------------------------------

struct ROUND_TRIP_CASE {
  unsigned m_seed;
  int m_delays;
};

class DdbDtmRoundTrip : public ::testing::TestWithParam<ROUND_TRIP_CASE> {};

TEST_P(DdbDtmRoundTrip, ModelsCompareEqualByObjectsDumpsAndQueries) {
  const ROUND_TRIP_CASE c = GetParam();
  TEST_DIR dir;
  COUNTERS counters;
  MSG_CAPTURE capture;
  {
    RANDOM_MODEL model = build_random_model(c.m_seed, c.m_delays);
    save_model(dir, "model", model.m_root);
    std::string message;
    DTM_NODE* back = load_model(dir, "model", &message);
    ASSERT_NE(back, nullptr) << message;

    MODEL_COMPARE compare;
    compare.nodes(model.m_root, back);
    compare.links();
    EXPECT_EQ(outline(*model.m_root), outline(*back));
    EXPECT_EQ(differences(*model.m_root, *back), "");
    EXPECT_EQ(differences(*back, *model.m_root), "");

    std::vector<QUERY> queries = random_queries(c.m_seed + 1, 3000);
    queries.insert(queries.end(), model.m_stored.begin(), model.m_stored.end());
    int hits = 0;
    for (const QUERY& q : queries) {
      const double a = ask(*model.m_root, q);
      const double b = ask(*back, q);
      ASSERT_TRUE(same_bits(a, b)) << kinds()[q.m_kind].m_name << " " << a << " " << b;
      hits += a != DTM_ILLEGAL_DELAY && a != DTM_ILLEGAL_FLOAT && a != DTM_ILLEGAL_TABLE_FLOAT;
    }
    EXPECT_GE(hits, static_cast<int>(model.m_stored.size()) / 2) << "the queries must mostly hit";

    // The loaded model saves to the same bytes: nothing was lost or added.
    save_model(dir, "again", back);
    EXPECT_EQ(TEST_DIR::read(dir.path("model.ddb")), TEST_DIR::read(dir.path("again.ddb")));

    // The loaded model is a normal model: it takes more delays.
    EXPECT_TRUE(back->add_micro_node_delay(7, TCO_DELAY, DTM_MAP_SPEED_GRADE_2));
    EXPECT_EQ(back->get_micro_node_delay(TCO_DELAY, DTM_MAP_SPEED_GRADE_2), 7);
    EXPECT_NE(differences(*back, *model.m_root), "") << "the comparison sees a difference";

    MEM_MANAGER::delete_wrapper(back);
    MEM_MANAGER::delete_wrapper(model.m_root);
  }
  EXPECT_EQ(capture.get_count(), 0u) << capture.get_texts()[0];
  EXPECT_TRUE(counters.same());
}

INSTANTIATE_TEST_SUITE_P(Seeds, DdbDtmRoundTrip,
                         ::testing::Values(ROUND_TRIP_CASE{1, 200}, ROUND_TRIP_CASE{2, 2000},
                                           ROUND_TRIP_CASE{3, 6000}));

// A model with every node and delay-tree class reads back with the same
// classes; keys and wrappers go inside the tree's records.
TEST(DdbDtmRoundTripClasses, EveryClassOfTheModelComesBack) {
  TEST_DIR dir;
  COUNTERS counters;
  RANDOM_MODEL model = build_random_model(11, 3000);
  save_model(dir, "model", model.m_root);
  DTM_NODE* back = load_model(dir, "model");
  ASSERT_NE(back, nullptr);
  std::set<std::string> classes;
  std::vector<const DTM_NODE*> nodes = {back};
  std::vector<const DTM_TREE_DATA*> data;
  while (!nodes.empty()) {
    const DTM_NODE* node = nodes.back();
    nodes.pop_back();
    classes.insert(node->pdb_class_info()->get_name());
    nodes.insert(nodes.end(), node->get_nodes().begin(), node->get_nodes().end());
    if (const auto* p2p = dynamic_cast<const DTM_P2P_NODE*>(node)) {
      for (const DTM_NODE* d : {static_cast<const DTM_NODE*>(p2p->get_in_out_node()),
                                static_cast<const DTM_NODE*>(p2p->get_in_buried_node()),
                                static_cast<const DTM_NODE*>(p2p->get_buried_out_node()),
                                static_cast<const DTM_NODE*>(p2p->get_buried_buried_node())}) {
        if (d != nullptr) {
          nodes.push_back(d);
        }
      }
    }
    if (node->get_data_root() != nullptr) {
      data.push_back(node->get_data_root());
    }
  }
  std::size_t longest_key = 0;
  while (!data.empty()) {
    const DTM_TREE_DATA* d = data.back();
    data.pop_back();
    classes.insert(d->pdb_class_info()->get_name());
    ASSERT_NE(d->get_key(), nullptr);
    longest_key = std::max<std::size_t>(longest_key, d->get_key()->get_num_wrapper());
    for (const DTM_TREE_DATA* child : {d->get_left(), d->get_right()}) {
      if (child != nullptr) {
        data.push_back(child);
      }
    }
  }
  std::set<std::string> expected;
  for (const CLASS_CASE& c : k_class_cases) {
    const std::string name = c.m_name;
    if (name.find("_DATA") == std::string::npos || name.find("TREE") != std::string::npos) {
      expected.insert(name);
    }
  }
  for (const char* embedded : {"DTM_ENUM_WRAPPER", "DTM_LINE_NODE", "DTM_TREE_DATA_KEY"}) {
    expected.erase(embedded);
  }
  EXPECT_EQ(classes, expected);
  EXPECT_EQ(longest_key, 3u) << "keys of three wrappers live outside the key's inline storage";
  MEM_MANAGER::delete_wrapper(back);
  MEM_MANAGER::delete_wrapper(model.m_root);
  EXPECT_TRUE(counters.same());
}

// A loaded model takes no more memory than the one it was saved from: keys
// and wrappers are back inside their nodes (one block per delay).
TEST(DdbDtmRoundTripClasses, LoadedModelUsesTheSameMemory) {
  TEST_DIR dir;
  RANDOM_MODEL model = build_random_model(5, 2000);
  const MEM_COUNTERS before = MEM_MANAGER::get_counters();
  MEM_MANAGER::delete_wrapper(model.m_root);
  const MEM_COUNTERS without = MEM_MANAGER::get_counters();
  model = build_random_model(5, 2000);
  save_model(dir, "model", model.m_root);
  MEM_MANAGER::delete_wrapper(model.m_root);
  DTM_NODE* back = load_model(dir, "model");
  ASSERT_NE(back, nullptr);
  const MEM_COUNTERS loaded = MEM_MANAGER::get_counters();
  // At most: the loaded model's vectors are sized exactly and its child
  // indexes are built on the first lookups.
  EXPECT_LE(loaded.m_live_objects - without.m_live_objects,
            before.m_live_objects - without.m_live_objects);
  EXPECT_LE(loaded.m_live_bytes - without.m_live_bytes, before.m_live_bytes - without.m_live_bytes);
  MEM_MANAGER::delete_wrapper(back);
}

// --- Linked nodes -----------------------------------------------------------------------

struct CLONE_SET {
  RANDOM_MODEL m_master;
  DTM_NODE* m_clone = nullptr;
  MEM_SEGMENT m_segment{"clone"};
};

// A master, and its clone without data linked leaf by leaf to it; the clone
// then overrides a few delays of its own.
void make_clone_set(CLONE_SET& set, unsigned seed) {
  set.m_master = build_random_model(seed, 1500);
  set.m_clone = set.m_master.m_root->clone(&set.m_segment, true, false);
  ASSERT_TRUE(set.m_clone->link_clone(set.m_master.m_root));
  for (std::size_t i = 0; i < set.m_master.m_stored.size(); i += 10) {
    const QUERY& q = set.m_master.m_stored[i];
    kinds()[q.m_kind].m_add(*set.m_clone, 4242, q.m_keys, q.m_path);
  }
}

void write_clone_set(const TEST_DIR& dir, const std::string& stem, const CLONE_SET& set) {
  PDB_ARCHIVE archive;
  archive.open(dir.path(stem));
  PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
  ASSERT_TRUE(writer.open());
  writer.write_reference("p_ref", set.m_clone);
  writer.write_reference("master", set.m_master.m_root);
  writer.finish_writing_all();
}

TEST(DdbDtmLinkedNodes, CloneAndMasterSavedTogetherKeepTheFallbacks) {
  TEST_DIR dir;
  COUNTERS counters;
  {
    CLONE_SET set;
    make_clone_set(set, 21);
    write_clone_set(dir, "set", set);

    PDB_ARCHIVE archive;
    archive.open(dir.path("set"));
    PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), "", ".ddb");
    ASSERT_TRUE(reader.open());
    DTM_NODE* clone = nullptr;
    DTM_NODE* master = nullptr;
    ASSERT_TRUE(reader.read_reference("p_ref", clone));
    ASSERT_TRUE(reader.read_reference("master", master));
    reader.finish_reading_all();
    ASSERT_NE(clone, nullptr);
    ASSERT_NE(master, nullptr);

    MODEL_COMPARE compare;
    compare.nodes(set.m_clone, clone);
    compare.nodes(set.m_master.m_root, master);
    compare.links();
    EXPECT_EQ(outline(*set.m_clone), outline(*clone));

    int fallbacks = 0;
    int overrides = 0;
    std::vector<QUERY> queries = random_queries(22, 2000);
    queries.insert(queries.end(), set.m_master.m_stored.begin(), set.m_master.m_stored.end());
    for (const QUERY& q : queries) {
      const double expected = ask(*set.m_clone, q);
      ASSERT_TRUE(same_bits(expected, ask(*clone, q))) << kinds()[q.m_kind].m_name;
      const double from_master = ask(*master, q);
      fallbacks += same_bits(expected, from_master) && from_master != DTM_ILLEGAL_DELAY &&
                   from_master != DTM_ILLEGAL_FLOAT && from_master != DTM_ILLEGAL_TABLE_FLOAT;
      overrides += expected == 4242;
    }
    EXPECT_GT(fallbacks, 500) << "the clone's own leaves hold almost nothing";
    EXPECT_GT(overrides, 50);

    // A clone goes before its master.
    MEM_MANAGER::delete_wrapper(clone);
    MEM_MANAGER::delete_wrapper(master);
    MEM_MANAGER::delete_wrapper(set.m_clone);
    MEM_MANAGER::delete_wrapper(set.m_master.m_root);
  }
  EXPECT_TRUE(counters.same());
}

// Reading the clone alone frees the master's tree; the links into it are cut,
// so the clone answers its own delays and nothing dangles.
TEST(DdbDtmLinkedNodes, CloneReadWithoutItsMasterLosesOnlyTheLinks) {
  TEST_DIR dir;
  COUNTERS counters;
  {
    CLONE_SET set;
    make_clone_set(set, 31);
    write_clone_set(dir, "set", set);
    DTM_NODE* clone = load_model(dir, "set");
    ASSERT_NE(clone, nullptr);
    std::vector<const DTM_NODE*> nodes = {clone};
    while (!nodes.empty()) {
      const DTM_NODE* node = nodes.back();
      nodes.pop_back();
      EXPECT_EQ(node->get_linked_node(), nullptr);
      nodes.insert(nodes.end(), node->get_nodes().begin(), node->get_nodes().end());
    }
    for (std::size_t i = 0; i < set.m_master.m_stored.size(); ++i) {
      const QUERY& q = set.m_master.m_stored[i];
      const double value = ask(*clone, q);
      EXPECT_TRUE(value == 4242 || value == DTM_ILLEGAL_DELAY || value == DTM_ILLEGAL_FLOAT ||
                  value == DTM_ILLEGAL_TABLE_FLOAT)
          << kinds()[q.m_kind].m_name << " " << value;
    }
    MEM_MANAGER::delete_wrapper(clone);
    MEM_MANAGER::delete_wrapper(set.m_clone);
    MEM_MANAGER::delete_wrapper(set.m_master.m_root);
  }
  EXPECT_TRUE(counters.same());
}

// A linked node of version 1 belongs to the node linked to it: it comes back
// as its own copy, and goes with its owner.
TEST(DdbDtmLinkedNodes, LinkedNodeOfVersionOneIsOwnedAndSavedWithItsOwner) {
  TEST_DIR dir;
  COUNTERS counters;
  DTM_NODE* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  root->add_micro_node_delay(10, TCO_DELAY, DTM_MAP_DEVICE);
  DTM_NODE* micro = root->get_node(DTM_MAP_DEVICE, DTM_MICRO);
  DTM_MICRO_NODE* owned = MEM_MANAGER::new_wrapper<DTM_MICRO_NODE>(true);
  owned->set_version(1);
  owned->add_micro_node_delay(20, TSU_DELAY);
  owned->append_node_to(micro);
  // And a link to the node's own parent, which is not owned.
  root->get_node(DTM_MAP_DEVICE)->append_node_to(root->get_node(DTM_MAP_DEVICE));
  save_model(dir, "owned", root);
  DTM_NODE* back = load_model(dir, "owned");
  ASSERT_NE(back, nullptr);
  MODEL_COMPARE compare;
  compare.nodes(root, back);
  compare.links();
  EXPECT_EQ(back->get_micro_node_delay(TSU_DELAY, DTM_MAP_DEVICE), 20) << "the fallback";
  EXPECT_EQ(back->get_micro_node_delay(TCO_DELAY, DTM_MAP_DEVICE), 10);
  MEM_MANAGER::delete_wrapper(back);
  MEM_MANAGER::delete_wrapper(root);
  EXPECT_TRUE(counters.same());
}

// --- The example models ---------------------------------------------------------------

// Every bundled DMF example, built with the pipeline, saves and reads back
// equal: object by object, by its dump, and to the same bytes again.
TEST(DdbDtmExamples, EveryExampleModelComesBackEqual) {
  const struct {
    const char* m_file;
    const char* m_device;  // null: a plain file
  } cases[] = {{"plain.dmf", nullptr},
               {"family.dmf", "KX10"},
               {"family.dmf", "KX20"},
               {"family.dmf", "KX40"}};
  TEST_DIR dir;
  COUNTERS counters;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.m_device != nullptr ? c.m_device : c.m_file);
    MSG_CAPTURE capture;
    const std::string file = std::string(KESTREL_EXAMPLES_DIR) + "/" + c.m_file;
    const std::string device = c.m_device != nullptr ? c.m_device : "";
    DTM_NODE* model = DTM_FACTORY().build_nodes(
        file.c_str(), c.m_device != nullptr ? &device : nullptr, false, false);
    ASSERT_NE(model, nullptr);
    EXPECT_EQ(capture.get_count(), 0u) << "the examples are clean models";
    save_model(dir, "example", model);
    DTM_NODE* back = load_model(dir, "example");
    ASSERT_NE(back, nullptr);
    MODEL_COMPARE compare;
    compare.nodes(model, back);
    compare.links();
    EXPECT_GT(compare.get_objects(), 15u);
    EXPECT_EQ(outline(*model), outline(*back));
    EXPECT_EQ(differences(*model, *back), "");
    EXPECT_EQ(differences(*back, *model), "");
    EXPECT_NE(outline(*back).find("|-- ["), std::string::npos) << "the dump shows delays";
    save_model(dir, "again", back);
    EXPECT_EQ(TEST_DIR::read(dir.path("example.ddb")), TEST_DIR::read(dir.path("again.ddb")));
    MEM_MANAGER::delete_wrapper(back);
    MEM_MANAGER::delete_wrapper(model);
    EXPECT_EQ(capture.get_count(), 0u);
  }
  EXPECT_TRUE(counters.same());
}

// --- What a writer refuses ----------------------------------------------------------------

struct REFUSED_CASE {
  const char* m_name;
  const char* m_expected;                 // part of the message
  DTM_NODE* (*m_make)(DTM_NODE*& other);  // `other`: a tree to free as well
};

const REFUSED_CASE k_refused_cases[] = {
    {"link into a tree that is not saved", "neither a root nor owned",
     [](DTM_NODE*& other) {
       other = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
       other->add_micro_node_delay(1, TCO_DELAY, DTM_MAP_DEVICE);
       DTM_NODE* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
       root->add_micro_node_delay(2, TSU_DELAY, DTM_MAP_DEVICE);
       other->get_node(DTM_MAP_DEVICE, DTM_MICRO)
           ->append_node_to(root->get_node(DTM_MAP_DEVICE, DTM_MICRO));
       return root;
     }},
    {"link to a sibling", "destroying the tree could free it first",
     [](DTM_NODE*&) {
       DTM_NODE* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
       root->add_micro_node_delay(1, TCO_DELAY, DTM_MAP_DEVICE);
       root->add_micro_node_delay(2, TCO_DELAY, DTM_MAP_SPEED_GRADE_1);
       root->get_node(DTM_MAP_SPEED_GRADE_1, DTM_MICRO)
           ->append_node_to(root->get_node(DTM_MAP_DEVICE, DTM_MICRO));
       return root;
     }},
    {"a node under two parents", "owned twice",
     [](DTM_NODE*& other) {
       DTM_NODE* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
       root->add_micro_node_delay(1, TCO_DELAY, DTM_MAP_DEVICE);
       DTM_NODE* shared = root->get_node(DTM_MAP_DEVICE, DTM_MICRO);
       root->add_node(MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_CORE, true));
       root->get_node(DTM_MAP_CORE)->add_node(shared);
       // Freed apart: detach the second reference first.
       other = root->get_node(DTM_MAP_CORE);
       return root;
     }},
    {"deeper than the ownership limit", "levels of ownership",
     [](DTM_NODE*&) {
       DTM_NODE* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
       DTM_NODE* node = root;
       for (std::uint32_t i = 0; i <= DTM_PDB_MAX_OWNERSHIP_DEPTH; ++i) {
         DTM_NODE* child = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_CORE, true);
         node->add_node(child);
         node = child;
       }
       return root;
     }},
};

TEST(DdbDtmWriter, RefusesGraphsThatCouldNotBeReadBackAndKeepsTheOldFile) {
  TEST_DIR dir;
  COUNTERS counters;
  DTM_NODE* good = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  good->add_micro_node_delay(5, TCO_DELAY, DTM_MAP_DEVICE);
  save_model(dir, "target", good);
  const std::string before = TEST_DIR::read(dir.path("target.ddb"));
  for (const REFUSED_CASE& c : k_refused_cases) {
    SCOPED_TRACE(c.m_name);
    DTM_NODE* other = nullptr;
    DTM_NODE* root = c.m_make(other);
    PDB_ARCHIVE archive;
    archive.open(dir.path("target"));
    std::string message;
    try {
      pdb_write_(root, archive, "");
    } catch (const PDB_DATABASE_EXCEPTION& error) {
      message = error.what();
    }
    EXPECT_NE(message.find(c.m_expected), std::string::npos) << message;
    EXPECT_EQ(TEST_DIR::read(dir.path("target.ddb")), before);
    if (std::string(c.m_name) == "a node under two parents") {
      other->remove_node(DTM_MICRO);
      other = nullptr;
    }
    MEM_MANAGER::delete_wrapper(root);
    MEM_MANAGER::delete_wrapper(other);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path("")),
                            std::filesystem::directory_iterator()),
              1)
        << "no temporary file is left behind";
  }
  MEM_MANAGER::delete_wrapper(good);
  EXPECT_TRUE(counters.same());
}

// --- Line records and data chains ----------------------------------------------------------

std::string line_dump(const DTM_LINE_NODE* head) {
  std::ostringstream os;
  for (const DTM_LINE_NODE* line = head; line != nullptr; line = line->get_next()) {
    os << line->get_line_number() << ' ' << line->get_marked() << ' ' << line->is_description()
       << " [" << line->get_description() << "] [" << line->get_id() << "] ";
    line->dump_node(os);
    EXPECT_TRUE(line->get_next() == nullptr || line->get_next()->get_prev() == line);
  }
  return os.str();
}

template <class T>
T* round_trip_root(const TEST_DIR& dir, const std::string& stem, const T* root) {
  PDB_ARCHIVE archive;
  archive.open(dir.path(stem));
  EXPECT_TRUE(pdb_write_(root, archive, ""));
  T* back = nullptr;
  EXPECT_TRUE((pdb_read_<PDB_ARCHIVE, T>(back, archive, "")));
  return back;
}

TEST(DdbDtmLineRecords, ListReadFromADmfFileComesBackRecordByRecord) {
  TEST_DIR dir;
  COUNTERS counters;
  MSG_CAPTURE capture;  // the dump of a description line reports its missing delays
  DTM_FACTORY factory;
  DTM_LINE_NODE* head = factory.parse_file(KESTREL_EXAMPLES_DIR "/plain.dmf");
  ASSERT_NE(head, nullptr);
  head->set_marked(true);
  head->get_next()->set_line_number(-7);
  DTM_LINE_NODE* back = round_trip_root(dir, "lines", head);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->get_prev(), nullptr);
  EXPECT_EQ(line_dump(back), line_dump(head));
  EXPECT_NE(line_dump(back).find("TCO"), std::string::npos);
  DTM_LINE_NODE::delete_list(back);
  DTM_LINE_NODE::delete_list(head);
  EXPECT_TRUE(counters.same());
}

// A list is freed in a loop: it may be far longer than the ownership limit.
TEST(DdbDtmLineRecords, ListLongerThanTheOwnershipLimit) {
  TEST_DIR dir;
  COUNTERS counters;
  DTM_LINE_NODE* head = nullptr;
  DTM_LINE_NODE* tail = nullptr;
  for (int i = 0; i < 10000; ++i) {
    DTM_LINE_NODE* line = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
    line->set_line_number(static_cast<DTM_SHORT>(i));
    line->add_parent("DTM_MAP_DEVICE");
    line->add_modifier("DTM_MICRO");
    line->add_delay(std::to_string(i).c_str(), static_cast<DTM_SHORT>(i % 3));
    line->set_prev(tail);
    if (tail != nullptr) {
      tail->set_next(line);
    } else {
      head = line;
    }
    tail = line;
  }
  DTM_LINE_NODE* back = round_trip_root(dir, "long", head);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(line_dump(back), line_dump(head));
  DTM_LINE_NODE::delete_list(back);
  DTM_LINE_NODE::delete_list(head);
  EXPECT_TRUE(counters.same());
}

// A list saved from a record in its middle would leave the records before it
// without owner; one whose links disagree could not be walked both ways.
TEST(DdbDtmLineRecords, WriterRefusesAListThatIsNotWholeOrNotConsistent) {
  TEST_DIR dir;
  COUNTERS counters;
  DTM_LINE_NODE* a = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
  DTM_LINE_NODE* b = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
  DTM_LINE_NODE* c = MEM_MANAGER::new_wrapper<DTM_LINE_NODE>();
  a->set_next(b);
  b->set_prev(a);
  b->set_next(c);
  c->set_prev(a);  // should be b
  const struct {
    const DTM_LINE_NODE* m_root;
    const char* m_expected;
  } cases[] = {
      {a, "m_next is a line record whose m_prev is not this one"},
      {b, "is a root and is also owned"},
  };
  for (const auto& k : cases) {
    PDB_ARCHIVE archive;
    archive.open(dir.path("lines"));
    std::string message;
    try {
      pdb_write_(k.m_root, archive, "");
    } catch (const PDB_DATABASE_EXCEPTION& error) {
      message = error.what();
    }
    EXPECT_NE(message.find(k.m_expected), std::string::npos) << message;
  }
  DTM_LINE_NODE::delete_list(a);
  EXPECT_TRUE(counters.same());
}

std::string chain_dump(const DTM_BASE_DATA* chain) {
  std::ostringstream os;
  chain->print_tree(os, DTM_RE_TABLE, "path", false, "/");
  return os.str();
}

TEST(DdbDtmDataChains, ChainsOfEveryKindComeBack) {
  TEST_DIR dir;
  COUNTERS counters;
  MSG_CAPTURE capture;
  DTM_BASE_DATA* ints = DTM_BASE_DATA::create_node(1, e(1), e(2), e(3));
  for (int i = 0; i < 400; ++i) {
    ints = ints->add_enum(i, e(1 + i % 7), e(2 + i % 5), e(3 + i % 11));
  }
  DTM_BASE_DATA* floats = DTM_BASE_DATA::create_node(0.5, e(9), DTM_NONE, DTM_NONE);
  for (int i = 0; i < 100; ++i) {
    floats = floats->add_enum(i / 7.0, e(10 + i), DTM_NONE, DTM_NONE);
  }
  for (DTM_BASE_DATA* chain : {ints, floats}) {
    DTM_BASE_DATA* back = round_trip_root(dir, "chain", chain);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(typeid(*back), typeid(*chain));
    EXPECT_EQ(chain_dump(back), chain_dump(chain));
    EXPECT_GT(chain_dump(back).size(), 1000u);
    for (int i = 0; i < 120; ++i) {
      EXPECT_EQ(back->get_value(e(1 + i % 7), e(2 + i % 5), e(3 + i % 11)),
                chain->get_value(e(1 + i % 7), e(2 + i % 5), e(3 + i % 11)));
      EXPECT_TRUE(same_bits(back->get_float(e(10 + i), DTM_NONE, DTM_NONE),
                            chain->get_float(e(10 + i), DTM_NONE, DTM_NONE)));
    }
    MEM_MANAGER::delete_wrapper(back);
  }
  MEM_MANAGER::delete_wrapper(ints);
  MEM_MANAGER::delete_wrapper(floats);
  EXPECT_EQ(capture.get_count(), 0u);
  EXPECT_TRUE(counters.same());
}

// Chains are freed without recursion: siblings and levels may go far deeper
// than the ownership limit.
TEST(DdbDtmDataChains, ChainsDeeperThanTheOwnershipLimit) {
  TEST_DIR dir;
  COUNTERS counters;
  DTM_BASE_DATA* siblings = MEM_MANAGER::new_wrapper<DTM_INT_DATA>(e(0), 0);
  DTM_BASE_DATA* levels = MEM_MANAGER::new_wrapper<DTM_PTR_DATA>(e(0), nullptr);
  DTM_BASE_DATA* s = siblings;
  DTM_BASE_DATA* l = levels;
  for (int i = 1; i < 10000; ++i) {
    DTM_BASE_DATA* next = MEM_MANAGER::new_wrapper<DTM_INT_DATA>(e(i), i);
    s->set_left(next);
    s = next;
    DTM_BASE_DATA* level = MEM_MANAGER::new_wrapper<DTM_PTR_DATA>(e(i), nullptr);
    l->set_sub_tree(level);
    l = level;
  }
  for (DTM_BASE_DATA* chain : {siblings, levels}) {
    DTM_BASE_DATA* back = round_trip_root(dir, "deep", chain);
    ASSERT_NE(back, nullptr);
    int depth = 0;
    for (const DTM_BASE_DATA* d = back; d != nullptr;
         d = d->get_left() != nullptr ? d->get_left() : d->get_sub_tree()) {
      EXPECT_EQ(d->get_enum(), e(depth));
      ++depth;
    }
    EXPECT_EQ(depth, 10000);
    MEM_MANAGER::delete_wrapper(back);
  }
  MEM_MANAGER::delete_wrapper(siblings);
  MEM_MANAGER::delete_wrapper(levels);
  EXPECT_TRUE(counters.same());
}

}  // namespace
