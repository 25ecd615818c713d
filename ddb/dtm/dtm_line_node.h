// One parsed line of a DMF file: its words as text, grouped as the line
// grammar groups them, and the links of the doubly linked list that the file
// scanner builds. Nothing is evaluated here.
#pragma once

#include <cstddef>
#include <ostream>

#include "dtm_types.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

class DTM_LINE_NODE : public PDB_OBJECT<DTM_LINE_NODE> {
 public:
  using WORDS = MEM_VECTOR<MEM_STRING>;
  using GROUPS = MEM_VECTOR<WORDS>;
  // The five grouped fields.
  enum GROUP_FIELD { DELAYS, SCALERS, OFFSETS, BINS, VERSIONS };

  DTM_LINE_NODE() = default;
  virtual ~DTM_LINE_NODE() = default;
  DTM_LINE_NODE(const DTM_LINE_NODE&) = delete;
  DTM_LINE_NODE& operator=(const DTM_LINE_NODE&) = delete;

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
  DTM_SHORT get_num_parents() const { return static_cast<DTM_SHORT>(m_parents.size()); }
  DTM_SHORT get_num_modifiers() const { return static_cast<DTM_SHORT>(m_modifiers.size()); }

  // Appenders. The grouped ones grow the outer vector with empty groups up to
  // vec_index. A null word or a negative group is reported and gives false.
  bool add_parent(const char* string);
  bool add_modifier(const char* string);
  bool add_delay(const char* string, DTM_SHORT vec_index);
  bool add_scaler(const char* string, DTM_SHORT vec_index);
  bool add_offset(const char* string, DTM_SHORT vec_index);
  bool add_bin(const char* string, DTM_SHORT vec_index);
  bool add_version(const char* string, DTM_SHORT vec_index);

  // Capacity hints for a reader that knows how many words a list is about to
  // receive, so that each list costs one allocation. The flat ones change no
  // content; the grouped one creates the group (and the empty ones before
  // it) as the first add to it would, and only when `count` > 0.
  void reserve_parents(std::size_t count);
  void reserve_modifiers(std::size_t count);
  void reserve_group(GROUP_FIELD field, DTM_SHORT vec_index, std::size_t count);

  // Whole grouped fields, for callers that test the outer size first.
  const GROUPS& get_delays() const { return m_delays; }
  const GROUPS& get_scalers() const { return m_scalers; }
  const GROUPS& get_offsets() const { return m_offsets; }
  const GROUPS& get_bins() const { return m_bins; }
  const GROUPS& get_versions() const { return m_versions; }
  const WORDS& get_parents() const { return m_parents; }
  const WORDS& get_modifiers() const { return m_modifiers; }

  DTM_SHORT get_line_number() const { return m_line_number; }
  void set_line_number(DTM_SHORT line_number) { m_line_number = line_number; }
  bool get_marked() const { return m_marked; }
  void set_marked(bool marked) { m_marked = marked; }
  bool is_description() const { return m_is_description; }
  void set_is_description(bool is_description) { m_is_description = is_description; }
  const MEM_STRING& get_description() const { return m_description; }
  void set_description(const char* text) { m_description = text != nullptr ? text : ""; }
  const MEM_STRING& get_id() const { return m_id; }
  void set_id(const char* id) { m_id = id != nullptr ? id : ""; }
  DTM_LINE_NODE* get_prev() const { return m_prev; }
  void set_prev(DTM_LINE_NODE* prev) { m_prev = prev; }
  DTM_LINE_NODE* get_next() const { return m_next; }
  void set_next(DTM_LINE_NODE* next) { m_next = next; }

  // One text line per delay group in DMF-like syntax (the line-trace format).
  void dump_node(std::ostream& os) const;

  // Persistence (ddb_dtm__pdb.cpp, ddb_dtm__pdbg.cpp). A saved list is saved
  // from its head: each record owns the next one.
  void serialize(PDB_SEGMENT& segment);
  bool is_auto_match_pdb_xfr(PDB_OBJECT_BASE* other, PDB_MATCH_DATA* data) const;

 private:
  // The five grouped fields share one accessor skeleton, driven by a table.
  struct GROUP_TRAITS;
  static const GROUP_TRAITS s_group_traits[];

  const char* get_grouped(GROUP_FIELD field, DTM_SHORT vec_index, DTM_SHORT index) const;
  DTM_SHORT get_num_grouped(GROUP_FIELD field, DTM_SHORT vec_index) const;
  bool add_grouped(GROUP_FIELD field, const char* string, DTM_SHORT vec_index);
  const char* get_flat(const WORDS& words, DTM_SHORT index, const char* check) const;
  static bool add_flat(WORDS& words, const char* string);

  DTM_SHORT m_line_number = 0;
  bool m_marked = false;
  bool m_is_description = false;
  MEM_STRING m_description;
  MEM_STRING m_id;
  GROUPS m_delays;
  WORDS m_parents;
  WORDS m_modifiers;
  GROUPS m_scalers;
  GROUPS m_offsets;
  GROUPS m_bins;
  GROUPS m_versions;
  DTM_LINE_NODE* m_prev = nullptr;
  DTM_LINE_NODE* m_next = nullptr;
};
