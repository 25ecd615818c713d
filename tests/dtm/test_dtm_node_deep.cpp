// Models deeper than any DMF file can describe (a file read from elsewhere
// can): destroying, dumping, comparing, cloning, linking, scaling, saving
// and loading them stays within a small stack. Each case runs in a thread
// with a 256 KiB stack; a recursion whose depth the model sets would
// overflow it and crash the test.
//
// The expected texts are those of the deepest leaf alone, written at its
// place (its path or its depth): a walk that lost or reordered a level, or
// cut the path wrongly, differs from them.
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <sstream>
#include <streambuf>
#include <string>

#include "dbs_translator.h"
#include "ddb_dtm__pdb.h"
#include "dtm_export.h"
#include "dtm_node.h"
#include "dtm_p2p_node.h"
#include "mem_alloc_sys.h"
#include "msg_sys.h"
#include "pdb_sys.h"
#include "test_files.h"

namespace {

constexpr std::size_t k_small_stack = 256 * 1024;
constexpr int k_depth = 100000;

const std::string k_root_step = "\t|-- DTM_ROOT";
const std::string k_device_step = "\t|-- DTM_MAP_DEVICE";
const std::string k_micro_step = "\t|-- DTM_MICRO";

// Runs `work` on a thread with a small stack; false when the thread could not
// be made.
bool run_on_small_stack(const std::function<void()>& work) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) {
    return false;
  }
  pthread_attr_setstacksize(&attributes, k_small_stack);
  pthread_t thread;
  auto* task = new std::function<void()>(work);
  const int made = pthread_create(
      &thread, &attributes,
      [](void* arg) -> void* {
        auto* job = static_cast<std::function<void()>*>(arg);
        (*job)();
        return nullptr;
      },
      task);
  pthread_attr_destroy(&attributes);
  if (made != 0) {
    delete task;
    return false;
  }
  pthread_join(thread, nullptr);
  delete task;
  return true;
}

// Counts what is written and keeps its last bytes: the outline of a chain of
// 100 000 levels is gigabytes of indentation.
class COUNTING_BUFFER : public std::streambuf {
 public:
  std::uint64_t size() const { return m_size; }
  const std::string& tail() const { return m_tail; }

 protected:
  int_type overflow(int_type c) override {
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
      const char ch = traits_type::to_char_type(c);
      keep(&ch, 1);
    }
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char* text, std::streamsize n) override {
    keep(text, static_cast<std::size_t>(n));
    return n;
  }

 private:
  static constexpr std::size_t k_tail = 512;
  void keep(const char* text, std::size_t n) {
    m_size += n;
    if (n >= k_tail) {
      m_tail.assign(text + n - k_tail, k_tail);
      return;
    }
    m_tail.append(text, n);
    if (m_tail.size() > k_tail) {
      m_tail.erase(0, m_tail.size() - k_tail);
    }
  }
  std::uint64_t m_size = 0;
  std::string m_tail;
};

// A root, `levels` plain nodes each the only child of the one above, and
// under the last a micro leaf with three delays (a three-entry delay tree).
DTM_NODE* make_chain(int levels) {
  auto* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  DTM_NODE* last = root;
  for (int i = 0; i < levels; ++i) {
    auto* child = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_DEVICE, true);
    if (!last->add_node(child)) {
      MEM_MANAGER::delete_wrapper(child);
      break;
    }
    last = child;
  }
  last->add_micro_node_delay(120, TCO_DELAY);
  last->add_micro_node_delay(45, TSU_DELAY);
  last->add_micro_node_delay(7, TH_DELAY);
  return root;
}

// The node `levels` first-child steps below `node` (null when the chain ends
// before).
DTM_NODE* below(const DTM_NODE* node, int levels) {
  DTM_NODE* at = const_cast<DTM_NODE*>(node);
  for (int i = 0; i < levels && at != nullptr; ++i) {
    at = at->get_nodes().empty() ? nullptr : at->get_nodes().front();
  }
  return at;
}

