// Shared state of the segment reader and writer (not part of the interface).
#pragma once

#include <cstdint>
#include <string>

#include "mem_alloc_sys.h"
#include "pdb_sys.h"

// Owner values besides an object index.
inline constexpr std::uint32_t PDB_NO_OWNER = 0xFFFFFFFFU;
inline constexpr std::uint32_t PDB_ROOT_OWNER = 0xFFFFFFFEU;
// The largest number of objects in one segment (indices stay below the
// identity word's unregistered value and the owner markers).
inline constexpr std::uint32_t PDB_MAX_OBJECTS = 0x7FFFFF00U;

struct PDB_OBJECT_ENTRY {
  PDB_OBJECT_BASE* m_object;      // null once destroyed
  const PDB_CLASS_INFO* m_class;  // reading: exact class; writing: declared until transferred
};

// One non-null reference read from the file, linked once the graph is good.
struct PDB_REF_RECORD {
  void* m_slot;
  std::uint32_t m_source;
  std::uint32_t m_target;
  std::uint32_t m_declared;  // class index of the field's type
  std::uint8_t m_kind;       // PDB_OWNERSHIP::KIND; rules are resolved to the other two
  std::uint8_t m_rule;       // index in m_rules for BY_RULE
};

// A class as the file records it: name, signature and field layout.
struct PDB_FILE_CLASS {
  const PDB_CLASS_INFO* m_info = nullptr;
  MEM_VECTOR<std::uint8_t> m_codes;
  MEM_VECTOR<MEM_STRING> m_names;
  std::uint32_t m_min_size = 0;  // fewest bytes one instance takes (reading)
  bool m_known = false;          // writing: layout recorded; reading: names checked
  bool m_open = false;           // an instance is being transferred
};

struct PDB_ROOT_ENTRY {
  MEM_STRING m_name;
  std::uint32_t m_object = PDB_NO_OWNER;   // PDB_NO_OWNER: a null root
  const PDB_CLASS_INFO* m_info = nullptr;  // writing: the declared class
  bool m_claimed = false;
};

// A class whose fields are being transferred, with the cursor of the class
// around it.
struct PDB_CONTEXT {
  std::uint32_t m_file_class;
  std::uint32_t m_depth;
  // The cursor around, member by member. The position lies apart from the
  // size: a field transfer stores the position just before a nested class
  // begins, and a wider load spanning that store would stall.
  const std::uint8_t* m_saved_codes;
  std::uint32_t m_saved_size;
  bool m_saved_slow;
  std::uint32_t m_saved_position;
};

struct PDB_SEGMENT_STATE {
  enum PHASE { CLOSED, OPEN, TABLES, OBJECTS, FINISHED, FAILED };

  PDB_SEGMENT_STATE(PDB_SEGMENT& segment, const PDB_ARCHIVE_BASE& archive, PDB_SEGMENT_INFO& info,
                    const char* name, const char* extension);
  ~PDB_SEGMENT_STATE();

  // Identities: the one transfer at a time that numbers objects.
  void acquire_identities();
  void release_identities() noexcept;  // resets every live object's word
  void forget(PDB_OBJECT_BASE* object) noexcept;
  // Frees every object still in the table, one by one, without linking.
  void destroy_objects() noexcept;
  // Enters a newly constructed object as object `index`.
  void adopt(std::uint32_t index, PDB_OBJECT_BASE* object, const PDB_CLASS_INFO* info) noexcept {
    object->m_pdb_identity = index;
    m_objects[index] = PDB_OBJECT_ENTRY{object, info};
  }
  // Appends an object reached while writing and numbers it.
  std::uint32_t enter(PDB_OBJECT_BASE* object, const PDB_CLASS_INFO* info, std::uint32_t owner) {
    const std::uint32_t index = static_cast<std::uint32_t>(m_objects.size());
    m_objects.push_back(PDB_OBJECT_ENTRY{object, info});
    m_owner.push_back(owner);
    object->m_pdb_identity = index;
    return index;
  }
  // Frees the trees of the roots not handed out, after nulling the
  // references into them from the trees that were.
  void drop_unclaimed_roots() noexcept;

