// One parsed line of a DMF file: its words as text, grouped as the line
// grammar groups them, and the links of the doubly linked list that the file
// scanner builds. Nothing is evaluated here.
//
// A record keeps all its words in one block: a small header, one list entry
// per word list (parents, modifiers, then every group of every grouped field),
// one entry per word and the words' text, each word followed by a NUL. The
// reader carves a record and its block together from an arena, so a record
// costs no allocation of its own and a list is freed chunk by chunk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <ostream>
#include <string_view>

#include "dtm_types.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

class DTM_LINE_NODE final : public PDB_OBJECT<DTM_LINE_NODE> {
 public:
  // The five grouped fields.
  enum GROUP_FIELD { DELAYS, SCALERS, OFFSETS, BINS, VERSIONS };
  static constexpr int GROUP_FIELDS = 5;
  // The two flat lists, numbered after the grouped fields (WORD_SOURCE::m_list).
  static constexpr std::uint8_t PARENT_LIST = 5;
  static constexpr std::uint8_t MODIFIER_LIST = 6;

  // One word, in place in its record's block. Its text is found at an offset
  // from the entry itself, so entries cannot be copied, only referred to.
  class WORD {
   public:
    WORD(const WORD&) = delete;
    WORD& operator=(const WORD&) = delete;
    const char* c_str() const noexcept { return reinterpret_cast<const char*>(this) + m_offset; }
    std::size_t size() const noexcept { return m_size; }
    bool empty() const noexcept { return m_size == 0; }
    std::string_view view() const noexcept { return {c_str(), m_size}; }
    friend bool operator==(const WORD& word, std::string_view text) noexcept {
      return word.view() == text;
    }
    friend bool operator==(const WORD& left, const WORD& right) noexcept {
      return left.view() == right.view();
    }

   private:
    friend class DTM_LINE_NODE;
    WORD(std::uint32_t offset, std::uint32_t size) noexcept : m_offset(offset), m_size(size) {}
    std::uint32_t m_offset;
    std::uint32_t m_size;
  };

  // One list of words (a group of a grouped field, the parents or the
  // modifiers), in place in its record's block like its words.
  class WORDS {
   public:
    WORDS(const WORDS&) = delete;
    WORDS& operator=(const WORDS&) = delete;
    std::size_t size() const noexcept { return m_count; }
    bool empty() const noexcept { return m_count == 0; }
    const WORD* begin() const noexcept {
      return reinterpret_cast<const WORD*>(reinterpret_cast<const char*>(this) + m_offset);
    }
    const WORD* end() const noexcept { return begin() + m_count; }
    const WORD& operator[](std::size_t index) const noexcept { return begin()[index]; }
    friend bool operator==(const WORDS& left, const WORDS& right) noexcept;

   private:
    friend class DTM_LINE_NODE;
    WORDS(std::uint32_t offset, std::uint32_t count) noexcept : m_offset(offset), m_count(count) {}
    std::uint32_t m_offset;  // from this entry to its first word entry
    std::uint32_t m_count;
  };

  // The groups of one grouped field: a view, valid while the record is
  // neither changed nor freed.
  class GROUPS {
   public:
    GROUPS(const WORDS* first, std::size_t count) noexcept : m_first(first), m_count(count) {}
    std::size_t size() const noexcept { return m_count; }
    bool empty() const noexcept { return m_count == 0; }
    const WORDS* begin() const noexcept { return m_first; }
    const WORDS* end() const noexcept { return m_first + m_count; }
    const WORDS& operator[](std::size_t index) const noexcept { return m_first[index]; }

   private:
    const WORDS* m_first;
    std::size_t m_count;
  };

  // A word for create(): its text (m_size characters, no NUL needed), its
  // list (a GROUP_FIELD, PARENT_LIST or MODIFIER_LIST) and its group.
  struct WORD_SOURCE {
    const char* m_text;
    std::uint32_t m_size;
    std::uint8_t m_list;
    std::uint32_t m_group;
  };

  // The word fields in the vector form the .ddb stores them in.
  struct SAVED_WORDS {
    using LIST = MEM_VECTOR<MEM_STRING>;
    using LISTS = MEM_VECTOR<LIST>;
    MEM_STRING m_description;
    MEM_STRING m_id;
    LISTS m_delays;
    LIST m_parents;
    LIST m_modifiers;
    LISTS m_scalers;
    LISTS m_offsets;
    LISTS m_bins;
    LISTS m_versions;
  };

