// Persistence layer: saves graphs of objects into .ddb segment files and reads
// them back.
//
// A persisted class derives from PDB_VIRTUAL_OBJECT<T> (polymorphic classes)
// or PDB_OBJECT<T> (plain classes), is registered once with
// pdb_register_class, and transfers its fields in serialize(PDB_SEGMENT&):
//
//   void NODE::serialize(PDB_SEGMENT& segment) {
//     segment.serialize_begin(s_pdb_class_info, this);
//     segment.xfr_ref_vector("m_children", m_children, NODE::s_pdb_class_info, PDB_OWNED);
//     segment.xfr("m_id", m_id);
//     segment.xfr_ref("m_next", m_next, NODE::s_pdb_class_info, PDB_NOT_OWNED);
//     segment.serialize_end();
//   }
//
// The same serialize writes (PDB_SEGMENT_WRITER) and reads (PDB_SEGMENT_READER).
// A segment holds any number of named roots; every object reachable from them
// is written once, and shared references and cycles come back as the same
// graph. Each reference says whether it owns what it points to; the objects
// read must form a forest of ownership trees below the roots (every object
// owned exactly once, no ownership cycle), which is verified before anything
// is handed out. Failures raise PDB_DATABASE_EXCEPTION. docs/ddb-format.md
// describes the file format and the rules.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "mem_alloc_sys.h"

class PDB_CLASS_INFO;
class PDB_SEGMENT;
class PDB_SEGMENT_INFO;
class PDB_VIRTUAL_OBJECT_BASE;
struct PDB_SEGMENT_STATE;
struct PDB_DDB_SEG_BASE;
template <class KIND>
class PDB_SEGMENT_TEMPLATE;
struct PDB_MATCH_DATA;

// Every failure of a transfer: a file that cannot be read as a database, a
// schema that does not match, an object graph that breaks the ownership
// rules, a write that could not be completed.
class PDB_DATABASE_EXCEPTION : public std::runtime_error {
 public:
  explicit PDB_DATABASE_EXCEPTION(const std::string& message) : std::runtime_error(message) {}
};

// The identity word's value for an object that no transfer holds.
inline constexpr std::uint32_t PDB_UNREGISTERED = 0x80000000U;

// Base of every persisted object: one 32-bit identity word. While a segment
// reader or writer works on the object the word is the object's index in that
// transfer; otherwise it is PDB_UNREGISTERED. Copies start unregistered.
class PDB_OBJECT_BASE : public MEM_OBJECT {
 public:
  std::uint32_t get_pdb_identity() const noexcept { return m_pdb_identity; }

 protected:
  // constexpr, so that small plain classes (a key part) stay literal types.
  constexpr PDB_OBJECT_BASE() noexcept = default;
  constexpr PDB_OBJECT_BASE(const PDB_OBJECT_BASE&) noexcept {}
  constexpr PDB_OBJECT_BASE& operator=(const PDB_OBJECT_BASE&) noexcept { return *this; }
  constexpr ~PDB_OBJECT_BASE() {
    if (m_pdb_identity != PDB_UNREGISTERED) [[unlikely]] {
      release_identity();
    }
  }

 private:
  friend class PDB_SEGMENT;
  friend struct PDB_SEGMENT_STATE;
  // Tells the transfer that holds the object that it goes away.
  void release_identity() noexcept;

  mutable std::uint32_t m_pdb_identity = PDB_UNREGISTERED;
};

// Base of the polymorphic persisted classes. The transfer of such an object
// is its virtual serialize; it is destroyed through its virtual destructor.
class PDB_VIRTUAL_OBJECT_BASE : public PDB_OBJECT_BASE {
 public:
  virtual PDB_CLASS_INFO* pdb_class_info() = 0;
  virtual const PDB_CLASS_INFO* pdb_class_info() const = 0;
  virtual void serialize(PDB_SEGMENT& segment) = 0;
  // Automatic field matching is not supported: answers false.
  virtual bool is_auto_match_pdb_xfr(PDB_VIRTUAL_OBJECT_BASE* other, PDB_MATCH_DATA* data) const;
  virtual ~PDB_VIRTUAL_OBJECT_BASE() = default;

  // The transfer in its operator form (`object << segment`).
  void operator<<(PDB_SEGMENT_TEMPLATE<PDB_DDB_SEG_BASE>& segment);

 protected:
  PDB_VIRTUAL_OBJECT_BASE() noexcept = default;
  PDB_VIRTUAL_OBJECT_BASE(const PDB_VIRTUAL_OBJECT_BASE&) noexcept = default;
  PDB_VIRTUAL_OBJECT_BASE& operator=(const PDB_VIRTUAL_OBJECT_BASE&) noexcept = default;
};

// The polymorphic base instantiated for the root class T of a hierarchy. It
// holds T's class-information slot; a registered subclass declares its own
// `static inline PDB_CLASS_INFO* s_pdb_class_info` and overrides
// pdb_class_info() and serialize().
template <class T>
class PDB_VIRTUAL_OBJECT : public PDB_VIRTUAL_OBJECT_BASE {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() override { return s_pdb_class_info; }
  const PDB_CLASS_INFO* pdb_class_info() const override { return s_pdb_class_info; }

 protected:
  PDB_VIRTUAL_OBJECT() noexcept = default;
};

