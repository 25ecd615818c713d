// Helpers of the tests of damaged and hostile model databases: the three
// golden databases of tests/data/ddb (how they are built, how they are read
// back root by root), a reader of file images that keeps them in memory, and
// what a user does with whatever a damaged file still gives.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ddb_bytes.h"
#include "ddb_image_dir.h"
#include "dtm_data_class.h"
#include "dtm_gen.h"
#include "dtm_line_node.h"
#include "dtm_pdb_support.h"
#include "msg_sys.h"

namespace dtm_corruption_test {

using namespace dtm_pdb_test;

// The scratch directory of the damage tests.
class IMAGE_DIR : public DDB_IMAGE_DIR {
 public:
  IMAGE_DIR() : DDB_IMAGE_DIR("kestrel-test-ddb") {}
};

// Saves a model as the database `name` of the directory.
inline void save_model_to(const IMAGE_DIR& dir, const std::string& name, const DTM_NODE* model) {
  PDB_ARCHIVE archive;
  archive.open(dir.stem(name));
  ASSERT_TRUE(pdb_write_(model, archive, ""));
}

// --- The golden databases -------------------------------------------------------------------

// The roots a database may hold, by name: a model ("p_ref"), the master a
// cloned model links to ("master"), a list of line records ("lines") and data
// chains of each kind ("ints", "floats", "base").
struct ROOTS {
  DTM_NODE* m_model = nullptr;
  DTM_NODE* m_master = nullptr;
  DTM_LINE_NODE* m_lines = nullptr;
  DTM_BASE_DATA* m_ints = nullptr;
  DTM_BASE_DATA* m_floats = nullptr;
  DTM_BASE_DATA* m_base = nullptr;

  // Frees everything, in the one safe order: the model (which may be a
  // clone linked to the master) before the master.
  void destroy() {
    MEM_MANAGER::delete_wrapper(m_model);
    MEM_MANAGER::delete_wrapper(m_master);
    DTM_LINE_NODE::delete_list(m_lines);
    MEM_MANAGER::delete_wrapper(m_ints);
    MEM_MANAGER::delete_wrapper(m_floats);
    MEM_MANAGER::delete_wrapper(m_base);
    *this = ROOTS();
  }
};

// Writes every root that is set into the archive `stem`, in the order of
// ROOTS (a clone before its master). Raises what the writer raises.
inline bool write_roots(const std::string& stem, const ROOTS& roots) {
  PDB_ARCHIVE archive;
  archive.open(stem);
  PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), "", ".ddb");
  if (!writer.open()) {
    return false;
  }
  if (roots.m_model != nullptr) {
    writer.write_reference("p_ref", roots.m_model);
  }
  if (roots.m_master != nullptr) {
    writer.write_reference("master", roots.m_master);
  }
  if (roots.m_lines != nullptr) {
    writer.write_reference("lines", roots.m_lines);
  }
  if (roots.m_ints != nullptr) {
    writer.write_reference("ints", roots.m_ints);
  }
  if (roots.m_floats != nullptr) {
    writer.write_reference("floats", roots.m_floats);
  }
  if (roots.m_base != nullptr) {
    writer.write_reference("base", roots.m_base);
  }
  writer.finish_writing_all();
  return true;
}

// Reads every root of the archive `stem`. Returns the exception's text (""
// when the file was read); on failure nothing is handed out.
inline std::string read_roots(const std::string& stem, ROOTS& roots) {
  roots = ROOTS();
  PDB_ARCHIVE archive;
  archive.open(stem);
  try {
    PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), "", ".ddb");
    if (!reader.open()) {
      return "cannot open";
    }
    reader.read_public_identifier_lists();
    reader.read_reference("p_ref", roots.m_model);
    reader.read_reference("master", roots.m_master);
    reader.read_reference("lines", roots.m_lines);
    reader.read_reference("ints", roots.m_ints);
    reader.read_reference("floats", roots.m_floats);
    reader.read_reference("base", roots.m_base);
    reader.finish_reading_all();
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    roots.destroy();
    return error.what();
  }
  return "";
}

// The golden databases: name, and how its roots are built.
struct GOLDEN {
  const char* m_name;
  ROOTS (*m_build)();
};

// One delay in one node below the root: the smallest model worth the name.
inline ROOTS minimal_roots() {
  ROOTS roots;
  roots.m_model = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  roots.m_model->add_micro_node_delay(130, TCO_DELAY, DTM_MAP_DEVICE);
  return roots;
}