  DTM_LINE_NODE() = default;
  virtual ~DTM_LINE_NODE();
  DTM_LINE_NODE(const DTM_LINE_NODE&) = delete;
  DTM_LINE_NODE& operator=(const DTM_LINE_NODE&) = delete;

  // A record may live in an arena chunk: delete releases what it came from.
  static void operator delete(DTM_LINE_NODE* node, std::destroying_delete_t) noexcept;
  static void operator delete(void* block, std::size_t bytes) noexcept {
    MEM_MANAGER::deallocate(block, bytes);
  }

  // A new record holding `words` (each list keeps the order of its words in
  // `words`) and, when not null or empty, an identifier and a description.
  // The record (with its texts) is carved from `records` and its block of
  // words from `blocks`: a reader that keeps the two apart lays its records
  // out densely, so that walking or freeing a list streams through memory.
  // A null `blocks` carves the block with the record; a null `records` puts
  // everything in an allocation of its own. Freed like any record.
  static DTM_LINE_NODE* create(MEM_ARENA* records, MEM_ARENA* blocks, const WORD_SOURCE* words,
                               std::size_t count, const char* id = nullptr,
                               const char* description = nullptr);

  // Frees every record from `head` on along m_next.
  static void delete_list(DTM_LINE_NODE* head) noexcept;

  // Word accessors. A failed index check is reported and answered with "".
  const char* get_parent(DTM_SHORT index) const;
  const char* get_modifier(DTM_SHORT index) const;
  const char* get_delay(DTM_SHORT vec_index, DTM_SHORT index) const;
  const char* get_scaler(DTM_SHORT vec_index, DTM_SHORT index) const;
  const char* get_offset(DTM_SHORT vec_index, DTM_SHORT index) const;
  const char* get_bin(DTM_SHORT vec_index, DTM_SHORT index) const;
  const char* get_version(DTM_SHORT vec_index, DTM_SHORT index) const;

  // Group sizes. A failed check of the group index is reported and gives 0.
  DTM_SHORT get_num_delays(DTM_SHORT vec_index) const;
  DTM_SHORT get_num_scalers(DTM_SHORT vec_index) const;
  DTM_SHORT get_num_offsets(DTM_SHORT vec_index) const;
  DTM_SHORT get_num_bins(DTM_SHORT vec_index) const;
  DTM_SHORT get_num_versions(DTM_SHORT vec_index) const;
  DTM_SHORT get_num_parents() const { return static_cast<DTM_SHORT>(get_parents().size()); }
  DTM_SHORT get_num_modifiers() const { return static_cast<DTM_SHORT>(get_modifiers().size()); }

  // Appenders. The grouped ones grow the field with empty groups up to
  // vec_index. A null word or a negative group is reported and gives false.
  // Each call rewrites the record's block (the reader writes a record once).
  bool add_parent(const char* string);
  bool add_modifier(const char* string);
  bool add_delay(const char* string, DTM_SHORT vec_index);
  bool add_scaler(const char* string, DTM_SHORT vec_index);
  bool add_offset(const char* string, DTM_SHORT vec_index);
  bool add_bin(const char* string, DTM_SHORT vec_index);
  bool add_version(const char* string, DTM_SHORT vec_index);

  // Capacity hints. The flat ones change nothing (a record's lists are sized
  // when it is written); the grouped one creates the group (and the empty
  // ones before it) as the first add to it would, and only when `count` > 0.
  void reserve_parents(std::size_t count);
  void reserve_modifiers(std::size_t count);
  void reserve_group(GROUP_FIELD field, DTM_SHORT vec_index, std::size_t count);

  // Whole fields as views, for callers that test the outer size first.
  GROUPS get_delays() const { return get_groups(DELAYS); }
  GROUPS get_scalers() const { return get_groups(SCALERS); }
  GROUPS get_offsets() const { return get_groups(OFFSETS); }
  GROUPS get_bins() const { return get_groups(BINS); }
  GROUPS get_versions() const { return get_groups(VERSIONS); }
  const WORDS& get_parents() const { return m_block != nullptr ? m_block->list(0) : s_no_words; }
  const WORDS& get_modifiers() const { return m_block != nullptr ? m_block->list(1) : s_no_words; }