// The plain base instantiated for a class T without virtual transfer: the
// layer calls T::serialize through the serializer thunk registered for T.
// Plain classes have no registered subclasses.
template <class T>
class PDB_OBJECT : public PDB_OBJECT_BASE {
 public:
  static inline PDB_CLASS_INFO* s_pdb_class_info = nullptr;
  PDB_CLASS_INFO* pdb_class_info() const noexcept { return s_pdb_class_info; }
  // The transfer in its operator form (`object << segment`).
  void operator<<(PDB_SEGMENT_TEMPLATE<PDB_DDB_SEG_BASE>& segment) {
    static_cast<T*>(this)->serialize(segment);
  }

 protected:
  constexpr PDB_OBJECT() noexcept = default;
  ~PDB_OBJECT() = default;
};

// A unique address per C++ type: ties a class record to the type it was
// registered for, so that a transfer can check that a field's type and the
// class information handed with it agree.
template <class T>
inline constexpr char pdb_type_tag = 0;

// Thunks of one registered class.
struct PDB_CLASS_THUNKS {
  // Constructs an empty object (one that owns nothing) in `memory`.
  using CONSTRUCTOR = PDB_OBJECT_BASE* (*)(PDB_SEGMENT& segment, void* memory);
  // Calls the object's transfer (plain classes; null for virtual ones).
  using SERIALIZER = void (*)(PDB_SEGMENT& segment, PDB_OBJECT_BASE* object);
  // Destroys and frees an object of exactly this class (what the class's
  // owner would do to free it).
  using DESTROYER = void (*)(PDB_OBJECT_BASE* object) noexcept;
  // Stores `object` (of this class or a subclass) into a field of type T*.
  using STORER = void (*)(void* slot, PDB_OBJECT_BASE* object) noexcept;
  // Checks an object of this class once its references are linked (after
  // reading, before anything is handed out; after writing, before the file
  // replaces anything): null when it is good, otherwise what is wrong.
  // Optional; it may look at the objects the object reaches.
  using VERIFIER = const char* (*)(const PDB_OBJECT_BASE* object);

  CONSTRUCTOR m_constructor = nullptr;
  SERIALIZER m_serializer = nullptr;
  DESTROYER m_destroyer = nullptr;
  STORER m_storer = nullptr;
  VERIFIER m_verifier = nullptr;
  const void* m_type = nullptr;  // &pdb_type_tag<T>
  bool m_virtual = false;
};

// Whether a reference owns what it points to. A rule decides per target: it
// is called with the referenced object (after everything was read, before
// any reference is linked, so it may look at the target's plain fields but
// not at its references).
using PDB_OWNERSHIP_RULE = bool (*)(const PDB_OBJECT_BASE* referenced);

class PDB_OWNERSHIP {
 public:
  enum KIND : std::uint8_t { NOT_OWNED, OWNED, BY_RULE, OWNED_FLAT };
  static constexpr PDB_OWNERSHIP owned() noexcept { return PDB_OWNERSHIP(OWNED, nullptr); }
  // Owned, and freed by its owner in a loop rather than by recursion (a list
  // freed from its head, a tree freed by rotations): the link adds no level
  // to the ownership depth that the segment information may limit.
  static constexpr PDB_OWNERSHIP owned_flat() noexcept {
    return PDB_OWNERSHIP(OWNED_FLAT, nullptr);
  }
  static constexpr PDB_OWNERSHIP not_owned() noexcept { return PDB_OWNERSHIP(NOT_OWNED, nullptr); }
  static constexpr PDB_OWNERSHIP by_rule(PDB_OWNERSHIP_RULE rule) noexcept {
    return PDB_OWNERSHIP(BY_RULE, rule);
  }
  KIND get_kind() const noexcept { return m_kind; }
  PDB_OWNERSHIP_RULE get_rule() const noexcept { return m_rule; }

 private:
  constexpr PDB_OWNERSHIP(KIND kind, PDB_OWNERSHIP_RULE rule) noexcept
      : m_rule(rule), m_kind(kind) {}
  PDB_OWNERSHIP_RULE m_rule;
  KIND m_kind;
};

inline constexpr PDB_OWNERSHIP PDB_OWNED = PDB_OWNERSHIP::owned();
inline constexpr PDB_OWNERSHIP PDB_NOT_OWNED = PDB_OWNERSHIP::not_owned();
inline constexpr PDB_OWNERSHIP PDB_OWNED_FLAT = PDB_OWNERSHIP::owned_flat();

// The registered record of one persisted class.
class PDB_CLASS_INFO {
 public:
  // Registers a class in `segment_info` and points `*slot` at its record.
  // `base` is the registered record of the class's persisted base (null for
  // the root of a hierarchy); it must be a virtual class of the same segment
  // information, and a plain class has none. A failed registration (null or
  // duplicate name, a slot already set, a bad base, missing thunks) is
  // reported to the internal-error reporter and answers null.
  static PDB_CLASS_INFO* register_class(const char* class_name, const PDB_CLASS_INFO* base,
                                        std::size_t object_size, std::uint32_t signature,
                                        PDB_SEGMENT_INFO& segment_info, PDB_CLASS_INFO** slot,
                                        const PDB_CLASS_THUNKS& thunks);

