// The factory: reads DMF files into line records and, from them, builds the
// timing model. Its operations are static or constant; the only thing it
// holds is the bin and version that choose a line's delay group.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "dtm_line_node.h"
#include "dtm_node.h"
#include "dtm_types.h"

class DTM_FACTORY {
 public:
  // Section markers of an amalgamated file; each long one starts with 40 asterisks.
  static const char* const DTM_DEVICE_LISTING;
  static const char* const DTM_START_COMMON;
  static const char* const DTM_END_COMMON;
  static const char* const DTM_START_DIE;
  static const char* const DTM_END_DIE;
  static const char* const DTM_COMMON_TAG;

  // Longest line the readers accept, line end excluded.
  static constexpr std::size_t DTM_MAX_LINE_LENGTH = 298;

  // ---- DMF reader -------------------------------------------------------
  // A plain file: head of the record list, or null when it holds no DMF line.
  DTM_LINE_NODE* parse_file(const char* in_file) const;
  // An amalgamated file, for one device: the COMMON lines read before the
  // device's section, then the device's lines; null when the device's section
  // is missing or never closed.
  DTM_LINE_NODE* parse_file_advanced(const char* in_file, const std::string* device_name) const;
  // Appends the device names of the listing line (the first line) to `devices`.
  void get_device_listing(const char* in_file, std::vector<std::string>& devices) const;
  // Turns one line (modified in place) into a record linked behind `prev`;
  // returns the new record, or `prev` when the line holds no word.
  DTM_LINE_NODE* parse_a_line(DTM_LINE_NODE* prev, char* line, DTM_SHORT line_number) const;

  // ---- Delay expressions and group choice ----
  // A delay field is a number or a fully bracketed prefix expression:
  //   value     := number | ( if condition then value else value ) | ( value op value )
  //   condition := ( value rel value )        op: + - * /   rel: < <= == >= >
  // Each operation evaluates group `vec_index` of `line` from `*position`,
  // writes back the position after the consumed tokens and returns the value,
  // or the illegal sentinel when no form is recognised. Malformed fields are
  // reported and evaluation goes on; integers wrap around in 32 bits.
  std::int32_t extract_long(const DTM_LINE_NODE* line, DTM_SHORT* position,
                            DTM_SHORT vec_index) const;
  double extract_float(const DTM_LINE_NODE* line, DTM_SHORT* position, DTM_SHORT vec_index) const;
  // A condition; its operands are evaluated as integers when
  // `integer_operands` is set, as floating-point numbers otherwise.
  bool extract_bool(const DTM_LINE_NODE* line, DTM_SHORT* position, bool integer_operands,
                    DTM_SHORT vec_index) const;

  // Deepest nesting evaluated; a deeper field is reported once and answers
  // the illegal sentinel. No line of a file can come near it.
  static constexpr int DTM_MAX_EXPRESSION_DEPTH = 256;

  // The bin and the version a model is built for. An unset one accepts
  // every group.
  struct DTM_DELAY_TARGET {
    std::optional<MEM_STRING> m_bin;
    std::optional<MEM_STRING> m_version;
  };
  void set_delay_target(const DTM_DELAY_TARGET& target) { m_delay_target = target; }
  const DTM_DELAY_TARGET& get_delay_target() const { return m_delay_target; }
  // The first group of `line` whose bin list is empty or holds the target
  // bin and whose version list is empty or holds the target version; the
  // number of groups when none does (which the evaluators then report).
  DTM_SHORT choose_delay_group(const DTM_LINE_NODE* line) const;

  // ---- Legality checks ----
  // Every finding is reported and the checks go on; no line is changed.
  //
  // Checks every line of the list whose first line is `begin`, in list order:
  // identifier, delay groups, map types, delay-storage descriptors, and the
  // rule of the line's delay type. Returns the verdict left by the last line.
  bool check_legality(const DTM_LINE_NODE* begin) const;
  // False when another line of the list has the same identifier; an
  // identifier starting with a digit is reported without changing the result.
  bool check_exp_legality(const DTM_LINE_NODE* begin) const;
  // Reports delay groups of one line that no bin or version tells apart.
  // Always true for a line.
  bool check_delay_info_legality(const DTM_LINE_NODE* node) const;
  // The rule of each delay type for the line's modifiers (count and the kind
  // of each position). True when the line keeps it.
  bool check_p2p_legality(const DTM_LINE_NODE* temp) const;
  bool check_table_legality(const DTM_LINE_NODE* temp) const;
  bool check_float_table_legality(const DTM_LINE_NODE* temp) const;
  bool check_micro_legality(const DTM_LINE_NODE* temp) const;
  bool check_rc_legality(const DTM_LINE_NODE* temp) const;
  bool check_re_legality(const DTM_LINE_NODE* temp) const;
  bool check_re_table_legality(const DTM_LINE_NODE* temp) const;
  bool check_ff_legality(const DTM_LINE_NODE* temp) const;
  bool check_output_port_re_legality(const DTM_LINE_NODE* temp) const;
  bool check_re_input_port_legality(const DTM_LINE_NODE* temp) const;
  bool check_integer_legality(const DTM_LINE_NODE* temp) const;
  // ---- End of legality checks ----

  // ---- Build pipeline ----
  // The road from a DMF file to a model (docs/pipeline.md): read the file
  // (the sectioned reader for `device_name`, the plain reader when it is
  // null), optionally trace the lines to in_file + ".trf_line", put them in
  // order, check them, convert them below `root` (null: a new root), free
  // them, optionally trace the tree to in_file + ".trf". Returns what the
  // conversion returns; null when nothing was read (reported). Every fault
  // is reported and the build goes on.
  DTM_NODE* build_nodes(DTM_NODE* root, const char* in_file, bool write_tree_trace,
                        bool write_line_trace, const std::string* device_name) const;
  DTM_NODE* build_nodes(const char* in_file, const std::string* device_name, bool write_tree_trace,
                        bool write_line_trace) const;
  DTM_NODE* build_nodes(const char* in_file, bool write_tree_trace, bool write_line_trace) const;
  // The front half alone, with the plain reader: the records of the file in
  // order, optionally traced; the caller owns the list (delete_list).
  DTM_LINE_NODE* build_line_nodes(const char* in_file, bool write_line_trace) const;
  // Puts a list in order, given its last record, and returns its head. In
  // this build the records keep their file order.
  DTM_LINE_NODE* sort_line_nodes(DTM_LINE_NODE* last) const;
  // ---- End of build pipeline ----

 private:
  DTM_DELAY_TARGET m_delay_target;
};
