// The factory: reads DMF files into line records and, from them, builds the
// timing model. Its operations are static or constant; the only things it
// holds are its configuration: the bin and version that choose a line's
// delay group, and the update flag of delay insertion.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "dtm_line_node.h"
#include "dtm_node.h"
#include "dtm_tree_data_key.h"
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

  // ---- Model construction ----
  // Positions of the keys among a delay line's modifiers (position 0 is the
  // delay type).
  static constexpr DTM_SHORT DTM_TABLE_COL_INDEXER = 2;
  static constexpr DTM_SHORT DTM_FLOAT_TABLE_COL_INDEXER = 2;
  static constexpr DTM_SHORT DTM_RE_TABLE_COL_INDEXER = 2;
  static constexpr DTM_SHORT DTM_RE_TABLE_IDX_INDEXER = 3;
  static constexpr DTM_SHORT DTM_RE_INPUT_PORT_COL_INDEXER = 2;
  static constexpr DTM_SHORT DTM_OUTPUT_PORT_RE_COL_INDEXER = 2;
  static constexpr DTM_SHORT DTM_FF_MICRO_INDEXER = 2;
  static constexpr DTM_SHORT DTM_MICRO_INPUT_INDEXER = 1;
  static constexpr DTM_SHORT DTM_RC_INPUT_INDEXER = 2;
  static constexpr DTM_SHORT DTM_RE_IC_INDEXER = 1;
  static constexpr DTM_SHORT DTM_P2P_OUTPUT_INDEXER = 2;
  static constexpr DTM_SHORT DTM_P2P_IDX_INDEXER = 3;
  // Most modifiers of a general-parameter line: the type and one key of at
  // most five parts.
  static constexpr DTM_SHORT DTM_MAX_GEN_PARAMS = 6;

  // The update flag, clear on a new factory. When it is set, each delay line
  // first overwrites the delay stored under the same path and keys and is
  // added only when there is none; when it is clear, delays are only added
  // (a second line for the same place keeps the first value and is reported
  // as a duplicate by the delay tree).
  void set_update_flag(bool update) { m_update_flag = update; }
  bool get_update_flag() const { return m_update_flag; }

  // Turns the checked line list that starts at `begin` into timing nodes
  // below `root` (a new writable DTM_ROOT node when null) and returns the
  // root. Description lines go to add_description, delay lines to the add
  // operation of their delay type; general-parameter lines are skipped and
  // a line of any other type is reported. Nothing stops the walk.
  DTM_NODE* convert(const DTM_LINE_NODE* begin, DTM_NODE* root) const;
  // Finds or creates the node that a description line's parents (and its
  // one modifier, a node type) name and gives it the line's text.
  void add_description(const DTM_LINE_NODE* line, DTM_NODE* root) const;

  // Store the chosen delay group's value of one delay line in the typed node
  // of the line's type, under the line's parents and with the line's
  // modifiers as keys. A malformed line is reported and still stored with
  // the values it gives.
  void add_integer(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_table(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_float_table(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_re_table(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_re_input_port(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_output_port_re(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_ff(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_micro(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_rc(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_re(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  void add_p2p(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  // Checks a general-parameter line and builds the key its modifiers name,
  // without storing anything: convert never calls it.
  void add_general_param(const DTM_LINE_NODE* line, DTM_NODE* root) const;
  // A key part named by a text: the first of a delay-storage descriptor, a
  // register-element type, an input, an output and a buried port type that
  // has the name, else a decimal index; the unset part otherwise.
  static DTM_ENUM_WRAPPER get_enum_wrapper_by_string(const char* text);

  // The path named by a line's parents, outermost first; a parent beyond
  // the tenth reports "too many parents at this line node" and is dropped,
  // an unknown one is DTM_NODE_NONE (which ends the path). With
  // `check_bound` a parent that is DTM_NODE_MAX_ENUM is reported too.
  static DTM_PATH get_parent_path(const DTM_LINE_NODE* line, bool check_bound);
  // ---- End of model construction ----

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

  // ---- Line-to-line memo of checks and conversion ----
  // Consecutive lines of a file mostly share their parents. A walk over a
  // list keeps the names of the last line's parents with their node types,
  // and converts a name again only when it differs from the name at the same
  // place of the line before. The names stay owned by their line records,
  // which must outlive the memo.
  class DTM_PARENT_MEMO {
   public:
    DTM_NODE_ENUM convert(DTM_SHORT index, const char* name);

   private:
    const char* m_names[DTM_PATH_LENGTH] = {};
    DTM_NODE_ENUM m_values[DTM_PATH_LENGTH] = {};
  };
  // What one conversion carries from a delay line to the next: the parents'
  // memo, and the node that the last path led to while every node on the way
  // (the root included) is a plain DTM_NODE, so that the next line with the
  // same path starts there instead of walking the path again.
  struct DTM_CONVERT_MEMO {
    DTM_PARENT_MEMO m_parents;
    DTM_PATH m_path;
    DTM_NODE* m_target = nullptr;
  };
  // A walk along the links asks for the record after `next` while it works
  // on the current one: `next` itself was asked for one record earlier, so
  // reading its link costs little, and the record two ahead has the time of
  // a whole record to arrive.
  static void prefetch_ahead(const DTM_LINE_NODE* next) {
    if (next != nullptr) {
      __builtin_prefetch(next->get_next());
    }
  }
  // The add operation of a delay line's type (what add_micro, add_rc, ... do)
  // with the memo of a conversion (null: none), for convert; false when the
  // type has no add operation.
  bool add_delay_line(DTM_NODE_ENUM type, const DTM_LINE_NODE* line, DTM_NODE* root,
                      DTM_CONVERT_MEMO* memo) const;
  // ---- End of line-to-line memo ----

 private:
  bool m_update_flag = false;
  DTM_DELAY_TARGET m_delay_target;
};