// Number of first-child steps from `node` to a node without children.
int depth_of(const DTM_NODE* node) {
  int depth = 0;
  while (!node->get_nodes().empty()) {
    node = node->get_nodes().front();
    ++depth;
  }
  return depth;
}

std::string repeat(const std::string& step, int times) {
  std::string text;
  text.reserve(step.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) {
    text += step;
  }
  return text;
}

std::string paths_of(const DTM_NODE& node, const std::string& prefix) {
  std::ostringstream os;
  node.dump_tree(os, prefix);
  return os.str();
}

std::string outline_of(const DTM_NODE& node, short depth) {
  std::ostringstream os;
  node.dump_tree(os, depth, 1, 1);
  return os.str();
}

std::string compare(const DTM_NODE& node, const DTM_NODE* other, bool skip_missing,
                    const std::string& prefix = "") {
  std::ostringstream os;
  node.compare_trees(other, os, prefix, skip_missing, true, 0.0F);
  return os.str();
}

// The outline of a chain made by make_chain(levels) (its size, and its text
// when `text` is given): one line per level, indented by "|-  " per level of
// its depth (a short, as the outline counts it, wrapping past 32767), then
// the leaf's outline at its own depth.
std::uint64_t chain_outline(int levels, const DTM_NODE& leaf, std::string* text = nullptr) {
  std::uint64_t size = 0;
  short depth = 0;
  for (int level = 0; level <= levels; ++level) {
    const std::string name = level == 0 ? "DTM_ROOT" : "DTM_MAP_DEVICE";
    const int indent = depth > 0 ? depth : 0;
    size += 4U * static_cast<unsigned>(indent) + name.size() + 1;
    if (text != nullptr) {
      *text += repeat("|-  ", indent) + name + "\n";
    }
    depth = static_cast<short>(depth + 1);
  }
  const std::string leaf_text = outline_of(leaf, depth);
  if (text != nullptr) {
    *text += leaf_text;
  }
  return size + leaf_text.size();
}

TEST(DtmNodeDeep, DeepChainIsDestroyedOnASmallStack) {
  const std::size_t live = MEM_MANAGER::get_counters().m_live_objects;
  DTM_NODE* root = make_chain(k_depth);
  ASSERT_GE(MEM_MANAGER::get_counters().m_live_objects, live + k_depth);
  ASSERT_TRUE(run_on_small_stack([root] { MEM_MANAGER::delete_wrapper(root); }));
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, live);
}

// Export refuses a path too deep for a DMF line and counts what the refused
// subtree holds; the count must not recurse once per level either.
TEST(DtmNodeDeep, DeepChainIsRefusedByExportOnASmallStack) {
  DTM_NODE* root = make_chain(k_depth);
  DTM_EXPORT::DTM_EXPORT_COUNTS counts;
  std::ostringstream text;
  MSG_CAPTURE capture;
  ASSERT_TRUE(run_on_small_stack([&] { counts = DTM_EXPORT::write_dmf(root, text); }));
  EXPECT_EQ(counts.m_delays, 0U);
  EXPECT_EQ(counts.m_refused, 3U);
  EXPECT_EQ(capture.get_count(), 1);
  MEM_MANAGER::delete_wrapper(root);
}

// Saves `root` as <dir>/<stem>.ddb; the exception's text, empty on success.
std::string save(const TEST_DIR& dir, const std::string& stem, const DTM_NODE* root) {
  PDB_ARCHIVE archive;
  archive.open(dir.path(stem));
  try {
    if (!pdb_write_(root, archive, "")) {
      return "cannot be created";
    }
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    return error.what();
  }
  return "";
}

DTM_NODE* load(const TEST_DIR& dir, const std::string& stem, std::string& message) {
  PDB_ARCHIVE archive;
  archive.open(dir.path(stem));
  DTM_NODE* root = nullptr;
  try {
    if (!pdb_read_<PDB_ARCHIVE, DTM_NODE>(root, archive, "")) {
      message = "cannot be opened";
    }
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    message = error.what();
  }
  return root;
}