  const char* get_name() const noexcept { return m_name.c_str(); }
  const PDB_CLASS_INFO* get_base() const noexcept { return m_base; }
  std::size_t get_object_size() const noexcept { return m_object_size; }
  std::uint32_t get_signature() const noexcept { return m_signature; }
  bool is_virtual() const noexcept { return m_thunks.m_virtual; }
  const PDB_SEGMENT_INFO& get_segment_info() const noexcept { return *m_segment_info; }
  const PDB_CLASS_THUNKS& get_thunks() const noexcept { return m_thunks; }
  // Dense number of the class among all registered classes (0, 1, ...).
  std::uint32_t get_index() const noexcept { return m_index; }
  // True when this class is `other` or derives from it.
  bool is_a(const PDB_CLASS_INFO* other) const noexcept {
    for (const PDB_CLASS_INFO* c = this; c != nullptr; c = c->m_base) {
      if (c == other) {
        return true;
      }
    }
    return false;
  }

  // The record registered for a C++ type, or null.
  static const PDB_CLASS_INFO* find_type(const void* type_tag) noexcept;
  // The record of a class number, or null.
  static const PDB_CLASS_INFO* find_index(std::uint32_t index) noexcept;
  // Reports a refused registration of `class_name` and answers null.
  static PDB_CLASS_INFO* refuse(const char* class_name, const char* problem);

  PDB_CLASS_INFO(const PDB_CLASS_INFO&) = delete;
  PDB_CLASS_INFO& operator=(const PDB_CLASS_INFO&) = delete;

 private:
  friend class PDB_SEGMENT_INFO;
  PDB_CLASS_INFO() = default;

  std::string m_name;
  const PDB_CLASS_INFO* m_base = nullptr;
  std::size_t m_object_size = 0;
  std::uint32_t m_signature = 0;
  std::uint32_t m_index = 0;
  PDB_SEGMENT_INFO* m_segment_info = nullptr;
  PDB_CLASS_THUNKS m_thunks;
};

// The classes of one segment kind, and its limits.
class PDB_SEGMENT_INFO {
 public:
  explicit PDB_SEGMENT_INFO(const char* kind);
  ~PDB_SEGMENT_INFO();
  PDB_SEGMENT_INFO(const PDB_SEGMENT_INFO&) = delete;
  PDB_SEGMENT_INFO& operator=(const PDB_SEGMENT_INFO&) = delete;

  const char* get_kind() const noexcept { return m_kind.c_str(); }
  // The class registered under `name`, or null.
  const PDB_CLASS_INFO* find_class(const char* name, std::size_t length) const noexcept;
  std::size_t get_class_count() const noexcept;

  // A file whose ownership trees are deeper than this is refused (0: no
  // limit). Owners that free their trees recursively want a limit.
  void set_max_ownership_depth(std::uint32_t depth) noexcept { m_max_depth = depth; }
  std::uint32_t get_max_ownership_depth() const noexcept { return m_max_depth; }

 private:
  friend class PDB_CLASS_INFO;
  struct TABLE;
  std::string m_kind;
  TABLE* m_table;
  std::uint32_t m_max_depth = 0;
};

// The segment information of the ".ddb" segment kind.
PDB_SEGMENT_INFO& pdb_ddb_segment_info();

// --- Thunks and registration of a C++ class -----------------------------------

template <class T>
PDB_OBJECT_BASE* pdb_construct_thunk(PDB_SEGMENT& segment, void* memory) {
  if constexpr (std::is_constructible_v<T, PDB_SEGMENT&>) {
    return static_cast<PDB_OBJECT_BASE*>(::new (memory) T(segment));
  } else {
    (void)segment;
    return static_cast<PDB_OBJECT_BASE*>(::new (memory) T());
  }
}
template <class T>
void pdb_serialize_thunk(PDB_SEGMENT& segment, PDB_OBJECT_BASE* object) {
  static_cast<T*>(object)->serialize(segment);
}
template <class T>
void pdb_destroy_thunk(PDB_OBJECT_BASE* object) noexcept {
  delete static_cast<T*>(object);
}
template <class T>
void pdb_store_thunk(void* slot, PDB_OBJECT_BASE* object) noexcept {
  *static_cast<T**>(slot) = static_cast<T*>(object);
}

// Registers T (base BASE, or void for none) with the thunks made for it. The
// form follows T: virtual when T derives from PDB_VIRTUAL_OBJECT_BASE. A class
// whose owners free it otherwise than with delete (a list freed from its head)
// passes its own destroyer; a class with invariants across its references
// passes a verifier.
template <class T, class BASE = void>
PDB_CLASS_INFO* pdb_register_class(PDB_SEGMENT_INFO& segment_info, const char* name,
                                   std::uint32_t signature, PDB_CLASS_INFO** slot,
                                   PDB_CLASS_THUNKS::DESTROYER destroyer = nullptr,
                                   PDB_CLASS_THUNKS::VERIFIER verifier = nullptr) {
  static_assert(std::is_base_of_v<PDB_OBJECT_BASE, T>,
                "persisted classes derive from PDB_OBJECT_BASE");
  constexpr bool is_virtual = std::is_base_of_v<PDB_VIRTUAL_OBJECT_BASE, T>;
  const PDB_CLASS_INFO* base = nullptr;
  if constexpr (!std::is_void_v<BASE>) {
    static_assert(std::is_base_of_v<BASE, T>, "BASE must be a base of T");
    base = PDB_CLASS_INFO::find_type(&pdb_type_tag<BASE>);
    if (base == nullptr) {
      return PDB_CLASS_INFO::refuse(name, "its base class is not registered");
    }
  }
  PDB_CLASS_THUNKS thunks;
  thunks.m_constructor = &pdb_construct_thunk<T>;
  if constexpr (!is_virtual) {
    thunks.m_serializer = &pdb_serialize_thunk<T>;
  }
  thunks.m_destroyer = destroyer != nullptr ? destroyer : &pdb_destroy_thunk<T>;
  thunks.m_storer = &pdb_store_thunk<T>;
  thunks.m_verifier = verifier;
  thunks.m_type = &pdb_type_tag<T>;
  thunks.m_virtual = is_virtual;
  return PDB_CLASS_INFO::register_class(name, base, sizeof(T), signature, segment_info, slot,
                                        thunks);
}