// Every class the format knows: the model of every_type.dmf (every typed
// leaf, the point-to-point node and its four directions, integer and float
// delay trees, keys of one to three parts), a plain node holding a delay
// tree of the base class, a version-1 linked node, the line records of a
// DMF file, and data chains of integers, floats and the base class.
inline ROOTS every_class_roots() {
  ROOTS roots;
  const DTM_FACTORY factory;
  roots.m_model =
      factory.build_nodes(KESTREL_SOURCE_DIR "/tests/data/dmf/every_type.dmf", false, false);
  DTM_NODE* plain = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_CORE, true);
  plain->set_tree_data_root(
      MEM_MANAGER::new_wrapper<DTM_TREE_DATA>(DTM_TREE_DATA_KEY(1, DTM_ENUM_WRAPPER(TCO_DELAY))));
  DTM_NODE* owned = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_IO_CELL, true);
  owned->set_version(1);
  owned->set_description("owned through its link");
  owned->append_node_to(plain);
  roots.m_model->add_node(plain);
  roots.m_lines = factory.parse_file(KESTREL_SOURCE_DIR "/tests/data/dmf/duplicates.dmf");
  roots.m_ints = DTM_BASE_DATA::create_node(1, e(1), e(2), e(3));
  for (int i = 0; i < 4; ++i) {
    roots.m_ints = roots.m_ints->add_enum(10 + i, e(1 + i % 2), e(2 + i), e(3));
  }
  roots.m_floats = DTM_BASE_DATA::create_node(0.5, e(9), DTM_NONE, DTM_NONE);
  roots.m_floats = roots.m_floats->add_enum(-1.25, e(4), DTM_NONE, DTM_NONE);
  roots.m_base = MEM_MANAGER::new_wrapper<DTM_BASE_DATA>(e(7));
  return roots;
}

// A clone saved with its master: the model of plain.dmf as the master, its
// clone without data linked to it leaf by leaf, a delay of the clone's own.
inline ROOTS clone_roots() {
  ROOTS roots;
  roots.m_master = DTM_FACTORY().build_nodes(KESTREL_EXAMPLES_DIR "/plain.dmf", false, false);
  static MEM_SEGMENT segment("clone");  // placement statistics only
  roots.m_model = roots.m_master->clone(&segment, true, false);
  roots.m_model->link_clone(roots.m_master);
  roots.m_model->add_micro_node_delay(4242, TCO_DELAY, DTM_MAP_DEVICE);
  return roots;
}

inline const std::vector<GOLDEN>& goldens() {
  static const std::vector<GOLDEN> table = {
      {"minimal", &minimal_roots},
      {"every_class", &every_class_roots},
      {"clone_with_master", &clone_roots},
  };
  return table;
}

inline std::string golden_path(const GOLDEN& golden) {
  return std::string(KESTREL_SOURCE_DIR "/tests/data/ddb/") + golden.m_name + ".ddb";
}

// --- Using what was read ------------------------------------------------------------------

// Everything a user does with a model: the three dumps, the comparison with
// itself (which must find nothing), delay queries of every kind, a few
// additions. Reports go to the caller's capture.
inline void use_model(DTM_NODE& model) {
  std::ostringstream os;
  model.dump_tree(os, 0, 0, 0);
  model.dump_tree(os, std::string());
  model.dump_tree_in_dmf_format(os, std::string_view());
  EXPECT_EQ(differences(model, model), "");
  static const std::vector<QUERY> queries = random_queries(11, 24);
  for (std::size_t i = 0; i < queries.size(); ++i) {
    ask(model, queries[i]);
    if (i % 6 == 0) {
      kinds()[queries[i].m_kind].m_add(model, 3.0, queries[i].m_keys, queries[i].m_path);
    }
  }
  model.dump_tree(os, 0, 0, 0);
}

inline void use_chain(const DTM_BASE_DATA& chain) {
  std::ostringstream os;
  chain.print_tree(os, DTM_RE_TABLE, "path", false, "/");
  chain.compare_data_tree(&chain, DTM_RE_TABLE, os, "path", true);
  for (int i = 0; i < 12; ++i) {
    chain.get_value(e(i), e(i + 1), e(3));
    chain.get_float(e(i), DTM_NONE, DTM_NONE);
  }
}

// Uses every root that was read, saves them all again when `save` is set
// (whatever reads must write), then frees them. Returns whether the save
// succeeded (true when not asked).
inline bool use_and_free(ROOTS& roots, const IMAGE_DIR& dir, bool save = true) {
  if (roots.m_model != nullptr) {
    use_model(*roots.m_model);
  }
  if (roots.m_master != nullptr) {
    use_model(*roots.m_master);
  }
  std::ostringstream os;
  for (const DTM_LINE_NODE* line = roots.m_lines; line != nullptr; line = line->get_next()) {
    line->dump_node(os);
  }
  for (const DTM_BASE_DATA* chain : {roots.m_ints, roots.m_floats, roots.m_base}) {
    if (chain != nullptr) {
      use_chain(*chain);
    }
  }
  bool saved = !save;
  try {
    saved = saved || write_roots(dir.stem("again"), roots);
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    ADD_FAILURE() << "what was read cannot be written: " << error.what();
  }
  roots.destroy();
  return saved;
}

}  // namespace dtm_corruption_test