std::size_t files_in(const TEST_DIR& dir) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(dir.path("")),
                                                std::filesystem::directory_iterator()));
}

// What the small-stack thread found.
struct WALKS {
  std::uint64_t m_outline_size = 0;
  std::string m_outline_tail;
  std::string m_paths;
  std::string m_self;
  std::string m_against_copy;
  std::string m_copy_against;
  std::string m_against_bare;
  std::string m_expected_against_bare;
  std::string m_against_short;
  std::string m_against_short_skipped;
  int m_copy_depth = 0;
  int m_bare_depth = 0;
  bool m_bare_leaf_has_data = true;
  int m_linked_value = 0;
  int m_scaled_value = 0;
  std::string m_save;
};

TEST(DtmNodeDeep, DeepChainIsDumpedComparedClonedLinkedScaledAndRefusedBySaveOnASmallStack) {
  TEST_DIR dir;
  const std::size_t live = MEM_MANAGER::get_counters().m_live_objects;
  MSG_CAPTURE capture;
  DTM_NODE* root = make_chain(k_depth);
  DTM_NODE* other = make_chain(k_depth / 2);
  const DTM_NODE* leaf = below(root, k_depth + 1);
  ASSERT_NE(leaf, nullptr);
  ASSERT_EQ(leaf->get_id(), DTM_MICRO);

  const std::string devices = repeat(k_device_step, k_depth);
  const std::uint64_t outline_size = chain_outline(k_depth, *leaf);
  const std::string leaf_outline = outline_of(*leaf, static_cast<short>(k_depth + 1));
  const std::string leaf_paths = paths_of(*leaf, k_root_step + devices);
  // Compared with a chain half as deep: the first level the other lacks is
  // listed under its parent's path; below it only the leaf has lines.
  const std::string missing_paths = paths_of(*leaf, devices);

  WALKS found;
  ASSERT_TRUE(run_on_small_stack([&] {
    COUNTING_BUFFER outline;
    std::ostream os(&outline);
    root->dump_tree(os, 0, 1, 1);
    found.m_outline_size = outline.size();
    found.m_outline_tail = outline.tail();
    found.m_paths = paths_of(*root, "");
    found.m_self = compare(*root, root, false);

    MEM_SEGMENT segment("deep");
    DTM_NODE* copy = root->clone(&segment, true, true);
    DTM_NODE* bare = root->clone(&segment, true, false);
    found.m_copy_depth = depth_of(copy);
    found.m_bare_depth = depth_of(bare);
    found.m_against_copy = compare(*root, copy, false);
    found.m_copy_against = compare(*copy, root, false);
    const DTM_NODE* bare_leaf = below(bare, k_depth + 1);
    found.m_bare_leaf_has_data = bare_leaf == nullptr || bare_leaf->get_data_root() != nullptr;
    found.m_against_bare = compare(*root, bare, false);
    if (bare_leaf != nullptr) {
      found.m_expected_against_bare = compare(*leaf, bare_leaf, false, devices + k_micro_step);
    }
    found.m_against_short = compare(*root, other, false);
    found.m_against_short_skipped = compare(*root, other, true);

    bare->link_clone(root);
    found.m_linked_value = below(bare, k_depth)->get_micro_node_delay(TCO_DELAY);
    copy->scale(2.0);
    found.m_scaled_value = below(copy, k_depth)->get_micro_node_delay(TCO_DELAY);

    found.m_save = save(dir, "deep", root);

    MEM_MANAGER::delete_wrapper(bare);
    MEM_MANAGER::delete_wrapper(copy);
    MEM_MANAGER::delete_wrapper(other);
    MEM_MANAGER::delete_wrapper(root);
  }));

  EXPECT_EQ(found.m_outline_size, outline_size);
  ASSERT_GE(found.m_outline_tail.size(), leaf_outline.size());
  EXPECT_EQ(found.m_outline_tail.substr(found.m_outline_tail.size() - leaf_outline.size()),
            leaf_outline);
  EXPECT_FALSE(leaf_paths.empty());
  EXPECT_EQ(found.m_paths, leaf_paths);
  EXPECT_EQ(found.m_self, "");
  EXPECT_EQ(found.m_copy_depth, k_depth + 1);
  EXPECT_EQ(found.m_bare_depth, k_depth + 1);
  EXPECT_EQ(found.m_against_copy, "");
  EXPECT_EQ(found.m_copy_against, "");
  EXPECT_FALSE(found.m_bare_leaf_has_data);
  EXPECT_FALSE(found.m_expected_against_bare.empty());
  EXPECT_EQ(found.m_against_bare, found.m_expected_against_bare);
  EXPECT_EQ(found.m_against_short, missing_paths);
  EXPECT_EQ(found.m_against_short_skipped, "");
  EXPECT_EQ(found.m_linked_value, 120);
  EXPECT_EQ(found.m_scaled_value, 240);
  // Deeper than a file may hold: refused before anything is written.
  EXPECT_NE(found.m_save.find("levels of ownership"), std::string::npos) << found.m_save;
  EXPECT_EQ(files_in(dir), 0U);
  EXPECT_EQ(capture.get_count(), 0U) << capture.get_texts().front();
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, live);
}

