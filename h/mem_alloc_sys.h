// Tracked memory manager.
//
// Every object and container buffer of the library is allocated here, so that
// the live-object, live-byte and peak-byte counters tell at any moment what the
// library holds. The counters are plain integers: the library runs on one
// thread, and each allocation costs the counter updates and nothing more.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

struct MEM_COUNTERS {
  std::size_t m_live_objects = 0;  // blocks allocated and not yet freed
  std::size_t m_live_bytes = 0;    // bytes in those blocks
  std::size_t m_peak_bytes = 0;    // highest m_live_bytes seen since the last reset_peak()
  std::size_t m_total_objects = 0; // blocks ever allocated
};

// A named placement target for clones. Objects placed in a segment are
// counted by the manager like every other allocation; the segment also
// counts how many objects and bytes were placed in it.
class MEM_SEGMENT {
public:
  explicit MEM_SEGMENT(const char* name = "default") noexcept : m_name(name) {}
  const char* get_name() const noexcept { return m_name; }
  std::size_t get_placed_objects() const noexcept { return m_placed_objects; }
  std::size_t get_placed_bytes() const noexcept { return m_placed_bytes; }
  void note_placement(std::size_t bytes) noexcept {
    ++m_placed_objects;
    m_placed_bytes += bytes;
  }

private:
  const char* m_name;
  std::size_t m_placed_objects = 0;
  std::size_t m_placed_bytes = 0;
};

class MEM_OBJECT;

class MEM_MANAGER {
public:
  // Raw storage; throws std::bad_alloc when the system has none left.
  static void* allocate(std::size_t bytes) {
    void* block = ::operator new(bytes);
    ++s_counters.m_live_objects;
    ++s_counters.m_total_objects;
    s_counters.m_live_bytes += bytes;
    if (s_counters.m_live_bytes > s_counters.m_peak_bytes) {
      s_counters.m_peak_bytes = s_counters.m_live_bytes;
    }
    return block;
  }
  // `bytes` must be the size given to allocate().
  static void deallocate(void* block, std::size_t bytes) noexcept {
    if (block == nullptr) {
      return;
    }
    --s_counters.m_live_objects;
    s_counters.m_live_bytes -= bytes;
    ::operator delete(block, bytes);
  }

  static const MEM_COUNTERS& get_counters() noexcept { return s_counters; }
  // Starts a new peak measurement from the current live bytes.
  static void reset_peak() noexcept { s_counters.m_peak_bytes = s_counters.m_live_bytes; }

  // Allocates and constructs a T. Classes derived from MEM_OBJECT go through
  // their own operator new (so a delete through a virtual destructor frees
  // with the right size); any other type is placed in tracked raw storage.
  template <class T, class... ARGS>
  static T* new_wrapper(ARGS&&... args) {
    if constexpr (std::is_base_of_v<MEM_OBJECT, T>) {
      return new T(std::forward<ARGS>(args)...);
    } else {
      void* block = allocate(sizeof(T));
      try {
        return ::new (block) T(std::forward<ARGS>(args)...);
      } catch (...) {
        deallocate(block, sizeof(T));
        throw;
      }
    }
  }
  // The same, placed in a segment.
  template <class T, class... ARGS>
  static T* new_wrapper_in(MEM_SEGMENT* segment, ARGS&&... args) {
    if (segment != nullptr) {
      segment->note_placement(sizeof(T));
    }
    return new_wrapper<T>(std::forward<ARGS>(args)...);
  }
  // Destroys and frees what new_wrapper made; null is ignored.
  template <class T>
  static void delete_wrapper(T* object) noexcept {
    if (object == nullptr) {
      return;
    }
    if constexpr (std::is_base_of_v<MEM_OBJECT, T>) {
      delete object;
    } else {
      static_assert(!std::is_polymorphic_v<T>,
                    "polymorphic types must derive from MEM_OBJECT to be freed with their size");
      object->~T();
      deallocate(object, sizeof(T));
    }
  }

private:
  friend class MEM_INITIALIZER;
  static inline MEM_COUNTERS s_counters{};
};

// Storage for many small blocks that die together, such as the records of
// one read: blocks are carved in order from large chunks of the manager, so
// making and freeing one costs a few additions instead of a malloc and a free.
// Each chunk counts its holds: one per block carved from it and not yet
// released, plus one while the arena carves from it. The chunk goes back to
// the manager when its last hold is dropped, so blocks can be released one by
// one, in any order, and outlive the arena. Chunks are counted by the manager
// like every other allocation (one object each).
class MEM_ARENA {
public:
  struct CHUNK {
    std::size_t m_holds;  // blocks in use, plus one while it is the arena's current chunk
    std::size_t m_bytes;  // size given to MEM_MANAGER::allocate, header included
  };
  // Alignment of every block: enough for pointers and 64-bit integers (the
  // arena is not meant for over-aligned types).
  static constexpr std::size_t ALIGNMENT = 8;
  static constexpr std::size_t DEFAULT_CHUNK_BYTES = std::size_t{1} << 16;