// The record registered for T, or null.
template <class T>
const PDB_CLASS_INFO* pdb_class_info_of() noexcept {
  return PDB_CLASS_INFO::find_type(&pdb_type_tag<T>);
}

// A new array of `count` default-constructed persisted plain objects (null
// for 0), tracked by the memory manager; free it with delete[].
template <class T>
T* pdb_new_array(std::size_t count) {
  static_assert(std::is_base_of_v<MEM_OBJECT, T>, "array elements are tracked objects");
  return count == 0 ? nullptr : new T[count];
}

// --- The transfer ---------------------------------------------------------------

// Field type codes as the file records them (docs/ddb-format.md).
enum PDB_FIELD_CODE : std::uint8_t {
  PDB_CODE_INT32 = 0x01,
  PDB_CODE_INT16 = 0x02,
  PDB_CODE_BOOL = 0x03,
  PDB_CODE_DOUBLE = 0x04,
  PDB_CODE_STRING = 0x05,
  PDB_CODE_REF = 0x06,
  PDB_CODE_ARRAY = 0x07,
  PDB_CODE_VECTOR_OF = 0x10,  // added once per vector level
};

template <class T>
struct PDB_VALUE_CODEC;

// A number in the file's byte order (little-endian) and back.
template <class U>
U pdb_little_endian(U value) noexcept {
  if constexpr (std::endian::native == std::endian::little || sizeof(U) == 1) {
    return value;
  } else if constexpr (sizeof(U) == 2) {
    return std::bit_cast<U>(__builtin_bswap16(std::bit_cast<std::uint16_t>(value)));
  } else if constexpr (sizeof(U) == 4) {
    return std::bit_cast<U>(__builtin_bswap32(std::bit_cast<std::uint32_t>(value)));
  } else {
    static_assert(sizeof(U) == 8, "numbers of 1, 2, 4 or 8 bytes");
    return std::bit_cast<U>(__builtin_bswap64(std::bit_cast<std::uint64_t>(value)));
  }
}

// Where the transfer stands in the field layout of the class being
// transferred.
struct PDB_FIELD_CURSOR {
  const std::uint8_t* m_codes = nullptr;
  std::uint32_t m_size = 0;
  std::uint32_t m_position = 0;
  bool m_slow = true;  // recording a layout, checking names, or no class open
};

// One object transfer, in either direction. Each field operation writes the
// field when the segment writes and reads it when it reads; the sequence of
// operations of a class must be the same for every object of the class.
class PDB_SEGMENT {
 public:
  PDB_SEGMENT(const PDB_SEGMENT&) = delete;
  PDB_SEGMENT& operator=(const PDB_SEGMENT&) = delete;

  bool is_reading() const noexcept { return m_reading; }
  bool is_writing() const noexcept { return !m_reading; }

  // The name of the source that transfers the current fields (for messages).
  void set_source(const char* source) noexcept { m_source = source; }
  const char* get_source() const noexcept { return m_source; }

  // Bracket the transfer of one class's fields. The outermost pair of an
  // object names the object's own class; a class's serialize that first
  // transfers its base's fields calls the base's serialize inside its pair.
  void serialize_begin(const PDB_CLASS_INFO* info, const PDB_OBJECT_BASE* object);
  void serialize_end();

  // Values.
  void xfr(const char* field, std::int32_t& value) { xfr_value(field, value); }
  void xfr(const char* field, std::int16_t& value) { xfr_value(field, value); }
  void xfr(const char* field, bool& value) { xfr_value(field, value); }
  void xfr(const char* field, double& value) { xfr_value(field, value); }
  // An enumeration with a fixed 32-bit underlying type, as int32.
  template <class E>
  requires(std::is_enum_v<E> && sizeof(std::underlying_type_t<E>) == 4) void xfr(const char* field,
                                                                                 E& value) {
    std::int32_t number = static_cast<std::int32_t>(value);
    xfr_value(field, number);
    value = static_cast<E>(number);
  }
  template <class A>
  void xfr(const char* field, std::basic_string<char, std::char_traits<char>, A>& value) {
    xfr_value(field, value);
  }
  // Vectors of values, nested up to three levels.
  template <class V, class A>
  void xfr(const char* field, std::vector<V, A>& value) {
    xfr_value(field, value);
  }