// The deepest models of three shapes a .ddb file may hold: their deepest
// objects lie exactly at the loader's ownership-depth limit (the root at 0).
constexpr int k_limit = static_cast<int>(DTM_PDB_MAX_OWNERSHIP_DEPTH);

// A chain of plain nodes: the root, the levels, the micro leaf, its delay
// tree's root and the tree's two children.
DTM_NODE* make_plain_chain(int levels) { return make_chain(levels); }

// A root whose chain of linked nodes holds `links` nodes of version 1, each
// owned by the one before it; one micro leaf keeps some data in the model.
DTM_NODE* make_linked_chain(int links) {
  auto* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  root->add_micro_node_delay(5, TCO_DELAY, DTM_MAP_DEVICE);
  DTM_NODE* tail = root;
  for (int i = 0; i < links; ++i) {
    auto* node = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_DEVICE, true);
    node->set_version(1);
    node->append_node_to(tail);
    tail = node;
  }
  return root;
}

// Point-to-point nodes nested `levels` deep, each under the input->output
// direction node of the one above; the last holds one delay.
DTM_NODE* make_nested_p2p(int levels) {
  auto* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  DTM_NODE* at = root;
  for (int i = 0; i + 1 < levels; ++i) {
    DTM_P2P_NODE* p2p = DTM_P2P_NODE::make_with_directions();
    at->add_node(p2p);
    at = p2p->get_in_out_node();
  }
  at->add_p2p_node_delay(300, DB_IN_LCELL_DATAA, DB_OUT_LCELL_COMBOUT, DTM_NONE);
  return root;
}

// Links of a node's chain of linked nodes.
int links_of(const DTM_NODE& node) {
  int links = 0;
  for (const DTM_NODE* at = node.get_linked_node(); at != nullptr; at = at->get_linked_node()) {
    ++links;
  }
  return links;
}

struct SHAPE {
  const char* m_name;
  DTM_NODE* (*m_make)(int size);
  int m_loadable;  // the largest size a file may hold
  // How the path listing of the model of that size starts.
  std::string (*m_paths_start)(int size);
};

const SHAPE k_shapes[] = {
    {"plain chain", make_plain_chain, k_limit - 3,
     [](int size) { return k_root_step + repeat(k_device_step, size) + k_micro_step + "<"; }},
    {"linked chain", make_linked_chain, k_limit,
     [](int) { return k_root_step + k_device_step + k_micro_step + "\t|-- ["; }},
    // The root, then per level a point-to-point node and its direction node;
    // the last direction's delay tree is one level deeper.
    {"nested point-to-point nodes", make_nested_p2p, (k_limit - 1) / 2,
     [](int size) {
       return k_root_step + repeat("\t|-- DTM_P2P\t|-- DTM_P2P_IN_OUT", size) + "\t|-- [";
     }},
};

