// DTM_QUERY_INDEX: a flat index of the delays below one node, for the get
// entry points of DTM_NODE.
//
// A get walks one child lookup per path level, then the typed leaf's balanced
// tree: several dependent cache misses when the model is large. The index
// answers the same question with one probe of an open-addressing table whose
// 16-byte slots hold the packed question (path, kind, keys) and the value.
//
// - Paths: every node below the start node that a path can name (the first
//   child of each id, at most DTM_PATH_LENGTH levels, ids 1 to 255) gets a
//   number in a small path table, with what a miss there answers per kind.
// - Entries: (path number, kind number, up to three key arguments of 11 bits
//   each) in one 64-bit word -> the value, for every delay that the walk would
//   find directly in the leaf (not through a linked node).
// - The index answers only what it knows exactly. A path, key or leaf it does
//   not cover (a child list the walk would repair or report, a leaf of the
//   wrong class, a tree out of order, a value equal to a sentinel, a linked
//   node for a miss) is left to the walk, which then behaves as it always did.
// - It is a picture of the model at one DTM_MODEL_EPOCH count: once any model
//   changes it is not used, and DTM_NODE rebuilds it when enough walks have
//   paid for the rebuild (dtm_node.cpp).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <tuple>
#include <type_traits>

#include "dtm_node.h"
#include "dtm_tree_data.h"

class DTM_QUERY_INDEX {
 public:
  DTM_QUERY_INDEX() noexcept = default;
  ~DTM_QUERY_INDEX() { release(); }
  DTM_QUERY_INDEX(const DTM_QUERY_INDEX&) = delete;
  DTM_QUERY_INDEX& operator=(const DTM_QUERY_INDEX&) = delete;

  // Replaces the contents by the delays below `start` as they are now.
  void build(const DTM_NODE& start);
  // Whether no model has changed since the build.
  bool is_current() const noexcept { return m_built && m_epoch == DTM_MODEL_EPOCH::get(); }

  // What a get entry point of KIND started at the indexed node answers for
  // `path` and `keys`, when the index knows it: true and `value` set; false
  // when the walk must answer. KIND::accepts(keys) is the caller's to test.
  template <class KIND>
  bool find(const DTM_PATH& path, const typename KIND::ARGS& keys,
            typename KIND::VALUE& value) const noexcept {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    if (!pack_path(path, low, high)) {
      return false;
    }
    const PATH_SLOT* place = find_path(low, high);
    if (place == nullptr) {
      return false;
    }
    std::uint64_t args = 0;
    if (!pack_args(keys, args)) {
      return false;
    }
    const std::uint64_t key = entry_key(place->m_number, KIND::k_query_code, args);
    if (const ENTRY_SLOT* entry = find_entry(key); entry != nullptr) {
      value = from_bits<typename KIND::VALUE>(entry->m_bits);
      return true;
    }
    switch ((place->m_misses >> (2U * KIND::k_query_code)) & 3U) {
      case MISS_LEAF_EMPTY:
        value = KIND::k_missing;
        return true;
      case MISS_TREE_ABSENT:
        value = KIND::VALUE_OPS::k_missing;
        return true;
      default:
        return false;
    }
  }

  std::size_t get_entry_count() const noexcept { return m_entry_used; }
  std::size_t get_path_count() const noexcept { return m_path_used; }
  // Bytes held by the two tables.
  std::size_t get_bytes() const noexcept {
    return m_entry_capacity * sizeof(ENTRY_SLOT) + m_path_capacity * sizeof(PATH_SLOT);
  }

  // Bits of one key argument; arguments from -1 to 2046 are indexed.
  static constexpr unsigned k_arg_bits = 11;
  static constexpr unsigned k_max_args = 3;
  static constexpr unsigned k_code_bits = 4;
  static constexpr unsigned k_number_bits = 64 - k_code_bits - k_arg_bits * k_max_args;

  // A key argument as its index field: the value plus one, when it fits.
  template <class T>
  static bool pack_arg(T value, std::uint64_t& field) noexcept {
    const std::uint32_t shifted = static_cast<std::uint32_t>(value) + 1U;
    field = shifted;
    return shifted < (1U << k_arg_bits);
  }
  template <class... T>
  static bool pack_args(const std::tuple<T...>& keys, std::uint64_t& packed) noexcept {
    static_assert(sizeof...(T) <= k_max_args);
    packed = 0;
    return std::apply(
        [&packed](auto... values) {
          unsigned shift = 0;
          return ([&] {
            std::uint64_t field = 0;
            const bool fits = pack_arg(values, field);
            packed |= field << shift;
            shift += k_arg_bits;
            return fits;
          }() && ...);
        },
        keys);
  }