  // A reference to an object of class `info` (the record of T) or of one of
  // its subclasses. Reading leaves the field null until the whole graph has
  // been read and verified, then links it.
  template <class T>
  void xfr_ref(const char* field, T*& ref, const PDB_CLASS_INFO* info, PDB_OWNERSHIP ownership) {
    static_assert(std::is_base_of_v<PDB_OBJECT_BASE, T>, "references point to persisted objects");
    begin_field(PDB_CODE_REF, field);
    check_declared(info, &pdb_type_tag<T>);
    if (m_reading) {
      if (ref != nullptr) {
        fail_not_empty();
      }
      read_ref(&ref, info, ownership);
    } else {
      write_ref(static_cast<PDB_OBJECT_BASE*>(ref), info, ownership);
    }
  }
  // A vector of such references, all with the same ownership.
  template <class T, class A>
  void xfr_ref_vector(const char* field, std::vector<T*, A>& refs, const PDB_CLASS_INFO* info,
                      PDB_OWNERSHIP ownership) {
    static_assert(std::is_base_of_v<PDB_OBJECT_BASE, T>, "references point to persisted objects");
    begin_field(PDB_CODE_REF | PDB_CODE_VECTOR_OF, field);
    check_declared(info, &pdb_type_tag<T>);
    if (m_reading) {
      if (!refs.empty()) {
        fail_not_empty();
      }
      const std::uint32_t count = get_count(4);
      refs.assign(count, nullptr);
      for (T*& ref : refs) {
        read_ref(&ref, info, ownership);
      }
    } else {
      put_count(refs.size());
      for (T* ref : refs) {
        write_ref(static_cast<PDB_OBJECT_BASE*>(ref), info, ownership);
      }
    }
  }

  // An array of plain persisted objects (class `info`, the record of T),
  // each transferred in place by its serialize. Writing transfers `count`
  // elements; reading replaces `array` by a new array (pdb_new_array) of the
  // count the file gives, and returns that count. The owner frees the array.
  template <class T>
  std::size_t xfr_array(const char* field, T*& array, std::size_t count,
                        const PDB_CLASS_INFO* info) {
    return xfr_array_small(field, array, static_cast<T*>(nullptr), 0, count, info);
  }
  // The same transfer with room for a few elements inside the object:
  // reading puts an array of at most `capacity` elements into `small` (as
  // many fresh default-constructed elements) and sets `array` to null; a
  // longer one goes into a new array as above. The file is the same.
  template <class T>
  std::size_t xfr_array_small(const char* field, T*& array, T* small, std::size_t capacity,
                              std::size_t count, const PDB_CLASS_INFO* info) {
    static_assert(
        std::is_base_of_v<PDB_OBJECT_BASE, T> && !std::is_base_of_v<PDB_VIRTUAL_OBJECT_BASE, T>,
        "array elements are plain persisted objects");
    begin_field(PDB_CODE_ARRAY, field);
    check_declared(info, &pdb_type_tag<T>);
    T* elements = array;
    if (m_reading) {
      count = get_array_count(info);
      if (count <= capacity) {
        array = nullptr;
        elements = small;
      } else {
        array = pdb_new_array<T>(count);
        elements = array;
      }
    } else {
      if (count > 0 && array == nullptr) {
        fail_null_array();
      }
      put_count(count);
    }
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint32_t outer = begin_element(info);
      elements[i].serialize(*this);
      end_element(outer);
    }
    return count;
  }

  // A consistency condition of the object being transferred (say, that a
  // count field matches its array). A false condition raises the exception
  // in both directions: a writer must not produce a file that cannot be read.
  void check(bool ok, const char* condition) {
    if (!ok) [[unlikely]] {
      fail(std::string("failed check: ") + (condition != nullptr ? condition : ""));
    }
  }
  // Raises PDB_DATABASE_EXCEPTION with the file, object and field in front.
  [[noreturn]] void fail(const std::string& problem) const;

 protected:
  explicit PDB_SEGMENT(bool reading) noexcept : m_reading(reading) {}
  ~PDB_SEGMENT() = default;

  // Calls the transfer of one object of class `info` (one dispatch).
  void dispatch(PDB_OBJECT_BASE* object, const PDB_CLASS_INFO* info) {
    if (info->is_virtual()) {
      static_cast<PDB_VIRTUAL_OBJECT_BASE*>(object)->serialize(*this);
    } else {
      info->get_thunks().m_serializer(*this, object);
    }
  }

  PDB_SEGMENT_STATE* m_state = nullptr;
  // Reading: the bytes not yet consumed. Writing: the free part of the buffer.
  const unsigned char* m_get = nullptr;
  const unsigned char* m_get_end = nullptr;
  unsigned char* m_put = nullptr;
  unsigned char* m_put_end = nullptr;

  template <class T>
  friend struct PDB_VALUE_CODEC;

  template <class T>
  void xfr_value(const char* field, T& value) {
    begin_field(PDB_VALUE_CODEC<T>::k_code, field);
    if (m_reading) {
      PDB_VALUE_CODEC<T>::get(*this, value);
    } else {
      PDB_VALUE_CODEC<T>::put(*this, value);
    }
  }

  void begin_field(std::uint8_t code, const char* field) {
    m_field = field;
    if (!m_cursor.m_slow && m_cursor.m_position < m_cursor.m_size &&
        m_cursor.m_codes[m_cursor.m_position] == code) [[likely]] {
      ++m_cursor.m_position;
      return;
    }
    begin_field_slow(code, field);
  }
  void begin_field_slow(std::uint8_t code, const char* field);
  void check_declared(const PDB_CLASS_INFO* info, const void* type) {
    if (info == nullptr || info->get_thunks().m_type != type) [[unlikely]] {
      fail_declared(info);
    }
  }

  // Raw bytes, little-endian numbers.
  void need(std::size_t bytes) const {
    if (static_cast<std::size_t>(m_get_end - m_get) < bytes) [[unlikely]] {
      fail_truncated(bytes);
    }
  }
  template <class U>
  U get_raw() {
    need(sizeof(U));
    U value;
    std::memcpy(&value, m_get, sizeof(U));
    m_get += sizeof(U);
    return pdb_little_endian(value);
  }
  template <class U>
  void put_raw(U value) {
    if (static_cast<std::size_t>(m_put_end - m_put) < sizeof(U)) [[unlikely]] {
      flush_put();
    }
    value = pdb_little_endian(value);
    std::memcpy(m_put, &value, sizeof(U));
    m_put += sizeof(U);
  }
  void put_bytes(const void* data, std::size_t size);
  // A count of elements that take at least `min_size` bytes each, checked
  // against the bytes that remain.
  std::uint32_t get_count(std::size_t min_size) {
    const std::uint32_t count = get_raw<std::uint32_t>();
    if (count > static_cast<std::size_t>(m_get_end - m_get) / min_size) [[unlikely]] {
      fail_count(count, min_size);
    }
    return count;
  }
  void put_count(std::size_t count) {
    if (count > std::numeric_limits<std::uint32_t>::max()) [[unlikely]] {
      fail("more than 4294967295 elements");
    }
    put_raw(static_cast<std::uint32_t>(count));
  }

  void read_ref(void* slot, const PDB_CLASS_INFO* info, PDB_OWNERSHIP ownership);
  void write_ref(PDB_OBJECT_BASE* object, const PDB_CLASS_INFO* info, PDB_OWNERSHIP ownership);
  std::size_t get_array_count(const PDB_CLASS_INFO* info);
  // Elements nest (an element whose class holds an array): begin_element
  // answers the enclosing element's depth, which end_element restores.
  std::uint32_t begin_element(const PDB_CLASS_INFO* info);
  void end_element(std::uint32_t outer);

  void flush_put();
  [[noreturn]] void fail_truncated(std::size_t bytes) const;
  [[noreturn]] void fail_count(std::uint32_t count, std::size_t min_size) const;
  [[noreturn]] void fail_not_empty() const;
  [[noreturn]] void fail_null_array() const;
  [[noreturn]] void fail_declared(const PDB_CLASS_INFO* info) const;
  [[noreturn]] void fail_bool(unsigned value) const;
  [[noreturn]] __attribute__((cold, noinline)) void fail_field_count(const PDB_CLASS_INFO* info,
                                                                     std::size_t file_fields) const;

 protected:
  // Shared by the reader and the writer (pdb_segment.cpp).
  void reset_cursor() noexcept { m_cursor = PDB_FIELD_CURSOR(); }
  PDB_FIELD_CURSOR m_cursor;
  const char* m_field = nullptr;
  const char* m_source = nullptr;
  bool m_reading;

  friend struct PDB_SEGMENT_STATE;
};