  explicit MEM_ARENA(std::size_t chunk_bytes = DEFAULT_CHUNK_BYTES) noexcept
      : m_chunk_bytes(chunk_bytes) {}
  ~MEM_ARENA() { drop_current(); }
  MEM_ARENA(const MEM_ARENA&) = delete;
  MEM_ARENA& operator=(const MEM_ARENA&) = delete;

  // A block of `bytes`, aligned to ALIGNMENT; `chunk` receives the chunk to
  // release it to. A block larger than a chunk's room gets a chunk of its own.
  void* allocate(std::size_t bytes, CHUNK*& chunk) {
    bytes = round_up(bytes);
    if (bytes > static_cast<std::size_t>(m_end - m_next)) {
      if (bytes > m_chunk_bytes - HEADER) {
        return allocate_single(bytes, chunk);
      }
      drop_current();
      m_current = new_chunk(m_chunk_bytes - HEADER);
      m_next = reinterpret_cast<char*>(m_current) + HEADER;
      m_end = reinterpret_cast<char*>(m_current) + m_current->m_bytes;
    }
    void* block = m_next;
    m_next += bytes;
    ++m_current->m_holds;
    chunk = m_current;
    return block;
  }
  // A block in a chunk of its own (for a caller without an arena).
  static void* allocate_single(std::size_t bytes, CHUNK*& chunk) {
    chunk = new_chunk(round_up(bytes));
    return reinterpret_cast<char*>(chunk) + HEADER;
  }
  // Drops the hold of one block; frees the chunk with its last hold.
  static void release(CHUNK* chunk) noexcept {
    if (chunk != nullptr && --chunk->m_holds == 0) {
      MEM_MANAGER::deallocate(chunk, chunk->m_bytes);
    }
  }

private:
  static constexpr std::size_t HEADER = (sizeof(CHUNK) + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
  static std::size_t round_up(std::size_t bytes) noexcept {
    return (bytes + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
  }
  static CHUNK* new_chunk(std::size_t payload) {
    const std::size_t bytes = HEADER + payload;
    return ::new (MEM_MANAGER::allocate(bytes)) CHUNK{1, bytes};
  }
  void drop_current() noexcept {
    release(m_current);
    m_current = nullptr;
    m_next = nullptr;
    m_end = nullptr;
  }

  std::size_t m_chunk_bytes;
  CHUNK* m_current = nullptr;
  char* m_next = nullptr;
  char* m_end = nullptr;
};

// Base of the library's heap objects: new and delete go through the manager,
// and delete through a virtual destructor frees with the dynamic type's size.
class MEM_OBJECT {
public:
  static void* operator new(std::size_t bytes) { return MEM_MANAGER::allocate(bytes); }
  static void operator delete(void* block, std::size_t bytes) noexcept {
    MEM_MANAGER::deallocate(block, bytes);
  }
  static void* operator new[](std::size_t bytes) { return MEM_MANAGER::allocate(bytes); }
  static void operator delete[](void* block, std::size_t bytes) noexcept {
    MEM_MANAGER::deallocate(block, bytes);
  }

protected:
  MEM_OBJECT() = default;
  ~MEM_OBJECT() = default;
};

// The allocator of the library's strings and vectors.
template <class T>
class MEM_ALLOCATOR {
public:
  using value_type = T;
  MEM_ALLOCATOR() noexcept = default;
  template <class U>
  MEM_ALLOCATOR(const MEM_ALLOCATOR<U>&) noexcept {}
  T* allocate(std::size_t count) {
    if (count > static_cast<std::size_t>(-1) / sizeof(T)) {
      throw std::bad_array_new_length();
    }
    return static_cast<T*>(MEM_MANAGER::allocate(count * sizeof(T)));
  }
  void deallocate(T* block, std::size_t count) noexcept {
    MEM_MANAGER::deallocate(block, count * sizeof(T));
  }
  template <class U>
  bool operator==(const MEM_ALLOCATOR<U>&) const noexcept {
    return true;
  }
};

using MEM_STRING = std::basic_string<char, std::char_traits<char>, MEM_ALLOCATOR<char>>;
template <class T>
using MEM_VECTOR = std::vector<T, MEM_ALLOCATOR<T>>;

// Makes sure the manager is set up before any static object of a unit that
// includes this header allocates, and, when the environment variable
// KESTREL_MEM_REPORT is set, writes the counters to standard error when the
// last such unit is torn down (a leak summary at exit).
class MEM_INITIALIZER {
public:
  MEM_INITIALIZER() noexcept;
  ~MEM_INITIALIZER();
  MEM_INITIALIZER(const MEM_INITIALIZER&) = delete;
  MEM_INITIALIZER& operator=(const MEM_INITIALIZER&) = delete;

  // Writes the counters in one line: "live objects N, live bytes N, peak bytes N".
  static std::string describe(const MEM_COUNTERS& counters);
};

static MEM_INITIALIZER mem_initializer_instance;