 private:
  // What a probe that finds no entry answers, per kind (two bits each).
  enum MISS : unsigned {
    MISS_WALK = 0,         // the index does not know: walk
    MISS_LEAF_EMPTY = 1,   // no leaf, or a leaf without data: the kind's empty answer
    MISS_TREE_ABSENT = 2,  // a complete tree without the key: the tree's absent value
  };

  struct PATH_SLOT {
    std::uint64_t m_low;
    std::uint32_t m_high;    // bit 16: occupied; bits 0-15: ids 9 and 10
    std::uint32_t m_number;  // the path's number in the entry keys
    std::uint32_t m_misses;  // MISS per kind number
  };
  struct ENTRY_SLOT {
    std::uint64_t m_key;   // 0: empty (kind numbers start at 1)
    std::uint64_t m_bits;  // the value: an int in the low half, or a double's bits
  };
  static constexpr std::uint32_t k_path_occupied = 1U << 16;

  static bool pack_path(const DTM_PATH& path, std::uint64_t& low, std::uint64_t& high) noexcept {
    for (int i = 0; i < DTM_PATH_LENGTH && path[i] != DTM_NODE_NONE; ++i) {
      const auto id = static_cast<std::uint32_t>(path[i]);
      if (id > 255U) {
        return false;
      }
      (i < 8 ? low : high) |= static_cast<std::uint64_t>(id) << (8 * (i % 8));
    }
    return true;
  }
  static std::uint64_t entry_key(std::uint32_t number, unsigned code, std::uint64_t args) noexcept {
    return (static_cast<std::uint64_t>(number) << (k_code_bits + k_arg_bits * k_max_args)) |
           (static_cast<std::uint64_t>(code) << (k_arg_bits * k_max_args)) | args;
  }
  static std::uint64_t mix(std::uint64_t x) noexcept {
    x ^= x >> 31;
    x *= 0x9E3779B97F4A7C15ULL;
    x ^= x >> 29;
    return x;
  }
  template <class VALUE>
  static VALUE from_bits(std::uint64_t bits) noexcept {
    if constexpr (std::is_same_v<VALUE, double>) {
      double value;
      std::memcpy(&value, &bits, sizeof value);
      return value;
    } else {
      return static_cast<VALUE>(static_cast<std::int32_t>(static_cast<std::uint32_t>(bits)));
    }
  }

  const PATH_SLOT* find_path(std::uint64_t low, std::uint64_t high) const noexcept {
    if (m_path_capacity == 0) {
      return nullptr;
    }
    const std::uint32_t tag = static_cast<std::uint32_t>(high) | k_path_occupied;
    const std::size_t mask = m_path_capacity - 1;
    for (std::size_t i = mix(low ^ (high << 40)) & mask;; i = (i + 1) & mask) {
      const PATH_SLOT& slot = m_paths[i];
      if (slot.m_high == 0) {
        return nullptr;
      }
      if (slot.m_low == low && slot.m_high == tag) {
        return &slot;
      }
    }
  }
  const ENTRY_SLOT* find_entry(std::uint64_t key) const noexcept {
    if (m_entry_capacity == 0) {
      return nullptr;
    }
    const std::size_t mask = m_entry_capacity - 1;
    for (std::size_t i = mix(key) >> m_entry_shift;; i = (i + 1) & mask) {
      const ENTRY_SLOT& slot = m_entries[i];
      if (slot.m_key == key) {
        return &slot;
      }
      if (slot.m_key == 0) {
        return nullptr;
      }
    }
  }

  friend class DTM_QUERY_INDEX_BUILDER;
  PATH_SLOT* add_path(std::uint64_t low, std::uint64_t high);
  void add_entry(std::uint64_t key, std::uint64_t bits);
  void reserve_entries(std::size_t count);
  void release() noexcept;

  PATH_SLOT* m_paths = nullptr;
  std::size_t m_path_capacity = 0;  // 0 or a power of two
  std::size_t m_path_used = 0;
  ENTRY_SLOT* m_entries = nullptr;
  std::size_t m_entry_capacity = 0;  // 0 or a power of two
  std::size_t m_entry_used = 0;
  unsigned m_entry_shift = 64;  // 64 - log2(capacity)
  std::uint64_t m_epoch = 0;
  bool m_built = false;
};