// The codecs of the value types.
template <>
struct PDB_VALUE_CODEC<std::int32_t> {
  static constexpr std::uint8_t k_code = PDB_CODE_INT32;
  static constexpr std::size_t k_min_size = 4;
  static void put(PDB_SEGMENT& s, std::int32_t v) { s.put_raw(v); }
  static void get(PDB_SEGMENT& s, std::int32_t& v) { v = s.get_raw<std::int32_t>(); }
};
template <>
struct PDB_VALUE_CODEC<std::int16_t> {
  static constexpr std::uint8_t k_code = PDB_CODE_INT16;
  static constexpr std::size_t k_min_size = 2;
  static void put(PDB_SEGMENT& s, std::int16_t v) { s.put_raw(v); }
  static void get(PDB_SEGMENT& s, std::int16_t& v) { v = s.get_raw<std::int16_t>(); }
};
template <>
struct PDB_VALUE_CODEC<bool> {
  static constexpr std::uint8_t k_code = PDB_CODE_BOOL;
  static constexpr std::size_t k_min_size = 1;
  static void put(PDB_SEGMENT& s, bool v) { s.put_raw(static_cast<std::uint8_t>(v ? 1 : 0)); }
  static void get(PDB_SEGMENT& s, bool& v) {
    const std::uint8_t byte = s.get_raw<std::uint8_t>();
    if (byte > 1) [[unlikely]] {
      s.fail_bool(byte);
    }
    v = byte != 0;
  }
};
template <>
struct PDB_VALUE_CODEC<double> {
  static constexpr std::uint8_t k_code = PDB_CODE_DOUBLE;
  static constexpr std::size_t k_min_size = 8;
  static void put(PDB_SEGMENT& s, double v) { s.put_raw(v); }
  static void get(PDB_SEGMENT& s, double& v) { v = s.get_raw<double>(); }
};
template <class A>
struct PDB_VALUE_CODEC<std::basic_string<char, std::char_traits<char>, A>> {
  using STRING = std::basic_string<char, std::char_traits<char>, A>;
  static constexpr std::uint8_t k_code = PDB_CODE_STRING;
  static constexpr std::size_t k_min_size = 4;
  static void put(PDB_SEGMENT& s, const STRING& v) {
    s.put_count(v.size());
    s.put_bytes(v.data(), v.size());
  }
  static void get(PDB_SEGMENT& s, STRING& v) {
    const std::uint32_t length = s.get_count(1);
    v.assign(reinterpret_cast<const char*>(s.m_get), length);
    s.m_get += length;
  }
};
template <class V, class A>
struct PDB_VALUE_CODEC<std::vector<V, A>> {
  using ELEMENT = PDB_VALUE_CODEC<V>;
  static_assert(ELEMENT::k_code < 3 * PDB_CODE_VECTOR_OF, "vectors nest at most three levels");
  static constexpr std::uint8_t k_code = ELEMENT::k_code + PDB_CODE_VECTOR_OF;
  static constexpr std::size_t k_min_size = 4;
  static void put(PDB_SEGMENT& s, const std::vector<V, A>& v) {
    s.put_count(v.size());
    for (const V& element : v) {
      ELEMENT::put(s, element);
    }
  }
  static void get(PDB_SEGMENT& s, std::vector<V, A>& v) {
    const std::uint32_t count = s.get_count(ELEMENT::k_min_size);
    v.clear();
    v.resize(count);
    if constexpr (std::is_same_v<V, bool>) {
      for (std::size_t i = 0; i < count; ++i) {
        bool element;
        ELEMENT::get(s, element);
        v[i] = element;
      }
    } else {
      for (V& element : v) {
        ELEMENT::get(s, element);
      }
    }
  }
};

