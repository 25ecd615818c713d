// A model deeper than any DMF file can describe (a file read from elsewhere
// can): destroying it stays within a small stack. The case runs in a thread
// with a 256 KiB stack; a recursion whose depth the model sets would overflow
// it and crash the test.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>

#include "dtm_node.h"
#include "mem_alloc_sys.h"

namespace {

constexpr std::size_t k_small_stack = 256 * 1024;
constexpr int k_depth = 100000;

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

// A chain of `depth` nodes below a root, each the only child of the one above.
DTM_NODE* make_chain(int depth) {
  auto* root = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_ROOT, true);
  DTM_NODE* last = root;
  for (int i = 0; i < depth; ++i) {
    auto* child = MEM_MANAGER::new_wrapper<DTM_NODE>(DTM_MAP_DEVICE, true);
    if (!last->add_node(child)) {
      MEM_MANAGER::delete_wrapper(child);
      break;
    }
    last = child;
  }
  return root;
}

TEST(DtmNodeDeep, DeepChainIsDestroyedOnASmallStack) {
  const std::size_t live = MEM_MANAGER::get_counters().m_live_objects;
  DTM_NODE* root = make_chain(k_depth);
  ASSERT_GE(MEM_MANAGER::get_counters().m_live_objects, live + k_depth);
  ASSERT_TRUE(run_on_small_stack([root] { MEM_MANAGER::delete_wrapper(root); }));
  EXPECT_EQ(MEM_MANAGER::get_counters().m_live_objects, live);
}

}  // namespace