  DTM_SHORT get_line_number() const { return m_line_number; }
  void set_line_number(DTM_SHORT line_number) { m_line_number = line_number; }
  bool get_marked() const { return m_marked; }
  void set_marked(bool marked) { m_marked = marked; }
  bool is_description() const { return m_is_description; }
  void set_is_description(bool is_description) { m_is_description = is_description; }
  const MEM_STRING& get_description() const;
  void set_description(const char* text);
  const MEM_STRING& get_id() const;
  void set_id(const char* id);
  DTM_LINE_NODE* get_prev() const { return m_prev; }
  void set_prev(DTM_LINE_NODE* prev) { m_prev = prev; }
  DTM_LINE_NODE* get_next() const { return m_next; }
  void set_next(DTM_LINE_NODE* next) { m_next = next; }

  // One text line per delay group in DMF-like syntax (the line-trace format).
  void dump_node(std::ostream& os) const;

  // Persistence (ddb_dtm__pdb.cpp, ddb_dtm__pdbg.cpp). A saved list is saved
  // from its head: each record owns the next one. The word fields travel in
  // their vector form: save_words() before the transfer, load_words() after
  // a read.
  void serialize(PDB_SEGMENT& segment);
  bool is_auto_match_pdb_xfr(PDB_OBJECT_BASE* other, PDB_MATCH_DATA* data) const;
  SAVED_WORDS save_words() const;
  void load_words(const SAVED_WORDS& saved);

  // Bytes of the record's block (0 without words): what one record costs
  // beyond sizeof(DTM_LINE_NODE).
  std::size_t get_block_bytes() const { return m_block != nullptr ? m_block->m_bytes : 0; }

 private:
  // The block: this header, then WORDS[2 + sum of m_groups] (parents,
  // modifiers, then the groups field by field), WORD[...], then the text.
  struct BLOCK {
    std::uint32_t m_bytes;
    std::uint32_t m_groups[GROUP_FIELDS];
    const WORDS& list(std::size_t index) const {
      return reinterpret_cast<const WORDS*>(this + 1)[index];
    }
    std::size_t first_group(int field) const {
      std::size_t first = 2;
      for (int f = 0; f < field; ++f) {
        first += m_groups[f];
      }
      return first;
    }
  };
  // Description and identifier, allocated only for a record that has one.
  struct TEXTS {
    MEM_STRING m_description;
    MEM_STRING m_id;
  };
  struct GROUP_TRAITS;
  static const GROUP_TRAITS s_group_traits[];
  static const WORDS s_no_words;

  GROUPS get_groups(GROUP_FIELD field) const;
  const char* get_grouped(GROUP_FIELD field, DTM_SHORT vec_index, DTM_SHORT index) const;
  DTM_SHORT get_num_grouped(GROUP_FIELD field, DTM_SHORT vec_index) const;
  bool add_grouped(GROUP_FIELD field, const char* string, DTM_SHORT vec_index);
  const char* get_flat(const WORDS& words, DTM_SHORT index, const char* check) const;
  bool add_word(std::uint8_t list, const char* string, std::uint32_t group);
  TEXTS& texts();
  // Replaces the block by one holding `words` with at least `groups` groups
  // per field; the new block is owned by the record.
  void rewrite(const WORD_SOURCE* words, std::size_t count, const std::uint32_t* groups);
  static std::size_t block_bytes(const WORD_SOURCE* words, std::size_t count,
                                 const std::uint32_t* groups);
  static BLOCK* write_block(void* memory, std::size_t bytes, const WORD_SOURCE* words,
                            std::size_t count, const std::uint32_t* groups);
  void free_block() noexcept;

  DTM_SHORT m_line_number = 0;
  bool m_marked = false;
  bool m_is_description = false;
  bool m_block_owned = false;  // the block is an allocation of its own
  bool m_texts_owned = false;  // m_texts is an allocation of its own
  BLOCK* m_block = nullptr;
  TEXTS* m_texts = nullptr;
  MEM_ARENA::CHUNK* m_chunk = nullptr;        // the chunk the record was carved from
  MEM_ARENA::CHUNK* m_block_chunk = nullptr;  // the chunk the block was carved from
  DTM_LINE_NODE* m_prev = nullptr;
  DTM_LINE_NODE* m_next = nullptr;
};