// The array transfers under their free-function names.
template <class T, class COUNT>
COUNT pdb_array_xfr_small_(PDB_SEGMENT& segment, const char* field, T*& array, T* small,
                           std::size_t capacity, COUNT count, const PDB_CLASS_INFO* info) {
  static_assert(std::is_integral_v<COUNT>, "the count is an integer");
  const std::size_t given = count > 0 ? static_cast<std::size_t>(count) : 0;
  const std::size_t done = segment.xfr_array_small(field, array, small, capacity, given, info);
  if (done > static_cast<std::size_t>(std::numeric_limits<COUNT>::max())) {
    segment.fail("array count " + std::to_string(done) + " does not fit its count field");
  }
  return static_cast<COUNT>(done);
}
template <class T, class COUNT>
COUNT pdb_array_xfr_(PDB_SEGMENT& segment, const char* field, T*& array, COUNT count,
                     const PDB_CLASS_INFO* info) {
  return pdb_array_xfr_small_(segment, field, array, static_cast<T*>(nullptr), 0, count, info);
}

// The segment kind the .ddb classes use.
struct PDB_DDB_SEG_BASE {};
template <class KIND>
class PDB_SEGMENT_TEMPLATE : public PDB_SEGMENT {
 protected:
  using PDB_SEGMENT::PDB_SEGMENT;
};

inline void PDB_VIRTUAL_OBJECT_BASE::operator<<(PDB_SEGMENT_TEMPLATE<PDB_DDB_SEG_BASE>& segment) {
  serialize(segment);
}

// The file format's fixed numbers (docs/ddb-format.md).
inline constexpr std::uint32_t PDB_FORMAT_VERSION = 1;
inline constexpr std::size_t PDB_HEADER_SIZE = 40;
inline constexpr unsigned char PDB_MAGIC[8] = {0x89, 'K', 'D', 'D', 'B', '\r', '\n', 0x1A};

// CRC-32 (IEEE 802.3 polynomial, reflected, as zlib's crc32) of `size` bytes,
// continuing from `crc` (0 to start).
std::uint32_t pdb_crc32(const void* data, std::size_t size, std::uint32_t crc = 0) noexcept;

// --- Archives ---------------------------------------------------------------

// A named place for segments: the name is a path without extension. The
// segment named `key` with extension `ext` lives in the file
// name + ext (empty key) or name + "." + key + ext.
class PDB_ARCHIVE_BASE {
 public:
  PDB_ARCHIVE_BASE() = default;
  virtual ~PDB_ARCHIVE_BASE() = default;
  PDB_ARCHIVE_BASE(const PDB_ARCHIVE_BASE&) = delete;
  PDB_ARCHIVE_BASE& operator=(const PDB_ARCHIVE_BASE&) = delete;

  // Records the name; false for a null or empty name.
  bool open(const std::string& name);
  void close() noexcept;
  bool is_open() const noexcept { return m_open; }
  const std::string& get_name() const noexcept { return m_name; }
  // The file of a segment (empty when the archive is not open).
  std::string segment_path(const char* key, const char* extension) const;

 private:
  std::string m_name;
  bool m_open = false;
};

class PDB_ARCHIVE final : public PDB_ARCHIVE_BASE {};

// --- Reading and writing segments ----------------------------------------------