  // Records that `owner` owns `target`; raises on a second owner. A flat
  // link (PDB_OWNED_FLAT) adds no level of ownership depth.
  void take_ownership(std::uint32_t target, std::uint32_t owner, bool flat = false);
  // Checks that the owners form a forest below the roots, within the depth
  // limit of the segment information, and that every inspected target
  // outlives its source (verify_inspected).
  void verify_ownership();
  void verify_inspected();
  // Runs the classes' verifiers on the linked graph; raises on the first
  // object refused.
  void verify_objects();
  // Reading, after linking: frees every tree read (the non-owning references
  // are cut first, so no destructor looks at a tree freed before it).
  void destroy_linked() noexcept;

  // The file's class number of a program class (-1 when absent).
  std::int32_t file_class_of(const PDB_CLASS_INFO* info) const noexcept {
    return info->get_index() < m_file_class_of.size() ? m_file_class_of[info->get_index()] : -1;
  }
  std::uint32_t writer_file_class(const PDB_CLASS_INFO* info);
  std::uint8_t rule_index(PDB_OWNERSHIP_RULE rule);
  std::string describe(std::uint32_t object) const;

  PDB_SEGMENT& m_segment;
  const PDB_ARCHIVE_BASE& m_archive;
  PDB_SEGMENT_INFO& m_info;
  std::string m_key;
  std::string m_extension;
  std::string m_path;
  PHASE m_phase = CLOSED;

  // Reading: the file image. Writing: the file and its temporary twin.
  unsigned char* m_image = nullptr;
  std::uint64_t m_size = 0;
  std::uint64_t m_tables_offset = 0;
  int m_fd = -1;
  std::string m_temp_path;
  MEM_VECTOR<unsigned char> m_buffer;
  std::uint32_t m_crc = 0;

  MEM_VECTOR<PDB_FILE_CLASS> m_classes;
  MEM_VECTOR<std::int32_t> m_file_class_of;
  MEM_VECTOR<PDB_ROOT_ENTRY> m_roots;
  MEM_VECTOR<PDB_OBJECT_BASE*> m_root_objects;  // writing: the roots named
  std::uint32_t m_object_count = 0;

  MEM_VECTOR<PDB_OBJECT_ENTRY> m_objects;
  MEM_VECTOR<std::uint32_t> m_owner;
  MEM_VECTOR<std::uint8_t> m_flat;  // 1: owned through a flat link (grown on demand)
  MEM_VECTOR<PDB_REF_RECORD> m_refs;
  MEM_VECTOR<PDB_OWNERSHIP_RULE> m_rules;
  // References decided by a rule not to own their target: the source's
  // destructor looks at the target, which must therefore outlive it.
  struct INSPECTED {
    std::uint32_t m_source;
    std::uint32_t m_target;
  };
  MEM_VECTOR<INSPECTED> m_inspected;
  bool m_holds_identities = false;

  // The object being transferred and its class brackets.
  std::uint32_t m_current = PDB_NO_OWNER;
  const PDB_CLASS_INFO* m_expected = nullptr;  // reading: the class constructed
  bool m_began = false;
  std::uint32_t m_depth = 0;
  MEM_VECTOR<PDB_CONTEXT> m_contexts;
  const PDB_CLASS_INFO* m_pending_element = nullptr;
  std::uint32_t m_element_depth = 0;
};

// Field codes: validity, the fewest bytes a value takes, a name for messages.
bool pdb_valid_code(std::uint8_t code) noexcept;
std::uint32_t pdb_code_min_size(std::uint8_t code) noexcept;
std::string pdb_code_name(std::uint8_t code);