struct LOADED {
  std::string m_root_outline;
  std::string m_save;
  std::string m_too_deep;
  std::string m_load;
  std::string m_outline;
  std::string m_paths;
  int m_links = -1;
  std::string m_loaded_against;
  std::string m_against_loaded;
  std::string m_clone_save;
  std::string m_clone_load;
  std::string m_clone_against;
};

TEST(DtmNodeDeep, ModelsAtTheLoadersDepthLimitAreSavedLoadedAndWalkedOnASmallStack) {
  for (const SHAPE& shape : k_shapes) {
    SCOPED_TRACE(shape.m_name);
    TEST_DIR dir;
    const std::size_t live = MEM_MANAGER::get_counters().m_live_objects;
    MSG_CAPTURE capture;
    DTM_NODE* root = shape.m_make(shape.m_loadable);
    DTM_NODE* deeper = shape.m_make(shape.m_loadable + 1);
    const std::string outline = outline_of(*root, 0);
    const std::string paths = paths_of(*root, "");
    const int links = links_of(*root);

    LOADED found;
    ASSERT_TRUE(run_on_small_stack([&] {
      found.m_root_outline = outline_of(*root, 0);
      found.m_save = save(dir, "model", root);
      found.m_too_deep = save(dir, "too_deep", deeper);
      DTM_NODE* loaded = load(dir, "model", found.m_load);
      if (loaded != nullptr) {
        found.m_outline = outline_of(*loaded, 0);
        found.m_paths = paths_of(*loaded, "");
        found.m_links = links_of(*loaded);
        found.m_loaded_against = compare(*loaded, root, false);
        found.m_against_loaded = compare(*root, loaded, false);
        MEM_SEGMENT segment("deep");
        DTM_NODE* copy = loaded->clone(&segment, true, true);
        found.m_clone_save = save(dir, "clone", copy);
        DTM_NODE* reloaded = load(dir, "clone", found.m_clone_load);
        // A clone of the loaded model is a clone of the original (a direction
        // node's clone takes no children), and it saves and loads again.
        DTM_NODE* original_copy = root->clone(&segment, true, true);
        if (reloaded != nullptr) {
          found.m_clone_against =
              compare(*reloaded, original_copy, false) + compare(*original_copy, reloaded, false);
        }
        MEM_MANAGER::delete_wrapper(original_copy);
        MEM_MANAGER::delete_wrapper(reloaded);
        MEM_MANAGER::delete_wrapper(copy);
      }
      MEM_MANAGER::delete_wrapper(loaded);
      MEM_MANAGER::delete_wrapper(deeper);
      MEM_MANAGER::delete_wrapper(root);
    }));

    EXPECT_EQ(found.m_save, "");
    EXPECT_EQ(found.m_load, "");
    EXPECT_NE(found.m_too_deep.find("levels of ownership"), std::string::npos) << found.m_too_deep;
    EXPECT_EQ(found.m_root_outline, outline);
    EXPECT_EQ(found.m_outline, outline);
    EXPECT_EQ(paths.rfind(shape.m_paths_start(shape.m_loadable), 0), 0U);
    EXPECT_EQ(found.m_paths, paths);
    EXPECT_EQ(found.m_links, links);
    EXPECT_EQ(found.m_loaded_against, "");
    EXPECT_EQ(found.m_against_loaded, "");
    EXPECT_EQ(found.m_clone_save, "");
    EXPECT_EQ(found.m_clone_load, "");
    EXPECT_EQ(found.m_clone_against, "");
    // Two databases; the refused save left nothing behind.
    EXPECT_EQ(files_in(dir), 2U);
    EXPECT_EQ(capture.get_count(), 0U);
    EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, live);
  }
}

TEST(DtmNodeDeep, ThePlainChainAtTheLimitHasTheOutlineOfItsLevels) {
  DTM_NODE* root = make_plain_chain(k_limit - 3);
  std::string outline;
  chain_outline(k_limit - 3, *below(root, k_limit - 2), &outline);
  EXPECT_EQ(outline_of(*root, 0), outline);
  MEM_MANAGER::delete_wrapper(root);
}

}  // namespace