// Reads one segment file: open() loads and checks the file, read_reference()
// hands out a root, finish_reading_all() frees what was not handed out. The
// first read_reference reads every object, verifies types and ownership and
// links the references; until then nothing is handed out. On any failure
// everything read so far is freed and PDB_DATABASE_EXCEPTION is raised.
class PDB_SEGMENT_READER final : public PDB_SEGMENT_TEMPLATE<PDB_DDB_SEG_BASE> {
 public:
  PDB_SEGMENT_READER(const PDB_ARCHIVE_BASE& archive, PDB_SEGMENT_INFO& info, const char* name,
                     const char* extension);
  ~PDB_SEGMENT_READER();

  // False when the file cannot be opened (missing, not a regular file).
  // Raises when it is not a readable database (magic, version, length,
  // checksum).
  bool open();
  bool is_open() const noexcept;
  // Reads the class table (checking names and signatures) and the root
  // table. Called by read_reference when not called before.
  void read_public_identifier_lists();
  // Hands out the root stored under `name` as a T (class `info`): true with
  // `root` set (null for a null root), false with `root` null when there is
  // no such root. The caller owns the tree from then on. Raises when the
  // root's class is not a T or the root was handed out already.
  template <class T>
  bool read_reference(const char* name, T*& root,
                      const PDB_CLASS_INFO* info = pdb_class_info_of<T>()) {
    PDB_OBJECT_BASE* object = nullptr;
    const bool found = claim_root(name, info, &pdb_type_tag<T>, &object);
    root = static_cast<T*>(object);
    return found;
  }
  // Frees every root not handed out; references from what was handed out
  // into those trees become null. Everything handed out must still be
  // unchanged (it may have been destroyed). Then closes the file.
  void finish_reading_all() noexcept;
  void close() noexcept { finish_reading_all(); }

  // Names of the roots in the file (after read_public_identifier_lists).
  std::vector<std::string> get_root_names() const;
  std::size_t get_object_count() const noexcept;
  std::uint64_t get_file_size() const noexcept;

 private:
  bool claim_root(const char* name, const PDB_CLASS_INFO* info, const void* type,
                  PDB_OBJECT_BASE** object);
  void read_objects();
};

// Writes one segment file: open() creates a temporary file next to the
// target, write_reference() names roots, finish_writing_all() transfers every
// object reachable from them, verifies the ownership forest and replaces the
// target only once the file is complete and on disk. A writer destroyed
// without finishing leaves the target untouched.
class PDB_SEGMENT_WRITER final : public PDB_SEGMENT_TEMPLATE<PDB_DDB_SEG_BASE> {
 public:
  PDB_SEGMENT_WRITER(const PDB_ARCHIVE_BASE& archive, PDB_SEGMENT_INFO& info, const char* name,
                     const char* extension);
  ~PDB_SEGMENT_WRITER();

  // False when the temporary file cannot be created.
  bool open();
  bool is_open() const noexcept;
  // Names a root (null is allowed: it reads back as null).
  template <class T>
  void write_reference(const char* name, const T* root,
                       const PDB_CLASS_INFO* info = pdb_class_info_of<T>()) {
    add_root(name, const_cast<PDB_OBJECT_BASE*>(static_cast<const PDB_OBJECT_BASE*>(root)), info,
             &pdb_type_tag<T>);
  }
  // Raises on any failure; the target is then unchanged.
  void finish_writing_all();

  std::size_t get_object_count() const noexcept;
  std::uint64_t get_file_size() const noexcept;

 private:
  void add_root(const char* name, PDB_OBJECT_BASE* root, const PDB_CLASS_INFO* info,
                const void* type);
  void write_objects();
};

// Destroys an object the way its class's owner does.
template <class T>
void pdb_destroy_object(T* object) noexcept {
  if (object == nullptr) {
    return;
  }
  const PDB_CLASS_INFO* info;
  if constexpr (std::is_base_of_v<PDB_VIRTUAL_OBJECT_BASE, T>) {
    info = object->pdb_class_info();
  } else {
    info = pdb_class_info_of<T>();
  }
  if (info != nullptr) {
    info->get_thunks().m_destroyer(static_cast<PDB_OBJECT_BASE*>(object));
  } else {
    delete object;
  }
}

// Reads the root stored as "p_ref" in the segment `name` of `archive` (file
// extension ".ddb") into `root`, destroying what `root` held before. False
// (root null) when the file cannot be opened; PDB_DATABASE_EXCEPTION when it
// cannot be read (root null).
template <class ARCHIVE, class T>
bool pdb_read_(T*& root, ARCHIVE& archive, const char* name) {
  pdb_destroy_object(root);
  root = nullptr;
  PDB_SEGMENT_READER reader(archive, pdb_ddb_segment_info(), name, ".ddb");
  if (!reader.open()) {
    return false;
  }
  reader.read_public_identifier_lists();
  reader.read_reference("p_ref", root);
  reader.finish_reading_all();
  return true;
}

// Writes `root` as "p_ref" into the segment `name` of `archive`. False when
// the file cannot be created; PDB_DATABASE_EXCEPTION when the graph cannot be
// written (the previous file is then unchanged).
template <class ARCHIVE, class T>
bool pdb_write_(const T* root, ARCHIVE& archive, const char* name) {
  PDB_SEGMENT_WRITER writer(archive, pdb_ddb_segment_info(), name, ".ddb");
  if (!writer.open()) {
    return false;
  }
  writer.write_reference("p_ref", root);
  writer.finish_writing_all();
  return true;
}
